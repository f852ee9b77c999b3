#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunField.hpp"
#include "ostreljet/jet/RunStatus.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

using ostreljet::EngineeringRun;
using ostreljet::JetModel;
using ostreljet::RunField;
using ostreljet::RunStatus;
using ostreljet::RunSummary;
using ostreljet::Scenario;

namespace {

// A 10 m vertical release of 2 kg/s through 0.1 m into a 5 m/s class D wind; the gas's molecular weight
// and the stopping concentration vary.
std::string heavyRelease(double molecularWeight) {
    return R"({"stackHeight": 10, "orificeDiameter": 0.1, "releaseAngle": 90, "massFlowrate": 2,
               "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1, "sourceTemperature": 288.15,
               "stoppingConcentration": 0.0001, "sourceSpecificHeat": 665, "sourceSpecificHeatRatio": 1.1,
               "sourceMolecularWeight": )" +
           std::to_string(molecularWeight) + "}";
}

// The hot stack of the examples carried on to a stopping concentration of 1e-6, which the range of
// 10,000 m of arc length ends first.
constexpr const char *hotStackToOnePpm =
    R"({"stackHeight": 60, "orificeDiameter": 2, "releaseAngle": 90, "massFlowrate": 60,
        "sourceMolecularWeight": 0.0293, "sourceSpecificHeat": 1100, "sourceSpecificHeatRatio": 1.35,
        "sourceTemperature": 450, "atmosphereTemperature": 293.15, "atmosphereSpecificHeat": 1005,
        "atmosphereSurfaceRoughness": 0.3, "referenceWindSpeed": 3, "pasquillStability": "B",
        "timeAveraging": "long", "stoppingConcentration": 1e-6})";

RunSummary runText(JetModel &model, const std::string &text, const std::vector<double> &levels = {}) {
    Scenario::fromText(text, "test").applyTo(model);
    return EngineeringRun::run(model, levels);
}

RunSummary runExample(JetModel &model, const char *name, const std::vector<double> &levels = {}) {
    Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + name).applyTo(model);
    return EngineeringRun::run(model, levels);
}

} // namespace

TEST(RunStatus, NamesAndExitStatusesAreTheContract) {
    const struct {
        RunStatus status;
        const char *name;
        int exit;
        bool results;
    } cases[] = {
        {RunStatus::ok, "ok", 0, true},
        {RunStatus::warning, "warning", 0, true},
        {RunStatus::incomplete, "incomplete", 1, true},
        {RunStatus::failed, "failed", 1, false},
        {RunStatus::refused, "refused", 1, false},
        {RunStatus::invalid, "invalid", 1, false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ostreljet::runStatusName(c.status), c.name);
        EXPECT_EQ(ostreljet::runStatusNamed(c.name), c.status);
        EXPECT_EQ(ostreljet::runStatusExitCode(c.status), c.exit) << c.name;
        EXPECT_EQ(ostreljet::runStatusHasResults(c.status), c.results) << c.name;
    }
    EXPECT_FALSE(ostreljet::runStatusNamed("OK"));
}

TEST(EngineeringRun, ANonPhysicalCentrelineFailsTheRunAndNamesTheDensityRatio) {
    // Both gases are denser than air by more than the normal range (0.125 / 0.02896 = 4.3 and 0.12 /
    // 0.02896 = 4.1 at equal temperatures) and the run's centreline concentration goes below 0 at once.
    for (const double molecularWeight : {0.125, 0.12}) {
        JetModel model;
        const RunSummary summary = runText(model, heavyRelease(molecularWeight), {0.01});
        EXPECT_EQ(summary.status, RunStatus::failed) << molecularWeight;
        ASSERT_TRUE(summary.endMessage);
        EXPECT_EQ(summary.endMessage->rfind("The model produced non-physical values: a centreline "
                                            "concentration of -",
                                            0),
                  0u)
            << *summary.endMessage;
        const double ratio = molecularWeight / 0.02896;
        const std::size_t at = summary.endMessage->find("the density ratio of ");
        ASSERT_NE(at, std::string::npos) << *summary.endMessage;
        EXPECT_NEAR(std::strtod(summary.endMessage->c_str() + at + 21, nullptr), ratio, 0.01 * ratio);
        // No distances from a failed run, and no field.
        EXPECT_FALSE(summary.succeeded());
        EXPECT_FALSE(summary.greatestCentrelineHeight);
        EXPECT_FALSE(summary.lastStep);
        ASSERT_EQ(summary.levels.size(), 1u);
        EXPECT_FALSE(summary.levels[0].farthestDownwindExtent);
        EXPECT_FALSE(summary.levels[0].centrelineDownwindDistance);
        EXPECT_TRUE(std::isnan(RunField(model, summary.status).concentration(0.0, 0.0, 10.5)));
    }
}

