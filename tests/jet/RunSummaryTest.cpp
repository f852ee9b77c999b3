#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunField.hpp"
#include "ostreljet/units/Level.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

using ostreljet::ConcentrationField;
using ostreljet::JetModel;
using ostreljet::MessageSeverity;
using ostreljet::RunStatus;
using ostreljet::RunSummary;
using ostreljet::Scenario;
using Message = ostreljet::ErrorMessageCollection::ErrorMessage;

namespace {

// Runs an example scenario; the run is expected to pass validation.
void runExample(JetModel &model, const char *name) {
    Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + name).applyTo(model);
    ASSERT_TRUE(model.runModel());
}

RunSummary summarise(const JetModel &model, bool accepted, const std::vector<double> &levels) {
    return RunSummary::of(model, accepted, levels);
}

} // namespace

TEST(RunSummary, SeverityFollowsWhatTheMessageMeans) {
    const struct {
        Message message;
        MessageSeverity severity;
    } cases[] = {
        {{"Stopping concentration reached at 45.2 m.", 0, 2}, MessageSeverity::information},
        // The integrator's own notice of code 2 is no normal end.
        {{"DDRIV3 - ... Solution obtained by interpolation.", 0, 2}, MessageSeverity::warning},
        // The centreline reaching the ground is a legitimate end of the jet: its results hold up to there.
        {{"The centreline of the jet is interacting with the ground, model terminated at 12.0 m.", 2, 0},
         MessageSeverity::warning},
        {{"The run was ended at 12.0 m: its budget of centreline evaluations is spent.", 2, 90},
         MessageSeverity::error},
        {{"The edge of the jet is interacting with the ground at 8.0 m.", -1, 1}, MessageSeverity::warning},
        {{"The calculated exit velocity is less than three times the wind velocity, model not valid.", 0, 26},
         MessageSeverity::error},
        {{"The calculated density ratio is invalid.", 0, 28}, MessageSeverity::error},
        {{"Density ratio outside normal range of model. Use results carefully", 0, 27},
         MessageSeverity::warning},
        {{"The maximum number of integration steps has been taken without reaching t_end", 1, 3},
         MessageSeverity::error},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(RunSummary::severityOf(c.message), c.severity) << c.message.text;
    }
    EXPECT_EQ(RunSummary::severityName(MessageSeverity::information), "information");
    EXPECT_EQ(RunSummary::endingName(RunSummary::Ending::refusedBySourceChecks),
              "refused by the source checks");
}

