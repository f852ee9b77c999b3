#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"
#include "ostreljet/units/Level.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using ostreljet::ConcentrationConverter;
using ostreljet::ConcentrationUnit;
using ostreljet::GasTable;
using ostreljet::HazardLimits;
using ostreljet::Level;
using ostreljet::LevelError;

namespace {

constexpr double methane = 0.016043;  // kg/mol
constexpr double chlorine = 0.070906; // kg/mol
constexpr double air = 0.02896;       // kg/mol

// Released gas at 298.15 K into air at 298.15 K and 101325 Pa.
ConcentrationConverter converterFor(double sourceMolecularWeight) {
    return ConcentrationConverter({sourceMolecularWeight, air, 101325.0, 298.15, 1000.0, 1005.0, 298.15});
}

HazardLimits limitsOf(const char *gas) {
    return GasTable::find(gas)->hazards;
}

// The message of the LevelError that parsing and converting `text` throws, or "" when none is thrown.
std::string levelError(const std::string &text, const char *gas = "methane") {
    try {
        Level::parse(text).toModel(converterFor(methane), limitsOf(gas), gas);
    } catch (const LevelError &error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(ConcentrationUnits, WordsAndLabelsRoundTrip) {
    const struct {
        const char *word;
        ConcentrationUnit unit;
        const char *label;
    } cases[] = {{"mass", ConcentrationUnit::massFraction, "mass fraction"},
                 {"vol", ConcentrationUnit::volumeFraction, "volume fraction"},
                 {"%", ConcentrationUnit::percentByVolume, "% by volume"},
                 {"ppm", ConcentrationUnit::ppmByVolume, "ppm by volume"},
                 {"mg/m3", ConcentrationUnit::milligramsPerCubicMetre, "mg/m\u00b3"}};
    for (const auto &c : cases) {
        EXPECT_EQ(ostreljet::parseConcentrationUnit(c.word), c.unit) << c.word;
        EXPECT_EQ(ostreljet::concentrationUnitWord(c.unit), c.word);
        EXPECT_EQ(ostreljet::concentrationUnitLabel(c.unit), c.label);
    }
    EXPECT_EQ(ostreljet::parseConcentrationUnit("mg/m^3"), ConcentrationUnit::milligramsPerCubicMetre);
    for (const char *bad : {"", "ppb", "PPM", "mass fraction", "mg"}) {
        EXPECT_FALSE(ostreljet::parseConcentrationUnit(bad).has_value()) << bad;
    }
}

TEST(ConcentrationConverter, MatchesHandWorkedFigures) {
    // 1 % methane by mass: (0.01 / 0.016043) / (0.01 / 0.016043 + 0.99 / 0.02896) = 0.017907, 1.79 %.
    const double x = ConcentrationConverter::volumeFractionFromMassFraction(0.01, methane, air);
    EXPECT_NEAR(100.0 * x, 1.7907, 0.0005);
    EXPECT_NEAR(ConcentrationConverter::massFractionFromVolumeFraction(x, methane, air), 0.01, 1e-15);
    EXPECT_NEAR(converterFor(methane).fromModel(x, ConcentrationUnit::massFraction, 298.15), 0.01, 1e-15);

    // 1 ppm chlorine at 298.15 K and 101325 Pa: 101325 * 0.070906 / (8.31434 * 298.15) = 2.898 mg/m3.
    const ConcentrationConverter cl2 = converterFor(chlorine);
    EXPECT_NEAR(cl2.thresholdFromModel(1e-6, ConcentrationUnit::milligramsPerCubicMetre), 2.898, 0.0005);
    // At a point, so dilute a mixture is at the air's temperature.
    EXPECT_NEAR(cl2.fromModel(1e-6, ConcentrationUnit::milligramsPerCubicMetre, 298.15), 2.898, 0.0005);
    // 100 mg/m3 is 100 / 2.898 = 34.50 ppm.
    EXPECT_NEAR(cl2.thresholdToModel(100.0, ConcentrationUnit::milligramsPerCubicMetre) * 1e6, 34.50, 0.01);

    EXPECT_DOUBLE_EQ(cl2.fromModel(0.02, ConcentrationUnit::percentByVolume, 300.0), 2.0);
    EXPECT_DOUBLE_EQ(cl2.fromModel(0.02, ConcentrationUnit::ppmByVolume, 300.0), 20000.0);
    EXPECT_DOUBLE_EQ(cl2.thresholdToModel(5000.0, ConcentrationUnit::ppmByVolume), 0.005);
}

TEST(ConcentrationConverter, MixesByMassFractionAndHeatCapacity) {
    // Half source gas (2000 J/(kg K) at 400 K) and half air (1000 J/(kg K) at 300 K):
    // (1000 * 400 + 500 * 300) / 1500 = 366.67 K.
    const ConcentrationConverter hot({0.016, air, 101325.0, 400.0, 2000.0, 1000.0, 300.0});
    EXPECT_NEAR(hot.mixtureTemperature(0.5, 300.0), 366.6667, 1e-4);
    EXPECT_DOUBLE_EQ(hot.mixtureTemperature(1.0, 300.0), 400.0);
    EXPECT_DOUBLE_EQ(hot.mixtureTemperature(0.0, 280.0), 280.0);
    // Pure source gas at 400 K: its own density, 1621.2 / 3325.736 = 0.487471 kg/m3.
    EXPECT_NEAR(hot.fromModel(1.0, ConcentrationUnit::milligramsPerCubicMetre, 300.0), 487471.0, 1.0);
}

TEST(Level, ReadsNumbersWithUnitsAndNamedLevels) {
    const ConcentrationConverter ch4 = converterFor(methane);
    const struct {
        const char *text;
        const char *gas;
        double model; // volume fraction
    } cases[] = {{"0.01", "methane", 0.01},     {"2%", "methane", 0.02},      {" 2 % ", "methane", 0.02},
                 {"5000ppm", "methane", 0.005}, {"0.02vol", "methane", 0.02}, {"LFL", "methane", 0.05},
                 {"lfl/2", "methane", 0.025},   {"UFL", "propane", 0.095},    {"IDLH", "chlorine", 1e-5},
                 {"IDLH", "propane", 0.0021},   {"1e-3", "methane", 0.001}};
    for (const auto &c : cases) {
        EXPECT_NEAR(Level::parse(c.text).toModel(ch4, limitsOf(c.gas), c.gas), c.model, 1e-15) << c.text;
    }
    const double x = ConcentrationConverter::volumeFractionFromMassFraction(0.01, methane, air);
    EXPECT_NEAR(Level::parse("0.01mass").toModel(ch4, {}), x, 1e-15);
    EXPECT_NEAR(Level::parse("0.01", ConcentrationUnit::massFraction).toModel(ch4, {}), x, 1e-15);
    const Level mg = Level::parse("100mg/m3");
    EXPECT_EQ(mg.kind(), Level::Kind::number);
    EXPECT_EQ(mg.unit(), ConcentrationUnit::milligramsPerCubicMetre);
    EXPECT_EQ(mg.value(), 100.0);
    EXPECT_EQ(Level::parse(" LFL/2 ").text(), "LFL/2");
    EXPECT_EQ(Level::parse("LFL/2").kind(), Level::Kind::halfLowerFlammabilityLimit);
}

TEST(Level, RefusesBadTextsNamingThem) {
    const struct {
        const char *text;
        const char *gas;
        const char *message;
    } cases[] = {
        {"", "methane",
         "empty level: expected a number with an optional unit (%, ppm, mg/m3, vol, mass) or "
         "one of LFL, UFL, LFL/2, IDLH"},
        {"abc", "methane", "level \"abc\": expected a number"},
        {"LEL", "methane", "level \"LEL\": expected a number"},
        {"nan", "methane", "level \"nan\": the number is not a finite number"},
        {"inf%", "methane", "level \"inf%\": the number is not a finite number"},
        {"1e999", "methane", "level \"1e999\": the number is not a finite number"},
        {"0x10", "methane", "level \"0x10\": the number is not a decimal number (write it in decimal)"},
        {"1e-320mg/m3", "methane", "level \"1e-320mg/m3\": is too small: below the smallest concentration"},
        {"-1%", "methane", "level \"-1%\": a level must be greater than 0"},
        {"0", "methane", "level \"0\": a level must be greater than 0"},
        {"2kg", "methane", "level \"2kg\": unknown unit \"kg\" (expected %, ppm, mg/m3, vol or mass)"},
        {"2%%", "methane", "level \"2%%\": unknown unit \"%%\""},
        {"150%", "methane", "level \"150%\": lies at or above pure released gas"},
        {"LFL", "chlorine", "level \"LFL\": chlorine has no published lower flammability limit"},
        {"UFL", "nitrogen", "level \"UFL\": nitrogen has no published upper flammability limit"},
        {"IDLH", "methane", "level \"IDLH\": methane has no published IDLH value"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(levelError(c.text, c.gas).rfind(c.message, 0), 0u)
            << c.text << " gave: " << levelError(c.text, c.gas);
    }
    try {
        Level::parse("LFL").toModel(converterFor(methane), {});
        ADD_FAILURE() << "LFL without a gas was accepted";
    } catch (const LevelError &error) {
        EXPECT_STREQ(error.what(), "level \"LFL\": no gas is named, so there is no lower flammability limit");
    }
}

TEST(GasTable, CarriesPublishedHazardLevels) {
    const struct {
        const char *gas;
        double lfl;  // % by volume, 0 for none
        double ufl;  // % by volume, 0 for none
        double idlh; // ppm, 0 for none
    } cases[] = {{"methane", 5.0, 15.0, 0},       {"propane", 2.1, 9.5, 2100},
                 {"n-butane", 1.6, 8.4, 1600},    {"hydrogen", 4.0, 75.0, 0},
                 {"ammonia", 15.0, 28.0, 300},    {"chlorine", 0, 0, 10},
                 {"carbon dioxide", 0, 0, 40000}, {"hydrogen sulphide", 4.0, 44.0, 100},
                 {"nitrogen", 0, 0, 0},           {"air", 0, 0, 0}};
    for (const auto &c : cases) {
        const HazardLimits limits = limitsOf(c.gas);
        EXPECT_EQ(limits.lowerFlammabilityLimit.value_or(0.0), c.lfl) << c.gas;
        EXPECT_EQ(limits.upperFlammabilityLimit.value_or(0.0), c.ufl) << c.gas;
        EXPECT_EQ(limits.idlh.value_or(0.0), c.idlh) << c.gas;
    }
    for (const GasTable::Entry &gas : GasTable::entries()) {
        const HazardLimits &h = gas.hazards;
        // A gas burns between both limits or has neither.
        EXPECT_EQ(h.lowerFlammabilityLimit.has_value(), h.upperFlammabilityLimit.has_value()) << gas.name;
        if (h.lowerFlammabilityLimit) {
            EXPECT_LT(0.0, *h.lowerFlammabilityLimit) << gas.name;
            EXPECT_LT(*h.lowerFlammabilityLimit, *h.upperFlammabilityLimit) << gas.name;
            EXPECT_LE(*h.upperFlammabilityLimit, 100.0) << gas.name;
        }
    }
}

TEST(Level, ListsDefaultsAndResolutionForAModelsGas) {
    const std::vector<Level> list = Level::parseList("LFL, 2%,5000ppm");
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[1].text(), "2%");
    EXPECT_THROW(Level::parseList("LFL,,2%"), LevelError);

    // Methane burns: its LFL and half of it. Nitrogen does not: the stopping concentration.
    const std::vector<Level> methane = Level::defaults("methane", 0.01);
    ASSERT_EQ(methane.size(), 2u);
    EXPECT_EQ(methane[0].kind(), Level::Kind::lowerFlammabilityLimit);
    EXPECT_EQ(methane[1].kind(), Level::Kind::halfLowerFlammabilityLimit);
    const std::vector<Level> nitrogen = Level::defaults("nitrogen", 0.01);
    ASSERT_EQ(nitrogen.size(), 1u);
    EXPECT_EQ(nitrogen[0].text(), "0.01");

    ostreljet::JetModel model;
    model.setSourceMolecularWeight(0.016043);
    model.setAtmosphereMolecularWeight(0.02896);
    // 5 % by volume is the LFL of methane; the model's own unit is the volume fraction.
    const std::vector<double> values = Level::toModel(list, model, "methane");
    EXPECT_DOUBLE_EQ(values[0], 0.05);
    EXPECT_DOUBLE_EQ(values[1], 0.02);
    EXPECT_DOUBLE_EQ(values[2], 0.005);
    try {
        Level::toModel(list, model, "");
        FAIL() << "a named level needs a gas";
    } catch (const LevelError &e) {
        EXPECT_STREQ(e.what(),
                     "level \"LFL\": the scenario names no gas of the gas table, so it has no hazard "
                     "levels; give the level as a number with a unit");
    }
}
