// The whole plume's summary: one answer per level and one ground-level maximum, the jet's ahead of the
// hand-off plane and the far field's past it, checked against the far field's own formulas at the
// answers' points.
#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

using ostreljet::FarField;
using ostreljet::FarFieldOptions;
using ostreljet::JetModel;
using ostreljet::MessageSeverity;
using ostreljet::RunStatus;
using ostreljet::RunSummary;
using ostreljet::Scenario;
using ostreljet::WholePlumeSummary;

namespace {

Scenario example(const std::string &file) {
    return Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + file);
}

// Chlorine, 2 kg/s released 45 degrees downward from 10 m in a 5 m/s class F wind: a dense plume that
// touches down within 200 m while the jet runs on to the integrator's call limit near 5 km.
const char *const kChlorineClassF =
    R"({"gas": "chlorine", "stackHeight": 10, "orificeDiameter": 0.05, "stackLocationX": 0,
    "stackLocationY": 0, "releaseAngle": -45, "dischargeCoefficient": 1, "massFlowrate": 2,
    "atmosphereMolecularWeight": 0.02896, "atmospherePressure": 101325, "atmosphereSpecificHeat": 1005,
    "atmosphereTemperature": 288.15, "atmosphereSurfaceRoughness": 0.1, "referenceWindHeight": 10,
    "referenceWindSpeed": 5, "referenceWindBearing": 90, "sourceTemperature": 239, "timeAveraging": "short",
    "stoppingConcentration": 1e-05, "pasquillStability": "F", "stackBearing": 0})";

WholePlumeSummary::Result summarise(JetModel &model, const Scenario &scenario, std::vector<double> levels) {
    scenario.applyTo(model);
    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget);
    return WholePlumeSummary::run(model, levels, scenario.farFieldOptions());
}

} // namespace

TEST(WholePlumeSummary, ALevelCrossedInTheFarFieldIsAnsweredThereWithTheFarFieldsOwnValues) {
    JetModel model;
    const WholePlumeSummary::Result result = summarise(model, Scenario::fromText(kChlorineClassF), {1e-5});
    const FarField &far = result.field->farField();
    ASSERT_TRUE(far.computed());
    const double handOff = far.handOff().downwindDistance;
    const RunSummary::LevelAnswer &answer = result.summary.levels.at(0);

    // The centreline crossing: the far field's axis is above 1e-5 just ahead of it and below just after.
    ASSERT_TRUE(answer.centrelineDownwindDistance.has_value());
    const double crossing = *answer.centrelineDownwindDistance;
    EXPECT_GT(crossing, handOff);
    EXPECT_TRUE(answer.centrelineInFarField);
    EXPECT_FALSE(answer.centrelineArcLength.has_value()); // no output step lies there
    EXPECT_GT(far.centrelineAt(crossing * 0.99), 1e-5);
    EXPECT_LT(far.centrelineAt(crossing * 1.01), 1e-5);

    // The region: closed in the far field, as far as its axis or the ground below it is at 1e-5.
    ASSERT_TRUE(answer.farthestDownwindExtent.has_value());
    EXPECT_TRUE(answer.regionInFarField);
    EXPECT_FALSE(answer.regionOpen);
    const double farthest = *answer.farthestDownwindExtent;
    EXPECT_GE(std::max(far.centrelineAt(farthest * 0.99), far.groundLevelAt(farthest * 0.99)), 1e-5);
    EXPECT_LT(std::max(far.centrelineAt(farthest * 1.01), far.groundLevelAt(farthest * 1.01)), 1e-5);

    // The half-width: at the widest series point the far field at the axis height, that far across, is the
    // level.
    ASSERT_TRUE(answer.greatestHalfWidth.has_value());
    double widestEdge = 0.0;
    for (const ostreljet::FarFieldPoint &point : far.series()) {
        if (point.centrelineConcentration < 1e-5 || point.downwindDistance > far.endDistance())
            continue;
        const double crosswind =
            far.axisOffset() + point.sigmaY * std::sqrt(2.0 * std::log(point.centrelineConcentration / 1e-5));
        const double downwind = point.downwindDistance;
        // The site point `crosswind` to the left of the wind (the wind blows towards 90 degrees, east):
        // north of the axis.
        const double edge = far.concentration(downwind, crosswind, point.height);
        if (std::abs(crosswind) > widestEdge) {
            widestEdge = std::abs(crosswind);
            EXPECT_NEAR(edge / 1e-5, 1.0, 0.02) << "at " << downwind << " m downwind";
        }
    }
    // The jet's searches past the hand-off plane sample the same far field off its series points.
    EXPECT_GE(*answer.greatestHalfWidth, widestEdge);
    EXPECT_NEAR(*answer.greatestHalfWidth, widestEdge, 0.01 * widestEdge);

    // The jet's end at the call limit lies past the hand-off: it cuts no answer, and says so.
    EXPECT_EQ(result.summary.status, RunStatus::warning);
    ASSERT_TRUE(result.summary.lastStep.has_value());
    EXPECT_GT(result.summary.lastStep->downwind, handOff);
    const std::string expectedEnd =
        "The run ended 4922.2 m along the centreline, 4915.0 m downwind, at the "
        "integrator's limit of 10000 calls, before the stopping concentration: "
        "the far field carries the answers on from 162.6 m downwind, ahead of it.";
    EXPECT_EQ(result.summary.endMessage, expectedEnd);
    bool found = false;
    for (const RunSummary::Message &message : result.summary.messages) {
        if (message.code == RunSummary::integratorEndCode) {
            found = true;
            EXPECT_EQ(message.severity, MessageSeverity::warning);
            EXPECT_EQ(message.text, expectedEnd);
        }
    }
    EXPECT_TRUE(found);
    ASSERT_TRUE(result.summary.farField.has_value());
    EXPECT_EQ(result.summary.notComputedBeyondDownwind(), far.endDistance());
}

