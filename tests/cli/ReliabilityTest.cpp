// What an audit of every front broke, each case as the engineer met it: no good line's result lost,
// every piece of work bounded, every failure the exit status it promises, files written as users expect
// and numbers read as they write them.
#include "cli/CliTestSupport.hpp"

#include <chrono>
#include <grp.h>
#include <signal.h>
#include <sys/stat.h>

using namespace ostreljet::testsupport;
namespace fs = std::filesystem;

namespace {

const std::string kVent = example("vertical_buoyant_vent.json");

std::string ventLine() {
    return nlohmann::ordered_json::parse(readText(kVent)).dump();
}

// Runs the tool with a limit on the size of the files it writes (ulimit -f), in a child process.
CommandResult cliWithFileSizeLimit(const std::vector<std::string> &arguments, rlim_t bytes) {
    std::FILE *out = std::tmpfile();
    std::FILE *err = std::tmpfile();
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    const rlimit limit{bytes, previous.rlim_max};
    // The child inherits the limit; the temporary files of this process are written before it applies.
    setrlimit(RLIMIT_FSIZE, &limit);
    const pid_t pid = spawn(arguments, fileno(out), fileno(err));
    setrlimit(RLIMIT_FSIZE, &previous);
    int status = 0;
    EXPECT_GT(waitpid(pid, &status, 0), 0);
    const CommandResult result{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                               readText("/dev/fd/" + std::to_string(fileno(out))),
                               readText("/dev/fd/" + std::to_string(fileno(err)))};
    std::fclose(out);
    std::fclose(err);
    return result;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

TEST(NoLostResults, ALineThatIsNotUtf8IsRecordedAndTheOtherLinesRun) {
    TemporaryFolder folder;
    std::string bad = ventLine();
    const std::size_t gas = bad.find("methane");
    ASSERT_NE(gas, std::string::npos);
    bad.insert(gas + 4, 1, '\xff'); // inside the gas's name: only that line is wrong
    const std::string input =
        folder.write("in.jsonl", ventLine() + "\n" + bad + "\n{not json\n" + ventLine() + "\n");
    const std::string output = folder.file("out.jsonl");
    const CommandResult result = cli({"batch", input, "-o", output, "--jobs", "2"});
    EXPECT_EQ(result.exitStatus, 1) << result.err;
    EXPECT_EQ(result.err, "ostreljet: 2 of 4 results are errors (lines 2, 3); each is in '" + output +
                              "' with its line number\n");
    const std::vector<std::string> lines = linesOf(readText(output));
    ASSERT_EQ(lines.size(), 4u);
    const nlohmann::json second = nlohmann::json::parse(lines[1]);
    EXPECT_EQ(second["line"], 2);
    EXPECT_EQ(second["ok"], false);
    const std::string where = std::to_string(bad.find('\xff') + 1);
    EXPECT_EQ(
        second["error"],
        std::string("line 2: not valid UTF-8 (byte 0xFF at byte ").append(where).append(" of the line)"));
    EXPECT_EQ(nlohmann::json::parse(lines[2])["line"], 3);
    EXPECT_EQ(nlohmann::json::parse(lines[0])["status"], "ok");
    EXPECT_EQ(nlohmann::json::parse(lines[3])["status"], "ok");
    EXPECT_EQ(nlohmann::json::parse(lines[0])["levels"], nlohmann::json::parse(lines[3])["levels"]);
}

TEST(NoLostResults, ALineLongerThanAScenarioMayBeIsRecordedAndTheLinesAroundItRun) {
    // One byte over the 1 MiB limit on line 2; the line after it still runs.
    TemporaryFolder folder;
    const std::string longLine = "{\"note\": \"" + std::string(1048576, 'x') + "\"}";
    const std::string input =
        folder.write("in.jsonl", ventLine() + "\n" + longLine + "\n" + ventLine() + "\n");
    const std::string output = folder.file("out.jsonl");
    const CommandResult result = cli({"batch", input, "-o", output});
    EXPECT_EQ(result.exitStatus, 1) << result.err;
    const std::vector<std::string> lines = linesOf(readText(output));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(nlohmann::json::parse(lines[1])["error"],
              "line 2: longer than 1048576 bytes, the limit for one scenario");
    EXPECT_EQ(nlohmann::json::parse(lines[0])["status"], "ok");
    EXPECT_EQ(nlohmann::json::parse(lines[2])["status"], "ok");
    EXPECT_EQ(nlohmann::json::parse(lines[2])["line"], 3);
}

TEST(NoLostResults, NoCommandWritesOverAFileItReads) {
    TemporaryFolder folder;
    const std::string cases = folder.write("c.json", readText(OSTRELJET_SOURCE_DIR "/validation/cases.json"));
    const std::string before = readText(cases);
    fs::create_symlink(cases, folder.file("link.json"));
    expectUsageError(cli({"validate", "--cases", cases, "-o", folder.file("link.json")}),
                     "-o: '" + folder.file("link.json") + "' is the cases file being read ('" + cases +
                         "'); choose another file");
    EXPECT_EQ(readText(cases), before);
}

TEST(BoundedWork, AHugeMassFlowFailsAtOnceAndSaysWhy) {
    // 1e300 kg/s through the vent's orifice gives a source radius of about 3e148 m: no distance can come
    // from it, and the run says so at once instead of searching kilometres of a non-physical field.
    TemporaryFolder folder;
    const std::string huge = folder.write("huge.json", ventWith(R"({"massFlowrate": 1e300})"));
    const auto start = std::chrono::steady_clock::now();
    const CommandResult result = cli({"run", huge, "--levels", "LFL,LFL/2,1%,0.5%,0.2%,0.1%,500ppm,100ppm"});
    EXPECT_LT(secondsSince(start), 5.0);
    EXPECT_EQ(result.exitStatus, 1) << result.err;
    EXPECT_NE(result.out.find("Run status:  failed"), std::string::npos) << result.out;
    EXPECT_NE(
        result.out.find("error: The model produced non-physical values: a profile radius of 3.228e+148 m, "
                        "wider than the model's range of 10000 m at 0 m along the centreline"),
        std::string::npos)
        << result.out;
    EXPECT_EQ(result.out.find("continuity ratio"), std::string::npos) << result.out;

    // In a batch the same line fails, with no figures, and the batch goes on.
    const std::string input = folder.write("huge.jsonl", nlohmann::json::parse(readText(huge)).dump() + "\n");
    const CommandResult batch =
        cli({"batch", input, "--levels", "LFL,LFL/2", "-o", folder.file("out.jsonl")});
    EXPECT_EQ(batch.exitStatus, 0) << batch.err;
    const nlohmann::json line = nlohmann::json::parse(readText(folder.file("out.jsonl")));
    EXPECT_EQ(line["status"], "failed") << line.dump();
}

TEST(BoundedWork, LevelsAreLimitedToSixtyFour) {
    std::string levels = "1%";
    for (int i = 2; i <= 65; ++i) {
        levels.append(",").append(std::to_string(i)).append("ppm");
    }
    expectUsageError(cli({"run", kVent, "--levels", levels}),
                     "--levels: more than 64 levels; a summary answers at most 64");
}

TEST(Limits, MaxRunsIsAPositiveWholeNumberAndEveryLineCounts) {
    TemporaryFolder folder;
    const std::string input = folder.write("in.jsonl", ventLine() + "\n{bad\n" + ventLine() + "\n");
    const std::string output = folder.file("out.jsonl");
    for (const std::string value : {"-1", "0", "1.5", "0x10"}) {
        expectUsageError(cli({"batch", input, "-o", output, "--max-runs", value}),
                         "--max-runs: '" + value + "' is not a whole number of 1 or more");
    }
    expectUsageError(cli({"batch", input, "-o", output, "--max-runs", "2"}),
                     "line 3: the batch goes beyond the limit of 2 runs (raise it with --max-runs)");
    EXPECT_FALSE(fs::exists(output));
    for (const std::string value : {"nan", "0", "-1", "inf"}) {
        const CommandResult result = cli({"batch", input, "-o", output, "--max-seconds", value});
        EXPECT_EQ(result.exitStatus, 2) << value;
        EXPECT_LT(result.err.size(), 120u) << result.err; // no 309-digit range
    }
}

TEST(Crashes, MemoryRunningOutInAWorkerKeepsTheFinishedResults) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer reserves more address space than the limit leaves";
#endif
    TemporaryFolder folder;
    nlohmann::ordered_json line;
    line["base"] = nlohmann::ordered_json::parse(readText(kVent));
    line["vary"]["referenceWindSpeed"] = {2.0, 2.5, 3.0, 3.5, 4.0, 4.5};
    const std::string input = folder.write("in.jsonl", line.dump() + "\n");
    const std::string output = folder.file("out.jsonl");
    // Address-space limits from the least the tool starts with (the shared libraries it loads set it, so
    // it is found, not assumed) upwards past the worker threads' stacks: threads that cannot start, memory
    // running out in a worker part-way, or enough. Each ends with a status and a message, never an abort.
    rlim_t least = 0;
    for (rlim_t kilobytes = 8 << 10; kilobytes <= 1 << 20 && least == 0; kilobytes += 512) {
        if (cli({"--version"}, kilobytes << 10).exitStatus == 0)
            least = kilobytes;
    }
    ASSERT_NE(least, 0u) << "the tool did not start with up to 1 GB of address space";
    int cutShort = 0;
    for (rlim_t kilobytes = least; kilobytes <= least + (24 << 10); kilobytes += 256) {
        std::filesystem::remove(output);
        const CommandResult result = cli({"batch", input, "-o", output, "--jobs", "2"}, kilobytes << 10);
        ASSERT_TRUE(result.exitStatus == 0 || result.exitStatus == 2)
            << result.exitStatus << ": " << result.err;
        if (result.exitStatus == 2 && result.err.find("out of memory after ") != std::string::npos) {
            ++cutShort;
            // The finished runs' results are kept, as many as the message says.
            const std::size_t kept = linesOf(readText(output)).size();
            EXPECT_NE(result.err.find("out of memory after " + std::to_string(kept) + " of 6 runs"),
                      std::string::npos)
                << result.err;
        }
    }
    EXPECT_GT(cutShort, 0) << "no limit made memory run out during the runs";
}

TEST(Crashes, AFileSizeLimitIsAWriteErrorAndLeavesNoTemporaryFile) {
    TemporaryFolder folder;
    const std::string scenario = folder.write("vent.json", readText(kVent));
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"run", scenario, "--csv", folder.file("steps.csv")},
          {"grid", scenario, "--from", "0,-20,0", "--to", "100,20,60", "--points", "30,20,20", "--csv",
           folder.file("grid.csv")}}) {
        const CommandResult result = cliWithFileSizeLimit(arguments, 4096);
        EXPECT_EQ(result.exitStatus, 2) << arguments[0] << ": " << result.err;
        EXPECT_NE(result.err.find("File too large"), std::string::npos) << result.err;
        EXPECT_EQ(folder.entries(), std::set<std::string>{"vent.json"});
    }
}

