#include "JetModelTestSupport.hpp"

#include "ostreljet/Version.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using ostreljet::ConcentrationField;
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
    EXPECT_EQ(ConcentrationField(model, ConcentrationField::Rules::exact).concentration(0, 0, 10), 0.0);
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
