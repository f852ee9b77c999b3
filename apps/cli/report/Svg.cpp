#include "report/Svg.hpp"

#include "report/Html.hpp"
#include "report/Ticks.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace ostreljet::report {

namespace {

const char *anchorName(Anchor anchor) {
    switch (anchor) {
    case Anchor::Start:
        return "start";
    case Anchor::End:
        return "end";
    default:
        return "middle";
    }
}

} // namespace

SvgPlot::SvgPlot(std::string id, double width, double height)
    : id_(std::move(id)), width_(width), height_(height) {}

void SvgPlot::setMargins(double left, double top, double right, double bottom) {
    left_ = left;
    top_ = top;
    right_ = right;
    bottom_ = bottom;
}

void SvgPlot::setRanges(double xLow, double xHigh, double yLow, double yHigh) {
    xLow_ = xLow;
    xHigh_ = xHigh;
    yLow_ = yLow;
    yHigh_ = yHigh;
}

void SvgPlot::setLogY(bool logarithmic) {
    logY_ = logarithmic;
}

double SvgPlot::pixelX(double x) const {
    return left_ + (x - xLow_) / (xHigh_ - xLow_) * plotWidth();
}

double SvgPlot::pixelY(double y) const {
    double fraction;
    if (logY_) {
        // Non-positive values fall far below the plot area, where the clipping hides them.
        const double value = y > 0.0 ? y : yLow_ * 1e-6;
        fraction = (std::log10(value) - std::log10(yLow_)) / (std::log10(yHigh_) - std::log10(yLow_));
    } else {
        fraction = (y - yLow_) / (yHigh_ - yLow_);
    }
    return top_ + (1.0 - fraction) * plotHeight();
}

double SvgPlot::unitsPerPixelX() const {
    return (xHigh_ - xLow_) / plotWidth();
}

double SvgPlot::unitsPerPixelY() const {
    return (yHigh_ - yLow_) / plotHeight();
}

std::string SvgPlot::styleAttributes(const Style &style) const {
    std::string out = fmt::format(" stroke=\"{}\" stroke-width=\"{:.2f}\" fill=\"{}\"",
                                  escapeHtml(style.stroke), style.strokeWidth, escapeHtml(style.fill));
    if (style.opacity < 1.0) {
        out += fmt::format(" opacity=\"{:.3f}\"", style.opacity);
    }
    if (!style.dash.empty()) {
        out += fmt::format(" stroke-dasharray=\"{}\"", escapeHtml(style.dash));
    }
    if (!style.cssClass.empty()) {
        out += fmt::format(" class=\"{}\"", escapeHtml(style.cssClass));
    }
    return out;
}

std::string SvgPlot::pointList(const std::vector<Point> &points) const {
    std::string out;
    out.reserve(points.size() * 16);
    for (const Point &p : points) {
        const double x = pixelX(p.x);
        const double y = pixelY(p.y);
        if (!std::isfinite(x) || !std::isfinite(y)) {
            continue;
        }
        if (!out.empty()) {
            out += ' ';
        }
        out += fmt::format("{:.2f},{:.2f}", x, y);
    }
    return out;
}

void SvgPlot::polyline(const std::vector<Point> &points, const Style &style) {
    if (points.size() < 2) {
        return;
    }
    clipped_ += fmt::format("<polyline points=\"{}\"{} stroke-linejoin=\"round\"/>\n", pointList(points),
                            styleAttributes(style));
}

void SvgPlot::polygon(const std::vector<Point> &points, const Style &style) {
    if (points.size() < 3) {
        return;
    }
    clipped_ += fmt::format("<polygon points=\"{}\"{}/>\n", pointList(points), styleAttributes(style));
}

void SvgPlot::region(const std::vector<std::vector<Point>> &rings, const Style &style) {
    std::string d;
    for (const std::vector<Point> &ring : rings) {
        if (ring.size() >= 3) {
            d += 'M';
            d += pointList(ring);
            d += 'Z';
        }
    }
    if (!d.empty()) {
        clipped_ += fmt::format("<path d=\"{}\" fill-rule=\"evenodd\"{}/>\n", d, styleAttributes(style));
    }
}

void SvgPlot::ellipse(Point centre, double radiusX, double radiusY, const Style &style) {
    const double rx = std::fabs(radiusX / unitsPerPixelX());
    const double ry = std::fabs(radiusY / unitsPerPixelY());
    if (!std::isfinite(rx) || !std::isfinite(ry) || rx <= 0.0 || ry <= 0.0) {
        return;
    }
    clipped_ += fmt::format("<ellipse cx=\"{:.2f}\" cy=\"{:.2f}\" rx=\"{:.2f}\" ry=\"{:.2f}\"{}/>\n",
                            pixelX(centre.x), pixelY(centre.y), rx, ry, styleAttributes(style));
}

void SvgPlot::marker(Point at, double radiusPx, const Style &style) {
    clipped_ += fmt::format("<circle cx=\"{:.2f}\" cy=\"{:.2f}\" r=\"{:.2f}\"{}/>\n", pixelX(at.x),
                            pixelY(at.y), radiusPx, styleAttributes(style));
}

void SvgPlot::beginGroup(double opacity) {
    clipped_ += fmt::format("<g opacity=\"{:.3f}\">\n", opacity);
}

void SvgPlot::endGroup() {
    clipped_ += "</g>\n";
}

void SvgPlot::text(Point at, std::string_view text, Anchor anchor, std::string_view cssClass, double dx,
                   double dy) {
    pixelText(pixelX(at.x) + dx, pixelY(at.y) + dy, text, anchor, cssClass);
}

