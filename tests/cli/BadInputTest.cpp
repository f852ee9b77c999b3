// Every subcommand that reads a scenario or writes a file refuses bad input with status 2 and one line
// that names what is wrong, and leaves no file behind.
#include "cli/CommandRunner.hpp"
#include "cli/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

using ostreljet::testsupport::CommandResult;
using ostreljet::testsupport::readText;
using ostreljet::testsupport::runCommand;
using ostreljet::testsupport::TemporaryFolder;

namespace {

const std::string kVent = std::string(OSTRELJET_EXAMPLES_DIR) + "/vertical_buoyant_vent.json";

// The arguments of each subcommand around its scenario, with any output going to `output`.
std::vector<std::vector<std::string>> commandsReading(const std::string &scenario,
                                                      const std::string &output) {
    return {{"run", scenario},
            {"run", scenario, "--csv", output},
            {"concentration", scenario, "--at", "10,0,20"},
            {"grid", scenario, "--from", "0,0,0", "--to", "10,10,10", "--points", "2,2,2", "--csv", output}};
}

std::string joined(const std::vector<std::string> &arguments) {
    std::string text;
    for (const std::string &argument : arguments) {
        text += " " + argument;
    }
    return text;
}

// Status 2, nothing on stdout, and one line on stderr that contains every one of `parts`.
void expectRefusal(const std::vector<std::string> &arguments, const std::vector<std::string> &parts) {
    SCOPED_TRACE(joined(arguments));
    const CommandResult result = runCommand(OSTRELJET_CLI_PATH, arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    ASSERT_FALSE(result.err.empty());
    EXPECT_EQ(result.err.rfind("ostreljet: error: ", 0), 0u) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << "more than one line: " << result.err;
    for (const std::string &part : parts) {
        EXPECT_NE(result.err.find(part), std::string::npos) << "'" << part << "' not in: " << result.err;
    }
}

} // namespace

TEST(BadInput, UnreadableScenariosAreRefusedByEverySubcommand) {
    TemporaryFolder folder;
    const std::string output = folder.file("out.csv");
    struct Case {
        std::string path;
        std::vector<std::string> parts;
    };
    const std::vector<Case> cases = {
        {folder.file("missing.json"), {"missing.json: no such file"}},
        {folder.file(""), {"is a directory"}},
        {folder.write("empty.json", ""), {"empty.json: empty file"}},
        {folder.write("blank.json", " \n\t\r\n"), {"blank.json: empty file"}},
        // The object is 19 characters; the stray text starts in column 21.
        {folder.write("trailing.json", "{\"stackHeight\": 10} extra"),
         {"trailing.json:1:21: not valid JSON"}},
        {folder.write("beyond.json", "{\"stackHeight\": 1e400}"), {"beyond.json", "1e400"}},
        {folder.write("negative_beyond.json", "{\"massFlowrate\": -2e308}"),
         {"negative_beyond.json", "-2e308"}},
        {folder.write("array.json", "[1, 2]"), {"array.json: expected a JSON object", "array"}},
        {folder.write("null.json", "{\"stackHeight\": null}"), {"\"stackHeight\" must be a number", "null"}},
        {folder.write("nested.json", "{\"stackHeight\": {\"value\": 1}}"),
         {"\"stackHeight\" must be a number"}},
        {folder.write("class.json", "{\"pasquillStability\": \"G\"}"),
         {"\"pasquillStability\" must be one of"}},
        {folder.write("binary.json", std::string("\x00\xff\xfe{", 4)), {"binary.json:1:1: not valid JSON"}},
    };
    const std::size_t inputs = folder.entries().size();
    for (const Case &c : cases) {
        for (const std::vector<std::string> &arguments : commandsReading(c.path, output)) {
            expectRefusal(arguments, c.parts);
        }
    }
    EXPECT_EQ(folder.entries().size(), inputs) << "an output file was left behind";
}

TEST(BadInput, OutputPathsThatCannotBeWrittenAreRefused) {
    TemporaryFolder folder;
    const std::string plainFile = folder.write("plain.txt", "not a folder");
    const std::string subfolder = folder.file("sub");
    std::filesystem::create_directory(subfolder);
    const std::vector<std::string> targets = {folder.file("absent/out.csv"), plainFile + "/out.csv",
                                              subfolder};
    for (const std::string &target : targets) {
        expectRefusal({"run", kVent, "--csv", target}, {"cannot write '" + target + "'"});
        expectRefusal(
            {"grid", kVent, "--from", "0,0,0", "--to", "1,1,1", "--points", "1,1,1", "--csv", target},
            {"cannot write '" + target + "'"});
    }
    expectRefusal({"run", kVent, "--csv", subfolder}, {"it is a directory"});
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"plain.txt", "sub"}));
    EXPECT_TRUE(std::filesystem::is_empty(subfolder));
    EXPECT_EQ(readText(plainFile), "not a folder");
}

TEST(BadInput, NumbersBeyondTheRangeOfADoubleAreRefusedOnTheCommandLine) {
    TemporaryFolder folder;
    const std::string csv = folder.file("grid.csv");
    expectRefusal({"grid", kVent, "--from", "0,0,1e400", "--to", "1,1,1", "--points", "2,2,2", "--csv", csv},
                  {"--from", "1e400"});
    expectRefusal({"grid", kVent, "--from", "0,0,0", "--to", "-1e309,1,1", "--points", "2,2,2", "--csv", csv},
                  {"--to", "-1e309"});
    expectRefusal({"concentration", kVent, "--at", "1e999,0,0"}, {"1e999"});
    EXPECT_TRUE(folder.entries().empty());
}

TEST(BadInput, GridsAreRefusedBeforeTheScenarioIsEvenRead) {
    // The count checks come first, so a grid that cannot be held is refused whatever the scenario.
    TemporaryFolder folder;
    const std::string csv = folder.file("grid.csv");
    // 65536^3 = 2^48 points of 8 bytes: 2.25e15 bytes, shown as 2.3 PB.
    expectRefusal({"grid", folder.file("missing.json"), "--from", "0,0,0", "--to", "1,1,1", "--points",
                   "65536,65536,65536", "--csv", csv},
                  {"65536 x 65536 x 65536", "would take 2.3 PB of memory"});
    // (2^31 - 1)^2 fits in 64 bits; four times that is beyond 2^63.
    expectRefusal({"grid", kVent, "--from", "0,0,0", "--to", "1,1,1", "--points", "2147483647,2147483647,4",
                   "--csv", csv},
                  {"2147483647 x 2147483647 x 4", "more points than can be counted"});
    EXPECT_TRUE(folder.entries().empty());
}
