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

void JetGas::setSource(const Gas &gas) {
    source_ = gas;
}
Gas &JetGas::source() {
    return source_;
}
const Gas &JetGas::source() const {
    return source_;
}

void JetGas::setRadius(double radius) {
    radius_ = radius;
}
double JetGas::radius() const {
    return radius_;
}

} // namespace ostreljet
