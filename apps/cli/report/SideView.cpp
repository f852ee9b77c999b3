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

bool PageBuilder::beyondEnd(double x, double y, double z) const {
    // Past a hand-off the far field answers to its own end; else the jet's to the plane of its last step.
    const FarField &far = field_.farField();
    if (far.computed()) {
        return far.downwindDistanceOf(x, y) > far.endDistance();
    }
    if (steps_ == 0) {
        return false;
    }
    const vector3 &c = model_.centrelineLocations()[steps_ - 1];
    const vector3 &t = model_.centrelineVelocityVectors()[steps_ - 1];
    return t.x() * (x - c.x()) + t.y() * (y - c.y()) + t.z() * (z - c.z()) > 0.0;
}

double PageBuilder::plumeTop() const {
    double top = model_.stackHeight();
    for (std::size_t k = 0; k < steps_; ++k) {
        const double z = model_.centrelineLocations()[k].z() + model_.profileRadii()[k];
        if (std::isfinite(z)) {
            top = std::max(top, z);
        }
    }
    return top;
}

std::vector<double> PageBuilder::sidePlane(double offset, const std::vector<double> &ds,
                                           const std::vector<double> &zs) const {
    // The field on the vertical plane along the wind through planeOrigin(offset);
    // values[i * nz + k] belongs to downwind distance ds[i] and height zs[k].
    const int nd = static_cast<int>(ds.size());
    const int nz = static_cast<int>(zs.size());
    std::vector<double> values(static_cast<std::size_t>(nd) * nz, 0.0);
    const Point origin = planeOrigin(offset);
    if (std::fabs(windY_) < 1e-9) {
        field_.grid(values.data(), origin.x + ds.front() * windX_, origin.y, zs.front(),
                    origin.x + ds.back() * windX_, origin.y, gridEndFor(zs.front(), zs.back(), nz), nd, 1, nz,
                    threads_);
    } else if (std::fabs(windX_) < 1e-9) {
        const double yFirst = origin.y + ds.front() * windY_;
        field_.grid(values.data(), origin.x, yFirst, zs.front(), origin.x,
                    gridEndFor(yFirst, origin.y + ds.back() * windY_, nd),
                    gridEndFor(zs.front(), zs.back(), nz), 1, nd, nz, threads_);
    } else {
        // A plane at a slant to the grid axes: point by point.
        for (int i = 0; i < nd; ++i) {
            for (int k = 0; k < nz; ++k) {
                values[static_cast<std::size_t>(i) * nz + k] =
                    field_.concentration(origin.x + ds[i] * windX_, origin.y + ds[i] * windY_, zs[k]);
            }
        }
    }
    return values;
}

double PageBuilder::sideOffset(double dLow, double dHigh, double zLow, double zHigh) const {
    // The crosswind offset of the side view's plane: of the stack's own (0) and the centreline's offsets
    // at a dozen points along it, the one whose plane cuts the largest area at or above the stopping
    // concentration on a coarse grid; the stack's own on a tie.
    std::vector<double> candidates{0.0};
    for (int q = 1; q <= 12 && steps_ > 0; ++q) {
        const vector3 &p = model_.centrelineLocations()[(steps_ - 1) * static_cast<std::size_t>(q) / 12];
        const double offset =
            -(p.x() - model_.stackLocationX()) * windY_ + (p.y() - model_.stackLocationY()) * windX_;
        if (std::isfinite(offset)) {
            candidates.push_back(offset);
        }
    }
    const std::vector<double> ds = axisPoints(dLow, dHigh, 80);
    const std::vector<double> zs = axisPoints(zLow, zHigh, 40);
    double best = 0.0;
    std::ptrdiff_t bestCount = -1;
    for (const double offset : candidates) {
        const std::vector<double> values = sidePlane(offset, ds, zs);
        const std::ptrdiff_t count =
            std::count_if(values.begin(), values.end(), [&](double v) { return v > 0.0 && v >= stop_; });
        if (count > bestCount) {
            bestCount = count;
            best = offset;
        }
    }
    return best;
}

