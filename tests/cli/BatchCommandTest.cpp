#include "cli/CliTestSupport.hpp"

#include <chrono>

using namespace ostreljet::testsupport;

namespace {

// A batch of a plain line, a blank line, a 3 x 3 sweep, a line that is not JSON, one with an unknown key
// and one that fails validation.
class BatchCommand : public ::testing::Test {
protected:
    void SetUp() override {
        // Ordered, so that the sweep's keys keep the order written here.
        nlohmann::ordered_json base =
            nlohmann::ordered_json::parse(readText(example("vertical_buoyant_vent.json")));
        const nlohmann::ordered_json sweep = {
            {"base", base},
            {"vary", {{"referenceWindSpeed", {2, 5, 10}}, {"pasquillStability", {"B", "D", "F"}}}}};
        std::string text = base.dump() + "\n\n" + sweep.dump() + "\n{not json\n{\"stackHeigt\": 3}\n";
        base["orificeDiameter"] = 0.0;
        input = folder.write("in.jsonl", text + base.dump() + "\n");
    }

    CommandResult batch(const std::string &output, std::vector<std::string> options) {
        options.insert(options.begin(), {"batch", input, "-o", folder.file(output)});
        return cli(options);
    }

    TemporaryFolder folder;
    std::string input;
};

} // namespace

TEST_F(BatchCommand, SweepsExpandAndFailingLinesDoNotStopTheBatch) {
    // Every line gives its result; the two that fail make the status 1 and are named.
    const CommandResult result = batch("out.jsonl", {"--levels", "0.1,0.05"});
    ASSERT_EQ(result.exitStatus, 1) << result.err;
    EXPECT_NE(result.err.find("2 of 13 results are errors (lines 4, 5)"), std::string::npos) << result.err;
    std::vector<nlohmann::json> lines;
    for (const std::string &line : linesOf(readText(folder.file("out.jsonl")))) {
        lines.push_back(nlohmann::json::parse(line));
    }
    // One plain line, a 3 x 3 sweep, two bad lines and a line that fails validation (blank lines skipped).
    ASSERT_EQ(lines.size(), 1u + 9u + 1u + 1u + 1u);
    EXPECT_EQ(lines[0]["line"], 1);
    EXPECT_EQ(lines[0]["ok"], true);
    EXPECT_EQ(lines[0]["inputs"]["pasquillStability"], "D");
    EXPECT_EQ(lines[0]["status"], "ok");
    EXPECT_EQ(
        lines[0]["messages"].back()["text"].get<std::string>().rfind("Stopping concentration reached at ", 0),
        0u);
    EXPECT_EQ(lines[0]["messages"].back()["severity"], "information");
    EXPECT_GT(lines[0]["steps"].get<int>(), 2);
    EXPECT_LT(lines[0]["last"]["centrelineConcentration"].get<double>(), 0.0101);
    EXPECT_GE(lines[0]["summary"]["greatestCentrelineHeight"]["z"].get<double>(), 20.0);
    EXPECT_EQ(lines[0]["budgetSpent"], false);
    // The far field as `run --json` gives it, without its series.
    ASSERT_TRUE(lines[0]["farField"].is_object()) << lines[0];
    EXPECT_FALSE(lines[0]["farField"].contains("series"));
    EXPECT_EQ(lines[0]["farField"]["levels"].size(), 2u);
    EXPECT_EQ(lines[0]["farField"]["end"]["reason"], "the far-field distance");
    EXPECT_EQ(lines[10]["farField"], nullptr); // a line that is not JSON runs nothing
    // The centreline falls below 10 % before 5 %, both downwind of the stack.
    const auto &levels = lines[0]["summary"]["levels"];
    ASSERT_EQ(levels.size(), 2u);
    EXPECT_EQ(levels[0]["value"], 0.1);
    EXPECT_LT(levels[0]["centrelineArcLength"].get<double>(), levels[1]["centrelineArcLength"].get<double>());
    EXPECT_GT(levels[0]["centrelineDownwindDistance"].get<double>(), 0.0);
    // The sweep: the last key varies fastest, every line names its source line and position.
    const double speeds[] = {2, 2, 2, 5, 5, 5, 10, 10, 10};
    const char *classes[] = {"B", "D", "F", "B", "D", "F", "B", "D", "F"};
    // Pasquill's key gives neither B nor F at 5 m/s or more, and at 10 m/s the exit speed is less than six
    // times the wind's: those runs are warned about.
    const char *statuses[] = {"ok", "ok", "ok", "warning", "ok", "warning", "warning", "warning", "refused"};
    for (int i = 0; i < 9; ++i) {
        const nlohmann::json &run = lines[1 + i];
        EXPECT_EQ(run["line"], 3);
        EXPECT_EQ(run["index"], i);
        EXPECT_EQ(run["inputs"]["referenceWindSpeed"], speeds[i]);
        EXPECT_EQ(run["inputs"]["pasquillStability"], classes[i]);
        // 10 m/s in class F is too fast a wind for the vent's exit velocity: the source checks refuse it.
        const bool refused = i == 8;
        EXPECT_EQ(run["ok"], !refused) << run;
        EXPECT_EQ(run["status"], statuses[i]) << run;
    }
    EXPECT_EQ(lines[10]["ok"], false);
    EXPECT_EQ(lines[10]["error"].get<std::string>().rfind("line 4:1:3: not valid JSON", 0), 0u) << lines[10];
    EXPECT_EQ(lines[11]["error"], "line 5: unknown key \"stackHeigt\"");
    EXPECT_EQ(lines[12]["ok"], false);
    EXPECT_EQ(lines[12]["status"], "invalid");
    EXPECT_EQ(lines[12]["messages"][0]["text"].get<std::string>().rfind(
                  "The orifice diameter should lie between 0 and 100m. (orificeDiameter = ", 0),
              0u);
    EXPECT_EQ(lines[12]["steps"], 0);
}

