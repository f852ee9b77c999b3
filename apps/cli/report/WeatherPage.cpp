#include "report/WeatherPage.hpp"

#include "report/Html.hpp"
#include "report/PageBuilder.hpp"
#include "report/ReportPage.hpp"
#include "report/Svg.hpp"
#include "report/Ticks.hpp"

#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/mapping/Footprint.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace ostreljet::report {

namespace {

// What the weather page adds to the report's style sheet.
constexpr const char *kWeatherStyle = R"(
.warning{color:#8a5a00}
.legend span{display:inline-block;width:2.2em;height:0.9em;margin:0 0.3em 0 1em;vertical-align:middle;border:1px solid #999}
)";

constexpr double kMapSize = 620.0; // px, the map's plot area

// Colour bands of the probability, one per decade from 1 down to 1e-6, lightest for the rarest.
constexpr std::array<double, 6> kBandFloors{1e-1, 1e-2, 1e-3, 1e-4, 1e-5, 1e-6};
constexpr std::array<const char *, 6> kBandColours{"#08306b", "#2171b5", "#6baed6",
                                                   "#c6dbef", "#e6eff8", "#f4f8fc"};

std::string probabilityText(double p) {
    return formatLogTick(p);
}

// A region with its holes as the rings of one path.
std::vector<std::vector<Point>> ringsOf(const std::vector<mapping::Polygon> &polygons) {
    std::vector<std::vector<Point>> rings;
    for (const mapping::Polygon &polygon : polygons) {
        rings.push_back(polygon.outer);
        rings.insert(rings.end(), polygon.holes.begin(), polygon.holes.end());
    }
    return rings;
}

std::string northArrow(double x, double y) {
    return fmt::format(
        "<g><polygon points=\"{0:.1f},{1:.1f} {2:.1f},{3:.1f} {0:.1f},{4:.1f} {5:.1f},{3:.1f}\" "
        "fill=\"#222\"/><text x=\"{0:.1f}\" y=\"{6:.1f}\" text-anchor=\"middle\" "
        "font-weight=\"bold\">N</text></g>",
        x, y, x + 9.0, y + 26.0, y + 19.0, x - 9.0, y - 5.0);
}

std::string scaleBar(const SvgPlot &plot, double x, double y) {
    // The longest 1, 2 or 5 times a power of ten that fits in a quarter of the map's width.
    const double quarter = (plot.xHigh() - plot.xLow()) / 4.0;
    const double power = std::pow(10.0, std::floor(std::log10(quarter)));
    const double metres = quarter >= 5.0 * power ? 5.0 * power : quarter >= 2.0 * power ? 2.0 * power : power;
    const double length = metres / plot.unitsPerPixelX();
    return fmt::format("<g><rect x=\"{0:.1f}\" y=\"{1:.1f}\" width=\"{2:.1f}\" height=\"6\" fill=\"#222\"/>"
                       "<rect x=\"{0:.1f}\" y=\"{1:.1f}\" width=\"{3:.1f}\" height=\"6\" fill=\"#fff\" "
                       "stroke=\"#222\"/><text x=\"{0:.1f}\" y=\"{4:.1f}\">0</text><text x=\"{5:.1f}\" "
                       "y=\"{4:.1f}\" text-anchor=\"end\">{6} m</text></g>",
                       x, y, length, length / 2.0, y - 4.0, x + length, formatValue(metres));
}

std::string probabilityMap(const weather::ExceedanceResult &result, std::size_t level,
                           const WeatherPageRequest &request) {
    const mapping::PlaneGrid &grid = result.grid;
    SvgPlot plot(fmt::format("map{}", level), kMapSize + 90.0, kMapSize + 64.0);
    plot.setMargins(70.0, 14.0, 20.0, 50.0);
    plot.setRanges(grid.x0, grid.x1, grid.y0, grid.y1);
    const mapping::PlaneValues &p = result.probability[level];
    for (std::size_t b = kBandFloors.size(); b-- > 0;) {
        plot.region(ringsOf(mapping::polygonsAtOrAbove(grid, p, kBandFloors[b])),
                    Style{"none", 1.0, kBandColours[b], 1.0, "", ""});
    }
    std::vector<ContourLevel> contours;
    for (const double probability : request.probabilities) {
        contours.push_back(
            ContourLevel{probability, probabilityText(probability), probabilityText(probability)});
    }
    drawContours(plot, grid.xs(), grid.ys(), p, contours, std::vector<char>(p.size(), 0));
    plot.marker(Point{request.sourceX, request.sourceY}, 4.0, Style{"#000", 1.0, "#ff0", 1.0, "", ""});
    plot.drawAxes("x, east [m]", "y, north [m]", 8, 8);
    plot.overlayElement(northArrow(plot.width() - 45.0, 30.0));
    plot.overlayElement(scaleBar(plot, 90.0, plot.height() - 70.0));
    return plot.svg();
}

std::string legend() {
    std::string out = "<p class=\"legend\">Probability that the level is exceeded:";
    for (std::size_t b = 0; b < kBandFloors.size(); ++b) {
        out += fmt::format("<span style=\"background:{}\"></span>{} or more", kBandColours[b],
                           probabilityText(kBandFloors[b]));
    }
    return out + "</p>\n";
}

std::string distanceCell(const weather::ProbabilityReach &reach) {
    if (!reach.distance) {
        return "not reached on the grid";
    }
    if (reach.atEdge) {
        return fmt::format("{} m or more: reaches the grid's edge", formatValue(*reach.distance));
    }
    return fmt::format("{} m", formatValue(*reach.distance));
}

} // namespace

std::string renderWeatherPage(const weather::ExceedanceResult &result, const weather::WeatherRose &rose,
                              const WeatherPageRequest &request) {
    const mapping::PlaneGrid &grid = result.grid;
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
    out += fmt::format("<title>Ostreljet weather study: {}</title>\n", escapeHtml(request.scenarioName));
    out += fmt::format("<style>{}{}</style>\n</head>\n<body>\n", ReportPage::styleSheet(), kWeatherStyle);
    out += fmt::format("<h1>Ostreljet weather study: {}</h1>\n", escapeHtml(request.scenarioName));
    out +=
        fmt::format("<p class=\"sub\">Integral jet model, version {}. Weather rose {}: {} cases.</p>\n",
                    escapeHtml(JetModel::versionInfo()), escapeHtml(request.roseName), rose.cases().size());
    out += fmt::format("<p>Grid: {} × {} points from ({}, {}) m to ({}, {}) m, {} m apart, at {} m above "
                       "ground. The probability at a point is the summed frequency of the weather cases "
                       "whose concentration there is at or above the level.</p>\n",
                       grid.nx, grid.ny, formatValue(grid.x0), formatValue(grid.y0), formatValue(grid.x1),
                       formatValue(grid.y1), formatValue(grid.dx()), formatValue(grid.z));
    if (result.refusedCases > 0) {
        out +=
            fmt::format("<p class=\"warning\">{} of {} weather cases were refused by the model (their summed "
                        "frequency, {}, is in no probability):</p>\n<ul>",
                        result.refusedCases, rose.cases().size(), formatValue(result.refusedFrequency));
        for (std::size_t c = 0; c < result.outcomes.size(); ++c) {
            if (!result.outcomes[c].computed) {
                const weather::WeatherCase &w = rose.cases()[c];
                out += fmt::format("<li>row {}: wind from {}°, {} m/s, class {}: {}</li>", w.row,
                                   formatValue(w.windFrom), formatValue(w.windSpeed),
                                   static_cast<char>('A' + w.pasquillStability),
                                   escapeHtml(result.outcomes[c].message));
            }
        }
        out += "</ul>\n";
    } else {
        out += "<p>Every weather case was computed.</p>\n";
    }
    for (const std::string &warning : request.warnings) {
        out += fmt::format("<p class=\"warning\">{}</p>\n", escapeHtml(warning));
    }
    out += fmt::format("<p class=\"sub\">The study took {} s on {} thread(s).</p>\n",
                       formatValue(request.seconds, 3), request.threads);
    for (std::size_t l = 0; l < result.levels.size(); ++l) {
        out += fmt::format("<h2>{}</h2>\n", escapeHtml(request.levelLabels[l]));
        if (result.cutCases[l] > 0) {
            out += fmt::format(
                "<p class=\"warning\">In {} weathers (summed frequency {}) {}: their regions are cut off "
                "there, so the probabilities beyond are lower bounds.</p>\n",
                result.cutCases[l], formatValue(result.cutFrequency[l]),
                result.farField ? "the level is still exceeded where the far field ends"
                                : "the run ended with its centreline still at or above this level");
        }
        out += legend();
        out += probabilityMap(result, l, request);
        out += "<table><tr><th>probability of exceeding the level</th><th>greatest distance from the "
               "release</th>"
               "</tr>\n";
        const std::vector<weather::ProbabilityReach> reaches = weather::probabilityReach(
            grid, result.probability[l], request.probabilities, request.sourceX, request.sourceY);
        for (const weather::ProbabilityReach &reach : reaches) {
            out += fmt::format("<tr><td>{} or more</td><td class=\"num\">{}</td></tr>\n",
                               probabilityText(reach.probability), distanceCell(reach));
        }
        const weather::ProbabilityReach worst =
            weather::probabilityReach(grid, result.worst, {result.levels[l]}, request.sourceX,
                                      request.sourceY)
                .front();
        out +=
            fmt::format("<tr><td>worst case (any weather of the rose)</td><td class=\"num\">{}</td></tr>\n",
                        distanceCell(worst));
        out += "</table>\n";
    }
    out += "</body>\n</html>\n";
    return out;
}

} // namespace ostreljet::report
