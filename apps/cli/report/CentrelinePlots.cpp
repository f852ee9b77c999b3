#include "report/PageBuilder.hpp"
#include "report/ReportPage.hpp"

#include "report/Contours.hpp"
#include "report/Html.hpp"
#include "report/Svg.hpp"
#include "report/Ticks.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace ostreljet::report {

namespace {

// A small chart of one centreline series against arc length.
std::string seriesPlot(const std::string &id, const std::vector<double> &arc,
                       const std::vector<double> &values, const std::vector<double> *reference,
                       bool logarithmic, double marker, std::string_view markerName,
                       std::string_view yTitle) {
    SvgPlot plot(id, 360.0, 270.0);
    plot.setMargins(66.0, 12.0, 22.0, 46.0); // room on the right for a five-digit last tick
    const auto [arcLow, arcHigh] = roundedRange(0.0, finiteRange(arc).second, 5);
    std::vector<double> all = values;
    if (reference != nullptr) {
        all.insert(all.end(), reference->begin(), reference->end());
    }
    if (std::isfinite(marker)) {
        all.push_back(marker);
    }
    if (logarithmic) {
        double low = std::numeric_limits<double>::infinity();
        double high = 0.0;
        for (const double v : all) {
            if (v > 0.0 && std::isfinite(v)) {
                low = std::min(low, v);
                high = std::max(high, v);
            }
        }
        if (!(high > 0.0)) {
            low = 0.1;
            high = 1.0;
        }
        const auto [yLow, yHigh] = roundedLogRange(low, high);
        plot.setLogY(true);
        plot.setRanges(arcLow, arcHigh, yLow, yHigh);
    } else {
        // A little room above and below keeps lines off the frame.
        const auto range = finiteRange(all);
        const double room = 0.03 * (range.second - range.first);
        const double low = range.first >= 0.0 ? std::max(0.0, range.first - room) : range.first - room;
        const auto [yLow, yHigh] = roundedRange(low, range.second + room, 6);
        plot.setRanges(arcLow, arcHigh, yLow, yHigh);
    }
    const auto pointsOf = [&](const std::vector<double> &ys) {
        std::vector<Point> points;
        for (std::size_t k = 0; k < arc.size() && k < ys.size(); ++k) {
            points.push_back({arc[k], ys[k]});
        }
        return points;
    };
    if (std::isfinite(marker)) {
        Style dashed;
        dashed.stroke = "#c0262d";
        dashed.dash = "5 3";
        plot.horizontalLine(marker, dashed, markerName, Anchor::Start);
    }
    if (reference != nullptr) {
        Style ambient;
        ambient.stroke = "#888";
        ambient.strokeWidth = 1.4;
        ambient.dash = "4 3";
        plot.polyline(pointsOf(*reference), ambient);
    }
    Style line;
    line.stroke = kCentrelineColour;
    line.strokeWidth = 1.8;
    plot.polyline(pointsOf(values), line);
    plot.drawAxes("arc length [m]", yTitle, 5, 7);
    return plot.svg();
}

} // namespace

std::string PageBuilder::centrelinePlots() const {
    if (steps_ == 0) {
        return "<p>There are no output steps to plot.</p>\n";
    }
    std::vector<double> ambientTemperature;
    std::vector<double> windSpeed;
    Atmosphere air = model_.atmosphere(); // a copy: sampling moves it
    for (const vector3 &p : model_.centrelineLocations()) {
        ambientTemperature.push_back(air.temperatureAt(p.z()));
        windSpeed.push_back(air.windSpeedAt(p.z()));
    }
    std::string out = "<div class=\"row\">\n";
    out += seriesPlot("concentration", model_.arclengths(), model_.centrelineConcentrations(), nullptr, true,
                      stop_ > 0.0 ? stop_ : std::numeric_limits<double>::quiet_NaN(),
                      "stopping concentration", "centreline concentration [\u2013]");
    out +=
        seriesPlot("temperature", model_.arclengths(), model_.centrelineTemperatures(), &ambientTemperature,
                   false, std::numeric_limits<double>::quiet_NaN(), {}, "centreline temperature [K]");
    out += seriesPlot("velocity", model_.arclengths(), model_.centrelineVelocities(), &windSpeed, false,
                      std::numeric_limits<double>::quiet_NaN(), {}, "centreline velocity [m/s]");
    out +=
        "</div>\n<p class=\"caption\">Centreline concentration (volume fraction, logarithmic scale), "
        "temperature and velocity against arc length from the orifice. The dashed grey lines are the ambient "
        "temperature and wind speed at the centreline's height.</p>\n";
    return out;
}

