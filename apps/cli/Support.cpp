#include "Support.hpp"

#include "ostreljet/files/SafeFile.hpp"
#include "ostreljet/files/SameFile.hpp"
#include "ostreljet/inputs/InputRefusal.hpp"
#include "ostreljet/inputs/NumberText.hpp"
#include "report/SummaryText.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace ostreljet::cli {

std::optional<double> parseNumber(std::string_view text) {
    return inputs::NumberText::parse(text);
}

double readNumber(const std::string &option, std::string_view text) {
    try {
        return inputs::NumberText::read(option, text);
    } catch (const inputs::NumberError &e) {
        throw CommandFailure(kUsageError, e.what());
    }
}

std::vector<std::string> splitAtCommas(const std::string &text) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (true) {
        const std::size_t comma = text.find(',', start);
        pieces.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos) {
            return pieces;
        }
        start = comma + 1;
    }
}

std::vector<double> parseTriple(const std::string &option, const std::string &text) {
    std::vector<double> values;
    for (const std::string &piece : splitAtCommas(text)) {
        inputs::NumberText::Reading reading = inputs::NumberText::readPrefix(piece);
        if (reading.problem == inputs::NumberText::Problem::none && reading.length != piece.size()) {
            reading.problem = inputs::NumberText::Problem::notANumber;
        }
        if (reading.problem != inputs::NumberText::Problem::none) {
            throw CommandFailure(kUsageError, fmt::format("{}: '{}' {} in '{}'", option, piece,
                                                          inputs::NumberText::reason(reading.problem), text));
        }
        values.push_back(reading.value);
    }
    if (values.size() != 3) {
        throw CommandFailure(kUsageError,
                             fmt::format("{}: expected three numbers X,Y,Z, not '{}'", option, text));
    }
    return values;
}

std::array<std::int32_t, 3> parseCountTriple(const std::string &option, const std::string &text) {
    const std::vector<std::string> pieces = splitAtCommas(text);
    if (pieces.size() != 3) {
        throw CommandFailure(kUsageError,
                             fmt::format("{}: expected three counts NX,NY,NZ, not '{}'", option, text));
    }
    std::array<std::int32_t, 3> counts{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::string &piece = pieces[axis];
        const char *end = piece.data() + piece.size();
        const auto [stop, error] = std::from_chars(piece.data(), end, counts[axis]);
        const bool digitsOnly = !piece.empty() && piece.find_first_not_of("0123456789") == std::string::npos;
        if (!digitsOnly) {
            throw CommandFailure(kUsageError,
                                 fmt::format("{}: '{}' is not a count (a whole number 0 or more) "
                                             "in '{}'",
                                             option, piece, text));
        }
        if (error != std::errc() || stop != end) {
            throw CommandFailure(kUsageError,
                                 fmt::format("{}: '{}' is more than {} points on one axis in '{}'", option,
                                             piece, std::numeric_limits<std::int32_t>::max(), text));
        }
    }
    return counts;
}

const CLI::Validator &numberValidator() {
    static const CLI::Validator validator(
        [](std::string &text) -> std::string {
            inputs::NumberText::Reading reading = inputs::NumberText::readPrefix(text);
            if (reading.problem == inputs::NumberText::Problem::none && reading.length != text.size()) {
                reading.problem = inputs::NumberText::Problem::notANumber;
            }
            return reading.problem == inputs::NumberText::Problem::none
                       ? std::string()
                       : fmt::format("'{}' {}", text, inputs::NumberText::reason(reading.problem));
        },
        "", "NUMBER");
    return validator;
}

const CLI::Validator &positiveNumberValidator() {
    static const CLI::Validator validator(
        [](std::string &text) -> std::string {
            std::string problem = numberValidator()(text);
            if (problem.empty() && !(*parseNumber(text) > 0.0)) {
                problem = fmt::format("'{}' is not greater than 0", text);
            }
            return problem;
        },
        "", "NUMBER");
    return validator;
}

const CLI::Validator &positiveCountValidator() {
    static const CLI::Validator validator(
        [](std::string &text) -> std::string {
            const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
            if (!digits || text.find_first_not_of('0') == std::string::npos) {
                return fmt::format("'{}' is not a whole number of 1 or more", text);
            }
            if (text.size() > 18) {
                return fmt::format("'{}' is more than 10^18", text);
            }
            return {};
        },
        "", "N");
    return validator;
}

std::string jsonNumber(double value) {
    return std::isfinite(value) ? fmt::format("{:.17g}", value) : "null";
}

