#include "cli/CliTestSupport.hpp"

#include "ostreljet/Version.hpp"

#include <cmath>
#include <sstream>

using namespace ostreljet::testsupport;

// Units as printed, the statuses of runs without results, and the faults that users met: each case
// quotes what the tool used to do wrong.

namespace {

const std::string kVent = example("vertical_buoyant_vent.json");
const std::string kHotStack = example("hot_stack_unstable.json");

// The vent with a flow too slow for the source checks: "The calculated exit velocity is less than three
// times the wind velocity, model not valid."
std::string slowVent(const TemporaryFolder &folder) {
    std::string text = readText(kVent);
    const std::string from = "\"massFlowrate\": 2.0";
    text.replace(text.find(from), from.size(), "\"massFlowrate\": 0.01");
    return folder.write("slow.json", text);
}

nlohmann::json runJson(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "run");
    arguments.push_back("--json");
    const CommandResult result = cli(arguments);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    return nlohmann::json::parse(result.out);
}

} // namespace

// The conversions themselves are worked by hand in the io tests; here the option reaches them.
TEST(Units, ABareLevelIsInTheUnitOfTheOption) {
    // 2 in % is 2 % by volume, the same level as 0.02.
    const nlohmann::json percent = runJson({kVent, "--levels", "2", "--unit", "%"});
    const nlohmann::json fraction = runJson({kVent, "--levels", "0.02"});
    EXPECT_EQ(percent["unit"], "%");
    EXPECT_DOUBLE_EQ(percent["summary"]["levels"][0]["value"].get<double>(), 2.0);
    EXPECT_DOUBLE_EQ(percent["summary"]["levels"][0]["centrelineDownwindDistance"].get<double>(),
                     fraction["summary"]["levels"][0]["centrelineDownwindDistance"].get<double>());
}

TEST(Units, PointConcentrationsScaleByTheirUnit) {
    const auto at = [](const std::string &unit) {
        const CommandResult result =
            cli({"concentration", kHotStack, "--at", "100,0,90", "--json", "--unit", unit});
        EXPECT_EQ(result.exitStatus, 0) << result.err;
        const nlohmann::json json = nlohmann::json::parse(result.out);
        EXPECT_EQ(json["unit"], unit);
        return json["points"][0]["concentration"].get<double>();
    };
    const double vol = at("vol");
    ASSERT_GT(vol, 0.0);
    EXPECT_DOUBLE_EQ(at("ppm"), 1e6 * vol);
    const CommandResult table = cli({"concentration", kHotStack, "--at", "100,0,90", "--unit", "ppm"});
    EXPECT_NE(table.out.find("concentration [ppm by volume]"), std::string::npos) << table.out;
    expectUsageError(cli({"concentration", kHotStack, "--at", "1,0,0", "--unit", "ppb"}),
                     "--unit: 'ppb' is not a unit (mass, vol, %, ppm or mg/m3)");
}

TEST(Status, ARunRefusedByTheSourceChecksIsNoSuccess) {
    // Used to be: ok true, exit 0 and an empty table.
    TemporaryFolder folder;
    const std::string slow = slowVent(folder);
    const CommandResult text = cli({"run", slow});
    EXPECT_EQ(text.exitStatus, 1);
    EXPECT_EQ(text.out, "");
    EXPECT_EQ(
        text.err,
        "ostreljet: the run was refused by the source checks: The calculated exit velocity is "
        "less than three times the wind velocity, model not valid. (exit speed 0.2171 m/s, wind speed at "
        "the stack 5.753 m/s: 0.03774 times; the model needs 3 times)\n");
    const CommandResult json = cli({"run", slow, "--json"});
    EXPECT_EQ(json.exitStatus, 1);
    const nlohmann::json parsed = nlohmann::json::parse(json.out);
    EXPECT_EQ(parsed["ok"], false);
    EXPECT_EQ(parsed["status"], "refused");
    EXPECT_EQ(parsed["messages"][0]["severity"], "error");
    EXPECT_EQ(cli({"concentration", slow, "--at", "1,0,20"}).exitStatus, 1);
    // A refused line of a batch: see the batch's sweep test.
}

TEST(Status, NoticesAppearOnceAndTheMainJobIsShort) {
    for (const char *name : {"vertical_buoyant_vent.json", "horizontal_dense_release.json",
                             "choked_high_pressure.json", "hot_stack_unstable.json"}) {
        const CommandResult result = cli({"run", example(name)});
        ASSERT_EQ(result.exitStatus, 0) << name << result.err;
        const std::vector<std::string> lines = linesOf(result.out);
        EXPECT_LE(lines.size(), 17u) << result.out;
        for (const std::string &line : lines) {
            if (line.rfind("  warning: ", 0) == 0 || line.rfind("  information: ", 0) == 0) {
                const std::string text = line.substr(line.find(": ") + 2);
                const std::string messages = result.out.substr(result.out.find("Messages:\n"));
                EXPECT_EQ(messages.find(text), messages.rfind(text)) << "shown twice: " << text;
            }
        }
    }
}