TEST(RunSummary, VentLevelsMatchTheCentrelineSeries) {
    JetModel model;
    runExample(model, "vertical_buoyant_vent.json");
    const std::vector<double> levels{0.05, 0.02, 0.005};
    const RunSummary summary = summarise(model, true, levels);

    EXPECT_EQ(summary.ending, RunSummary::Ending::stoppingConcentration);
    ASSERT_TRUE(summary.endMessage.has_value());
    EXPECT_EQ(summary.endMessage->rfind("Stopping concentration reached at ", 0), 0u);
    EXPECT_EQ(summary.messages.back().severity, MessageSeverity::information);
    EXPECT_TRUE(summary.succeeded());
    const int n = model.numberOfOutputSteps();
    EXPECT_EQ(summary.outputSteps, n);

    // The wind blows towards +x from a stack at the origin, so downwind is x.
    int top = 0;
    for (int i = 1; i < n; ++i) {
        top = model.centrelineLocation(3, i) > model.centrelineLocation(3, top) ? i : top;
    }
    ASSERT_TRUE(summary.greatestCentrelineHeight.has_value());
    EXPECT_EQ(summary.greatestCentrelineHeight->z, model.centrelineLocation(3, top));
    EXPECT_NEAR(summary.greatestCentrelineHeight->downwind, model.centrelineLocation(1, top), 1e-9);
    // A buoyant vent never comes down.
    EXPECT_FALSE(summary.edgeReachesGroundDownwind.has_value());
    EXPECT_FALSE(summary.centrelineReachesGroundDownwind.has_value());
    EXPECT_FALSE(summary.groundMaximum.has_value());

    ASSERT_EQ(summary.levels.size(), 3u);
    for (int k = 0; k < 2; ++k) {
        const double level = levels[static_cast<std::size_t>(k)];
        const RunSummary::LevelAnswer &answer = summary.levels[static_cast<std::size_t>(k)];
        EXPECT_EQ(answer.level, level);
        // By hand: the first step below the level and the one before it, then straight-line interpolation.
        int i = 1;
        while (model.centrelineConcentration(i) >= level) {
            ++i;
        }
        const double c0 = model.centrelineConcentration(i - 1);
        const double c1 = model.centrelineConcentration(i);
        const double share = (c0 - level) / (c0 - c1);
        const double x = model.centrelineLocation(1, i - 1) +
                         share * (model.centrelineLocation(1, i) - model.centrelineLocation(1, i - 1));
        const double s = model.arclength(i - 1) + share * (model.arclength(i) - model.arclength(i - 1));
        ASSERT_TRUE(answer.centrelineDownwindDistance.has_value()) << level;
        EXPECT_NEAR(*answer.centrelineDownwindDistance, x, 1e-9) << level;
        EXPECT_NEAR(*answer.centrelineArcLength, s, 1e-9) << level;
        EXPECT_FALSE(answer.exceededAtEndOfRun);
        // The region above the level reaches the centreline crossing to within the field's spacing of
        // samples along a segment (1/25 of it), and no farther than a profile radius beyond it; it is no
        // wider than the widest profile.
        const double dx = model.centrelineLocation(1, i) - model.centrelineLocation(1, i - 1);
        const double dz = model.centrelineLocation(3, i) - model.centrelineLocation(3, i - 1);
        const double sample = std::sqrt(dx * dx + dz * dz) / 25.0;
        ASSERT_TRUE(answer.farthestDownwindExtent.has_value()) << level;
        EXPECT_GE(*answer.farthestDownwindExtent, x - sample) << level << " sample " << sample;
        EXPECT_LE(*answer.farthestDownwindExtent, x + model.profileRadius(i)) << level;
        ASSERT_TRUE(answer.greatestHalfWidth.has_value());
        EXPECT_GT(*answer.greatestHalfWidth, 0.0);
        EXPECT_LE(*answer.greatestHalfWidth, model.maxProfileRadius());
    }
    // A lower level reaches farther.
    EXPECT_LT(*summary.levels[0].farthestDownwindExtent, *summary.levels[1].farthestDownwindExtent);
    // Below the stopping concentration the centreline never falls under the level within the run.
    EXPECT_FALSE(summary.levels[2].centrelineDownwindDistance.has_value());
    EXPECT_FALSE(summary.levels[2].centrelineArcLength.has_value());
    EXPECT_TRUE(summary.levels[2].exceededAtEndOfRun);
}

TEST(RunSummary, DenseReleaseGroundMaximumBeatsAFineGrid) {
    JetModel model;
    runExample(model, "horizontal_dense_release.json");
    const RunSummary summary = summarise(model, true, {0.05});

    EXPECT_EQ(summary.ending, RunSummary::Ending::centrelineOnGround);
    const int last = model.numberOfOutputSteps() - 1;
    char text[120];
    std::snprintf(text, sizeof text,
                  "The centreline of the jet is interacting with the ground, model terminated at %.1f m.",
                  model.arclength(last));
    EXPECT_EQ(summary.endMessage, std::string(text));
    EXPECT_EQ(summary.messages.back().severity, MessageSeverity::warning);
    // The edge comes down first; the centreline where the run ends, at height 0.
    ASSERT_TRUE(summary.edgeReachesGroundDownwind && summary.centrelineReachesGroundDownwind);
    EXPECT_LT(*summary.edgeReachesGroundDownwind, *summary.centrelineReachesGroundDownwind);
    EXPECT_NEAR(*summary.centrelineReachesGroundDownwind, model.centrelineLocation(1, last), 0.01);

    const ostreljet::ConcentrationField exactField(model, ostreljet::ConcentrationField::Rules::exact);
    // Brute force: the greatest value on a 400 x 400 grid at z = 0 over the box of every step's profile.
    double xMin = 1e300, xMax = -1e300, yMin = 1e300, yMax = -1e300;
    for (int i = 0; i <= last; ++i) {
        const double r = model.profileRadius(i);
        xMin = std::min(xMin, model.centrelineLocation(1, i) - r);
        xMax = std::max(xMax, model.centrelineLocation(1, i) + r);
        yMin = std::min(yMin, model.centrelineLocation(2, i) - r);
        yMax = std::max(yMax, model.centrelineLocation(2, i) + r);
    }
    double best = 0.0, bestX = 0.0, bestY = 0.0;
    const int points = 400;
    for (int i = 0; i < points; ++i) {
        for (int j = 0; j < points; ++j) {
            const double x = xMin + (xMax - xMin) * i / (points - 1);
            const double y = yMin + (yMax - yMin) * j / (points - 1);
            const double c = exactField.concentration(x, y, 0.0);
            if (c > best) {
                best = c, bestX = x, bestY = y;
            }
        }
    }
    ASSERT_GT(best, 0.0);
    ASSERT_TRUE(summary.groundMaximum.has_value());
    const RunSummary::GroundMaximum &ground = *summary.groundMaximum;
    EXPECT_GE(ground.concentration, best * (1.0 - 1e-6));
    EXPECT_LE(ground.concentration, best * 1.01);
    EXPECT_EQ(exactField.concentration(ground.location.x, ground.location.y, 0.0), ground.concentration);
    EXPECT_EQ(ground.location.z, 0.0);
    const double cell = std::max(xMax - xMin, yMax - yMin) / (points - 1);
    EXPECT_NEAR(ground.location.x, bestX, 3.0 * cell);
    EXPECT_NEAR(ground.location.y, bestY, 3.0 * cell);
    EXPECT_NEAR(ground.location.downwind, ground.location.x, 1e-9);
}

