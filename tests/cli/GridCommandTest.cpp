#include "cli/CommandRunner.hpp"
#include "cli/TemporaryFolder.hpp"

#include <fmt/core.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using ostreljet::testsupport::CommandResult;
using ostreljet::testsupport::readText;
using ostreljet::testsupport::runCommand;
using ostreljet::testsupport::TemporaryFolder;

namespace {

const std::string kHotStack = std::string(OSTRELJET_EXAMPLES_DIR) + "/hot_stack_unstable.json";
const std::string kHeader = "x,y,z,concentration";

CommandResult grid(const std::string &scenario, const std::string &from, const std::string &to,
                   const std::string &points, const std::string &csv) {
    return runCommand(OSTRELJET_CLI_PATH,
                      {"grid", scenario, "--from", from, "--to", to, "--points", points, "--csv", csv});
}

struct Row {
    double x;
    double y;
    double z;
    double concentration;
};

// The rows after the header; the header itself must be exactly kHeader.
std::vector<Row> readRows(const std::string &path, std::vector<std::string> *texts = nullptr) {
    std::istringstream in(readText(path));
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, kHeader);
    std::vector<Row> rows;
    while (std::getline(in, line)) {
        if (texts != nullptr) {
            texts->push_back(line);
        }
        Row row{};
        char *at = line.data();
        double *cells[] = {&row.x, &row.y, &row.z, &row.concentration};
        for (double *cell : cells) {
            char *end = nullptr;
            *cell = std::strtod(at, &end);
            EXPECT_NE(end, at) << line;
            at = *end == ',' ? end + 1 : end;
        }
        EXPECT_EQ(*at, '\0') << line;
        rows.push_back(row);
    }
    return rows;
}

void expectRefused(const CommandResult &result, const std::string &message, const TemporaryFolder &folder) {
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ostreljet: error: " + message + "\n");
    EXPECT_TRUE(folder.entries().empty()) << "a file was left behind";
}

} // namespace

TEST(GridCommand, PointOrderAndTheAsymmetricAxes) {
    TemporaryFolder folder;
    const std::string csv = folder.file("grid.csv");
    const CommandResult result = grid(kHotStack, "0,0,0", "10,10,10", "3,3,2", csv);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.rfind("18 points (3 x 3 x 2) written to " + csv + "\n", 0), 0u) << result.out;

    std::vector<std::string> texts;
    const std::vector<Row> rows = readRows(csv, &texts);
    ASSERT_EQ(rows.size(), 18u);
    // x reaches its end (0, 5, 10); y is divided by its count and stops short (0, 10/3, 20/3); so does z
    // (0, 5). x is outermost and z innermost.
    const double xs[] = {0.0, 5.0, 10.0};
    const double ys[] = {0.0, 1.0 / 3.0 * 10.0, 2.0 / 3.0 * 10.0};
    const double zs[] = {0.0, 5.0};
    std::size_t p = 0;
    for (const double x : xs) {
        for (const double y : ys) {
            for (const double z : zs) {
                EXPECT_EQ(rows[p].x, x) << "point " << p;
                EXPECT_EQ(rows[p].y, y) << "point " << p;
                EXPECT_EQ(rows[p].z, z) << "point " << p;
                ++p;
            }
        }
    }
    // 20/3 needs all 17 significant digits to read back exactly.
    EXPECT_EQ(texts[4].rfind("0,6.6666666666666661,0,", 0), 0u) << texts[4];
    EXPECT_EQ(folder.entries(), std::set<std::string>{"grid.csv"}) << "a temporary file was left behind";
}

TEST(GridCommand, ValuesAreThoseOfThePointQueryAtTheSameCoordinates) {
    TemporaryFolder folder;
    const std::string csv = folder.file("plume.csv");
    // A small box beside the orifice where the jet is narrow, so the values differ from point to point.
    const CommandResult result = grid(kHotStack, "0,-2,58", "10,2,66", "3,2,2", csv);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const std::vector<Row> rows = readRows(csv);
    ASSERT_EQ(rows.size(), 12u);

    std::vector<std::string> arguments = {"concentration", kHotStack, "--json"};
    for (const Row &row : rows) {
        arguments.push_back("--at");
        arguments.push_back(fmt::format("{:.17g},{:.17g},{:.17g}", row.x, row.y, row.z));
    }
    const CommandResult points = runCommand(OSTRELJET_CLI_PATH, arguments);
    ASSERT_EQ(points.exitStatus, 0) << points.err;
    const nlohmann::json json = nlohmann::json::parse(points.out);
    ASSERT_EQ(json["points"].size(), rows.size());
    std::set<double> distinct;
    for (std::size_t p = 0; p < rows.size(); ++p) {
        EXPECT_EQ(rows[p].concentration, json["points"][p]["concentration"].get<double>()) << "point " << p;
        distinct.insert(rows[p].concentration);
    }
    EXPECT_GE(distinct.size(), 5u) << "the box should cut through the jet";
}

