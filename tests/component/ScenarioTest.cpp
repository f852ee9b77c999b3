#include "ostreljet/component/Scenario.hpp"
#include "ostreljet/component/GasTable.hpp"
#include "ostreljet/component/PropertyTable.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

using ostreljet::GasTable;
using ostreljet::JetModel;
using ostreljet::PropertyTable;
using ostreljet::Scenario;
using ostreljet::ScenarioError;

namespace {

// The message of the error that reading `text` raises, or "" when it reads.
std::string errorOf(const std::string &text) {
    try {
        Scenario::fromText(text, "s.json");
    } catch (const ScenarioError &e) {
        return e.what();
    }
    return "";
}

double valueAfter(const std::string &text, const char *property) {
    JetModel model;
    Scenario::fromText(text).applyTo(model);
    return PropertyTable::find(property)->get(model);
}

} // namespace

TEST(PropertyTable, InterfaceOrderAndDispatchIdentifiers) {
    const auto properties = PropertyTable::properties();
    ASSERT_EQ(properties.size(), 23u);
    EXPECT_EQ(properties.front().name, "stackHeight");
    EXPECT_EQ(properties.front().dispid, 1);
    EXPECT_EQ(properties[1].name, "orificeDiameter");
    EXPECT_EQ(properties[1].dispid, 3); // 2 is not assigned
    EXPECT_EQ(properties[21].name, "pasquillStability");
    EXPECT_EQ(properties[21].dispid, 23);
    EXPECT_EQ(properties.back().name, "stackBearing");
    EXPECT_EQ(properties.back().dispid, 25); // after runModel's 24
    for (std::size_t i = 1; i + 1 < properties.size(); ++i) {
        EXPECT_EQ(properties[i].dispid, static_cast<int>(i) + 2) << properties[i].name;
    }
    EXPECT_EQ(PropertyTable::findByDispid(24), nullptr);
    EXPECT_EQ(PropertyTable::findByDispid(2), nullptr);
    EXPECT_EQ(PropertyTable::find("StackHeight"), nullptr);
}

TEST(PropertyTable, EveryPropertyRoundTripsThroughTheModel) {
    JetModel model;
    double value = 0.5;
    for (const PropertyTable::Property &property : PropertyTable::properties()) {
        const double written = property.type == PropertyTable::Type::Double ? value : 1.0;
        property.put(model, written);
        EXPECT_EQ(property.get(model), written) << property.name;
        value += 1.0;
    }
    // The atmosphere temperature is the reference temperature, not the local air's.
    EXPECT_EQ(model.atmosphere().referenceTemperature(),
              PropertyTable::find("atmosphereTemperature")->get(model));
}

TEST(Scenario, EnumerationsTakeLettersNamesAndNumbers) {
    EXPECT_EQ(valueAfter(R"({"pasquillStability": "A"})", "pasquillStability"), 0.0);
    EXPECT_EQ(valueAfter(R"({"pasquillStability": "PASQUILL_F"})", "pasquillStability"), 5.0);
    EXPECT_EQ(valueAfter(R"({"pasquillStability": 4})", "pasquillStability"), 4.0);
    EXPECT_EQ(valueAfter(R"({"timeAveraging": "long"})", "timeAveraging"), 1.0);
    EXPECT_EQ(valueAfter(R"({"timeAveraging": "SHORT_TIME_AVERAGING"})", "timeAveraging"), 0.0);
    EXPECT_EQ(valueAfter(R"({"timeAveraging": 1})", "timeAveraging"), 1.0);
    EXPECT_EQ(
        errorOf(R"({"pasquillStability": "G"})"),
        R"(s.json: "pasquillStability" must be one of "A".."F", "PASQUILL_A".."PASQUILL_F" or 0..5, not "G")");
    EXPECT_EQ(
        errorOf(R"({"pasquillStability": 6})"),
        R"(s.json: "pasquillStability" must be one of "A".."F", "PASQUILL_A".."PASQUILL_F" or 0..5, not 6)");
    EXPECT_NE(errorOf(R"({"timeAveraging": 2})").find("\"timeAveraging\" must be one of"), std::string::npos);
    EXPECT_NE(errorOf(R"({"timeAveraging": 0.5})").find("not 0.5"), std::string::npos);
}

TEST(Scenario, NumbersOnlyForNumericProperties) {
    EXPECT_EQ(valueAfter(R"({"stackHeight": 12})", "stackHeight"), 12.0);
    EXPECT_EQ(valueAfter(R"({"stackHeight": -1.5e2})", "stackHeight"), -150.0);
    EXPECT_EQ(errorOf(R"({"stackHeight": "12"})"), R"(s.json: "stackHeight" must be a number, not "12")");
    EXPECT_EQ(errorOf(R"({"stackHeight": true})"), R"(s.json: "stackHeight" must be a number, not true)");
    EXPECT_EQ(errorOf(R"({"stackHeight": null})"), R"(s.json: "stackHeight" must be a number, not null)");
    EXPECT_EQ(errorOf(R"({"stackHeigth": 1})"), R"(s.json: unknown key "stackHeigth")");
}

TEST(Scenario, FilesThatAreNotJsonObjects) {
    EXPECT_EQ(errorOf(""), "s.json: empty file; expected a JSON object of input properties");
    EXPECT_EQ(errorOf(" \n\t"), "s.json: empty file; expected a JSON object of input properties");
    EXPECT_EQ(errorOf("[1, 2]"), "s.json: expected a JSON object of input properties, not array");
    // The line and column of the fault: the comma on line 2.
    const std::string broken = errorOf("{\n  \"stackHeight\": ,\n}");
    EXPECT_EQ(broken.rfind("s.json:2:18: not valid JSON (syntax error", 0), 0u) << broken;
    const std::string trailing = errorOf("{} x");
    EXPECT_EQ(trailing.rfind("s.json:1:4: not valid JSON (", 0), 0u) << trailing;
    EXPECT_EQ(errorOf(R"({"stackHeight": 1e400})"),
              "s.json: not valid JSON (number overflow parsing '1e400': outside the range of a double)");
}

TEST(Scenario, MissingFileAndDirectory) {
    try {
        Scenario::fromFile("/nonexistent/ostreljet.json");
        FAIL();
    } catch (const ScenarioError &e) {
        EXPECT_STREQ(e.what(), "/nonexistent/ostreljet.json: no such file");
    }
    try {
        Scenario::fromFile("/tmp");
        FAIL();
    } catch (const ScenarioError &e) {
        EXPECT_STREQ(e.what(), "/tmp: is a directory, not a scenario file");
    }
}

TEST(Scenario, NamedGasFillsTheSourceAndExplicitKeysWin) {
    JetModel model;
    Scenario::fromText(R"({"sourceSpecificHeat": 2000, "gas": "Methane"})").applyTo(model);
    EXPECT_EQ(model.sourceMolecularWeight(), 0.016043);
    EXPECT_EQ(model.sourceSpecificHeatRatio(), 1.304);
    EXPECT_EQ(model.sourceSpecificHeat(), 2000.0); // given explicitly, before the gas in the file
    const std::string unknown = errorOf(R"({"gas": "unobtainium"})");
    EXPECT_EQ(unknown.rfind(R"(s.json: unknown gas "unobtainium" (known: methane, ethane,)", 0), 0u)
        << unknown;
    EXPECT_EQ(errorOf(R"({"gas": 4})"), R"(s.json: "gas" must be the name of a gas, not 4)");
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
