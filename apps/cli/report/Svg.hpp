#pragma once

#include "report/Point.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace ostreljet::report {

// How a line or shape is painted; colours are CSS colours.
struct Style {
    std::string stroke = "none";
    double strokeWidth = 1.0; // px
    std::string fill = "none";
    double opacity = 1.0; // of the fill and stroke together
    std::string dash;     // SVG dash pattern, e.g. "4 3"; empty for solid
    std::string cssClass; // extra class for the page's style sheet; empty for none
};

// Where a text sits relative to its anchor point.
enum class Anchor { Start, Middle, End };

// One chart as an inline SVG element: a rectangular plot area with data ranges on both axes, axes with
// 1-2-5 ticks and labels, and shapes in data units clipped to the plot area.
class SvgPlot {
public:
    // id must be unique in the page (it names the clip path); width and height in px.
    SvgPlot(std::string id, double width, double height);

    // Space between the outer edge and the plot area, px.
    void setMargins(double left, double top, double right, double bottom);
    void setRanges(double xLow, double xHigh, double yLow, double yHigh);
    void setLogY(bool logarithmic);

    double width() const { return width_; }
    double height() const { return height_; }
    double plotWidth() const { return width_ - left_ - right_; }
    double plotHeight() const { return height_ - top_ - bottom_; }
    double xLow() const { return xLow_; }
    double xHigh() const { return xHigh_; }
    double yLow() const { return yLow_; }
    double yHigh() const { return yHigh_; }

    // Data to px.
    double pixelX(double x) const;
    double pixelY(double y) const;
    // Data units per px on each axis (linear axes).
    double unitsPerPixelX() const;
    double unitsPerPixelY() const;

    // Grid lines, ticks with their values, the frame and the axis titles. Call after the shapes so the
    // frame lies on top of them.
    void drawAxes(std::string_view xTitle, std::string_view yTitle, int maxXTicks, int maxYTicks);

    // Shapes in data units, clipped to the plot area.
    void polyline(const std::vector<Point> &points, const Style &style);
    void polygon(const std::vector<Point> &points, const Style &style);
    // A region bounded by several rings (outer boundaries and holes, even-odd rule), as one path.
    void region(const std::vector<std::vector<Point>> &rings, const Style &style);
    // An ellipse of the given radii in data units (a circle when the axes share a scale).
    void ellipse(Point centre, double radiusX, double radiusY, const Style &style);
    // A marker of fixed size in px at a data point.
    void marker(Point at, double radiusPx, const Style &style);
    // Opens and closes a group whose opacity applies to its shapes as one (overlaps do not darken).
    void beginGroup(double opacity);
    void endGroup();

    // Text at a data point, shifted by (dx, dy) px; cssClass picks a style from the page.
    void text(Point at, std::string_view text, Anchor anchor, std::string_view cssClass, double dx = 0.0,
              double dy = 0.0);
    // Text at a px position of the whole chart, outside the clipping.
    void pixelText(double x, double y, std::string_view text, Anchor anchor, std::string_view cssClass);
    // A horizontal or vertical line across the whole plot area at a data value, with an optional label
    // (above a horizontal line, at its right end or, with Anchor::Start, its left end).
    void horizontalLine(double y, const Style &style, std::string_view label = {},
                        Anchor labelAt = Anchor::End);
    void verticalLine(double x, const Style &style, std::string_view label = {});

    // An element in px coordinates of the whole chart, drawn above everything else and not clipped.
    // The caller escapes any text in it.
    void overlayElement(std::string_view element);

    // The finished <svg> element.
    std::string svg() const;

private:
    std::string styleAttributes(const Style &style) const;
    std::string pointList(const std::vector<Point> &points) const;

    std::string id_;
    double width_;         // px
    double height_;        // px
    double left_ = 70.0;   // px
    double top_ = 16.0;    // px
    double right_ = 20.0;  // px
    double bottom_ = 48.0; // px
    double xLow_ = 0.0;
    double xHigh_ = 1.0;
    double yLow_ = 0.0;
    double yHigh_ = 1.0;
    bool logY_ = false;
    std::string grid_;    // grid lines, under everything else
    std::string clipped_; // shapes inside the plot area
    std::string overlay_; // axes, ticks and texts
};

} // namespace ostreljet::report