std::string jsonString(std::string_view text) {
    // Bytes that are not UTF-8 become U+FFFD rather than an exception.
    return nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

Scenario loadScenario(const std::string &path) {
    files::SameFile::noteInput(path);
    try {
        return Scenario::fromFile(path);
    } catch (const ScenarioError &e) {
        throw CommandFailure(kUsageError, e.what());
    }
}

WholePlumeSummary::Result runScenario(JetModel &model, const Scenario &scenario,
                                      std::span<const double> levels) {
    scenario.applyTo(model);
    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget); // every run ends in bounded time
    WholePlumeSummary::Result result = WholePlumeSummary::run(model, levels, scenario.farFieldOptions());
    InputRefusal::annotate(result.summary, model);
    return result;
}

CommandFailure invalidInputs(const JetModel &model) {
    return CommandFailure(kInputsInvalid, model.messageCount() > 0 ? model.messageText(0) : "invalid inputs");
}

std::string jsonMessages(const JetModel &model) {
    std::string out = "[";
    for (std::int32_t i = 0; i < model.messageCount(); ++i) {
        if (i > 0) {
            out += ", ";
        }
        out += jsonString(model.messageText(i));
    }
    out += "]";
    return out;
}

void printRunSummary(const JetModel &model) {
    fmt::print("\n{} output steps; messages:\n", model.numberOfOutputSteps());
    for (std::int32_t i = 0; i < model.messageCount(); ++i) {
        fmt::print("  {}\n", model.messageText(i));
    }
}

namespace {

std::filesystem::path folderOf(const std::filesystem::path &target) {
    return target.has_parent_path() ? target.parent_path() : std::filesystem::path(".");
}

constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

extern "C" void removeTemporaryAndEnd(int signalNumber) {
    files::SafeFile::removePendingTemporaries();
    // End as the signal would have ended the tool: default action, then the same signal again.
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    ::sigaction(signalNumber, &action, nullptr);
    ::raise(signalNumber);
}

// Removes the temporary file of the write in progress if a signal ends the tool; restores the handlers
// on leaving.
class TemporaryFileGuard {
public:
    TemporaryFileGuard() {
        struct sigaction action {};
        action.sa_handler = removeTemporaryAndEnd;
        sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < std::size(kCleanupSignals); ++i) {
            ::sigaction(kCleanupSignals[i], nullptr, &previous_[i]);
            // A signal that the tool was started to ignore stays ignored.
            if (previous_[i].sa_handler != SIG_IGN) {
                ::sigaction(kCleanupSignals[i], &action, nullptr);
            }
        }
    }
    ~TemporaryFileGuard() {
        for (std::size_t i = 0; i < std::size(kCleanupSignals); ++i) {
            ::sigaction(kCleanupSignals[i], &previous_[i], nullptr);
        }
    }
    TemporaryFileGuard(const TemporaryFileGuard &) = delete;
    TemporaryFileGuard &operator=(const TemporaryFileGuard &) = delete;

private:
    struct sigaction previous_[std::size(kCleanupSignals)]{};
};

} // namespace

void checkOutputPath(const std::string &path) {
    namespace fs = std::filesystem;
    const fs::path target(path);
    const fs::path folder = folderOf(target);
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        const bool exists = fs::exists(folder, error);
        const std::string why = exists ? fmt::format("'{}' is not a folder", folder.string())
                                       : fmt::format("folder '{}' does not exist", folder.string());
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': {}", path, why));
    }
    if (fs::is_directory(target, error)) {
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': it is a directory", path));
    }
}

namespace {

bool replaceReadOnlyFiles = false;

} // namespace

void setReplaceReadOnly(bool replace) {
    replaceReadOnlyFiles = replace;
}

void writeFileAtomically(const std::string &path, const std::function<void(std::FILE *)> &writer) {
    checkOutputPath(path);
    // Whatever command writes, it never overwrites a file it reads.
    if (const std::optional<std::string> input = files::SameFile::inputAt(path)) {
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': it is the file '{}' being read; "
                                                      "choose another file",
                                                      path, *input));
    }
    // What the command printed so far comes first when the file is the tool's own standard output.
    std::fflush(stdout);
    const TemporaryFileGuard guard;
    try {
        files::SafeFile::write(path, writer, files::SafeFile::Options{replaceReadOnlyFiles});
    } catch (const files::FileWriteError &e) {
        const std::string text = e.what();
        throw CommandFailure(kUsageError, text.ends_with("it is read-only")
                                              ? text + " (--force replaces it, keeping its mode)"
                                              : text);
    }
}

