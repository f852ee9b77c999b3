#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/inputs/InputRefusal.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/results/RunJson.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "report/PageBuilder.hpp"
#include "report/SummaryText.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>
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
    std::string result;  // one JSON line, filled by the run
    bool failed = false; // the line could not be read or its run not carried out: the result is an error
};

// Where a text stops being UTF-8 (the offset of the first byte that cannot be decoded), if it does.
std::optional<std::size_t> firstInvalidUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto byte = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        std::uint32_t point = 0;
        if (byte < 0x80) {
            ++i;
            continue;
        } else if ((byte & 0xE0) == 0xC0) {
            length = 2;
            point = byte & 0x1F;
        } else if ((byte & 0xF0) == 0xE0) {
            length = 3;
            point = byte & 0x0F;
        } else if ((byte & 0xF8) == 0xF0) {
            length = 4;
            point = byte & 0x07;
        } else {
            return i;
        }
        if (i + length > text.size()) {
            return i;
        }
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) {
                return i;
            }
            point = (point << 6) | (next & 0x3F);
        }
        // Overlong forms, surrogates and points beyond U+10FFFF are not UTF-8.
        const std::uint32_t smallest = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
        if (point < smallest || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return i;
        }
        i += length;
    }
    return std::nullopt;
}

// One result line; text that is not UTF-8 (quoted from a bad line) is shown as U+FFFD.
std::string dumpResult(const json &result) {
    return result.dump(-1, ' ', false, json::error_handler_t::replace);
}

// Expands one input line: a scenario object, or {"base": {...}, "vary": {"key": [values], ...}} whose
// product of values gives one scenario each (the last key varies fastest). A sweep is counted first and
// refused, with status 2, when the batch would exceed `maximumRuns`.
// Every line takes at least one result, counted against the limit like the runs of a sweep.
void countLine(const std::vector<Job> &jobs, std::size_t line, std::size_t maximumRuns) {
    if (jobs.size() >= maximumRuns) {
        throw CommandFailure(kUsageError,
                             fmt::format("line {}: the batch goes beyond the limit of {} runs (raise it "
                                         "with --max-runs)",
                                         line, maximumRuns));
    }
}