TEST(EngineeringRun, TheEndOfTheRangeLeavesTheRunIncompleteAndTheFieldNotComputedBeyond) {
    JetModel model;
    const RunSummary summary = runText(model, hotStackToOnePpm);
    EXPECT_EQ(summary.status, RunStatus::incomplete);
    ASSERT_TRUE(summary.endMessage);
    EXPECT_EQ(summary.endMessage->rfind(
                  "The run reached the end of its range, 10000.0 m along the centreline, ", 0),
              0u)
        << *summary.endMessage;
    ASSERT_TRUE(summary.lastStep);
    EXPECT_DOUBLE_EQ(summary.lastStep->arcLength, JetModel::arcLengthRange);
    EXPECT_EQ(summary.messages.back().code, RunSummary::rangeEndCode);
    // Beyond the end plane nothing is computed; behind it the field answers its own values.
    const RunField field(model, summary.status);
    const RunSummary::Location &end = *summary.lastStep;
    EXPECT_FALSE(field.computed(end.x + 1000.0, end.y, end.z));
    EXPECT_TRUE(std::isnan(field.concentration(end.x + 1000.0, end.y, end.z)));
    EXPECT_TRUE(field.computed(end.x - 100.0, end.y, end.z));
    EXPECT_GT(field.concentration(end.x - 100.0, end.y, end.z), 0.0);
    // Far to the side, behind the end plane: a computed 0, not "not computed".
    EXPECT_EQ(field.concentration(end.x - 100.0, end.y + 5000.0, end.z), 0.0);
}

TEST(EngineeringRun, ALevelBelowTheStoppingConcentrationIsAnsweredFromARunThatGoesFarEnough) {
    // The vent example's LFL (0.05) distance must not depend on whether the scenario stops at 0.1 or at
    // 0.01: the run is carried on to half the lowest level.
    const std::vector<double> lfl = {0.05};
    JetModel reference;
    const RunSummary expected = runExample(reference, "vertical_buoyant_vent.json", lfl);
    ASSERT_FALSE(expected.stoppingConcentrationLoweredFrom); // 0.01 is below 0.025 already
    JetModel stoppingHigh;
    Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/vertical_buoyant_vent.json")
        .applyTo(stoppingHigh);
    stoppingHigh.setStoppingConcentration(0.1);
    const RunSummary lowered = EngineeringRun::run(stoppingHigh, lfl);
    ASSERT_TRUE(lowered.stoppingConcentrationLoweredFrom);
    EXPECT_EQ(*lowered.stoppingConcentrationLoweredFrom, 0.1);
    EXPECT_EQ(stoppingHigh.stoppingConcentration(), 0.025);
    ASSERT_TRUE(expected.levels[0].centrelineDownwindDistance &&
                lowered.levels[0].centrelineDownwindDistance);
    EXPECT_NEAR(*lowered.levels[0].centrelineDownwindDistance, *expected.levels[0].centrelineDownwindDistance,
                1e-6);
    EXPECT_NEAR(*lowered.levels[0].farthestDownwindExtent, *expected.levels[0].farthestDownwindExtent, 1e-3);
    EXPECT_FALSE(lowered.levels[0].exceededAtEndOfRun);

    EXPECT_EQ(EngineeringRun::stoppingConcentrationFor(0.1, std::vector<double>{0.05, 0.02}), 0.01);
    EXPECT_EQ(EngineeringRun::stoppingConcentrationFor(0.001, std::vector<double>{0.05}), 0.001);
    EXPECT_EQ(EngineeringRun::stoppingConcentrationFor(0.1, std::vector<double>{}), 0.1);
}

