#include "cli/CommandRunner.hpp"
#include "cli/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using ostreljet::testsupport::CommandResult;
using ostreljet::testsupport::readText;
using ostreljet::testsupport::runCommand;
using ostreljet::testsupport::TemporaryFolder;

// The hot stack example releases pure gas at 450 K from 60 m, so its first output step lies at the
// orifice with concentration 1 and the source temperature.

namespace {

const std::string kHotStack = std::string(OSTRELJET_EXAMPLES_DIR) + "/hot_stack_unstable.json";
const std::string kInvalidScenario = "{\"stackHeight\": -5.0}\n";
const std::string kStackHeightMessage = "The stack height should lie between 0 and 1000m.";

CommandResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "run");
    return runCommand(OSTRELJET_CLI_PATH, arguments);
}

std::vector<std::string> lines(const std::string &text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        result.push_back(line);
    }
    return result;
}

// Significant digits of a number as printed: the digits of its mantissa without leading zeros.
int significantDigits(const std::string &number) {
    std::string mantissa = number.substr(0, number.find_first_of("eE"));
    std::string digits;
    for (const char c : mantissa) {
        if (c >= '0' && c <= '9') {
            digits += c;
        }
    }
    const std::size_t first = digits.find_first_not_of('0');
    return first == std::string::npos ? 0 : static_cast<int>(digits.size() - first);
}

void expectUsageErrorMentioning(const CommandResult &result, const std::string &text) {
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("ostreljet: error: ", 0), 0u) << result.err;
    EXPECT_NE(result.err.find(text), std::string::npos) << result.err;
}

} // namespace

TEST(RunCommand, TableHasHeadingsWithUnitsThenOneRowPerStepThenTheMessages) {
    const CommandResult table = run({kHotStack});
    ASSERT_EQ(table.exitStatus, 0) << table.err;
    const CommandResult json = run({kHotStack, "--json"});
    ASSERT_EQ(json.exitStatus, 0) << json.err;
    const std::size_t steps = nlohmann::json::parse(json.out)["steps"]["x"].size();

    const std::vector<std::string> out = lines(table.out);
    ASSERT_GT(out.size(), steps + 3);
    const std::vector<std::string> headings = {"arc length [m]",  "x [m]",         "y [m]",
                                               "z [m]",           "radius [m]",    "concentration [-]",
                                               "temperature [K]", "velocity [m/s]"};
    std::size_t at = 0;
    for (const std::string &heading : headings) {
        const std::size_t found = out[0].find(heading, at);
        ASSERT_NE(found, std::string::npos) << heading << " missing or out of order in: " << out[0];
        EXPECT_TRUE(found == 0 || out[0][found - 1] == ' ') << heading << " runs into its neighbour";
        at = found + heading.size();
    }
    // The first row is the orifice: arc length 0, x 0, y 0, z 60, radius, concentration 1, 450 K.
    std::istringstream first(out[1]);
    std::vector<double> values(8);
    for (double &value : values) {
        first >> value;
    }
    EXPECT_EQ(values[0], 0.0);
    EXPECT_EQ(values[3], 60.0);
    EXPECT_EQ(values[5], 1.0);
    EXPECT_EQ(values[6], 450.0);

    EXPECT_EQ(out[steps + 1], "");
    EXPECT_EQ(out[steps + 2], std::to_string(steps) + " output steps; messages:");
    EXPECT_EQ(out[steps + 3].rfind("  Stopping concentration reached at ", 0), 0u) << out[steps + 3];
    EXPECT_EQ(out.back(), out[steps + 3]);
}

TEST(RunCommand, JsonHasTheDocumentedShapeWithSeventeenDigitNumbers) {
    const CommandResult result = run({kHotStack, "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(result.out);
    std::vector<std::string> keys;
    for (const auto &item : json.items()) {
        keys.push_back(item.key());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"ok", "version", "messages", "steps"}));
    EXPECT_EQ(json["ok"], true);
    EXPECT_EQ(json["version"], "1.1.0.0");
    ASSERT_TRUE(json["messages"].is_array());
    ASSERT_EQ(json["messages"].size(), 1u);
    EXPECT_EQ(json["messages"][0].get<std::string>().rfind("Stopping concentration reached at ", 0), 0u);

    std::vector<std::string> seriesNames;
    for (const auto &item : json["steps"].items()) {
        seriesNames.push_back(item.key());
        ASSERT_TRUE(item.value().is_array());
        EXPECT_EQ(item.value().size(), json["steps"]["x"].size()) << item.key();
    }
    EXPECT_EQ(seriesNames, (std::vector<std::string>{"arclength", "x", "y", "z", "profileRadius",
                                                     "centrelineConcentration", "centrelineTemperature",
                                                     "centrelineVelocity"}));
    EXPECT_GT(json["steps"]["x"].size(), 2u);
    EXPECT_EQ(json["steps"]["arclength"][0], 0.0);
    EXPECT_EQ(json["steps"]["z"][0], 60.0);
    EXPECT_EQ(json["steps"]["centrelineConcentration"][0], 1.0);
    EXPECT_EQ(json["steps"]["centrelineTemperature"][0], 450.0);

    // %.17g never prints more than 17 significant digits, and a typical value needs all of them.
    const std::regex number(R"([-+]?[0-9]+(\.[0-9]+)?([eE][-+]?[0-9]+)?)");
    int longest = 0;
    const std::string steps = result.out.substr(result.out.find("\"steps\""));
    for (auto it = std::sregex_iterator(steps.begin(), steps.end(), number); it != std::sregex_iterator();
         ++it) {
        const int digits = significantDigits(it->str());
        EXPECT_LE(digits, 17) << it->str();
        longest = std::max(longest, digits);
    }
    EXPECT_EQ(longest, 17);
    EXPECT_EQ(result.out.back(), '\n');
}

