#include "JetModelTestSupport.hpp"

#include "ostreljet/Version.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using ostreljet::JetModel;
using ostreljet::vector3;
using ostreljet::testing::setInputs;
using ostreljet::testing::setValidRelease;

namespace {

std::vector<int> codes(const JetModel &model) {
    std::vector<int> out;
    for (int i = 0; i < model.messageCount(); ++i) {
        out.push_back(model.messageCode(i));
    }
    return out;
}

// Runs the model (carried out however it ends); the last message names the last arc length.
void runAndExpectEnding(JetModel &model, const std::vector<int> &expected, const char *format) {
    ASSERT_TRUE(model.runModel());
    ASSERT_EQ(codes(model), expected);
    char text[200];
    std::snprintf(text, sizeof text, format, model.arclength(model.numberOfOutputSteps() - 1));
    EXPECT_EQ(model.messageText(model.messageCount() - 1), text);
}

// A model whose centreline is written directly instead of integrated.
class DrawnJet : public JetModel {
public:
    explicit DrawnJet(vector3 wind = vector3(5.0, 0.0, 0.0)) { atmosphere().setVelocity(wind); }
    void step(const vector3 &location, const vector3 &direction, double radius, double concentration) {
        appendOutputStep(location, direction, radius, concentration, 300.0, 0.0, 1.0);
        updateMaxima(location.z(), radius);
    }
    // The worked example: two steps 100 m apart along +x at 10 m, radii 2 and 12, concentrations 1 and 0.1.
    DrawnJet &twoSteps() {
        step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0);
        step(vector3(100, 0, 10), vector3(1, 0, 0), 12.0, 0.1);
        return *this;
    }
};

// Samples 12 and 13 are equally perpendicular and the later wins: offset (-2, 3, 0), radius 7.2,
// concentration 0.532, so 0.532 (0.5 + 0.5 cos(pi sqrt(13) / 7.2))^(1/1.35).
const double kBesideTwoSteps = 0.3177944327223222;

} // namespace

TEST(Run, VentEndsAtTheStoppingConcentrationAndASecondRunRepeatsIt) {
    JetModel model;
    setValidRelease(model);
    runAndExpectEnding(model, {2}, "Stopping concentration reached at %.1f m.");
    const int n = model.numberOfOutputSteps();
    EXPECT_EQ(model.message(0).level, 0);
    EXPECT_FALSE(model.isFatal());
    EXPECT_NEAR(model.centrelineConcentration(n - 1), 0.01, 1e-6);
    EXPECT_GT(model.centrelineConcentration(n - 2), 0.01);
    EXPECT_EQ(model.centrelineConcentration(0), 1.0); // clamped: the unclamped value starts above 1
    const double last = model.arclength(n - 1);
    ASSERT_TRUE(model.runModel());
    EXPECT_EQ(model.numberOfOutputSteps(), n);
    EXPECT_EQ(model.arclength(n - 1), last);
    EXPECT_EQ(codes(model), std::vector<int>{2});
}

TEST(Run, DenseReleaseEndsAtTheGroundAndLaterRunsReplaceIt) {
    // Carbon dioxide at 250 K released horizontally downwind 2 m above the ground.
    using J = JetModel;
    JetModel model;
    setValidRelease(model);
    setInputs(model, {{&J::setStackHeight, 2.0}, {&J::setOrificeDiameter, 0.1}, {&J::setReleaseAngle, 0.0}});
    setInputs(model, {{&J::setStackBearing, 90.0}, {&J::setDischargeCoefficient, 0.85}});
    setInputs(model, {{&J::setMassFlowrate, 1.5}, {&J::setSourceMolecularWeight, 0.04401}});
    setInputs(model, {{&J::setSourceSpecificHeat, 844.0}, {&J::setSourceSpecificHeatRatio, 1.289}});
    setInputs(model, {{&J::setSourceTemperature, 250.0}, {&J::setReferenceWindSpeed, 3.0}});
    setInputs(model, {{&J::setAtmosphereSurfaceRoughness, 0.03}, {&J::setStoppingConcentration, 0.005}});
    model.setPasquillStability(4);
    runAndExpectEnding(
        model, {1, 0},
        "The centreline of the jet is interacting with the ground, model terminated at %.1f m.");
    EXPECT_EQ(model.message(0).level, -1);
    EXPECT_EQ(model.message(1).level, 2);
    EXPECT_TRUE(model.isFatal());
    EXPECT_NEAR(model.centrelineLocation(3, model.numberOfOutputSteps() - 1), 0.0, 1e-6);
    // A source that fails its checks runs no steps, but the run counts; an invalid input does not run.
    setValidRelease(model);
    model.setMassFlowrate(0.05); // about 2.4 m/s into a 5 m/s wind
    ASSERT_TRUE(model.runModel());
    EXPECT_EQ(model.numberOfOutputSteps(), 0);
    EXPECT_EQ(codes(model), (std::vector<int>{26, 25}));
    EXPECT_EQ(model.calculateConcentration(0, 0, 10), 0.0);
    model.setOrificeDiameter(0.0);
    EXPECT_FALSE(model.runModel());
    EXPECT_EQ(model.numberOfOutputSteps(), 0);
    EXPECT_EQ(codes(model), std::vector<int>{5});
}

