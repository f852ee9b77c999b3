#pragma once

#include "ostreljet/Export.hpp"

namespace ostreljet::correlations {

// Published correlations for plume rise, jet trajectories and centreline decay, against which the jet
// model is compared. Every input and result is SI: m, m/s, K, kg/m3; fluxes as stated.

// Gravity, m/s2 (the value the jet equations use).
constexpr double kGravity = 9.80665;

// Briggs buoyancy flux Fb = g vs ds^2 (Ts - Ta) / (4 Ts), m4/s3 (EPA-454/B-95-003b, section 1.1.4).
// exitSpeed vs m/s, diameter ds m, stackTemperature Ts and ambientTemperature Ta K.
OSTRELJET_EXPORT double briggsBuoyancyFlux(double exitSpeed, double diameter, double stackTemperature,
                                           double ambientTemperature);

// Briggs two-thirds law: rise dh = 1.60 Fb^(1/3) x^(2/3) / us, m, at downwind distance x (m) with the
// wind speed us (m/s) at the stack top (EPA-454/B-95-003b, section 1.1.4; Briggs 1972).
OSTRELJET_EXPORT double briggsGradualRise(double buoyancyFlux, double downwindDistance, double windSpeed);

// Distance to final rise in unstable and neutral air, m: 49 Fb^(5/8) for Fb < 55 m4/s3, else
// 119 Fb^(2/5) (EPA-454/B-95-003b, section 1.1.4: 3.5 x* of Briggs 1971).
OSTRELJET_EXPORT double briggsFinalRiseDistanceNeutral(double buoyancyFlux);

// Final rise in unstable and neutral air, m: the two-thirds law at the distance to final rise, which
// is 21.425 Fb^(3/4) / us for Fb < 55 and 38.71 Fb^(3/5) / us otherwise.
OSTRELJET_EXPORT double briggsFinalRiseNeutral(double buoyancyFlux, double windSpeed);

// Stability parameter s = g (dtheta/dz) / Ta, 1/s2, from the potential temperature gradient (K/m) and
// the ambient temperature (K) (EPA-454/B-95-003b, section 1.1.4).
OSTRELJET_EXPORT double stabilityParameter(double potentialTemperatureGradient, double ambientTemperature);

// Final rise in stable air, m: 2.6 (Fb / (us s))^(1/3) (EPA-454/B-95-003b, section 1.1.4; Briggs 1975).
OSTRELJET_EXPORT double briggsFinalRiseStable(double buoyancyFlux, double windSpeed, double stability);

// Distance to final rise in stable air, m: 2.0715 us / sqrt(s) (EPA-454/B-95-003b, section 1.1.4).
OSTRELJET_EXPORT double briggsFinalRiseDistanceStable(double windSpeed, double stability);

// Centreline of a round jet in a uniform crossflow (Pratte and Baines 1967): z / (r D) =
// 2.05 (x / (r D))^0.28, with r the jet-to-wind velocity ratio and D the orifice diameter (m); returns
// the height z (m) of the centreline above the orifice at downwind distance x (m).
OSTRELJET_EXPORT double pratteBainesHeight(double downwindDistance, double velocityRatio, double diameter);

// Centreline mass fraction of a round free jet in still air, momentum-dominated region (Chen and Rodi
// 1980): Cc = 5 (D / x) (rho_j / rho_a)^(1/2), at axial distance x (m) from an orifice of diameter D (m).
OSTRELJET_EXPORT double chenRodiCentrelineMassFraction(double axialDistance, double diameter,
                                                       double densityRatio);

// Densimetric Froude number squared, Fr^2 = ws^2 / (g d (rho_s - rho_a) / rho_a), of a source of
// diameter d (m), exit speed ws (m/s) and density rho_s (kg/m3) in air of density rho_a (kg/m3).
OSTRELJET_EXPORT double densimetricFroudeSquared(double exitSpeed, double diameter, double sourceDensity,
                                                 double ambientDensity);

// Maximum rise of a dense jet released upward into a crosswind (Hoot, Meroney and Peterka 1973):
// h = 1.32 d (r sg Fr^2)^(1/3), m, with r = ws / ua and sg = rho_s / rho_a.
OSTRELJET_EXPORT double hootMaximumRise(double diameter, double velocityRatio, double specificGravity,
                                        double froudeSquared);

// Downwind distance to the top of that rise, m: 0.435 h^3 / (r^2 sg d^2) (Hoot, Meroney and Peterka 1973).
OSTRELJET_EXPORT double hootDistanceToMaximumRise(double maximumRise, double velocityRatio,
                                                  double specificGravity, double diameter);

} // namespace ostreljet::correlations
