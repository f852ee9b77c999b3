#include "ostreljet/validation/PoolPlume.hpp"

#include "ostreljet/farfield/AveragingTime.hpp"
#include "ostreljet/farfield/GaussianPlume.hpp"
#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/numerics/Constants.hpp"

#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <string>

namespace ostreljet {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

void requirePositive(double value, const char *name) {
    if (!std::isfinite(value) || value <= 0.0)
        throw std::invalid_argument(std::string("pool plume: ") + name +
                                    " must be finite and positive, not " + std::to_string(value));
}

double airMolecularWeight() {
    return GasTable::find("air")->molecularWeight;
}

// The workbook's plume of the pool: V0 at the gas's temperature, g0' against the air, u at 10 m, Ta / T0.
BritterMcQuaidPlume workbookPlume(const PoolSource &s, const PoolWeather &w) {
    requirePositive(s.diameter, "pool diameter");
    requirePositive(s.evaporationFlux, "evaporation flux");
    requirePositive(s.gasTemperature, "gas temperature");
    requirePositive(s.molecularWeight, "molecular weight");
    requirePositive(w.windSpeed, "wind speed");
    requirePositive(w.temperature, "air temperature");
    requirePositive(w.pressure, "air pressure");
    const double rate = s.evaporationFlux * std::numbers::pi * s.diameter * s.diameter / 4.0;
    const double rhoGas = w.pressure * s.molecularWeight / (constants::gasConstant * s.gasTemperature);
    const double rhoAir = w.pressure * airMolecularWeight() / (constants::gasConstant * w.temperature);
    const double reduced = constants::gravity * (rhoGas - rhoAir) / rhoAir;
    if (reduced <= 0.0)
        throw std::invalid_argument(
            "pool plume: the gas is not heavier than the air at its source temperature");
    return BritterMcQuaidPlume(rate / rhoGas, reduced, w.windSpeed, w.temperature / s.gasTemperature);
}

} // namespace

PoolPlume::PoolPlume(const PoolSource &source, const PoolWeather &weather)
    : dense_(workbookPlume(source, weather)), sigmas_(FarFieldDispersion::rural, weather.stabilityClass) {
    // The source's flux and density, the dense plume's end, then the passive plume's virtual sources.
    massRate_ = source.evaporationFlux * std::numbers::pi * source.diameter * source.diameter / 4.0;
    const double rhoGas =
        weather.pressure * source.molecularWeight / (constants::gasConstant * source.gasTemperature);
    const double rhoAir =
        weather.pressure * airMolecularWeight() / (constants::gasConstant * weather.temperature);
    volumeFlux_ = massRate_ / rhoGas;
    reduced_ = constants::gravity * (rhoGas - rhoAir) / rhoAir;
    ambientFlux_ = volumeFlux_ * weather.temperature / source.gasTemperature;
    windSpeed_ = weather.windSpeed;

    if (!dense_.withinFits())
        notes_.push_back(
            "alpha " + std::to_string(dense_.alpha()) +
            " is outside the workbook fits' range -1 to 1: the curves are read at its nearest end");
    // The density excess stops mattering where (g0' V0 / (u^3 D(x)))^(1/3) < 0.15 with D(x) = D / sqrt(c'),
    // at c' = (0.15 / parameter)^6; the passive plume starts there or at the last curve.
    passiveStart_ = dense_.lastCurveDistance();
    const double parameter = dense_.densityParameter();
    if (parameter < BritterMcQuaidPlume::kDenseThreshold) {
        passiveStart_ = dense_.firstCurveDistance();
        notes_.push_back("the density excess does not matter at the source by the workbook's test: passive "
                         "from the first curve");
    } else {
        const double c = std::pow(BritterMcQuaidPlume::kDenseThreshold / parameter, 6.0);
        const double k = weather.temperature / source.gasTemperature;
        const double end = dense_.distanceToRatio(c * k / (1.0 - c + c * k));
        if (std::isfinite(end) && end < passiveStart_)
            passiveStart_ = end;
    }

    if (weather.averagingTime) {
        sigmaYFactor_ = AveragingTime::sigmaYFactor(*weather.averagingTime);
    } else {
        notes_.push_back("no averaging time given: sigma_y is the Briggs curves' own, not corrected");
    }
    // The dense plume's cross-section at the passive start as Gaussian widths of equal area and centreline.
    const double ratio = dense_.ratioAt(passiveStart_);
    const double halfWidth = dense_.halfWidth(passiveStart_);
    const double depth = ambientFlux_ / (2.0 * halfWidth * windSpeed_ * ratio);
    sigmaY0_ = 2.0 * halfWidth / std::sqrt(2.0 * std::numbers::pi);
    sigmaZ0_ = 2.0 * depth / std::sqrt(2.0 * std::numbers::pi);
    virtualY_ = sigmas_.distanceForSigmaY(sigmaY0_ / sigmaYFactor_);
    virtualZ_ = sigmas_.distanceForSigmaZ(sigmaZ0_);
    if (std::isnan(virtualZ_))
        notes_.push_back(
            "the plume's depth at the passive start is beyond what this class's sigma_z reaches: "
            "sigma_z is held there");
}

double PoolPlume::passiveAt(double x) const {
    const double sy = sigmaYFactor_ * sigmas_.sigmaY(x - passiveStart_ + virtualY_);
    const double sz = std::isnan(virtualZ_) ? sigmaZ0_ : sigmas_.sigmaZ(x - passiveStart_ + virtualZ_);
    return GaussianPlume::concentration(ambientFlux_, windSpeed_, sy, sz, 0.0, 0.0, 0.0, kInfinity);
}

double PoolPlume::groundLevelAt(double x) const {
    if (!(x >= dense_.firstCurveDistance()))
        return kNaN;
    if (x <= passiveStart_)
        return dense_.ratioAt(x);
    return passiveAt(x);
}

double PoolPlume::distanceToLevel(double level, double maxDistance) const {
    // In the dense plume by the workbook's inverse; past it by bisection on the falling Gaussian.
    if (!(level > 0.0) || level > dense_.ratioAt(dense_.firstCurveDistance()))
        return kNaN;
    if (level >= dense_.ratioAt(passiveStart_))
        return dense_.distanceToRatio(level);
    if (passiveAt(maxDistance) > level)
        return kNaN;
    double lo = passiveStart_, hi = maxDistance;
    for (int i = 0; i < 200 && hi - lo > 1e-9 * hi; ++i) {
        const double mid = 0.5 * (lo + hi);
        (passiveAt(mid) > level ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

} // namespace ostreljet
