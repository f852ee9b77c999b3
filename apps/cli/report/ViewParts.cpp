#include "ostreljet/numerics/Constants.hpp"
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

struct Box {
    double x0, y0, x1, y1; // px
    bool overlaps(const Box &other) const {
        return x0 < other.x1 && other.x0 < x1 && y0 < other.y1 && other.y0 < y1;
    }
};

// The point a fraction of the way along a line, by length.
Point pointAlong(const ContourLine &line, double fraction) {
    const double target = fraction * contourLength(line);
    double walked = 0.0;
    const std::size_t n = line.points.size();
    const std::size_t sides = line.closed ? n : n - 1;
    for (std::size_t k = 0; k < sides; ++k) {
        const Point &a = line.points[k];
        const Point &b = line.points[(k + 1) % n];
        const double length = std::hypot(b.x - a.x, b.y - a.y);
        if (walked + length >= target && length > 0.0) {
            const double t = (target - walked) / length;
            return Point{a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)};
        }
        walked += length;
    }
    return line.points.back();
}

double pixelLength(const SvgPlot &plot, const ContourLine &line) {
    double length = 0.0;
    for (std::size_t k = 1; k < line.points.size(); ++k) {
        length += std::hypot(plot.pixelX(line.points[k].x) - plot.pixelX(line.points[k - 1].x),
                             plot.pixelY(line.points[k].y) - plot.pixelY(line.points[k - 1].y));
    }
    return length;
}

// The part of a polygon at or above y = 0 (Sutherland-Hodgman against one edge).
std::vector<Point> aboveGround(const std::vector<Point> &polygon) {
    std::vector<Point> out;
    const std::size_t n = polygon.size();
    for (std::size_t k = 0; k < n; ++k) {
        const Point &a = polygon[k];
        const Point &b = polygon[(k + 1) % n];
        if (a.y >= 0.0) {
            out.push_back(a);
        }
        if ((a.y >= 0.0) != (b.y >= 0.0)) {
            const double t = a.y / (a.y - b.y);
            out.push_back(Point{a.x + t * (b.x - a.x), 0.0});
        }
    }
    return out;
}

// The pieces of a polyline at or above y = 0.
std::vector<std::vector<Point>> piecesAboveGround(const std::vector<Point> &line) {
    std::vector<std::vector<Point>> pieces;
    std::vector<Point> piece;
    for (std::size_t k = 0; k < line.size(); ++k) {
        const Point &b = line[k];
        if (k > 0 && (line[k - 1].y >= 0.0) != (b.y >= 0.0)) {
            const Point &a = line[k - 1];
            const double t = a.y / (a.y - b.y);
            piece.push_back(Point{a.x + t * (b.x - a.x), 0.0});
            if (b.y < 0.0) {
                pieces.push_back(std::move(piece));
                piece.clear();
            }
        }
        if (b.y >= 0.0) {
            piece.push_back(b);
        }
    }
    if (piece.size() > 1) {
        pieces.push_back(std::move(piece));
    }
    return pieces;
}
} // namespace

// Smallest and largest finite value of a series; (0, 0) when there is none.
std::pair<double, double> finiteRange(const std::vector<double> &values) {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const double v : values) {
        if (std::isfinite(v)) {
            low = std::min(low, v);
            high = std::max(high, v);
        }
    }
    return low <= high ? std::pair{low, high} : std::pair{0.0, 0.0};
}

