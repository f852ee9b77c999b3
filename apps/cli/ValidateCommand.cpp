#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/validation/FieldTrial.hpp"
#include "ostreljet/validation/TrialComparison.hpp"
#include "ostreljet/validation/ValidationSuite.hpp"
#include "report/TrialsSection.hpp"
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

// A figure or null, for JSON.
nlohmann::ordered_json orNull(double value) {
    return std::isfinite(value) ? nlohmann::ordered_json(value) : nlohmann::ordered_json(nullptr);
}

// The unit of a concentration in the JSON: SI, as the library holds it.
const char *jsonUnit(const std::string &measure) {
    return measure == TrialObservation::kMassConcentration ? "kg/m3" : "volume fraction";
}

// A distance to a level, for JSON.
nlohmann::ordered_json jsonLevelDistance(const LevelDistance &d) {
    return {{"distance_m", orNull(d.distance)}, {"how", d.how}};
}

// The field trials read and their predictions, as JSON: what each holds, for anyone to check against the
// files, and every pair, for anyone to recompute the statistics.
nlohmann::ordered_json jsonTrials(const std::vector<FieldTrial> &trials, const TrialComparison &comparison) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < trials.size(); ++i) {
        const FieldTrial &t = trials[i];
        const TrialPrediction &p = comparison.trials()[i];
        nlohmann::ordered_json observed = nlohmann::ordered_json::array();
        for (std::size_t k = 0; k < t.observations.size(); ++k) {
            const TrialObservation &o = t.observations[k];
            const TrialPair &pair = p.pairs[k];
            observed.push_back({{"kind", o.kind},
                                {"distance_m", o.distance.value},
                                {"unit", jsonUnit(pair.measure)},
                                {"observed", o.concentration.value},
                                {"predicted", orNull(pair.predicted)}});
            if (!pair.notComputed.empty())
                observed.back()["not_computed"] = pair.notComputed;
        }
        const double rate = t.releaseRate();
        nlohmann::ordered_json entry = {{"id", t.id},
                                        {"title", t.title},
                                        {"series", t.series},
                                        {"part", t.part},
                                        {"statistics_part", p.part},
                                        {"source_kind", t.sourceKind},
                                        {"gas", t.gas},
                                        {"file", t.file},
                                        {"release_rate_kg_s", orNull(rate)},
                                        {"figures", t.figureCount()},
                                        {"missing_figures", t.missingCount()},
                                        {"comparison", p.notComputed.empty() ? p.method : p.notComputed}};
        if (p.pointPlume) {
            entry["source"] = {{"release_rate_kg_s", p.pointRelease.massRate},
                               {"release_height_m", p.pointRelease.height},
                               {"sampling_height_m", p.pointRelease.samplingHeight}};
            entry["weather"] = {
                {"wind_speed_10m_m_s", p.pointWeather.windSpeed},
                {"wind", p.windHow},
                {"pasquill_class", std::string(1, static_cast<char>('A' + p.pointWeather.stabilityClass))},
                {"averaging_time_s", p.pointWeather.averagingTime
                                         ? nlohmann::ordered_json(*p.pointWeather.averagingTime)
                                         : nlohmann::ordered_json(nullptr)}};
            entry["notes"] = p.notes;
        }
        if (p.plume) {
            const PoolPlume &plume = *p.plume;
            entry["source"] = {{"pool_diameter_m", p.source.diameter},
                               {"evaporation_flux_kg_m2_s", p.source.evaporationFlux},
                               {"gas_temperature_K", p.source.gasTemperature},
                               {"evaporation_rate_kg_s", plume.massRate()},
                               {"volume_flux_m3_s", plume.volumeFlux()},
                               {"reduced_gravity_m_s2", plume.reducedGravity()}};
            entry["weather"] = {
                {"wind_speed_10m_m_s", p.weather.windSpeed},
                {"wind", p.windHow},
                {"air_temperature_K", p.weather.temperature},
                {"pressure_Pa", p.weather.pressure},
                {"pasquill_class", std::string(1, static_cast<char>('A' + p.weather.stabilityClass))},
                {"averaging_time_s", p.weather.averagingTime
                                         ? nlohmann::ordered_json(*p.weather.averagingTime)
                                         : nlohmann::ordered_json(nullptr)}};
            entry["plume"] = {{"alpha", plume.dense().alpha()},
                              {"first_curve_distance_m", plume.firstDistance()},
                              {"passive_start_m", plume.passiveStart()}};
            entry["notes"] = p.notes;
        }
        entry["lower_flammable_limit_volume_fraction"] = orNull(p.lowerFlammabilityLimit);
        entry["lfl_distance_observed"] = jsonLevelDistance(p.observedLfl);
        entry["lfl_distance_predicted"] = jsonLevelDistance(p.predictedLfl);
        entry["observations"] = observed;
        list.push_back(entry);
    }
    return list;
}

