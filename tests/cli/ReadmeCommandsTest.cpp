#include "cli/CliTestSupport.hpp"

#include <filesystem>
#include <sstream>

using namespace ostreljet::testsupport;

// Every command that the README shows runs as shown, from a folder that holds the examples, and the
// main job prints the summary that the README quotes.

namespace {

constexpr const char *kTool = "./build/apps/cli/ostreljet ";

struct Readme {
    std::vector<std::string> commands; // the tool's arguments after kTool, split at blanks
    std::string sweep;                 // the batch sweep line of the ```json block
    std::string mainJobOutput;         // the plain ``` block after the main job's command
};

Readme readReadme() {
    Readme readme;
    const std::vector<std::string> lines = linesOf(readText(OSTRELJET_SOURCE_DIR "/README.md"));
    std::string block; // the language of the fenced block we are in; "none" outside
    bool afterMainJob = false;
    for (const std::string &line : lines) {
        if (line.rfind("```", 0) == 0) {
            block = block.empty() ? (line.size() > 3 ? line.substr(3) : "plain") : "";
            continue;
        }
        if (block == "sh" && line.rfind(kTool, 0) == 0) {
            const std::string rest = line.substr(std::string(kTool).size());
            readme.commands.push_back(rest);
            afterMainJob = rest == "run examples/vertical_buoyant_vent.json";
        } else if (block == "json" && line.find("\"vary\"") != std::string::npos) {
            readme.sweep = line;
        } else if (block == "plain" && afterMainJob) {
            readme.mainJobOutput += line + "\n";
        } else if (block.empty() && !line.empty()) {
            afterMainJob = afterMainJob && readme.mainJobOutput.empty();
        }
    }
    return readme;
}

// Runs the tool in `folder`.
CommandResult cliIn(const std::string &folder, const std::vector<std::string> &arguments) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    CommandResult result = cli(arguments);
    std::filesystem::current_path(before);
    return result;
}

} // namespace

TEST(ReadmeCommands, EveryCommandRunsAsShown) {
    const Readme readme = readReadme();
    ASSERT_GE(readme.commands.size(), 12u) << "the README's commands were not found";
    ASSERT_FALSE(readme.sweep.empty());
    TemporaryFolder folder;
    std::filesystem::create_directory_symlink(OSTRELJET_EXAMPLES_DIR, folder.file("examples"));
    folder.write("sweep.jsonl", readme.sweep + "\n");
    for (const std::string &command : readme.commands) {
        const CommandResult result = cliIn(folder.file(""), words(command));
        EXPECT_EQ(result.exitStatus, 0) << command << "\n" << result.err;
    }
    // The sweep: all nine runs succeed.
    const std::vector<std::string> results = linesOf(readText(folder.file("results.jsonl")));
    ASSERT_EQ(results.size(), 9u);
    for (const std::string &line : results) {
        const auto run = nlohmann::json::parse(line);
        EXPECT_EQ(run["ok"], true) << line;
        EXPECT_TRUE(run["status"] == "ok" || run["status"] == "warning") << line;
        EXPECT_EQ(run["summary"]["levels"].size(), 2u);
    }
}

TEST(ReadmeCommands, MainJobPrintsTheQuotedSummary) {
    const Readme readme = readReadme();
    ASSERT_FALSE(readme.mainJobOutput.empty());
    TemporaryFolder folder;
    std::filesystem::create_directory_symlink(OSTRELJET_EXAMPLES_DIR, folder.file("examples"));
    const CommandResult result = cliIn(folder.file(""), {"run", "examples/vertical_buoyant_vent.json"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, readme.mainJobOutput);
    EXPECT_LE(linesOf(result.out).size(), 16u) << "the summary should fit in about a dozen lines";
}