ViewFrame fitView(double xLow, double xHigh, double yLow, double yHigh, double plotWidth, double minHeight,
                  double maxHeight, bool keepYLow) {
    // Equal scales on both axes: a view that would be too tall gets a wider x range; one that would be
    // too flat gets a taller y range, by at most half again its height, and is exaggerated beyond that.
    ViewFrame frame{xLow, xHigh, yLow, yHigh, 0.0, 1.0};
    const double dx = xHigh - xLow;
    const double dy = yHigh - yLow;
    double height = plotWidth * dy / dx;
    if (height > maxHeight) {
        height = maxHeight;
        const double extra = 0.5 * (dy * plotWidth / height - dx);
        frame.xLow -= extra;
        frame.xHigh += extra;
    } else if (height < minHeight) {
        height = minHeight;
        const double factor = dx * minHeight / plotWidth / dy;
        const double widen = std::min(factor, 1.5);
        const double newDy = dy * widen;
        if (keepYLow) {
            frame.yHigh = yLow + newDy;
        } else {
            frame.yLow -= 0.5 * (newDy - dy);
            frame.yHigh += 0.5 * (newDy - dy);
        }
        frame.exaggeration = factor / widen;
    }
    frame.plotHeight = height;
    return frame;
}

// Draws the contours of a sampled field with a label on the longest piece of each level, placed where
// it overlaps no other label; cells with a corner marked in `excluded` are left out. Each level keeps the
// colour of its place in `levels`. Returns the places of the levels drawn.
std::vector<std::size_t> drawContours(SvgPlot &plot, const std::vector<double> &xs,
                                      const std::vector<double> &ys, const std::vector<double> &values,
                                      const std::vector<ContourLevel> &levels,
                                      const std::vector<char> &excluded) {
    std::vector<Box> placed;
    std::vector<std::size_t> drawn;
    const Box area{plot.pixelX(plot.xLow()) + 2.0, plot.pixelY(plot.yHigh()) + 2.0,
                   plot.pixelX(plot.xHigh()) - 2.0, plot.pixelY(plot.yLow()) - 2.0};
    for (std::size_t l = 0; l < levels.size(); ++l) {
        const std::vector<ContourLine> lines = traceContours(xs, ys, values, levels[l].value, &excluded);
        if (lines.empty()) {
            continue;
        }
        drawn.push_back(l);
        Style style;
        style.stroke = kContourColours[l % kContourColours.size()];
        style.strokeWidth = 1.6;
        const ContourLine *longest = nullptr;
        double longestPixels = 0.0;
        for (const ContourLine &line : lines) {
            if (line.closed) {
                plot.polygon(line.points, style);
            } else {
                plot.polyline(line.points, style);
            }
            const double pixels = pixelLength(plot, line);
            if (pixels > longestPixels) {
                longestPixels = pixels;
                longest = &line;
            }
        }
        const std::string &label = levels[l].label;
        const double width = 6.8 * static_cast<double>(label.size()) + 4.0;
        if (longest == nullptr || longestPixels < 2.5 * width) {
            continue;
        }
        for (const double fraction : {0.5, 0.35, 0.65, 0.2, 0.8, 0.1, 0.9, 0.27, 0.43, 0.57, 0.73}) {
            const Point at = pointAlong(*longest, fraction);
            const double px = plot.pixelX(at.x);
            const double py = plot.pixelY(at.y);
            // The box keeps a few px clear around the text so that labels never touch.
            const Box box{px - 0.5 * width - 4.0, py - 10.0, px + 0.5 * width + 4.0, py + 10.0};
            const bool insideArea =
                box.x0 >= area.x0 && box.x1 <= area.x1 && box.y0 >= area.y0 && box.y1 <= area.y1;
            if (!insideArea ||
                std::any_of(placed.begin(), placed.end(), [&](const Box &b) { return b.overlaps(box); })) {
                continue;
            }
            placed.push_back(box);
            plot.text(at, label, Anchor::Middle, fmt::format("clabel c{}", l % kContourColours.size()), 0.0,
                      4.0);
            break;
        }
    }
    return drawn;
}