void expandLine(const std::string &text, std::size_t line, std::vector<Job> &jobs, std::size_t maximumRuns) {
    countLine(jobs, line, maximumRuns);
    // A line that is not UTF-8 is recorded as failed; the lines around it still run.
    if (const std::optional<std::size_t> bad = firstInvalidUtf8(text)) {
        jobs.push_back({line, 0, "",
                        fmt::format("line {}: not valid UTF-8 (byte 0x{:02X} at byte {} of the line)", line,
                                    static_cast<unsigned char>(text[*bad]), *bad + 1),
                        ""});
        return;
    }
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

std::string runJob(Job &job, const LevelRequest &request, double maxSeconds) {
    json result;
    result["line"] = job.line;
    result["index"] = job.index;
    if (!job.error.empty()) {
        job.failed = true;
        result["ok"] = false;
        result["error"] = job.error;
        return dumpResult(result);
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
        WholePlumeSummary::Result run = WholePlumeSummary::run(model, levels, scenario.farFieldOptions());
        RunSummary &summary = run.summary;
        InputRefusal::annotate(summary, model);
        // The same keys and figures as `run --json`; the far field without its series.
        result["ok"] = summary.succeeded();
        result["status"] = runStatusName(summary.status);
        result["unit"] = concentrationUnitWord(request.unit);
        result["summary"] = json::parse(RunJson::summary(model, summary, request.levels, request.unit));
        result["messages"] = json::parse(RunJson::messages(summary));
        result["farField"] = json::parse(
            RunJson::farField(model, run.field->farField(), request.levels, levels, request.unit, false));
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
    } catch (const std::bad_alloc &) {
        throw; // the batch ends, keeping what is done
    } catch (const std::exception &e) {
        job.failed = true;
        result["ok"] = false;
        result["error"] = e.what();
    }
    // Numbers keep 17 significant digits: nlohmann writes the shortest text that reads back exactly.
    return dumpResult(result);
}

// What reading a line found.
enum class LineRead { line, tooLong, end };

// Reads one line of at most Scenario::kMaximumFileBytes bytes. A longer line is skipped to its end and
// reported as tooLong, so that the lines around it still run; but a stretch of kMaximumSkippedBytes with no
// line break at all (an endless file such as /dev/zero) is no batch file and ends the command.
LineRead readLine(std::istream &in, std::string &text, const std::string &path, std::size_t line) {
    constexpr std::size_t kMaximumSkippedBytes = 16 * Scenario::kMaximumFileBytes;
    text.clear();
    std::streambuf *buffer = in.rdbuf();
    std::size_t skipped = 0;
    for (int c = buffer->sbumpc(); c != std::char_traits<char>::eof(); c = buffer->sbumpc()) {
        if (c == '\n') {
            return skipped > 0 ? LineRead::tooLong : LineRead::line;
        }
        if (text.size() == Scenario::kMaximumFileBytes) {
            if (++skipped > kMaximumSkippedBytes) {
                throw CommandFailure(
                    kUsageError, fmt::format("{}: line {} is longer than {} bytes, with no line break in "
                                             "{} bytes: not a file of one scenario per line",
                                             path, line, Scenario::kMaximumFileBytes, kMaximumSkippedBytes));
            }
            continue;
        }
        text.push_back(static_cast<char>(c));
    }
    if (skipped > 0) {
        return LineRead::tooLong;
    }
    return text.empty() ? LineRead::end : LineRead::line;
}

// Memory held back for the moment the system refuses more: when an allocation fails, this reserve is
// given back so that the allocation and the clean-up after it can go on (a JSON value being destroyed
// while an error unwinds allocates, and an exception from there would abort the tool), and the batch
// is told to stop handing out runs. A second failure throws std::bad_alloc as usual.
class MemoryReserve {
public:
    static constexpr std::size_t kBytes = std::size_t{8} << 20;

    MemoryReserve() : previous_(std::set_new_handler(&release)) {
        reserve_ = std::malloc(kBytes);
        // Touch every page, so that the reserve is memory really held and not only address space.
        if (reserve_ != nullptr) {
            std::memset(reserve_, 0, kBytes);
        }
        exhausted_.store(false);
    }
    ~MemoryReserve() {
        std::set_new_handler(previous_);
        std::free(reserve_);
        reserve_ = nullptr;
    }
    MemoryReserve(const MemoryReserve &) = delete;
    MemoryReserve &operator=(const MemoryReserve &) = delete;

    // True once the reserve has been spent: memory has run out.
    static bool exhausted() { return exhausted_.load(); }

private:
    static void release() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (reserve_ == nullptr) {
            std::set_new_handler(nullptr);
            throw std::bad_alloc();
        }
        std::free(reserve_);
        reserve_ = nullptr;
        exhausted_.store(true);
    }

    std::new_handler previous_;
    static inline void *reserve_ = nullptr;
    static inline std::atomic<bool> exhausted_{false};
    static inline std::mutex mutex_;
};

// Joins the batch's workers when the block that started them ends; an exception on its way out first
// stops the handing out of runs.
struct WorkerJoin {
    std::vector<std::thread> &threads;
    std::atomic<std::size_t> &next;
    std::size_t end;

