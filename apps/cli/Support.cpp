#include "Support.hpp"

#include "ostreljet/diagnostics/ErrorMessageCollection.hpp"

#include <fmt/core.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
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

std::vector<double> parseTriple(const std::string &option, const std::string &text) {
    std::vector<double> values;
    std::size_t start = 0;
    while (true) {
        const std::size_t comma = text.find(',', start);
        const std::string piece =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        const std::optional<double> value = parseNumber(piece);
        if (!value) {
            throw CommandFailure(kUsageError,
                                 fmt::format("{}: '{}' is not a number in '{}'", option, piece, text));
        }
        values.push_back(*value);
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    if (values.size() != 3) {
        throw CommandFailure(kUsageError,
                             fmt::format("{}: expected three numbers X,Y,Z, not '{}'", option, text));
    }
    return values;
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
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                out += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
            } else {
                out += c;
            }
        }
    }
    out += '"';
    return out;
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
    return model.runModel();
}

void writeFileAtomically(const std::string &path, const std::function<void(std::FILE *)> &writer) {
    namespace fs = std::filesystem;
    const fs::path target(path);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        throw CommandFailure(
            kUsageError, fmt::format("cannot write '{}': folder '{}' does not exist", path, folder.string()));
    }
    if (fs::is_directory(target, error)) {
        throw CommandFailure(kUsageError, fmt::format("cannot write '{}': it is a directory", path));
    }
    const fs::path temporary = folder / fmt::format(".{}.{}.tmp", target.filename().string(), ::getpid());
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

void echoModelMessagesTo(std::FILE *stream) {
    ErrorMessageCollection::setEchoStream(stream);
}

} // namespace ostreljet::cli