// The jet as a band: the centreline with the profile radius to either side, normal to the centreline in
// the view's plane, and where the jet runs out of the plane the ellipse that its circular section
// projects to (a vertical jet seen from above is a disc).
void drawBand(SvgPlot &plot, const std::vector<BandStep> &steps, bool clipAtGround) {
    const std::size_t n = steps.size();
    if (n < 2) {
        return;
    }
    std::vector<Point> centre(n);
    std::vector<Point> left(n);
    std::vector<Point> right(n);
    std::vector<Point> along(n);
    std::vector<Point> across(n);
    for (std::size_t k = 0; k < n; ++k) {
        const Point t = steps[k].tangent;
        const double length = std::hypot(t.x, t.y);
        along[k] = length > 0.0 ? Point{t.x / length, t.y / length} : Point{1.0, 0.0};
        across[k] = Point{-along[k].y, along[k].x};
        const double r = std::isfinite(steps[k].radius) ? steps[k].radius : 0.0;
        centre[k] = steps[k].centre;
        left[k] = Point{centre[k].x + r * across[k].x, centre[k].y + r * across[k].y};
        right[k] = Point{centre[k].x - r * across[k].x, centre[k].y - r * across[k].y};
    }
    // A thin outline of the same colour closes the hairline seams between neighbouring pieces.
    Style fill;
    fill.fill = kBandColour;
    fill.stroke = kBandColour;
    fill.strokeWidth = 0.8;
    const auto area = [&](const std::vector<Point> &polygon) {
        const std::vector<Point> shown = clipAtGround ? aboveGround(polygon) : polygon;
        if (shown.size() > 2) {
            plot.polygon(shown, fill);
        }
    };
    const auto line = [&](const std::vector<Point> &points, const Style &style) {
        if (!clipAtGround) {
            plot.polyline(points, style);
            return;
        }
        for (const std::vector<Point> &piece : piecesAboveGround(points)) {
            plot.polyline(piece, style);
        }
    };
    plot.beginGroup(0.38);
    for (std::size_t k = 0; k + 1 < n; ++k) {
        area({left[k], left[k + 1], right[k + 1], right[k]});
    }
    const double unitsPerPixel = std::max(plot.unitsPerPixelX(), plot.unitsPerPixelY());
    for (std::size_t k = 0; k < n; ++k) {
        const double r = steps[k].radius;
        const double shortAxis = r * steps[k].outOfPlane;
        if (!std::isfinite(shortAxis) || shortAxis < 0.75 * unitsPerPixel) {
            continue;
        }
        constexpr int sides = 32;
        std::vector<Point> section;
        for (int i = 0; i < sides; ++i) {
            const double angle = 2.0 * constants::pi * i / sides;
            const double a = r * std::cos(angle);
            const double b = shortAxis * std::sin(angle);
            section.push_back({centre[k].x + a * across[k].x + b * along[k].x,
                               centre[k].y + a * across[k].y + b * along[k].y});
        }
        area(section);
    }
    plot.endGroup();
    Style edge;
    edge.stroke = kBandColour;
    edge.strokeWidth = 1.0;
    line(left, edge);
    line(right, edge);
    Style centreLine;
    centreLine.stroke = kCentrelineColour;
    centreLine.strokeWidth = 1.8;
    line(centre, centreLine);
}

std::string contourLegend(const std::vector<std::size_t> &drawn, const std::vector<ContourLevel> &levels,
                          std::string_view unitLabel) {
    if (drawn.empty()) {
        return levels.empty()
                   ? "There are no levels to draw as contours."
                   : "No part of the field in this plane reaches the lowest level, so there are no "
                     "contours.";
    }
    std::string out = fmt::format("Contours of concentration ({}): ", escapeHtml(unitLabel));
    for (std::size_t k = 0; k < drawn.size(); ++k) {
        const std::size_t l = drawn[k];
        out += fmt::format("<span class=\"entry\"><span class=\"swatch\" style=\"background:{}\"></span>{}",
                           kContourColours[l % kContourColours.size()], escapeHtml(levels[l].name));
        out += k + 1 < drawn.size() ? "</span>, " : "</span>. ";
    }
    return out;
}

