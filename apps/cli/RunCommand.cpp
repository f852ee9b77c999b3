#include "Commands.hpp"
#include "FarFieldOutput.hpp"
#include "Support.hpp"

#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/results/RunJson.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "report/SummaryText.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ostreljet::cli {

namespace {

struct RunOptions {
    std::string scenario;
    bool json = false;
    std::string csv;
    std::string farFieldCsv;
    bool steps = false;
    bool quiet = false;
    std::string levels;
    std::string unit = "vol";
};

constexpr std::string_view kConcentrationSeries = "centrelineConcentration";

// Every series of the run, the centreline concentration in `unit` (mg/m³ at the ambient temperature of
// each step's height).
std::vector<std::vector<double>> allSeries(const JetModel &model, ConcentrationUnit unit) {
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    std::vector<std::vector<double>> columns;
    for (const PropertyTable::Series &series : PropertyTable::series()) {
        std::vector<double> values = PropertyTable::values(model, series);
        if (series.name == kConcentrationSeries && unit != ConcentrationConverter::modelUnit) {
            for (std::size_t k = 0; k < values.size(); ++k) {
                const double z = model.centrelineLocations()[k].z();
                values[k] = converter.fromModel(values[k], unit, report::ambientTemperatureAt(model, z));
            }
        }
        columns.push_back(std::move(values));
    }
    return columns;
}

// The summary block: a heading, then one "label: value" line per answer, the labels aligned.
void printSummary(const JetModel &model, const RunSummary &summary, const report::SummaryRequest &request,
                  const std::string &title, const FarField &farField) {
    fmt::print("{}\n", title);
    std::vector<report::SummaryLine> lines = report::summaryLines(model, summary, request);
    for (report::SummaryLine &line : farFieldLines(model, farField, request)) {
        lines.push_back(std::move(line));
    }
    std::size_t width = 0;
    for (const report::SummaryLine &line : lines) {
        width = std::max(width, line.label.size());
    }
    for (const report::SummaryLine &line : lines) {
        fmt::print("  {:<{}}  {}\n", line.label + ":", width + 1, line.value);
    }
}

// The output steps to four significant digits; a value below 1e-9 of its column's largest magnitude is
// integration noise and prints as 0.
void printSteps(const JetModel &model, ConcentrationUnit unit) {
    const std::vector<std::string> headings = {
        "arc length [m]",  "x [m]",         "y [m]",
        "z [m]",           "radius [m]",    fmt::format("concentration [{}]", concentrationUnitLabel(unit)),
        "temperature [K]", "velocity [m/s]"};
    const std::vector<std::vector<double>> columns = allSeries(model, unit);
    std::vector<std::size_t> widths;
    std::string line;
    for (const std::string &heading : headings) {
        widths.push_back(std::max<std::size_t>(12, heading.size() + 2));
        line += fmt::format("{:>{}}", heading, widths.back());
    }
    fmt::print("\n{}\n", line);
    std::vector<double> scale(columns.size(), 0.0);
    for (std::size_t c = 0; c < columns.size(); ++c) {
        for (const double value : columns[c]) {
            if (std::isfinite(value)) {
                scale[c] = std::max(scale[c], std::fabs(value));
            }
        }
    }
    const std::size_t steps = static_cast<std::size_t>(model.numberOfOutputSteps());
    for (std::size_t k = 0; k < steps; ++k) {
        line.clear();
        for (std::size_t c = 0; c < columns.size(); ++c) {
            const double value = std::fabs(columns[c][k]) < 1e-9 * scale[c] ? 0.0 : columns[c][k];
            line += fmt::format("{:>{}}", report::figure(value), widths[c]);
        }
        fmt::print("{}\n", line);
    }
}

void writeCsv(const JetModel &model, const std::string &path, ConcentrationUnit unit) {
    const std::vector<std::vector<double>> columns = allSeries(model, unit);
    writeFileAtomically(path, [&](std::FILE *out) {
        std::string line;
        for (const PropertyTable::Series &series : PropertyTable::series()) {
            if (!line.empty()) {
                line += ',';
            }
            line += fmt::format("{} [{}]", series.name,
                                series.name == kConcentrationSeries ? concentrationUnitLabel(unit)
                                                                    : std::string_view(series.unit));
        }
        fmt::print(out, "{}\n", line);
        const std::size_t steps = static_cast<std::size_t>(model.numberOfOutputSteps());
        for (std::size_t k = 0; k < steps; ++k) {
            line.clear();
            for (std::size_t c = 0; c < columns.size(); ++c) {
                if (c > 0) {
                    line += ',';
                }
                line += fmt::format("{:.17g}", columns[c][k]);
            }
            fmt::print(out, "{}\n", line);
        }
    });
}

// The far field's series as CSV: one row per point from the hand-off to its end, concentrations in `unit`
// (mg/m³ at the ambient temperature of their height); only the header row when there is no far field.
void writeFarFieldCsv(const JetModel &model, const FarField &field, const std::string &path,
                      ConcentrationUnit unit) {
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    const std::string_view label = concentrationUnitLabel(unit);
    writeFileAtomically(path, [&](std::FILE *out) {
        fmt::print(out,
                   "downwindDistance [m],height [m],sigmaY [m],sigmaZ [m],centrelineConcentration [{}],"
                   "groundLevelConcentration [{}],regime\n",
                   label, label);
        for (const FarFieldPoint &point : field.series()) {
            const double axis = converter.fromModel(point.centrelineConcentration, unit,
                                                    report::ambientTemperatureAt(model, point.height));
            const double ground = converter.fromModel(point.groundLevelConcentration, unit,
                                                      report::ambientTemperatureAt(model, 0.0));
            fmt::print(out, "{:.17g},{:.17g},{:.17g},{:.17g},{:.17g},{:.17g},{}\n", point.downwindDistance,
                       point.height, point.sigmaY, point.sigmaZ, axis, ground,
                       point.regime == FarFieldRegime::dense ? "dense" : "passive");
        }
    });
}

} // namespace

