#include "cli/CliTestSupport.hpp"

#include <tuple>

using namespace ostreljet::testsupport;

// Reference figures were worked out independently in python3 from the profile's formulas,
// for 5 m/s at 10 m over 0.1 m roughness at 288.15 K unless the options say otherwise.

namespace {

CommandResult profile(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "profile");
    return cli(arguments);
}

nlohmann::ordered_json profileJson(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const CommandResult result = profile(arguments);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    // Nothing on stderr but the warning of a class unusual for the wind speed.
    EXPECT_TRUE(result.err.empty() || result.err.rfind("warning: Class ", 0) == 0) << result.err;
    return nlohmann::ordered_json::parse(result.out);
}

} // namespace

TEST(ProfileCommand, JsonKeysInOrderSeventeenDigitsAndNullForNonFinite) {
    const CommandResult result = profile({"--heights", "2,50", "--json"});
    ASSERT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.out.find("\"frictionVelocity\":0.38000767166534533,"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\"surfaceTemperature\":288.14999999999998,"), std::string::npos);
    EXPECT_NE(result.out.find("\"density\":1.224810119238344,"), std::string::npos);
    EXPECT_NE(result.out.find("\"boundaryLayerHeight\":500,"), std::string::npos);
    EXPECT_EQ(result.out.back(), '\n');
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(result.out);
    EXPECT_EQ(keysOf(json),
              (std::vector<std::string>{"inverseObukhovLength", "frictionVelocity", "temperatureScale",
                                        "surfaceTemperature", "boundaryLayerHeight", "heights"}));
    ASSERT_EQ(json["heights"].size(), 2u);
    for (const auto &row : json["heights"]) {
        EXPECT_EQ(keysOf(row), (std::vector<std::string>{"z", "windSpeed", "windX", "windY", "temperature",
                                                         "density", "eddyDiffusivity"}));
    }
    EXPECT_EQ(json["heights"][0]["z"], 2.0);
    EXPECT_EQ(json["heights"][1]["z"], 50.0);
    // Inputs outside the model's range are refused naming the option and the value, never -nan rows.
    expectUsageError(
        profile({"--roughness", "0.5", "--heights", "10", "--json"}),
        "--roughness: 0.5 m is outside the model's range [0.0001, 0.3] (surface roughness length)");
    expectUsageError(profile({"--wind-speed", "0", "--heights", "10"}),
                     "--wind-speed: 0 m/s is outside the model's range (0, 20] (wind speed at the reference "
                     "height)");
    expectUsageError(profile({"--heights", "10,-1"}),
                     "--heights: -1 m is not a height at or above the ground");
}

TEST(ProfileCommand, WorkedFigures) {
    using Figure = std::tuple<const char *, double, double>; // a JSON pointer, its value and the tolerance
    const std::vector<std::pair<std::vector<std::string>, std::vector<Figure>>> cases = {
        // The class reaches the profile (its other figures are checked on the library).
        {{"--stability", "A", "--heights", "50"},
         {{"/inverseObukhovLength", -0.1220690300077079, 1e-15},
          {"/boundaryLayerHeight", 2500.0, 0.0},
          {"/heights/0/windSpeed", 5.918433849774423, 1e-11}}},
        // Every option: 0.35 * 3 / ln 100, and 90000 * 0.03 / (300 * 8.31434).
        {{"--stability", "d", "--roughness", "0.2", "--wind-speed", "3", "--wind-height", "20",
          "--wind-bearing", "0", "--temperature", "300", "--pressure", "90000", "--molecular-weight", "0.03",
          "--heights", "20"},
         {{"/boundaryLayerHeight", 500.0, 0.0},
          {"/frictionVelocity", 0.2280046029992072, 1e-15},
          {"/heights/0/windX", 0.0, 0.0},
          {"/heights/0/windY", 3.0, 1e-12},
          {"/heights/0/temperature", 300.0, 0.0},
          {"/heights/0/density", 1.0824671591491328, 1e-14}}},
    };
    for (const auto &[arguments, figures] : cases) {
        const nlohmann::ordered_json json = profileJson(arguments);
        for (const auto &[pointer, value, tolerance] : figures) {
            EXPECT_NEAR(json.at(nlohmann::ordered_json::json_pointer(pointer)).get<double>(), value,
                        tolerance)
                << arguments[1] << " " << pointer;
        }
    }
}

TEST(ProfileCommand, UnusableCommandLinesGiveOneLineAndStatusTwo) {
    expectUsageError(profile({"--wind-speed", "abc", "--heights", "10"}),
                     "--wind-speed: 'abc' is not a number");
    expectUsageError(profile({"--heights", "10,5x"}), "--heights: '5x' is not a number");
    expectUsageError(profile({"--stability", "G", "--heights", "10"}),
                     "--stability: 'G' is not a stability class (A to F)");
    expectUsageError(profile({}), "--heights is required");
    expectRefusal(profile({"--bogus", "--heights", "10"}), {"--bogus"});
    expectRefusal(cli({}), {});
}
