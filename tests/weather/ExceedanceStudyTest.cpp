#include "ostreljet/weather/ExceedanceStudy.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/mapping/PlumeField.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace ostreljet::weather {
namespace {

// The carbon dioxide release of the examples: 2 m up, horizontal, pointing downwind into a 3 m/s class E
// wind blowing towards 90° (east), so from 270°.
Scenario co2() {
    return Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/horizontal_dense_release.json");
}

WeatherCase weatherCase(double from, double speed, std::int32_t stability, double frequency) {
    WeatherCase c;
    c.windFrom = from;
    c.windSpeed = speed;
    c.pasquillStability = stability;
    c.frequency = frequency;
    return c;
}

const mapping::PlaneGrid kGrid{-50.0, -50.0, 50.0, 50.0, 101, 101, 0.0};

TEST(Exceedance, ASingleCaseGivesProbabilityOneExactlyInItsFootprintAndZeroElsewhere) {
    const Scenario scenario = co2();
    // The scenario's own weather: the run is the scenario's.
    const WeatherRose rose = WeatherRose::fromCases({weatherCase(270.0, 3.0, 4, 1.0)});
    const ExceedanceResult result = computeExceedance(scenario, rose, {0.01, 0.005}, kGrid, 2);
    JetModel model;
    scenario.applyTo(model);
    ASSERT_TRUE(model.runModel());
    const mapping::PlaneValues direct =
        mapping::PlumeField(model, scenario.farFieldOptions()).sample(kGrid, 1);
    std::int64_t inside = 0;
    for (std::size_t k = 0; k < direct.size(); ++k) {
        EXPECT_EQ(result.probability[0][k], direct[k] >= 0.01 ? 1.0 : 0.0);
        EXPECT_EQ(result.probability[1][k], direct[k] >= 0.005 ? 1.0 : 0.0);
        EXPECT_EQ(result.worst[k], direct[k]);
        inside += direct[k] >= 0.01 ? 1 : 0;
    }
    EXPECT_GT(inside, 5);
    EXPECT_EQ(result.refusedCases, 0);
    EXPECT_TRUE(result.outcomes[0].computed);
}

TEST(Exceedance, TwoOppositeWindsOfHalfTheTimeGiveOneHalfOnEitherSideAndTheReleaseTurnsWithTheWind) {
    // From the west and from the east: the horizontal release keeps pointing downwind, so the region on
    // the ground lies east of the stack in the first and west of it in the second.
    const WeatherRose rose =
        WeatherRose::fromCases({weatherCase(270.0, 3.0, 4, 1.0), weatherCase(90.0, 3.0, 4, 1.0)});
    const ExceedanceResult result = computeExceedance(co2(), rose, {0.01}, kGrid, 0);
    const auto at = [&](double x, double y) {
        const std::size_t i = static_cast<std::size_t>(std::lround((x - kGrid.x0) / kGrid.dx()));
        const std::size_t j = static_cast<std::size_t>(std::lround((y - kGrid.y0) / kGrid.dy()));
        return result.probability[0][i * 101 + j];
    };
    EXPECT_EQ(at(25.0, 0.0), 0.5);
    EXPECT_EQ(at(-25.0, 0.0), 0.5);
    EXPECT_EQ(at(0.0, 25.0), 0.0);
    EXPECT_EQ(at(0.0, 0.0), 0.0);
    double total = 0.0;
    for (const double p : result.probability[0]) {
        EXPECT_TRUE(p == 0.0 || p == 0.5);
        total += p;
    }
    EXPECT_GT(total, 5.0);
}

TEST(Exceedance, RefusedCasesAreCountedWithTheirFrequencyAndThreadsDoNotChangeTheSums) {
    // A wind of 0.001 m/s at the reference height fails no input check, but 20 m/s above a 0.02 m/s exit
    // velocity is refused by the source checks.
    Scenario scenario = Scenario::fromText(R"({"gas": "methane", "stackHeight": 5, "orificeDiameter": 1.0,
        "massFlowrate": 0.02, "sourceTemperature": 288.15, "atmosphereSpecificHeat": 1005,
        "atmosphereSurfaceRoughness": 0.1, "stoppingConcentration": 0.001, "releaseAngle": 90})");
    const WeatherRose rose =
        WeatherRose::fromCases({weatherCase(0.0, 20.0, 3, 1.0), weatherCase(90.0, 20.0, 3, 3.0)});
    const ExceedanceResult refused = computeExceedance(scenario, rose, {0.01}, kGrid, 2);
    EXPECT_EQ(refused.refusedCases, 2);
    EXPECT_EQ(refused.refusedFrequency, 1.0);
    EXPECT_FALSE(refused.outcomes[1].computed);
    EXPECT_FALSE(refused.outcomes[1].message.empty());
    for (const double p : refused.probability[0]) {
        EXPECT_EQ(p, 0.0);
    }

