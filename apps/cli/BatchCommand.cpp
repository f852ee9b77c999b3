#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/io/ConcentrationConverter.hpp"
#include "ostreljet/io/InputRefusal.hpp"
#include "ostreljet/io/PropertyTable.hpp"
#include "ostreljet/io/Scenario.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"
#include "report/PageBuilder.hpp"
#include "report/SummaryText.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ostreljet::cli {

namespace {

using json = nlohmann::ordered_json;

// Runs a batch may expand to unless --max-runs allows more: a sweep is counted before it is expanded.
constexpr std::size_t kDefaultMaximumRuns = 100000;

struct BatchOptions {
    std::string input;
    std::string output;
    unsigned jobs = 0; // 0: one per core
    std::string levels;
    std::string unit = "vol";
    std::size_t maximumRuns = kDefaultMaximumRuns;
    double maxSeconds = 10.0; // s, each run's time limit
};

// One run of the batch: the scenario text it was expanded to, or the error of its line.
struct Job {
    std::size_t line;  // 1-based line of the input file
    std::size_t index; // 0-based position within the line's sweep
    std::string scenario;
    std::string error;
    std::string result; // one JSON line, filled by the run
};

// Expands one input line: a scenario object, or {"base": {...}, "vary": {"key": [values], ...}} whose
// product of values gives one scenario each (the last key varies fastest). A sweep is counted first and
// refused, with status 2, when the batch would exceed `maximumRuns`.
void expandLine(const std::string &text, std::size_t line, std::vector<Job> &jobs, std::size_t maximumRuns) {
    // The scenario reader checks the text first (nesting, keys given twice) and words its faults.
    try {
        Scenario::checkJson(text, fmt::format("line {}", line));
    } catch (const ScenarioError &e) {
        jobs.push_back({line, 0, "", e.what(), ""});
        return;
    }
    const json document = json::parse(text);
    if (!document.is_object() || !(document.contains("base") || document.contains("vary"))) {
        jobs.push_back({line, 0, text, "", ""});
        return;
    }
    for (auto it = document.begin(); it != document.end(); ++it) {
        if (it.key() != "base" && it.key() != "vary") {
            jobs.push_back({line, 0, "",
                            fmt::format("line {}: unknown key \"{}\" beside \"base\" and \"vary\" (a sweep "
                                        "line holds only those two; put inputs in \"base\")",
                                        line, it.key()),
                            ""});
            return;
        }
    }
    const json base = document.value("base", json::object());
    const json vary = document.value("vary", json::object());
    if (!base.is_object() || !vary.is_object()) {
        jobs.push_back(
            {line, 0, "", fmt::format("line {}: \"base\" and \"vary\" must be objects", line), ""});
        return;
    }
    std::vector<std::pair<std::string, json>> axes;
    for (auto it = vary.begin(); it != vary.end(); ++it) {
        if (!it.value().is_array() || it.value().empty()) {
            jobs.push_back({line, 0, "",
                            fmt::format("line {}: \"vary\".\"{}\" must be a non-empty array", line, it.key()),
                            ""});
            return;
        }
        axes.emplace_back(it.key(), it.value());
    }
    std::size_t runs = 1;
    for (const auto &axis : axes) {
        if (__builtin_mul_overflow(runs, axis.second.size(), &runs)) {
            runs = std::numeric_limits<std::size_t>::max();
            break;
        }
    }
    if (runs > maximumRuns || jobs.size() > maximumRuns - runs) {
        throw CommandFailure(
            kUsageError, fmt::format("line {}: the sweep expands to {} runs, which takes the batch beyond "
                                     "the limit of {} runs (raise it with --max-runs)",
                                     line,
                                     runs == std::numeric_limits<std::size_t>::max() ? std::string("too many")
                                                                                     : std::to_string(runs),
                                     maximumRuns));
    }
    std::vector<std::size_t> position(axes.size(), 0);
    for (std::size_t index = 0;; ++index) {
        json scenario = base;
        for (std::size_t a = 0; a < axes.size(); ++a) {
            scenario[axes[a].first] = axes[a].second[position[a]];
        }
        jobs.push_back({line, index, scenario.dump(), "", ""});
        std::size_t a = axes.size();
        while (a > 0) {
            --a;
            if (++position[a] < axes[a].second.size()) {
                break;
            }
            position[a] = 0;
            if (a == 0) {
                return;
            }
        }
        if (axes.empty()) {
            return;
        }
    }
}

json finite(double value) {
    return std::isfinite(value) ? json(value) : json(nullptr);
}

// The levels the user asked for (named ones resolved against each run's gas) and the unit of results.
struct LevelRequest {
    std::vector<Level> levels;
    ConcentrationUnit unit = ConcentrationUnit::volumeFraction;
};

std::string runJob(const Job &job, const LevelRequest &request, double maxSeconds) {
    json result;
    result["line"] = job.line;
    result["index"] = job.index;
    if (!job.error.empty()) {
        result["ok"] = false;
        result["error"] = job.error;
        return result.dump();
    }
    try {
        const Scenario scenario = Scenario::fromText(job.scenario, fmt::format("line {}", job.line));
        JetModel model;
        scenario.applyTo(model);
        json inputs = json::object();
        for (const PropertyTable::Property &property : PropertyTable::properties()) {
            const double value = property.get(model);
            if (property.type == PropertyTable::Type::Double) {
                inputs[std::string(property.name)] = finite(value);
            } else {
                // Classes as letters and averaging as words, as scenario files write them.
                inputs[std::string(property.name)] = report::propertyValueText(property, value);
            }
        }
        if (!scenario.gas().empty()) {
            inputs["gas"] = scenario.gas();
        }
        result["inputs"] = inputs;
        model.setEvaluationBudget(JetModel::recommendedEvaluationBudget); // a worker is never held for long
        model.setTimeLimit(maxSeconds);
        std::vector<double> levels;
        try {
            levels = Level::toModel(request.levels, model, scenario.gas());
        } catch (const LevelError &e) {
            throw std::invalid_argument(fmt::format("--levels: {}", e.what()));
        }
        RunSummary summary = EngineeringRun::run(model, levels);
        InputRefusal::annotate(summary, model);
        // The same keys as `run --json`.
        const nlohmann::ordered_json shared = jsonSummary(model, summary, request.levels, request.unit);
        for (auto member = shared.begin(); member != shared.end(); ++member) {
            result[member.key()] = json(member.value());
        }
        bool budgetSpent = false;
        for (const RunSummary::Message &message : summary.messages) {
            budgetSpent = budgetSpent || message.code == JetModel::budgetSpentCode ||
                          message.code == JetModel::timeLimitCode;
        }
        result["budgetSpent"] = budgetSpent; // ended by its evaluation budget or its time limit
        const std::size_t steps =
            summary.succeeded() ? static_cast<std::size_t>(model.numberOfOutputSteps()) : 0;
        result["steps"] = steps;
        if (steps > 0) {
            json last = json::object();
            for (const PropertyTable::Series &series : PropertyTable::series()) {
                last[std::string(series.name)] = finite(series.at(model, steps - 1));
            }
            result["last"] = last;
        } else {
            result["last"] = nullptr;
        }
    } catch (const std::exception &e) {
        result["ok"] = false;
        result["error"] = e.what();
    }
    // Numbers keep 17 significant digits: nlohmann writes the shortest text that reads back exactly.
    return result.dump();
}

// Reads one line of at most Scenario::kMaximumFileBytes bytes, so that an endless file without line
// breaks (/dev/zero) is refused rather than read into memory. False at the end of the file.
bool readLine(std::istream &in, std::string &text, const std::string &path, std::size_t line) {
    text.clear();
    std::streambuf *buffer = in.rdbuf();
    for (int c = buffer->sbumpc(); c != std::char_traits<char>::eof(); c = buffer->sbumpc()) {
        if (c == '\n') {
            return true;
        }
        if (text.size() == Scenario::kMaximumFileBytes) {
            throw CommandFailure(
                kUsageError, fmt::format("{}: line {} is longer than {} bytes, the limit for one scenario",
                                         path, line, Scenario::kMaximumFileBytes));
        }
        text.push_back(static_cast<char>(c));
    }
    return !text.empty();
}

} // namespace

