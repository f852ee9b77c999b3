// What a hostile user tries: standard output and full disks as outputs; endless batch files, sweeps that
// explode and stray keys (the scenario reader's own limits are checked in the io tests). Each ends with a
// message and status 2 (or works), never a crash, a replaced device or a half-written file.
#include "cli/CliTestSupport.hpp"

using namespace ostreljet::testsupport;
namespace fs = std::filesystem;

namespace {

const std::string kVent = example("vertical_buoyant_vent.json");

// The vent as one JSON line, for batch files.
std::string ventLine() {
    return nlohmann::ordered_json::parse(readText(kVent)).dump();
}

// Runs the tool with standard output on the given file.
CommandResult cliWithOutputOn(const std::vector<std::string> &arguments, const char *outPath) {
    const int out = open(outPath, O_WRONLY | O_CLOEXEC);
    std::FILE *err = std::tmpfile();
    int status = 0;
    EXPECT_GT(waitpid(spawn(arguments, out, fileno(err)), &status, 0), 0);
    close(out);
    const CommandResult result{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), "",
                               readText("/dev/fd/" + std::to_string(fileno(err)))};
    std::fclose(err);
    return result;
}

} // namespace

// Links, modes and devices are the safe writer's, checked in the io tests; /dev/stdout is the tool's own.
TEST(HostileOutput, StandardOutputAsTheFileIsWrittenInPlace) {
    // /dev/stdout (here a regular file) is the tool's own standard output, written in place.
    const CommandResult streamed = cli({"run", kVent, "--csv", "/dev/stdout"});
    EXPECT_EQ(streamed.exitStatus, 0) << streamed.err;
    EXPECT_EQ(streamed.out.rfind("arclength [m],x [m],y [m],z [m],", 0), 0u) << streamed.out;
    EXPECT_EQ(linesOf(streamed.out).size(), 317u); // the header and 316 steps
}

TEST(HostileOutput, AFullDiskIsStatusTwoWithTheSystemsReason) {
    expectUsageError(cli({"run", kVent, "--csv", "/dev/full"}),
                     "cannot write '/dev/full': No space left on device");
    // Standard output on a full device: the table is lost, and the tool says so.
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"run", kVent}, {"gases"}, {"concentration", kVent, "--at", "10,0,10"}}) {
        const CommandResult result = cliWithOutputOn(arguments, "/dev/full");
        EXPECT_EQ(result.exitStatus, 2) << arguments[0];
        EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
    }
}

TEST(HostileBatch, FoldersSweepsAndStrayKeysAreRefusedBeforeAnythingRuns) {
    const TemporaryFolder folder;
    const std::string out = folder.file("out.jsonl");
    expectUsageError(cli({"batch", folder.file(""), "-o", out}),
                     folder.file("") + ": is a directory, not a file of scenarios");
    expectUsageError(cli({"batch", "/dev/zero", "-o", out}),
                     "/dev/zero: line 1 is longer than 1048576 bytes, with no line break in 16777216 bytes: "
                     "not a file of one scenario per line");
    // Four lists of 100 values: 10^8 runs, counted and refused before one is expanded.
    std::string values = "[";
    for (int i = 0; i < 100; ++i) {
        values.append(i > 0 ? "," : "").append(std::to_string(1 + i));
    }
    values += "]";
    const std::string sweep = folder.write(
        "sweep.jsonl", "{\"base\": " + ventLine() + ", \"vary\": {\"referenceWindSpeed\": " + values +
                           ", \"stackHeight\": " + values + ", \"massFlowrate\": " + values +
                           ", \"sourceTemperature\": " + values + "}}\n");
    expectUsageError(cli({"batch", sweep, "-o", out}),
                     "line 1: the sweep expands to 100000000 runs, which takes the batch beyond the limit of "
                     "100000 runs (raise it with --max-runs)");
    const std::string small = folder.write(
        "small.jsonl", "{\"base\": " + ventLine() + ", \"vary\": {\"referenceWindSpeed\": [2, 5, 8]}}\n");
    expectUsageError(cli({"batch", small, "-o", out, "--max-runs", "2"}),
                     "line 1: the sweep expands to 3 runs, which takes the batch beyond the limit of 2 runs "
                     "(raise it with --max-runs)");
    EXPECT_FALSE(fs::exists(out));
    EXPECT_EQ(cli({"batch", small, "-o", out, "--max-runs", "3"}).exitStatus, 0);
    EXPECT_EQ(linesOf(readText(out)).size(), 3u);

    // A sweep line with a stray key becomes an error result; the good line still runs.
    const std::string mixed =
        folder.write("mixed.jsonl", "{\"base\": " + ventLine() + ", \"vray\": {}}\n" + ventLine() + "\n");
    const CommandResult result = cli({"batch", mixed, "-o", out});
    EXPECT_EQ(result.exitStatus, 1) << result.err;
    const std::vector<std::string> lines = linesOf(readText(out));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(nlohmann::json::parse(lines[0])["error"],
              "line 1: unknown key \"vray\" beside \"base\" and \"vary\" (a sweep line holds only those two; "
              "put inputs in \"base\")");
    EXPECT_EQ(nlohmann::json::parse(lines[1])["ok"], true);
}
