#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/gases/GasTable.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>

using ostreljet::GasTable;
using ostreljet::JetModel;
using ostreljet::Scenario;
using ostreljet::ScenarioError;

namespace {

// The message of the error that reading `text` (or, with `file`, the file at `text`) raises, or "".
std::string errorOf(const std::string &text, bool file = false) {
    try {
        file ? Scenario::fromFile(text) : Scenario::fromText(text, "s.json");
    } catch (const ScenarioError &e) {
        return e.what();
    }
    return "";
}

} // namespace

TEST(Scenario, ErrorTextsNameTheFileTheKeyAndTheValue) {
    const std::string stability =
        R"(s.json: "pasquillStability" must be one of "A".."F", "PASQUILL_A".."PASQUILL_F" or 0..5, not )";
    const std::pair<std::string, std::string> exact[] = {
        {R"({"pasquillStability": "G"})", stability + R"("G")"},
        {R"({"pasquillStability": 6})", stability + "6"},
        {R"({"stackHeight": "12"})", R"(s.json: "stackHeight" must be a number, not "12")"},
        {R"({"stackHeight": null})", R"(s.json: "stackHeight" must be a number, not null)"},
        {R"({"stackHeigth": 1})", R"(s.json: unknown key "stackHeigth")"},
        {R"({"gas": 4})", R"(s.json: "gas" must be the name of a gas, not 4)"},
        {"", "s.json: empty file; expected a JSON object of input properties"},
        {"[1, 2]", "s.json: expected a JSON object of input properties, not array"},
        {R"({"stackHeight": 1e400})",
         "s.json: not valid JSON (number overflow parsing '1e400': outside the range of a double)"},
        {R"({"stackHeight": 10, "orificeDiameter": 1, "stackHeight": 20})",
         R"(s.json: key "stackHeight" appears more than once in one object)"}};
    for (const auto &[input, message] : exact) {
        EXPECT_EQ(errorOf(input), message) << input;
    }
    // The parser's own words follow the line and column of the fault.
    const std::pair<std::string, std::string> starts[] = {
        {"{\n  \"stackHeight\": ,\n}", "s.json:2:18: not valid JSON (syntax error"},
        {"{} x", "s.json:1:4: not valid JSON ("},
        {R"({"gas": "unobtainium"})", R"(s.json: unknown gas "unobtainium" (known: methane, ethane,)"},
        // The defaults put the stack at 0 m, so a downward release would start underground.
        {R"({"releaseAngle": -90})", "s.json: the release starts at ground level (stackHeight 0 m)"}};
    for (const auto &[input, start] : starts) {
        EXPECT_EQ(errorOf(input).rfind(start, 0), 0u) << errorOf(input);
    }
    EXPECT_NE(errorOf(R"({"timeAveraging": 0.5})").find("not 0.5"), std::string::npos);
    EXPECT_EQ(errorOf("/nonexistent/ostreljet.json", true), "/nonexistent/ostreljet.json: no such file");
    EXPECT_EQ(errorOf("/tmp", true), "/tmp: is a directory, not a scenario file");
    // Thirty-two levels of objects and arrays are read (and refused for what they hold), thirty-three not.
    const auto nested = [](int arrays) {
        return R"({"stackHeight": )" + std::string(arrays, '[') + std::string(arrays, ']') + "}";
    };
    EXPECT_EQ(errorOf(nested(31)).find("nest deeper"), std::string::npos) << errorOf(nested(31));
    EXPECT_EQ(errorOf(nested(32)), "s.json: arrays and objects nest deeper than 32 levels");
}

TEST(Scenario, FilesAreReadUpToTheSizeLimitAndNoFurther) {
    EXPECT_EQ(errorOf("/dev/zero", true),
              "/dev/zero: larger than 1048576 bytes, the limit for a scenario file");
    const std::string path = ::testing::TempDir() + "ostreljet_scenario_limit.json";
    for (const std::size_t size : {Scenario::kMaximumFileBytes, Scenario::kMaximumFileBytes + 1}) {
        std::ofstream(path, std::ios::binary) << '{' << std::string(size - 2, ' ') << '}';
        const std::string expected =
            size == Scenario::kMaximumFileBytes
                ? path + ": missing inputs without a usable default: orificeDiameter, "
                : path + ": larger than 1048576 bytes, the limit for a scenario file";
        EXPECT_EQ(errorOf(path, true).rfind(expected, 0), 0u) << errorOf(path, true);
    }
    std::remove(path.c_str());
}

TEST(Scenario, NamedGasFillsTheSourceAndExplicitKeysWin) {
    JetModel model;
    Scenario::fromText(
        R"({"sourceSpecificHeat": 2000, "gas": "Methane", "orificeDiameter": 0.3, )"
        R"("massFlowrate": 2, "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1, )"
        R"("sourceTemperature": 300, "stoppingConcentration": 0.01})")
        .applyTo(model);
    EXPECT_EQ(model.sourceMolecularWeight(), 0.016043);
    EXPECT_EQ(model.sourceSpecificHeatRatio(), 1.304);
    EXPECT_EQ(model.sourceSpecificHeat(), 2000.0); // given explicitly, before the gas in the file
}