TEST(Run, PlumeThroughTheTopOfTheBoundaryLayer) {
    // A hot stack 180 m up in class F (boundary layer 200 m): source warning, then edge, then centreline.
    using J = JetModel;
    JetModel model;
    setValidRelease(model);
    setInputs(model,
              {{&J::setStackHeight, 180.0}, {&J::setOrificeDiameter, 2.0}, {&J::setMassFlowrate, 200.0}});
    setInputs(model, {{&J::setSourceMolecularWeight, 0.0293}, {&J::setSourceSpecificHeat, 1100.0}});
    setInputs(model, {{&J::setSourceSpecificHeatRatio, 1.35}, {&J::setSourceTemperature, 450.0}});
    model.setStoppingConcentration(0.0001);
    model.setPasquillStability(5);
    runAndExpectEnding(model, {25, 31, 32},
                       "The centreline of the jet is interacting with the top of the boundary layer, "
                       "terminated at %.1f m.");
    EXPECT_NEAR(model.centrelineLocation(3, model.numberOfOutputSteps() - 1), 200.0, 1e-6);
}

TEST(Run, ParallelGridEqualsSerialBitForBit) {
    JetModel model;
    setValidRelease(model);
    ASSERT_TRUE(model.runModel());
    const int nx = 23, ny = 17, nz = 13;
    std::vector<double> serial(nx * ny * nz, -1.0), parallel(nx * ny * nz, -2.0);
    model.calculateConcentrationGrid(serial.data(), -5, -8, 0, 80, 8, 40, nx, ny, nz, 1);
    std::int64_t reported = 0;
    model.calculateConcentrationGrid(parallel.data(), -5, -8, 0, 80, 8, 40, nx, ny, nz, 4,
                                     [&reported](std::int64_t done, std::int64_t) { reported = done; });
    EXPECT_EQ(reported, nx * ny * nz);
    EXPECT_EQ(std::memcmp(serial.data(), parallel.data(), serial.size() * sizeof(double)), 0);
    int nonZero = 0;
    for (int p = 0; p < nx * ny * nz; ++p) {
        const double expected =
            model.calculateConcentration(JetModel::gridCoordinate(-5, 80, p / (ny * nz), nx, true),
                                         JetModel::gridCoordinate(-8, 8, p / nz % ny, ny, false),
                                         JetModel::gridCoordinate(0, 40, p % nz, nz, false));
        ASSERT_EQ(serial[static_cast<std::size_t>(p)], expected) << p;
        nonZero += expected > 0.0;
    }
    EXPECT_GT(nonZero, 30);
}

