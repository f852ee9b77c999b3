#include "report/FarFieldSection.hpp"

#include "report/Html.hpp"
#include "report/PageBuilder.hpp"
#include "report/Svg.hpp"

#include "ostreljet/farfield/HandOff.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ostreljet::report {

namespace {

// A curve in log10 units, broken where a value is not positive (a log axis has no place for it).
void drawLogCurve(SvgPlot &svg, const std::vector<Point> &points, const Style &style) {
    std::vector<Point> piece;
    for (const Point &p : points) {
        if (p.x > 0.0 && p.y > 0.0 && std::isfinite(p.x) && std::isfinite(p.y)) {
            piece.push_back({std::log10(p.x), std::log10(p.y)});
        } else if (!piece.empty()) {
            svg.polyline(piece, style);
            piece.clear();
        }
    }
    if (piece.size() > 1) {
        svg.polyline(piece, style);
    }
}

} // namespace

std::string FarFieldSection::render(const JetModel &model, const RunSummary &summary,
                                    const FarField &farField, const SummaryRequest &request) {
    // 1. The curves in the page's unit: the jet's centreline to the hand-off, the far field's centreline
    //    and ground level after it.
    // 2. The ranges in whole decades, then levels, hand-off and end, curves, axes and legend.
    if (!summary.succeeded()) {
        return "<p>Not computed: the run has no results.</p>\n";
    }
    if (!farField.computed()) {
        return "<p>No far field was built: the answers end where the run ends.</p>\n";
    }
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    const auto shown = [&](double value, double z) {
        return converter.fromModel(value, request.unit, ambientTemperatureAt(model, z));
    };
    const double handOff = farField.handOff().downwindDistance;
    const double stackX = model.stackLocationX();
    const double stackY = model.stackLocationY();
    const double bearing = model.referenceWindBearing() * kDegrees;
    std::vector<Point> jet;
    for (std::int32_t k = 0; k < model.numberOfOutputSteps(); ++k) {
        const vector3 &p = model.centrelineLocations()[static_cast<std::size_t>(k)];
        const double downwind = (p.x() - stackX) * std::sin(bearing) + (p.y() - stackY) * std::cos(bearing);
        if (downwind > handOff) {
            break;
        }
        jet.push_back({downwind, shown(model.centrelineConcentration(k), p.z())});
    }
    std::vector<Point> centreline, ground;
    for (const FarFieldPoint &point : farField.series()) {
        if (point.downwindDistance > farField.endDistance()) {
            break;
        }
        centreline.push_back({point.downwindDistance, shown(point.centrelineConcentration, point.height)});
        ground.push_back({point.downwindDistance, shown(point.groundLevelConcentration, 0.0)});
    }

    double xLow = std::numeric_limits<double>::infinity(), yLow = xLow;
    double xHigh = 0.0, yHigh = 0.0;
    for (const auto *curve : {&jet, &centreline, &ground}) {
        for (const Point &p : *curve) {
            if (p.x > 0.0 && p.y > 0.0) {
                xLow = std::min(xLow, p.x);
                xHigh = std::max(xHigh, p.x);
                yLow = std::min(yLow, p.y);
                yHigh = std::max(yHigh, p.y);
            }
        }
    }
    if (!(xHigh > 0.0) || !(yHigh > 0.0)) {
        return "<p>Nothing to draw: no positive concentration along the plume.</p>\n";
    }
    // Levels far below every value would stretch the axis over empty decades; those are left out.
    yLow = std::max(yLow, yHigh * 1e-8);
    const auto [xa, xb] = decades(std::max(xLow, 0.1), xHigh);
    const auto [ya, yb] = decades(yLow, yHigh);
    SvgPlot svg("plot-past-the-jet", kViewWidth, 380.0);
    svg.setMargins(80.0, 16.0, 20.0, 50.0);
    svg.setRanges(xa, xb, ya, yb);
    std::vector<std::size_t> drawnLevels;
    for (std::size_t i = 0; i < request.levelsInModelUnit.size() && i < request.levels.size(); ++i) {
        const double value = converter.thresholdFromModel(request.levelsInModelUnit[i], request.unit);
        if (!(value > 0.0) || std::log10(value) < ya || std::log10(value) > yb) {
            continue;
        }
        const double y = std::log10(value);
        svg.polyline({{xa, y}, {xb, y}},
                     lineStyle(kContourColours[drawnLevels.size() % kContourColours.size()], 1.0, "6 3"));
        svg.text({xb, y}, request.levels[i].text(), Anchor::End, "note", -4.0, -4.0);
        drawnLevels.push_back(i);
    }
    const auto marker = [&](double at, const std::string &label) {
        if (at > 0.0 && std::log10(at) > xa && std::log10(at) < xb) {
            svg.polyline({{std::log10(at), ya}, {std::log10(at), yb}}, lineStyle("#888", 1.0, "2 3"));
            svg.text({std::log10(at), yb}, label, Anchor::Start, "note", 4.0, 14.0);
        }
    };
    marker(handOff, "hand-off");
    marker(farField.endDistance(), "end: not computed beyond");
    drawLogCurve(svg, jet, lineStyle(kCentrelineColour, 2.0));
    drawLogCurve(svg, centreline, lineStyle("#1f5fa8", 1.8));
    drawLogCurve(svg, ground, lineStyle("#c0561b", 1.8, "5 2"));
    const std::string unit(concentrationUnitLabel(request.unit));
    logLogAxes(svg, "downwind distance from the stack [m]", fmt::format("concentration [{}]", unit));

    std::string out = fmt::format(
        "<p>From {} m downwind, {} m up, the far field carries the plume on ({}; continuity ratio {}) to {} "
        "m "
        "downwind; nothing is computed beyond.</p>\n",
        figure(handOff), figure(std::abs(farField.handOff().height) < 1e-9 ? 0.0 : farField.handOff().height),
        escapeHtml(HandOff::describe(farField.handOff().reason)), figure(farField.continuityRatio()),
        figure(farField.endDistance()));
    out += "<figure>" + svg.svg() +
           "<figcaption>Concentration along the wind, log-log: the jet's centreline (dark) to the hand-off, "
           "then the far field's axis (blue) and the ground below it (orange, dashed); dashed horizontal "
           "lines are the levels.</figcaption></figure>\n";
    return out;
}

} // namespace ostreljet::report
