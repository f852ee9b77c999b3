#include "report/ReportPage.hpp"

#include "report/Contours.hpp"
#include "report/Html.hpp"
#include "report/Svg.hpp"
#include "report/Ticks.hpp"

#include "ostreljet/component/PropertyTable.hpp"

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

constexpr double kDegrees = 0.017453292519943278; // radians per degree
constexpr double kViewWidth = 1100.0;             // px, side and plan views
constexpr double kViewLeft = 70.0;                // px
constexpr double kViewRight = 20.0;               // px
constexpr double kViewTop = 14.0;                 // px
constexpr double kViewBottom = 48.0;              // px
constexpr double kGridSpacing = 4.0;              // px between contour grid points

// Contour colours, from the lowest level up.
const std::array<const char *, 4> kContourColours = {"#2166ac", "#1b9e77", "#e08a00", "#c0262d"};
const char *const kBandColour = "#7fa7d9";
const char *const kCentrelineColour = "#0b2a55";

struct PropertyNote {
    std::string_view name;
    std::string_view unit;
    std::string_view meaning;
};

const std::array<PropertyNote, 23> kPropertyNotes = {{
    {"stackHeight", "m", "height of the orifice above ground"},
    {"orificeDiameter", "m", "diameter of the orifice"},
    {"stackLocationX", "m", "east coordinate of the stack"},
    {"stackLocationY", "m", "north coordinate of the stack"},
    {"releaseAngle", "\u00b0", "angle of the release above the horizontal"},
    {"dischargeCoefficient", "\u2013", "discharge coefficient of the orifice"},
    {"massFlowrate", "kg/s", "mass flow rate of the release"},
    {"atmosphereMolecularWeight", "kg/mol", "molecular weight of the air"},
    {"atmospherePressure", "Pa", "ambient pressure"},
    {"atmosphereSpecificHeat", "J/(kg\u00b7K)", "specific heat of the air"},
    {"atmosphereTemperature", "K", "air temperature at the reference height"},
    {"atmosphereSurfaceRoughness", "m", "surface roughness length"},
    {"referenceWindHeight", "m", "height of the reference wind speed"},
    {"referenceWindSpeed", "m/s", "wind speed at the reference height"},
    {"referenceWindBearing", "\u00b0", "bearing the wind blows towards, from north (+y) to east (+x)"},
    {"sourceMolecularWeight", "kg/mol", "molecular weight of the released gas"},
    {"sourceSpecificHeat", "J/(kg\u00b7K)", "specific heat of the released gas"},
    {"sourceSpecificHeatRatio", "\u2013", "ratio of specific heats of the released gas"},
    {"sourceTemperature", "K", "temperature of the released gas"},
    {"timeAveraging", "\u2013", "averaging time of the concentrations"},
    {"stoppingConcentration", "\u2013", "centreline concentration (mass fraction) that ends the run"},
    {"pasquillStability", "\u2013", "Pasquill stability class"},
    {"stackBearing", "\u00b0", "bearing of the release, from north (+y) to east (+x)"},
}};

std::string propertyValueText(const PropertyTable::Property &property, double value) {
    if (property.type == PropertyTable::Type::Pasquill && value >= 0.0 && value <= 5.0 &&
        value == std::floor(value)) {
        return std::string(1, static_cast<char>('A' + static_cast<int>(value)));
    }
    if (property.type == PropertyTable::Type::TimeAveraging) {
        if (value == static_cast<double>(SHORT_TIME_AVERAGING)) {
            return "short";
        }
        if (value == static_cast<double>(LONG_TIME_AVERAGING)) {
            return "long";
        }
    }
    return formatValue(value, 6);
}

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

struct Box {
    double x0, y0, x1, y1; // px
    bool overlaps(const Box &other) const {
        return x0 < other.x1 && other.x0 < x1 && y0 < other.y1 && other.y0 < y1;
    }
};

