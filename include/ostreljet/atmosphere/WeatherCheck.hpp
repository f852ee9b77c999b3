#pragma once

// Whether the surface layer that a set of atmospheric inputs builds can be real weather, and whether its
// stability class is a usual one for its wind speed. Plain functions over a copy of the atmosphere;
// thread-safe. Heights in m, speeds in m/s, temperatures in K, densities in kg/m3.

#include "ostreljet/Export.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace ostreljet {

class Atmosphere;

class OSTRELJET_EXPORT WeatherCheck {
public:
    struct Finding {
        // Why the weather cannot be used (naming the class, the wind speed and what failed); absent when
        // it can.
        std::optional<std::string> refusal;
        // A class unusual for the wind speed at 10 m; absent when usual (or when the table says nothing).
        std::optional<std::string> notice;
    };

    // Checks the profile from the ground to `top` (m; the boundary-layer height when 0 or less): a
    // finite temperature and density above 0 and a finite wind speed that does not fall with height.
    // Inputs that are out of range on their own (a roughness of 0, say) give no finding: validation names
    // them.
    static Finding of(const Atmosphere &atmosphere, double top = 0.0);

    // Whether Pasquill's key gives class `stabilityClass` (0 = A .. 5 = F) for this wind speed at 10 m,
    // by day or by night; true where the key gives no class (night below 2 m/s).
    static bool usualClass(std::int32_t stabilityClass, double windSpeedAt10m);

    // "A" .. "F", or the number for a value outside 0..5.
    static std::string classLetter(std::int32_t stabilityClass);
};

} // namespace ostreljet
