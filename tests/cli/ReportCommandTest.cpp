#include "cli/CommandRunner.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

using ostreljet::testsupport::CommandResult;
using ostreljet::testsupport::runCommand;

namespace {

class ReportCommand : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostreljet-report-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override {
        std::error_code error;
        std::filesystem::remove_all(folder_, error);
    }
    static std::string example(const std::string &name) {
        return std::string(OSTRELJET_EXAMPLES_DIR) + "/" + name;
    }
    static std::string read(const std::filesystem::path &path) {
        std::ifstream in(path);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::filesystem::path folder_;
};

} // namespace

TEST_F(ReportCommand, WritesThePageAndNothingElse) {
    const std::filesystem::path out = folder_ / "report.html";
    const CommandResult result = runCommand(
        OSTRELJET_CLI_PATH, {"report", example("horizontal_dense_release.json"), "-o", out.string()});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    const std::string page = read(out);
    EXPECT_NE(page.find("<title>Ostreljet report: horizontal_dense_release.json</title>"), std::string::npos);
    EXPECT_NE(page.find("</html>"), std::string::npos);
    // Only the page is left in the folder: the temporary file was renamed into place.
    EXPECT_EQ(
        std::distance(std::filesystem::directory_iterator(folder_), std::filesystem::directory_iterator()),
        1);
}

TEST_F(ReportCommand, InvalidInputsGiveThePageAndStatusOne) {
    const std::filesystem::path scenario = folder_ / "bad.json";
    std::ofstream(scenario) << "{\"stackHeight\": 10}";
    const std::filesystem::path out = folder_ / "bad.html";
    const CommandResult result =
        runCommand(OSTRELJET_CLI_PATH, {"report", scenario.string(), "--output", out.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("ostreljet: "), std::string::npos);
    EXPECT_NE(read(out).find("The inputs failed validation"), std::string::npos);
}

TEST_F(ReportCommand, UsageErrorsWriteNothing) {
    const std::filesystem::path out = folder_ / "missing" / "report.html";
    CommandResult result =
        runCommand(OSTRELJET_CLI_PATH, {"report", example("hot_stack_unstable.json"), "-o", out.string()});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_NE(result.err.find("does not exist"), std::string::npos) << result.err;
    result = runCommand(OSTRELJET_CLI_PATH, {"report", example("hot_stack_unstable.json")});
    EXPECT_EQ(result.exitStatus, 2);
    result = runCommand(OSTRELJET_CLI_PATH,
                        {"report", (folder_ / "nothing.json").string(), "-o", (folder_ / "r.html").string()});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "r.html"));
}