TEST(Scenario, InputsWithoutAUsableDefaultAreNamedTogether) {
    // Those whose value on a new model validation refuses; a gas gives the source's three.
    EXPECT_EQ(Scenario::requiredInputs(),
              (std::vector<std::string_view>{"orificeDiameter", "massFlowrate", "atmosphereSpecificHeat",
                                             "atmosphereSurfaceRoughness", "sourceMolecularWeight",
                                             "sourceSpecificHeat", "sourceSpecificHeatRatio",
                                             "sourceTemperature", "stoppingConcentration"}));
    const std::string hint = " (\"gas\" fills the source's molecular weight, specific heat and specific heat "
                             "ratio; 'ostreljet init' writes a complete scenario)";
    EXPECT_EQ(errorOf(R"({"gas": "propane", "orificeDiameter": 0.3, "massFlowrate": 1})"),
              "s.json: missing inputs without a usable default: atmosphereSpecificHeat, "
              "atmosphereSurfaceRoughness, sourceTemperature, stoppingConcentration" +
                  hint);
    EXPECT_EQ(errorOf(R"({"gas": "propane", "orificeDiameter": 0.3, "massFlowrate": 1, )"
                      R"("atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1, )"
                      R"("sourceTemperature": 300})"),
              "s.json: missing input without a usable default: stoppingConcentration" + hint);
}

TEST(GasTable, CoversTheCommonReleaseGasesConsistently) {
    const char *required[] = {"methane",  "ethane",      "propane",  "n-butane",       "ethylene",
                              "hydrogen", "ammonia",     "chlorine", "carbon dioxide", "hydrogen sulphide",
                              "nitrogen", "natural gas", "air",      "steam"};
    for (const char *name : required) {
        EXPECT_NE(GasTable::find(name), nullptr) << name;
    }
    EXPECT_EQ(GasTable::find("Hydrogen Sulfide"), GasTable::find("hydrogen sulphide"));
    EXPECT_EQ(GasTable::find("carbon_dioxide"), GasTable::find("carbon dioxide"));
    EXPECT_EQ(GasTable::find("natural-gas"), GasTable::find("natural gas"));
    EXPECT_EQ(GasTable::find("butane"), GasTable::find("n-butane"));
    std::set<std::string_view> names;
    for (const GasTable::Entry &gas : GasTable::entries()) {
        EXPECT_TRUE(names.insert(gas.name).second) << gas.name;
        // An ideal gas has cp - cv = R / M: the three figures must agree to the table's rounding.
        const double cv = gas.specificHeat - 8.314462618 / gas.molecularWeight;
        EXPECT_NEAR(gas.specificHeat / cv, gas.specificHeatRatio, 0.002) << gas.name;
        // Every entry passes the model's validation ranges.
        EXPECT_GE(gas.molecularWeight, 0.002) << gas.name;
        EXPECT_LE(gas.molecularWeight, 0.15) << gas.name;
        EXPECT_GT(gas.specificHeatRatio, 1.0) << gas.name;
        EXPECT_LE(gas.specificHeatRatio, 1.7) << gas.name;
    }
    // Spot checks against handbook values: air 1.005 kJ/(kg K) and 1.4; methane 2.22 kJ/(kg K).
    EXPECT_NEAR(GasTable::find("air")->specificHeat, 1005.0, 5.0);
    EXPECT_NEAR(GasTable::find("air")->specificHeatRatio, 1.40, 0.005);
    EXPECT_NEAR(GasTable::find("methane")->specificHeat, 2220.0, 10.0);
    EXPECT_NEAR(GasTable::find("carbon dioxide")->molecularWeight, 0.04401, 1e-6);
}

TEST(Scenario, WindFromBearingIsWhereTheWindComesFrom) {
    // A westerly comes from 270 degrees and blows towards 90; the two forms give the same run.
    const std::string common =
        R"("gas": "methane", "stackHeight": 10, "orificeDiameter": 0.2, "releaseAngle": 90,
        "massFlowrate": 1, "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1,
        "sourceTemperature": 288.15, "stoppingConcentration": 0.01)";
    const struct {
        double from;
        double towards;
    } pairs[] = {{270.0, 90.0}, {0.0, 180.0}, {180.0, 0.0}, {225.0, 45.0}, {360.0, 180.0}};
    for (const auto &pair : pairs) {
        JetModel meteorological;
        JetModel model;
        Scenario::fromText("{" + common + ", \"windFromBearing\": " + std::to_string(pair.from) + "}", "a")
            .applyTo(meteorological);
        Scenario::fromText("{" + common + ", \"referenceWindBearing\": " + std::to_string(pair.towards) + "}",
                           "b")
            .applyTo(model);
        EXPECT_EQ(meteorological.referenceWindBearing(), pair.towards) << pair.from;
        ASSERT_TRUE(meteorological.runModel());
        ASSERT_TRUE(model.runModel());
        ASSERT_EQ(meteorological.numberOfOutputSteps(), model.numberOfOutputSteps());
        const std::int32_t last = model.numberOfOutputSteps() - 1;
        for (std::int32_t axis = 1; axis <= 3; ++axis) {
            EXPECT_EQ(meteorological.centrelineLocation(axis, last), model.centrelineLocation(axis, last));
        }
    }
    EXPECT_EQ(
        errorOf("{" + common + R"(, "windFromBearing": 270, "referenceWindBearing": 90})"),
        "s.json: give either \"windFromBearing\" (where the wind comes from) or \"referenceWindBearing\" "
        "(where it blows towards), not both");
    EXPECT_EQ(errorOf("{" + common + R"(, "windFromBearing": 400})"),
              "s.json: \"windFromBearing\" must lie between 0 and 360 degrees, not 400");
}
