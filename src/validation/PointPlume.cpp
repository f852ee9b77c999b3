#include "ostreljet/validation/PointPlume.hpp"

#include "ostreljet/farfield/AveragingTime.hpp"
#include "ostreljet/farfield/GaussianPlume.hpp"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace ostreljet {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

void require(bool ok, const char *name, double value, const char *what) {
    if (!ok)
        throw std::invalid_argument(std::string("point plume: ") + name + " must be " + what + ", not " +
                                    std::to_string(value));
}

} // namespace

PointPlume::PointPlume(const PointRelease &release, const PointWeather &weather)
    : release_(release), windSpeed_(weather.windSpeed),
      sigmas_(FarFieldDispersion::rural, weather.stabilityClass) {
    require(std::isfinite(release.massRate) && release.massRate > 0.0, "release rate", release.massRate,
            "finite and positive");
    require(std::isfinite(weather.windSpeed) && weather.windSpeed > 0.0, "wind speed", weather.windSpeed,
            "finite and positive");
    require(std::isfinite(release.height) && release.height >= 0.0, "release height", release.height,
            "finite and not negative");
    require(std::isfinite(release.samplingHeight) && release.samplingHeight >= 0.0, "sampling height",
            release.samplingHeight, "finite and not negative");
    if (weather.averagingTime) {
        sigmaYFactor_ = AveragingTime::sigmaYFactor(*weather.averagingTime);
    } else {
        notes_.push_back("no averaging time given: sigma_y is the Briggs curves' own, not corrected");
    }
}

double PointPlume::sigmaY(double x) const {
    return sigmaYFactor_ * sigmas_.sigmaY(x);
}

double PointPlume::sigmaZ(double x) const {
    return sigmas_.sigmaZ(x);
}

double PointPlume::concentrationAt(double x) const {
    if (!(x > 0.0))
        return kNaN;
    return GaussianPlume::concentration(release_.massRate, windSpeed_, sigmaY(x), sigmaZ(x), 0.0,
                                        release_.samplingHeight, release_.height, kInfinity);
}

} // namespace ostreljet