    std::vector<WeatherCase> many;
    for (int s = 0; s < 8; ++s) {
        many.push_back(weatherCase(45.0 * s, 2.0 + s % 3, 2 + s % 4, 1.0 + s));
    }
    const WeatherRose eight = WeatherRose::fromCases(many);
    const ExceedanceResult one = computeExceedance(co2(), eight, {0.01, 0.006}, kGrid, 1);
    const ExceedanceResult three = computeExceedance(co2(), eight, {0.01, 0.006}, kGrid, 3);
    EXPECT_EQ(one.probability, three.probability);
    EXPECT_EQ(one.worst, three.worst);
}

TEST(Exceedance, ALevelBelowTheStoppingConcentrationIsSummedFromTheFarFieldAndOneCutWhereItEndsIsCounted) {
    const WeatherRose rose =
        WeatherRose::fromCases({weatherCase(270.0, 3.0, 4, 1.0), weatherCase(0.0, 3.0, 4, 3.0)});
    // The example stops at 0.005; the far field carries 0.4 % on past the jet, over more of the grid.
    const ExceedanceResult below = computeExceedance(co2(), rose, {0.005, 0.004}, kGrid, 1);
    double at005 = 0.0, at004 = 0.0;
    for (std::size_t k = 0; k < below.probability[0].size(); ++k) {
        EXPECT_GE(below.probability[1][k], below.probability[0][k]);
        at005 += below.probability[0][k];
        at004 += below.probability[1][k];
    }
    EXPECT_GT(at004, at005);
    EXPECT_TRUE(below.farField);
    EXPECT_EQ(below.cutCases[1], 0);
    // With the far field ending 60 m downwind, 0.5 % is still exceeded there in every weather, so each
    // case's region is cut off; 5 % is passed before.
    Scenario shortFar =
        Scenario::fromText(R"({"stackHeight": 2.0, "orificeDiameter": 0.1, "releaseAngle": 0.0,
        "stackBearing": 90.0, "dischargeCoefficient": 0.85, "massFlowrate": 1.5, "sourceMolecularWeight": 0.04401,
        "sourceSpecificHeat": 844.0, "sourceSpecificHeatRatio": 1.289, "sourceTemperature": 250.0,
        "atmosphereTemperature": 288.15, "atmosphereSpecificHeat": 1005.0, "atmosphereSurfaceRoughness": 0.03,
        "referenceWindSpeed": 3.0, "referenceWindHeight": 10.0, "referenceWindBearing": 90.0,
        "pasquillStability": "E", "stoppingConcentration": 0.005, "farFieldDistance": 60})");
    const ExceedanceResult result = computeExceedance(shortFar, rose, {0.05, 0.005}, kGrid, 2);
    EXPECT_EQ(result.cutCases[0], 0);
    EXPECT_EQ(result.cutCases[1], 2);
    EXPECT_EQ(result.cutFrequency[1], 1.0);
}

TEST(Exceedance, ProbabilityReachIsTheFarthestNodeAndSaysWhenItIsOnTheEdge) {
    const mapping::PlaneGrid grid{-2.0, -2.0, 2.0, 2.0, 5, 5, 0.0};
    mapping::PlaneValues p(25, 0.0);
    p[2 * 5 + 2] = 0.5;  // (0, 0)
    p[3 * 5 + 3] = 0.05; // (1, 1)
    p[0 * 5 + 2] = 0.01; // (-2, 0), on the edge
    const auto reach = probabilityReach(grid, p, {0.1, 0.05, 0.01, 0.001}, 0.0, 0.0);
    EXPECT_EQ(*reach[0].distance, 0.0);
    EXPECT_EQ(*reach[1].distance, std::sqrt(2.0));
    EXPECT_FALSE(reach[1].atEdge);
    EXPECT_EQ(*reach[2].distance, 2.0);
    EXPECT_TRUE(reach[2].atEdge);
    EXPECT_TRUE(reach[3].atEdge);
    EXPECT_FALSE(probabilityReach(grid, p, {0.9}, 0.0, 0.0)[0].distance.has_value());
}

TEST(Exceedance, TheGreatestReachOfTheRoseIsTheFarthestFootprint) {
    const WeatherRose rose =
        WeatherRose::fromCases({weatherCase(270.0, 3.0, 4, 1.0), weatherCase(0.0, 3.0, 4, 1.0)});
    const std::optional<double> reach = greatestReach(co2(), rose, 0.01, 0.0, 2);
    ASSERT_TRUE(reach.has_value());
    // 1 % is passed in the jet, before its centreline meets the ground 35.7 m downwind.
    EXPECT_GT(*reach, 30.0);
    EXPECT_LT(*reach, 40.0);
    // 0.1 % goes on in the far field, on the axis to 194.7 m downwind in the scenario's own weather (the
    // run's summary), found here on the study's coarse search grid.
    const std::optional<double> far = greatestReach(co2(), rose, 0.001, 0.0, 2);
    ASSERT_TRUE(far.has_value());
    EXPECT_GT(*far, 194.7 - 3.0);
    EXPECT_LT(*far, 220.0);
    EXPECT_FALSE(greatestReach(co2(), rose, 0.5, 0.0, 2).has_value());
}

} // namespace
} // namespace ostreljet::weather