TEST(FileWriting, AReadOnlyTargetIsRefusedUnlessForced) {
    TemporaryFolder folder;
    const std::string target = folder.write("steps.csv", "old\n");
    fs::permissions(target, fs::perms::owner_read);
    expectUsageError(cli({"run", kVent, "--csv", target}),
                     "cannot write '" + target +
                         "': it is read-only (--force replaces it, keeping its mode)");
    EXPECT_EQ(readText(target), "old\n");
    const CommandResult forced = cli({"run", kVent, "--csv", target, "--force"});
    EXPECT_EQ(forced.exitStatus, 0) << forced.err;
    EXPECT_EQ(readText(target).rfind("arclength [m],", 0), 0u);
    EXPECT_EQ(fs::status(target).permissions(), fs::perms::owner_read);
}

TEST(FileWriting, HardLinksLongNamesAndFifosWithoutReader) {
    TemporaryFolder folder;
    const std::string target = folder.write("steps.csv", "old\n");
    fs::create_hard_link(target, folder.file("link.csv"));
    ASSERT_EQ(cli({"run", kVent, "--csv", target}).exitStatus, 0);
    EXPECT_EQ(readText(folder.file("link.csv")), readText(target));
    EXPECT_EQ(fs::hard_link_count(target), 2u);

    const std::string longName = folder.file(std::string(246, 'n') + ".csv");
    const CommandResult named = cli({"run", kVent, "--csv", longName});
    EXPECT_EQ(named.exitStatus, 0) << named.err;
    EXPECT_EQ(folder.entries().size(), 3u);

    const std::string fifo = folder.file("pipe");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto start = std::chrono::steady_clock::now();
    expectUsageError(cli({"run", kVent, "--csv", fifo}),
                     "cannot write '" + fifo + "': it is a FIFO that no process is reading");
    EXPECT_LT(secondsSince(start), 5.0);
}

