#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/io/ValidationSuite.hpp"
#include "ostreljet/validation/FieldTrial.hpp"
#include "report/ValidationPage.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>

namespace ostreljet::cli {

namespace {

struct ValidateOptions {
    std::string output = "validation.html";
    std::string cases;  // empty: the cases built into the library
    std::string trials; // empty: the field trials built into the library
    bool json = false;
};

// What is said of the field trials until the far-field model that carries their sources to the arcs is
// part of the comparison.
constexpr const char *kTrialsNotCompared =
    "not computed: the trials' sources are evaporating pools, outside what the jet model accepts, and their "
    "comparison needs the far-field model, which this version does not have";

// The field trials read, as JSON: what each holds, for anyone to check against the files.
nlohmann::ordered_json jsonTrials(const std::vector<FieldTrial> &trials) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const FieldTrial &t : trials) {
        nlohmann::ordered_json observed = nlohmann::ordered_json::array();
        for (const TrialObservation &o : t.observations) {
            observed.push_back({{"kind", o.kind},
                                {"distance_m", o.distance.value},
                                {"observed_volume_fraction", o.concentration.value},
                                {"predicted_volume_fraction", nullptr}});
        }
        const double rate = t.releaseRate();
        list.push_back({{"id", t.id},
                        {"title", t.title},
                        {"series", t.series},
                        {"part", t.part},
                        {"source_kind", t.sourceKind},
                        {"gas", t.gas},
                        {"file", t.file},
                        {"release_rate_kg_s", std::isfinite(rate) ? nlohmann::ordered_json(rate) : nullptr},
                        {"figures", t.figureCount()},
                        {"missing_figures", t.missingCount()},
                        {"comparison", kTrialsNotCompared},
                        {"observations", observed}});
    }
    return list;
}

// Where the cases came from, as the report and the JSON name it.
std::string casesName(const ValidateOptions &options) {
    return options.cases.empty() ? std::string(ValidationSuite::builtInName) : options.cases;
}

std::string jsonResults(const std::vector<CorrelationResult> &results, double seconds,
                        const std::string &cases, const std::vector<FieldTrial> &trials,
                        const std::string &trialsSource) {
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
    out += "\n  ],\n  \"trials_source\": " + nlohmann::ordered_json(trialsSource).dump() +
           ",\n  \"trials\": " + jsonTrials(trials).dump(2) + "\n}\n";
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
    command
        ->add_option("--trials", options->trials,
                     "a folder of field-trial files (default: the project's validation/trials, built in)")
        ->type_name("FOLDER");
    command->add_flag("--json", options->json, "print the figures as JSON on standard output");

    command->callback([options]() {
        checkOutputPath(options->output);
        if (!options->cases.empty()) {
            checkNotInput("-o", options->output, options->cases, "cases file");
        }
        ValidationSuite suite;
        std::vector<FieldTrial> trials;
        try {
            suite = options->cases.empty() ? ValidationSuite::builtIn()
                                           : ValidationSuite::fromFile(options->cases);
            trials =
                options->trials.empty() ? FieldTrial::builtIn() : FieldTrial::fromDirectory(options->trials);
        } catch (const std::exception &e) {
            throw CommandFailure(kUsageError, e.what());
        }
        const std::string trialsSource = options->trials.empty() ? FieldTrial::builtInName : options->trials;
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
            fmt::print("{}", jsonResults(results, seconds, casesName(*options), trials, trialsSource));
        } else {
            printSummary(results);
            std::size_t observed = 0;
            for (const FieldTrial &t : trials) {
                observed += t.observations.size();
            }
            fmt::print(
                "\n{} field trials read from {} ({} observed concentrations); their comparison is {}.\n",
                trials.size(), trialsSource, observed, kTrialsNotCompared);
            fmt::print("\nwrote {} ({} model runs, {:.1f} s)\n", options->output, suite.runCount(), seconds);
        }
    });
}

} // namespace ostreljet::cli
