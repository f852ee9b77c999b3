#pragma once

#include "ostreljet/jet/JetModel.hpp"

namespace ostreljet::testing {

// A methane vent that passes every validation check: 1 kg/s through a 0.2 m orifice (about 49 m/s) 10 m up,
// straight up into a 5 m/s westerly over 0.1 m roughness.
inline void setValidRelease(JetModel &model) {
    model.setStackHeight(10.0);
    model.setOrificeDiameter(0.2);
    model.setDischargeCoefficient(1.0);
    model.setReleaseAngle(90.0);
    model.setMassFlowrate(1.0);
    model.setSourceMolecularWeight(0.016);
    model.setSourceSpecificHeat(2200.0);
    model.setSourceSpecificHeatRatio(1.3);
    model.setSourceTemperature(300.0);
    model.setReferenceWindSpeed(5.0);
    model.setReferenceWindHeight(10.0);
    model.setAtmosphereSurfaceRoughness(0.1);
    model.setAtmosphereSpecificHeat(1005.0);
    model.setAtmosphereMolecularWeight(0.02896);
    model.setAtmospherePressure(101325.0);
    model.setStoppingConcentration(0.01);
    model.setStackBearing(0.0);
    model.setReferenceWindBearing(90.0);
}

} // namespace ostreljet::testing
