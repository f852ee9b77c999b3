#pragma once

#include "ostreljet/Export.hpp"
#include "ostreljet/farfield/BriggsSigma.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ostreljet {

// The plume of a passive tracer released continuously from a point near the ground, started directly as
// the far field's passive Gaussian plume (Briggs's rural sigmas, reflected at the ground, no lid): the
// trials of the passive part have no jet to follow, so the far field is taken from the point itself.
// Concentrations are in kg/m3 when the release rate is in kg/s, below the plume's axis at the samplers'
// height; distances are from the source, m. Immutable once built; any number of threads may query one.

struct PointRelease {
    double massRate = 0.0;       // kg/s
    double height = 0.0;         // m above the ground, of the release
    double samplingHeight = 0.0; // m above the ground, of the samplers
};

struct PointWeather {
    double windSpeed = 0.0;              // m/s at 10 m, the height at which the far field takes its wind
    std::int32_t stabilityClass = 3;     // Pasquill class for the Briggs sigmas (0 = A .. 5 = F)
    std::optional<double> averagingTime; // s; absent: sigma_y is not corrected (the Briggs curves' own)
};

class OSTRELJET_EXPORT PointPlume {
public:
    // Throws std::invalid_argument when the rate or the wind is not finite and positive, or a height is
    // negative or not finite.
    PointPlume(const PointRelease &release, const PointWeather &weather);

    double sigmaYFactor() const { return sigmaYFactor_; } // averaging time's factor on sigma_y, -
    double sigmaY(double x) const;                        // m, the averaging time's factor applied
    double sigmaZ(double x) const;                        // m
    // Concentration (kg/m3) below the plume's axis at the samplers' height, x m downwind; NaN at x <= 0.
    double concentrationAt(double x) const;

    // What was assumed or limited, in plain words.
    const std::vector<std::string> &notes() const { return notes_; }

private:
    PointRelease release_;
    double windSpeed_ = 0.0;
    BriggsSigma sigmas_;
    double sigmaYFactor_ = 1.0;
    std::vector<std::string> notes_;
};

} // namespace ostreljet