TEST(RunSummary, RefusedAndInvalidRunsHaveNoAnswers) {
    const struct {
        const char *what;
        double massFlowrate;      // kg/s
        double sourceTemperature; // K
        double molecularWeight;   // kg/mol
        double orificeDiameter;   // m
        RunSummary::Ending ending;
        const char *message;
    } cases[] = {
        {"slow exit", 0.01, 300.0, 0.01604, 0.3, RunSummary::Ending::refusedBySourceChecks,
         "The calculated exit velocity is less than three times the wind velocity, model not valid."},
        {"heavy source", 2.0, 250.0, 0.15, 0.3, RunSummary::Ending::refusedBySourceChecks,
         "The calculated density ratio is invalid."},
        {"no orifice", 2.0, 300.0, 0.01604, 0.0, RunSummary::Ending::inputsInvalid,
         "The orifice diameter should lie between 0 and 100m."},
    };
    for (const auto &c : cases) {
        JetModel model;
        runExample(model, "vertical_buoyant_vent.json");
        model.setMassFlowrate(c.massFlowrate);
        model.setSourceTemperature(c.sourceTemperature);
        model.setSourceMolecularWeight(c.molecularWeight);
        model.setOrificeDiameter(c.orificeDiameter);
        const bool accepted = model.runModel();
        EXPECT_EQ(accepted, c.ending != RunSummary::Ending::inputsInvalid) << c.what;
        ASSERT_EQ(model.numberOfOutputSteps(), 0) << c.what;
        const RunSummary summary = summarise(model, accepted, {0.05});
        EXPECT_EQ(summary.ending, c.ending) << c.what;
        // The model's text first; a refusal adds the figures the source checks compared.
        ASSERT_TRUE(summary.endMessage) << c.what;
        EXPECT_EQ(summary.endMessage->rfind(c.message, 0), 0u) << c.what;
        EXPECT_EQ(summary.endMessage->size() > std::string(c.message).size(),
                  c.ending == RunSummary::Ending::refusedBySourceChecks)
            << c.what;
        EXPECT_FALSE(summary.succeeded()) << c.what;
        const auto refusal =
            std::find_if(summary.messages.begin(), summary.messages.end(),
                         [&summary](const RunSummary::Message &m) { return m.text == *summary.endMessage; });
        ASSERT_NE(refusal, summary.messages.end()) << c.what;
        EXPECT_EQ(refusal->severity, MessageSeverity::error) << c.what;
        EXPECT_FALSE(summary.greatestCentrelineHeight || summary.edgeReachesGroundDownwind ||
                     summary.centrelineReachesGroundDownwind || summary.groundMaximum)
            << c.what;
        ASSERT_EQ(summary.levels.size(), 1u);
        EXPECT_FALSE(summary.levels[0].centrelineDownwindDistance ||
                     summary.levels[0].farthestDownwindExtent || summary.levels[0].greatestHalfWidth)
            << c.what;
    }
}

