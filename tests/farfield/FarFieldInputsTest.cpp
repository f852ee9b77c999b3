#include "ostreljet/farfield/FarFieldInputs.hpp"
#include "ostreljet/inputs/Scenario.hpp"

#include <gtest/gtest.h>

#include <string>

using ostreljet::FarFieldDispersion;
using ostreljet::FarFieldInputs;
using ostreljet::Scenario;
using ostreljet::ScenarioError;

namespace {

const std::string kBase = R"("gas": "methane", "stackHeight": 10, "orificeDiameter": 0.3, "massFlowrate": 1,
    "sourceTemperature": 288.15, "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1,
    "stoppingConcentration": 0.01)";

std::string refusal(const std::string &extra) {
    try {
        Scenario::fromText("{" + kBase + ", " + extra + "}", "s.json");
    } catch (const ScenarioError &e) {
        return e.what();
    }
    return "accepted";
}

} // namespace

TEST(FarFieldInputs, ScenarioReadsTheFarFieldInputsWithTheirDefaults) {
    const Scenario plain = Scenario::fromText("{" + kBase + "}");
    EXPECT_EQ(plain.farFieldOptions().dispersion, FarFieldDispersion::rural);
    EXPECT_EQ(plain.farFieldOptions().averagingTime, 600.0);
    EXPECT_EQ(plain.farFieldOptions().distance, 10000.0);
    EXPECT_TRUE(plain.farFieldInputsGiven().empty());

    const Scenario given = Scenario::fromText(
        "{" + kBase +
        R"(, "farFieldDispersion": "urban", "averagingTime": 3600, "farFieldDistance": 25000})");
    EXPECT_EQ(given.farFieldOptions().dispersion, FarFieldDispersion::urban);
    EXPECT_EQ(given.farFieldOptions().averagingTime, 3600.0);
    EXPECT_EQ(given.farFieldOptions().distance, 25000.0);
    EXPECT_EQ(given.farFieldInputsGiven().size(), 3u);
    // They are no properties of the model: applying the scenario leaves them out.
    EXPECT_EQ(given.inputs().size(), plain.inputs().size());
    EXPECT_EQ(Scenario::fromText("{" + kBase + R"(, "farFieldDispersion": 1})").farFieldOptions().dispersion,
              FarFieldDispersion::urban);
}

TEST(FarFieldInputs, RefusalsNameTheKeyAndTheValue) {
    EXPECT_EQ(refusal(R"("farFieldDispersion": "suburban")"),
              "s.json: \"farFieldDispersion\" must be one of rural, urban, not \"suburban\"");
    EXPECT_EQ(refusal(R"("farFieldDispersion": 2)"),
              "s.json: \"farFieldDispersion\" must be one of rural, urban, not 2");
    EXPECT_EQ(refusal(R"("averagingTime": 0)"), "s.json: \"averagingTime\" must be in (0, 86400] s, not 0");
    EXPECT_EQ(refusal(R"("averagingTime": "long")"),
              "s.json: \"averagingTime\" must be a number, not \"long\"");
    EXPECT_EQ(refusal(R"("farFieldDistance": 100000.5)"),
              "s.json: \"farFieldDistance\" must be in (0, 100000] m, not 100000.5");
    EXPECT_EQ(refusal(R"("farFieldDistance": -1)"),
              "s.json: \"farFieldDistance\" must be in (0, 100000] m, not -1");
    EXPECT_EQ(refusal(R"("farFieldDistance": 100000)"), "accepted");
}

TEST(FarFieldInputs, TableListsThreeInputsWithUnits) {
    ASSERT_EQ(FarFieldInputs::inputs().size(), 3u);
    EXPECT_EQ(FarFieldInputs::find("averagingTime")->unit, "s");
    EXPECT_EQ(FarFieldInputs::find("farFieldDistance")->unit, "m");
    EXPECT_EQ(FarFieldInputs::accepted(*FarFieldInputs::find("farFieldDispersion")), "rural, urban");
    EXPECT_EQ(FarFieldInputs::find("timeAveraging"), nullptr);
}
