#include "ostreljet/weather/WeatherRose.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

namespace ostreljet::weather {

namespace {

// Sums that differ from 1 by more than this are worth a warning; smaller differences are rounding.
constexpr double kSumTolerance = 1e-9;

std::string number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t\r");
    return std::string(text.substr(first, last - first + 1));
}

std::vector<std::string> fields(std::string_view line) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = line.find(',', start);
        out.push_back(trim(
            line.substr(start, comma == std::string_view::npos ? std::string_view::npos : comma - start)));
        if (comma == std::string_view::npos) {
            return out;
        }
        start = comma + 1;
    }
}

std::optional<double> parseDouble(const std::string &text) {
    double value = 0.0;
    const char *begin = text.data();
    const char *end = text.data() + text.size();
    if (begin != end && *begin == '+') {
        ++begin;
    }
    const auto [ptr, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || ptr != end || begin == end) {
        return std::nullopt;
    }
    return value;
}

double normalisedBearing(double degrees) {
    double b = std::fmod(degrees, 360.0);
    if (b < 0.0) {
        b += 360.0;
    }
    return b;
}

void normalise(std::vector<WeatherCase> &cases, const std::string &sourceName, double &givenTotal,
               std::vector<std::string> &warnings) {
    givenTotal = 0.0;
    for (const WeatherCase &c : cases) {
        givenTotal += c.frequency;
    }
    if (cases.empty()) {
        throw WeatherRoseError(sourceName + ": no weather cases");
    }
    if (!(givenTotal > 0.0) || !std::isfinite(givenTotal)) {
        throw WeatherRoseError(sourceName + ": the frequencies sum to " + number(givenTotal) +
                               "; at least one must be above 0");
    }
    if (givenTotal != 1.0) {
        for (WeatherCase &c : cases) {
            c.frequency /= givenTotal;
        }
        if (std::abs(givenTotal - 1.0) > kSumTolerance) {
            warnings.push_back(sourceName + ": the frequencies sum to " + number(givenTotal) +
                               ", not 1: each is divided by the sum");
        }
    }
}

} // namespace

double WeatherCase::windBearing() const {
    return normalisedBearing(windFrom + 180.0);
}

WeatherRose WeatherRose::fromFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw WeatherRoseError(path + ": cannot be opened");
    }
    std::string text;
    text.resize(kMaximumFileBytes + 1);
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > kMaximumFileBytes) {
        throw WeatherRoseError(path + ": the file holds more than " + std::to_string(kMaximumFileBytes) +
                               " bytes");
    }
    if (in.bad()) {
        throw WeatherRoseError(path + ": cannot be read");
    }
    return fromText(text, path);
}

WeatherRose WeatherRose::fromText(std::string_view text, const std::string &sourceName) {
    // Phases: find the header and the column of each name; read each data row, refusing a bad field
    // with its row and column; normalise the frequencies.
    static constexpr std::array<const char *, 5> kColumns{"windFrom", "windSpeed", "pasquillStability",
                                                          "frequency", "atmosphereTemperature"};
    std::array<std::ptrdiff_t, kColumns.size()> column{};
    column.fill(-1);
    std::size_t columnCount = 0;
    bool haveHeader = false;
    std::vector<WeatherCase> cases;
    std::int32_t row = 0;
    std::size_t lineNumber = 0;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t newline = text.find('\n', start);
        const std::string_view line =
            text.substr(start, newline == std::string_view::npos ? std::string_view::npos : newline - start);
        start = newline == std::string_view::npos ? text.size() + 1 : newline + 1;
        ++lineNumber;
        const std::string trimmed = trim(line);
        if (trimmed.empty() || trimmed.front() == '#') {
            continue;
        }
        const std::vector<std::string> pieces = fields(trimmed);
        const std::string where = sourceName + " line " + std::to_string(lineNumber);
        if (!haveHeader) {
            haveHeader = true;
            columnCount = pieces.size();
            for (std::size_t k = 0; k < pieces.size(); ++k) {
                const auto known = std::find_if(kColumns.begin(), kColumns.end(),
                                                [&](const char *name) { return pieces[k] == name; });
                if (known == kColumns.end()) {
                    throw WeatherRoseError(where + " (header), column " + std::to_string(k + 1) + ": \"" +
                                           pieces[k] +
                                           "\" is not a column of a weather file (windFrom, windSpeed, "
                                           "pasquillStability, frequency, atmosphereTemperature)");
                }
                const auto index = static_cast<std::size_t>(known - kColumns.begin());
                if (column[index] >= 0) {
                    throw WeatherRoseError(where + " (header): the column " + pieces[k] + " is given twice");
                }
                column[index] = static_cast<std::ptrdiff_t>(k);
            }
            for (std::size_t index = 0; index + 1 < kColumns.size(); ++index) {
                if (column[index] < 0) {
                    throw WeatherRoseError(where + " (header): the column " + kColumns[index] +
                                           " is missing");
                }
            }
            continue;
        }
        ++row;
        const std::string rowText = where + " (row " + std::to_string(row) + ")";
        if (cases.size() >= kMaximumCases) {
            throw WeatherRoseError(rowText + ": a weather file holds at most " +
                                   std::to_string(kMaximumCases) + " cases");
        }
        if (pieces.size() != columnCount) {
            throw WeatherRoseError(rowText + ": " + std::to_string(pieces.size()) +
                                   " fields, the header has " + std::to_string(columnCount));
        }
        const auto fieldOf = [&](std::size_t index) -> const std::string & {
            return pieces[static_cast<std::size_t>(column[index])];
        };
        const auto numberIn = [&](std::size_t index, double low, bool lowIncluded, double high,
                                  const char *range, const char *unit) {
            const std::string &piece = fieldOf(index);
            const std::optional<double> value = parseDouble(piece);
            const std::string at = rowText + ", column " + kColumns[index] + ": ";
            if (!value) {
                throw WeatherRoseError(at + "\"" + piece + "\" is not a number");
            }
            if (!std::isfinite(*value) || (lowIncluded ? *value < low : *value <= low) || *value > high) {
                throw WeatherRoseError(at + piece + (unit[0] != 0 ? std::string(" ") + unit : std::string()) +
                                       " is not within " + range);
            }
            return *value;
        };
        WeatherCase c;
        c.row = row;
        c.windFrom = numberIn(0, 0.0, true, 360.0, "[0, 360]", "degrees");
        c.windSpeed = numberIn(1, 0.0, false, 20.0, "(0, 20]", "m/s");
        const std::string &stability = fieldOf(2);
        if (stability.size() != 1 || stability[0] < 'A' || stability[0] > 'F') {
            throw WeatherRoseError(rowText + ", column pasquillStability: \"" + stability +
                                   "\" is not a stability class A to F");
        }
        c.pasquillStability = stability[0] - 'A';
        c.frequency = numberIn(3, 0.0, true, HUGE_VAL, "[0, infinity)", "");
        if (column[4] >= 0) {
            c.atmosphereTemperature = numberIn(4, 0.0, false, 400.0, "(0, 400]", "K");
        }
        cases.push_back(c);
    }
    if (!haveHeader) {
        throw WeatherRoseError(sourceName +
                               ": no header row (windFrom,windSpeed,pasquillStability,frequency)");
    }
    return fromCases(std::move(cases), sourceName);
}

WeatherRose WeatherRose::fromCases(std::vector<WeatherCase> cases, const std::string &sourceName) {
    WeatherRose rose;
    normalise(cases, sourceName, rose.givenTotal_, rose.warnings_);
    rose.cases_ = std::move(cases);
    return rose;
}

} // namespace ostreljet::weather
