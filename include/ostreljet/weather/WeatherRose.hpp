#pragma once

#include "ostreljet/Export.hpp"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet::weather {

// A bad weather file: the message names the file, the row and the column at fault.
class OSTRELJET_EXPORT WeatherRoseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One weather of a site's rose.
struct OSTRELJET_EXPORT WeatherCase {
    double windFrom = 0.0;  // degrees from north (+y) towards east (+x): where the wind comes from
    double windSpeed = 0.0; // m/s at the scenario's reference height
    std::int32_t pasquillStability = 3; // 0..5 for A..F
    double frequency = 0.0;             // fraction of the time, after normalisation (the cases sum to 1)
    std::optional<double> atmosphereTemperature; // K at the reference height, when the file gives it
    std::int32_t row = 0; // the case's row in the file, counting from 1 after the header

    // Bearing the wind blows towards, in [0, 360) degrees.
    double windBearing() const;
};

// A weather rose: a CSV file with a header and one row per weather case. Columns (in any order):
// windFrom (degrees, [0, 360]), windSpeed (m/s, (0, 20]), pasquillStability (A to F), frequency
// (fractions or counts, 0 or more) and, optionally, atmosphereTemperature (K, (0, 400]). Blank lines and
// lines starting with '#' are skipped. Frequencies that do not sum to 1 are divided by their sum, with a
// warning. An immutable value once read: share it freely between threads.
class OSTRELJET_EXPORT WeatherRose {
public:
    // A weather file holds at most this many bytes and cases.
    static constexpr std::size_t kMaximumFileBytes = 16 * 1024 * 1024;
    static constexpr std::size_t kMaximumCases = 100000;

    static WeatherRose fromFile(const std::string &path);
    static WeatherRose fromText(std::string_view text, const std::string &sourceName = "weather");
    // A rose of the given cases, normalised as a file's would be.
    static WeatherRose fromCases(std::vector<WeatherCase> cases, const std::string &sourceName = "weather");

    const std::vector<WeatherCase> &cases() const { return cases_; }
    // What the reader changed, e.g. "the frequencies sum to 144, not 1: each is divided by the sum".
    const std::vector<std::string> &warnings() const { return warnings_; }
    // The sum of the frequencies as given.
    double givenTotal() const { return givenTotal_; }

private:
    std::vector<WeatherCase> cases_;
    std::vector<std::string> warnings_;
    double givenTotal_ = 0.0;
};

} // namespace ostreljet::weather
