#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "report/SummaryText.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace ostreljet::cli {

namespace {

struct ConcentrationOptions {
    std::string scenario;
    std::vector<std::string> points; // "X,Y,Z", one per --at
    bool json = false;
    std::string unit = "vol";
};

struct PointValue {
    double x; // m
    double y; // m
    double z; // m
    double concentration;
};

void printJson(const JetModel &model, const RunSummary &summary, ConcentrationUnit unit,
               const std::vector<PointValue> &values) {
    std::string out = fmt::format(
        "{{\"ok\": {}, \"status\": {}, \"unit\": {}, \"points\": [", summary.succeeded() ? "true" : "false",
        jsonString(runStatusName(summary.status)), jsonString(concentrationUnitWord(unit)));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const PointValue &point = values[i];
        out += fmt::format("{}{{\"x\": {}, \"y\": {}, \"z\": {}, \"concentration\": {}}}", i == 0 ? "" : ", ",
                           jsonNumber(point.x), jsonNumber(point.y), jsonNumber(point.z),
                           jsonNumber(point.concentration));
    }
    out += "], \"messages\": [";
    for (std::size_t i = 0; i < summary.messages.size(); ++i) {
        out += fmt::format("{}{{\"severity\": {}, \"text\": {}}}", i == 0 ? "" : ", ",
                           jsonString(RunSummary::severityName(summary.messages[i].severity)),
                           jsonString(summary.messages[i].text));
    }
    out += "]}\n";
    (void)model;
    fmt::print("{}", out);
}

void printTable(const RunSummary &summary, ConcentrationUnit unit, const std::vector<PointValue> &values) {
    constexpr int kWidth = 18;
    const std::string heading = fmt::format("concentration [{}]", concentrationUnitLabel(unit));
    fmt::print("{:>{}}{:>{}}{:>{}}{:>{}}\n", "x [m]", kWidth, "y [m]", kWidth, "z [m]", kWidth, heading,
               std::max<std::size_t>(kWidth, heading.size() + 2));
    for (const PointValue &point : values) {
        // Beyond the jet's end short of the far field, and beyond the far field's end, nothing is computed.
        const std::string value = std::isnan(point.concentration)
                                      ? std::string("not computed")
                                      : fmt::format("{:.6g}", point.concentration);
        fmt::print("{:>{}.6g}{:>{}.6g}{:>{}.6g}{:>{}}\n", point.x, kWidth, point.y, kWidth, point.z, kWidth,
                   value, std::max<std::size_t>(kWidth, heading.size() + 2));
    }
    fmt::print("\n{} output steps", summary.outputSteps);
    if (const std::optional<double> end = summary.notComputedBeyondDownwind()) {
        fmt::print("; not computed beyond {} m downwind ({})", report::figure(*end),
                   summary.farField ? "the far field's end" : "the end of the run");
    }
    fmt::print("\n");
    printMessages(summary);
}

} // namespace

void registerConcentrationCommand(CLI::App &app) {
    auto options = std::make_shared<ConcentrationOptions>();
    CLI::App *command = app.add_subcommand(
        "concentration",
        "Run a scenario and show the concentration at the given points (volume fraction unless --unit "
        "says otherwise). " +
            std::string(kCutoffSentence));
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    command
        ->add_option("--at", options->points,
                     "a point X,Y,Z in metres (x east, y north, z up); repeat the option for more points")
        ->type_name("X,Y,Z")
        ->required()
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command->add_flag("--json", options->json,
                      "print one JSON object {ok, status, unit, points, messages} with 17 significant digits "
                      "(null for non-finite)");
    command->add_option("--unit", options->unit, unitOptionHelp())->type_name("UNIT");

    command->callback([options]() {
        const ConcentrationUnit unit = parseUnitOption(options->unit);
        std::vector<PointValue> values;
        for (const std::string &text : options->points) {
            const std::vector<double> point = parseTriple("--at", text);
            values.push_back({point[0], point[1], point[2], 0.0});
        }
        const Scenario scenario = loadScenario(options->scenario);
        JetModel model;
        const WholePlumeSummary::Result run = runScenario(model, scenario);
        const RunSummary &summary = run.summary;
        if (!summary.succeeded()) {
            values.clear();
        }
        const WholePlume &field = *run.field;
        const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
        for (PointValue &point : values) {
            point.concentration = converter.fromModel(field.concentration(point.x, point.y, point.z), unit,
                                                      report::ambientTemperatureAt(model, point.z));
        }
        if (options->json) {
            printJson(model, summary, unit, values);
        } else if (summary.succeeded()) {
            printTable(summary, unit, values);
        }
        endUnlessOk(summary);
    });
}

} // namespace ostreljet::cli
