#pragma once

#include "ostreljet/Export.hpp"

#include <array>

namespace ostreljet {

// A dense plume at ground level from a continuous release, by the correlations of Britter and McQuaid
// (1988), Workbook on the Dispersion of Dense Gases, HSE Contract Research Report 17/1988, for continuous
// releases: the ratio Cm/C0 of the ground-level centreline concentration to the source's, read from
// curves of beta = log10(x / D) against alpha = 0.2 log10(g0'^2 V0 / u^5), with D = sqrt(V0 / u) and
// x the distance from the source. The curves are taken as the piecewise-linear fits tabulated by CCPS
// (1999), Guidelines for Consequence Analysis of Chemical Releases, section 2.3 (the same fits are in
// Crowl and Louvar 2011, Chemical Process Safety, 3rd ed., the table of equations for the Britter-McQuaid
// plume curves), for Cm/C0 = 0.1, 0.05, 0.02, 0.01, 0.005 and 0.002 and -1 <= alpha <= 1. Between curves,
// log10(Cm/C0) is interpolated linearly in beta. A non-isothermal source is corrected as the workbook
// says: the ratio read from the curves, c', stands for c' k / (1 - c' + c' k) with k = Ta / T0.
// Immutable; any number of threads may use one at once.
class OSTRELJET_EXPORT BritterMcQuaidPlume {
public:
    // The source: volume flux V0 of released gas at its own temperature (m3/s), its reduced gravity
    // g0' = g (rho0 - rhoa) / rhoa (m/s2), the wind speed at 10 m (m/s) and the ratio k = Ta / T0 of the
    // ambient to the source temperature (-).
    BritterMcQuaidPlume(double volumeFlux, double reducedGravity, double windSpeed, double temperatureRatio);

    double alpha() const { return alpha_; }       // -
    double length() const { return length_; }     // D, m
    double buoyancyLength() const { return lb_; } // lb = V0 g0' / u^3, m
    // Whether alpha lies within the fitted range [-1, 1].
    bool withinFits() const { return alpha_ >= -1.0 && alpha_ <= 1.0; }
    // The workbook's test for a release whose density matters: (g0' V0 / (u^3 D))^(1/3) >= 0.15.
    double densityParameter() const;
    static constexpr double kDenseThreshold = 0.15; // Britter and McQuaid (1988), continuous releases

    // beta of curve i (0: Cm/C0 = 0.1 .. 5: 0.002) at this alpha (alpha clamped to the fitted range).
    double curveBeta(int i) const;
    static constexpr std::array<double, 6> kRatios = {0.1, 0.05, 0.02, 0.01, 0.005, 0.002};

    // The actual concentration ratio C/C0 (volume fraction of released gas when C0 = 1) at a distance x
    // (m) from the source, between the first and the last curve; NaN outside them.
    double ratioAt(double x) const;
    // The distance (m) from the source at which the ratio falls to r, for r between the last and the first
    // curve's; NaN outside them.
    double distanceToRatio(double r) const;
    // The smallest and largest distances the curves cover, m.
    double firstCurveDistance() const;
    double lastCurveDistance() const;

    // Plume half-width (m) at x m from the source: D + 8 lb + 2.5 lb^(1/3) x^(2/3) (the workbook's
    // continuous-plume width, as restated by CCPS 1999).
    double halfWidth(double x) const;

private:
    double isothermalRatio(double actual) const; // c' for an actual ratio
    double actualRatio(double isothermal) const; // the actual ratio for c'

    double volumeFlux_;       // V0, m3/s
    double reducedGravity_;   // g0', m/s2
    double windSpeed_;        // u, m/s
    double temperatureRatio_; // k = Ta / T0, -
    double alpha_;            // -
    double length_;           // D, m
    double lb_;               // m
};

} // namespace ostreljet
