#include "cli/CliTestSupport.hpp"

#include <nlohmann/json.hpp>

#include <cmath>

using namespace ostreljet::testsupport;

// Every front of the command line says the same about a run that was not a normal one: its status, its
// exit status, and "not computed" where it computed nothing.

namespace {

// A gas of 0.125 kg/mol released upward: its centreline concentration starts below 0.
constexpr const char *heavyGas =
    R"({"stackHeight": 10, "orificeDiameter": 0.1, "releaseAngle": 90, "massFlowrate": 2,
        "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1, "sourceTemperature": 288.15,
        "stoppingConcentration": 0.0001, "sourceMolecularWeight": 0.125, "sourceSpecificHeat": 665,
        "sourceSpecificHeatRatio": 1.1})";

nlohmann::json parsed(const std::string &text) {
    return nlohmann::json::parse(text);
}

} // namespace

TEST(HonestAnswers, AFailedRunGivesItsStatusAndNoFiguresOnEveryCommand) {
    const TemporaryFolder folder;
    const std::string scenario = folder.write("heavy.json", heavyGas);
    const CommandResult text = cli({"run", scenario});
    EXPECT_EQ(text.exitStatus, 1);
    EXPECT_NE(text.out.find("  Run status:  failed\n"), std::string::npos) << text.out;
    EXPECT_EQ(text.out.find("downwind;"), std::string::npos) << "no distances: " << text.out;
    EXPECT_EQ(
        text.err.rfind(
            "ostreljet: failed: The model produced non-physical values: a centreline concentration of -", 0),
        0u)
        << text.err;

    const CommandResult json = cli({"run", scenario, "--json", "--levels", "0.01"});
    EXPECT_EQ(json.exitStatus, 1);
    const nlohmann::json answer = parsed(json.out);
    EXPECT_EQ(answer["status"], "failed");
    EXPECT_EQ(answer["ok"], false);
    EXPECT_TRUE(answer["summary"]["greatestCentrelineHeight"].is_null());
    EXPECT_TRUE(answer["summary"]["levels"][0]["farthestDownwindExtent"].is_null());
    EXPECT_TRUE(answer["steps"]["arclength"].empty());

    const CommandResult point = cli({"concentration", scenario, "--at", "0,0,10.5", "--json"});
    EXPECT_EQ(point.exitStatus, 1);
    EXPECT_EQ(parsed(point.out)["status"], "failed");
    EXPECT_TRUE(parsed(point.out)["points"].empty());

    const std::string jsonl = folder.write("sweep.jsonl", nlohmann::json::parse(heavyGas).dump() + "\n");
    const CommandResult batch = cli({"batch", jsonl, "-o", folder.file("out.jsonl")});
    EXPECT_EQ(batch.exitStatus, 0) << batch.err;
    const nlohmann::json result = parsed(readText(folder.file("out.jsonl")));
    EXPECT_EQ(result["status"], "failed");
    EXPECT_TRUE(result["last"].is_null());
}

TEST(HonestAnswers, AJetEndedByItsRangePastTheHandOffSaysSoAndNothingBeyondTheFarFieldIsComputed) {
    // The hot stack carried on to 1e-6 reaches the end of its 10,000 m range, long after the far field took
    // over at its passive transition: a warning, and the modelled region ends with the far field.
    const TemporaryFolder folder;
    nlohmann::json stack = nlohmann::json::parse(readText(example("hot_stack_unstable.json")));
    stack["stoppingConcentration"] = 1e-6;
    const std::string hot = folder.write("hot.json", stack.dump());
    const CommandResult run = cli({"run", hot, "--json"});
    EXPECT_EQ(run.exitStatus, 0);
    const nlohmann::json answer = parsed(run.out);
    ASSERT_EQ(answer["status"], "warning") << run.out;
    const std::string ended = answer["summary"]["endMessage"].get<std::string>();
    EXPECT_EQ(ended.rfind("The run reached the end of its range, 10000.0 m along the centreline, ", 0), 0u);
    EXPECT_TRUE(
        ended.ends_with("before the stopping concentration: the far field carries the answers on from "
                        "689.7 m downwind, ahead of it."))
        << ended;
    const double end = answer["summary"]["notComputedBeyondDownwind"].get<double>();
    EXPECT_EQ(end, 10000.0);

    // A point 2 km beyond the end: null in JSON, "not computed" in text, an empty cell in CSV.
    const std::string beyond = std::to_string(end + 2000.0) + ",0,1000";
    const CommandResult json = cli({"concentration", hot, "--at", beyond, "--at", "5000,0,1000", "--json"});
    const nlohmann::json points = parsed(json.out)["points"];
    EXPECT_TRUE(points[0]["concentration"].is_null());
    EXPECT_TRUE(points[1]["concentration"].is_number());
    const CommandResult table = cli({"concentration", hot, "--at", beyond});
    EXPECT_NE(table.out.find("not computed\n"), std::string::npos) << table.out;
    const CommandResult grid = cli({"grid", hot, "--from", std::to_string(end + 1000.0) + ",0,1000", "--to",
                                    std::to_string(end + 2000.0) + ",1,1001", "--points", "2,1,1", "--csv",
                                    folder.file("grid.csv")});
    EXPECT_EQ(grid.exitStatus, 0);
    const std::vector<std::string> rows = linesOf(readText(folder.file("grid.csv")));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], "x,y,z,concentration [volume fraction]");
    EXPECT_EQ(rows[1].back(), ',') << rows[1];
    EXPECT_EQ(rows[2].back(), ',') << rows[2];
}

