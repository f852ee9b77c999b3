#include "ostreljet/weather/WeatherRose.hpp"

#include <gtest/gtest.h>

namespace ostreljet::weather {
namespace {

std::string refusal(const std::string &text) {
    try {
        WeatherRose::fromText(text, "rose.csv");
    } catch (const WeatherRoseError &e) {
        return e.what();
    }
    return "accepted";
}

TEST(WeatherRose, ReadsColumnsInAnyOrderWithCommentsAndTheOptionalTemperature) {
    const WeatherRose rose =
        WeatherRose::fromText("# a site\n"
                              "frequency, pasquillStability,windSpeed,windFrom,atmosphereTemperature\n"
                              "\n"
                              "0.25,F,2,0,280\n"
                              "0.75,A,5.5,247.5,300\n",
                              "rose.csv");
    ASSERT_EQ(rose.cases().size(), 2u);
    EXPECT_TRUE(rose.warnings().empty());
    const WeatherCase &second = rose.cases()[1];
    EXPECT_EQ(second.row, 2);
    EXPECT_EQ(second.windFrom, 247.5);
    EXPECT_EQ(second.windSpeed, 5.5);
    EXPECT_EQ(second.pasquillStability, 0);
    EXPECT_EQ(second.frequency, 0.75);
    EXPECT_EQ(second.atmosphereTemperature, 300.0);
    EXPECT_EQ(rose.cases()[0].pasquillStability, 5);
    // The wind from 0° (north) blows towards 180°; from 247.5° towards 67.5°.
    EXPECT_EQ(rose.cases()[0].windBearing(), 180.0);
    EXPECT_EQ(second.windBearing(), 67.5);
}

TEST(WeatherRose, CountsAreNormalisedWithAWarning) {
    const WeatherRose rose = WeatherRose::fromText(
        "windFrom,windSpeed,pasquillStability,frequency\n90,3,D,30\n270,3,D,10\n", "rose.csv");
    EXPECT_EQ(rose.cases()[0].frequency, 0.75);
    EXPECT_EQ(rose.cases()[1].frequency, 0.25);
    EXPECT_EQ(rose.givenTotal(), 40.0);
    ASSERT_EQ(rose.warnings().size(), 1u);
    EXPECT_EQ(rose.warnings()[0], "rose.csv: the frequencies sum to 40, not 1: each is divided by the sum");
    EXPECT_FALSE(rose.cases()[0].atmosphereTemperature.has_value());
}

TEST(WeatherRose, BadRowsAreRefusedNamingTheRowAndColumn) {
    const std::string header = "windFrom,windSpeed,pasquillStability,frequency\n";
    EXPECT_EQ(refusal(header + "0,2,D,1\n90,fast,D,1\n"),
              "rose.csv line 3 (row 2), column windSpeed: \"fast\" is not a number");
    EXPECT_EQ(refusal(header + "0,0,D,1\n"),
              "rose.csv line 2 (row 1), column windSpeed: 0 m/s is not within (0, 20]");
    EXPECT_EQ(refusal(header + "361,2,D,1\n"),
              "rose.csv line 2 (row 1), column windFrom: 361 degrees is not within [0, 360]");
    EXPECT_EQ(refusal(header + "0,2,G,1\n"),
              "rose.csv line 2 (row 1), column pasquillStability: \"G\" is not a stability class A to F");
    EXPECT_EQ(refusal(header + "0,2,D,-1\n"),
              "rose.csv line 2 (row 1), column frequency: -1 is not within [0, infinity)");
    EXPECT_EQ(refusal(header + "0,2,D,nan\n"),
              "rose.csv line 2 (row 1), column frequency: nan is not within [0, infinity)");
    EXPECT_EQ(refusal(header + "0,2,D\n"), "rose.csv line 2 (row 1): 3 fields, the header has 4");
    EXPECT_EQ(refusal("windFrom,windSpeed,frequency\n"),
              "rose.csv line 1 (header): the column pasquillStability is missing");
    EXPECT_EQ(refusal("windFrom,windSpeed,pasquillStability,frequency,gust\n"),
              "rose.csv line 1 (header), column 5: \"gust\" is not a column of a weather file (windFrom, "
              "windSpeed, "
              "pasquillStability, frequency, atmosphereTemperature)");
    EXPECT_EQ(refusal(header), "rose.csv: no weather cases");
    EXPECT_EQ(refusal(header + "0,2,D,0\n"),
              "rose.csv: the frequencies sum to 0; at least one must be above 0");
    EXPECT_EQ(refusal(""), "rose.csv: no header row (windFrom,windSpeed,pasquillStability,frequency)");
}

TEST(WeatherRose, TheBundledRoseHasSixteenSectorsSixClassesAndThreeSpeeds) {
    const WeatherRose rose = WeatherRose::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/weather_rose.csv");
    ASSERT_EQ(rose.cases().size(), 288u);
    double total = 0.0;
    for (const WeatherCase &c : rose.cases()) {
        total += c.frequency;
    }
    EXPECT_NEAR(total, 1.0, 1e-12);
    EXPECT_EQ(rose.cases()[287].windFrom, 337.5);
    EXPECT_THROW(WeatherRose::fromFile("/nonexistent/rose.csv"), WeatherRoseError);
}

} // namespace
} // namespace ostreljet::weather
