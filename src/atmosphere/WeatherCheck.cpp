#include "ostreljet/atmosphere/WeatherCheck.hpp"

#include "ostreljet/atmosphere/Atmosphere.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace ostreljet {

namespace {

constexpr int profileHeights = 96;            // heights checked, spaced evenly in log(z)
constexpr double lowestHeight = 0.01;         // m, or the roughness length when higher
constexpr double speedTolerance = 1e-9;       // relative fall of the wind speed taken as rounding
constexpr double classReferenceHeight = 10.0; // m, the height of the wind speed in the key below

// Pasquill's key to stability classes by the surface wind speed at 10 m: the classes it gives in each
// band of wind speed, by day (strong, moderate or slight insolation) or by night (thin overcast or at
// least 4/8 low cloud; at most 3/8 cloud); class D for overcast at any speed. Source: Pasquill, F.
// (1961), "The estimation of the dispersion of windborne material", Meteorological Magazine 90,
// 33-49, as tabulated by Turner, D. B. (1970), Workbook of Atmospheric Dispersion Estimates, U.S.
// EPA AP-26, Table 3-1 "Key to stability categories". Night-time below 2 m/s is left blank there.
struct ClassBand {
    double fromSpeed; // m/s, at 10 m, inclusive
    bool usual[6];    // A..F
};
constexpr ClassBand pasquillKey[] = {
    {0.0, {true, true, false, true, true, true}},    // < 2: A, A-B, B by day; night blank; D overcast
    {2.0, {true, true, true, true, true, true}},     // 2-3: A-B, B, C by day; E, F by night
    {3.0, {false, true, true, true, true, false}},   // 3-5: B, B-C, C by day; D, E by night
    {5.0, {false, false, true, true, false, false}}, // 5-6: C, C-D, D by day; D, D by night
    {6.0, {false, false, true, true, false, false}}, // > 6: C, D, D by day; D, D by night
};

std::string number(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.4g", value);
    return text;
}

} // namespace

std::string WeatherCheck::classLetter(std::int32_t stabilityClass) {
    if (stabilityClass >= 0 && stabilityClass <= 5) {
        return std::string(1, static_cast<char>('A' + stabilityClass));
    }
    return std::to_string(stabilityClass);
}

bool WeatherCheck::usualClass(std::int32_t stabilityClass, double windSpeedAt10m) {
    if (stabilityClass < 0 || stabilityClass > 5 || !std::isfinite(windSpeedAt10m)) {
        return true;
    }
    const ClassBand *band = &pasquillKey[0];
    for (const ClassBand &candidate : pasquillKey) {
        if (windSpeedAt10m >= candidate.fromSpeed) {
            band = &candidate;
        }
    }
    return band->usual[stabilityClass];
}

WeatherCheck::Finding WeatherCheck::of(const Atmosphere &given, double top) {
    // Profile check of a copy of the atmosphere.
    // 1. Heights from the roughness length (or 1 cm) to the top, evenly spaced in log(z), and the ground.
    // 2. At each: temperature and density finite and above 0, wind speed finite, at least 0 and not
    //    below the speed of the height beneath; the first failure refuses the weather.
    // 3. The class against Pasquill's key at the wind speed of 10 m.
    Atmosphere air = given;
    Finding finding;
    // Inputs that validation refuses on their own are left to it, so that its message names them.
    const auto positive = [](double value) { return std::isfinite(value) && value > 0.0; };
    if (!positive(air.surfaceRoughness()) || !positive(air.referenceWindSpeed()) ||
        !positive(air.referenceWindHeight()) || !positive(air.referenceTemperature()) ||
        !positive(air.pressure()) || !positive(air.molecularWeight()) || air.pasquillStability() < 0 ||
        air.pasquillStability() > 5) {
        return finding;
    }
    const std::string weather = "class " + classLetter(air.pasquillStability()) + " with a wind speed of " +
                                number(air.referenceWindSpeed()) + " m/s at " +
                                number(air.referenceWindHeight()) + " m";
    const double highest = top > 0.0 ? top : air.boundaryLayerHeight();
    const double lowest = std::max(lowestHeight, air.surfaceRoughness());
    double previousSpeed = 0.0;
    for (int i = -1; i < profileHeights; ++i) {
        const double z = i < 0 ? 0.0
                               : lowest * std::pow(std::max(highest, lowest) / lowest,
                                                   static_cast<double>(i) / (profileHeights - 1));
        air.setLocation(vector3(0.0, 0.0, z));
        const double temperature = air.temperature();
        const double density = air.density();
        const double speed = air.velocity().norm();
        std::string what;
        if (!(std::isfinite(temperature) && temperature > 0.0)) {
            what = "an air temperature of " + number(temperature) + " K";
        } else if (!(std::isfinite(density) && density > 0.0)) {
            what = "an air density of " + number(density) + " kg/m3";
        } else if (!(std::isfinite(speed) && speed >= 0.0)) {
            what = "a wind speed of " + number(speed) + " m/s";
        } else if (i > 0 && speed < previousSpeed * (1.0 - speedTolerance)) {
            what = "a wind speed of " + number(speed) + " m/s, below the " + number(previousSpeed) +
                   " m/s beneath it";
        }
        if (!what.empty()) {
            finding.refusal = "The weather is not physical: " + weather + " gives " + what + " at " +
                              number(z) + " m above the ground. Choose another class or wind speed.";
            return finding;
        }
        if (i >= 0) {
            previousSpeed = speed;
        }
    }
    const double speed10 = air.windSpeedAt(classReferenceHeight);
    if (!usualClass(air.pasquillStability(), speed10)) {
        finding.notice = "Class " + classLetter(air.pasquillStability()) +
                         " is unusual for a wind speed of " + number(speed10) +
                         " m/s at 10 m: Pasquill's key to stability classes does not give it at that speed "
                         "(Pasquill 1961; Turner 1970, Table 3-1).";
    }
    return finding;
}

} // namespace ostreljet
