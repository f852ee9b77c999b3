// The footprint and weather commands: their files, their figures and their refusals.
#include "CliTestSupport.hpp"

#include <fmt/core.h>

#include <cmath>

namespace ostreljet::testsupport {
namespace {

const std::string kRoseHeader = "windFrom,windSpeed,pasquillStability,frequency\n";

TEST(FootprintCommand, WritesGeoJsonInTheSiteFrameAndKmlWithAnOriginAndSaysWhatItFound) {
    TemporaryFolder folder;
    const CommandResult json = cli({"footprint", example("horizontal_dense_release.json"), "--levels",
                                    "1%,5%,0.1%", "-o", folder.file("co2.geojson")});
    ASSERT_EQ(json.exitStatus, 0) << json.err;
    const auto lines = linesOf(json.out);
    ASSERT_GE(lines.size(), 5u);
    EXPECT_EQ(lines[0],
              "Footprints of horizontal_dense_release.json at 0 m above ground, concentrations in volume "
              "fraction:");
    EXPECT_EQ(lines[1].rfind("  1%, 0.01 volume fraction: ", 0), 0u) << lines[1];
    EXPECT_NE(lines[1].find(" m², 1 polygon(s), reaching "), std::string::npos) << lines[1];
    EXPECT_EQ(lines[2], "  5%, 0.05 volume fraction: not reached at this height");
    // Below the scenario's stopping concentration (0.5 %) the far field carries the region on along the
    // ground, on the axis as far as the run's summary says (194.7 m downwind).
    EXPECT_EQ(lines[3].rfind("  0.1%, 0.001 volume fraction: ", 0), 0u) << lines[3];
    EXPECT_NE(lines[3].find(" reaching 194.7 m from the release"), std::string::npos) << lines[3];
    EXPECT_EQ(lines[3].find("cut off"), std::string::npos) << lines[3];
    const auto collection = nlohmann::json::parse(readText(folder.file("co2.geojson")));
    EXPECT_EQ(
        collection["coordinates"],
        "site frame: metres east (x) and north (y) of the scenario's origin, not longitude and latitude");
    ASSERT_EQ(collection["features"].size(), 3u);
    EXPECT_EQ(collection["features"][0]["properties"]["scenario"], "horizontal_dense_release.json");
    // The area printed is the file's, to four digits.
    const double area = collection["features"][0]["properties"]["area_m2"];
    EXPECT_NE(lines[1].find(fmt::format("{:.4g} m²", area)), std::string::npos) << lines[1];

    const CommandResult kml = cli({"footprint", example("horizontal_dense_release.json"), "--levels", "1%",
                                   "--origin", "52,5", "-o", folder.file("co2.kml")});
    ASSERT_EQ(kml.exitStatus, 0) << kml.err;
    const std::string text = readText(folder.file("co2.kml"));
    EXPECT_NE(text.find("<kml xmlns=\"http://www.opengis.net/kml/2.2\">"), std::string::npos);
    EXPECT_NE(text.find(",52.000"), std::string::npos);
    EXPECT_NE(kml.out.find("WGS84 longitude and latitude, origin 52, 5"), std::string::npos);
}

TEST(FootprintCommand, ARegionStillAboveTheLevelWhereTheFarFieldEndsIsCutOffThere) {
    TemporaryFolder folder;
    // The hot stack of the examples to 1e-6, its far field ending 1.5 km downwind with 1e-5 still
    // exceeded on the ground.
    std::string text = readText(example("hot_stack_unstable.json"));
    text.replace(text.find("\"stoppingConcentration\": 0.002"), 30,
                 "\"stoppingConcentration\": 1e-6, \"farFieldDistance\": 1500");
    const std::string scenario = folder.write("stack.json", text);
    const CommandResult result = cli(
        {"footprint", scenario, "--levels", "1e-5", "--points", "101", "-o", folder.file("stack.geojson")});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const auto lines = linesOf(result.out);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_NE(lines[1].find(" 1 polygon(s), reaching "), std::string::npos) << lines[1];
    // Terminal text keeps a plain minus that can be copied and searched (not the report's U+2212).
    EXPECT_EQ(lines[1].rfind("  1e-5, 1e-05 volume fraction: ", 0), 0u) << lines[1];
    EXPECT_NE(
        lines[1].find("; cut off where the far field ends (1500 m downwind), the region reaches farther"),
        std::string::npos)
        << lines[1];
    const auto collection = nlohmann::json::parse(readText(folder.file("stack.geojson")));
    EXPECT_EQ(collection["features"][0]["properties"]["cutAtEndOfRun"], true);
}

TEST(FootprintCommand, RefusesOptionsItCannotHonourBeforeRunning) {
    TemporaryFolder folder;
    const std::string scenario = example("horizontal_dense_release.json");
    expectUsageError(cli({"footprint", scenario, "-o", folder.file("a.kml")}),
                     "-o: a KML file holds longitude and latitude: give --origin LAT,LON");
    expectUsageError(cli({"footprint", scenario, "-o", folder.file("a.shp")}),
                     "-o: \"" + folder.file("a.shp") + "\" ends in neither .geojson, .json nor .kml");
    expectUsageError(cli({"footprint", scenario, "--origin", "95,5", "-o", folder.file("a.geojson")}),
                     "--origin: the origin's latitude 95 is not within [-89, 89] degrees");
    expectUsageError(cli({"footprint", scenario, "--origin", "52", "-o", folder.file("a.geojson")}),
                     "--origin: \"52\" is not LAT,LON (two numbers, degrees)");
    expectUsageError(cli({"footprint", scenario, "--height", "-1", "-o", folder.file("a.geojson")}),
                     "--height: \"-1\" is not a height of 0 m or more");
    // The carbon dioxide of the example names no gas, so it has no LFL.
    const CommandResult lfl = cli({"footprint", scenario, "--levels", "LFL", "-o", folder.file("a.geojson")});
    expectRefusal(lfl, {"--levels", "LFL"});
    EXPECT_TRUE(folder.entries().empty());
}

TEST(WeatherCommand, WritesTheProbabilityGridContoursCasesAndPage) {
    TemporaryFolder folder;
    // From the west 3/4 of the time and from the east 1/4, as counts.
    const std::string rose = folder.write("rose.csv", kRoseHeader + "270,3,E,3\n90,3,E,1\n");
    const CommandResult result = cli({"weather", example("horizontal_dense_release.json"), "--weather", rose,
                                      "--levels", "1%", "--grid", "50,51", "-o", folder.file("out")});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_NE(result.err.find("ostreljet: warning: " + rose +
                              ": the frequencies sum to 4, not 1: each is divided "
                              "by the sum"),
              std::string::npos);
    EXPECT_NE(result.out.find("Cases refused by the model: 0 (summed frequency 0)"), std::string::npos);
    const auto csv = linesOf(readText(folder.file("out/probability.csv")));
    ASSERT_EQ(csv.size(), 1u + 51u * 51u);
    EXPECT_EQ(csv[0], "x [m],y [m],z [m],P(>= 1% 0.01 volume fraction)");
    // 25 m east, on the axis, is downwind in the first weather only: 0.75; 25 m west 0.25.
    EXPECT_EQ(csv[1 + 37 * 51 + 25], "24,0,0,0.75");
    EXPECT_EQ(csv[1 + 13 * 51 + 25], "-24,0,0,0.25");
    const auto contours = nlohmann::json::parse(readText(folder.file("out/contours.geojson")));
    ASSERT_EQ(contours["features"].size(), 4u); // 0.1, 0.01, 0.001 and the worst case
    EXPECT_EQ(contours["features"][0]["properties"]["probability"], 0.1);
    EXPECT_EQ(contours["features"][3]["properties"]["worstCase"], true);
    const auto cases = linesOf(readText(folder.file("out/cases.csv")));
    ASSERT_EQ(cases.size(), 3u);
    EXPECT_EQ(cases[0], "row,windFrom [degree],windSpeed [m/s],pasquillStability,frequency,computed,message");
    EXPECT_EQ(cases[1],
              "1,270,3,E,0.75,yes,\"The centreline of the jet is interacting with the ground, model "
              "terminated at 35.7 m.\"");
    const std::string page = readText(folder.file("out/weather.html"));
    EXPECT_NE(page.find("Every weather case was computed."), std::string::npos);
    EXPECT_NE(page.find(">N</text>"), std::string::npos);
}

TEST(WeatherCommand, CountsRefusedCasesAndRefusesABadRoseNamingTheRowAndColumn) {
    TemporaryFolder folder;
    const std::string scenario =
        folder.write("slow.json", ventWith(R"({"massFlowrate": 0.02, "orificeDiameter": 1.0})"));
    const std::string rose = folder.write("rose.csv", kRoseHeader + "0,20,D,0.5\n180,20,D,0.5\n");
    const CommandResult refused =
        cli({"weather", scenario, "--weather", rose, "--grid", "50,11", "-o", folder.file("out")});
    ASSERT_EQ(refused.exitStatus, 0) << refused.err;
    EXPECT_NE(refused.out.find("Cases refused by the model: 2 (summed frequency 1)"), std::string::npos)
        << refused.out;
    EXPECT_NE(readText(folder.file("out/weather.html")).find("2 of 2 weather cases were refused"),
              std::string::npos);

    const std::string bad = folder.write("bad.csv", kRoseHeader + "0,2,D,1\n90,2,D,often\n");
    expectUsageError(cli({"weather", example("horizontal_dense_release.json"), "--weather", bad, "-o",
                          folder.file("bad")}),
                     "--weather: " + bad + " line 3 (row 2), column frequency: \"often\" is not a number");
    expectUsageError(cli({"weather", example("horizontal_dense_release.json"), "--weather", rose, "--grid",
                          "50", "-o", folder.file("bad")}),
                     "--grid: \"50\" is neither R,N nor X0,Y0,X1,Y1,NX,NY");
    EXPECT_FALSE(std::filesystem::exists(folder.file("bad")));
}

} // namespace
} // namespace ostreljet::testsupport
