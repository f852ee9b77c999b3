#include "cli/CliTestSupport.hpp"

#include <fstream>

using namespace ostreljet::testsupport;

// The listing of the input keys: every key a scenario accepts, with its unit, default and the range that
// a run's validation enforces.
TEST(InputsCommand, JsonListsEveryKeyWithUnitDefaultRangeAndLabels) {
    const CommandResult result = cli({"inputs", "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const nlohmann::ordered_json list = nlohmann::ordered_json::parse(result.out);
    // The 23 properties of the model, then the 3 inputs of the far field.
    ASSERT_EQ(list.size(), 26u);
    EXPECT_EQ(list[25]["name"], "farFieldDistance");
    EXPECT_EQ(list[25]["unit"], "m");
    EXPECT_EQ(list[25]["scope"], "scenario");
    EXPECT_EQ(list[23]["default"], "rural");
    EXPECT_EQ(keysOf(list[0]),
              (std::vector<std::string>{"name", "type", "unit", "meaning", "default", "range"}));
    EXPECT_EQ(list[0]["name"], "stackHeight");
    EXPECT_EQ(list[0]["unit"], "m");
    EXPECT_EQ(list[0]["default"], 0.0);
    EXPECT_EQ(list[0]["range"],
              nlohmann::ordered_json::parse(
                  R"({"lower": 0.0, "lowerInclusive": true, "upper": 1000.0, "upperInclusive": true})"));
    for (const auto &input : list) {
        const std::string name = input["name"];
        if (name == "massFlowrate") {
            EXPECT_EQ(input["range"]["lower"], 0.0);
            EXPECT_EQ(input["range"]["lowerInclusive"], false);
            EXPECT_TRUE(input["range"]["upper"].is_null());
        } else if (name == "pasquillStability") {
            EXPECT_EQ(input["type"], "PASQUILL");
            EXPECT_TRUE(input["range"].is_null());
            ASSERT_EQ(input["labels"].size(), 6u);
            EXPECT_EQ(input["labels"][5],
                      nlohmann::ordered_json::parse(R"({"label": "F", "member": "PASQUILL_F", "value": 5})"));
        }
    }
}

TEST(InputsCommand, TableShowsUnitsDefaultsAndAcceptedValuesAndEveryKeyIsAScenarioKey) {
    const CommandResult result = cli({"inputs"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const std::vector<std::string> lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 27u);
    EXPECT_EQ(lines[0].rfind("input", 0), 0u);
    const auto line = [&lines](const std::string &name) {
        for (const std::string &text : lines) {
            if (text.rfind(name + " ", 0) == 0) {
                return text;
            }
        }
        return std::string();
    };
    EXPECT_NE(line("orificeDiameter").find("(0, 100]"), std::string::npos) << line("orificeDiameter");
    EXPECT_NE(line("stoppingConcentration").find("(0, 1)"), std::string::npos);
    EXPECT_NE(line("massFlowrate").find("(0, inf)"), std::string::npos);
    EXPECT_NE(line("timeAveraging").find("short | long"), std::string::npos);
    EXPECT_NE(line("pasquillStability").find(" D "), std::string::npos) << line("pasquillStability");
    EXPECT_NE(line("atmosphereSpecificHeat").find("J/(kg K)"), std::string::npos);
    EXPECT_NE(line("averagingTime").find("(0, 86400]"), std::string::npos) << line("averagingTime");
    EXPECT_NE(line("farFieldDispersion").find("rural, urban"), std::string::npos);
    // A scenario that gives every listed key its default is read without complaint.
    const nlohmann::ordered_json list = nlohmann::ordered_json::parse(cli({"inputs", "--json"}).out);
    nlohmann::ordered_json scenario = nlohmann::ordered_json::object();
    for (const auto &input : list) {
        scenario[input["name"].get<std::string>()] = input["default"];
    }
    const std::string path = ::testing::TempDir() + "inputs_defaults.json";
    std::ofstream(path) << scenario.dump();
    const CommandResult run = cli({"run", path, "--json"});
    EXPECT_EQ(run.exitStatus, 1) << run.err;
    EXPECT_NE(run.out.find("The orifice diameter should lie between 0 and 100m."), std::string::npos)
        << run.out;
}