TEST(WholePlumeSummary, ARegionClosedAheadOfTheHandOffKeepsTheJetsAnswerAndTheGreaterGroundMaximumWins) {
    // The vent's LFL region closes within 13 m, far ahead of its hand-off: the jet's answers stand,
    // exactly as the jet's own summary gives them.
    JetModel vent;
    const Scenario scenario = example("vertical_buoyant_vent.json");
    const WholePlumeSummary::Result whole = summarise(vent, scenario, {0.05});
    JetModel jetOnly;
    scenario.applyTo(jetOnly);
    jetOnly.setEvaluationBudget(JetModel::recommendedEvaluationBudget);
    const RunSummary jet = ostreljet::EngineeringRun::run(jetOnly, std::vector<double>{0.05});
    const RunSummary::LevelAnswer &a = whole.summary.levels.at(0);
    const RunSummary::LevelAnswer &b = jet.levels.at(0);
    ASSERT_TRUE(whole.field->farField().computed());
    EXPECT_LT(*a.farthestDownwindExtent, whole.field->farField().handOff().downwindDistance);
    EXPECT_EQ(a.centrelineDownwindDistance, b.centrelineDownwindDistance);
    EXPECT_EQ(a.centrelineArcLength, b.centrelineArcLength);
    EXPECT_EQ(a.farthestDownwindExtent, b.farthestDownwindExtent);
    EXPECT_EQ(a.greatestHalfWidth, b.greatestHalfWidth);
    EXPECT_FALSE(a.regionInFarField || a.centrelineInFarField || a.regionOpen);

    // The hot stack touches the ground only past its hand-off: the far field's maximum is the answer,
    // on the far field's axis at ground level, and equals the far field there.
    JetModel hot;
    const WholePlumeSummary::Result stack = summarise(hot, example("hot_stack_unstable.json"), {});
    const FarField &far = stack.field->farField();
    ASSERT_TRUE(far.computed());
    ASSERT_TRUE(stack.summary.groundMaximum.has_value());
    const RunSummary::GroundMaximum &peak = *stack.summary.groundMaximum;
    EXPECT_TRUE(peak.inFarField);
    EXPECT_TRUE(std::isnan(peak.location.arcLength));
    EXPECT_EQ(peak.location.z, 0.0);
    EXPECT_NEAR(peak.location.crosswind, far.axisOffset(), 1e-9);
    EXPECT_NEAR(far.concentration(peak.location.x, peak.location.y, 0.0), peak.concentration,
                1e-9 * peak.concentration);
    EXPECT_NEAR(far.downwindDistanceOf(peak.location.x, peak.location.y), peak.location.downwind, 1e-6);
}

TEST(WholePlumeSummary, WithoutAFarFieldOrResultsNothingChanges) {
    JetModel model;
    Scenario scenario = example("vertical_buoyant_vent.json");
    FarFieldOptions off = scenario.farFieldOptions();
    off.enabled = false;
    scenario.applyTo(model);
    const WholePlumeSummary::Result result = WholePlumeSummary::run(model, std::vector<double>{0.025}, off);
    EXPECT_FALSE(result.field->farField().computed());
    EXPECT_FALSE(result.summary.farField.has_value());
    EXPECT_EQ(result.summary.notComputedBeyondDownwind(), result.summary.lastStep->downwind);
    EXPECT_EQ(result.summary.levels.at(0).regionOpen, result.summary.levels.at(0).exceededAtEndOfRun);

    // A refused release: no far field, no region, nothing computed.
    JetModel hydrogen;
    nlohmann::json text = nlohmann::json::parse(
        std::ifstream(std::string(OSTRELJET_EXAMPLES_DIR) + "/vertical_buoyant_vent.json"));
    text["gas"] = "hydrogen";
    for (const char *name : {"sourceMolecularWeight", "sourceSpecificHeat", "sourceSpecificHeatRatio"})
        text.erase(name);
    const Scenario refused = Scenario::fromText(text.dump());
    refused.applyTo(hydrogen);
    const WholePlumeSummary::Result none =
        WholePlumeSummary::run(hydrogen, std::vector<double>{0.04}, refused.farFieldOptions());
    EXPECT_FALSE(none.summary.succeeded());
    EXPECT_FALSE(none.field->farField().computed());
    EXPECT_FALSE(none.summary.levels.at(0).regionComputed);
    EXPECT_FALSE(none.summary.notComputedBeyondDownwind().has_value());
}
