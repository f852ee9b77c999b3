// A grid written to CSV goes through a temporary file that is renamed into place at the end. A signal
// that ends the tool while it writes must leave neither half a file under the final name nor the
// temporary file, and a file that was there before keeps its content.
#include "cli/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using ostreljet::testsupport::readText;
using ostreljet::testsupport::TemporaryFolder;

namespace {

const std::string kHotStack = std::string(OSTRELJET_EXAMPLES_DIR) + "/hot_stack_unstable.json";

// Starts the tool with its output streams on /dev/null; returns the child's process id.
pid_t start(const std::vector<std::string> &arguments) {
    std::vector<std::string> strings{OSTRELJET_CLI_PATH};
    strings.insert(strings.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &s : strings) {
        argv.push_back(s.data());
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// Waits until the folder holds an entry that is not in `before`, or the child has ended.
// True when a new entry appeared while the child was still running.
bool waitForNewEntry(const TemporaryFolder &folder, const std::set<std::string> &before, pid_t child) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (std::chrono::steady_clock::now() < deadline) {
        if (folder.entries() != before) {
            return true;
        }
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
}

class InterruptedWrite : public ::testing::TestWithParam<int> {};

// Disabled until the tool removes its temporary file when a signal ends it.
TEST_P(InterruptedWrite, LeavesNoPartialOrTemporaryFile) {
    const int signalNumber = GetParam();
    TemporaryFolder folder;
    const std::string target = folder.file("grid.csv");
    const std::string earlier = "x,y,z,concentration\n1,2,3,0\n";
    folder.write("grid.csv", earlier);
    const std::set<std::string> before = folder.entries();

    // Two million points far from the jet: quick to evaluate, some 120 MB of CSV to write.
    const pid_t child = start({"grid", kHotStack, "--from", "5000,5000,0", "--to", "6000,6000,100",
                               "--points", "200,100,100", "--csv", target});
    ASSERT_GT(child, 0);
    ASSERT_TRUE(waitForNewEntry(folder, before, child))
        << "the tool ended before its temporary file appeared";
    ASSERT_EQ(kill(child, signalNumber), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);

    const bool endedBySignal = WIFSIGNALED(status) && WTERMSIG(status) == signalNumber;
    const bool exitedWithSignalStatus = WIFEXITED(status) && WEXITSTATUS(status) == 128 + signalNumber;
    EXPECT_TRUE(endedBySignal || exitedWithSignalStatus) << "status " << status;
    EXPECT_EQ(folder.entries(), before) << "a temporary file was left behind";
    EXPECT_EQ(readText(target), earlier);
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptedWrite, ::testing::Values(SIGINT, SIGTERM),
                         [](const ::testing::TestParamInfo<int> &info) {
                             return info.param == SIGINT ? std::string("Interrupt")
                                                         : std::string("Terminate");
                         });

} // namespace
