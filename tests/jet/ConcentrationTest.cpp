#include "ostreljet/jet/JetModel.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using ostreljet::JetModel;
using ostreljet::vector3;

namespace {

// A model whose centreline is written directly instead of integrated.
class DrawnJet : public JetModel {
public:
    explicit DrawnJet(vector3 wind = vector3(5.0, 0.0, 0.0)) { atmosphere().setVelocity(wind); }

    void step(const vector3 &location, const vector3 &direction, double radius, double concentration) {
        appendOutputStep(location, direction, radius, concentration, 300.0, 0.0, 1.0);
        updateMaxima(location.z(), radius);
    }
};

// The worked example: two output steps 100 m apart along +x at 10 m, radii 2 and 12, centreline
// concentrations 1.0 and 0.1.
void drawTwoSteps(DrawnJet &jet) {
    jet.step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0);
    jet.step(vector3(100, 0, 10), vector3(1, 0, 0), 12.0, 0.1);
}

const double profileAtHalfRadius = 0.598432013073045; // 0.5 ^ (1 / 1.35)

} // namespace

TEST(Concentration, WorkedExampleBesideTwoSteps) {
    // Samples 12 and 13 are equally perpendicular and the later wins: offset (-2, 3, 0), radius 7.2,
    // concentration 0.532, so 0.532 (0.5 + 0.5 cos(pi sqrt(13) / 7.2))^(1/1.35).
    DrawnJet jet;
    drawTwoSteps(jet);
    EXPECT_NEAR(jet.calculateConcentration(50, 3, 10), 0.3177944327223222, 1e-14);
    // The mirror image across the axis gives the same value.
    EXPECT_NEAR(jet.calculateConcentration(50, -3, 10), 0.3177944327223222, 1e-14);
}

TEST(Concentration, OnTheCentrelineAndAtHalfTheRadius) {
    DrawnJet jet;
    jet.step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0);
    jet.step(vector3(50, 0, 20), vector3(1, 0, 0.2), 6.0, 0.4);
    jet.step(vector3(100, 0, 25), vector3(1, 0, 0.1), 10.0, 0.2);
    EXPECT_DOUBLE_EQ(jet.calculateConcentration(50, 0, 20), 0.4);
    EXPECT_DOUBLE_EQ(jet.calculateConcentration(100, 0, 25), 0.2);
    // Half the radius across the jet, in the plane normal to it through the step.
    EXPECT_NEAR(jet.calculateConcentration(50, 3, 20), 0.4 * profileAtHalfRadius, 1e-12);
    // At the radius and beyond, nothing.
    EXPECT_EQ(jet.calculateConcentration(50, 6, 20), 0.0);
    EXPECT_EQ(jet.calculateConcentration(50, 6.5, 20), 0.0);
}

TEST(Concentration, LargestContributionNotTheSum) {
    // At the middle step the point lies beside both segments, each giving the step's own value.
    DrawnJet jet;
    jet.step(vector3(0, 0, 10), vector3(1, 0, 0), 10.0, 0.5);
    jet.step(vector3(10, 0, 10), vector3(1, 0, 0), 10.0, 0.5);
    jet.step(vector3(20, 0, 10), vector3(1, 0, 0), 10.0, 0.5);
    EXPECT_DOUBLE_EQ(jet.calculateConcentration(10, 0, 10), 0.5);
}

TEST(Concentration, QuickRejectionAgainstTheDownwindLine) {
    DrawnJet jet;
    drawTwoSteps(jet); // largest radius 12, highest centreline 10
    // Farther than 12 m sideways from the downwind line through the stack.
    EXPECT_EQ(jet.calculateConcentration(95, 12.5, 10), 0.0);
    // Higher than 12 + 10 m.
    EXPECT_EQ(jet.calculateConcentration(95, 0, 22.5), 0.0);
    // Inside both limits near the wide end, the profile answers.
    EXPECT_GT(jet.calculateConcentration(95, 0, 21.5), 0.0);

    // The rejection follows the wind: with the wind along +y the same jet is rejected everywhere
    // except within 12 m of the y axis.
    DrawnJet crossed(vector3(0.0, 5.0, 0.0));
    drawTwoSteps(crossed);
    EXPECT_EQ(crossed.calculateConcentration(50, 0, 10), 0.0);
    EXPECT_GT(crossed.calculateConcentration(4, 1, 10), 0.0);

    // Without horizontal wind the rejection is skipped.
    DrawnJet calm(vector3(0.0, 0.0, 0.0));
    drawTwoSteps(calm);
    EXPECT_NEAR(calm.calculateConcentration(50, 3, 10), 0.3177944327223222, 1e-14);
}

