#include "cli/CliTestSupport.hpp"

#include "ostreljet/Version.hpp"

#include <algorithm>
#include <sstream>

using namespace ostreljet::testsupport;

// The hot stack example releases pure gas at 450 K from 60 m, so its first output step lies at the
// orifice with concentration 1 and the source temperature.

namespace {

const std::string kHotStack = example("hot_stack_unstable.json");
const std::string kStackHeightMessage = "The stack height should lie between 0 and 1000m.";
const std::vector<std::string> kSeries = {
    "arclength",         "x", "y", "z", "profileRadius", "centrelineConcentration", "centrelineTemperature",
    "centrelineVelocity"};

CommandResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "run");
    return cli(arguments);
}

} // namespace

TEST(RunCommand, JsonTableAndCsvShapes) {
    const CommandResult result = run({kHotStack, "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out.back(), '\n');
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(result.out);
    EXPECT_EQ(keysOf(json), (std::vector<std::string>{"version", "ok", "status", "unit", "summary",
                                                      "messages", "farField", "steps"}));
    // The far field carries on from the jet's end: its series starts at the hand-off.
    const nlohmann::ordered_json &far = json["farField"];
    EXPECT_EQ(far["handOff"]["reason"], "end of the jet");
    EXPECT_GT(far["continuityRatio"].get<double>(), 0.9);
    EXPECT_LT(far["continuityRatio"].get<double>(), 1.1);
    EXPECT_EQ(far["series"]["downwindDistance"][0], far["handOff"]["downwindDistance"]);
    EXPECT_EQ(far["series"]["regime"][0], "passive");
    EXPECT_EQ(json["ok"], true);
    EXPECT_EQ(json["status"], "ok");
    EXPECT_EQ(json["version"], OSTRELJET_VERSION_STRING);
    ASSERT_EQ(json["messages"].size(), 1u);
    EXPECT_EQ(json["messages"][0]["text"].get<std::string>().rfind("Stopping concentration reached at ", 0),
              0u);
    EXPECT_EQ(json["messages"][0]["severity"], "information"); // a normal end, not a warning
    EXPECT_EQ(json["summary"]["outputSteps"], json["steps"]["x"].size());
    EXPECT_EQ(keysOf(json["steps"]), kSeries);
    const std::size_t steps = json["steps"]["x"].size();
    EXPECT_GT(steps, 2u);
    for (const auto &item : json["steps"].items()) {
        EXPECT_EQ(item.value().size(), steps) << item.key();
    }
    EXPECT_EQ(json["steps"]["arclength"][0], 0.0);
    EXPECT_EQ(json["steps"]["z"][0], 60.0);
    EXPECT_EQ(json["steps"]["centrelineConcentration"][0], 1.0);
    EXPECT_EQ(json["steps"]["centrelineTemperature"][0], 450.0);
    // The table (--steps): the summary and messages, then headings with units in order and one row per
    // step.
    const CommandResult table = run({kHotStack, "--steps"});
    ASSERT_EQ(table.exitStatus, 0) << table.err;
    std::vector<std::string> out = linesOf(table.out);
    ASSERT_GT(out.size(), steps + 3);
    EXPECT_EQ(out[1].rfind("  Run ended:", 0), 0u) << out[1];
    const auto heading = std::find_if(
        out.begin(), out.end(), [](const std::string &line) { return line.find("arc length [m]") == 2; });
    ASSERT_NE(heading, out.end());
    EXPECT_EQ(*(heading - 1), "");
    // The run's messages, then the far field's.
    EXPECT_EQ((heading - 3)->rfind("  information: Stopping concentration reached at ", 0), 0u);
    EXPECT_EQ((heading - 2)->rfind("  warning: The jet was still active where it ended, ", 0), 0u);
    out.erase(out.begin(), heading);
    std::size_t at = 0;
    for (const std::string heading :
         {"arc length [m]", "x [m]", "y [m]", "z [m]", "radius [m]", "concentration [volume fraction]",
          "temperature [K]", "velocity [m/s]"}) {
        const std::size_t found = out[0].find(heading, at);
        ASSERT_NE(found, std::string::npos) << heading << " missing or out of order in: " << out[0];
        EXPECT_TRUE(found == 0 || out[0][found - 1] == ' ') << heading << " runs into its neighbour";
        at = found + heading.size();
    }
    EXPECT_EQ(out.size(), steps + 1);
    // The CSV: a header and one row per step, each cell equal to the JSON's number.
    TemporaryFolder folder;
    const std::string csv = folder.file("steps.csv");
    const CommandResult written = run({kHotStack, "--csv", csv});
    ASSERT_EQ(written.exitStatus, 0) << written.err;
    EXPECT_EQ(written.out, "");
    const std::vector<std::string> rows = linesOf(readText(csv));
    ASSERT_EQ(rows.size(), steps + 1);
    EXPECT_EQ(rows[0], "arclength [m],x [m],y [m],z [m],profileRadius [m],centrelineConcentration [volume "
                       "fraction],centrelineTemperature [K],centrelineVelocity [m/s]");
    for (std::size_t k = 0; k < steps; ++k) {
        std::istringstream row(rows[k + 1]);
        std::string cell;
        for (const std::string &name : kSeries) {
            ASSERT_TRUE(std::getline(row, cell, ',')) << "row " << k;
            EXPECT_EQ(std::strtod(cell.c_str(), nullptr), json["steps"][name][k].get<double>())
                << name << " at step " << k;
        }
        EXPECT_FALSE(std::getline(row, cell, ',')) << "row " << k << " has more than eight cells";
    }
    EXPECT_EQ(folder.entries(), std::set<std::string>{"steps.csv"}) << "a temporary file was left behind";
    // The far field's CSV: the same series as the JSON's, row for row, the regime as a word.
    const std::string farCsv = folder.file("far.csv");
    ASSERT_EQ(run({kHotStack, "--far-field-csv", farCsv}).exitStatus, 0);
    const std::vector<std::string> farRows = linesOf(readText(farCsv));
    const nlohmann::ordered_json &series = far["series"];
    ASSERT_EQ(farRows.size(), series["downwindDistance"].size() + 1);
    EXPECT_EQ(farRows[0], "downwindDistance [m],height [m],sigmaY [m],sigmaZ [m],centrelineConcentration "
                          "[volume fraction],groundLevelConcentration [volume fraction],regime");
    for (const std::size_t k : {std::size_t{0}, farRows.size() - 2}) {
        std::istringstream row(farRows[k + 1]);
        std::string cell;
        for (const char *name : {"downwindDistance", "height", "sigmaY", "sigmaZ", "centrelineConcentration",
                                 "groundLevelConcentration"}) {
            ASSERT_TRUE(std::getline(row, cell, ','));
            EXPECT_EQ(std::strtod(cell.c_str(), nullptr), series[name][k].get<double>())
                << name << " row " << k;
        }
        ASSERT_TRUE(std::getline(row, cell, ','));
        EXPECT_EQ(cell, series["regime"][k]);
    }
}

TEST(RunCommand, ExitStatusesAndUnwritableOutputs) {
    TemporaryFolder folder;
    const CommandResult quiet = run({kHotStack, "--quiet"});
    EXPECT_EQ(quiet.exitStatus, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
    // Invalid inputs: status 1, the message, and no CSV file.
    const std::string invalid = folder.write("invalid.json", ventWith("{\"stackHeight\": -5.0}"));
    const CommandResult failed = run({invalid, "--csv", folder.file("steps.csv")});
    EXPECT_EQ(failed.exitStatus, 1);
    EXPECT_EQ(failed.out, "");
    EXPECT_EQ(failed.err, "ostreljet: " + kStackHeightMessage + " (stackHeight = -5 m)\n");
    EXPECT_EQ(folder.entries(), std::set<std::string>{"invalid.json"});
    const CommandResult failedJson = run({invalid, "--json"});
    EXPECT_EQ(failedJson.exitStatus, 1);
    const nlohmann::json json = nlohmann::json::parse(failedJson.out);
    EXPECT_EQ(json["ok"], false);
    EXPECT_EQ(json["status"], "invalid");
    EXPECT_EQ(json["messages"][0]["text"], kStackHeightMessage + " (stackHeight = -5 m)");
    EXPECT_EQ(json["messages"][0]["severity"], "error");
    EXPECT_TRUE(json["steps"]["x"].empty());
    // Usage errors and output paths that cannot be written: status 2, and nothing is left behind.
    expectRefusal(run({kHotStack, "--json", "--csv", folder.file("x.csv")}), {"excludes"});
    expectRefusal(run({}), {"scenario is required"});
    expectRefusal(run({kHotStack, "--colour"}), {"--colour"});
    const std::string absent = folder.file("absent/steps.csv");
    expectRefusal(run({kHotStack, "--csv", absent}),
                  {"cannot write '" + absent + "': folder '" + folder.file("absent") + "' does not exist"});
    expectRefusal(run({kHotStack, "--csv", folder.file("")}), {"it is a directory"});
    EXPECT_EQ(folder.entries(), std::set<std::string>{"invalid.json"});
}

// Every command reads scenarios through the library's reader, whose texts the io tests check; here its
// refusal becomes a usage error that leaves no output file.
TEST(RunCommand, ABadScenarioFileIsAUsageErrorThatWritesNothing) {
    TemporaryFolder folder;
    // Line 3 holds "  oops": the parser stops at its first letter, column 3.
    expectRefusal(run({folder.write("broken.json", "{\n  \"stackHeight\": 5,\n  oops\n}\n"), "--csv",
                       folder.file("out.csv")}),
                  {"broken.json:3:3: not valid JSON"});
    EXPECT_EQ(folder.entries(), std::set<std::string>{"broken.json"}) << "an output file was left behind";
}