std::string exaggerationNote(const ViewFrame &frame) {
    // Below 1.006 the three-digit factor would read "1".
    if (frame.exaggeration < 1.006) {
        return " Both axes are drawn to the same scale.";
    }
    return fmt::format(" The vertical scale is exaggerated {}\u00d7.",
                       escapeHtml(formatValue(frame.exaggeration, 3)));
}

double maxOf(const std::vector<double> &values) {
    double high = 0.0;
    for (const double v : values) {
        if (v > high) {
            high = v;
        }
    }
    return high;
}

// Grid coordinates that include both ends.
std::vector<double> axisPoints(double low, double high, int count) {
    std::vector<double> points(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        points[static_cast<std::size_t>(i)] = low + (high - low) * i / (count - 1);
    }
    return points;
}

// The model's grid stops one step short of the end on its y and z axes; this end makes the last point
// land on `last`.
double gridEndFor(double first, double last, int count) {
    return first + (last - first) * count / (count - 1);
}

// A log-log chart: SvgPlot draws in log10 units, and these axes label each decade with its value.
// Phases: grid lines and ticks at 1, 2 and 5 times each power of ten (or the powers alone), the frame, the
// titles.
void logLogAxes(SvgPlot &svg, const std::string &xTitle, const std::string &yTitle) {
    Style grid;
    grid.stroke = "#ebebeb";
    const auto ticks = [](double low, double high) {
        return logTicks(std::pow(10.0, low), std::pow(10.0, high), 8);
    };
    const double left = svg.pixelX(svg.xLow());
    const double right = svg.pixelX(svg.xHigh());
    const double top = svg.pixelY(svg.yHigh());
    const double bottom = svg.pixelY(svg.yLow());
    for (const double x : ticks(svg.xLow(), svg.xHigh())) {
        const double px = svg.pixelX(std::log10(x));
        svg.polyline({{std::log10(x), svg.yLow()}, {std::log10(x), svg.yHigh()}}, grid);
        svg.overlayElement(
            fmt::format("<line class=\"tick\" x1=\"{0:.2f}\" y1=\"{1:.2f}\" x2=\"{0:.2f}\" y2=\"{2:.2f}\"/>",
                        px, bottom, bottom + 5.0));
        svg.pixelText(px, bottom + 18.0, formatLogTick(x), Anchor::Middle, "ticklabel");
    }
    for (const double y : ticks(svg.yLow(), svg.yHigh())) {
        const double py = svg.pixelY(std::log10(y));
        svg.polyline({{svg.xLow(), std::log10(y)}, {svg.xHigh(), std::log10(y)}}, grid);
        svg.overlayElement(
            fmt::format("<line class=\"tick\" x1=\"{1:.2f}\" y1=\"{0:.2f}\" x2=\"{2:.2f}\" y2=\"{0:.2f}\"/>",
                        py, left - 5.0, left));
        svg.pixelText(left - 8.0, py + 4.0, formatLogTick(y), Anchor::End, "ticklabel");
    }
    svg.overlayElement(
        fmt::format("<rect class=\"frame\" x=\"{:.2f}\" y=\"{:.2f}\" width=\"{:.2f}\" height=\"{:.2f}\"/>",
                    left, top, right - left, bottom - top));
    svg.pixelText(0.5 * (left + right), svg.height() - 8.0, xTitle, Anchor::Middle, "axistitle");
    svg.overlayElement(fmt::format("<text class=\"axistitle\" text-anchor=\"middle\" x=\"0\" y=\"0\" "
                                   "transform=\"translate(16 {:.2f}) rotate(-90)\">{}</text>",
                                   0.5 * (top + bottom), escapeHtml(yTitle)));
}

// Whole decades around [low, high] (positive values), in log10 units.
std::pair<double, double> decades(double low, double high) {
    const auto range = roundedLogRange(low, high);
    return {std::log10(range.first), std::log10(range.second)};
}

Style lineStyle(const char *stroke, double width, const char *dash) {
    Style s;
    s.stroke = stroke;
    s.strokeWidth = width;
    s.dash = dash;
    return s;
}

} // namespace ostreljet::report