TEST(Concentration, WorkedExampleBesideTwoStepsAndNothingBeyondThem) {
    DrawnJet jet;
    jet.twoSteps();
    EXPECT_EQ(jet.calculateConcentration(-1, 0, 10), 0.0);    // behind the source
    EXPECT_EQ(jet.calculateConcentration(100.5, 0, 10), 0.0); // past the last step
    // Within 1e-5 of the start plane of the first segment counts as beside it.
    EXPECT_DOUBLE_EQ(jet.calculateConcentration(0, 0, 10), 1.0);
    EXPECT_EQ(JetModel().calculateConcentration(0, 0, 0), 0.0); // no steps
    DrawnJet single;
    single.step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0);
    EXPECT_EQ(single.calculateConcentration(0, 0, 10), 0.0); // one step
    EXPECT_NEAR(jet.calculateConcentration(50, 3, 10), kBesideTwoSteps, 1e-14);
    EXPECT_NEAR(jet.calculateConcentration(50, -3, 10), kBesideTwoSteps, 1e-14); // the mirror image
    // Without horizontal wind the quick rejection is skipped and the profile answers alone.
    EXPECT_NEAR(DrawnJet(vector3(0, 0, 0)).twoSteps().calculateConcentration(50, 3, 10), kBesideTwoSteps,
                1e-14);
    // Values below the stopping concentration are cut to zero.
    jet.setStoppingConcentration(0.3177);
    EXPECT_NEAR(jet.calculateConcentration(50, 3, 10), kBesideTwoSteps, 1e-14);
    jet.setStoppingConcentration(0.3178);
    EXPECT_EQ(jet.calculateConcentration(50, 3, 10), 0.0);
}

TEST(Concentration, OnTheCentrelineAndAtHalfTheRadius) {
    DrawnJet jet;
    jet.step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0);
    jet.step(vector3(50, 0, 20), vector3(1, 0, 0.2), 6.0, 0.4);
    jet.step(vector3(100, 0, 25), vector3(1, 0, 0.1), 10.0, 0.2);
    EXPECT_DOUBLE_EQ(jet.calculateConcentration(50, 0, 20), 0.4);
    EXPECT_DOUBLE_EQ(jet.calculateConcentration(100, 0, 25), 0.2);
    // Half the radius across the jet, in the plane normal to it: 0.5 ^ (1 / 1.35) of the centreline.
    EXPECT_NEAR(jet.calculateConcentration(50, 3, 20), 0.4 * 0.598432013073045, 1e-12);
    EXPECT_EQ(jet.calculateConcentration(50, 6, 20), 0.0); // at the radius and beyond, nothing
    EXPECT_EQ(jet.calculateConcentration(50, 6.5, 20), 0.0);
}

TEST(Concentration, QuickRejectionAgainstTheDownwindLine) {
    DrawnJet jet;
    jet.twoSteps();                                           // largest radius 12, highest centreline 10
    EXPECT_EQ(jet.calculateConcentration(95, 12.5, 10), 0.0); // over 12 m sideways of the downwind line
    EXPECT_EQ(jet.calculateConcentration(95, 0, 22.5), 0.0);  // higher than 12 + 10 m
    EXPECT_GT(jet.calculateConcentration(95, 0, 21.5), 0.0);  // inside both limits
    // With the wind along +y the same jet is rejected everywhere except within 12 m of the y axis.
    DrawnJet crossed(vector3(0.0, 5.0, 0.0));
    crossed.twoSteps();
    EXPECT_EQ(crossed.calculateConcentration(50, 0, 10), 0.0);
    EXPECT_GT(crossed.calculateConcentration(4, 1, 10), 0.0);
}

TEST(ConcentrationGrid, AxesAreSpacedAsymmetrically) {
    // x includes its end; y and z stop one step short of theirs.
    EXPECT_EQ(JetModel::gridCoordinate(0, 10, 1, 3, true), 5.0);
    EXPECT_EQ(JetModel::gridCoordinate(0, 10, 2, 3, true), 10.0);
    EXPECT_DOUBLE_EQ(JetModel::gridCoordinate(0, 10, 2, 3, false), 20.0 / 3.0);
    EXPECT_EQ(JetModel::gridCoordinate(7, 10, 0, 1, true), 7.0);
    EXPECT_EQ(JetModel::gridCoordinate(7, 10, 0, 1, false), 7.0);
    EXPECT_EQ(JetModel::gridCoordinate(100, 0, 1, 3, true), 50.0); // walking downwards
    EXPECT_TRUE(JetModel().calculateConcentrationGrid(0, 0, 0, 10, 10, 10, 3, 0, 3).empty());
}

// The model reports the version the build generated from the project's.
TEST(Version, IsTheProjectVersion) {
    EXPECT_STREQ(ostreljet::JetModel::versionInfo(), OSTRELJET_VERSION_STRING);
}
