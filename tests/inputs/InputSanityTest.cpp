// The fronts' own refusals: a release that would start underground, points and grids that are not finite.
#include "ostreljet/inputs/InputSanity.hpp"

#include <gtest/gtest.h>

#include <limits>

using ostreljet::inputs::InputSanity;

TEST(InputSanity, ReleaseAtOrBelowGroundPointingDownIsRefused) {
    EXPECT_EQ(InputSanity::releaseProblem(0.0, -90.0),
              "the release starts at ground level (stackHeight 0 m) and points downward (releaseAngle -90 "
              "degrees), so the jet would start underground; raise the stack above 0 m or point the release "
              "at or above the horizontal");
    EXPECT_NE(InputSanity::releaseProblem(-0.0, -1e-300), "");
    EXPECT_NE(InputSanity::releaseProblem(-5.0, -68.85), "");
    // The boundaries: a horizontal release at ground level, and any height above it, are usable.
    EXPECT_EQ(InputSanity::releaseProblem(0.0, 0.0), "");
    EXPECT_EQ(InputSanity::releaseProblem(0.0, -0.0), "");
    EXPECT_EQ(InputSanity::releaseProblem(4.9e-324, -90.0), "");
}

TEST(InputSanity, PointsAndGridsMustBeFiniteWithExtentsThatDoNotOverflow) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(InputSanity::pointProblem(1, 2, 3), "");
    EXPECT_EQ(InputSanity::pointProblem(0, inf, 0), "the point's y is inf, not a finite number of metres");
    EXPECT_EQ(InputSanity::gridProblem(nan, 0, 0, 1, 1, 1),
              "the grid's start x0 is nan, not a finite number of metres");
    EXPECT_EQ(InputSanity::gridProblem(0, 0, 0, 1, 1, -inf),
              "the grid's end z1 is -inf, not a finite number of metres");
    EXPECT_EQ(InputSanity::gridProblem(1e308, 0, 0, -1e308, 1, 1),
              "the grid's x extent from 1e+308 m to -1e+308 m overflows: x1 - x0 is not a finite number");
    // The largest extent that still fits: from -max/2 to +max/2.
    const double half = std::numeric_limits<double>::max() / 2;
    EXPECT_EQ(InputSanity::gridProblem(-half, -half, -half, half, half, half), "");
    EXPECT_EQ(InputSanity::number(0.1), "0.1");
}
