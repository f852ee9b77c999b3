// The validate command: the report and the JSON it writes, the field trials it lists, its refusal of a
// bad cases file or trial file, and the README's table against what the command prints.
#include "CliTestSupport.hpp"

#include <fmt/core.h>

#include <cctype>
#include <map>
#include <regex>

namespace ostreljet::testsupport {
namespace {

TEST(ValidateCommandTest, WritesTheReportAndPrintsTheSameFiguresAsJsonAndAsTheReadme) {
    TemporaryFolder folder;
    const std::string page = folder.file("validation.html");
    const CommandResult result = cli({"validate", "-o", page, "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(result.out);
    EXPECT_EQ(keysOf(json), (std::vector<std::string>{"cases_file", "seconds", "correlations",
                                                      "trials_source", "trials_method", "point_trials_method",
                                                      "trial_parts", "trial_pairs", "trials"}));
    EXPECT_LT(json["seconds"].get<double>(), 30.0);
    ASSERT_EQ(json["correlations"].size(), 6u);
    const std::string html = readText(page);
    EXPECT_EQ(html.rfind("<!DOCTYPE html>", 0), 0u);
    EXPECT_EQ(html.find("http://"), html.find("http://www.w3.org/2000/svg")); // nothing fetched
    EXPECT_EQ(html.find("<script"), std::string::npos);
    // The summary table comes before the first section, and every correlation has a row, a section and
    // a plot, with the statistics as printed.
    const std::size_t firstSection = html.find("<h2 id=");
    std::map<std::string, std::string> printed; // the README's table rows, as the command prints them
    for (const auto &c : json["correlations"]) {
        printed[c["title"].get<std::string>()] =
            fmt::format("{}/{} | {:.2f} | {:.2f} | {:.2f}", c["compared"].get<int>(), c["points"].get<int>(),
                        c["MG"].get<double>(), c["VG"].get<double>(), c["FAC2"].get<double>());
        const std::string id = c["id"].get<std::string>();
        SCOPED_TRACE(id);
        EXPECT_LT(html.find("<a href=\"#" + id + "\">"), firstSection);
        EXPECT_NE(html.find("<h2 id=\"" + id + "\">"), std::string::npos);
        EXPECT_NE(html.find(fmt::format("MG {:.2f}, VG {:.2f}, FAC2 {:.2f}", c["MG"].get<double>(),
                                        c["VG"].get<double>(), c["FAC2"].get<double>())),
                  std::string::npos);
        EXPECT_EQ(c["comparisons"].size(), c["points"].get<std::size_t>());
    }
    EXPECT_NE(html.find("validation-plot-5-clip"), std::string::npos);
    // The README's table is what the command prints.
    const std::string readme = readText(OSTRELJET_EXAMPLES_DIR "/../README.md");
    const std::size_t section = readme.find("## How well does it agree?");
    ASSERT_NE(section, std::string::npos);
    std::map<std::string, std::string> written;
    // Rows "| title | compared/points | MG | VG | FAC2 |" of the section's table.
    const std::size_t trialsSection = readme.find("### Field trials", section);
    ASSERT_NE(trialsSection, std::string::npos);
    for (const std::string &line : linesOf(readme.substr(section, trialsSection - section))) {
        if (line.size() < 4 || line.rfind("| ", 0) != 0 || line.substr(line.size() - 2) != " |") {
            continue;
        }
        const std::string inner = line.substr(2, line.size() - 4);
        const std::size_t split = inner.find(" | ");
        const std::string figures = inner.substr(split + 3);
        if (split != std::string::npos && !figures.empty() &&
            std::isdigit(static_cast<unsigned char>(figures[0]))) {
            written[inner.substr(0, split)] = figures;
        }
    }
    EXPECT_EQ(written, printed);
    // Every field trial read is listed with its observations and their predictions, or says why there is
    // none; every pair is listed flat as well.
    EXPECT_EQ(json["trials_source"], "validation/trials (built in)");
    ASSERT_EQ(json["trials"].size(), 13u + 53u); // the LNG pools, then the Prairie Grass runs
    const auto &burro3 = json["trials"][0];
    EXPECT_EQ(burro3["id"], "burro-3");
    EXPECT_EQ(burro3["part"], "dense");
    EXPECT_EQ(burro3["statistics_part"], "dense, open ground");
    EXPECT_NEAR(burro3["release_rate_kg_s"].get<double>(), 88.096, 0.001); // 14712 kg over 167 s
    EXPECT_EQ(burro3["observations"][0]["distance_m"], 57.0);
    EXPECT_EQ(burro3["observations"][0]["unit"], "volume fraction");
    EXPECT_EQ(burro3["observations"][0]["observed"], 0.282);
    EXPECT_TRUE(burro3["observations"][0]["predicted"].is_null());
    EXPECT_EQ(burro3["observations"][0]["not_computed"],
              "not computed: nearer than the dense-plume curves reach (209 m)");
    std::size_t pairs = 0;
    for (const auto &trial : json["trials"]) {
        EXPECT_EQ(trial["comparison"],
                  trial["source_kind"] == "point" ? json["point_trials_method"] : json["trials_method"]);
        for (const auto &o : trial["observations"]) {
            const auto &pair = json["trial_pairs"][pairs++];
            EXPECT_EQ(pair["trial"], trial["id"]);
            EXPECT_EQ(pair["distance_m"], o["distance_m"]);
            EXPECT_EQ(pair["unit"], o["unit"]);
            EXPECT_EQ(pair["unit"], trial["source_kind"] == "point" ? "kg/m3" : "volume fraction");
            EXPECT_EQ(pair["observed"], o["observed"]);
            EXPECT_EQ(pair["predicted"], o["predicted"]);
            EXPECT_EQ(o["predicted"].is_null(), o.contains("not_computed"));
        }
    }
    EXPECT_EQ(pairs, 52u + 263u);
    EXPECT_EQ(json["trial_pairs"].size(), 52u + 263u);
    // The README's tables of the trials (statistics per part, distances to the LFL) are the JSON's.
    std::map<std::string, std::string> partsPrinted, partsWritten, lflPrinted, lflWritten;
    for (const auto &p : json["trial_parts"]) {
        partsPrinted[p["part"].get<std::string>()] = fmt::format(
            "{} | {}/{} | {:.2f} | {:.2f} | {:.2f} | {:.2f} | {:.2f} | {}", p["trials"].get<int>(),
            p["compared"].get<int>(), p["pairs"].get<int>(), p["MG"].get<double>(), p["VG"].get<double>(),
            p["FAC2"].get<double>(), p["FB"].get<double>(), p["NMSE"].get<double>(),
            p["acceptable"].get<bool>() ? "acceptable" : "not acceptable");
    }
    const auto distance = [](const nlohmann::ordered_json &d) {
        return d["distance_m"].is_null() ? std::string("not computed")
                                         : fmt::format("{:.0f} m", d["distance_m"].get<double>());
    };
    for (const auto &t : json["trials"]) {
        if (t["source_kind"] != "pool")
            continue; // a tracer: no flammable limit, and no row in the README's table
        lflPrinted[t["title"].get<std::string>()] =
            distance(t["lfl_distance_observed"]) + " | " + distance(t["lfl_distance_predicted"]);
    }
    for (const std::string &line :
         linesOf(readme.substr(trialsSection, readme.find("\n## ", trialsSection) - trialsSection))) {
        if (line.rfind("| ", 0) != 0 || line.substr(line.size() - 2) != " |") {
            continue;
        }
        const std::string inner = line.substr(2, line.size() - 4);
        const std::size_t split = inner.find(" | ");
        const std::string name = inner.substr(0, split);
        const std::string rest = inner.substr(split + 3);
        if (std::isdigit(static_cast<unsigned char>(rest[0])) && rest.find('/') != std::string::npos) {
            partsWritten[name] = rest;
        } else if (rest.rfind("not computed", 0) == 0 || rest.find(" m | ") != std::string::npos) {
            // "not computed (why)" in the README is "not computed" in the JSON's terms.
            lflWritten[name] =
                std::regex_replace(rest, std::regex("not computed \\([^)]*\\)"), "not computed");
        }
    }
    EXPECT_EQ(partsWritten, partsPrinted);
    EXPECT_EQ(lflWritten, lflPrinted);
    // The report has the trials' section, its scatter and one plot per computed trial.
    EXPECT_NE(html.find("<h2 id=\"field-trials\">"), std::string::npos);
    EXPECT_NE(html.find("trials-scatter-clip"), std::string::npos);
    EXPECT_NE(html.find("trials-scatter-passive-clip"), std::string::npos);
    EXPECT_NE(html.find("trial-plot-12-clip"), std::string::npos);
}

TEST(ValidateCommandTest, RefusesABadCasesFileAndWritesNothing) {
    TemporaryFolder folder;
    const std::string cases = folder.write("cases.json", R"({"cases":[{"correlation":"nobody"}]})");
    expectUsageError(cli({"validate", "--cases", cases, "-o", folder.file("v.html")}),
                     cases + ": case 1: unknown correlation \"nobody\"");
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"cases.json"}));
}

TEST(ValidateCommandTest, RefusesABadTrialFileNamingTheKeyAndWritesNothing) {
    TemporaryFolder folder;
    const std::string trials = folder.file("trials");
    std::filesystem::create_directory(trials);
    const std::string bad = folder.write(
        "trials/bad.json", R"({"id": "bad", "title": "Bad", "series": "X", "part": "sideways"})");
    expectUsageError(cli({"validate", "--trials", trials, "-o", folder.file("v.html")}),
                     bad + ": part: must be \"passive\", \"dense\" or \"jet\", not \"sideways\"");
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"trials"}));
}

