#pragma once

#include <cmath>

namespace ostreljet {

// True when a and b are both above 0 or both below it: no bracket between them holds a root.
inline bool sameStrictSign(double a, double b) {
    return (a > 0.0 && b > 0.0) || (a < 0.0 && b < 0.0);
}

// Brent's method on [a, b] with fa = function(a) and fb = function(b) already known: true and the root,
// or false and 0.0 when the ends do not bracket a root or 100000 iterations do not converge. tolerance is
// in the units of the argument. The same steps as findRoot below, for callers that know both ends.
template <typename Function>
bool findRootBetween(double a, double fa, double b, double fb, double tolerance, Function &&function,
                     double &result) {
    // Brent's method: bisection, secant and inverse quadratic interpolation on a shrinking bracket.
    // 1. Refuse a bracket without a sign change.
    // 2. Keep b the best estimate and c the other side of the root; take the interpolation step when
    //    it stays inside the bracket and shrinks fast enough, otherwise bisect.
    // 3. Stop when half the bracket is within 2 eps |b| + tol / 2 or the function is exactly zero.
    constexpr int maximumIterations = 100000;
    constexpr double twiceEpsilon = 4.4e-16;
    if (sameStrictSign(fa, fb)) {
        result = 0.0;
        return false;
    }
    double c = b;
    double fc = fb;
    double d = 0.0;
    double e = 0.0;
    for (int iteration = 1; iteration <= maximumIterations; ++iteration) {
        if ((fb > 0.0 && fc > 0.0) || (fb < 0.0 && fc < 0.0)) {
            c = a;
            fc = fa;
            d = b - a;
            e = d;
        }
        if (std::fabs(fc) < std::fabs(fb)) {
            a = b;
            b = c;
            c = a;
            fa = fb;
            fb = fc;
            fc = fa;
        }
        const double tolerance1 = twiceEpsilon * std::fabs(b) + 0.5 * tolerance;
        const double xm = 0.5 * (c - b);
        if (std::fabs(xm) <= tolerance1 || fb == 0.0) {
            result = b;
            return true;
        }
        if (std::fabs(e) >= tolerance1 && std::fabs(fa) > std::fabs(fb)) {
            const double s = fb / fa;
            double p;
            double q;
            if (a == c) {
                p = 2.0 * xm * s;
                q = 1.0 - s;
            } else {
                q = fa / fc;
                const double r = fb / fc;
                p = s * (2.0 * xm * q * (q - r) - (b - a) * (r - 1.0));
                q = (q - 1.0) * (r - 1.0) * (s - 1.0);
            }
            if (p > 0.0) {
                q = -q;
            }
            p = std::fabs(p);
            const double min1 = 3.0 * xm * q - std::fabs(tolerance1 * q);
            const double min2 = std::fabs(e * q);
            if (2.0 * p < (min1 < min2 ? min1 : min2)) {
                e = d;
                d = p / q;
            } else {
                d = xm;
                e = d;
            }
        } else {
            d = xm;
            e = d;
        }
        a = b;
        fa = fb;
        if (std::fabs(d) > tolerance1) {
            b += d;
        } else {
            b += xm >= 0.0 ? std::fabs(tolerance1) : -std::fabs(tolerance1);
        }
        fb = function(b);
    }
    result = 0.0;
    return false;
}

// Brent's method on [a, b] with fa = function(a) already known; see findRootBetween. For callers that try
// several brackets from one end.
template <typename Function>
bool findRootFrom(double a, double fa, double b, double tolerance, Function &&function, double &result) {
    const double fb = function(b);
    return findRootBetween(a, fa, b, fb, tolerance, function, result);
}

// Brent's method on [a, b]: true and the root, or false and 0.0 when the ends do not bracket a root or
// 100000 iterations do not converge. tolerance is in the units of the argument.
template <typename Function>
bool findRoot(double a, double b, double tolerance, Function &&function, double &result) {
    const double fa = function(a);
    return findRootFrom(a, fa, b, tolerance, function, result);
}

} // namespace ostreljet