TEST_F(BatchCommand, ParallelResultsEqualSerialOnes) {
    ASSERT_EQ(batch("serial.jsonl", {"--jobs", "1"}).exitStatus, 1);
    ASSERT_EQ(batch("parallel.jsonl", {"--jobs", "4"}).exitStatus, 1);
    EXPECT_EQ(readText(folder.file("serial.jsonl")), readText(folder.file("parallel.jsonl")));
}

TEST_F(BatchCommand, BadOptionsAreRefusedWithoutOutput) {
    expectUsageError(batch("out.jsonl", {"--levels", "0.1,x"}),
                     "--levels: level \"x\": expected a number with an optional unit (%, ppm, mg/m3, vol, "
                     "mass) or one of LFL, UFL, LFL/2, IDLH");
    EXPECT_EQ(batch("no/such/out.jsonl", {}).exitStatus, 2);
    EXPECT_EQ(folder.entries(), std::set<std::string>{"in.jsonl"});
}

TEST(BatchLimits, ARunThatReachesItsTimeLimitIsRecorded) {
    // The release of the slow case in the reliability report starts at ground level pointing downward,
    // which the scenario reader refuses at once; a time limit far below a run's cost stands in for it.
    TemporaryFolder folder;
    const std::string input = folder.write(
        "in.jsonl",
        nlohmann::ordered_json::parse(readText(example("hot_stack_unstable.json"))).dump() + "\n");
    const auto start = std::chrono::steady_clock::now();
    const CommandResult limited =
        cli({"batch", input, "-o", folder.file("limited.jsonl"), "--max-seconds", "1e-6", "--jobs", "1"});
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 5.0);
    ASSERT_EQ(limited.exitStatus, 0) << limited.err;
    const nlohmann::json result = nlohmann::json::parse(readText(folder.file("limited.jsonl")));
    EXPECT_EQ(result["budgetSpent"], true);
    // The run ended at its limit, and its summary, under the same limit, did not start its searches.
    const std::size_t count = result["messages"].size();
    ASSERT_GE(count, 2u);
    EXPECT_EQ(result["messages"][count - 2]["text"],
              "The run was ended at 0.0 m: its time limit of 1e-06 s was reached.");
    EXPECT_EQ(result["messages"].back()["text"], "The summary was ended: the run's time limit of 1e-06 s was "
                                                 "reached; the answers it had not reached are not computed.");

    EXPECT_NE(cli({"batch", input, "-o", folder.file("bad.jsonl"), "--max-seconds", "0"}).exitStatus, 0);
}

TEST(BatchLimits, AWorkerThreadThatCannotStartEndsTheBatchWithStatusTwo) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer reserves more address space than the limit leaves";
#endif
    // 500 runs on as many workers in 400 MB of address space: the stacks run out after some dozens.
    TemporaryFolder folder;
    nlohmann::ordered_json line;
    line["base"] = nlohmann::ordered_json::parse(readText(example("vertical_buoyant_vent.json")));
    line["vary"]["referenceWindSpeed"] = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    line["vary"]["massFlowrate"] = {0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5};
    line["vary"]["stackHeight"] = {10, 15, 20, 25, 30};
    const std::string input = folder.write("in.jsonl", line.dump() + "\n");
    const CommandResult result =
        cli({"batch", input, "-o", folder.file("out.jsonl"), "--jobs", "4096"}, 400u << 20);
    EXPECT_EQ(result.exitStatus, 2) << result.err;
    EXPECT_EQ(result.err.rfind("ostreljet: error: cannot start worker thread ", 0), 0u) << result.err;
    EXPECT_NE(result.err.find(" of 500: Resource temporarily unavailable"), std::string::npos) << result.err;
    EXPECT_EQ(folder.entries(), std::set<std::string>{"in.jsonl"});
}
