#include "ostreljet/atmosphere/Gas.hpp"

namespace ostreljet {

Gas::Gas() : velocity_(0.0, 0.0, 0.0) {}

void Gas::setDensity(double density) {
    density_ = density;
}
double Gas::density() const {
    return density_;
}

void Gas::setTemperature(double temperature) {
    temperature_ = temperature;
}
double Gas::temperature() const {
    return temperature_;
}

void Gas::setSpecificHeat(double specificHeat) {
    specificHeat_ = specificHeat;
}
double Gas::specificHeat() const {
    return specificHeat_;
}

void Gas::setMassFraction(double massFraction) {
    massFraction_ = massFraction;
}
double Gas::massFraction() const {
    return massFraction_;
}

void Gas::setVelocity(const vector3 &v) {
    velocity_ = v;
}
vector3 &Gas::velocity() {
    return velocity_;
}
const vector3 &Gas::velocity() const {
    return velocity_;
}

} // namespace ostreljet
