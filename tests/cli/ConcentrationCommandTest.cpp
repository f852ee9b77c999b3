#include "cli/CliTestSupport.hpp"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

using namespace ostreljet::testsupport;

// The hot stack example releases pure gas upwards from (0, 0, 60): at the orifice the concentration is 1.

namespace {

const std::string kHotStack = example("hot_stack_unstable.json");

CommandResult grid(const std::string &scenario, const std::string &from, const std::string &to,
                   const std::string &points, const std::string &csv) {
    return cli({"grid", scenario, "--from", from, "--to", to, "--points", points, "--csv", csv});
}

// A signal that ends the tool while it writes a grid must leave neither half a file nor the temporary one.
class InterruptedWrite : public ::testing::TestWithParam<int> {};

TEST_P(InterruptedWrite, LeavesNoPartialOrTemporaryFile) {
    const int signalNumber = GetParam();
    TemporaryFolder folder;
    const std::string earlier = "x,y,z,concentration\n1,2,3,0\n";
    const std::string target = folder.write("grid.csv", earlier);
    const std::set<std::string> before = folder.entries();
    // Two million points far from the jet: quick to evaluate, some 120 MB of CSV to write.
    const pid_t child = startCli({"grid", kHotStack, "--from", "5000,5000,0", "--to", "6000,6000,100",
                                  "--points", "200,100,100", "--csv", target});
    // Wait for the temporary file to appear while the child still runs.
    bool appeared = false;
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!appeared && std::chrono::steady_clock::now() < deadline) {
        appeared = folder.entries() != before;
        ASSERT_NE(waitpid(child, &status, WNOHANG), child)
            << "the tool ended before its temporary file appeared";
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    ASSERT_TRUE(appeared);
    ASSERT_EQ(kill(child, signalNumber), 0);
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE((WIFSIGNALED(status) && WTERMSIG(status) == signalNumber) ||
                (WIFEXITED(status) && WEXITSTATUS(status) == 128 + signalNumber))
        << "status " << status;
    EXPECT_EQ(folder.entries(), before) << "a temporary file was left behind";
    EXPECT_EQ(readText(target), earlier);
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptedWrite, ::testing::Values(SIGINT, SIGTERM),
                         [](const ::testing::TestParamInfo<int> &info) {
                             return std::string(info.param == SIGINT ? "Interrupt" : "Terminate");
                         });

} // namespace

// The field's figures across the jet are worked in the jet tests; here the points reach it and come back
// in the documented JSON.
TEST(ConcentrationCommand, PointsInTheDocumentedJson) {
    const CommandResult result = cli({"concentration", kHotStack, "--json", "--at", "0.1,0,60", "--at",
                                      "0,0,60", "--at", "-1000,500,0", "--at", "30000,0,100"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.err, "");
    // 0.1 is not exact in binary; with 17 significant digits it reads 0.10000000000000001.
    EXPECT_NE(result.out.find("{\"x\": 0.10000000000000001, \"y\": 0, \"z\": 60, \"concentration\": "),
              std::string::npos)
        << result.out;
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(result.out);
    EXPECT_EQ(keysOf(json), (std::vector<std::string>{"ok", "status", "unit", "points", "messages"}));
    EXPECT_EQ(json["unit"], "vol");
    EXPECT_EQ(json["ok"], true);
    ASSERT_EQ(json["points"].size(), 4u);
    for (const auto &point : json["points"]) {
        EXPECT_EQ(keysOf(point), (std::vector<std::string>{"x", "y", "z", "concentration"}));
    }
    ASSERT_EQ(json["messages"].size(), 1u);
    EXPECT_EQ(json["messages"][0]["text"].get<std::string>().rfind("Stopping concentration reached at ", 0),
              0u);
    EXPECT_GT(json["points"][0]["concentration"].get<double>(), 0.9);
    EXPECT_LT(json["points"][0]["concentration"].get<double>(), 1.0);
    EXPECT_EQ(json["points"][1]["z"], 60.0);
    EXPECT_EQ(json["points"][1]["concentration"], 1.0);        // the orifice: pure source gas
    EXPECT_EQ(json["points"][2]["concentration"], 0.0);        // upwind of the stack: a computed 0
    EXPECT_TRUE(json["points"][3]["concentration"].is_null()); // beyond the far field's end
    // The table names where the modelled region ends: the far field's end, not the jet's.
    const CommandResult table = cli({"concentration", kHotStack, "--at", "9000,0,0", "--at", "30000,0,0"});
    ASSERT_EQ(table.exitStatus, 0) << table.err;
    EXPECT_NE(table.out.find(" output steps; not computed beyond 10000 m downwind (the far field's end)\n"),
              std::string::npos)
        << table.out;
    EXPECT_NE(table.out.find("not computed\n"), std::string::npos) << table.out;
}

TEST(ConcentrationCommand, UnusablePointsGiveStatusTwo) {
    expectUsageError(cli({"concentration", kHotStack, "--at", "1,2"}),
                     "--at: expected three numbers X,Y,Z, not '1,2'");
    expectUsageError(cli({"concentration", kHotStack, "--at", "a,b,c"}),
                     "--at: 'a' is not a number in 'a,b,c'");
    expectUsageError(cli({"concentration", kHotStack}), "--at is required");
    expectRefusal(cli({"concentration", kHotStack, "--at", "1e999,0,0"}), {"1e999"});
}

TEST(GridCommand, PointOrderAndTheAsymmetricAxes) {
    TemporaryFolder folder;
    const std::string csv = folder.file("grid.csv");
    const CommandResult result = grid(kHotStack, "0,0,0", "10,10,10", "3,3,2", csv);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.rfind(
                  "18 points (3 x 3 x 2) written to " + csv + ", concentrations in volume fraction\n", 0),
              0u)
        << result.out;
    const std::vector<std::string> lines = linesOf(readText(csv));
    ASSERT_EQ(lines.size(), 19u);
    EXPECT_EQ(lines[0], "x,y,z,concentration [volume fraction]");
    // x reaches its end (0, 5, 10); y is divided by its count and stops short (0, 10/3, 20/3); so does z
    // (0, 5). x is outermost and z innermost.
    std::size_t p = 1;
    for (const double x : {0.0, 5.0, 10.0}) {
        for (const double y : {0.0, 1.0 / 3.0 * 10.0, 2.0 / 3.0 * 10.0}) {
            for (const double z : {0.0, 5.0}) {
                double row[4];
                char tail;
                const char *line = lines[p++].c_str();
                ASSERT_EQ(std::sscanf(line, "%lf,%lf,%lf,%lf%c", &row[0], &row[1], &row[2], &row[3], &tail),
                          4)
                    << line;
                EXPECT_EQ(std::vector<double>(row, row + 3), std::vector<double>({x, y, z})) << line;
            }
        }
    }
    // 20/3 needs all 17 significant digits to read back exactly.
    EXPECT_EQ(lines[5].rfind("0,6.6666666666666661,0,", 0), 0u) << lines[5];
    EXPECT_EQ(folder.entries(), std::set<std::string>{"grid.csv"}) << "a temporary file was left behind";

    const CommandResult empty = grid(kHotStack, "0,0,0", "10,10,10", "3,3,0", csv);
    ASSERT_EQ(empty.exitStatus, 0) << empty.err;
    EXPECT_EQ(readText(csv), "x,y,z,concentration [volume fraction]\n");
}