TEST(EngineeringRun, ARefusalGivesTheFiguresTheSourceChecksCompared) {
    // Pure hydrogen at 300 K into air at about 288 K: density ratio (0.002016 / 0.02896) x (288.15 / 300)
    // = 0.0669 at equal pressure, outside 0.2 to 5.
    JetModel hydrogen;
    const RunSummary refused =
        runText(hydrogen, R"({"gas": "hydrogen", "stackHeight": 20, "orificeDiameter": 0.3,
        "releaseAngle": 90, "massFlowrate": 2, "sourceTemperature": 300, "atmosphereSpecificHeat": 1005,
        "atmosphereSurfaceRoughness": 0.1, "stoppingConcentration": 0.01})");
    EXPECT_EQ(refused.status, RunStatus::refused);
    ASSERT_TRUE(refused.endMessage);
    const std::string prefix = "The calculated density ratio is invalid. (density ratio ";
    ASSERT_EQ(refused.endMessage->rfind(prefix, 0), 0u) << *refused.endMessage;
    EXPECT_NEAR(std::strtod(refused.endMessage->c_str() + prefix.size(), nullptr), 0.0669, 0.0002);
    EXPECT_NE(refused.endMessage->find("the model accepts 0.2 to 5 and is normally used from 0.5 to 2)"),
              std::string::npos);

    // 1 kg/s of methane through 0.5 m leaves at about 7.6 m/s, less than three times a 5 m/s wind.
    JetModel slow;
    const RunSummary tooSlow = runText(slow, R"({"gas": "methane", "stackHeight": 10, "orificeDiameter": 0.5,
        "releaseAngle": 90, "massFlowrate": 1, "sourceTemperature": 288.15, "atmosphereSpecificHeat": 1005,
        "atmosphereSurfaceRoughness": 0.1, "stoppingConcentration": 0.01})");
    EXPECT_EQ(tooSlow.status, RunStatus::refused);
    ASSERT_TRUE(tooSlow.endMessage);
    EXPECT_EQ(
        tooSlow.endMessage->rfind("The calculated exit velocity is less than three times the wind velocity, "
                                  "model not valid. (exit speed ",
                                  0),
        0u)
        << *tooSlow.endMessage;
    EXPECT_NE(tooSlow.endMessage->find(" m/s, wind speed at the stack 5 m/s: "), std::string::npos)
        << *tooSlow.endMessage;
    EXPECT_NE(tooSlow.endMessage->find("the model needs 3 times)"), std::string::npos);
}

TEST(EngineeringRun, TheCentrelineOnTheGroundIsAWarningWithResults) {
    JetModel model;
    const RunSummary summary = runExample(model, "horizontal_dense_release.json");
    EXPECT_EQ(summary.ending, RunSummary::Ending::centrelineOnGround);
    EXPECT_EQ(summary.status, RunStatus::warning);
    EXPECT_TRUE(summary.succeeded());
    for (const RunSummary::Message &message : summary.messages) {
        if (message.text.rfind("The centreline of the jet is interacting with the ground", 0) == 0) {
            EXPECT_EQ(message.severity, ostreljet::MessageSeverity::warning);
        }
    }
}

TEST(EngineeringRun, RefusedWeatherRunsNothingAndSaysWhy) {
    JetModel model;
    const RunSummary ok = runExample(model, "vertical_buoyant_vent.json");
    ASSERT_GT(model.numberOfOutputSteps(), 0);
    model.setPasquillStability(0);
    model.setReferenceWindSpeed(15.0);
    const RunSummary summary = EngineeringRun::run(model, {});
    EXPECT_EQ(summary.status, RunStatus::invalid);
    EXPECT_EQ(model.numberOfOutputSteps(), 0); // the earlier results are gone
    ASSERT_EQ(summary.messages.size(), 1u);
    EXPECT_EQ(summary.messages[0].code, RunSummary::weatherRefusedCode);
    EXPECT_EQ(
        summary.endMessage->rfind("The weather is not physical: class A with a wind speed of 15 m/s at 10 m "
                                  "gives an air temperature of -",
                                  0),
        0u)
        << *summary.endMessage;
    // An unusual class is run, with a warning.
    model.setPasquillStability(5);
    model.setReferenceWindSpeed(5.0);
    const RunSummary unusual = EngineeringRun::run(model, {});
    EXPECT_EQ(unusual.status, RunStatus::warning);
    EXPECT_EQ(unusual.messages.back().code, RunSummary::weatherNoticeCode);
    EXPECT_EQ(unusual.messages.back().text.rfind("Class F is unusual for a wind speed of 5 m/s at 10 m", 0),
              0u);
}
