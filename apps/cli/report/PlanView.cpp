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

double PageBuilder::planHeight(double xLow, double xHigh, double yLow, double yHigh) const {
    // The height whose horizontal section of the field is largest, from a coarse grid; the greatest
    // centreline height when the field is nowhere above the stopping concentration.
    constexpr int nx = 60;
    constexpr int ny = 40;
    constexpr int nz = 40;
    const double zTop = plumeTop();
    std::vector<double> values(static_cast<std::size_t>(nx) * ny * nz, 0.0);
    field_.grid(values.data(), xLow, yLow, 0.0, xHigh, gridEndFor(yLow, yHigh, ny), gridEndFor(0.0, zTop, nz),
                nx, ny, nz, threads_);
    std::vector<int> counts(nz, 0);
    for (std::size_t n = 0; n < values.size(); ++n) {
        if (values[n] > 0.0 && values[n] >= stop_) {
            ++counts[n % nz];
        }
    }
    const auto best = std::max_element(counts.begin(), counts.end());
    if (*best == 0) {
        return model_.maxCentrelineHeight();
    }
    return zTop * static_cast<double>(best - counts.begin()) / (nz - 1);
}

std::string PageBuilder::planView() const {
    const double width = 0.5 * (kViewWidth - 10.0);
    return "<div class=\"row\">\n" + planViewAt(true, width) + planViewAt(false, width) + "</div>\n";
}

std::string PageBuilder::planViewAt(bool atGround, double width) const {
    // 1. Project the centreline onto the ground, with its tangent from the jet's velocity (the wind where
    //    the jet moves straight up), and find the view's extent from the band.
    // 2. Fit equal scales, pick the plane (the ground or the height of the largest section), sample the
    //    field there short of the run's end and draw band, contours, stack, wind.
    std::vector<BandStep> band(steps_);
    double xLow = model_.stackLocationX();
    double xHigh = xLow;
    double yLow = model_.stackLocationY();
    double yHigh = yLow;
    for (std::size_t k = 0; k < steps_; ++k) {
        const vector3 &p = model_.centrelineLocations()[k];
        const vector3 &u = model_.centrelineVelocityVectors()[k];
        const double r = model_.profileRadii()[k];
        const double horizontal = std::hypot(u.x(), u.y());
        band[k] = BandStep{Point{p.x(), p.y()},
                           horizontal > 1e-9 * u.norm() ? Point{u.x(), u.y()} : Point{windX_, windY_},
                           std::fabs(u.z()) / u.norm(), r};
        if (std::isfinite(r) && std::isfinite(p.x()) && std::isfinite(p.y())) {
            xLow = std::min(xLow, p.x() - r);
            xHigh = std::max(xHigh, p.x() + r);
            yLow = std::min(yLow, p.y() - r);
            yHigh = std::max(yHigh, p.y() + r);
        }
    }
    const double pad = 0.04 * std::max(xHigh - xLow, yHigh - yLow) + 1e-3;
    const double plotWidth = width - kViewLeft - kViewRight;
    const ViewFrame frame =
        fitView(xLow - pad, xHigh + pad, yLow - pad, yHigh + pad, plotWidth, 240.0, 560.0, false);
    SvgPlot plot(atGround ? "planground" : "plan", width, frame.plotHeight + kViewTop + kViewBottom);
    plot.setMargins(kViewLeft, kViewTop, kViewRight, kViewBottom);
    plot.setRanges(frame.xLow, frame.xHigh, frame.yLow, frame.yHigh);

    const double height = atGround ? 0.0 : planHeight(frame.xLow, frame.xHigh, frame.yLow, frame.yHigh);
    const int nx = std::max(20, static_cast<int>(plotWidth / kGridSpacing));
    const int ny = std::max(20, static_cast<int>(frame.plotHeight / kGridSpacing));
    const std::vector<double> xs = axisPoints(frame.xLow, frame.xHigh, nx);
    const std::vector<double> ys = axisPoints(frame.yLow, frame.yHigh, ny);
    std::vector<double> values(static_cast<std::size_t>(nx) * ny, 0.0);
    field_.grid(values.data(), frame.xLow, frame.yLow, height, frame.xHigh,
                gridEndFor(frame.yLow, frame.yHigh, ny), height, nx, ny, 1, threads_);

    std::vector<char> excluded(values.size(), 0);
    for (std::size_t i = 0; i < xs.size(); ++i) {
        for (std::size_t j = 0; j < ys.size(); ++j) {
            excluded[i * ys.size() + j] = beyondEnd(xs[i], ys[j], height) ? 1 : 0;
        }
    }
    drawBand(plot, band);
    const std::vector<std::size_t> drawn = drawContours(plot, xs, ys, values, levels_, excluded);
    Style stack;
    stack.fill = "#222";
    plot.marker({model_.stackLocationX(), model_.stackLocationY()}, 4.0, stack);
    plot.drawAxes("x (east) [m]", "y (north) [m]", std::max(4, static_cast<int>(plotWidth / 90.0)),
                  std::max(3, static_cast<int>(frame.plotHeight / 45.0)));

    // The wind, as an arrow in the top left corner of the plot area.
    const double cx = kViewLeft + 44.0;
    const double cy = kViewTop + 34.0;
    const double ax = 18.0 * windX_;
    const double ay = -18.0 * windY_;
    plot.overlayElement(
        fmt::format("<circle cx=\"{:.2f}\" cy=\"{:.2f}\" r=\"28\" class=\"windrose\"/>", cx, cy));
    plot.overlayElement(
        fmt::format("<line x1=\"{:.2f}\" y1=\"{:.2f}\" x2=\"{:.2f}\" y2=\"{:.2f}\" class=\"windarrow\"/>",
                    cx - ax, cy - ay, cx + ax, cy + ay));
    const double hx = cx + ax;
    const double hy = cy + ay;
    const double ux = ax / 18.0;
    const double uy = ay / 18.0;
    plot.overlayElement(
        fmt::format("<polygon points=\"{:.2f},{:.2f} {:.2f},{:.2f} {:.2f},{:.2f}\" class=\"windhead\"/>",
                    hx + 4.0 * ux, hy + 4.0 * uy, hx - 6.0 * ux - 5.0 * uy, hy - 6.0 * uy + 5.0 * ux,
                    hx - 6.0 * ux + 5.0 * uy, hy - 6.0 * uy - 5.0 * ux));
    plot.pixelText(cx, cy + 44.0, "wind", Anchor::Middle, "note");

    const std::string where =
        atGround
            ? std::string("at ground level (z = 0)")
            : fmt::format("in the horizontal plane at {} m, the height where the plume's section is largest",
                          escapeHtml(formatValue(height, 3)));
    std::string out = "<figure>\n" + plot.svg();
    out += fmt::format("<figcaption>Plan view {}: the centreline (dark line) and the jet's profile radius "
                       "(band) seen from above; the dot is the stack. {}{}</figcaption>\n</figure>\n",
                       where, contourLegend(drawn, levels_, unitLabel_), exaggerationNote(frame));
    return out;
}

} // namespace ostreljet::report
