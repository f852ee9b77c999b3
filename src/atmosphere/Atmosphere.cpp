#include "ostreljet/atmosphere/Atmosphere.hpp"

#include "ostreljet/numerics/Constants.hpp"

#include <cmath>

namespace ostreljet {

static_assert(constants::degreesToRadians == constants::pi / 180.0,
              "degrees are converted with the same pi everywhere");

Atmosphere::Atmosphere() : location_(0.0, 0.0, 0.0) {}

// Evaluates the air at a point.
// Phases: store the point; unless the height is the one last evaluated under the same inputs, the wind
// speed at its height turned to the bearing, the temperature, the density from the ideal-gas law at the
// fixed pressure and the eddy diffusivity; then the air takes those values.
void Atmosphere::setLocation(const vector3 &p) {
    location_ = p;
    const double z = location_.z();
    if (!localValid_ || !(z == localHeight_)) {
        const double u = CAtmosSurfaceLayerProf::windSpeed(z);
        const double bearing = referenceWindBearing_ * constants::degreesToRadians;
        localVelocity_ = vector3(u * std::sin(bearing), u * std::cos(bearing), 0.0);
        localTemperature_ = CAtmosSurfaceLayerProf::temperature(z);
        localDensity_ = pressure_ * molecularWeight_ / (localTemperature_ * constants::gasConstant);
        localEddyDiffusivity_ = CAtmosSurfaceLayerProf::eddyDiffusivity(z);
        localHeight_ = z;
        localValid_ = true;
    }
    setVelocity(localVelocity_);
    setTemperature(localTemperature_);
    setDensity(localDensity_);
    eddyDiffusivity_ = localEddyDiffusivity_;
}

void Atmosphere::setReferenceTemperature(double temperature) {
    referenceTemperature_ = temperature;
    setTemperature(temperature);
    localValid_ = false;
    rebuildProfile();
}

void Atmosphere::setSurfaceRoughness(double roughness) {
    surfaceRoughness_ = roughness;
    rebuildProfile();
}

void Atmosphere::setReferenceWindHeight(double height) {
    referenceWindHeight_ = height;
    rebuildProfile();
}

void Atmosphere::setReferenceWindSpeed(double speed) {
    referenceWindSpeed_ = speed;
    rebuildProfile();
}

void Atmosphere::setPasquillStability(std::int32_t stabilityClass) {
    pasquillStability_ = stabilityClass;
    boundaryLayerHeight_ = boundaryLayerHeightFor(stabilityClass);
    rebuildProfile();
}

void Atmosphere::setMolecularWeight(double molecularWeight) {
    molecularWeight_ = molecularWeight;
    localValid_ = false;
}
void Atmosphere::setPressure(double pressure) {
    pressure_ = pressure;
    localValid_ = false;
}
void Atmosphere::setReferenceWindBearing(double bearing) {
    referenceWindBearing_ = bearing;
    localValid_ = false;
}

std::int32_t Atmosphere::pasquillStability() const {
    return pasquillStability_;
}
double Atmosphere::surfaceRoughness() const {
    return surfaceRoughness_;
}
double Atmosphere::referenceWindSpeed() const {
    return referenceWindSpeed_;
}
double Atmosphere::referenceWindHeight() const {
    return referenceWindHeight_;
}
double Atmosphere::referenceTemperature() const {
    return referenceTemperature_;
}
double Atmosphere::referenceWindBearing() const {
    return referenceWindBearing_;
}

double Atmosphere::windSpeedAt(double z) {
    return CAtmosSurfaceLayerProf::windSpeed(z);
}
double Atmosphere::temperatureAt(double z) {
    return CAtmosSurfaceLayerProf::temperature(z);
}
double Atmosphere::eddyDiffusivityAt(double z) {
    return CAtmosSurfaceLayerProf::eddyDiffusivity(z);
}

double Atmosphere::boundaryLayerHeightFor(std::int32_t stabilityClass) {
    switch (stabilityClass) {
    case PASQUILL_A:
        return 2500.0;
    case PASQUILL_B:
        return 1500.0;
    case PASQUILL_C:
        return 800.0;
    case PASQUILL_D:
        return 500.0;
    case PASQUILL_E:
        return 300.0;
    case PASQUILL_F:
        return 200.0;
    default:
        return 2500.0;
    }
}

void Atmosphere::rebuildProfile() {
    localValid_ = false;
    initialise(pasquillStability_, 0.0, referenceWindHeight_, surfaceRoughness_, referenceWindBearing_,
               referenceWindSpeed_, referenceTemperature_);
}

} // namespace ostreljet
