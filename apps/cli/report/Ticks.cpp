#include "report/Ticks.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace ostreljet::report {

namespace {

constexpr double kSlack = 1e-9; // relative tolerance for values that sit on a tick

// m times ten to the power e, rounded once: exact powers of ten divide rather than multiply by a
// rounded negative power, so 3 times 0.1 comes out as the double nearest 0.3.
double scaled(double m, int e) {
    return e >= 0 ? m * std::pow(10.0, e) : m / std::pow(10.0, -e);
}

const char *const kMinus = "\u2212";

std::string withTrueMinus(std::string text) {
    std::string out;
    for (const char c : text) {
        if (c == '-') {
            out += kMinus;
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

Ticks linearTicks(double low, double high, int maxCount) {
    Ticks ticks;
    if (!std::isfinite(low) || !std::isfinite(high) || !(high > low)) {
        return ticks;
    }
    maxCount = std::max(maxCount, 2);
    const double span = high - low;
    // Try steps from a little below span / maxCount upwards and keep the first that fits.
    for (int e = static_cast<int>(std::floor(std::log10(span / maxCount))) - 1;; ++e) {
        for (const int m : {1, 2, 5}) {
            const double step = scaled(m, e);
            const double first = std::ceil(low / step - kSlack);
            const double last = std::floor(high / step + kSlack);
            if (last - first + 1.0 > maxCount) {
                continue;
            }
            ticks.step = step;
            for (double k = first; k <= last; k += 1.0) {
                ticks.values.push_back(scaled(k * m, e));
            }
            return ticks;
        }
    }
}

std::pair<double, double> roundedRange(double low, double high, int maxCount) {
    if (!std::isfinite(low) || !std::isfinite(high)) {
        return {low, high};
    }
    if (high < low) {
        std::swap(low, high);
    }
    if (high - low <= 1e-12 * std::max(std::fabs(low), std::fabs(high))) {
        const double half = low != 0.0 ? std::fabs(low) * 0.005 : 1.0;
        low -= half;
        high += half;
    }
    // Widening can call for a coarser step, which widens again; a few rounds settle it.
    for (int round = 0; round < 8; ++round) {
        const Ticks ticks = linearTicks(low, high, maxCount);
        if (ticks.step <= 0.0) {
            break;
        }
        const double newLow = std::floor(low / ticks.step + kSlack) * ticks.step;
        const double newHigh = std::ceil(high / ticks.step - kSlack) * ticks.step;
        const bool settled = newLow == low && newHigh == high;
        low = newLow;
        high = newHigh;
        if (settled) {
            break;
        }
    }
    return {low, high};
}

std::vector<double> logTicks(double low, double high, int maxCount) {
    std::vector<double> values;
    if (!(low > 0.0) || !(high > low) || !std::isfinite(high)) {
        return values;
    }
    maxCount = std::max(maxCount, 2);
    const int firstDecade = static_cast<int>(std::floor(std::log10(low))) - 1;
    const int lastDecade = static_cast<int>(std::ceil(std::log10(high))) + 1;
    const auto inside = [&](double v) { return v >= low * (1.0 - kSlack) && v <= high * (1.0 + kSlack); };
    for (int e = firstDecade; e <= lastDecade; ++e) {
        for (const int m : {1, 2, 5}) {
            const double v = scaled(m, e);
            if (inside(v)) {
                values.push_back(v);
            }
        }
    }
    if (values.size() >= 2 && static_cast<int>(values.size()) <= maxCount) {
        return values;
    }
    for (const int stride : {1, 2, 5, 10, 20, 50, 100}) {
        values.clear();
        for (int e = firstDecade; e <= lastDecade; ++e) {
            const double v = scaled(1, e);
            if (e % stride == 0 && inside(v)) {
                values.push_back(v);
            }
        }
        if (static_cast<int>(values.size()) <= maxCount) {
            break;
        }
    }
    if (values.size() < 2) {
        values = linearTicks(low, high, maxCount).values;
    }
    return values;
}

std::pair<double, double> roundedLogRange(double low, double high) {
    if (!(low > 0.0) || !(high > 0.0)) {
        return {low, high};
    }
    const double lowDecade = std::floor(std::log10(low) + kSlack);
    const double highDecade = std::ceil(std::log10(high) - kSlack);
    return {scaled(1, static_cast<int>(lowDecade)),
            scaled(1, static_cast<int>(std::max(highDecade, lowDecade + 1.0)))};
}

std::string formatTick(double value, double step) {
    int decimals = 0;
    if (step > 0.0 && std::isfinite(step)) {
        decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - kSlack)));
        if (std::fabs(value) < step * 1e-6) {
            value = 0.0;
        }
    }
    return withTrueMinus(fmt::format("{:.{}f}", value, decimals));
}

std::string formatLogTick(double value) {
    if (!(value > 0.0) || !std::isfinite(value)) {
        return formatValue(value);
    }
    if (value >= 1e-4 && value < 1e6) {
        const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(value) - kSlack)));
        return fmt::format("{:.{}f}", value, decimals);
    }
    static const char *const superscripts[] = {"\u2070", "\u00b9", "\u00b2", "\u00b3", "\u2074",
                                               "\u2075", "\u2076", "\u2077", "\u2078", "\u2079"};
    const int exponent = static_cast<int>(std::floor(std::log10(value) + kSlack));
    const double mantissa = value / scaled(1, exponent);
    std::string text;
    if (std::fabs(mantissa - 1.0) > 1e-6) {
        text = fmt::format("{:.2g}\u00d7", mantissa);
    }
    text += "10";
    if (exponent < 0) {
        text += "\u207b";
    }
    for (const char digit : std::to_string(std::abs(exponent))) {
        text += superscripts[digit - '0'];
    }
    return text;
}

std::string formatValue(double value, int significantDigits) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "\u221e" : "\u2212\u221e";
    }
    return withTrueMinus(fmt::format("{:.{}g}", value, significantDigits));
}

std::string plainValue(double value, int significantDigits) {
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
    return std::isnan(value) ? "NaN" : fmt::format("{:.{}g}", value, significantDigits);
}

} // namespace ostreljet::report