std::string PageBuilder::sideView() const {
    // 1. Project the centreline onto a vertical plane along the wind, with its tangent from the jet's
    //    velocity, and find the view's extent from the band.
    // 2. Fit equal scales, choose the plane's crosswind offset, sample the field there and draw the band,
    //    contours, ground and stack.
    std::vector<BandStep> band(steps_);
    double dLow = 0.0;
    double dHigh = 0.0;
    double zLow = 0.0;
    double zHigh = model_.stackHeight();
    for (std::size_t k = 0; k < steps_; ++k) {
        const vector3 &p = model_.centrelineLocations()[k];
        const vector3 &u = model_.centrelineVelocityVectors()[k];
        const double r = model_.profileRadii()[k];
        const Point centre{downwind(p), p.z()};
        band[k] = BandStep{centre, Point{u.x() * windX_ + u.y() * windY_, u.z()},
                           std::fabs(u.x() * windY_ - u.y() * windX_) / u.norm(), r};
        if (std::isfinite(r) && std::isfinite(centre.x) && std::isfinite(centre.y)) {
            dLow = std::min(dLow, centre.x - r);
            dHigh = std::max(dHigh, centre.x + r);
            // The band stops at the ground; only a centreline below it widens the view downwards.
            // (rounding leaves a centreline that ends on the ground some 1e-16 m below it).
            zLow = centre.y < -1e-6 ? std::min(zLow, centre.y) : zLow;
            zHigh = std::max(zHigh, centre.y + r);
        }
    }
    const double padX = 0.04 * (dHigh - dLow) + 1e-3;
    const double padZ = 0.06 * (zHigh - zLow) + 1e-3;
    const double plotWidth = kViewWidth - kViewLeft - kViewRight;
    const ViewFrame frame = fitView(dLow - padX, dHigh + padX, zLow < 0.0 ? zLow - padZ : 0.0, zHigh + padZ,
                                    plotWidth, 240.0, 560.0, true);
    SvgPlot plot("side", kViewWidth, frame.plotHeight + kViewTop + kViewBottom);
    plot.setMargins(kViewLeft, kViewTop, kViewRight, kViewBottom);
    plot.setRanges(frame.xLow, frame.xHigh, frame.yLow, frame.yHigh);

    // The field on the plane, above ground only: x along the wind, y height.
    const int nd = std::max(20, static_cast<int>(plotWidth / kGridSpacing));
    const int nz = std::max(20, static_cast<int>(frame.plotHeight / kGridSpacing));
    const double zFirst = std::max(0.0, frame.yLow);
    const std::vector<double> ds = axisPoints(frame.xLow, frame.xHigh, nd);
    const std::vector<double> zs = axisPoints(zFirst, frame.yHigh, nz);
    const double offset = sideOffset(frame.xLow, frame.xHigh, zFirst, frame.yHigh);
    const std::vector<double> values = sidePlane(offset, ds, zs);

    const Point origin = planeOrigin(offset);
    std::vector<char> excluded(values.size(), 0);
    for (std::size_t i = 0; i < ds.size(); ++i) {
        for (std::size_t k = 0; k < zs.size(); ++k) {
            excluded[i * zs.size() + k] =
                beyondEnd(origin.x + ds[i] * windX_, origin.y + ds[i] * windY_, zs[k]) ? 1 : 0;
        }
    }
    drawBand(plot, band, true);
    const std::vector<std::size_t> drawn = drawContours(plot, ds, zs, values, levels_, excluded);
    if (frame.yLow < 0.0) {
        // A centreline below ground shows only faintly.
        Style ground;
        ground.fill = "#d9c8a9";
        ground.opacity = 0.8;
        plot.polygon(
            {{frame.xLow, frame.yLow}, {frame.xHigh, frame.yLow}, {frame.xHigh, 0.0}, {frame.xLow, 0.0}},
            ground);
    }
    Style groundLine;
    groundLine.stroke = "#7a5a2b";
    groundLine.strokeWidth = 2.0;
    plot.horizontalLine(0.0, groundLine);
    const FarField &far = field_.farField();
    if (far.computed() && far.handOff().downwindDistance < frame.xHigh) {
        Style handOff;
        handOff.stroke = "#6a3d9a";
        handOff.dash = "6 3";
        plot.verticalLine(far.handOff().downwindDistance, handOff, "far field from here");
    }
    const double boundaryLayer = model_.atmosphere().boundaryLayerHeight();
    if (boundaryLayer < frame.yHigh) {
        Style dashed;
        dashed.stroke = "#555";
        dashed.dash = "6 4";
        plot.horizontalLine(boundaryLayer, dashed, "top of the boundary layer");
    }
    // The stack, at least 3 px wide.
    const double halfWidth = std::max(0.5 * model_.orificeDiameter(), 1.5 * plot.unitsPerPixelX());
    Style stack;
    stack.fill = "#555";
    plot.polygon({{-halfWidth, 0.0},
                  {halfWidth, 0.0},
                  {halfWidth, model_.stackHeight()},
                  {-halfWidth, model_.stackHeight()}},
                 stack);
    plot.drawAxes("downwind distance from the stack [m]", "height [m]", 12,
                  std::max(3, static_cast<int>(frame.plotHeight / 45.0)));

    std::string out = "<figure>\n" + plot.svg();
    out += fmt::format(
        "<figcaption>Side view: the centreline (dark line) and the jet's profile radius (band) "
        "seen across the wind; the stack stands at 0. Concentrations are those in the vertical "
        "plane along the wind through {}{}. {}{}</figcaption>\n</figure>\n",
        offset == 0.0 ? std::string("the stack")
                      : fmt::format("(x, y) = ({}, {}) m, the plane that cuts the largest area of "
                                    "the plume",
                                    escapeHtml(formatValue(planeOrigin(offset).x, 3)),
                                    escapeHtml(formatValue(planeOrigin(offset).y, 3))),
        far.computed() ? ", from the jet and, past the dashed line where it hands over, from the far field"
                       : "",
        contourLegend(drawn, levels_, unitLabel_), exaggerationNote(frame));
    return out;
}

} // namespace ostreljet::report