void registerRunCommand(CLI::App &app) {
    auto options = std::make_shared<RunOptions>();
    CLI::App *command = app.add_subcommand(
        "run", "Run a scenario and print its summary (how it ended, greatest height, where it reaches the "
               "ground, how far each level reaches) and its messages; --steps adds the output steps.");
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    CLI::Option *json =
        command->add_flag("--json", options->json,
                          "print one JSON object {version, ok, status, unit, summary, messages, "
                          "farField, steps} with 17 significant digits (null for what does not exist)");
    command
        ->add_option("--csv", options->csv,
                     "write the output steps to FILE as CSV with a header row instead of printing")
        ->type_name("FILE")
        ->excludes(json);
    command
        ->add_option(
            "--far-field-csv", options->farFieldCsv,
            "write the far field's series (downwind distance, height, sigmaY, sigmaZ, centreline and "
            "ground-level concentration, regime) to FILE as CSV with a header row")
        ->type_name("FILE");
    command->add_flag("--steps", options->steps, "print the output steps after the summary");
    command
        ->add_option(
            "--levels", options->levels,
            "levels to summarise: numbers with an optional unit (0.01, 2%, 5000ppm, 100mg/m3) or LFL, "
            "UFL, LFL/2, IDLH of the scenario's gas (default: LFL and LFL/2 of a flammable gas, else "
            "the stopping concentration)")
        ->type_name("L1,L2,...");
    command->add_option("--unit", options->unit, unitOptionHelp())->type_name("UNIT");
    command->add_flag("--quiet", options->quiet, "print nothing but errors");

    command->callback([options]() {
        const ConcentrationUnit unit = parseUnitOption(options->unit);
        std::vector<Level> levels;
        if (!options->levels.empty()) {
            levels = parseLevelsOption("--levels", options->levels, unit);
        }
        if (!options->csv.empty()) {
            checkNotInput("--csv", options->csv, options->scenario);
        }
        if (!options->farFieldCsv.empty()) {
            checkNotInput("--far-field-csv", options->farFieldCsv, options->scenario);
        }
        const Scenario scenario = loadScenario(options->scenario);
        JetModel model;
        scenario.applyTo(model);
        const std::vector<double> modelLevels = summaryLevels("--levels", levels, model, scenario);
        const WholePlumeSummary::Result run = runScenario(model, scenario, modelLevels);
        const RunSummary &summary = run.summary;
        const FarField &farField = run.field->farField();
        report::SummaryRequest request{levels, modelLevels, unit};
        if (!options->csv.empty() && summary.succeeded()) {
            writeCsv(model, options->csv, unit);
        }
        if (!options->farFieldCsv.empty() && summary.succeeded()) {
            writeFarFieldCsv(model, farField, options->farFieldCsv, unit);
        }
        if (options->json) {
            fmt::print("{}\n", RunJson::document(model, summary, farField, levels, modelLevels, unit));
        } else if (!options->quiet && options->csv.empty() && options->farFieldCsv.empty() &&
                   (summary.succeeded() || summary.status == RunStatus::failed)) {
            const std::string gas = scenario.gas().empty() ? "" : fmt::format(" ({})", scenario.gas());
            printSummary(model, summary, request,
                         fmt::format("Summary of {}{}, concentrations in {}:",
                                     std::filesystem::path(options->scenario).filename().string(), gas,
                                     concentrationUnitLabel(unit)),
                         farField);
            printMessages(summary);
            for (const std::string &warning : farField.warnings()) {
                fmt::print("  warning: {}\n", warning);
            }
            if (options->steps && summary.succeeded()) {
                printSteps(model, unit);
            }
        }
        endUnlessOk(summary);
    });
}

} // namespace ostreljet::cli
