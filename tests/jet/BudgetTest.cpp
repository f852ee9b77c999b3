#include "JetModelTestSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

using ostreljet::JetModel;
using ostreljet::testing::setInputs;
using ostreljet::testing::setValidRelease;

namespace {

// A methane vent turned into a hard case: released at ground level, pointing 68.85 degrees down through
// 0.2 mm into an 11.7 m/s class D wind at 1e-7 kg/s; its centreline solves widen their bracket for long.
void setHardCase(JetModel &model) {
    using J = JetModel;
    setValidRelease(model);
    setInputs(model,
              {{&J::setStackHeight, 0.0}, {&J::setReleaseAngle, -68.85}, {&J::setOrificeDiameter, 0.0002}});
    setInputs(model, {{&J::setReferenceWindSpeed, 11.7}, {&J::setMassFlowrate, 1e-7}});
    setInputs(model, {{&J::setSourceMolecularWeight, 0.01604}, {&J::setSourceSpecificHeat, 2226.0}});
    setInputs(model, {{&J::setSourceSpecificHeatRatio, 1.304}, {&J::setAtmosphereTemperature, 288.15}});
    model.setPasquillStability(3);
}

// The index of the one message with this number; -1 when there is none or more than one.
int onlyMessageNumbered(const JetModel &model, int code) {
    int found = -1;
    for (int i = 0; i < model.messageCount(); ++i) {
        if (model.messageCode(i) == code) {
            if (found >= 0) {
                return -1;
            }
            found = i;
        }
    }
    return found;
}

double seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

} // namespace

TEST(Budget, TheRecommendedBudgetLeavesOrdinaryRunsBitForBit) {
    for (const double angle : {90.0, 0.0, 30.0}) { // up, horizontal and bent over
        SCOPED_TRACE(angle);
        JetModel unbounded;
        JetModel bounded;
        setValidRelease(unbounded);
        setValidRelease(bounded);
        unbounded.setReleaseAngle(angle);
        bounded.setReleaseAngle(angle);
        bounded.setEvaluationBudget(JetModel::recommendedEvaluationBudget);
        ASSERT_TRUE(unbounded.runModel());
        ASSERT_TRUE(bounded.runModel());
        // Ordinary runs spend a small share of the budget.
        EXPECT_GT(bounded.residualEvaluations(), bounded.centrelineSolves());
        EXPECT_LT(bounded.workDone() * 20, JetModel::recommendedEvaluationBudget);
        ASSERT_EQ(bounded.messageCount(), unbounded.messageCount());
        for (int i = 0; i < bounded.messageCount(); ++i) {
            EXPECT_EQ(bounded.messageText(i), unbounded.messageText(i));
        }
        EXPECT_EQ(bounded.arclengths(), unbounded.arclengths());
        EXPECT_EQ(bounded.centrelineConcentrations(), unbounded.centrelineConcentrations());
        EXPECT_EQ(bounded.profileRadii(), unbounded.profileRadii());
        EXPECT_EQ(bounded.centrelineTemperatures(), unbounded.centrelineTemperatures());
    }
}

TEST(Budget, ASpentBudgetEndsTheRunWithItsOwnMessageAndASecondRunStartsAfresh) {
    JetModel model;
    setHardCase(model);
    model.setEvaluationBudget(100000);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(model.runModel());
    EXPECT_LT(seconds(start), 1.0);
    // The integrator call under way finishes (here with its own complaint) before the run ends.
    const int spent = onlyMessageNumbered(model, JetModel::budgetSpentCode);
    ASSERT_GE(spent, 0);
    EXPECT_EQ(model.messageText(spent),
              "The run was ended at 0.0 m: its budget of centreline evaluations is spent.");
    // The budget was passed by no more than one integrator call's work.
    EXPECT_GE(model.workDone(), 100000u);
    EXPECT_LT(model.workDone(), 100000u + 200000u);
    const std::int32_t steps = model.numberOfOutputSteps();

    ASSERT_TRUE(model.runModel()); // the same budget again: the same ending
    EXPECT_EQ(model.numberOfOutputSteps(), steps);
    EXPECT_GE(onlyMessageNumbered(model, JetModel::budgetSpentCode), 0);
}

TEST(Budget, TheHardCaseFinishesWithinASecondUnderTheRecommendedBudget) {
    JetModel model;
    setHardCase(model);
    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(model.runModel());
    EXPECT_LT(seconds(start), 1.0);
    EXPECT_LE(model.workDone(), JetModel::recommendedEvaluationBudget + 200000u);
}

TEST(Cancel, ACancelFromAnotherThreadEndsTheRunPromptlyAndALaterRunIsUnaffected) {
    JetModel model;
    setHardCase(model); // runs for about a second without a budget
    std::thread canceller([&model] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        model.cancel();
    });
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(model.runModel());
    const double elapsed = seconds(start);
    canceller.join();
    EXPECT_LT(elapsed, 0.3); // the integrator call under way finishes first
    const int cancelled = onlyMessageNumbered(model, JetModel::runCancelledCode);
    ASSERT_GE(cancelled, 0);
    EXPECT_EQ(model.messageText(cancelled).rfind("The run was cancelled at ", 0), 0u);
    EXPECT_EQ(onlyMessageNumbered(model, JetModel::budgetSpentCode), -1);

    // A request made between runs is cleared when the next run starts.
    JetModel vent;
    setValidRelease(vent);
    vent.cancel();
    ASSERT_TRUE(vent.runModel());
    EXPECT_EQ(vent.messageText(vent.messageCount() - 1).rfind("Stopping concentration reached at", 0), 0u);
}

TEST(TimeLimit, ARunPastItsTimeLimitEndsWithItsOwnMessage) {
    JetModel model;
    setHardCase(model); // about a second of work without a budget
    model.setTimeLimit(0.05);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(model.runModel());
    EXPECT_LT(seconds(start), 0.5);
    const int ended = onlyMessageNumbered(model, JetModel::timeLimitCode);
    ASSERT_GE(ended, 0);
    char expected[120];
    std::snprintf(expected, sizeof expected,
                  "The run was ended at %.1f m: its time limit of 0.05 s was reached.", 0.0);
    EXPECT_EQ(model.messageText(ended), expected);

    JetModel vent; // an ordinary run is far inside a generous limit and is unchanged by it
    JetModel limited;
    setValidRelease(vent);
    setValidRelease(limited);
    limited.setTimeLimit(60.0);
    ASSERT_TRUE(vent.runModel());
    ASSERT_TRUE(limited.runModel());
    EXPECT_EQ(limited.centrelineConcentrations(), vent.centrelineConcentrations());
    EXPECT_EQ(limited.messageCount(), vent.messageCount());
}
