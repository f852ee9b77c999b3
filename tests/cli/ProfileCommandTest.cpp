#include "cli/CommandRunner.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

using ostreljet::testsupport::CommandResult;
using ostreljet::testsupport::runCommand;

// Reference figures were worked out independently in python3 from the profile's formulas,
// for 5 m/s at 10 m over 0.1 m roughness at 288.15 K unless a test says otherwise.

namespace {

CommandResult profile(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "profile");
    return runCommand(OSTRELJET_CLI_PATH, arguments);
}

nlohmann::ordered_json profileJson(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const CommandResult result = profile(arguments);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return nlohmann::ordered_json::parse(result.out);
}

void expectUsageError(const std::vector<std::string> &arguments, const std::string &line) {
    const CommandResult result = profile(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, line + "\n");
}

} // namespace

TEST(ProfileCommand, JsonHasTheDocumentedKeysInOrder) {
    const nlohmann::ordered_json json = profileJson({"--heights", "2,50"});
    std::vector<std::string> keys;
    for (const auto &item : json.items()) {
        keys.push_back(item.key());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"inverseObukhovLength", "frictionVelocity", "temperatureScale",
                                              "surfaceTemperature", "boundaryLayerHeight", "heights"}));
    ASSERT_TRUE(json["heights"].is_array());
    ASSERT_EQ(json["heights"].size(), 2u);
    for (const auto &row : json["heights"]) {
        std::vector<std::string> rowKeys;
        for (const auto &item : row.items()) {
            rowKeys.push_back(item.key());
            EXPECT_TRUE(item.value().is_number()) << item.key();
        }
        EXPECT_EQ(rowKeys, (std::vector<std::string>{"z", "windSpeed", "windX", "windY", "temperature",
                                                     "density", "eddyDiffusivity"}));
    }
    EXPECT_EQ(json["heights"][0]["z"], 2.0);
    EXPECT_EQ(json["heights"][1]["z"], 50.0);
}

TEST(ProfileCommand, JsonNumbersCarrySeventeenSignificantDigits) {
    const CommandResult result = profile({"--heights", "50", "--json"});
    ASSERT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.out.find("\"frictionVelocity\":0.38000767166534533,"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\"surfaceTemperature\":288.14999999999998,"), std::string::npos);
    EXPECT_NE(result.out.find("\"density\":1.224810119238344,"), std::string::npos);
    EXPECT_NE(result.out.find("\"boundaryLayerHeight\":500,"), std::string::npos);
    EXPECT_EQ(result.out.back(), '\n');
}

TEST(ProfileCommand, NeutralDefaultsAtFiftyMetres) {
    const nlohmann::ordered_json json = profileJson({"--heights", "10,50"});
    EXPECT_EQ(json["inverseObukhovLength"], 0.0);
    EXPECT_NEAR(json["frictionVelocity"].get<double>(), 0.3800076716653453, 1e-15);
    EXPECT_EQ(json["temperatureScale"], 0.0);
    EXPECT_EQ(json["boundaryLayerHeight"], 500.0);
    EXPECT_NEAR(json["heights"][0]["windSpeed"].get<double>(), 5.0, 1e-12);
    const auto &row = json["heights"][1];
    EXPECT_NEAR(row["windSpeed"].get<double>(), 6.747425010840047, 1e-11);
    EXPECT_NEAR(row["windX"].get<double>(), 6.747425010840047, 1e-11); // bearing 90: towards +x
    EXPECT_NEAR(row["windY"].get<double>(), 0.0, 1e-13);
    EXPECT_EQ(row["temperature"], 288.15);
    EXPECT_NEAR(row["density"].get<double>(), 1.224810119238344, 1e-12);
    EXPECT_NEAR(row["eddyDiffusivity"].get<double>(), 6.650134254143543, 1e-12);
}

TEST(ProfileCommand, UnstableClassAAtFiftyMetres) {
    const nlohmann::ordered_json json = profileJson({"--stability", "A", "--heights", "50"});
    EXPECT_NEAR(json["inverseObukhovLength"].get<double>(), -0.1220690300077079, 1e-15);
    EXPECT_NEAR(json["frictionVelocity"].get<double>(), 0.5053696968198479, 1e-12);
    EXPECT_NEAR(json["surfaceTemperature"].get<double>(), 329.6672171260103, 1e-9);
    EXPECT_NEAR(json["temperatureScale"].get<double>(), -2.9944076920800704, 1e-11);
    EXPECT_EQ(json["boundaryLayerHeight"], 2500.0);
    EXPECT_NEAR(json["heights"][0]["windSpeed"].get<double>(), 5.918433849774423, 1e-11);
    EXPECT_NEAR(json["heights"][0]["temperature"].get<double>(), 285.85896944258, 1e-9);
    EXPECT_NEAR(json["heights"][0]["density"].get<double>(), 1.2346264192679843, 1e-12);
}

