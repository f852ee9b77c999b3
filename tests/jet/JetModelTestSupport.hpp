#pragma once

#include "ostreljet/jet/JetModel.hpp"

#include <initializer_list>
#include <utility>

namespace ostreljet {

// The model's working state, reached by the tests of the orifice conditions and source checks, and by the
// run benchmark to time one centreline solve alone.
struct JetModelTestAccess {
    using ProfileCoefficients = JetModel::ProfileCoefficients;
    static void solveCentreline(JetModel &m, const double *y) {
        m.updateJetState(y);
        m.calculateCentrelineProperties();
    }
    static void setInitialConditions(JetModel &m, double *t0, double *y0) { m.setInitialConditions(t0, y0); }
    static double sourceRadius(const JetModel &m) { return m.sourceRadius_; }
    static JetGas &jetGas(JetModel &m) { return m.jetGas_; }
    static Atmosphere &atmosphere(JetModel &m) { return m.atmosphere_; }
    static double chokedStagnationPressure(const JetModel &m) { return m.chokedStagnationPressure(); }
    static bool checkSourceConditions(JetModel &m) { return m.checkSourceConditions(); }
    static void warnSourceConditions(JetModel &m) { m.warnSourceConditions(); }
};

} // namespace ostreljet

namespace ostreljet::testing {

using Input = std::pair<void (JetModel::*)(double), double>;

inline void setInputs(JetModel &model, std::initializer_list<Input> inputs) {
    for (const auto &[set, value] : inputs) {
        (model.*set)(value);
    }
}

// A valid methane vent: 1 kg/s up through 0.2 m (about 49 m/s) 10 m high, into a 5 m/s westerly.
inline void setValidRelease(JetModel &model) {
    using J = JetModel;
    setInputs(model,
              {{&J::setStackHeight, 10.0}, {&J::setOrificeDiameter, 0.2}, {&J::setReleaseAngle, 90.0}});
    setInputs(model,
              {{&J::setDischargeCoefficient, 1.0}, {&J::setMassFlowrate, 1.0}, {&J::setStackBearing, 0}});
    setInputs(model, {{&J::setSourceMolecularWeight, 0.016}, {&J::setSourceSpecificHeat, 2200.0}});
    setInputs(model, {{&J::setSourceSpecificHeatRatio, 1.3}, {&J::setSourceTemperature, 300.0}});
    setInputs(model, {{&J::setReferenceWindSpeed, 5.0}, {&J::setReferenceWindHeight, 10.0}});
    setInputs(model, {{&J::setReferenceWindBearing, 90.0}, {&J::setAtmosphereSurfaceRoughness, 0.1}});
    setInputs(model, {{&J::setAtmosphereSpecificHeat, 1005.0}, {&J::setAtmosphereMolecularWeight, 0.02896}});
    setInputs(model, {{&J::setAtmospherePressure, 101325.0}, {&J::setStoppingConcentration, 0.01}});
}

} // namespace ostreljet::testing