// Runs the tool as the unprivileged user nobody (which root alone can do), its output discarded; returns
// its exit status.
int cliAsNobody(const std::vector<std::string> &arguments) {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t pid = spawnPrepared(arguments, null, null, [] {
        return setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0;
    });
    close(null);
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Another user's files: one they may write is written in place (even in a folder they may not write, and
// through a hard link), one they may not is refused; neither is replaced by a new file of theirs.
TEST(FileWriting, AnotherUsersFilesAreWrittenInPlaceOrRefusedNeverReplaced) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can run the tool as another user";
    }
    TemporaryFolder folder;
    fs::permissions(folder.file(""), fs::perms::all & ~fs::perms::others_write & ~fs::perms::group_write);
    const std::string scenario = folder.write("vent.json", readText(kVent));
    fs::permissions(scenario, fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
    const auto inodeOf = [](const std::string &path) {
        struct stat status {};
        ::stat(path.c_str(), &status);
        return status.st_ino;
    };
    // A writable file in a folder the user may only read and enter.
    fs::create_directory(folder.file("shut"));
    const std::string inShut = folder.write("shut/steps.csv", "old\n");
    fs::permissions(inShut, fs::perms::all & ~fs::perms::owner_exec & ~fs::perms::group_exec &
                                ~fs::perms::others_exec);
    const ino_t shutInode = inodeOf(inShut);
    fs::permissions(folder.file("shut"), fs::perms::owner_all | fs::perms::group_read |
                                             fs::perms::group_exec | fs::perms::others_read |
                                             fs::perms::others_exec);
    EXPECT_EQ(cliAsNobody({"run", scenario, "--csv", inShut}), 0);
    EXPECT_EQ(readText(inShut).rfind("arclength [m],", 0), 0u);
    EXPECT_EQ(inodeOf(inShut), shutInode);
    EXPECT_EQ(fs::status(inShut).permissions(), fs::perms::owner_read | fs::perms::owner_write |
                                                    fs::perms::group_read | fs::perms::group_write |
                                                    fs::perms::others_read | fs::perms::others_write);
    // In a folder anyone may write: a read-only file of root's is refused and kept; a writable one with a
    // second name is written in place, both names showing the new content.
    fs::create_directory(folder.file("open"));
    fs::permissions(folder.file("open"), fs::perms::all);
    const std::string theirs = folder.write("open/theirs.csv", "old\n");
    fs::permissions(theirs, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    EXPECT_EQ(cliAsNobody({"run", scenario, "--csv", theirs}), 2);
    EXPECT_EQ(readText(theirs), "old\n");
    const std::string shared = folder.write("open/shared.csv", "old\n");
    fs::permissions(shared, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                                fs::perms::group_write | fs::perms::others_read | fs::perms::others_write);
    fs::create_hard_link(shared, folder.file("open/link.csv"));
    EXPECT_EQ(cliAsNobody({"run", scenario, "--csv", folder.file("open/link.csv")}), 0);
    EXPECT_EQ(readText(shared).rfind("arclength [m],", 0), 0u);
    EXPECT_EQ(fs::hard_link_count(shared), 2u);
    struct stat owner {};
    ::stat(shared.c_str(), &owner);
    EXPECT_EQ(owner.st_uid, 0u) << "the file was replaced by one of the other user's";
    EXPECT_EQ((std::set<std::string>{"link.csv", "shared.csv", "theirs.csv"}), [&] {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(folder.file("open"))) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }()) << "a temporary file was left behind";
}

TEST(Numbers, DecimalOnlyWithAPlusEverywhereAndShortFigures) {
    expectUsageError(cli({"run", kVent, "--levels", "0x10"}),
                     "--levels: level \"0x10\": the number is not a decimal number (write it in decimal)");
    expectUsageError(
        cli({"run", kVent, "--levels", "1e-320", "--unit", "mg/m3"}),
        "--levels: level \"1e-320\": is too small: below the smallest concentration the model can "
        "represent (volume fraction 0)");
    const CommandResult big = cli({"run", kVent, "--levels", "1e308"});
    EXPECT_EQ(big.exitStatus, 2);
    EXPECT_NE(big.err.find("(volume fraction 1e+308)"), std::string::npos) << big.err;
    EXPECT_EQ(cli({"run", kVent, "--levels", "+1%"}).exitStatus, 0);
    EXPECT_EQ(cli({"concentration", kVent, "--at", "+1,+2,+3"}).exitStatus, 0);
    expectUsageError(cli({"concentration", kVent, "--at", "0x1,0,0"}),
                     "--at: '0x1' is not a decimal number (write it in decimal) in '0x1,0,0'");
}