void registerBatchCommand(CLI::App &app) {
    auto options = std::make_shared<BatchOptions>();
    CLI::App *command = app.add_subcommand(
        "batch",
        "Run one scenario per line of a JSON Lines file on all cores; a line may be a sweep "
        "{\"base\": {...}, \"vary\": {\"key\": [values], ...}} that expands to the product of the values.");
    command->add_option("scenarios", options->input, "input file, one JSON object per line")->required();
    command
        ->add_option("-o,--output", options->output,
                     "results file, one JSON object per run (written atomically)")
        ->required()
        ->type_name("RESULTS.jsonl");
    command->add_option("--jobs", options->jobs, "runs at a time, 1 or more (default: one per core)")
        ->type_name("N")
        ->check(CLI::Range(1u, 4096u));
    command
        ->add_option("--max-runs", options->maximumRuns,
                     fmt::format("most runs the batch may expand to, sweeps counted before they are "
                                 "expanded (default {})",
                                 kDefaultMaximumRuns))
        ->type_name("N");
    command
        ->add_option("--max-seconds", options->maxSeconds,
                     "time limit of each run in s; a run that reaches it ends with a message and "
                     "\"budgetSpent\": true (default: 10)")
        ->type_name("S")
        ->check(CLI::PositiveNumber);
    command
        ->add_option("--levels", options->levels,
                     "levels to report for each run (numbers with an optional unit: 0.01, 2%, 5000ppm, "
                     "100mg/m3; or LFL, UFL, LFL/2, IDLH of the run's gas): where the centreline first falls "
                     "below each, and the extent and half-width of the region above it")
        ->type_name("L1,L2,...");
    command->add_option("--unit", options->unit, unitOptionHelp())->type_name("UNIT");

    command->callback([options]() {
        LevelRequest levels;
        levels.unit = parseUnitOption(options->unit);
        if (!options->levels.empty()) {
            levels.levels = parseLevelsOption("--levels", options->levels, levels.unit);
        }
        checkNotInput("-o", options->output, options->input);
        checkOutputPath(options->output);
        std::error_code error;
        if (std::filesystem::is_directory(options->input, error)) {
            throw CommandFailure(kUsageError,
                                 fmt::format("{}: is a directory, not a file of scenarios", options->input));
        }
        std::ifstream in(options->input, std::ios::binary);
        if (!in) {
            throw CommandFailure(kUsageError,
                                 fmt::format("{}: cannot be opened for reading", options->input));
        }
        std::vector<Job> jobs;
        std::string text;
        for (std::size_t line = 1; readLine(in, text, options->input, line); ++line) {
            if (text.find_first_not_of(" \t\r") == std::string::npos) {
                continue;
            }
            expandLine(text, line, jobs, options->maximumRuns);
        }

        unsigned workers = options->jobs == 0 ? std::thread::hardware_concurrency() : options->jobs;
        workers = std::max(
            1u, std::min<unsigned>(workers, static_cast<unsigned>(std::max<std::size_t>(jobs.size(), 1))));
        std::atomic<std::size_t> next{0};
        std::atomic<std::size_t> done{0};
        std::exception_ptr failure;
        std::mutex failureMutex;
        auto work = [&]() {
            try {
                for (std::size_t j = next.fetch_add(1); j < jobs.size(); j = next.fetch_add(1)) {
                    jobs[j].result = runJob(jobs[j], levels, options->maxSeconds);
                    done.fetch_add(1);
                }
            } catch (...) {
                // Out of memory, say: stop handing out runs and report it after the join.
                const std::lock_guard<std::mutex> lock(failureMutex);
                failure = std::current_exception();
                next.store(jobs.size());
                done.store(jobs.size());
            }
        };
        std::vector<std::thread> threads;
        threads.reserve(workers);
        for (unsigned w = 0; w < workers; ++w) {
            try {
                threads.emplace_back(work);
            } catch (const std::system_error &e) {
                next.store(jobs.size());
                for (std::thread &thread : threads) {
                    thread.join();
                }
                throw CommandFailure(kUsageError, fmt::format("cannot start worker thread {} of {}: {}",
                                                              w + 1, workers, e.code().message()));
            }
        }
        const bool showProgress = ::isatty(STDERR_FILENO) != 0;
        while (showProgress && done.load() < jobs.size()) {
            fmt::print(stderr, "\rbatch: {}/{} runs", done.load(), jobs.size());
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        if (failure) {
            std::rethrow_exception(failure);
        }
        if (showProgress) {
            fmt::print(stderr, "\rbatch: {}/{} runs\n", jobs.size(), jobs.size());
        }
        writeFileAtomically(options->output, [&](std::FILE *out) {
            for (const Job &job : jobs) {
                fmt::print(out, "{}\n", job.result);
            }
        });
    });
}

} // namespace ostreljet::cli