TEST(ProfileCommand, StableClassFAtFiftyMetres) {
    const nlohmann::ordered_json json = profileJson({"--stability", "F", "--heights", "50"});
    EXPECT_NEAR(json["inverseObukhovLength"].get<double>(), 0.0730057574771708, 1e-15);
    EXPECT_NEAR(json["frictionVelocity"].get<double>(), 0.21869182574913823, 1e-12);
    EXPECT_NEAR(json["surfaceTemperature"].get<double>(), 279.9844404030987, 1e-9);
    EXPECT_NEAR(json["temperatureScale"].get<double>(), 0.28481797148002214, 1e-12);
    EXPECT_EQ(json["boundaryLayerHeight"], 200.0);
    EXPECT_NEAR(json["heights"][0]["windSpeed"].get<double>(), 10.600857409296005, 1e-10);
    EXPECT_NEAR(json["heights"][0]["temperature"].get<double>(), 300.62870563037836, 1e-9);
}

TEST(ProfileCommand, EveryOptionReachesTheProfile) {
    const nlohmann::ordered_json json =
        profileJson({"--stability", "d", "--roughness", "0.5", "--wind-speed", "3", "--wind-height", "20",
                     "--wind-bearing", "0", "--temperature", "300", "--pressure", "90000",
                     "--molecular-weight", "0.03", "--heights", "20"});
    EXPECT_EQ(json["boundaryLayerHeight"], 500.0);
    EXPECT_NEAR(json["frictionVelocity"].get<double>(), 0.28463928221590756, 1e-15); // 0.35 * 3 / ln 40
    const auto &row = json["heights"][0];
    EXPECT_EQ(row["windX"], 0.0);
    EXPECT_NEAR(row["windY"].get<double>(), 3.0, 1e-12);
    EXPECT_EQ(row["temperature"], 300.0);
    EXPECT_NEAR(row["density"].get<double>(), 1.0824671591491328, 1e-14); // 90000 * 0.03 / (300 * 8.31434)
}

TEST(ProfileCommand, NonFiniteNumbersAreNullAndTheJsonStaysValid) {
    const CommandResult result = profile({"--roughness", "0", "--heights", "10", "--json"});
    ASSERT_EQ(result.exitStatus, 0);
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(result.out);
    EXPECT_EQ(json["frictionVelocity"], 0.0);
    EXPECT_TRUE(json["surfaceTemperature"].is_null());
    EXPECT_TRUE(json["heights"][0]["windSpeed"].is_null());
    EXPECT_TRUE(json["heights"][0]["z"].is_number());
}

TEST(ProfileCommand, TableShowsUnitsAndRoundedFigures) {
    const CommandResult result = profile({"--stability", "A", "--heights", "50"});
    ASSERT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
    for (const char *heading : {"z [m]", "wind speed [m/s]", "wind x [m/s]", "wind y [m/s]",
                                "temperature [K]", "density [kg/m3]", "eddy diffusivity [m2/s]"}) {
        EXPECT_NE(result.out.find(heading), std::string::npos) << heading;
    }
    EXPECT_NE(result.out.find("0.50537  m/s"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("329.667  K"), std::string::npos);
    EXPECT_NE(result.out.find("2500  m"), std::string::npos);
    EXPECT_NE(result.out.find("5.91843"), std::string::npos);
    EXPECT_NE(result.out.find("285.859"), std::string::npos);
}

TEST(ProfileCommand, HelpSaysHowNonFiniteNumbersAreWritten) {
    const CommandResult result = profile({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.out.find("null"), std::string::npos);
    EXPECT_NE(result.out.find("--heights"), std::string::npos);
}

TEST(ProfileCommand, UnusableCommandLinesGiveOneLineAndStatusTwo) {
    expectUsageError({"--wind-speed", "abc", "--heights", "10"},
                     "ostreljet: error: --wind-speed: 'abc' is not a number");
    expectUsageError({"--temperature", "288K", "--heights", "10"},
                     "ostreljet: error: --temperature: '288K' is not a number");
    expectUsageError({"--heights", "10,5x"}, "ostreljet: error: --heights: '5x' is not a number");
    expectUsageError({"--stability", "G", "--heights", "10"},
                     "ostreljet: error: --stability: 'G' is not a stability class (A to F)");
    expectUsageError({"--stability", "AB", "--heights", "10"},
                     "ostreljet: error: --stability: 'AB' is not a stability class (A to F)");
    expectUsageError({}, "ostreljet: error: --heights is required");
    expectUsageError({"--json"}, "ostreljet: error: --heights is required");
}

TEST(ProfileCommand, UnknownOptionsAndMissingSubcommandAreUsageErrors) {
    const CommandResult unknown = profile({"--bogus", "--heights", "10"});
    EXPECT_EQ(unknown.exitStatus, 2);
    EXPECT_EQ(unknown.out, "");
    EXPECT_NE(unknown.err.find("--bogus"), std::string::npos);
    EXPECT_EQ(unknown.err.find('\n'), unknown.err.size() - 1);

    const CommandResult none = runCommand(OSTRELJET_CLI_PATH, {});
    EXPECT_EQ(none.exitStatus, 2);
    EXPECT_EQ(none.err.rfind("ostreljet: error: ", 0), 0u);
    EXPECT_EQ(none.err.find('\n'), none.err.size() - 1);
}
