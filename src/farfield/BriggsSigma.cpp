#include "ostreljet/farfield/BriggsSigma.hpp"

#include <cmath>
#include <limits>

namespace ostreljet {

namespace {

using Curve = BriggsSigma::Curve;

// Briggs (1973) as tabulated by Hanna, Briggs and Hosker (1982): open country.
constexpr Curve kRuralY[6] = {{0.22, 0.0001, -0.5}, {0.16, 0.0001, -0.5}, {0.11, 0.0001, -0.5},
                              {0.08, 0.0001, -0.5}, {0.06, 0.0001, -0.5}, {0.04, 0.0001, -0.5}};
constexpr Curve kRuralZ[6] = {{0.20, 0.0, 1.0},     {0.12, 0.0, 1.0},     {0.08, 0.0002, -0.5},
                              {0.06, 0.0015, -0.5}, {0.03, 0.0003, -1.0}, {0.016, 0.0003, -1.0}};
// The same table, urban: one set for A and B, one for E and F.
constexpr Curve kUrbanY[6] = {{0.32, 0.0004, -0.5}, {0.32, 0.0004, -0.5}, {0.22, 0.0004, -0.5},
                              {0.16, 0.0004, -0.5}, {0.11, 0.0004, -0.5}, {0.11, 0.0004, -0.5}};
constexpr Curve kUrbanZ[6] = {{0.24, 0.001, 0.5},   {0.24, 0.001, 0.5},   {0.20, 0.0, 1.0},
                              {0.14, 0.0003, -0.5}, {0.08, 0.0015, -0.5}, {0.08, 0.0015, -0.5}};

} // namespace

double Curve::at(double x) const {
    return a * x * std::pow(1.0 + b * x, p);
}

double Curve::slope(double x) const {
    return a * std::pow(1.0 + b * x, p) + a * x * p * b * std::pow(1.0 + b * x, p - 1.0);
}

double Curve::limit() const {
    // a x (1 + b x)^p grows without bound unless p <= -1; p = -1 tends to a / b.
    if (p <= -1.0 && b > 0.0)
        return a / b;
    return std::numeric_limits<double>::infinity();
}

double Curve::inverse(double s) const {
    // In closed form for the table's shapes (b = 0; p = -1; p = -1/2, a quadratic in x); otherwise
    // bisection on the increasing curve, after doubling an upper bound.
    if (!(s >= 0.0) || !(s < limit()))
        return std::numeric_limits<double>::quiet_NaN();
    if (s == 0.0)
        return 0.0;
    if (b == 0.0)
        return s / a;
    if (p == -1.0)
        return s / (a - s * b); // s (1 + b x) = a x
    if (p == -0.5) {
        // s^2 (1 + b x) = a^2 x^2: the positive root, both of its terms positive.
        const double s2 = s * s;
        return (s2 * b + std::sqrt(s2 * s2 * b * b + 4.0 * a * a * s2)) / (2.0 * a * a);
    }
    double low = 0.0;
    double high = s / a;
    while (at(high) < s)
        high *= 2.0;
    for (int i = 0; i < 200 && high - low > 1e-12 * high; ++i) {
        const double middle = 0.5 * (low + high);
        (at(middle) < s ? low : high) = middle;
    }
    return 0.5 * (low + high);
}

BriggsSigma::BriggsSigma(FarFieldDispersion terrain, std::int32_t stabilityClass) {
    const int index = (stabilityClass >= 0 && stabilityClass <= 5) ? stabilityClass : 3;
    const bool urban = terrain == FarFieldDispersion::urban;
    y_ = urban ? kUrbanY[index] : kRuralY[index];
    z_ = urban ? kUrbanZ[index] : kRuralZ[index];
}

double BriggsSigma::sigmaY(double x) const {
    return y_.at(x);
}
double BriggsSigma::sigmaZ(double x) const {
    return z_.at(x);
}
double BriggsSigma::sigmaYSlope(double x) const {
    return y_.slope(x);
}
double BriggsSigma::sigmaZSlope(double x) const {
    return z_.slope(x);
}
double BriggsSigma::distanceForSigmaY(double s) const {
    return y_.inverse(s);
}
double BriggsSigma::distanceForSigmaZ(double s) const {
    return z_.inverse(s);
}
double BriggsSigma::sigmaZLimit() const {
    return z_.limit();
}

} // namespace ostreljet
