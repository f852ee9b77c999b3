#include "ostreljet/jet/JetModel.hpp"

// The model's inputs: the putters and getters that forward to the atmosphere and the source gas, and
// the checks of a run's inputs.

namespace ostreljet {

// Atmospheric inputs live in the atmosphere.
double JetModel::atmosphereMolecularWeight() const {
    return atmosphere_.molecularWeight();
}
void JetModel::setAtmosphereMolecularWeight(double value) {
    atmosphere_.setMolecularWeight(value);
}
double JetModel::atmospherePressure() const {
    return atmosphere_.pressure();
}
void JetModel::setAtmospherePressure(double value) {
    atmosphere_.setPressure(value);
}
double JetModel::atmosphereSpecificHeat() const {
    return atmosphere_.specificHeat();
}
void JetModel::setAtmosphereSpecificHeat(double value) {
    atmosphere_.setSpecificHeat(value);
}
double JetModel::atmosphereTemperature() const {
    return atmosphere_.referenceTemperature();
}
void JetModel::setAtmosphereTemperature(double value) {
    atmosphere_.setReferenceTemperature(value);
}
double JetModel::atmosphereSurfaceRoughness() const {
    return atmosphere_.surfaceRoughness();
}
void JetModel::setAtmosphereSurfaceRoughness(double value) {
    atmosphere_.setSurfaceRoughness(value);
}
double JetModel::referenceWindHeight() const {
    return atmosphere_.referenceWindHeight();
}
void JetModel::setReferenceWindHeight(double value) {
    atmosphere_.setReferenceWindHeight(value);
}
double JetModel::referenceWindSpeed() const {
    return atmosphere_.referenceWindSpeed();
}
void JetModel::setReferenceWindSpeed(double value) {
    atmosphere_.setReferenceWindSpeed(value);
}
double JetModel::referenceWindBearing() const {
    return atmosphere_.referenceWindBearing();
}
void JetModel::setReferenceWindBearing(double value) {
    atmosphere_.setReferenceWindBearing(value);
}
std::int32_t JetModel::pasquillStability() const {
    return atmosphere_.pasquillStability();
}
void JetModel::setPasquillStability(std::int32_t value) {
    atmosphere_.setPasquillStability(value);
}

// The source temperature and specific heat are those of the source gas record.
double JetModel::sourceSpecificHeat() const {
    return jetGas_.source().specificHeat();
}
void JetModel::setSourceSpecificHeat(double value) {
    jetGas_.source().setSpecificHeat(value);
}
double JetModel::sourceTemperature() const {
    return jetGas_.source().temperature();
}
void JetModel::setSourceTemperature(double value) {
    jetGas_.source().setTemperature(value);
}

bool JetModel::validateInputs() {
    struct Check {
        bool fails;
        const char *text;
        std::int32_t code;
    };
    const double h = stackHeight_;
    const double d = orificeDiameter_;
    const double cd = dischargeCoefficient_;
    const double theta = releaseAngle_;
    const double m = massFlowrate_;
    const double ms = sourceMolecularWeight_;
    const double cps = sourceSpecificHeat();
    const double gamma = sourceSpecificHeatRatio_;
    const double ts = sourceTemperature();
    const double u = atmosphere_.referenceWindSpeed();
    const double zr = atmosphere_.referenceWindHeight();
    const double z0 = atmosphere_.surfaceRoughness();
    const double ca = atmosphere_.specificHeat();
    const double ma = atmosphere_.molecularWeight();
    // The temperature of the ambient air as the last location update left it, not the input field.
    const double ta = atmosphere_.temperature();
    const double p = atmosphere_.pressure();
    const double cs = stoppingConcentration_;
    const double phi = stackBearing_;
    const double beta = atmosphere_.referenceWindBearing();
    const Check checks[] = {
        {h < 0.0 || h > 1000.0, "The stack height should lie between 0 and 1000m.", 4},
        {d <= 0.0 || d > 100.0, "The orifice diameter should lie between 0 and 100m.", 5},
        {cd <= 0.0 || cd > 1.0, "The discharge coefficient should lie between 0 and 1.", 6},
        {theta < -180.0 || theta > 180.0, "The release angle should lie between -180 and 180 degrees.", 7},
        {m <= 0.0, "The initial mass flowrate must be greater than 0Kg/s.", 8},
        {ms < 0.002 || ms > 0.15,
         "The molecular weight of the source should lie between 0.002 and 0.15kg/mol.", 9},
        {cps < 100.0 || cps > 100000.0,
         "The specific heat of the source should lie between 100 and 100000J/Kg K.", 10},
        {gamma <= 1.0 || gamma > 1.7, "The specific heat ratio of the source should lie between 1 and 1.7.",
         11},
        {ts < 80.0 || ts > 2500.0, "The temperature of the source should lie between 80 and 2500K.", 12},
        {u <= 0.0 || u > 20.0, "The reference wind speed should lie between 0 and 20m/s.", 13},
        {zr <= 0.0 || zr > 200.0, "The reference wind height should lie between 0 and 200m.", 14},
        {z0 < 0.0001 || z0 > 0.3, "The Surface Roughness Length should lie between 0.0001 and 0.3m.", 15},
        {ca < 100.0 || ca > 100000.0, "The atmosphere specific heat should lie between 100 and 100000J/Kg K.",
         16},
        {ma < 0.002 || ma > 0.15, "The atmosphere molecular weight should lie between 0.002 and 0.15kg/mol.",
         17},
        {ta < 80.0 || ta > 2500.0, "The atmosphere temperature should lie between 80 and 2500K.", 20},
        {p < 80000.0 || p > 120000.0, "The atmosphere pressure should lie between 80000 and 120000Pa.", 21},
        {cs <= 0.0 || cs >= 1.0, "The stopping concentration should be greater than 0.", 22},
        {phi < 0.0 || phi > 360.0, "The stack bearing should be between 0 and 360.", 23},
        {beta < 0.0 || beta > 360.0, "The wind bearing should be between 0 and 360.", 24},
        {std::fabs(stackLocationX_) > 1000000.0,
         "The stack x location should be between -1000000 and 1000000m.", 18},
        {std::fabs(stackLocationY_) > 1000000.0,
         "The stack y location should be between -1000000 and 1000000m.", 19},
        {theta == 0.0 && std::fabs(phi - beta) == 180.0,
         "You can not release a gas directly into a crosswind, please modify input parameters", 3},
    };
    for (const Check &check : checks) {
        if (check.fails) {
            addMessage(check.text, 0, check.code);
            return false;
        }
    }
    return true;
}

} // namespace ostreljet
