#pragma once

#include "ostreljet/ostreljet.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace ostreljet::testsupport {

struct ModelDeleter {
    void operator()(ostreljet_model *m) const { ostreljet_destroy(m); }
};
// A C API model released with its owner.
using Model = std::unique_ptr<ostreljet_model, ModelDeleter>;

// A methane vent that passes validation and ends at its stopping concentration: 1 kg/s straight up
// through 0.2 m, 10 m above ground, into the default 5 m/s wind.
inline Model validVent() {
    Model m(ostreljet_create());
    const std::pair<const char *, double> inputs[] = {{"stackHeight", 10.0},
                                                      {"orificeDiameter", 0.2},
                                                      {"releaseAngle", 90.0},
                                                      {"massFlowrate", 1.0},
                                                      {"sourceMolecularWeight", 0.016},
                                                      {"sourceSpecificHeat", 2200.0},
                                                      {"sourceSpecificHeatRatio", 1.3},
                                                      {"sourceTemperature", 300.0},
                                                      {"atmosphereSurfaceRoughness", 0.1},
                                                      {"atmosphereSpecificHeat", 1005.0},
                                                      {"stoppingConcentration", 0.01}};
    for (const auto &[name, value] : inputs) {
        EXPECT_EQ(ostreljet_set(m.get(), name, value), 0) << name;
    }
    return m;
}

} // namespace ostreljet::testsupport
