#include "Commands.hpp"
#include "Support.hpp"

#include "report/ReportPage.hpp"

#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ostreljet::cli {

namespace {

struct ReportOptions {
    std::string scenario;
    std::string output;
    std::string levels;
    std::string unit = "vol";
};

} // namespace

void registerReportCommand(CLI::App &app) {
    auto options = std::make_shared<ReportOptions>();
    CLI::App *command = app.add_subcommand(
        "report",
        "Run a scenario and write a self-contained HTML report: inputs, messages, side and plan views "
        "with concentration contours, centreline plots and the ambient profiles.");
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    command->add_option("-o,--output", options->output, "the HTML file to write")
        ->type_name("FILE")
        ->required();
    command
        ->add_option("--levels", options->levels,
                     "levels of the summary: numbers with an optional unit or LFL, UFL, LFL/2, IDLH of the "
                     "scenario's gas (default: LFL and LFL/2 of a flammable gas, else the stopping "
                     "concentration)")
        ->type_name("L1,L2,...");
    command->add_option("--unit", options->unit, unitOptionHelp())->type_name("UNIT");

    command->callback([options]() {
        const ConcentrationUnit unit = parseUnitOption(options->unit);
        std::vector<Level> levels;
        if (!options->levels.empty()) {
            levels = parseLevelsOption("--levels", options->levels, unit);
        }
        checkNotInput("-o", options->output, options->scenario);
        const Scenario scenario = loadScenario(options->scenario);
        checkOutputPath(options->output);
        JetModel model;
        scenario.applyTo(model);
        const std::vector<double> modelLevels = summaryLevels("--levels", levels, model, scenario);
        const WholePlumeSummary::Result run = runScenario(model, scenario, modelLevels);
        const RunSummary &summary = run.summary;
        const bool ok = summary.status != RunStatus::invalid;
        const std::string name = std::filesystem::path(options->scenario).filename().string();
        const std::string page = report::ReportPage::render(
            model, scenario, name, ok, summary, {levels, modelLevels, unit}, run.field->farField());
        writeFileAtomically(options->output,
                            [&](std::FILE *out) { std::fwrite(page.data(), 1, page.size(), out); });
        // The page explains a failed validation too; the status still tells scripts about it.
        endUnlessOk(summary);
    });
}

} // namespace ostreljet::cli
