#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/io/ValidationSuite.hpp"
#include "report/ValidationPage.hpp"

#include <fmt/core.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>

namespace ostreljet::cli {

namespace {

struct ValidateOptions {
    std::string output = "validation.html";
    std::string cases; // empty: the cases built into the library
    bool json = false;
};

// Where the cases came from, as the report and the JSON name it.
std::string casesName(const ValidateOptions &options) {
    return options.cases.empty() ? std::string(ValidationSuite::builtInName) : options.cases;
}

std::string jsonResults(const std::vector<CorrelationResult> &results, double seconds,
                        const std::string &cases) {
    std::string out = fmt::format("{{\n  \"cases_file\": {},\n  \"seconds\": {},\n  \"correlations\": [",
                                  jsonString(cases), jsonNumber(seconds));
    for (std::size_t i = 0; i < results.size(); ++i) {
        const CorrelationResult &r = results[i];
        out +=
            fmt::format("{}\n    {{\"id\": {}, \"title\": {}, \"figure\": {}, \"unit\": {}, \"points\": {}, "
                        "\"compared\": {}, \"MG\": {}, \"VG\": {}, \"FAC2\": {}, \"verdict\": {},\n     "
                        "\"comparisons\": [",
                        i == 0 ? "" : ",", jsonString(r.id), jsonString(r.title), jsonString(r.figure),
                        jsonString(r.unit), r.points.size(), r.statistics.count,
                        jsonNumber(r.statistics.geometricMean), jsonNumber(r.statistics.geometricVariance),
                        jsonNumber(r.statistics.factorOfTwo), jsonString(r.verdict));
        for (std::size_t k = 0; k < r.points.size(); ++k) {
            const ValidationPoint &p = r.points[k];
            out += fmt::format(
                "{}\n      {{\"case\": {}, \"position_m\": {}, \"model\": {}, \"correlation\": {}, "
                "\"ratio\": {}, \"model_distance_m\": {}, \"correlation_distance_m\": {}, "
                "\"sensitivity\": {}}}",
                k == 0 ? "" : ",", jsonString(p.label), jsonNumber(p.position), jsonNumber(p.model),
                jsonNumber(p.correlation), jsonNumber(p.ratio), jsonNumber(p.modelDistance),
                jsonNumber(p.correlationDistance), jsonNumber(p.sensitivity));
        }
        out += "]}";
    }
    out += "\n  ]\n}\n";
    return out;
}

void printSummary(const std::vector<CorrelationResult> &results) {
    fmt::print("{:<54} {:>6} {:>7} {:>7} {:>8}\n", "Correlation", "points", "MG (-)", "VG (-)", "FAC2 (-)");
    for (const CorrelationResult &r : results) {
        fmt::print("{:<54} {:>6} {:>7.2f} {:>7.2f} {:>8.2f}\n", r.title,
                   fmt::format("{}/{}", r.statistics.count, r.points.size()), r.statistics.geometricMean,
                   r.statistics.geometricVariance, r.statistics.factorOfTwo);
    }
}

} // namespace

void registerValidateCommand(CLI::App &app) {
    auto options = std::make_shared<ValidateOptions>();
    CLI::App *command = app.add_subcommand(
        "validate", "Compare the model with published correlations (plume rise, jet trajectory, centreline "
                    "decay, dense-jet rise) and write an HTML report of the agreement.");
    command->add_option("-o,--output", options->output, "the HTML report to write (default validation.html)")
        ->type_name("FILE");
    command
        ->add_option("--cases", options->cases,
                     "a cases file (default: the project's validation/cases.json, built in)")
        ->type_name("FILE");
    command->add_flag("--json", options->json, "print the figures as JSON on standard output");

    command->callback([options]() {
        checkOutputPath(options->output);
        if (!options->cases.empty()) {
            checkNotInput("-o", options->output, options->cases, "cases file");
        }
        ValidationSuite suite;
        try {
            suite = options->cases.empty() ? ValidationSuite::builtIn()
                                           : ValidationSuite::fromFile(options->cases);
        } catch (const std::exception &e) {
            throw CommandFailure(kUsageError, e.what());
        }
        const bool terminal = isatty(STDERR_FILENO) == 1;
        const auto start = std::chrono::steady_clock::now();
        std::vector<CorrelationResult> results;
        try {
            results = suite.run([terminal](std::size_t done, std::size_t total, const std::string &label) {
                if (terminal) {
                    fmt::print(stderr, "\r\x1b[Kvalidate: run {}/{}: {}", done, total, label);
                    std::fflush(stderr);
                }
            });
        } catch (const std::exception &e) {
            if (terminal) {
                fmt::print(stderr, "\r\x1b[K");
            }
            throw CommandFailure(kUsageError, e.what());
        }
        if (terminal) {
            fmt::print(stderr, "\r\x1b[K");
        }
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const std::string page = report::ValidationPage::render(results, seconds, casesName(*options));
        writeFileAtomically(options->output,
                            [&](std::FILE *out) { std::fwrite(page.data(), 1, page.size(), out); });
        if (options->json) {
            fmt::print("{}", jsonResults(results, seconds, casesName(*options)));
        } else {
            printSummary(results);
            fmt::print("\nwrote {} ({} model runs, {:.1f} s)\n", options->output, suite.runCount(), seconds);
        }
    });
}

} // namespace ostreljet::cli