void SvgPlot::pixelText(double x, double y, std::string_view text, Anchor anchor, std::string_view cssClass) {
    overlay_ += fmt::format("<text x=\"{:.2f}\" y=\"{:.2f}\" text-anchor=\"{}\" class=\"{}\">{}</text>\n", x,
                            y, anchorName(anchor), escapeHtml(cssClass), escapeHtml(text));
}

void SvgPlot::horizontalLine(double y, const Style &style, std::string_view label, Anchor labelAt) {
    const double py = pixelY(y);
    clipped_ += fmt::format("<line x1=\"{:.2f}\" y1=\"{:.2f}\" x2=\"{:.2f}\" y2=\"{:.2f}\"{}/>\n", left_, py,
                            left_ + plotWidth(), py, styleAttributes(style));
    if (!label.empty()) {
        const bool atStart = labelAt == Anchor::Start;
        pixelText(atStart ? left_ + 4.0 : left_ + plotWidth() - 4.0, py - 4.0, label,
                  atStart ? Anchor::Start : Anchor::End, "note");
    }
}

void SvgPlot::verticalLine(double x, const Style &style, std::string_view label) {
    const double px = pixelX(x);
    clipped_ += fmt::format("<line x1=\"{:.2f}\" y1=\"{:.2f}\" x2=\"{:.2f}\" y2=\"{:.2f}\"{}/>\n", px, top_,
                            px, top_ + plotHeight(), styleAttributes(style));
    if (!label.empty()) {
        pixelText(px + 4.0, top_ + 12.0, label, Anchor::Start, "note");
    }
}

void SvgPlot::drawAxes(std::string_view xTitle, std::string_view yTitle, int maxXTicks, int maxYTicks) {
    const double bottom = top_ + plotHeight();
    const double right = left_ + plotWidth();
    const Ticks xTicks = linearTicks(std::min(xLow_, xHigh_), std::max(xLow_, xHigh_), maxXTicks);
    for (const double x : xTicks.values) {
        const double px = pixelX(x);
        grid_ += fmt::format(
            "<line class=\"grid\" x1=\"{0:.2f}\" y1=\"{1:.2f}\" x2=\"{0:.2f}\" y2=\"{2:.2f}\"/>\n", px, top_,
            bottom);
        overlay_ += fmt::format(
            "<line class=\"tick\" x1=\"{0:.2f}\" y1=\"{1:.2f}\" x2=\"{0:.2f}\" y2=\"{2:.2f}\"/>\n", px,
            bottom, bottom + 5.0);
        pixelText(px, bottom + 18.0, formatTick(x, xTicks.step), Anchor::Middle, "ticklabel");
    }
    std::vector<double> yValues;
    std::vector<std::string> yLabels;
    if (logY_) {
        yValues = logTicks(yLow_, yHigh_, maxYTicks);
        for (const double y : yValues) {
            yLabels.push_back(formatLogTick(y));
        }
    } else {
        const Ticks yTicks = linearTicks(std::min(yLow_, yHigh_), std::max(yLow_, yHigh_), maxYTicks);
        yValues = yTicks.values;
        for (const double y : yValues) {
            yLabels.push_back(formatTick(y, yTicks.step));
        }
    }
    for (std::size_t k = 0; k < yValues.size(); ++k) {
        const double py = pixelY(yValues[k]);
        grid_ += fmt::format(
            "<line class=\"grid\" x1=\"{1:.2f}\" y1=\"{0:.2f}\" x2=\"{2:.2f}\" y2=\"{0:.2f}\"/>\n", py, left_,
            right);
        overlay_ += fmt::format(
            "<line class=\"tick\" x1=\"{1:.2f}\" y1=\"{0:.2f}\" x2=\"{2:.2f}\" y2=\"{0:.2f}\"/>\n", py,
            left_ - 5.0, left_);
        pixelText(left_ - 8.0, py + 4.0, yLabels[k], Anchor::End, "ticklabel");
    }
    overlay_ +=
        fmt::format("<rect class=\"frame\" x=\"{:.2f}\" y=\"{:.2f}\" width=\"{:.2f}\" height=\"{:.2f}\"/>\n",
                    left_, top_, plotWidth(), plotHeight());
    pixelText(left_ + 0.5 * plotWidth(), height_ - 8.0, xTitle, Anchor::Middle, "axistitle");
    const double yCentre = top_ + 0.5 * plotHeight();
    overlay_ += fmt::format("<text class=\"axistitle\" text-anchor=\"middle\" x=\"0\" y=\"0\" "
                            "transform=\"translate(16 {:.2f}) rotate(-90)\">{}</text>\n",
                            yCentre, escapeHtml(yTitle));
}

void SvgPlot::overlayElement(std::string_view element) {
    overlay_ += element;
    overlay_ += '\n';
}

std::string SvgPlot::svg() const {
    std::string out =
        fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"plot\" width=\"{0:.0f}\" "
                    "height=\"{1:.0f}\" viewBox=\"0 0 {0:.0f} {1:.0f}\">\n",
                    width_, height_);
    out += fmt::format("<defs><clipPath id=\"{}-clip\"><rect x=\"{:.2f}\" y=\"{:.2f}\" width=\"{:.2f}\" "
                       "height=\"{:.2f}\"/></clipPath></defs>\n",
                       escapeHtml(id_), left_, top_, plotWidth(), plotHeight());
    out += grid_;
    out += fmt::format("<g clip-path=\"url(#{}-clip)\">\n", escapeHtml(id_));
    out += clipped_;
    out += "</g>\n";
    out += overlay_;
    out += "</svg>\n";
    return out;
}

} // namespace ostreljet::report