TEST(RunCommand, CsvHasAHeaderAndOneRowPerStepEqualToTheJson) {
    TemporaryFolder folder;
    const std::string csv = folder.file("steps.csv");
    const CommandResult result = run({kHotStack, "--csv", csv});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out, "");
    const nlohmann::json json = nlohmann::json::parse(run({kHotStack, "--json"}).out);

    const std::vector<std::string> rows = lines(readText(csv));
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0], "arclength,x,y,z,profileRadius,centrelineConcentration,centrelineTemperature,"
                       "centrelineVelocity");
    const std::size_t steps = json["steps"]["x"].size();
    ASSERT_EQ(rows.size(), steps + 1);
    const char *names[] = {"arclength",
                           "x",
                           "y",
                           "z",
                           "profileRadius",
                           "centrelineConcentration",
                           "centrelineTemperature",
                           "centrelineVelocity"};
    for (std::size_t k = 0; k < steps; ++k) {
        std::istringstream row(rows[k + 1]);
        std::string cell;
        for (const char *name : names) {
            ASSERT_TRUE(std::getline(row, cell, ',')) << "row " << k;
            EXPECT_EQ(std::strtod(cell.c_str(), nullptr), json["steps"][name][k].get<double>())
                << name << " at step " << k;
        }
        EXPECT_FALSE(std::getline(row, cell, ',')) << "row " << k << " has more than eight cells";
    }
    EXPECT_EQ(folder.entries(), std::set<std::string>{"steps.csv"}) << "a temporary file was left behind";
}

TEST(RunCommand, ExitStatusesAndQuiet) {
    TemporaryFolder folder;
    const CommandResult quiet = run({kHotStack, "--quiet"});
    EXPECT_EQ(quiet.exitStatus, 0);
    EXPECT_EQ(quiet.out, "");
    EXPECT_EQ(quiet.err, "");

    const std::string invalid = folder.write("invalid.json", kInvalidScenario);
    const CommandResult failed = run({invalid});
    EXPECT_EQ(failed.exitStatus, 1);
    EXPECT_EQ(failed.out, "");
    EXPECT_EQ(failed.err, "ostreljet: " + kStackHeightMessage + "\n");

    const CommandResult failedJson = run({invalid, "--json"});
    EXPECT_EQ(failedJson.exitStatus, 1);
    const nlohmann::json json = nlohmann::json::parse(failedJson.out);
    EXPECT_EQ(json["ok"], false);
    EXPECT_EQ(json["messages"], nlohmann::json::array({kStackHeightMessage}));
    EXPECT_TRUE(json["steps"]["x"].empty());

    expectUsageErrorMentioning(run({kHotStack, "--json", "--csv", folder.file("x.csv")}), "excludes");
    expectUsageErrorMentioning(run({}), "scenario is required");
    expectUsageErrorMentioning(run({kHotStack, "--colour"}), "--colour");
}

TEST(RunCommand, CsvIsNotCreatedWhenValidationFails) {
    TemporaryFolder folder;
    const std::string invalid = folder.write("invalid.json", kInvalidScenario);
    const CommandResult result = run({invalid, "--csv", folder.file("steps.csv")});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "ostreljet: " + kStackHeightMessage + "\n");
    EXPECT_EQ(folder.entries(), std::set<std::string>{"invalid.json"});
}

TEST(RunCommand, CsvIntoAMissingFolderIsRefusedAndLeavesNothing) {
    TemporaryFolder folder;
    const std::string target = folder.file("absent/steps.csv");
    const CommandResult result = run({kHotStack, "--csv", target});
    expectUsageErrorMentioning(result, "cannot write '" + target + "': folder '" + folder.file("absent") +
                                           "' does not exist");
    EXPECT_TRUE(folder.entries().empty());
}

TEST(RunCommand, BadScenarioFilesAreNamedWithTheirFault) {
    TemporaryFolder folder;
    // An unknown key is named.
    expectUsageErrorMentioning(run({folder.write("unknown.json", "{\"stackHeight\": 5, \"colour\": 3}")}),
                               "unknown.json: unknown key \"colour\"");
    // Line 3 holds "  oops": the parser stops at its first letter, column 3.
    expectUsageErrorMentioning(run({folder.write("broken.json", "{\n  \"stackHeight\": 5,\n  oops\n}\n")}),
                               "broken.json:3:3: not valid JSON");
    // After the 18 characters of the object and a blank, the stray x is column 20.
    expectUsageErrorMentioning(run({folder.write("trailing.json", "{\"stackHeight\": 5} x\n")}),
                               "trailing.json:1:20: not valid JSON");
    expectUsageErrorMentioning(run({folder.write("empty.json", "")}), "empty.json: empty file");
    const CommandResult huge = run({folder.write("huge.json", "{\"stackHeight\": 1e400}")});
    expectUsageErrorMentioning(huge, "huge.json");
    EXPECT_NE(huge.err.find("1e400"), std::string::npos) << huge.err;
    expectUsageErrorMentioning(run({folder.write("text.json", "{\"stackHeight\": \"high\"}")}),
                               "\"stackHeight\" must be a number");
    expectUsageErrorMentioning(run({folder.file("missing.json")}), "missing.json: no such file");
    expectUsageErrorMentioning(run({folder.file("")}), "is a directory");
}
