// Sources of the constants, each read in two public places:
// - Briggs: U.S. EPA, User's guide for the Industrial Source Complex (ISC3) dispersion models, vol. II,
//   EPA-454/B-95-003b (1995), section 1.1.4; the same equations with the same constants (1.60, 49, 119,
//   21.425, 38.71, 2.6, 2.0715) in the ISCST3 technical guide as republished by Lakes Environmental
//   (weblakes.com, section 1.1.4) and in Canarina's algorithm notes (canarina.com), and the 1.6 of the
//   two-thirds law in Briggs (1972) as quoted in Beni-Suef Univ. J. Basic Appl. Sci. 10:55 (2021).
// - Pratte, B. D. and Baines, W. D. (1967), Profiles of the round turbulent jet in a cross flow,
//   J. Hydraul. Div. ASCE 93(HY6), 53-64.
// - Chen, C. J. and Rodi, W. (1980), Vertical turbulent buoyant jets: a review of experimental data,
//   Pergamon, HMT vol. 4.
// - Hoot, T. G., Meroney, R. N. and Peterka, J. A. (1973), Wind tunnel tests of negatively buoyant
//   plumes, EPA-650/3-74-003.
#include "ostreljet/jet/Correlations.hpp"

#include <cmath>

namespace ostreljet::correlations {

double briggsBuoyancyFlux(double exitSpeed, double diameter, double stackTemperature,
                          double ambientTemperature) {
    return kGravity * exitSpeed * diameter * diameter * (stackTemperature - ambientTemperature) /
           (4.0 * stackTemperature);
}

double briggsGradualRise(double buoyancyFlux, double downwindDistance, double windSpeed) {
    return 1.60 * std::cbrt(buoyancyFlux) * std::pow(downwindDistance, 2.0 / 3.0) / windSpeed;
}

double briggsFinalRiseDistanceNeutral(double buoyancyFlux) {
    if (buoyancyFlux < 55.0) {
        return 49.0 * std::pow(buoyancyFlux, 5.0 / 8.0);
    }
    return 119.0 * std::pow(buoyancyFlux, 2.0 / 5.0);
}

double briggsFinalRiseNeutral(double buoyancyFlux, double windSpeed) {
    return briggsGradualRise(buoyancyFlux, briggsFinalRiseDistanceNeutral(buoyancyFlux), windSpeed);
}

double stabilityParameter(double potentialTemperatureGradient, double ambientTemperature) {
    return kGravity * potentialTemperatureGradient / ambientTemperature;
}

double briggsFinalRiseStable(double buoyancyFlux, double windSpeed, double stability) {
    return 2.6 * std::cbrt(buoyancyFlux / (windSpeed * stability));
}

double briggsFinalRiseDistanceStable(double windSpeed, double stability) {
    return 2.0715 * windSpeed / std::sqrt(stability);
}

double pratteBainesHeight(double downwindDistance, double velocityRatio, double diameter) {
    const double scale = velocityRatio * diameter;
    return scale * 2.05 * std::pow(downwindDistance / scale, 0.28);
}

double chenRodiCentrelineMassFraction(double axialDistance, double diameter, double densityRatio) {
    return 5.0 * (diameter / axialDistance) * std::sqrt(densityRatio);
}

double densimetricFroudeSquared(double exitSpeed, double diameter, double sourceDensity,
                                double ambientDensity) {
    return exitSpeed * exitSpeed / (kGravity * diameter * (sourceDensity - ambientDensity) / ambientDensity);
}

double hootMaximumRise(double diameter, double velocityRatio, double specificGravity, double froudeSquared) {
    return 1.32 * diameter * std::cbrt(velocityRatio * specificGravity * froudeSquared);
}

double hootDistanceToMaximumRise(double maximumRise, double velocityRatio, double specificGravity,
                                 double diameter) {
    return 0.435 * maximumRise * maximumRise * maximumRise /
           (velocityRatio * velocityRatio * specificGravity * diameter * diameter);
}

} // namespace ostreljet::correlations
