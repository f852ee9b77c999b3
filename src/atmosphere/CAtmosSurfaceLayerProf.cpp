#include "ostreljet/atmosphere/CAtmosSurfaceLayerProf.hpp"

#include "ostreljet/numerics/Constants.hpp"

#include <cmath>

namespace ostreljet {

namespace {

constexpr double kVonKarmanGravity = constants::vonKarman * constants::gravity; // m/s2
static_assert(kVonKarmanGravity == 3.4323274999999995, "the product as evaluated in double");
constexpr double kHalfPi = constants::pi / 2.0; // -
static_assert(kHalfPi == 1.570796326794895, "half of pi is exact in double");

// Fit of the inverse Obukhov length to a class: 1/L = log10(a / z0) / b.
struct ObukhovFit {
    bool neutral; // true where 1/L = 0
    double a;     // m
    double b;     // m
};

constexpr ObukhovFit kObukhovFits[] = {
    {false, 1117.0, -33.162}, // A
    {false, 11.46, -32.258},  // B
    {false, 1.324, -51.787},  // C
    {true, 0.0, 0.0},         // D
    {false, 1.262, 48.33},    // E
    {false, 19.36, 31.325},   // F
};

} // namespace

CAtmosSurfaceLayerProf::CAtmosSurfaceLayerProf() {
    build(0.0, 0.0, 10.0, 0.1, 0.0, 5.0, 288.15);
}

void CAtmosSurfaceLayerProf::setCoefficients() {
    vonKarman_ = constants::vonKarman;
    betaHeat_ = 4.7;
    betaMomentum_ = 4.7;
    gammaMomentum_ = 15.0;
    gammaHeat_ = 9.0;
    dissipationUnstable_ = 1.0;
    dissipationStable_ = 2.5;
    sigmaWNeutral_ = 1.25;
    sigmaWUnstable_ = 3.0;
    frictionMultiple1_ = 2.5;
    frictionMultiple2_ = std::sqrt(5.0);
    frictionMultiple3_ = 2.0;
    turbulentPrandtl_ = 0.74;
    heatRoughnessRatio_ = 0.135;
}

double CAtmosSurfaceLayerProf::phiMomentum(double zeta) {
    if (zeta < 0.0) {
        return std::pow(1.0 - gammaMomentum_ * zeta, -0.25);
    }
    if (zeta > 0.0 && zeta <= 1.0) {
        return 1.0 + betaMomentum_ * zeta;
    }
    if (zeta == 0.0) {
        return 1.0;
    }
    if (zeta > 1.0) {
        // Beta alone, not 1 + beta: the profile jumps from 5.7 to 4.7 just above zeta = 1.
        return betaMomentum_;
    }
    return zeta;
}

double CAtmosSurfaceLayerProf::psiMomentum(double zeta) {
    if (zeta == 0.0) {
        return 0.0;
    }
    if (zeta > 0.0) {
        return -betaHeat_ * zeta;
    }
    if (zeta < 0.0) {
        const double x = 1.0 / phiMomentum(zeta);
        return 2.0 * std::log((1.0 + x) / 2.0) + std::log((1.0 + x * x) / 2.0) -
               (2.0 * std::atan(x) - kHalfPi);
    }
    return 0.0;
}

double CAtmosSurfaceLayerProf::phiHeat(double zeta) {
    if (zeta < 0.0) {
        return turbulentPrandtl_ / std::sqrt(1.0 - gammaHeat_ * zeta);
    }
    if (zeta > 1.0) {
        // Beta alone, without the Prandtl number.
        return betaHeat_;
    }
    if (zeta > 0.0) {
        return betaHeat_ * zeta + turbulentPrandtl_;
    }
    if (zeta == 0.0) {
        return turbulentPrandtl_;
    }
    return zeta;
}

double CAtmosSurfaceLayerProf::psiHeat(double zeta) {
    if (zeta < 0.0) {
        // The Prandtl number inside phiHeat makes this about 0.324 just below zeta = 0, against 0 at 0.
        return 2.0 * std::log((1.0 + 1.0 / phiHeat(zeta)) / 2.0);
    }
    if (zeta > 0.0) {
        return -betaHeat_ * zeta;
    }
    return 0.0;
}

double CAtmosSurfaceLayerProf::momentumProfile(double z) {
    if (z <= roughnessLength_) {
        return 0.0;
    }
    const double zeta = z * inverseObukhovLength_;
    const double zeta0 = roughnessLength_ * inverseObukhovLength_;
    if (zeta > 1.0) {
        return std::log(z / roughnessLength_) + betaMomentum_ * (std::log(zeta) + 1.0 - zeta0);
    }
    if (zeta == 0.0) {
        return std::log(z / roughnessLength_);
    }
    return std::log(z / roughnessLength_) - psiMomentum(zeta) + psiMomentum(zeta0);
}

double CAtmosSurfaceLayerProf::heatProfile(double z) {
    if (z <= heatRoughnessLength_) {
        return 0.0;
    }
    const double zeta = z * inverseObukhovLength_;
    const double zetaH = heatRoughnessLength_ * inverseObukhovLength_;
    // The log-linear branch is chosen by the inverse length itself, unlike the momentum profile.
    if (inverseObukhovLength_ > 1.0) {
        return std::log(z / heatRoughnessLength_) + betaHeat_ * (std::log(zeta) + 1.0 - zetaH);
    }
    if (inverseObukhovLength_ == 0.0) {
        return std::log(z / heatRoughnessLength_);
    }
    return std::log(z / heatRoughnessLength_) - psiHeat(zeta) + psiHeat(zetaH);
}

double CAtmosSurfaceLayerProf::heatRoughness(double z0) {
    return heatRoughnessRatio_ * z0;
}

void CAtmosSurfaceLayerProf::initialise(std::int32_t stabilityClass, double scalarReference,
                                        double referenceHeight, double roughness, double bearing,
                                        double referenceSpeed, double referenceTemperature) {
    build(inverseObukhovLengthFor(stabilityClass, roughness), scalarReference, referenceHeight, roughness,
          bearing, referenceSpeed, referenceTemperature);
}

// Sets every field from the inputs.
// Phases: coefficients; stability and roughness; friction velocity from the reference wind; heat roughness;
// surface temperature and temperature scale from the reference temperature; the same for the second scalar;
// the bearing.
void CAtmosSurfaceLayerProf::build(double inverseLength, double scalarReference, double referenceHeight,
                                   double roughness, double bearing, double referenceSpeed,
                                   double referenceTemperature) {
    setCoefficients();
    inverseObukhovLength_ = inverseLength;
    roughnessLength_ = roughness;
    frictionVelocity_ = vonKarman_ * referenceSpeed / momentumProfile(referenceHeight);
    heatRoughnessLength_ = heatRoughness(roughness);

    const double ustar2 = frictionVelocity_ * frictionVelocity_;
    const double kappa2g = vonKarman_ * vonKarman_ * constants::gravity;
    const double divisor = 1.0 + ustar2 * inverseObukhovLength_ * heatProfile(referenceHeight) / kappa2g;
    surfaceTemperature_ = referenceTemperature / divisor;
    temperatureScale_ = ustar2 * surfaceTemperature_ * inverseObukhovLength_ / kVonKarmanGravity;

    const double scalarDivisor =
        1.0 + ustar2 * inverseObukhovLength_ * heatProfile(referenceHeight) / kappa2g;
    surfaceScalar_ = scalarReference / scalarDivisor;
    scalarScale_ = surfaceScalar_ * ustar2 * inverseObukhovLength_ / kVonKarmanGravity;

    windBearing_ = bearing;
}

double CAtmosSurfaceLayerProf::windSpeed(double z) {
    return frictionVelocity_ / vonKarman_ * momentumProfile(z);
}

double CAtmosSurfaceLayerProf::temperature(double z) {
    return surfaceTemperature_ + temperatureScale_ / vonKarman_ * heatProfile(z);
}

double CAtmosSurfaceLayerProf::eddyDiffusivity(double z) {
    return vonKarman_ * frictionVelocity_ * z / phiMomentum(z * inverseObukhovLength_);
}

double CAtmosSurfaceLayerProf::dissipationRate(double z) {
    const double zeta = z * inverseObukhovLength_;
    const double shape = zeta <= 0.0 ? 1.0 - dissipationUnstable_ * zeta
                                     : std::pow(1.0 + dissipationStable_ * std::pow(zeta, 0.6), 1.5);
    return frictionVelocity_ * frictionVelocity_ * frictionVelocity_ / (vonKarman_ * z) * shape;
}

double CAtmosSurfaceLayerProf::windShear(double z) {
    if (z == 0.0) {
        return 0.0;
    }
    return frictionVelocity_ / (vonKarman_ * z) * phiMomentum(z * inverseObukhovLength_);
}

double CAtmosSurfaceLayerProf::temperatureGradient(double z) {
    return temperatureScale_ / (vonKarman_ * z) * phiHeat(z * inverseObukhovLength_);
}

double CAtmosSurfaceLayerProf::scalarValue(double z) {
    return surfaceScalar_ + scalarScale_ / vonKarman_ * heatProfile(z);
}

double CAtmosSurfaceLayerProf::scalarGradient(double z) {
    return scalarScale_ / (vonKarman_ * z) * phiHeat(z * inverseObukhovLength_);
}

double CAtmosSurfaceLayerProf::verticalVelocitySpread(double z) {
    const double zeta = z * inverseObukhovLength_;
    if (zeta < 0.0) {
        return frictionVelocity_ * sigmaWNeutral_ * std::pow(1.0 - sigmaWUnstable_ * zeta, 1.0 / 3.0);
    }
    return sigmaWNeutral_ * frictionVelocity_;
}

double CAtmosSurfaceLayerProf::frictionVelocityMultiple1() const {
    return frictionMultiple1_ * frictionVelocity_;
}
double CAtmosSurfaceLayerProf::frictionVelocityMultiple2() const {
    return frictionMultiple2_ * frictionVelocity_;
}
double CAtmosSurfaceLayerProf::frictionVelocityMultiple3() const {
    return frictionMultiple3_ * frictionVelocity_;
}

double CAtmosSurfaceLayerProf::inverseObukhovLengthFor(std::int32_t stabilityClass, double roughness) {
    if (stabilityClass < PASQUILL_A || stabilityClass > PASQUILL_F) {
        return 0.0;
    }
    const ObukhovFit &fit = kObukhovFits[stabilityClass];
    if (fit.neutral) {
        return 0.0;
    }
    return std::log10(fit.a / roughness) / fit.b;
}

// Finds the class for an inverse length over a roughness by splitting between the classes' own values.
// Phases: stable side against the E/F mean and half of E; unstable side against the A/B and B/C means and
// half of C; neutral (or NaN) otherwise.
std::int32_t CAtmosSurfaceLayerProf::stabilityClassFor(double inverseObukhovLength, double roughness) {
    if (inverseObukhovLength > 0.0) {
        const double e = inverseObukhovLengthFor(PASQUILL_E, roughness);
        const double f = inverseObukhovLengthFor(PASQUILL_F, roughness);
        if (inverseObukhovLength > (e + f) / 2.0) {
            return PASQUILL_F;
        }
        if (inverseObukhovLength > e / 2.0) {
            return PASQUILL_E;
        }
        return PASQUILL_D;
    }
    if (inverseObukhovLength < 0.0) {
        const double a = inverseObukhovLengthFor(PASQUILL_A, roughness);
        const double b = inverseObukhovLengthFor(PASQUILL_B, roughness);
        const double c = inverseObukhovLengthFor(PASQUILL_C, roughness);
        if (inverseObukhovLength < (a + b) / 2.0) {
            return PASQUILL_A;
        }
        if (inverseObukhovLength < (b + c) / 2.0) {
            return PASQUILL_B;
        }
        if (inverseObukhovLength < c / 2.0) {
            return PASQUILL_C;
        }
        return PASQUILL_D;
    }
    return PASQUILL_D;
}

double CAtmosSurfaceLayerProf::windBearing() const {
    return windBearing_;
}
double CAtmosSurfaceLayerProf::inverseObukhovLength() const {
    return inverseObukhovLength_;
}
double CAtmosSurfaceLayerProf::frictionVelocity() const {
    return frictionVelocity_;
}
double CAtmosSurfaceLayerProf::roughnessLength() const {
    return roughnessLength_;
}
double CAtmosSurfaceLayerProf::heatRoughnessLength() const {
    return heatRoughnessLength_;
}
double CAtmosSurfaceLayerProf::temperatureScale() const {
    return temperatureScale_;
}
double CAtmosSurfaceLayerProf::surfaceTemperature() const {
    return surfaceTemperature_;
}
double CAtmosSurfaceLayerProf::scalarScale() const {
    return scalarScale_;
}
double CAtmosSurfaceLayerProf::surfaceScalar() const {
    return surfaceScalar_;
}

} // namespace ostreljet
