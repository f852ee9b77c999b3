#include "JetModelTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using ostreljet::JetModel;
using ostreljet::testing::setValidRelease;

namespace {

std::vector<int> codes(const JetModel &model) {
    std::vector<int> out;
    for (int i = 0; i < model.messageCount(); ++i) {
        out.push_back(model.messageCode(i));
    }
    return out;
}

std::string oneDecimal(const char *format, double s) {
    char buffer[200];
    std::snprintf(buffer, sizeof buffer, format, s);
    return buffer;
}

// Carbon dioxide at 250 K released horizontally downwind 2 m above the ground.
void setDenseRelease(JetModel &model) {
    setValidRelease(model);
    model.setStackHeight(2.0);
    model.setOrificeDiameter(0.1);
    model.setReleaseAngle(0.0);
    model.setStackBearing(90.0);
    model.setDischargeCoefficient(0.85);
    model.setMassFlowrate(1.5);
    model.setSourceMolecularWeight(0.04401);
    model.setSourceSpecificHeat(844.0);
    model.setSourceSpecificHeatRatio(1.289);
    model.setSourceTemperature(250.0);
    model.setReferenceWindSpeed(3.0);
    model.setAtmosphereSurfaceRoughness(0.03);
    model.setPasquillStability(4);
    model.setStoppingConcentration(0.005);
}

} // namespace

TEST(Run, VentEndsAtTheStoppingConcentration) {
    JetModel model;
    setValidRelease(model);
    ASSERT_TRUE(model.runModel());
    const int n = model.numberOfOutputSteps();
    ASSERT_GT(n, 2);
    ASSERT_EQ(codes(model), std::vector<int>{2});
    EXPECT_EQ(model.message(0).level, 0);
    EXPECT_FALSE(model.isFatal());
    // The root is recorded before the decision, so the message names the last arc length.
    EXPECT_EQ(model.messageText(0),
              oneDecimal("Stopping concentration reached at %.1f m.", model.arclength(n - 1)));
    EXPECT_NEAR(model.centrelineConcentration(n - 1), 0.01, 1e-6);
    EXPECT_GT(model.centrelineConcentration(n - 2), 0.01);
}

TEST(Run, SeriesStartAtTheOrificeAndRespectTheirLimits) {
    JetModel model;
    setValidRelease(model);
    model.setStackLocationX(-30.0);
    model.setStackLocationY(12.5);
    ASSERT_TRUE(model.runModel());
    EXPECT_EQ(model.arclength(0), 0.0);
    EXPECT_EQ(model.centrelineLocation(1, 0), -30.0);
    EXPECT_EQ(model.centrelineLocation(2, 0), 12.5);
    EXPECT_EQ(model.centrelineLocation(3, 0), 10.0);
    EXPECT_EQ(model.centrelineConcentration(0), 1.0); // the unclamped value starts above 1
    const double sourceSpeed = model.jetGas().source().velocity().norm();
    EXPECT_EQ(model.centrelineVelocity(0), sourceSpeed);
    for (int k = 1; k < model.numberOfOutputSteps(); ++k) {
        EXPECT_GT(model.arclength(k), model.arclength(k - 1));
        EXPECT_LE(model.centrelineConcentration(k), 1.0);
        EXPECT_LE(model.centrelineVelocity(k), sourceSpeed);
        // A source hotter than the air never reads hotter than the source.
        EXPECT_LE(model.centrelineTemperature(k), 300.0);
        // The westerly bends the plume east.
        EXPECT_GE(model.centrelineLocation(1, k), model.centrelineLocation(1, k - 1));
    }
    EXPECT_GT(model.centrelineLocation(1, model.numberOfOutputSteps() - 1), -20.0);
    EXPECT_GE(model.maxCentrelineHeight(), 10.0);
    EXPECT_GT(model.maxProfileRadius(), 0.1);
}

TEST(Run, DenseReleaseWarnsAtTheGroundThenEndsThere) {
    JetModel model;
    setDenseRelease(model);
    ASSERT_TRUE(model.runModel()); // the run was carried out, however it ended
    const int n = model.numberOfOutputSteps();
    const std::vector<int> expected{1, 0};
    ASSERT_EQ(codes(model), expected);
    EXPECT_EQ(model.message(0).level, -1);
    EXPECT_EQ(model.message(1).level, 2);
    EXPECT_TRUE(model.isFatal());
    EXPECT_EQ(
        model.messageText(1),
        oneDecimal("The centreline of the jet is interacting with the ground, model terminated at %.1f m.",
                   model.arclength(n - 1)));
    EXPECT_NEAR(model.centrelineLocation(3, n - 1), 0.0, 1e-6);
}

