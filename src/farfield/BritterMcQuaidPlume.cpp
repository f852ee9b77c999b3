#include "ostreljet/farfield/BritterMcQuaidPlume.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace ostreljet {

namespace {

// The fitted curves, one per ratio: beta is constant, then linear, constant again where stated, and linear
// to alpha = 1 (CCPS 1999; Crowl and Louvar 2011; the section numbers not checked against the books):
// the (alpha, beta) corners.
struct Corner {
    double alpha;
    double beta;
};
const std::vector<Corner> kCurves[6] = {
    {{-1.0, 1.75}, {-0.55, 1.75}, {-0.14, 1.85}, {1.0, 1.28}},                // Cm/C0 = 0.1
    {{-1.0, 1.92}, {-0.68, 1.92}, {-0.29, 2.06}, {-0.18, 2.06}, {1.0, 1.4}},  // 0.05
    {{-1.0, 2.08}, {-0.69, 2.08}, {-0.31, 2.25}, {-0.16, 2.25}, {1.0, 1.62}}, // 0.02
    {{-1.0, 2.25}, {-0.7, 2.25}, {-0.29, 2.45}, {-0.2, 2.45}, {1.0, 1.83}},   // 0.01
    {{-1.0, 2.4}, {-0.67, 2.4}, {-0.28, 2.63}, {-0.15, 2.63}, {1.0, 2.07}},   // 0.005
    {{-1.0, 2.6}, {-0.69, 2.6}, {-0.25, 2.77}, {-0.13, 2.77}, {1.0, 2.21}},   // 0.002
};

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

} // namespace

BritterMcQuaidPlume::BritterMcQuaidPlume(double volumeFlux, double reducedGravity, double windSpeed,
                                         double temperatureRatio)
    : volumeFlux_(volumeFlux), reducedGravity_(reducedGravity), windSpeed_(windSpeed),
      temperatureRatio_(temperatureRatio) {
    alpha_ = 0.2 * std::log10(reducedGravity * reducedGravity * volumeFlux / std::pow(windSpeed, 5.0));
    length_ = std::sqrt(volumeFlux / windSpeed);
    lb_ = volumeFlux * reducedGravity / (windSpeed * windSpeed * windSpeed);
}

double BritterMcQuaidPlume::densityParameter() const {
    return std::cbrt(reducedGravity_ * volumeFlux_ / (windSpeed_ * windSpeed_ * windSpeed_ * length_));
}

double BritterMcQuaidPlume::curveBeta(int i) const {
    const double a = std::clamp(alpha_, -1.0, 1.0);
    const std::vector<Corner> &curve = kCurves[i];
    for (std::size_t k = 1; k < curve.size(); ++k) {
        if (a <= curve[k].alpha) {
            const Corner &p = curve[k - 1];
            const Corner &q = curve[k];
            return p.beta + (q.beta - p.beta) * (a - p.alpha) / (q.alpha - p.alpha);
        }
    }
    return curve.back().beta;
}

double BritterMcQuaidPlume::isothermalRatio(double actual) const {
    return actual / (actual + (1.0 - actual) * temperatureRatio_);
}

double BritterMcQuaidPlume::actualRatio(double isothermal) const {
    const double k = temperatureRatio_;
    return isothermal * k / (1.0 - isothermal + isothermal * k);
}

double BritterMcQuaidPlume::firstCurveDistance() const {
    return length_ * std::pow(10.0, curveBeta(0));
}
double BritterMcQuaidPlume::lastCurveDistance() const {
    return length_ * std::pow(10.0, curveBeta(5));
}

double BritterMcQuaidPlume::ratioAt(double x) const {
    // Find the pair of curves around beta, then interpolate log10 of the ratio.
    const double beta = std::log10(x / length_);
    for (int i = 1; i < 6; ++i) {
        const double b0 = curveBeta(i - 1);
        const double b1 = curveBeta(i);
        if (beta >= b0 && beta <= b1) {
            const double f = b1 > b0 ? (beta - b0) / (b1 - b0) : 0.0;
            const double l0 = std::log10(kRatios[i - 1]);
            const double l1 = std::log10(kRatios[i]);
            return actualRatio(std::pow(10.0, l0 + f * (l1 - l0)));
        }
    }
    return kNaN;
}

double BritterMcQuaidPlume::distanceToRatio(double r) const {
    // The inverse of ratioAt: find the curves around log10 c', then interpolate beta.
    const double l = std::log10(isothermalRatio(r));
    for (int i = 1; i < 6; ++i) {
        const double l0 = std::log10(kRatios[i - 1]);
        const double l1 = std::log10(kRatios[i]);
        if (l <= l0 && l >= l1) {
            const double f = (l - l0) / (l1 - l0);
            const double beta = curveBeta(i - 1) + f * (curveBeta(i) - curveBeta(i - 1));
            return length_ * std::pow(10.0, beta);
        }
    }
    return kNaN;
}

double BritterMcQuaidPlume::halfWidth(double x) const {
    return length_ + 8.0 * lb_ + 2.5 * std::cbrt(lb_) * std::pow(x, 2.0 / 3.0);
}

} // namespace ostreljet
