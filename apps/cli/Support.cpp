#include "Support.hpp"

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
#include <unistd.h>

namespace ostreljet::cli {

std::optional<double> parseNumber(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    double value = 0.0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
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
        const std::optional<double> value = parseNumber(piece);
        if (!value) {
            throw CommandFailure(kUsageError,
                                 fmt::format("{}: '{}' is not a number in '{}'", option, piece, text));
        }
        values.push_back(*value);
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
            return parseNumber(text) ? std::string() : fmt::format("'{}' is not a number", text);
        },
        "", "NUMBER");
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

// The temporary file of the write in progress, removed by the handler of a signal that ends the tool.
char pendingTemporary[4096];
volatile std::sig_atomic_t temporaryPending = 0;
constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

extern "C" void removeTemporaryAndEnd(int signalNumber) {
    if (temporaryPending != 0) {
        ::unlink(pendingTemporary);
    }
    // End as the signal would have ended the tool: default action, then the same signal again.
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    ::sigaction(signalNumber, &action, nullptr);
    ::raise(signalNumber);
}

// Removes the temporary file if a signal ends the tool while it exists; restores the handlers on leaving.
class TemporaryFileGuard {
public:
    explicit TemporaryFileGuard(const std::string &path) {
        if (path.size() < sizeof pendingTemporary) {
            path.copy(pendingTemporary, path.size());
            pendingTemporary[path.size()] = '\0';
            temporaryPending = 1;
        }
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
        temporaryPending = 0;
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

void writeFileAtomically(const std::string &path, const std::function<void(std::FILE *)> &writer) {
    namespace fs = std::filesystem;
    checkOutputPath(path);
    const fs::path target(path);
    const fs::path folder = folderOf(target);
    std::error_code error;
    const fs::path temporary = folder / fmt::format(".{}.{}.tmp", target.filename().string(), ::getpid());
    const TemporaryFileGuard guard(temporary.string());
    std::FILE *stream = std::fopen(temporary.c_str(), "wb");
    if (stream == nullptr) {
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': {}", path, std::strerror(errno)));
    }
    try {
        writer(stream);
    } catch (...) {
        std::fclose(stream);
        fs::remove(temporary, error);
        throw;
    }
    const bool written = std::fflush(stream) == 0 && !std::ferror(stream);
    const bool closed = std::fclose(stream) == 0;
    if (!written || !closed) {
        const int cause = errno;
        fs::remove(temporary, error);
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': {}", path, std::strerror(cause)));
    }
    fs::rename(temporary, target, error);
    if (error) {
        fs::remove(temporary, error);
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': {}", path, error.message()));
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

void echoModelMessagesTo(std::FILE *stream) {
    JetModel::setEchoStream(stream);
}

} // namespace ostreljet::cli
