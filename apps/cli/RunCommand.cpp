#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/Version.hpp"
#include "ostreljet/io/PropertyTable.hpp"
#include "ostreljet/io/Scenario.hpp"

#include <fmt/core.h>

#include <memory>
#include <string>
#include <vector>

namespace ostreljet::cli {

namespace {

struct RunOptions {
    std::string scenario;
    bool json = false;
    std::string csv;
    bool quiet = false;
};

std::vector<std::vector<double>> allSeries(const JetModel &model) {
    std::vector<std::vector<double>> columns;
    for (const PropertyTable::Series &series : PropertyTable::series()) {
        columns.push_back(PropertyTable::values(model, series));
    }
    return columns;
}

void printJson(const JetModel &model, bool ok) {
    std::string out = fmt::format("{{\"ok\": {}, \"version\": {}, \"messages\": {}", ok ? "true" : "false",
                                  jsonString(OSTRELJET_VERSION_STRING), jsonMessages(model));
    out += ", \"steps\": {";
    const std::vector<std::vector<double>> columns = allSeries(model);
    const auto series = PropertyTable::series();
    for (std::size_t c = 0; c < series.size(); ++c) {
        out += fmt::format("{}\"{}\": [", c == 0 ? "" : ", ", series[c].name);
        for (std::size_t k = 0; k < columns[c].size(); ++k) {
            if (k > 0) {
                out += ", ";
            }
            out += jsonNumber(columns[c][k]);
        }
        out += "]";
    }
    out += "}}\n";
    fmt::print("{}", out);
}

void printTable(const JetModel &model) {
    const char *headings[] = {"arc length [m]",    "x [m]",           "y [m]",         "z [m]", "radius [m]",
                              "concentration [-]", "temperature [K]", "velocity [m/s]"};
    constexpr int kWidth = 18;
    std::string line;
    for (const char *heading : headings) {
        line += fmt::format("{:>{}}", heading, kWidth);
    }
    fmt::print("{}\n", line);
    const std::vector<std::vector<double>> columns = allSeries(model);
    const std::size_t steps = static_cast<std::size_t>(model.numberOfOutputSteps());
    for (std::size_t k = 0; k < steps; ++k) {
        line.clear();
        for (const std::vector<double> &column : columns) {
            line += fmt::format("{:>{}.6g}", column[k], kWidth);
        }
        fmt::print("{}\n", line);
    }
    printRunSummary(model);
}

void writeCsv(const JetModel &model, const std::string &path) {
    const std::vector<std::vector<double>> columns = allSeries(model);
    writeFileAtomically(path, [&](std::FILE *out) {
        std::string line;
        for (const PropertyTable::Series &series : PropertyTable::series()) {
            if (!line.empty()) {
                line += ',';
            }
            line += series.name;
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

} // namespace

void registerRunCommand(CLI::App &app) {
    auto options = std::make_shared<RunOptions>();
    CLI::App *command = app.add_subcommand(
        "run",
        "Run a scenario and show the centreline of the jet (a table of output steps, then the messages).");
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    CLI::Option *json = command->add_flag("--json", options->json,
                                          "print one JSON object {ok, version, messages, steps} with 17 "
                                          "significant digits (null for non-finite)");
    command->add_option("--csv", options->csv, "write the output steps to FILE as CSV with a header row")
        ->type_name("FILE")
        ->excludes(json);
    command->add_flag("--quiet", options->quiet, "print nothing but errors");

    command->callback([options]() {
        const Scenario scenario = loadScenario(options->scenario);
        // Machine-readable output keeps standard output clean of the model's once-only notices.
        if (options->quiet) {
            echoModelMessagesTo(nullptr);
        } else if (options->json || !options->csv.empty()) {
            echoModelMessagesTo(stderr);
        }
        JetModel model;
        const bool ok = runScenario(model, scenario);
        if (!options->csv.empty() && ok) {
            writeCsv(model, options->csv);
        }
        if (options->json) {
            printJson(model, ok);
        } else if (!options->quiet && options->csv.empty() && ok) {
            printTable(model);
        }
        if (!ok) {
            throw invalidInputs(model);
        }
    });
}

} // namespace ostreljet::cli