TEST(Concentration, NothingBehindTheSourceOrPastTheLastStep) {
    DrawnJet jet;
    drawTwoSteps(jet);
    EXPECT_EQ(jet.calculateConcentration(-1, 0, 10), 0.0);
    EXPECT_EQ(jet.calculateConcentration(100.5, 0, 10), 0.0);
    // Within 1e-5 of the start plane of the first segment counts as beside it.
    EXPECT_DOUBLE_EQ(jet.calculateConcentration(0, 0, 10), 1.0);
}

TEST(Concentration, PointOnTheAxisBetweenSamplesTakesTheLastTiedSample) {
    // Every sample of a point on the axis is equally (not at all) perpendicular, so the last one wins
    // and its distance exceeds the radius there: no contribution from this segment.
    DrawnJet jet;
    drawTwoSteps(jet);
    EXPECT_EQ(jet.calculateConcentration(5, 0, 10), 0.0);
    EXPECT_GT(jet.calculateConcentration(4, 1, 10), 0.0);
}

TEST(Concentration, ZeroBeforeAnyRunAndWithOneStep) {
    JetModel fresh;
    EXPECT_EQ(fresh.calculateConcentration(0, 0, 0), 0.0);
    DrawnJet single;
    single.step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0);
    EXPECT_EQ(single.calculateConcentration(0, 0, 10), 0.0);
}

TEST(Concentration, BelowTheStoppingConcentrationIsZero) {
    DrawnJet jet;
    drawTwoSteps(jet);
    jet.setStoppingConcentration(0.3177);
    EXPECT_NEAR(jet.calculateConcentration(50, 3, 10), 0.3177944327223222, 1e-14);
    jet.setStoppingConcentration(0.3178);
    EXPECT_EQ(jet.calculateConcentration(50, 3, 10), 0.0);
}

TEST(ConcentrationGrid, AxesAreSpacedAsymmetrically) {
    EXPECT_EQ(JetModel::gridCoordinate(0, 10, 0, 3, true), 0.0);
    EXPECT_EQ(JetModel::gridCoordinate(0, 10, 1, 3, true), 5.0);
    EXPECT_EQ(JetModel::gridCoordinate(0, 10, 2, 3, true), 10.0);
    EXPECT_EQ(JetModel::gridCoordinate(0, 10, 0, 3, false), 0.0);
    EXPECT_DOUBLE_EQ(JetModel::gridCoordinate(0, 10, 1, 3, false), 10.0 / 3.0);
    EXPECT_DOUBLE_EQ(JetModel::gridCoordinate(0, 10, 2, 3, false), 20.0 / 3.0);
    EXPECT_EQ(JetModel::gridCoordinate(7, 10, 0, 1, true), 7.0);
    EXPECT_EQ(JetModel::gridCoordinate(7, 10, 0, 1, false), 7.0);
    EXPECT_EQ(JetModel::gridCoordinate(100, 0, 1, 3, true), 50.0); // walking downwards
}

TEST(ConcentrationGrid, PointOrderIsXOutermostZInnermost) {
    DrawnJet jet;
    drawTwoSteps(jet);
    const int nx = 4, ny = 3, nz = 5;
    const std::vector<double> grid = jet.calculateConcentrationGrid(20, -6, 4, 80, 6, 16, nx, ny, nz);
    ASSERT_EQ(grid.size(), static_cast<std::size_t>(nx * ny * nz));
    int nonZero = 0;
    for (int i = 0; i < nx; ++i) {
        for (int j = 0; j < ny; ++j) {
            for (int k = 0; k < nz; ++k) {
                const double x = 20 + i / 3.0 * 60;
                const double y = -6 + j / 3.0 * 12;
                const double z = 4 + k / 5.0 * 12;
                const double expected = jet.calculateConcentration(x, y, z);
                EXPECT_EQ(grid[(i * ny + j) * nz + k], expected) << i << j << k;
                nonZero += expected > 0.0;
            }
        }
    }
    EXPECT_GT(nonZero, 10); // the grid does cut through the jet
}

TEST(ConcentrationGrid, CountsOfZeroAndOne) {
    DrawnJet jet;
    drawTwoSteps(jet);
    EXPECT_TRUE(jet.calculateConcentrationGrid(0, 0, 0, 10, 10, 10, 3, 0, 3).empty());
    const std::vector<double> one = jet.calculateConcentrationGrid(50, 3, 10, 90, 9, 19, 1, 1, 1);
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0], jet.calculateConcentration(50, 3, 10));
}
