#pragma once

#include "ostreljet/ostreljet.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

namespace ostreljet::testsupport {

struct ModelDeleter {
    void operator()(ostreljet_model *m) const { ostreljet_destroy(m); }
};
using Model = std::unique_ptr<ostreljet_model, ModelDeleter>;

// A valid methane vent ending at its stopping concentration: 1 kg/s up through 0.2 m, 10 m high.
inline Model validVent() {
    Model m(ostreljet_create());
    std::istringstream inputs(
        "stackHeight 10 orificeDiameter 0.2 releaseAngle 90 massFlowrate 1 "
        "sourceMolecularWeight 0.016 sourceSpecificHeat 2200 sourceSpecificHeatRatio 1.3 "
        "sourceTemperature 300 atmosphereSurfaceRoughness 0.1 atmosphereSpecificHeat 1005 "
        "stoppingConcentration 0.01");
    std::string name;
    double value = 0.0;
    while (inputs >> name >> value) {
        EXPECT_EQ(ostreljet_set(m.get(), name.c_str(), value), 0) << name;
    }
    return m;
}

} // namespace ostreljet::testsupport
