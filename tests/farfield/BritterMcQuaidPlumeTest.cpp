#include "ostreljet/farfield/BritterMcQuaidPlume.hpp"

#include <gtest/gtest.h>

#include <cmath>

using ostreljet::BritterMcQuaidPlume;

// The fitted curves read by hand off their table: flat for alpha <= -0.7 (1.75, 1.92, 2.08, 2.25, 2.40,
// 2.60); at alpha = 0 the 0.1 curve is 1.85 + (0.14 / 1.14) (1.28 - 1.85) = 1.78 and the 0.002 curve
// 2.77 + (0.13 / 1.13) (2.21 - 2.77) = 2.7056.
TEST(BritterMcQuaidPlume, CurvesFollowTheirFittedCorners) {
    // alpha = 0.2 log10(g^2 V / u^5): V = 1, u = 1 and g = 10^(-1.875) give alpha = -0.75.
    const BritterMcQuaidPlume flat(1.0, std::pow(10.0, -1.875), 1.0, 1.0);
    ASSERT_NEAR(flat.alpha(), -0.75, 1e-12);
    const double expected[6] = {1.75, 1.92, 2.08, 2.25, 2.40, 2.60};
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(flat.curveBeta(i), expected[i], 1e-12);
    const BritterMcQuaidPlume zero(1.0, 1.0, 1.0, 1.0);
    ASSERT_NEAR(zero.alpha(), 0.0, 1e-15);
    EXPECT_NEAR(zero.curveBeta(0), 1.78, 1e-12);
    EXPECT_NEAR(zero.curveBeta(5), 2.7056, 1e-4);
    // On a curve the ratio is the curve's; the inverse returns the distance.
    EXPECT_NEAR(zero.ratioAt(zero.length() * std::pow(10.0, 1.78)), 0.1, 1e-12);
    EXPECT_NEAR(zero.distanceToRatio(0.02), zero.length() * std::pow(10.0, zero.curveBeta(2)), 1e-9);
    EXPECT_TRUE(std::isnan(zero.ratioAt(zero.length())));
    EXPECT_TRUE(zero.withinFits());
}

// The workbook's LNG example as worked in CCPS (1999), Guidelines for Consequence Analysis of Chemical
// Releases, p. 122: 0.23 m3/s of liquid (425.6 kg/m3) boiling off as vapour of 1.76 kg/m3 at 111.7 K into
// a 10.9 m/s wind at 298 K; the distance to the LFL of 5 % by volume is given there as 367 m. Air at
// 298 K and 101325 Pa: 1.186 kg/m3.
TEST(BritterMcQuaidPlume, LngWorkedExampleDistanceToTheLfl) {
    const double volumeFlux = 0.23 * 425.6 / 1.76; // m3/s
    const double airDensity = 101325.0 * 0.02896 / (8.31434 * 298.0);
    const double reduced = 9.80665 * (1.76 - airDensity) / airDensity;
    const BritterMcQuaidPlume plume(volumeFlux, reduced, 10.9, 298.0 / 111.7);
    EXPECT_NEAR(plume.length(), 2.26, 0.005); // D = sqrt(55.6 / 10.9)
    EXPECT_GT(plume.densityParameter(), BritterMcQuaidPlume::kDenseThreshold);
    EXPECT_NEAR(plume.distanceToRatio(0.05), 367.0, 0.03 * 367.0);
    EXPECT_NEAR(plume.ratioAt(plume.distanceToRatio(0.05)), 0.05, 1e-12);
}