TEST(GridCommand, RefusalsLeaveNoFile) {
    TemporaryFolder folder;
    const std::string csv = folder.file("grid.csv");
    const std::string count = "' is not a count (a whole number 0 or more) in '";
    expectUsageError(grid(kHotStack, "0,0,0", "1,1,1", "3,-1,2", csv), "--points: '-1" + count + "3,-1,2'");
    expectUsageError(grid(kHotStack, "0,0,0", "1,1,1", "3,3", csv),
                     "--points: expected three counts NX,NY,NZ, not '3,3'");
    expectUsageError(grid(kHotStack, "0,0,0", "1,1,1", "2,2147483648,2", csv),
                     "--points: '2147483648' is more than 2147483647 points on one axis in '2,2147483648,2'");
    // (2^31 - 1)^2 fits in 64 bits; four times that is beyond 2^63.
    expectUsageError(grid(kHotStack, "0,0,0", "1,1,1", "2147483647,2147483647,4", csv),
                     "the grid of 2147483647 x 2147483647 x 4 points has more points than can be counted");
    expectUsageError(grid(kHotStack, "0,0", "1,1,1", "2,2,2", csv),
                     "--from: expected three numbers X,Y,Z, not '0,0'");
    expectUsageError(grid(kHotStack, "0,0,1e400", "1,1,1", "2,2,2", csv),
                     "--from: '1e400' is not a finite number in '0,0,1e400'");
    // 1e15 points of 8 bytes each are 8e15 bytes, far more than any machine has; the counts are checked
    // before the scenario is even read.
    const CommandResult huge =
        grid(folder.file("missing.json"), "0,0,0", "1,1,1", "100000,100000,100000", csv);
    const std::string expected =
        "ostreljet: error: the grid of 100000 x 100000 x 100000 points would take 8.0 PB of memory; ";
    EXPECT_EQ(huge.exitStatus, 2);
    EXPECT_EQ(huge.err.substr(0, expected.size()), expected);
    EXPECT_GE(huge.err.size(), expected.size() + 15);
    EXPECT_EQ(huge.err.substr(huge.err.size() - 15), " are available\n") << huge.err;
    EXPECT_TRUE(folder.entries().empty());

    const std::string scenario = folder.write("invalid.json", ventWith("{\"stackHeight\": -1}"));
    const CommandResult invalid = grid(scenario, "0,0,0", "1,1,1", "2,2,2", csv);
    EXPECT_EQ(invalid.exitStatus, 1);
    EXPECT_EQ(invalid.err,
              "ostreljet: The stack height should lie between 0 and 1000m. (stackHeight = -1 m)\n");
    EXPECT_EQ(folder.entries(), std::set<std::string>{"invalid.json"});
}