std::uint64_t availableMemory() {
    std::ifstream meminfo("/proc/meminfo");
    std::string key;
    std::uint64_t amount = 0;
    std::string unit;
    while (meminfo >> key >> amount) {
        std::getline(meminfo, unit);
        if (key == "MemAvailable:") {
            return unit.find("kB") != std::string::npos ? amount * 1024 : amount;
        }
    }
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

std::string formatBytes(double bytes) {
    static const char *const units[] = {"bytes", "kB", "MB", "GB", "TB", "PB", "EB"};
    std::size_t unit = 0;
    while (bytes >= 1000.0 && unit + 1 < std::size(units)) {
        bytes /= 1000.0;
        ++unit;
    }
    return unit == 0 ? fmt::format("{:.0f} bytes", bytes) : fmt::format("{:.1f} {}", bytes, units[unit]);
}

ConcentrationUnit parseUnitOption(const std::string &text) {
    if (const std::optional<ConcentrationUnit> unit = parseConcentrationUnit(text)) {
        return *unit;
    }
    throw CommandFailure(kUsageError,
                         fmt::format("--unit: '{}' is not a unit (mass, vol, %, ppm or mg/m3)", text));
}

std::string unitOptionHelp() {
    return "unit of the concentrations shown: mass (fraction), vol (fraction, the model's own; default), % "
           "(by volume), ppm (by volume) or mg/m3 (at the local temperature and the ambient pressure)";
}

std::vector<Level> parseLevelsOption(const std::string &option, const std::string &text,
                                     ConcentrationUnit unit) {
    try {
        return Level::parseList(text, unit);
    } catch (const LevelError &e) {
        throw CommandFailure(kUsageError, fmt::format("{}: {}", option, e.what()));
    }
}

std::vector<double> levelsInModelUnit(const std::string &option, const std::vector<Level> &levels,
                                      const JetModel &model, const std::string &gas) {
    try {
        return Level::toModel(levels, model, gas);
    } catch (const LevelError &e) {
        throw CommandFailure(kUsageError, fmt::format("{}: {}", option, e.what()));
    }
}

std::vector<double> summaryLevels(const std::string &option, std::vector<Level> &levels,
                                  const JetModel &model, const Scenario &scenario) {
    const bool defaultLevels = levels.empty();
    if (defaultLevels) {
        levels = Level::defaults(scenario.gas(), model.stoppingConcentration());
    }
    try {
        return levelsInModelUnit(option, levels, model, scenario.gas());
    } catch (const CommandFailure &) {
        if (!defaultLevels) {
            throw;
        }
        levels.clear(); // the default of a stopping concentration that validation refuses
        return {};
    }
}

void printMessages(const RunSummary &summary) {
    fmt::print("Messages:\n");
    if (summary.messages.empty()) {
        fmt::print("  (none)\n");
    }
    for (const RunSummary::Message &message : summary.messages) {
        fmt::print("  {}: {}\n", RunSummary::severityName(message.severity), message.text);
    }
}

CommandFailure noResults(const RunSummary &summary) {
    const std::string why = summary.endMessage         ? *summary.endMessage
                            : summary.messages.empty() ? std::string(RunSummary::endingName(summary.ending))
                                                       : summary.messages.front().text;
    const std::string status(runStatusName(summary.status));
    if (summary.status == RunStatus::refused) {
        return CommandFailure(kInputsInvalid, "the run was refused by the source checks: " + why);
    }
    return CommandFailure(kInputsInvalid, summary.status == RunStatus::invalid ? why : status + ": " + why);
}

void endUnlessOk(const RunSummary &summary) {
    if (runStatusExitCode(summary.status) != kSuccess) {
        std::fflush(stdout); // what was printed comes before the reason on stderr
        throw noResults(summary);
    }
}

std::string concentrationText(double value) {
    return std::isnan(value) ? std::string("not computed") : report::figure(value);
}

void checkNotInput(const std::string &option, const std::string &output, const std::string &input,
                   std::string_view what) {
    files::SameFile::noteInput(input);
    if (files::SameFile::same(output, input)) {
        throw CommandFailure(kUsageError,
                             fmt::format("{}: '{}' is the {} being read ('{}'); choose another file", option,
                                         output, what, input));
    }
}

void echoModelMessagesTo(std::FILE *stream) {
    JetModel::setEchoStream(stream);
}

} // namespace ostreljet::cli
