#pragma once

#include "ostreljet/weather/ExceedanceStudy.hpp"

#include <string>
#include <vector>

namespace ostreljet::report {

// What the weather study's page shows besides the study itself.
struct WeatherPageRequest {
    std::string scenarioName;
    std::string roseName;
    std::string gas;
    std::vector<std::string> levelLabels; // per level, e.g. "LFL (0.05 volume fraction)"
    std::vector<std::string> levelShort;  // per level, e.g. "LFL"
    std::vector<double> probabilities;    // the contours drawn and tabled, fractions of the time
    double sourceX = 0.0;                 // m
    double sourceY = 0.0;                 // m
    std::vector<std::string> warnings;    // the weather file's
    double seconds = 0.0;                 // the study's time
    unsigned threads = 1;
};

// The HTML page of a weather study: per level a map of the probability that the level is exceeded
// (logarithmic colour bands, labelled contours, north arrow and scale bar) and a table of the distance
// each probability reaches, with the worst case over all weather; the cases refused and their frequency.
// Self-contained: inline styles and SVG, no scripts.
std::string renderWeatherPage(const weather::ExceedanceResult &result, const weather::WeatherRose &rose,
                              const WeatherPageRequest &request);

} // namespace ostreljet::report
