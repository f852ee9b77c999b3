#include "MapOptions.hpp"

#include "Support.hpp"

#include <fmt/core.h>

#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace ostreljet::cli {

std::unique_ptr<mapping::GeoTransform> parseOriginOption(const std::string &text) {
    if (text.empty()) {
        return nullptr;
    }
    const std::vector<std::string> pieces = splitAtCommas(text);
    std::optional<double> latitude = pieces.size() == 2 ? parseNumber(pieces[0]) : std::nullopt;
    std::optional<double> longitude = pieces.size() == 2 ? parseNumber(pieces[1]) : std::nullopt;
    if (!latitude || !longitude) {
        throw CommandFailure(kUsageError,
                             fmt::format("--origin: \"{}\" is not LAT,LON (two numbers, degrees)", text));
    }
    try {
        return std::make_unique<mapping::GeoTransform>(*latitude, *longitude);
    } catch (const mapping::GeoTransformError &e) {
        throw CommandFailure(kUsageError, fmt::format("--origin: {}", e.what()));
    }
}

double parseHeightOption(const std::string &text) {
    const std::optional<double> z = parseNumber(text);
    if (!z || !std::isfinite(*z) || *z < 0.0) {
        throw CommandFailure(kUsageError,
                             fmt::format("--height: \"{}\" is not a height of 0 m or more", text));
    }
    return *z;
}

void CaseProgress::operator()(std::int64_t done, std::int64_t total) {
    const int percent = total > 0 ? static_cast<int>(done * 100 / total) : 100;
    if (percent == shown_) {
        return;
    }
    shown_ = percent;
    fmt::print(stderr, "\r{:3}% of {} weather cases", percent, total);
    if (percent == 100) {
        fmt::print(stderr, "\n");
    }
    std::fflush(stderr);
}

} // namespace ostreljet::cli
