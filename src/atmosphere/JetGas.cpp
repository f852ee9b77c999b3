#include "ostreljet/atmosphere/JetGas.hpp"

namespace ostreljet {

JetGas::JetGas() {
    current.setMassFraction(1.0);
}

void JetGas::reset() {
    current.setDensity(0.0);
    current.setTemperature(0.0);
    current.setSpecificHeat(0.0);
    current.setMassFraction(1.0);
    current.setVelocity(vector3(0.0, 0.0, 0.0));
    radius_ = 0.0;
}

} // namespace ostreljet
