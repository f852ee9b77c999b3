#include "Commands.hpp"
#include "Support.hpp"

#include "report/ReportPage.hpp"

#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <string>

namespace ostreljet::cli {

namespace {

struct ReportOptions {
    std::string scenario;
    std::string output;
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

    command->callback([options]() {
        const Scenario scenario = loadScenario(options->scenario);
        checkOutputPath(options->output);
        JetModel model;
        const bool ok = runScenario(model, scenario);
        const std::string name = std::filesystem::path(options->scenario).filename().string();
        const std::string page = report::ReportPage::render(model, scenario, name, ok);
        writeFileAtomically(options->output,
                            [&](std::FILE *out) { std::fwrite(page.data(), 1, page.size(), out); });
        // The page explains a failed validation too; the status still tells scripts about it.
        if (!ok) {
            throw invalidInputs(model);
        }
    });
}

} // namespace ostreljet::cli
