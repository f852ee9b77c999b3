#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/component/PropertyTable.hpp"
#include "ostreljet/component/Scenario.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ostreljet::cli {

namespace {

using json = nlohmann::ordered_json;

struct BatchOptions {
    std::string input;
    std::string output;
    unsigned jobs = 0;
    std::string levels;
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
// product of values gives one scenario each (the last key varies fastest).
void expandLine(const std::string &text, std::size_t line, std::vector<Job> &jobs) {
    json document;
    try {
        document = json::parse(text);
    } catch (const json::exception &) {
        // The scenario reader words the fault with its line and column.
        std::string error = fmt::format("line {}: not valid JSON", line);
        try {
            Scenario::fromText(text, fmt::format("line {}", line));
        } catch (const ScenarioError &e) {
            error = e.what();
        }
        jobs.push_back({line, 0, "", error, ""});
        return;
    }
    if (!document.is_object() || !(document.contains("base") || document.contains("vary"))) {
        jobs.push_back({line, 0, text, "", ""});
        return;
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

// Downwind distance (along the reference wind from the stack) and arc length at which the centreline
// concentration first falls below `level`, interpolated linearly between the two steps around it.
json crossing(const JetModel &model, double level) {
    const auto &concentration = model.centrelineConcentrations();
    const auto &location = model.centrelineLocations();
    const auto &arclength = model.arclengths();
    const double bearing = model.referenceWindBearing() * 0.017453292519943278;
    const double ex = std::sin(bearing);
    const double ey = std::cos(bearing);
    auto downwind = [&](std::size_t k) {
        return (location[k].x() - model.stackLocationX()) * ex +
               (location[k].y() - model.stackLocationY()) * ey;
    };
    for (std::size_t k = 0; k < concentration.size(); ++k) {
        if (concentration[k] < level) {
            double fraction = 1.0;
            if (k > 0 && concentration[k - 1] != concentration[k]) {
                fraction = (concentration[k - 1] - level) / (concentration[k - 1] - concentration[k]);
            }
            const std::size_t before = k > 0 ? k - 1 : 0;
            const double d = downwind(before) + fraction * (downwind(k) - downwind(before));
            const double s = arclength[before] + fraction * (arclength[k] - arclength[before]);
            return json{{"level", level}, {"downwindDistance", d}, {"arclength", s}};
        }
    }
    return json{{"level", level}, {"downwindDistance", nullptr}, {"arclength", nullptr}};
}

json finite(double value) {
    return std::isfinite(value) ? json(value) : json(nullptr);
}

std::string runJob(const Job &job, const std::vector<double> &levels, double maxSeconds) {
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
                inputs[std::string(property.name)] = static_cast<std::int32_t>(value);
            }
        }
        if (!scenario.gas().empty()) {
            inputs["gas"] = scenario.gas();
        }
        result["inputs"] = inputs;
        model.setEvaluationBudget(JetModel::recommendedEvaluationBudget); // a worker is never held for long
        model.setTimeLimit(maxSeconds);
        const bool ok = model.runModel();
        result["ok"] = ok;
        json messages = json::array();
        bool budgetSpent = false;
        for (std::int32_t i = 0; i < model.messageCount(); ++i) {
            messages.push_back(model.messageText(i));
            const std::int32_t code = model.messageCode(i);
            budgetSpent = budgetSpent || code == JetModel::budgetSpentCode || code == JetModel::timeLimitCode;
        }
        result["messages"] = messages;
        result["budgetSpent"] = budgetSpent; // ended by its evaluation budget or its time limit
        const std::size_t steps = static_cast<std::size_t>(model.numberOfOutputSteps());
        result["steps"] = steps;
        if (steps > 0) {
            json last = json::object();
            for (const PropertyTable::Series &series : PropertyTable::series()) {
                last[std::string(series.name)] = finite(series.at(model, steps - 1));
            }
            result["last"] = last;
            double highest = model.centrelineLocations()[0].z();
            for (const auto &point : model.centrelineLocations()) {
                highest = std::max(highest, point.z());
            }
            result["greatestHeight"] = finite(highest);
        } else {
            result["last"] = nullptr;
            result["greatestHeight"] = nullptr;
        }
        json crossings = json::array();
        for (const double level : levels) {
            crossings.push_back(crossing(model, level));
        }
        result["levels"] = crossings;
    } catch (const std::exception &e) {
        result["ok"] = false;
        result["error"] = e.what();
    }
    // Numbers keep 17 significant digits: nlohmann writes the shortest text that reads back exactly.
    return result.dump();
}

std::vector<double> parseLevels(const std::string &text) {
    std::vector<double> levels;
    if (text.empty()) {
        return levels;
    }
    for (const std::string &piece : splitAtCommas(text)) {
        const std::optional<double> value = parseNumber(piece);
        if (!value || !(*value > 0.0)) {
            throw CommandFailure(kUsageError,
                                 fmt::format("--levels: '{}' is not a positive number in '{}'", piece, text));
        }
        levels.push_back(*value);
    }
    return levels;
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
    command->add_option("--jobs", options->jobs, "runs at a time (default: one per core)")->type_name("N");
    command
        ->add_option("--max-seconds", options->maxSeconds,
                     "time limit of each run in s; a run that reaches it ends with a message and "
                     "\"budgetSpent\": true (default: 10)")
        ->type_name("S")
        ->check(CLI::PositiveNumber);
    command
        ->add_option("--levels", options->levels,
                     "concentrations at which to report where the centreline first falls below them")
        ->type_name("C1,C2,...");

    command->callback([options]() {
        const std::vector<double> levels = parseLevels(options->levels);
        checkOutputPath(options->output);
        std::ifstream in(options->input);
        if (!in) {
            throw CommandFailure(kUsageError,
                                 fmt::format("{}: cannot be opened for reading", options->input));
        }
        std::vector<Job> jobs;
        std::string text;
        for (std::size_t line = 1; std::getline(in, text); ++line) {
            if (text.find_first_not_of(" \t\r") == std::string::npos) {
                continue;
            }
            expandLine(text, line, jobs);
        }
        echoModelMessagesTo(nullptr); // the messages are in the results

        unsigned workers = options->jobs == 0 ? std::thread::hardware_concurrency() : options->jobs;
        workers = std::max(
            1u, std::min<unsigned>(workers, static_cast<unsigned>(std::max<std::size_t>(jobs.size(), 1))));
        std::atomic<std::size_t> next{0};
        std::atomic<std::size_t> done{0};
        auto work = [&]() {
            for (std::size_t j = next.fetch_add(1); j < jobs.size(); j = next.fetch_add(1)) {
                jobs[j].result = runJob(jobs[j], levels, options->maxSeconds);
                done.fetch_add(1);
            }
        };
        std::vector<std::thread> threads;
        for (unsigned w = 0; w < workers; ++w) {
            threads.emplace_back(work);
        }
        const bool showProgress = ::isatty(STDERR_FILENO) != 0;
        while (showProgress && done.load() < jobs.size()) {
            fmt::print(stderr, "\rbatch: {}/{} runs", done.load(), jobs.size());
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        for (std::thread &thread : threads) {
            thread.join();
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
