#include "JetModelTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using Profile = ostreljet::JetModelTestAccess::ProfileCoefficients;

namespace {

// Every evaluation within r of x0, at the ends and at many points between, keeps value0's strict sign.
void expectSignKept(const Profile &p, double x0) {
    const double value0 = p.evaluate(x0);
    const double r = p.signKeptWithin(x0, value0);
    ASSERT_GE(r, 0.0);
    const int samples = 2000;
    for (int k = -samples; k <= samples; ++k) {
        const double x = x0 + r * k / samples;
        const double value = p.evaluate(x);
        ASSERT_TRUE((value0 > 0.0 && value > 0.0) || (value0 < 0.0 && value < 0.0))
            << "x0 " << x0 << " r " << r << " x " << x << " value " << value;
    }
}

} // namespace

TEST(CentrelineSolve, SignKeptWithinMatchesWorkedPolynomials) {
    // x - 2 at 1: the root is 1 away; the linear estimate, less the room for rounding, is just under 1 and
    // fails by that room, so one halving gives just under 1/2.
    const Profile line{{-2.0, 1.0, 0.0, 0.0, 0.0, 0.0}};
    const double r = line.signKeptWithin(1.0, line.evaluate(1.0));
    EXPECT_GT(r, 0.4999);
    EXPECT_LT(r, 0.5);
    // (x - 1)^2 + 1 never changes sign; at its minimum the reach comes from the square term alone: the
    // move r^2 must stay under the margin 1, and halving from far away ends between 1/2 and 1.
    const Profile bowl{{2.0, -2.0, 1.0, 0.0, 0.0, 0.0}};
    const double reach = bowl.signKeptWithin(1.0, bowl.evaluate(1.0));
    EXPECT_GE(reach, 0.5);
    EXPECT_LT(reach, 1.0);
    // Nothing can be shown at a root, from a value that is not a number, or beside a root closer than
    // the rounding of the value.
    EXPECT_EQ(line.signKeptWithin(2.0, 0.0), 0.0);
    EXPECT_EQ(line.signKeptWithin(1.0, std::numeric_limits<double>::quiet_NaN()), 0.0);
    const double beside = std::nextafter(2.0, 0.0);
    EXPECT_EQ(line.signKeptWithin(beside, line.evaluate(beside)), 0.0);
}

TEST(CentrelineSolve, SignKeptWithinHoldsForRandomAndNearlyRootedPolynomials) {
    std::mt19937_64 random(20261125);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::uniform_real_distribution<double> decades(-12.0, 0.0);
    for (int trial = 0; trial < 300; ++trial) {
        // Coefficients of mixed sign and magnitude, like the residual's at very different jet states.
        Profile p{};
        for (double &c : p.c) {
            c = unit(random) * std::pow(10.0, decades(random));
        }
        const double x0 = 0.001 + std::fabs(unit(random)) * 3.0;
        expectSignKept(p, x0);
        // The same polynomial's shape with a root planted just beside x0: (x - root) q(x).
        const double root = x0 * (1.0 + std::pow(10.0, decades(random) / 2.0));
        Profile rooted{};
        for (int k = 0; k < 5; ++k) {
            rooted.c[k + 1] += p.c[k];
            rooted.c[k] -= root * p.c[k];
        }
        expectSignKept(rooted, x0);
    }
}