// Data ranges and plot height of a map-like view.
struct ViewFrame {
    double xLow, xHigh, yLow, yHigh;
    double plotHeight;   // px
    double exaggeration; // vertical scale over horizontal scale; 1 for a true-to-scale view
};

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

std::string levelText(double level) {
    return formatValue(level, 3);
}

// Draws the contours of a sampled field with a label on the longest piece of each level, placed where
// it overlaps no other label. Returns the levels drawn.
std::vector<double> drawContours(SvgPlot &plot, const std::vector<double> &xs, const std::vector<double> &ys,
                                 const std::vector<double> &values, const std::vector<double> &levels) {
    std::vector<Box> placed;
    std::vector<double> drawn;
    const Box area{plot.pixelX(plot.xLow()) + 2.0, plot.pixelY(plot.yHigh()) + 2.0,
                   plot.pixelX(plot.xHigh()) - 2.0, plot.pixelY(plot.yLow()) - 2.0};
    for (std::size_t l = 0; l < levels.size(); ++l) {
        const std::vector<ContourLine> lines = traceContours(xs, ys, values, levels[l]);
        if (lines.empty()) {
            continue;
        }
        drawn.push_back(levels[l]);
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
        const std::string label = levelText(levels[l]);
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

// One output step of the jet as a view sees it.
struct BandStep {
    Point centre;      // centreline in the view's plane, m
    Point tangent;     // direction of the jet within the view's plane (any length)
    double outOfPlane; // share of the jet's direction that points out of the view's plane, 0 to 1
    double radius;     // profile radius, m
};

// The jet as a band: the centreline with the profile radius to either side, normal to the centreline in
// the view's plane, and where the jet runs out of the plane the ellipse that its circular section
// projects to (a vertical jet seen from above is a disc).
void drawBand(SvgPlot &plot, const std::vector<BandStep> &steps) {
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
    plot.beginGroup(0.38);
    for (std::size_t k = 0; k + 1 < n; ++k) {
        plot.polygon({left[k], left[k + 1], right[k + 1], right[k]}, fill);
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
            const double angle = 2.0 * 3.14159265358979 * i / sides;
            const double a = r * std::cos(angle);
            const double b = shortAxis * std::sin(angle);
            section.push_back({centre[k].x + a * across[k].x + b * along[k].x,
                               centre[k].y + a * across[k].y + b * along[k].y});
        }
        plot.polygon(section, fill);
    }
    plot.endGroup();
    Style edge;
    edge.stroke = kBandColour;
    edge.strokeWidth = 1.0;
    plot.polyline(left, edge);
    plot.polyline(right, edge);
    Style line;
    line.stroke = kCentrelineColour;
    line.strokeWidth = 1.8;
    plot.polyline(centre, line);
}

// Lets the model's field run on below the stopping concentration while it lives, so that the lowest
// contour follows the radial profile instead of the steps of the grid where the field is cut to zero.
class UncutField {
public:
    explicit UncutField(JetModel &model) : model_(model), saved_(model.stoppingConcentration()) {
        model_.setStoppingConcentration(0.0);
    }
    ~UncutField() { model_.setStoppingConcentration(saved_); }
    UncutField(const UncutField &) = delete;
    UncutField &operator=(const UncutField &) = delete;

private:
    JetModel &model_;
    double saved_; // the stopping concentration of the run
};

std::string contourLegend(const std::vector<double> &drawn, double stoppingConcentration) {
    if (drawn.empty()) {
        return "No part of the field in this plane reaches the stopping concentration, so there are no "
               "contours.";
    }
    std::string out = "Contours of concentration (mass fraction): ";
    for (std::size_t l = 0; l < drawn.size(); ++l) {
        out += fmt::format("<span class=\"entry\"><span class=\"swatch\" style=\"background:{}\"></span>{}",
                           kContourColours[l % kContourColours.size()], escapeHtml(levelText(drawn[l])));
        if (stoppingConcentration > 0.0) {
            const double multiple = drawn[l] / stoppingConcentration;
            out += multiple == 1.0 ? " (the stopping concentration)"
                                   : fmt::format(" ({}\u00d7)", escapeHtml(formatValue(multiple, 3)));
        }
        out += l + 1 < drawn.size() ? "</span>, " : "</span>. ";
    }
    return out;
}

std::string exaggerationNote(const ViewFrame &frame) {
    if (frame.exaggeration <= 1.0 + 1e-9) {
        return " Both axes are drawn to the same scale.";
    }
    return fmt::format(" The vertical scale is exaggerated {}\u00d7.",
                       escapeHtml(formatValue(frame.exaggeration, 2)));
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

class PageBuilder {
public:
    PageBuilder(JetModel &model, const Scenario &scenario, bool inputsValid, unsigned threads)
        : model_(model), scenario_(scenario), valid_(inputsValid), threads_(threads) {
        const double bearing = model.referenceWindBearing() * kDegrees;
        // Rounding leaves about 1e-16 where a bearing along an axis should give 0; such a wind is along it.
        windX_ = std::fabs(std::sin(bearing)) < 1e-12 ? 0.0 : std::sin(bearing);
        windY_ = std::fabs(std::cos(bearing)) < 1e-12 ? 0.0 : std::cos(bearing);
        steps_ = static_cast<std::size_t>(std::max(0, model.numberOfOutputSteps()));
        stop_ = model.stoppingConcentration();
    }

    std::string summary() const;
    std::string inputs() const;
    std::string messages() const;
    std::string sideView() const;
    std::string planView() const;
    std::string centrelinePlots() const;
    std::string atmospherePlots() const;

private:
    double downwind(const vector3 &p) const {
        return (p.x() - model_.stackLocationX()) * windX_ + (p.y() - model_.stackLocationY()) * windY_;
    }
    double plumeTop() const;
    std::vector<double> sidePlane(double offset, const std::vector<double> &ds,
                                  const std::vector<double> &zs) const;
    double sideOffset(double dLow, double dHigh, double zLow, double zHigh) const;
    // The point of the plane through the stack along the wind after a shift of `offset` (m) to the left,
    // looking downwind.
    Point planeOrigin(double offset) const {
        return Point{model_.stackLocationX() - offset * windY_, model_.stackLocationY() + offset * windX_};
    }
    double planHeight(double xLow, double xHigh, double yLow, double yHigh) const;

    JetModel &model_;
    const Scenario &scenario_;
    bool valid_;
    unsigned threads_;
    double windX_ = 1.0; // downwind unit vector, east component
    double windY_ = 0.0; // downwind unit vector, north component
    std::size_t steps_ = 0;
    double stop_ = 0.0; // the run's stopping concentration
};

std::string PageBuilder::summary() const {
    std::string out = "<table class=\"facts\">\n";
    const auto row = [&](std::string_view name, const std::string &value) {
        out += fmt::format("<tr><th>{}</th><td>{}</td></tr>\n", escapeHtml(name), escapeHtml(value));
    };
    if (!valid_) {
        row("Run", "not carried out: the inputs failed validation");
    } else if (steps_ == 0) {
        row("Run", "no output steps: the source conditions stopped it");
    } else {
        const std::size_t last = steps_ - 1;
        const vector3 &end = model_.centrelineLocations()[last];
        row("Run", model_.isFatal() ? "terminated by a fatal condition" : "completed");
        row("Output steps", std::to_string(steps_));
        row("Arc length at the end", formatValue(model_.arclengths()[last]) + " m");
        row("End of the centreline (x, y, z)",
            fmt::format("({}, {}, {}) m", formatValue(end.x()), formatValue(end.y()), formatValue(end.z())));
        row("Downwind distance at the end", formatValue(downwind(end)) + " m");
        row("Greatest centreline height", formatValue(model_.maxCentrelineHeight()) + " m");
        row("Profile radius at the end", formatValue(model_.profileRadii()[last]) + " m");
        row("Centreline concentration at the end", formatValue(model_.centrelineConcentrations()[last]));
    }
    out += "</table>\n";
    return out;
}

std::string PageBuilder::inputs() const {
    std::string out = "<table class=\"inputs\">\n<tr><th>property</th><th class=\"num\">value</th>"
                      "<th>unit</th><th>meaning</th></tr>\n";
    for (const PropertyTable::Property &property : PropertyTable::properties()) {
        bool given = false;
        for (const auto &[name, value] : scenario_.inputs()) {
            given = given || name == property.name;
        }
        std::string_view meaning;
        for (const PropertyNote &note : kPropertyNotes) {
            if (note.name == property.name) {
                meaning = note.meaning;
            }
        }
        out += fmt::format(
            "<tr{}><td><code>{}</code></td><td class=\"num\">{}</td><td>{}</td><td>{}{}</td></tr>\n",
            given ? "" : " class=\"default\"", escapeHtml(property.name),
            escapeHtml(propertyValueText(property, property.get(model_))),
            escapeHtml(ReportPage::propertyUnit(property.name)), escapeHtml(meaning),
            given ? "" : " (default)");
    }
    out += "</table>\n";
    if (!scenario_.gas().empty()) {
        out +=
            fmt::format("<p>Released gas: <b>{}</b>; its molecular weight, specific heat and specific heat "
                        "ratio come from the built-in gas table unless the scenario gives them.</p>\n",
                        escapeHtml(scenario_.gas()));
    }
    return out;
}

std::string PageBuilder::messages() const {
    std::string out;
    if (!valid_) {
        out +=
            "<p class=\"banner fatal\">The inputs failed validation, so the run was not carried out.</p>\n";
    } else if (model_.isFatal()) {
        out += "<p class=\"banner fatal\">The run was terminated by a fatal condition: the results end "
               "there.</p>\n";
    }
    if (model_.messageCount() == 0) {
        out += "<p>The run left no messages.</p>\n";
        return out;
    }
    out += "<ol class=\"messages\">\n";
    for (std::int32_t i = 0; i < model_.messageCount(); ++i) {
        const std::int32_t level = model_.message(i).level;
        const char *kind = level == 2 ? "fatal" : level == 1 ? "error" : "warning";
        const char *badge = level == 2 ? "fatal \u2013 terminated" : level == 1 ? "error" : "warning";
        out += fmt::format("<li class=\"{}\"><span class=\"badge {}\">{}</span>{}</li>\n", kind, kind, badge,
                           escapeHtml(model_.messageText(i)));
    }
    out += "</ol>\n";
    return out;
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
        model_.calculateConcentrationGrid(values.data(), origin.x + ds.front() * windX_, origin.y, zs.front(),
                                          origin.x + ds.back() * windX_, origin.y,
                                          gridEndFor(zs.front(), zs.back(), nz), nd, 1, nz, threads_);
    } else if (std::fabs(windX_) < 1e-9) {
        const double yFirst = origin.y + ds.front() * windY_;
        model_.calculateConcentrationGrid(values.data(), origin.x, yFirst, zs.front(), origin.x,
                                          gridEndFor(yFirst, origin.y + ds.back() * windY_, nd),
                                          gridEndFor(zs.front(), zs.back(), nz), 1, nd, nz, threads_);
    } else {
        // A plane at a slant to the grid axes: point by point.
        for (int i = 0; i < nd; ++i) {
            for (int k = 0; k < nz; ++k) {
                values[static_cast<std::size_t>(i) * nz + k] = model_.calculateConcentration(
                    origin.x + ds[i] * windX_, origin.y + ds[i] * windY_, zs[k]);
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
            zLow = std::min(zLow, centre.y - r);
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

    drawBand(plot, band);
    const std::vector<double> drawn =
        drawContours(plot, ds, zs, values, ReportPage::contourLevels(stop_, maxOf(values)));
    if (frame.yLow < 0.0) {
        // Below ground the band shows only faintly.
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
        "plane along the wind through {}. {}{}</figcaption>\n</figure>\n",
        offset == 0.0 ? std::string("the stack")
                      : fmt::format("(x, y) = ({}, {}) m, the plane that cuts the largest area of "
                                    "the plume",
                                    escapeHtml(formatValue(planeOrigin(offset).x, 3)),
                                    escapeHtml(formatValue(planeOrigin(offset).y, 3))),
        contourLegend(drawn, stop_), exaggerationNote(frame));
    return out;
}

double PageBuilder::planHeight(double xLow, double xHigh, double yLow, double yHigh) const {
    // The height whose horizontal section of the field is largest, from a coarse grid; the greatest
    // centreline height when the field is nowhere above the stopping concentration.
    constexpr int nx = 60;
    constexpr int ny = 40;
    constexpr int nz = 40;
    const double zTop = plumeTop();
    std::vector<double> values(static_cast<std::size_t>(nx) * ny * nz, 0.0);
    model_.calculateConcentrationGrid(values.data(), xLow, yLow, 0.0, xHigh, gridEndFor(yLow, yHigh, ny),
                                      gridEndFor(0.0, zTop, nz), nx, ny, nz, threads_);
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
    // 1. Project the centreline onto the ground, with its tangent from the jet's velocity (the wind where
    //    the jet moves straight up), and find the view's extent from the band.
    // 2. Fit equal scales, pick the height of the largest section and draw band, contours, stack, wind.
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
    const double plotWidth = kViewWidth - kViewLeft - kViewRight;
    const ViewFrame frame =
        fitView(xLow - pad, xHigh + pad, yLow - pad, yHigh + pad, plotWidth, 240.0, 560.0, false);
    SvgPlot plot("plan", kViewWidth, frame.plotHeight + kViewTop + kViewBottom);
    plot.setMargins(kViewLeft, kViewTop, kViewRight, kViewBottom);
    plot.setRanges(frame.xLow, frame.xHigh, frame.yLow, frame.yHigh);

    const double height = planHeight(frame.xLow, frame.xHigh, frame.yLow, frame.yHigh);
    const int nx = std::max(20, static_cast<int>(plotWidth / kGridSpacing));
    const int ny = std::max(20, static_cast<int>(frame.plotHeight / kGridSpacing));
    const std::vector<double> xs = axisPoints(frame.xLow, frame.xHigh, nx);
    const std::vector<double> ys = axisPoints(frame.yLow, frame.yHigh, ny);
    std::vector<double> values(static_cast<std::size_t>(nx) * ny, 0.0);
    model_.calculateConcentrationGrid(values.data(), frame.xLow, frame.yLow, height, frame.xHigh,
                                      gridEndFor(frame.yLow, frame.yHigh, ny), height, nx, ny, 1, threads_);

    drawBand(plot, band);
    const std::vector<double> drawn =
        drawContours(plot, xs, ys, values, ReportPage::contourLevels(stop_, maxOf(values)));
    // The model's field is zero farther than the greatest radius from the downwind line through the
    // stack; where the band reaches beyond, dashed lines show that edge.
    const double limit = model_.maxProfileRadius();
    bool beyondLimit = false;
    for (const BandStep &step : band) {
        const double offset = -(step.centre.x - model_.stackLocationX()) * windY_ +
                              (step.centre.y - model_.stackLocationY()) * windX_;
        beyondLimit = beyondLimit || std::fabs(offset) + step.radius > limit * (1.0 + 1e-9);
    }
    if (beyondLimit) {
        const double reach =
            2.0 * std::hypot(frame.xHigh - frame.xLow, frame.yHigh - frame.yLow) +
            std::hypot(frame.xLow - model_.stackLocationX(), frame.yLow - model_.stackLocationY());
        Style edge;
        edge.stroke = "#555";
        edge.strokeWidth = 1.2;
        edge.dash = "7 4";
        for (const double side : {-limit, limit}) {
            const Point origin = planeOrigin(side);
            plot.polyline({{origin.x - reach * windX_, origin.y - reach * windY_},
                           {origin.x + reach * windX_, origin.y + reach * windY_}},
                          edge);
        }
    }
    Style stack;
    stack.fill = "#222";
    plot.marker({model_.stackLocationX(), model_.stackLocationY()}, 4.0, stack);
    plot.drawAxes("x (east) [m]", "y (north) [m]", 12,
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

    std::string out = "<figure>\n" + plot.svg();
    out += fmt::format(
        "<figcaption>Plan view: the centreline (dark line) and the jet's profile radius (band) "
        "seen from above; the dot is the stack. Concentrations are those in the horizontal plane "
        "at {} m, the height where the plume's section is largest. {}{}{}</figcaption>\n</figure>\n",
        escapeHtml(formatValue(height, 3)), contourLegend(drawn, stop_), exaggerationNote(frame),
        beyondLimit ? fmt::format(" The dashed lines mark the edge of the model's field: it is zero farther "
                                  "than the greatest profile radius ({} m) from the downwind line through "
                                  "the stack.",
                                  escapeHtml(formatValue(limit, 3)))
                    : std::string());
    return out;
}

// A small chart of one centreline series against arc length.
std::string seriesPlot(const std::string &id, const std::vector<double> &arc,
                       const std::vector<double> &values, const std::vector<double> *reference,
                       bool logarithmic, double marker, std::string_view markerName,
                       std::string_view yTitle) {
    SvgPlot plot(id, 360.0, 270.0);
    plot.setMargins(66.0, 12.0, 14.0, 46.0);
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

std::string PageBuilder::centrelinePlots() const {
    if (steps_ == 0) {
        return "<p>There are no output steps to plot.</p>\n";
    }
    std::vector<double> ambientTemperature;
    std::vector<double> windSpeed;
    Atmosphere &air = model_.atmosphere();
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
        "</div>\n<p class=\"caption\">Centreline concentration (mass fraction, logarithmic scale), "
        "temperature and velocity against arc length from the orifice. The dashed grey lines are the ambient "
        "temperature and wind speed at the centreline's height.</p>\n";
    return out;
}

std::string PageBuilder::atmospherePlots() const {
    if (!valid_) {
        return "<p>The inputs failed validation, so the ambient profiles are not drawn.</p>\n";
    }
    Atmosphere &air = model_.atmosphere();
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
        plot.setMargins(66.0, 12.0, 14.0, 46.0);
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

const char *const kStyleSheet = R"(
body{font-family:"DejaVu Sans","Liberation Sans",Arial,sans-serif;margin:20px 28px;color:#1d1d1d;max-width:1120px;font-size:14px}
h1{font-size:22px;margin:0 0 4px 0}
h2{font-size:17px;border-bottom:1px solid #c8c8c8;padding-bottom:3px;margin:26px 0 10px 0}
p.sub{color:#555;margin:0 0 12px 0}
table{border-collapse:collapse;font-size:13px}
td,th{padding:2px 10px;border-bottom:1px solid #ececec;text-align:left;vertical-align:top}
th{font-weight:600}
td.num,th.num{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}
tr.default td{color:#8a8a8a}
table.facts th{font-weight:normal;color:#444}
ol.messages{padding-left:26px;margin:6px 0}
ol.messages li{margin:3px 0}
.badge{display:inline-block;min-width:62px;text-align:center;padding:0 6px;margin-right:8px;border-radius:3px;font-size:11px;font-weight:bold;line-height:17px}
.badge.warning{background:#f2c037;color:#2b2100}
.badge.error{background:#e67e22;color:#fff}
.badge.fatal{background:#b3261e;color:#fff}
li.fatal{font-weight:bold;color:#7d1a14}
.banner{padding:6px 10px;margin:6px 0}
.banner.fatal{background:#fbe9e7;border-left:4px solid #b3261e;color:#7d1a14;font-weight:bold}
figure{margin:8px 0 4px 0}
figcaption,p.caption{font-size:12.5px;color:#444;max-width:1100px;margin:4px 0 0 0}
.entry{white-space:nowrap}
.swatch{display:inline-block;width:18px;height:4px;margin:0 4px 3px 2px;vertical-align:middle}
.row{display:flex;gap:10px;flex-wrap:wrap}
svg.plot{display:block;background:#fff}
svg text{font-family:"DejaVu Sans","Liberation Sans",Arial,sans-serif}
.ticklabel{font-size:11px;fill:#333}
.axistitle{font-size:12.5px;fill:#111}
.note{font-size:11px;fill:#555}
.grid{stroke:#ebebeb;stroke-width:1}
.tick{stroke:#333;stroke-width:1}
.frame{fill:none;stroke:#444;stroke-width:1}
.clabel{font-size:11px;font-weight:bold;paint-order:stroke;stroke:#fff;stroke-width:3.5px;stroke-linejoin:round}
.c0{fill:#2166ac}.c1{fill:#1b9e77}.c2{fill:#e08a00}.c3{fill:#c0262d}
.windrose{fill:#fff;fill-opacity:0.85;stroke:#999}
.windarrow{stroke:#222;stroke-width:2}
.windhead{fill:#222}
)";

} // namespace

std::vector<double> ReportPage::contourLevels(double stoppingConcentration, double maxValue) {
    const double base = stoppingConcentration > 0.0 ? stoppingConcentration : maxValue / 100.0;
    std::vector<double> levels;
    if (!(base > 0.0) || !std::isfinite(base)) {
        return levels;
    }
    for (const double multiple : {1.0, 2.0, 5.0, 10.0}) {
        if (base * multiple <= maxValue) {
            levels.push_back(base * multiple);
        }
    }
    return levels;
}

std::string_view ReportPage::propertyUnit(std::string_view name) {
    for (const PropertyNote &note : kPropertyNotes) {
        if (note.name == name) {
            return note.unit;
        }
    }
    return {};
}

std::string ReportPage::render(JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                               bool inputsValid, unsigned threads) {
    const PageBuilder page(model, scenario, inputsValid, threads);
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
    out += fmt::format("<title>Ostreljet report: {}</title>\n", escapeHtml(scenarioName));
    out += fmt::format("<style>{}</style>\n</head>\n<body>\n", kStyleSheet);
    out += fmt::format("<h1>Ostreljet report: {}</h1>\n", escapeHtml(scenarioName));
    out += fmt::format("<p class=\"sub\">Integral jet model, version {}.</p>\n",
                       escapeHtml(JetModel::versionInfo()));
    out += "<h2>Result</h2>\n" + page.summary();
    out += "<h2>Messages</h2>\n" + page.messages();
    out += "<h2>Inputs</h2>\n" + page.inputs();
    {
        const UncutField uncut(model);
        const bool drawable = model.numberOfOutputSteps() > 1;
        const std::string nothing = "<p>There is no centreline to draw.</p>\n";
        out += "<h2>Side view</h2>\n" + (drawable ? page.sideView() : nothing);
        out += "<h2>Plan view</h2>\n" + (drawable ? page.planView() : nothing);
    }
    out += "<h2>Along the centreline</h2>\n" + page.centrelinePlots();
    out += "<h2>Ambient profiles</h2>\n" + page.atmospherePlots();
    out += "</body>\n</html>\n";
    return out;
}

} // namespace ostreljet::report