// The statistics per part of the trials, as JSON.
nlohmann::ordered_json jsonTrialParts(const TrialComparison &comparison) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const TrialPart &part : comparison.parts()) {
        const EvaluationStatistics &s = part.statistics;
        list.push_back(
            {{"part", part.name},
             {"description", part.description},
             {"trials", part.trials.size()},
             {"pairs", part.pairs},
             {"compared", s.pairs},
             {"unit", jsonUnit(part.measure)},
             {"MG", orNull(s.geometricMean)},
             {"VG", orNull(s.geometricVariance)},
             {"FAC2", orNull(s.factorOfTwo)},
             {"FB", orNull(s.fractionalBias)},
             {"NMSE", orNull(s.normalisedMeanSquareError)},
             {"MG_95", {orNull(s.geometricMeanInterval.lower), orNull(s.geometricMeanInterval.upper)}},
             {"FB_95", {orNull(s.fractionalBiasInterval.lower), orNull(s.fractionalBiasInterval.upper)}},
             {"acceptable", part.verdict.acceptable},
             {"verdict", part.verdict.text}});
    }
    return list;
}

// Every pair of every trial, flat: trial, distance, observed, predicted.
nlohmann::ordered_json jsonTrialPairs(const TrialComparison &comparison) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const TrialPrediction &p : comparison.trials())
        for (const TrialPair &pair : p.pairs)
            list.push_back({{"trial", pair.trial},
                            {"part", p.part},
                            {"distance_m", pair.distance},
                            {"unit", jsonUnit(pair.measure)},
                            {"observed", pair.observed},
                            {"predicted", orNull(pair.predicted)}});
    return list;
}

// Where the cases came from, as the report and the JSON name it.
std::string casesName(const ValidateOptions &options) {
    return options.cases.empty() ? std::string(ValidationSuite::builtInName) : options.cases;
}

std::string jsonResults(const std::vector<CorrelationResult> &results, double seconds,
                        const std::string &cases, const std::vector<FieldTrial> &trials,
                        const std::string &trialsSource, const TrialComparison &comparison) {
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
           ",\n  \"trials_method\": " + nlohmann::ordered_json(TrialComparison::kMethod).dump() +
           ",\n  \"point_trials_method\": " + nlohmann::ordered_json(TrialComparison::kPointMethod).dump() +
           ",\n  \"trial_parts\": " + jsonTrialParts(comparison).dump(2) +
           ",\n  \"trial_pairs\": " + jsonTrialPairs(comparison).dump(2) +
           ",\n  \"trials\": " + jsonTrials(trials, comparison).dump(2) + "\n}\n";
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

// The field trials' statistics per part, the LFL distances and what they say, in the engineer's words.
void printTrials(const std::vector<FieldTrial> &trials, const std::string &trialsSource,
                 const TrialComparison &comparison) {
    std::size_t observed = 0;
    for (const FieldTrial &t : trials) {
        observed += t.observations.size();
    }
    fmt::print(
        "\n{} field trials read from {} ({} observed concentrations).\nPools: {}.\nPoint sources: {}.\n",
        trials.size(), trialsSource, observed, TrialComparison::kMethod, TrialComparison::kPointMethod);
    fmt::print("\n{:<22} {:>6} {:>7} {:>7} {:>7} {:>8} {:>7} {:>8}  {}\n", "Field trials, part", "trials",
               "pairs", "MG (-)", "VG (-)", "FAC2 (-)", "FB (-)", "NMSE (-)", "verdict");
    for (const TrialPart &part : comparison.parts()) {
        const EvaluationStatistics &s = part.statistics;
        fmt::print("{:<22} {:>6} {:>7} {:>7.2f} {:>7.2f} {:>8.2f} {:>7.2f} {:>8.2f}  {}\n", part.name,
                   part.trials.size(), fmt::format("{}/{}", s.pairs, part.pairs), s.geometricMean,
                   s.geometricVariance, s.factorOfTwo, s.fractionalBias, s.normalisedMeanSquareError,
                   part.verdict.acceptable ? "acceptable" : "not acceptable");
    }
    for (const TrialPart &part : comparison.parts()) {
        fmt::print("{}: {}\n", part.name, part.verdict.text);
    }
    fmt::print("\n{:<18} {:>22} {:>22}\n", "Distance to the LFL", "observed (m)", "predicted (m)");
    for (const TrialPrediction &p : comparison.trials()) {
        if (p.sourceKind != "pool")
            continue; // a tracer: no flammable limit
        const auto shown = [](const LevelDistance &d) {
            return std::isfinite(d.distance) ? fmt::format("{:.0f}", d.distance)
                                             : std::string("not computed");
        };
        fmt::print("{:<18} {:>22} {:>22}\n", p.title, shown(p.observedLfl), shown(p.predictedLfl));
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
        const TrialComparison comparison(trials);
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
        const std::string page = report::ValidationPage::render(
            results, seconds, casesName(*options), report::TrialsSection::render(comparison, trialsSource));
        writeFileAtomically(options->output,
                            [&](std::FILE *out) { std::fwrite(page.data(), 1, page.size(), out); });
        if (options->json) {
            fmt::print("{}",
                       jsonResults(results, seconds, casesName(*options), trials, trialsSource, comparison));
        } else {
            printSummary(results);
            printTrials(trials, trialsSource, comparison);
            fmt::print("\nwrote {} ({} model runs, {:.1f} s)\n", options->output, suite.runCount(), seconds);
        }
    });
}

} // namespace ostreljet::cli
