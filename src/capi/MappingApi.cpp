// The C API's maps and weather: footprints as GeoJSON, the field on a horizontal plane, weather roses and
// the weather of one case.
#include "Handle.hpp"

#include "ostreljet/mapping/LevelFootprints.hpp"
#include "ostreljet/mapping/PlumeField.hpp"
#include "ostreljet/units/Level.hpp"
#include "ostreljet/weather/ExceedanceStudy.hpp"
#include "ostreljet/weather/WeatherRose.hpp"

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

using namespace ostreljet::capi;

namespace {

ostreljet::ConcentrationUnit unitNamed(const char *unit) {
    const std::optional<ostreljet::ConcentrationUnit> parsed =
        ostreljet::parseConcentrationUnit(unit == nullptr ? "vol" : unit);
    if (!parsed) {
        throw std::invalid_argument(std::string("unknown unit \"") + unit + "\"");
    }
    return *parsed;
}

} // namespace

extern "C" {

long long ostreljet_footprint_geojson(const ostreljet_model *m, const char *levels, const char *unit,
                                      double z, double origin_latitude, double origin_longitude, char *out,
                                      long long capacity) {
    return guarded(-1LL, [&] {
        if (m == nullptr || levels == nullptr) {
            return fail(-1LL, "null model or levels");
        }
        if (!m->hasRun || m->model.numberOfOutputSteps() == 0) {
            return fail(-1LL, "the model has no run with results to map");
        }
        if (!std::isfinite(z) || z < 0.0) {
            return fail(-1LL, "height " + std::to_string(z) + " m is not a finite height of 0 m or more");
        }
        const ostreljet::ConcentrationUnit u = unitNamed(unit);
        const std::vector<ostreljet::Level> parsed = ostreljet::Level::parseList(levels, u);
        std::unique_ptr<ostreljet::mapping::GeoTransform> origin;
        if (!std::isnan(origin_latitude) || !std::isnan(origin_longitude)) {
            origin = std::make_unique<ostreljet::mapping::GeoTransform>(origin_latitude, origin_longitude);
        }
        const std::string text = ostreljet::mapping::footprintGeoJson(
            ostreljet::mapping::levelFootprints(m->model, parsed, m->gas, u, z, m->farFieldOptions, {},
                                                "model"),
            origin.get());
        const auto length = static_cast<long long>(text.size());
        if (out != nullptr && capacity > length) {
            std::memcpy(out, text.c_str(), text.size() + 1);
        }
        return length;
    });
}

long long ostreljet_plane(const ostreljet_model *m, double x0, double y0, double x1, double y1, int nx,
                          int ny, double z, double *out, long long capacity) {
    return guarded(-1LL, [&] {
        if (m == nullptr) {
            return fail(-1LL, "null model");
        }
        if (!(std::isfinite(x0) && std::isfinite(y0) && std::isfinite(x1) && std::isfinite(y1) &&
              std::isfinite(z))) {
            return fail(-1LL, "a coordinate of the plane is not a finite number");
        }
        if (nx < 0 || ny < 0) {
            return fail(-1LL, "negative point count on the plane");
        }
        const long long total = static_cast<long long>(nx) * ny;
        if (total > capacity || (out == nullptr && total > 0)) {
            return fail(-1LL, "output capacity " + std::to_string(capacity) + " is too small for the " +
                                  std::to_string(total) + " points of the plane");
        }
        if (!m->hasRun || m->model.numberOfOutputSteps() == 0) {
            std::fill(out, out + total, 0.0);
            return total;
        }
        const ostreljet::mapping::PlaneValues values =
            ostreljet::mapping::PlumeField(m->model, m->farFieldOptions)
                .sample(ostreljet::mapping::PlaneGrid{x0, y0, x1, y1, nx, ny, z}, 0);
        std::copy(values.begin(), values.end(), out);
        return total;
    });
}

int ostreljet_levels_in_model_unit(const ostreljet_model *m, const char *levels, const char *unit,
                                   double *out, int capacity) {
    return guarded(-1, [&] {
        if (m == nullptr || levels == nullptr) {
            return fail(-1, "null model or levels");
        }
        const std::vector<ostreljet::Level> parsed = ostreljet::Level::parseList(levels, unitNamed(unit));
        const std::vector<double> values = ostreljet::Level::toModel(parsed, m->model, m->gas);
        if (out == nullptr || capacity < static_cast<int>(values.size())) {
            return fail(-1, "output capacity " + std::to_string(capacity) + " is too small for " +
                                std::to_string(values.size()) + " levels");
        }
        std::copy(values.begin(), values.end(), out);
        return static_cast<int>(values.size());
    });
}

int ostreljet_weather_rose(const char *path, double *cases, int capacity) {
    return guarded(-1, [&] {
        if (path == nullptr) {
            return fail(-1, "null path");
        }
        const ostreljet::weather::WeatherRose rose = ostreljet::weather::WeatherRose::fromFile(path);
        const auto count = static_cast<int>(rose.cases().size());
        if (cases == nullptr) {
            return count;
        }
        if (capacity < count) {
            return fail(-1, "output capacity " + std::to_string(capacity) + " is too small for " +
                                std::to_string(count) + " weather cases");
        }
        for (int c = 0; c < count; ++c) {
            const ostreljet::weather::WeatherCase &w = rose.cases()[static_cast<std::size_t>(c)];
            double *row = cases + 6 * c;
            row[0] = w.windFrom;
            row[1] = w.windSpeed;
            row[2] = w.pasquillStability;
            row[3] = w.frequency;
            row[4] = w.atmosphereTemperature.value_or(std::numeric_limits<double>::quiet_NaN());
            row[5] = w.row;
        }
        return count;
    });
}

int ostreljet_apply_weather(ostreljet_model *m, double wind_from, double wind_speed, int stability,
                            double temperature) {
    return guarded(internalFailure, [&] {
        if (m == nullptr) {
            return fail(invalidArgument, "null model");
        }
        if (!std::isfinite(wind_from) || !std::isfinite(wind_speed) || stability < 0 || stability > 5) {
            return fail(invalidArgument,
                        "the weather needs a finite wind direction and speed and a class 0 to 5");
        }
        ostreljet::weather::WeatherCase w;
        w.windFrom = wind_from;
        w.windSpeed = wind_speed;
        w.pasquillStability = stability;
        if (!std::isnan(temperature)) {
            w.atmosphereTemperature = temperature;
        }
        ostreljet::weather::applyWeatherCase(w, m->model);
        return OSTRELJET_OK;
    });
}

} // extern "C"