TEST(Steps, FourSignificantFiguresAndNoiseAsZero) {
    // Used to print 316 rows of 6 digits with arc lengths of 7.8e-15 m and y of 1.3e-29 m.
    const CommandResult result = cli({"run", kVent, "--steps"});
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<std::string> lines = linesOf(result.out);
    std::size_t heading = 0;
    while (heading < lines.size() && lines[heading].find("arc length [m]") == std::string::npos) {
        ++heading;
    }
    ASSERT_LT(heading + 2, lines.size());
    // The second step sits 7.8e-15 m along the centreline: noise against the run's 73 m.
    EXPECT_EQ(words(lines[heading + 2])[0], "0") << lines[heading + 2];
    EXPECT_EQ(words(lines[heading + 1])[2], "0") << "y of the first step";
    EXPECT_EQ(words(lines.back())[0], "73.24") << lines.back();
}

TEST(Init, WritesACompleteScenarioThatRunsAndNeverReplacesAFile) {
    TemporaryFolder folder;
    const std::string path = folder.file("start.json");
    ASSERT_EQ(cli({"init", "--gas", "propane", "-o", path}).exitStatus, 0);
    const nlohmann::json scenario = nlohmann::json::parse(readText(path));
    EXPECT_EQ(scenario["gas"], "propane");
    // Propane (1.865 kg/m3 at 288.15 K): a 15 cm orifice, the whole centimetres below the 15.08 cm at
    // which 1 kg/s leaves at 30 m/s, six times the 5 m/s wind.
    EXPECT_EQ(scenario["orificeDiameter"], 0.15);
    // Where the wind comes from, as weather records give it: the 5 m/s wind blowing towards 90 degrees.
    EXPECT_EQ(scenario["windFromBearing"], 270.0);
    EXPECT_FALSE(scenario.contains("referenceWindBearing"));
    const nlohmann::json json = runJson({path});
    // 1 kg/s of propane leaves the 0.15 m orifice at 6.07 times the wind's speed: no warning about it (the
    // one warning is the plume's edge reaching the ground 281 m along it).
    EXPECT_EQ(json["status"], "warning") << json.dump();
    for (const nlohmann::json &message : json["messages"]) {
        EXPECT_EQ(message["text"].get<std::string>().find("velocity"), std::string::npos) << message;
    }
    EXPECT_EQ(json["summary"]["levels"][0]["level"], "LFL");
    // Methane keeps the 20 cm orifice; chlorine (3.0 kg/m3) gets 11 cm and runs instead of being refused.
    const std::string methane = folder.file("methane.json");
    const std::string chlorine = folder.file("chlorine.json");
    ASSERT_EQ(cli({"init", "-o", methane}).exitStatus, 0);
    ASSERT_EQ(cli({"init", "--gas", "chlorine", "-o", chlorine}).exitStatus, 0);
    EXPECT_EQ(nlohmann::json::parse(readText(methane))["orificeDiameter"], 0.2);
    EXPECT_EQ(nlohmann::json::parse(readText(chlorine))["orificeDiameter"], 0.11);
    EXPECT_TRUE(runJson({chlorine})["ok"].get<bool>());
    expectUsageError(cli({"init", "-o", path}),
                     "-o: '" + path + "' exists already; remove it or choose another name");
    expectRefusal(cli({"init", "--gas", "unobtainium"}), {"--gas: unknown gas 'unobtainium'", "methane"});
}

TEST(Options, NonFiniteAndOutOfRangeValuesAreRefusedNamingTheOption) {
    TemporaryFolder folder;
    // Used to answer 0.
    expectUsageError(cli({"concentration", kVent, "--at", "nan,0,0"}),
                     "--at: 'nan' is not a finite number in 'nan,0,0'");
    expectUsageError(cli({"grid", kVent, "--from", "0,0,inf", "--to", "1,1,1", "--points", "2,2,2", "--csv",
                          folder.file("g.csv")}),
                     "--from: 'inf' is not a finite number in '0,0,inf'");
    expectRefusal(cli({"run", kVent, "--levels", "IDLH"}), {"--levels", "IDLH"});
    folder.write("one.jsonl", R"({"gas": "methane"})"
                              "\n");
    expectRefusal(cli({"batch", folder.file("one.jsonl"), "--jobs", "0", "-o", folder.file("o.jsonl")}),
                  {"--jobs"});
    folder.write("typo.jsonl", R"({"base": {"gas": "methane"}, "vary": {"windSped": [1, 2]}})"
                               "\n");
    ASSERT_EQ(cli({"batch", folder.file("typo.jsonl"), "-o", folder.file("t.jsonl")}).exitStatus, 1);
    const nlohmann::json typo = nlohmann::json::parse(linesOf(readText(folder.file("t.jsonl")))[0]);
    EXPECT_EQ(typo["ok"], false);
    EXPECT_NE(typo["error"].get<std::string>().find("unknown key \"windSped\""), std::string::npos);
}

TEST(Options, NoOutputMayBeTheScenarioBeingRead) {
    // Used to overwrite the scenario silently.
    TemporaryFolder folder;
    const std::string scenario = folder.write("vent.json", readText(kVent));
    const std::string sameFile = folder.file("") + "/./vent.json";
    std::filesystem::create_symlink(scenario, folder.file("link.json"));
    for (const std::string &output : {sameFile, folder.file("link.json")}) {
        expectRefusal(cli({"run", scenario, "--csv", output}), {"--csv", "is the scenario file being read"});
    }
    EXPECT_EQ(readText(scenario), readText(kVent));
}

TEST(Version, PrintsTheGeneratedVersion) {
    const CommandResult result = cli({"--version"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, std::string("ostreljet ") + OSTRELJET_VERSION_STRING + "\n");
}