TEST(HonestAnswers, ALevelBelowTheStoppingConcentrationIsAnsweredFromALongerRun) {
    // The vent example's LFL distance (12.8 m downwind) is the same whether the scenario stops at 0.01 or at
    // 0.1.
    const TemporaryFolder folder;
    const std::string high = folder.write("high.json", ventWith(R"({"stoppingConcentration": 0.1})"));
    const nlohmann::json reference =
        parsed(cli({"run", example("vertical_buoyant_vent.json"), "--json"}).out);
    const nlohmann::json lowered = parsed(cli({"run", high, "--json"}).out);
    EXPECT_EQ(lowered["summary"]["levels"][0]["centrelineDownwindDistance"],
              reference["summary"]["levels"][0]["centrelineDownwindDistance"]);
    EXPECT_NEAR(lowered["summary"]["levels"][0]["centrelineDownwindDistance"].get<double>(), 12.8, 0.05);
    EXPECT_EQ(lowered["summary"]["stoppingConcentrationLoweredFrom"], 0.1);
    EXPECT_EQ(lowered["summary"]["stoppingConcentration"], 0.0125);
    const CommandResult text = cli({"run", high});
    EXPECT_NE(
        text.out.find("  Stopping concentration:               0.0125 volume fraction, lowered from the "
                      "scenario's 0.1 volume fraction to half the lowest level\n"),
        std::string::npos)
        << text.out;
}

TEST(HonestAnswers, RefusalsCarryTheirFiguresAndInvalidInputsTheirKey) {
    const TemporaryFolder folder;
    const CommandResult hydrogen =
        cli({"run",
             folder.write("h2.json", ventWith(R"({"gas": "hydrogen", "sourceMolecularWeight": 0.002016})"))});
    EXPECT_EQ(hydrogen.exitStatus, 1);
    EXPECT_EQ(hydrogen.err.rfind(
                  "ostreljet: the run was refused by the source checks: The calculated density ratio "
                  "is invalid. (density ratio 0.06",
                  0),
              0u)
        << hydrogen.err;
    const CommandResult negative = cli({"run", folder.write("m.json", ventWith(R"({"massFlowrate": -1})"))});
    EXPECT_EQ(negative.exitStatus, 1);
    EXPECT_EQ(negative.err,
              "ostreljet: The initial mass flowrate must be greater than 0Kg/s. (massFlowrate = -1 kg/s)\n");
}

TEST(HonestAnswers, TheWeatherIsCheckedByProfileAndByEveryRun) {
    const CommandResult profile =
        cli({"profile", "--stability", "A", "--wind-speed", "15", "--heights", "1,10,50"});
    EXPECT_EQ(profile.exitStatus, 1);
    EXPECT_EQ(profile.out, "");
    EXPECT_EQ(profile.err.rfind(
                  "ostreljet: invalid: The weather is not physical: class A with a wind speed of 15 m/s "
                  "at 10 m gives an air temperature of -2160 K at 0 m above the ground.",
                  0),
              0u)
        << profile.err;
    const CommandResult stable = cli({"profile", "--stability", "F", "--wind-speed", "5", "--heights", "10"});
    EXPECT_EQ(stable.exitStatus, 0);
    EXPECT_EQ(stable.err.rfind("warning: Class F is unusual for a wind speed of 5 m/s at 10 m", 0), 0u)
        << stable.err;

    const TemporaryFolder folder;
    const CommandResult run = cli({"run", folder.write("a15.json", ventWith(R"({"pasquillStability": "A",
        "referenceWindSpeed": 15})")),
                                   "--json"});
    EXPECT_EQ(run.exitStatus, 1);
    const nlohmann::json answer = parsed(run.out);
    EXPECT_EQ(answer["status"], "invalid");
    ASSERT_EQ(answer["messages"].size(), 1u);
    EXPECT_EQ(
        answer["messages"][0]["text"].get<std::string>().rfind("The weather is not physical: class A", 0),
        0u);
}

TEST(HonestAnswers, TouchdownIsAWarningAndBatchSharesTheKeysOfRun) {
    const CommandResult dense =
        cli({"run", example("horizontal_dense_release.json"), "--json", "--levels", "0.01"});
    EXPECT_EQ(dense.exitStatus, 0);
    const nlohmann::json run = parsed(dense.out);
    EXPECT_EQ(run["status"], "warning");
    for (const auto &message : run["messages"]) {
        if (message["text"].get<std::string>().rfind(
                "The centreline of the jet is interacting with the ground", 0) == 0) {
            EXPECT_EQ(message["severity"], "warning");
        }
    }
    const TemporaryFolder folder;
    const std::string line =
        nlohmann::json::parse(readText(example("horizontal_dense_release.json"))).dump() + "\n";
    ASSERT_EQ(cli({"batch", folder.write("b.jsonl", line), "--levels", "0.01", "-o", folder.file("r.jsonl")})
                  .exitStatus,
              0);
    const nlohmann::json result = parsed(readText(folder.file("r.jsonl")));
    for (const char *key : {"ok", "status", "unit", "summary", "messages"}) {
        EXPECT_EQ(result[key], run[key]) << key;
    }
    EXPECT_EQ(result["inputs"]["pasquillStability"], "E");
}