    void all() const noexcept {
        for (std::thread &thread : threads) {
            if (thread.joinable()) {
                thread.join();
            }
        }
    }
    ~WorkerJoin() {
        if (std::uncaught_exceptions() > 0) {
            next.store(end);
        }
        all();
    }
};

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
                     fmt::format("most runs the batch may expand to, 1 or more, every line counted and "
                                 "sweeps counted before they are expanded (default {})",
                                 kDefaultMaximumRuns))
        ->type_name("N")
        ->check(positiveCountValidator());
    command
        ->add_option("--max-seconds", options->maxSeconds,
                     "time limit of each run in s; a run that reaches it ends with a message and "
                     "\"budgetSpent\": true (default: 10)")
        ->type_name("S")
        ->check(positiveNumberValidator());
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
        for (std::size_t line = 1;; ++line) {
            const LineRead read = readLine(in, text, options->input, line);
            if (read == LineRead::end) {
                break;
            }
            if (read == LineRead::tooLong) {
                // Recorded as failed, counted like every line; the lines around it still run.
                countLine(jobs, line, options->maximumRuns);
                jobs.push_back({line, 0, "",
                                fmt::format("line {}: longer than {} bytes, the limit for one scenario", line,
                                            Scenario::kMaximumFileBytes),
                                ""});
                continue;
            }
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
        std::atomic<bool> outOfMemory{false};
        std::atomic<bool> failed{false};
        std::string failure; // what ended a worker, other than memory
        std::mutex failureMutex;
        const MemoryReserve reserve;
        auto work = [&]() noexcept {
            // Nothing leaves a worker: memory running out, or any other failure, stops handing out runs
            // and is reported after the join, the finished runs' results kept.
            try {
                for (std::size_t j = next.fetch_add(1); j < jobs.size(); j = next.fetch_add(1)) {
                    jobs[j].result = runJob(jobs[j], levels, options->maxSeconds);
                    if (MemoryReserve::exhausted()) {
                        // The run may have finished on the reserve, but its result is not trusted.
                        jobs[j].result.clear();
                        throw std::bad_alloc();
                    }
                    done.fetch_add(1);
                }
                return;
            } catch (const std::bad_alloc &) {
                outOfMemory.store(true);
            } catch (const std::exception &e) {
                failed.store(true);
                try {
                    const std::lock_guard<std::mutex> lock(failureMutex);
                    failure = e.what();
                } catch (...) {
                }
            } catch (...) {
                failed.store(true);
            }
            next.store(jobs.size());
            done.store(jobs.size());
        };
        std::vector<std::thread> threads;
        // Whatever ends this block (memory running out while threads start, a failed progress line),
        // the workers are stopped and joined first: a thread left joinable would abort the tool.
        const WorkerJoin join{threads, next, jobs.size()};
        threads.reserve(workers);
        for (unsigned w = 0; w < workers; ++w) {
            try {
                threads.emplace_back(work);
            } catch (const std::system_error &e) {
                throw CommandFailure(kUsageError, fmt::format("cannot start worker thread {} of {}: {}",
                                                              w + 1, workers, e.code().message()));
            }
        }
        const bool showProgress = ::isatty(STDERR_FILENO) != 0;
        while (showProgress && done.load() < jobs.size()) {
            fmt::print(stderr, "\rbatch: {}/{} runs", done.load(), jobs.size());
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        join.all();
        if (showProgress) {
            fmt::print(stderr, "\rbatch: {}/{} runs\n", done.load(), jobs.size());
        }
        // The results of every finished run are written, also when the batch was cut short.
        std::size_t finished = 0;
        std::size_t lineErrors = 0;
        std::vector<std::size_t> failedLines;
        writeFileAtomically(options->output, [&](std::FILE *out) {
            for (const Job &job : jobs) {
                if (!job.result.empty()) {
                    fmt::print(out, "{}\n", job.result);
                    ++finished;
                    if (job.failed) {
                        ++lineErrors;
                        if (failedLines.empty() || failedLines.back() != job.line) {
                            failedLines.push_back(job.line);
                        }
                    }
                }
            }
        });
        if (outOfMemory.load()) {
            throw CommandFailure(kUsageError, fmt::format("out of memory after {} of {} runs; the results of "
                                                          "the {} finished are in '{}'",
                                                          finished, jobs.size(), finished, options->output));
        }
        if (failed.load()) {
            throw CommandFailure(
                kInternalError,
                fmt::format("a worker failed after {} of {} runs ({}); the results of the {} "
                            "finished are in '{}'",
                            finished, jobs.size(), failure.empty() ? "unknown error" : failure, finished,
                            options->output));
        }
        if (lineErrors > 0) {
            std::string lines;
            for (std::size_t i = 0; i < failedLines.size() && i < 10; ++i) {
                lines += fmt::format("{}{}", i == 0 ? "" : ", ", failedLines[i]);
            }
            throw CommandFailure(
                kInputsInvalid, fmt::format("{} of {} results are errors (line{} {}{}); each is in '{}' with "
                                            "its line number",
                                            lineErrors, finished, failedLines.size() == 1 ? "" : "s", lines,
                                            failedLines.size() > 10 ? ", ..." : "", options->output));
        }
    });
}

} // namespace ostreljet::cli
