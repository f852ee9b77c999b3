#include "CommandRunner.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

using ostreljet::testsupport::runCommand;
namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path &path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<nlohmann::json> readLines(const fs::path &path) {
    std::vector<nlohmann::json> lines;
    std::istringstream in(readFile(path));
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
}

class BatchCommand : public ::testing::Test {
protected:
    void SetUp() override {
        folder = fs::temp_directory_path() / ("ostreljet-batch-" + std::to_string(::getpid()));
        fs::create_directories(folder);
        const std::string vent = readFile(fs::path(OSTRELJET_EXAMPLES_DIR) / "vertical_buoyant_vent.json");
        // Ordered, so that the sweep's keys keep the order written here.
        nlohmann::ordered_json base = nlohmann::ordered_json::parse(vent);
        std::ofstream in(folder / "in.jsonl");
        in << base.dump() << "\n\n";
        in << nlohmann::ordered_json{{"base", base},
                                     {"vary",
                                      {{"referenceWindSpeed", {2, 5, 10}},
                                       {"pasquillStability", {"B", "D", "F"}}}}}
                  .dump()
           << "\n";
        in << "{not json\n";
        in << R"({"stackHeigt": 3})"
           << "\n";
        base["orificeDiameter"] = 0.0;
        in << base.dump() << "\n";
    }
    void TearDown() override { fs::remove_all(folder); }

    fs::path folder;
};

} // namespace

TEST_F(BatchCommand, SweepsExpandAndFailingLinesDoNotStopTheBatch) {
    const auto result =
        runCommand(OSTRELJET_CLI_PATH, {"batch", (folder / "in.jsonl").string(), "-o",
                                        (folder / "out.jsonl").string(), "--levels", "0.1,0.05"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const std::vector<nlohmann::json> lines = readLines(folder / "out.jsonl");
    // One plain line, a 3 x 3 sweep, two bad lines and a line that fails validation (blank lines skipped).
    ASSERT_EQ(lines.size(), 1u + 9u + 1u + 1u + 1u);
    EXPECT_EQ(lines[0]["line"], 1);
    EXPECT_EQ(lines[0]["ok"], true);
    EXPECT_EQ(lines[0]["inputs"]["pasquillStability"], 3);
    EXPECT_EQ(lines[0]["messages"].back().get<std::string>().rfind("Stopping concentration reached at ", 0),
              0u);
    EXPECT_GT(lines[0]["steps"].get<int>(), 2);
    EXPECT_EQ(lines[0]["last"]["centrelineConcentration"].get<double>() < 0.0101, true);
    EXPECT_GE(lines[0]["greatestHeight"].get<double>(), 20.0);
    // The centreline falls below 10 % before 5 %, both downwind of the stack.
    const auto &levels = lines[0]["levels"];
    ASSERT_EQ(levels.size(), 2u);
    EXPECT_EQ(levels[0]["level"], 0.1);
    EXPECT_LT(levels[0]["arclength"].get<double>(), levels[1]["arclength"].get<double>());
    EXPECT_GT(levels[0]["downwindDistance"].get<double>(), 0.0);

    // The sweep: the last key varies fastest, every line names its source line and position.
    const double speeds[] = {2, 2, 2, 5, 5, 5, 10, 10, 10};
    const int classes[] = {1, 3, 5, 1, 3, 5, 1, 3, 5};
    for (int i = 0; i < 9; ++i) {
        const nlohmann::json &run = lines[1 + i];
        EXPECT_EQ(run["line"], 3);
        EXPECT_EQ(run["index"], i);
        EXPECT_EQ(run["inputs"]["referenceWindSpeed"], speeds[i]);
        EXPECT_EQ(run["inputs"]["pasquillStability"], classes[i]);
        EXPECT_EQ(run["ok"], true);
    }
    EXPECT_EQ(lines[10]["ok"], false);
    EXPECT_EQ(lines[10]["error"].get<std::string>().rfind("line 4:1:3: not valid JSON", 0), 0u) << lines[10];
    EXPECT_EQ(lines[11]["error"], "line 5: unknown key \"stackHeigt\"");
    EXPECT_EQ(lines[12]["ok"], false);
    EXPECT_EQ(lines[12]["messages"][0], "The orifice diameter should lie between 0 and 100m.");
    EXPECT_EQ(lines[12]["steps"], 0);
}

TEST_F(BatchCommand, ParallelResultsEqualSerialOnes) {
    const auto serial = runCommand(OSTRELJET_CLI_PATH, {"batch", (folder / "in.jsonl").string(), "-o",
                                                        (folder / "serial.jsonl").string(), "--jobs", "1"});
    const auto parallel =
        runCommand(OSTRELJET_CLI_PATH, {"batch", (folder / "in.jsonl").string(), "-o",
                                        (folder / "parallel.jsonl").string(), "--jobs", "4"});
    ASSERT_EQ(serial.exitStatus, 0) << serial.err;
    ASSERT_EQ(parallel.exitStatus, 0) << parallel.err;
    EXPECT_EQ(readFile(folder / "serial.jsonl"), readFile(folder / "parallel.jsonl"));
}

TEST_F(BatchCommand, BadOptionsAreRefusedWithoutOutput) {
    auto result = runCommand(OSTRELJET_CLI_PATH, {"batch", (folder / "in.jsonl").string(), "-o",
                                                  (folder / "out.jsonl").string(), "--levels", "0.1,x"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.err, "ostreljet: error: --levels: 'x' is not a positive number in '0.1,x'\n");
    result = runCommand(OSTRELJET_CLI_PATH, {"batch", (folder / "missing.jsonl").string(), "-o",
                                             (folder / "out.jsonl").string()});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_NE(result.err.find("missing.jsonl"), std::string::npos);
    result = runCommand(OSTRELJET_CLI_PATH, {"batch", (folder / "in.jsonl").string(), "-o",
                                             (folder / "no/such/out.jsonl").string()});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_FALSE(fs::exists(folder / "out.jsonl"));
}