// The searches of the field keep to the summary's limits; what they did not reach is not computed, and
// one message (with the code of the run's own interruption) says why.
TEST(RunSummaryLimits, ABudgetADeadlineAndACancelEachStopTheSearches) {
    JetModel model;
    runExample(model, "vertical_buoyant_vent.json");
    const ConcentrationField field(model, ConcentrationField::Rules::exact);
    const RunSummary::ConcentrationAt at = [&field](double x, double y, double z) {
        return field.concentration(x, y, z);
    };
    const std::vector<double> levels{0.05, 0.025};
    const RunSummary whole = RunSummary::of(model, true, levels, at, RunSummary::Limits{});
    EXPECT_EQ(whole.cut, RunSummary::Cut::none);
    EXPECT_TRUE(whole.levels[1].regionComputed);
    EXPECT_TRUE(whole.groundMaximumComputed);

    // A budget of one query: the centreline answers stay (they need no query), every region is not
    // computed, and no figure is invented for them.
    RunSummary::Limits tiny;
    tiny.work = RunSummary::workPerFieldQuery;
    const RunSummary cut = RunSummary::of(model, true, levels, at, tiny);
    EXPECT_EQ(cut.cut, RunSummary::Cut::budgetSpent);
    EXPECT_EQ(whole.status, RunStatus::ok);
    EXPECT_EQ(cut.status, RunStatus::incomplete);
    ASSERT_EQ(cut.levels.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_FALSE(cut.levels[i].regionComputed);
        EXPECT_FALSE(cut.levels[i].farthestDownwindExtent.has_value());
        EXPECT_EQ(cut.levels[i].centrelineDownwindDistance, whole.levels[i].centrelineDownwindDistance);
    }
    EXPECT_FALSE(cut.groundMaximumComputed);
    ASSERT_EQ(cut.messages.size(), whole.messages.size() + 1);
    EXPECT_EQ(cut.messages.back().code, JetModel::budgetSpentCode);
    EXPECT_EQ(cut.messages.back().severity, MessageSeverity::error);
    EXPECT_EQ(cut.messages.back().text, "The summary was ended: the run's budget of evaluations is spent; "
                                        "the answers it had not reached are not computed.");

    // A budget that lets the first level finish keeps its answers exactly.
    std::uint64_t queries = 0;
    const RunSummary::ConcentrationAt counted = [&](double x, double y, double z) {
        ++queries;
        return field.concentration(x, y, z);
    };
    const std::vector<double> first{0.05};
    static_cast<void>(RunSummary::of(model, true, first, counted, RunSummary::Limits{}));
    RunSummary::Limits oneLevel;
    oneLevel.work = (queries + 1) * RunSummary::workPerFieldQuery;
    const RunSummary partial = RunSummary::of(model, true, levels, at, oneLevel);
    EXPECT_TRUE(partial.levels[0].regionComputed);
    EXPECT_EQ(partial.levels[0].farthestDownwindExtent, whole.levels[0].farthestDownwindExtent);
    EXPECT_EQ(partial.levels[0].greatestHalfWidth, whole.levels[0].greatestHalfWidth);
    EXPECT_FALSE(partial.levels[1].regionComputed);

    RunSummary::Limits late;
    late.deadline = std::chrono::steady_clock::now();
    const RunSummary timed = RunSummary::of(model, true, levels, at, late);
    EXPECT_EQ(timed.cut, RunSummary::Cut::timeLimit);
    EXPECT_EQ(timed.messages.back().code, JetModel::timeLimitCode);

    RunSummary::Limits cancelled;
    cancelled.cancelled = [] { return true; };
    const RunSummary stopped = RunSummary::of(model, true, levels, at, cancelled);
    EXPECT_EQ(stopped.cut, RunSummary::Cut::cancelled);
    EXPECT_EQ(stopped.messages.back().text,
              "The summary was cancelled; the answers it had not reached are not computed.");
}

TEST(RunSummaryLimits, TheSummaryOfARunHasABudgetAsLargeAsTheRunsAndItsDeadline) {
    JetModel model;
    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget);
    runExample(model, "vertical_buoyant_vent.json");
    ASSERT_GT(model.workDone(), 0u);
    const RunSummary::Limits left = RunSummary::limitsAfterRun(model);
    EXPECT_EQ(left.work, JetModel::recommendedEvaluationBudget);
    EXPECT_FALSE(left.deadline.has_value());
    EXPECT_FALSE(left.cancelled());
    model.cancel();
    EXPECT_TRUE(left.cancelled());
    EXPECT_EQ(RunSummary::of(model, true, std::vector<double>{0.05}).cut, RunSummary::Cut::cancelled);

    // 64 levels are answered; a 65th is refused before any work (levels above pure gas search little).
    JetModel fresh;
    runExample(fresh, "vertical_buoyant_vent.json");
    EXPECT_EQ(RunSummary::of(fresh, true, std::vector<double>(64, 2.0)).levels.size(), 64u);
    EXPECT_THROW(static_cast<void>(RunSummary::of(fresh, true, std::vector<double>(65, 2.0))),
                 std::invalid_argument);
}