TEST(ValidateCommandTest, SummaryOnATerminalLessRunCarriesUnits) {
    TemporaryFolder folder;
    const CommandResult result = cli({"validate", "-o", folder.file("v.html")});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const std::vector<std::string> lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 36u);
    EXPECT_NE(lines[0].find("points  MG (-)  VG (-) FAC2 (-)"), std::string::npos) << lines[0];
    EXPECT_EQ(lines[8],
              "66 field trials read from validation/trials (built in) (315 observed concentrations).");
    EXPECT_EQ(lines[9].rfind("Pools: the trials' sources are evaporating pools, which the jet model does not "
                             "accept",
                             0),
              0u)
        << lines[9];
    EXPECT_EQ(
        lines[10].rfind("Point sources: the trials' sources are points near the ground with no jet to "
                        "follow: each is started directly in the far field, as a passive Gaussian plume",
                        0),
        0u)
        << lines[10];
    EXPECT_EQ(lines[12],
              "Field trials, part     trials   pairs  MG (-)  VG (-) FAC2 (-)  FB (-) NMSE (-)  verdict");
    EXPECT_EQ(lines[15].substr(0, 37), "passive, point source      53 263/263");
    EXPECT_EQ(lines[20], "Distance to the LFL           observed (m)          predicted (m)");
    // Only the pools have a flammable limit: the tracer's runs have no row.
    EXPECT_EQ(lines[30], "Falcon 4                     not computed                    199");
    EXPECT_EQ(lines[33], "Maplin Sands 35                       184                    185");
    EXPECT_TRUE(std::regex_match(lines[35], std::regex("wrote .*v\\.html \\(48 model runs, [0-9.]+ s\\)")))
        << lines[35];
    EXPECT_EQ(result.err, ""); // no progress line when stderr is not a terminal
}

} // namespace
} // namespace ostreljet::testsupport
