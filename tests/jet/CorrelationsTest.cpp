// Each correlation against a figure worked out by hand from its published formula.
#include "ostreljet/jet/Correlations.hpp"

#include <gtest/gtest.h>

namespace ostreljet::correlations {
namespace {

TEST(CorrelationsTest, BriggsFluxAndTwoThirdsLaw) {
    // Fb = 9.80665 * 10 * 2^2 * (400 - 300) / (4 * 400) = 39226.6 / 1600 = 24.516625 m4/s3.
    EXPECT_NEAR(briggsBuoyancyFlux(10.0, 2.0, 400.0, 300.0), 24.516625, 1e-9);
    // 1.60 * 8^(1/3) * 1000^(2/3) / 4 = 1.60 * 2 * 100 / 4 = 80 m.
    EXPECT_NEAR(briggsGradualRise(8.0, 1000.0, 4.0), 80.0, 1e-9);
}

TEST(CorrelationsTest, BriggsNeutralFinalRiseOnBothSidesOf55) {
    // Fb = 16 < 55: 49 * 16^(5/8) = 49 * 2^2.5 = 277.186 m.
    EXPECT_NEAR(briggsFinalRiseDistanceNeutral(16.0), 277.1859, 1e-3);
    // Fb = 243 >= 55: 119 * 243^(2/5) = 119 * 3^2 = 1071 m.
    EXPECT_NEAR(briggsFinalRiseDistanceNeutral(243.0), 1071.0, 1e-9);
    // At the distance to final rise the law gives the guide's closed forms: 38.71 * 243^(3/5) / 5 =
    // 38.71 * 27 / 5 = 209.03 m, and 21.425 * 16^(3/4) / 2 = 21.425 * 8 / 2 = 85.70 m.
    EXPECT_NEAR(briggsFinalRiseNeutral(243.0, 5.0), 209.034, 0.05);
    EXPECT_NEAR(briggsFinalRiseNeutral(16.0, 2.0), 85.70, 0.02);
}

TEST(CorrelationsTest, BriggsStableFinalRise) {
    // s = 9.80665 * 0.02 / 300 = 6.537767e-4 1/s2.
    EXPECT_NEAR(stabilityParameter(0.02, 300.0), 6.537767e-4, 1e-9);
    // 2.6 * (100 / (5 * 0.0008))^(1/3) = 2.6 * 25000^(1/3) = 2.6 * 29.24018 = 76.0245 m.
    EXPECT_NEAR(briggsFinalRiseStable(100.0, 5.0, 0.0008), 76.0245, 1e-3);
    // 2.0715 * 5 / sqrt(0.0008) = 10.3575 / 0.0282843 = 366.19 m.
    EXPECT_NEAR(briggsFinalRiseDistanceStable(5.0, 0.0008), 366.194, 1e-2);
}

TEST(CorrelationsTest, PratteBainesChenRodiAndHoot) {
    // r D = 10 * 0.1 = 1 m; 2.05 * 32^0.28 = 2.05 * 2^1.4 = 2.05 * 2.639016 = 5.409983 m.
    EXPECT_NEAR(pratteBainesHeight(32.0, 10.0, 0.1), 5.409983, 1e-5);
    // 5 * (0.05 / 1) * sqrt(0.64) = 0.25 * 0.8 = 0.2.
    EXPECT_NEAR(chenRodiCentrelineMassFraction(1.0, 0.05, 0.64), 0.2, 1e-12);
    // Fr^2 = 10^2 / (9.80665 * 0.2 * (2.4 - 1.2) / 1.2) = 100 / 1.96133 = 50.98581.
    EXPECT_NEAR(densimetricFroudeSquared(10.0, 0.2, 2.4, 1.2), 50.98581, 1e-4);
    // h = 1.32 * 0.2 * (4 * 2 * 27)^(1/3) = 0.264 * 6 = 1.584 m.
    EXPECT_NEAR(hootMaximumRise(0.2, 4.0, 2.0, 27.0), 1.584, 1e-12);
    // 0.435 * 1.584^3 / (16 * 2 * 0.04) = 0.435 * 3.974370 / 1.28 = 1.350664 m.
    EXPECT_NEAR(hootDistanceToMaximumRise(1.584, 4.0, 2.0, 0.2), 1.350664, 1e-5);
}

} // namespace
} // namespace ostreljet::correlations