TEST(Run, PlumeThroughTheTopOfTheBoundaryLayer) {
    // A hot stack 180 m up in class F, whose boundary layer is 200 m deep.
    JetModel model;
    setValidRelease(model);
    model.setStackHeight(180.0);
    model.setOrificeDiameter(2.0);
    model.setMassFlowrate(200.0);
    model.setSourceMolecularWeight(0.0293);
    model.setSourceSpecificHeat(1100.0);
    model.setSourceSpecificHeatRatio(1.35);
    model.setSourceTemperature(450.0);
    model.setPasquillStability(5);
    model.setStoppingConcentration(0.0001);
    ASSERT_TRUE(model.runModel());
    // The source warning comes first, then the edge, then the centreline.
    const std::vector<int> expected{25, 31, 32};
    ASSERT_EQ(codes(model), expected);
    const int n = model.numberOfOutputSteps();
    EXPECT_NEAR(model.centrelineLocation(3, n - 1), 200.0, 1e-6);
    EXPECT_EQ(model.messageText(2),
              oneDecimal("The centreline of the jet is interacting with the top of the boundary "
                         "layer, terminated at %.1f m.",
                         model.arclength(n - 1)));
}

TEST(Run, SourceCheckFailureLeavesNoStepsButTheRunCounts) {
    JetModel model;
    setValidRelease(model);
    model.setMassFlowrate(0.05); // about 2.4 m/s into a 5 m/s wind
    ASSERT_TRUE(model.runModel());
    EXPECT_EQ(model.numberOfOutputSteps(), 0);
    const std::vector<int> expected{26, 25};
    EXPECT_EQ(codes(model), expected);
    EXPECT_EQ(model.calculateConcentration(0, 0, 10), 0.0);
}

TEST(Run, SecondRunReplacesTheFirst) {
    JetModel model;
    setValidRelease(model);
    ASSERT_TRUE(model.runModel());
    const int steps = model.numberOfOutputSteps();
    const double last = model.arclength(steps - 1);
    ASSERT_TRUE(model.runModel());
    EXPECT_EQ(model.numberOfOutputSteps(), steps);
    EXPECT_EQ(model.arclength(steps - 1), last);
    EXPECT_EQ(model.messageCount(), 1);

    setDenseRelease(model);
    ASSERT_TRUE(model.runModel());
    EXPECT_EQ(codes(model), (std::vector<int>{1, 0}));

    model.setOrificeDiameter(0.0);
    EXPECT_FALSE(model.runModel());
    EXPECT_EQ(model.numberOfOutputSteps(), 0);
    EXPECT_EQ(codes(model), std::vector<int>{5});
}

TEST(Run, LongAveragingDilutesFaster) {
    JetModel shortAveraging;
    setValidRelease(shortAveraging);
    ASSERT_TRUE(shortAveraging.runModel());
    JetModel longAveraging;
    setValidRelease(longAveraging);
    longAveraging.setTimeAveraging(ostreljet::LONG_TIME_AVERAGING);
    ASSERT_TRUE(longAveraging.runModel());
    EXPECT_LT(longAveraging.arclength(longAveraging.numberOfOutputSteps() - 1),
              shortAveraging.arclength(shortAveraging.numberOfOutputSteps() - 1));
}

TEST(Run, ParallelGridEqualsSerialBitForBit) {
    JetModel model;
    setValidRelease(model);
    ASSERT_TRUE(model.runModel());
    const int nx = 23, ny = 17, nz = 13;
    std::vector<double> serial(nx * ny * nz, -1.0);
    std::vector<double> parallel(nx * ny * nz, -2.0);
    model.calculateConcentrationGrid(serial.data(), -5, -8, 0, 80, 8, 40, nx, ny, nz, 1);
    std::int64_t reported = 0;
    model.calculateConcentrationGrid(parallel.data(), -5, -8, 0, 80, 8, 40, nx, ny, nz, 4,
                                     [&reported](std::int64_t done, std::int64_t) { reported = done; });
    EXPECT_EQ(reported, nx * ny * nz);
    EXPECT_EQ(std::memcmp(serial.data(), parallel.data(), serial.size() * sizeof(double)), 0);
    int nonZero = 0;
    for (int i = 0; i < nx; ++i) {
        for (int j = 0; j < ny; ++j) {
            for (int k = 0; k < nz; ++k) {
                const double expected =
                    model.calculateConcentration(JetModel::gridCoordinate(-5, 80, i, nx, true),
                                                 JetModel::gridCoordinate(-8, 8, j, ny, false),
                                                 JetModel::gridCoordinate(0, 40, k, nz, false));
                ASSERT_EQ(serial[(i * ny + j) * nz + k], expected);
                nonZero += expected > 0.0;
            }
        }
    }
    EXPECT_GT(nonZero, 30);
}