std::string PageBuilder::atmospherePlots() const {
    if (!valid_) {
        return "<p>The inputs failed validation, so the ambient profiles are not drawn.</p>\n";
    }
    Atmosphere air = model_.atmosphere(); // a copy: sampling moves it
    const double reference = model_.referenceWindHeight();
    const double top = 1.15 * std::max({model_.maxCentrelineHeight(), model_.stackHeight(), reference});
    const auto [zLow, zHigh] = roundedRange(0.0, top, 8);
    std::vector<Point> wind;
    std::vector<Point> temperature;
    constexpr int samples = 300;
    for (int i = 0; i <= samples; ++i) {
        const double f = static_cast<double>(i) / samples;
        const double z = zHigh * f * f * f; // dense near the ground, where the profiles bend most
        wind.push_back({air.windSpeedAt(z), z});
        temperature.push_back({air.temperatureAt(z), z});
    }
    const auto xRange = [](const std::vector<Point> &points) {
        std::vector<double> xs;
        for (const Point &p : points) {
            xs.push_back(p.x);
        }
        return finiteRange(xs);
    };
    const auto windRange = xRange(wind);
    const auto temperatureRange = xRange(temperature);
    if (!std::isfinite(windRange.second) || !std::isfinite(temperatureRange.second)) {
        return "<p>The ambient profiles are not finite for these inputs.</p>\n";
    }
    const auto chart = [&](const std::string &id, const std::vector<Point> &points,
                           std::pair<double, double> range, std::string_view xTitle, bool fromZero) {
        SvgPlot plot(id, 545.0, 320.0);
        plot.setMargins(66.0, 12.0, 22.0, 46.0); // room on the right for a five-digit last tick
        const auto [xLow, xHigh] = roundedRange(fromZero ? 0.0 : range.first, range.second, 6);
        plot.setRanges(xLow, xHigh, zLow, zHigh);
        Style marks;
        marks.stroke = "#666";
        marks.dash = "2 3";
        // Two lines closer than a label's height share one label.
        const bool risen = model_.numberOfOutputSteps() > 0;
        const bool apart =
            std::fabs(plot.pixelY(model_.maxCentrelineHeight()) - plot.pixelY(model_.stackHeight())) > 14.0;
        plot.horizontalLine(model_.stackHeight(), marks,
                            risen && !apart ? "stack, highest centreline" : "stack");
        if (risen && apart) {
            Style highest = marks;
            highest.dash = "6 3";
            plot.horizontalLine(model_.maxCentrelineHeight(), highest, "highest centreline");
        }
        const double boundaryLayer = air.boundaryLayerHeight();
        if (boundaryLayer < zHigh) {
            Style layer = marks;
            layer.dash = "8 4";
            plot.horizontalLine(boundaryLayer, layer, "top of the boundary layer");
        }
        Style line;
        line.stroke = kCentrelineColour;
        line.strokeWidth = 2.0;
        plot.polyline(points, line);
        plot.drawAxes(xTitle, "height [m]", 7, 8);
        return plot.svg();
    };
    std::string windChart = chart("wind", wind, windRange, "wind speed [m/s]", true);
    std::string temperatureChart =
        chart("airtemperature", temperature, temperatureRange, "air temperature [K]", false);
    return "<div class=\"row\">\n" + windChart + temperatureChart +
           fmt::format("</div>\n<p class=\"caption\">Ambient wind speed and temperature against height for "
                       "stability class {}, surface roughness {} m and {} m/s at {} m.</p>\n",
                       escapeHtml(propertyValueText(*PropertyTable::find("pasquillStability"),
                                                    model_.pasquillStability())),
                       escapeHtml(formatValue(model_.atmosphereSurfaceRoughness())),
                       escapeHtml(formatValue(model_.referenceWindSpeed())),
                       escapeHtml(formatValue(reference)));
}

} // namespace ostreljet::report