TEST(GridCommand, ZeroPointsOnAnAxisGivesTheHeaderAlone) {
    TemporaryFolder folder;
    const std::string csv = folder.file("empty.csv");
    const CommandResult result = grid(kHotStack, "0,0,0", "10,10,10", "3,3,0", csv);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(readText(csv), kHeader + "\n");
}

TEST(GridCommand, NoProgressBarWhenStderrIsNotATerminal) {
    TemporaryFolder folder;
    // 250000 points, all far from the jet, so the evaluation is quick.
    const CommandResult result =
        grid(kHotStack, "5000,5000,0", "6000,6000,100", "100,50,50", folder.file("far.csv"));
    ASSERT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
}

TEST(GridCommand, GridsTooLargeForMemoryAreRefusedBeforeAnythingIsWritten) {
    TemporaryFolder folder;
    const std::string csv = folder.file("huge.csv");
    // 1e15 points of 8 bytes each are 8e15 bytes, far more than this or any machine has.
    const CommandResult huge = grid(kHotStack, "0,0,0", "1,1,1", "100000,100000,100000", csv);
    EXPECT_EQ(huge.exitStatus, 2);
    EXPECT_EQ(huge.out, "");
    const std::string expected =
        "ostreljet: error: the grid of 100000 x 100000 x 100000 points would take 8.0 PB of memory; ";
    EXPECT_EQ(huge.err.substr(0, expected.size()), expected);
    EXPECT_GE(huge.err.size(), expected.size() + std::string(" are available\n").size());
    EXPECT_EQ(huge.err.substr(huge.err.size() - 15), " are available\n") << huge.err;
    EXPECT_TRUE(folder.entries().empty());

    // (2^31 - 1)^3 points do not fit in 64 bits.
    expectRefused(
        grid(kHotStack, "0,0,0", "1,1,1", "2147483647,2147483647,2147483647", csv),
        "the grid of 2147483647 x 2147483647 x 2147483647 points has more points than can be counted",
        folder);
}

TEST(GridCommand, CountsMustBeWholeNumbersFromZero) {
    TemporaryFolder folder;
    const std::string csv = folder.file("grid.csv");
    expectRefused(grid(kHotStack, "0,0,0", "1,1,1", "3,-1,2", csv),
                  "--points: '-1' is not a count (a whole number 0 or more) in '3,-1,2'", folder);
    expectRefused(grid(kHotStack, "0,0,0", "1,1,1", "3,1.5,2", csv),
                  "--points: '1.5' is not a count (a whole number 0 or more) in '3,1.5,2'", folder);
    expectRefused(grid(kHotStack, "0,0,0", "1,1,1", "3,,2", csv),
                  "--points: '' is not a count (a whole number 0 or more) in '3,,2'", folder);
    expectRefused(grid(kHotStack, "0,0,0", "1,1,1", "3,3", csv),
                  "--points: expected three counts NX,NY,NZ, not '3,3'", folder);
    expectRefused(grid(kHotStack, "0,0,0", "1,1,1", "2,2147483648,2", csv),
                  "--points: '2147483648' is more than 2147483647 points on one axis in '2,2147483648,2'",
                  folder);
    expectRefused(grid(kHotStack, "0,0", "1,1,1", "2,2,2", csv),
                  "--from: expected three numbers X,Y,Z, not '0,0'", folder);
    expectRefused(grid(kHotStack, "0,0,0", "1,x,1", "2,2,2", csv), "--to: 'x' is not a number in '1,x,1'",
                  folder);
}

TEST(GridCommand, InvalidInputsAndMissingFoldersLeaveNoFile) {
    TemporaryFolder folder;
    const std::string scenario = folder.write("invalid.json", "{\"stackHeight\": -1}");
    const CommandResult invalid = grid(scenario, "0,0,0", "1,1,1", "2,2,2", folder.file("grid.csv"));
    EXPECT_EQ(invalid.exitStatus, 1);
    EXPECT_EQ(invalid.err, "ostreljet: The stack height should lie between 0 and 1000m.\n");
    EXPECT_EQ(folder.entries(), std::set<std::string>{"invalid.json"});

    const std::string target = folder.file("absent/grid.csv");
    const CommandResult missing = grid(kHotStack, "0,0,0", "1,1,1", "2,2,2", target);
    EXPECT_EQ(missing.exitStatus, 2);
    EXPECT_EQ(missing.err, "ostreljet: error: cannot write '" + target + "': folder '" +
                               folder.file("absent") + "' does not exist\n");
    EXPECT_EQ(folder.entries(), std::set<std::string>{"invalid.json"});
}
