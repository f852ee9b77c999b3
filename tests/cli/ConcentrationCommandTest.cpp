#include "cli/CommandRunner.hpp"
#include "cli/TemporaryFolder.hpp"

#include <fmt/core.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <string>
#include <vector>

using ostreljet::testsupport::CommandResult;
using ostreljet::testsupport::runCommand;
using ostreljet::testsupport::TemporaryFolder;

// The hot stack example releases pure gas upwards from (0, 0, 60): at the orifice the concentration is
// 1, and across the jet it follows (0.5 + 0.5 cos(pi r / R))^(1/1.35).

namespace {

const std::string kHotStack = std::string(OSTRELJET_EXAMPLES_DIR) + "/hot_stack_unstable.json";

CommandResult concentration(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "concentration");
    return runCommand(OSTRELJET_CLI_PATH, arguments);
}

nlohmann::ordered_json concentrationJson(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const CommandResult result = concentration(arguments);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return nlohmann::ordered_json::parse(result.out);
}

void expectUsageError(const std::vector<std::string> &arguments, const std::string &line) {
    const CommandResult result = concentration(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, line + "\n");
}

} // namespace

TEST(ConcentrationCommand, OrificeGivesOneAndFarPointsGiveZero) {
    const nlohmann::json json =
        concentrationJson({kHotStack, "--at", "0,0,60", "--at", "1000,500,0", "--at", "-5,0,60"});
    ASSERT_EQ(json["points"].size(), 3u);
    EXPECT_EQ(json["points"][0]["concentration"], 1.0);
    // Far beside the downwind line, and behind the source below the jet's first radius.
    EXPECT_EQ(json["points"][1]["concentration"], 0.0);
    EXPECT_EQ(json["points"][2]["concentration"], 0.0);
}

TEST(ConcentrationCommand, HalfTheSourceRadiusAcrossTheJet) {
    const CommandResult run = runCommand(OSTRELJET_CLI_PATH, {"run", kHotStack, "--json"});
    ASSERT_EQ(run.exitStatus, 0);
    const double radius = nlohmann::json::parse(run.out)["steps"]["profileRadius"][0].get<double>();
    const std::string east = fmt::format("{:.17g},0,60", 0.5 * radius);
    const std::string north = fmt::format("0,{:.17g},60", 0.5 * radius);
    const nlohmann::json json = concentrationJson({kHotStack, "--at", east, "--at", north});
    const double expected = std::pow(0.5, 1.0 / 1.35); // 0.59843...
    EXPECT_NEAR(json["points"][0]["concentration"].get<double>(), expected, 1e-12);
    EXPECT_NEAR(json["points"][1]["concentration"].get<double>(), expected, 1e-12);
}

TEST(ConcentrationCommand, JsonHasTheDocumentedShape) {
    const CommandResult result = concentration({kHotStack, "--at", "0.1,0,60", "--at", "0,0,60", "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    // 0.1 is not exact in binary; with 17 significant digits it reads 0.10000000000000001.
    EXPECT_NE(result.out.find("{\"x\": 0.10000000000000001, \"y\": 0, \"z\": 60, \"concentration\": "),
              std::string::npos)
        << result.out;
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(result.out);
    std::vector<std::string> keys;
    for (const auto &item : json.items()) {
        keys.push_back(item.key());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"ok", "points", "messages"}));
    EXPECT_EQ(json["ok"], true);
    ASSERT_EQ(json["points"].size(), 2u);
    for (const auto &point : json["points"]) {
        std::vector<std::string> pointKeys;
        for (const auto &item : point.items()) {
            pointKeys.push_back(item.key());
            EXPECT_TRUE(item.value().is_number());
        }
        EXPECT_EQ(pointKeys, (std::vector<std::string>{"x", "y", "z", "concentration"}));
    }
    EXPECT_EQ(json["points"][1]["x"], 0.0);
    EXPECT_EQ(json["points"][1]["z"], 60.0);
    const double nearCentre = json["points"][0]["concentration"].get<double>();
    EXPECT_GT(nearCentre, 0.9);
    EXPECT_LT(nearCentre, 1.0);
    ASSERT_EQ(json["messages"].size(), 1u);
    EXPECT_EQ(json["messages"][0].get<std::string>().rfind("Stopping concentration reached at ", 0), 0u);
}

TEST(ConcentrationCommand, TableHasUnitsAndTheMessagesFollow) {
    const CommandResult result = concentration({kHotStack, "--at", "0,0,60", "--at", "1000,0,0"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const std::string expectedStart = fmt::format("{:>18}{:>18}{:>18}{:>18}\n{:>18}{:>18}{:>18}{:>18}\n"
                                                  "{:>18}{:>18}{:>18}{:>18}\n\n",
                                                  "x [m]", "y [m]", "z [m]", "concentration [-]", "0", "0",
                                                  "60", "1", "1000", "0", "0", "0");
    EXPECT_EQ(result.out.substr(0, expectedStart.size()), expectedStart);
    const std::string rest = result.out.substr(expectedStart.size());
    EXPECT_NE(rest.find(" output steps; messages:\n  Stopping concentration reached at "), std::string::npos)
        << rest;
}

TEST(ConcentrationCommand, BadPointsAndMissingOptionsAreUsageErrors) {
    expectUsageError({kHotStack, "--at", "1,2"},
                     "ostreljet: error: --at: expected three numbers X,Y,Z, not '1,2'");
    expectUsageError({kHotStack, "--at", "a,b,c"}, "ostreljet: error: --at: 'a' is not a number in 'a,b,c'");
    expectUsageError({kHotStack, "--at", "0,0,60", "--at", "1,2,3,4"},
                     "ostreljet: error: --at: expected three numbers X,Y,Z, not '1,2,3,4'");
    expectUsageError({kHotStack}, "ostreljet: error: --at is required");
    const CommandResult missing = concentration({"/nonexistent/scenario.json", "--at", "0,0,0"});
    EXPECT_EQ(missing.exitStatus, 2);
    EXPECT_NE(missing.err.find("no such file"), std::string::npos) << missing.err;
}

TEST(ConcentrationCommand, InvalidInputsEndWithStatusOne) {
    TemporaryFolder folder;
    const std::string scenario = folder.write("invalid.json", "{\"stackHeight\": 1000.5}");
    const CommandResult table = concentration({scenario, "--at", "0,0,0"});
    EXPECT_EQ(table.exitStatus, 1);
    EXPECT_EQ(table.out, "");
    EXPECT_EQ(table.err, "ostreljet: The stack height should lie between 0 and 1000m.\n");

    const CommandResult json = concentration({scenario, "--at", "0,0,0", "--json"});
    EXPECT_EQ(json.exitStatus, 1);
    const nlohmann::json parsed = nlohmann::json::parse(json.out);
    EXPECT_EQ(parsed["ok"], false);
    EXPECT_TRUE(parsed["points"].empty());
    EXPECT_EQ(parsed["messages"],
              nlohmann::json::array({"The stack height should lie between 0 and 1000m."}));
}