// Without a field to search (an empty ConcentrationAt) the summary is the run's ending and status alone:
// the same messages and centreline answers as with the field, no region or ground-level maximum, marked
// not computed, and no message of a search cut short, even under a budget the searches would overrun.
TEST(RunSummaryLimits, WithoutAFieldOnlyTheRunsOwnAnswersAreGiven) {
    JetModel model;
    runExample(model, "horizontal_dense_release.json");
    const std::vector<double> levels{0.05, 0.005};
    const RunSummary full = RunSummary::of(model, true, levels);
    ASSERT_EQ(full.status, RunStatus::warning);
    ASSERT_TRUE(full.groundMaximum.has_value());
    RunSummary::Limits tiny;
    tiny.work = 1;
    const RunSummary bare = RunSummary::of(model, true, levels, RunSummary::ConcentrationAt{}, tiny);
    EXPECT_EQ(bare.status, RunStatus::warning);
    EXPECT_EQ(bare.ending, RunSummary::Ending::centrelineOnGround);
    EXPECT_EQ(bare.endMessage, full.endMessage);
    EXPECT_EQ(bare.cut, RunSummary::Cut::none);
    ASSERT_EQ(bare.messages.size(), full.messages.size());
    for (std::size_t i = 0; i < full.messages.size(); ++i) {
        EXPECT_EQ(bare.messages[i].text, full.messages[i].text);
    }
    EXPECT_EQ(bare.edgeReachesGroundDownwind, full.edgeReachesGroundDownwind);
    ASSERT_EQ(bare.levels.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(bare.levels[i].centrelineDownwindDistance, full.levels[i].centrelineDownwindDistance);
        EXPECT_EQ(bare.levels[i].exceededAtEndOfRun, full.levels[i].exceededAtEndOfRun);
        EXPECT_FALSE(bare.levels[i].regionComputed);
        EXPECT_FALSE(bare.levels[i].farthestDownwindExtent || bare.levels[i].greatestHalfWidth);
    }
    EXPECT_FALSE(bare.groundMaximumComputed);
    EXPECT_FALSE(bare.groundMaximum.has_value());
}

// What the summary costs beside its run: the field queries of each example's summary at its gas's default
// levels in the run's own field (beyond the end plane nothing is computed: below every level). The bounds
// are about a tenth above what the searches take now; before they reused their work they found the same
// answers with 198, 495, 343 and 99 queries.
TEST(RunSummaryCost, EachExampleIsSummarisedInFewFieldQueries) {
    const struct {
        const char *example;
        long mostQueries;
    } cases[] = {{"vertical_buoyant_vent.json", 175},
                 {"horizontal_dense_release.json", 520},
                 {"choked_high_pressure.json", 200},
                 {"hot_stack_unstable.json", 80}};
    for (const auto &c : cases) {
        const Scenario scenario = Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + c.example);
        JetModel model;
        scenario.applyTo(model);
        const std::vector<double> levels = ostreljet::Level::toModel(
            ostreljet::Level::defaults(scenario.gas(), model.stoppingConcentration()), model, scenario.gas());
        static_cast<void>(ostreljet::EngineeringRun::prepare(model, levels));
        ASSERT_TRUE(model.runModel()) << c.example;
        const ostreljet::RunField field(model, RunStatus::ok);
        long queries = 0;
        const RunSummary summary = RunSummary::of(model, true, levels, [&](double x, double y, double z) {
            ++queries;
            const double value = field.concentration(x, y, z);
            return std::isnan(value) ? 0.0 : value;
        });
        ASSERT_FALSE(summary.levels.empty()) << c.example;
        EXPECT_TRUE(summary.levels.front().farthestDownwindExtent.has_value()) << c.example;
        EXPECT_LE(queries, c.mostQueries) << c.example;
        std::printf("%-32s %zu levels: %ld field queries\n", c.example, levels.size(), queries);
    }
}
