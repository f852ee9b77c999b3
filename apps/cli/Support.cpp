#include "Support.hpp"

#include "ostreljet/io/NumberText.hpp"
#include "ostreljet/io/SafeFile.hpp"
#include "ostreljet/io/SameFile.hpp"
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
    return io::NumberText::parse(text);
}

double readNumber(const std::string &option, std::string_view text) {
    try {
        return io::NumberText::read(option, text);
    } catch (const io::NumberError &e) {
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
        io::NumberText::Reading reading = io::NumberText::readPrefix(piece);
        if (reading.problem == io::NumberText::Problem::none && reading.length != piece.size()) {
            reading.problem = io::NumberText::Problem::notANumber;
        }
        if (reading.problem != io::NumberText::Problem::none) {
            throw CommandFailure(kUsageError, fmt::format("{}: '{}' {} in '{}'", option, piece,
                                                          io::NumberText::reason(reading.problem), text));
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
            io::NumberText::Reading reading = io::NumberText::readPrefix(text);
            if (reading.problem == io::NumberText::Problem::none && reading.length != text.size()) {
                reading.problem = io::NumberText::Problem::notANumber;
            }
            return reading.problem == io::NumberText::Problem::none
                       ? std::string()
                       : fmt::format("'{}' {}", text, io::NumberText::reason(reading.problem));
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
    io::SameFile::noteInput(path);
    try {
        return Scenario::fromFile(path);
    } catch (const ScenarioError &e) {
        throw CommandFailure(kUsageError, e.what());
    }
}

bool runScenario(JetModel &model, const Scenario &scenario) {
    scenario.applyTo(model);
    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget); // every run ends in bounded time
    return model.runModel();
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
    io::SafeFile::removePendingTemporaries();
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
    if (const std::optional<std::string> input = io::SameFile::inputAt(path)) {
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': it is the file '{}' being read; "
                                                      "choose another file",
                                                      path, *input));
    }
    // What the command printed so far comes first when the file is the tool's own standard output.
    std::fflush(stdout);
    const TemporaryFileGuard guard;
    try {
        io::SafeFile::write(path, writer, io::SafeFile::Options{replaceReadOnlyFiles});
    } catch (const io::FileWriteError &e) {
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

namespace {

std::string jsonOptional(const std::optional<double> &value) {
    return value ? jsonNumber(*value) : "null";
}

std::string jsonLocation(const RunSummary::Location &at) {
    return fmt::format("{{\"x\": {}, \"y\": {}, \"z\": {}, \"downwind\": {}, \"crosswind\": {}, "
                       "\"arcLength\": {}}}",
                       jsonNumber(at.x), jsonNumber(at.y), jsonNumber(at.z), jsonNumber(at.downwind),
                       jsonNumber(at.crosswind), jsonNumber(at.arcLength));
}

} // namespace

std::string jsonSummaryMembers(const JetModel &model, const RunSummary &summary,
                               const std::vector<Level> &levels, ConcentrationUnit unit) {
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    std::string out = fmt::format(
        "\"ok\": {}, \"status\": {}, \"unit\": {}, \"summary\": {{", summary.succeeded() ? "true" : "false",
        jsonString(report::runStatus(summary)), jsonString(concentrationUnitWord(unit)));
    out += fmt::format("\"ending\": {}, \"endMessage\": {}, \"outputSteps\": {}",
                       jsonString(RunSummary::endingName(summary.ending)),
                       summary.endMessage ? jsonString(*summary.endMessage) : "null", summary.outputSteps);
    out += fmt::format(", \"greatestCentrelineHeight\": {}",
                       summary.greatestCentrelineHeight ? jsonLocation(*summary.greatestCentrelineHeight)
                                                        : "null");
    out += fmt::format(", \"edgeReachesGroundDownwind\": {}, \"centrelineReachesGroundDownwind\": {}",
                       jsonOptional(summary.edgeReachesGroundDownwind),
                       jsonOptional(summary.centrelineReachesGroundDownwind));
    if (summary.groundMaximum) {
        const double value = converter.fromModel(summary.groundMaximum->concentration, unit,
                                                 report::ambientTemperatureAt(model, 0.0));
        out += fmt::format(", \"groundMaximum\": {{\"concentration\": {}, \"location\": {}}}",
                           jsonNumber(value), jsonLocation(summary.groundMaximum->location));
    } else {
        out += ", \"groundMaximum\": null";
    }
    out += fmt::format(", \"groundMaximumComputed\": {}", summary.groundMaximumComputed ? "true" : "false");
    out += ", \"levels\": [";
    for (std::size_t i = 0; i < summary.levels.size(); ++i) {
        const RunSummary::LevelAnswer &answer = summary.levels[i];
        out += fmt::format(
            "{}{{\"level\": {}, \"value\": {}, \"centrelineDownwindDistance\": {}, "
            "\"centrelineArcLength\": {}, \"farthestDownwindExtent\": {}, "
            "\"greatestHalfWidth\": {}, \"exceededAtEndOfRun\": {}, \"regionComputed\": {}}}",
            i == 0 ? "" : ", ", jsonString(i < levels.size() ? levels[i].text() : ""),
            jsonNumber(converter.thresholdFromModel(answer.level, unit)),
            jsonOptional(answer.centrelineDownwindDistance), jsonOptional(answer.centrelineArcLength),
            jsonOptional(answer.farthestDownwindExtent), jsonOptional(answer.greatestHalfWidth),
            answer.exceededAtEndOfRun ? "true" : "false", answer.regionComputed ? "true" : "false");
    }
    out += "]}, \"messages\": [";
    for (std::size_t i = 0; i < summary.messages.size(); ++i) {
        out += fmt::format("{}{{\"severity\": {}, \"text\": {}}}", i == 0 ? "" : ", ",
                           jsonString(RunSummary::severityName(summary.messages[i].severity)),
                           jsonString(summary.messages[i].text));
    }
    out += "]";
    return out;
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
    return CommandFailure(kInputsInvalid, summary.ending == RunSummary::Ending::refusedBySourceChecks
                                              ? "the run was refused by the source checks: " + why
                                              : why);
}

void checkNotInput(const std::string &option, const std::string &output, const std::string &input,
                   std::string_view what) {
    io::SameFile::noteInput(input);
    if (io::SameFile::same(output, input)) {
        throw CommandFailure(kUsageError,
                             fmt::format("{}: '{}' is the {} being read ('{}'); choose another file", option,
                                         output, what, input));
    }
}

void echoModelMessagesTo(std::FILE *stream) {
    JetModel::setEchoStream(stream);
}

} // namespace ostreljet::cli
