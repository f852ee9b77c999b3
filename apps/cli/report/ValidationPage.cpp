#include "report/ValidationPage.hpp"

#include "report/Html.hpp"
#include "report/Svg.hpp"
#include "report/Ticks.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace ostreljet::report {

namespace {

constexpr const char *kStyleSheet = R"(
body{font-family:"DejaVu Sans","Liberation Sans",Arial,sans-serif;margin:20px 28px;color:#1d1d1d;max-width:1120px;font-size:14px}
h1{font-size:22px;margin:0 0 4px 0}
h2{font-size:17px;border-bottom:1px solid #c8c8c8;padding-bottom:3px;margin:28px 0 10px 0}
table{border-collapse:collapse;font-size:13px;margin:6px 0}
th,td{border-bottom:1px solid #e2e2e2;padding:3px 9px;text-align:left;vertical-align:top}
th{font-weight:600;background:#f4f4f4}
td.num,th.num{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}
tr.missing td{color:#8a1c14}
p{margin:6px 0;max-width:1060px;line-height:1.4}
p.formula{font-family:"DejaVu Sans Mono",monospace;background:#f6f6f6;padding:6px 10px;display:inline-block}
.verdict{font-weight:600}
.flex{display:flex;gap:24px;align-items:flex-start;flex-wrap:wrap}
svg text{font-family:"DejaVu Sans","Liberation Sans",Arial,sans-serif}
.ticklabel{font-size:11px;fill:#333}
.axistitle{font-size:12.5px;fill:#111}
.note{font-size:11px;fill:#555}
svg.plot{display:block;background:#fff}
.grid{stroke:#ebebeb;stroke-width:1}
.tick{stroke:#333;stroke-width:1}
.frame{fill:none;stroke:#444;stroke-width:1}
figure{margin:8px 0 4px 0}
figcaption{font-size:12.5px;color:#444;max-width:430px;margin:4px 0 0 0}
)";

std::string number(double value, int digits = 3) {
    if (!std::isfinite(value)) {
        return "—";
    }
    if (std::fabs(value) >= 100.0) {
        return fmt::format("{:.0f}", value);
    }
    return formatValue(value, digits);
}

// The figure with its unit, e.g. "12.3 m" or "0.0312 (mass fraction)".
std::string withUnit(double value, const std::string &unit) {
    if (!std::isfinite(value)) {
        return "—";
    }
    return unit == "m" ? number(value) + " m" : number(value);
}

std::string plot(const CorrelationResult &result, std::size_t index) {
    // Model against correlation with the 1:1 line and the factor-of-two lines.
    double high = 0.0;
    for (const ValidationPoint &p : result.points) {
        if (std::isfinite(p.model)) {
            high = std::max(high, p.model);
        }
        if (std::isfinite(p.correlation)) {
            high = std::max(high, p.correlation);
        }
        if (std::isfinite(p.sensitivity)) {
            high = std::max(high, p.sensitivity);
        }
    }
    const auto range = roundedRange(0.0, high > 0.0 ? high : 1.0, 6);
    SvgPlot svg(fmt::format("validation-plot-{}", index), 430.0, 400.0);
    svg.setMargins(74.0, 16.0, 20.0, 50.0);
    svg.setRanges(range.first, range.second, range.first, range.second);
    const double top = range.second;
    Style one;
    one.stroke = "#444";
    one.strokeWidth = 1.2;
    svg.polyline({{0.0, 0.0}, {top, top}}, one);
    Style two;
    two.stroke = "#999";
    two.dash = "5 4";
    svg.polyline({{0.0, 0.0}, {top / 2.0, top}}, two);
    svg.polyline({{0.0, 0.0}, {top, top / 2.0}}, two);
    svg.text({top * 0.97, top * 0.97}, "1:1", Anchor::End, "note", 0.0, 14.0);
    svg.text({top * 0.49, top * 0.98}, "×2", Anchor::End, "note", -4.0, 0.0);
    svg.text({top * 0.98, top * 0.49}, "÷2", Anchor::End, "note", 0.0, 14.0);
    Style dot;
    dot.fill = "#1f5fa8";
    dot.stroke = "#123c6b";
    Style hollow;
    hollow.stroke = "#c0561b";
    hollow.strokeWidth = 1.4;
    for (const ValidationPoint &p : result.points) {
        if (std::isfinite(p.sensitivity) && std::isfinite(p.correlation)) {
            svg.marker({p.correlation, p.sensitivity}, 3.5, hollow);
        }
        if (std::isfinite(p.model) && std::isfinite(p.correlation)) {
            svg.marker({p.correlation, p.model}, 3.5, dot);
        }
    }
    const std::string unit = result.unit == "m" ? " (m)" : " (" + result.unit + ")";
    svg.drawAxes("correlation" + unit, "model" + unit, 6, 6);
    return svg.svg();
}

} // namespace

std::string ValidationPage::render(const std::vector<CorrelationResult> &results, double seconds,
                                   const std::string &casesFile, const std::string &trials) {
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
    out += "<title>Ostreljet: agreement with published correlations</title>\n";
    out += fmt::format("<style>{}</style>\n</head>\n<body>\n", kStyleSheet);
    out += "<h1>How well does the model agree with published correlations?</h1>\n";
    std::size_t points = 0;
    for (const CorrelationResult &r : results) {
        points += r.points.size();
    }
    out +=
        fmt::format("<p>{} comparison points from <code>{}</code>, computed in {:.1f} s. For each point the "
                    "ratio model / correlation. The figures follow the model-evaluation literature with the "
                    "correlation in the place of the observation: MG = exp(mean ln(correlation / model)) is "
                    "the geometric mean bias (1 is no bias, above 1 the model is lower), VG = exp(mean (ln "
                    "ratio)²) the geometric variance (1 is perfect) and FAC2 the share of points within a "
                    "factor of two.</p>\n",
                    points, escapeHtml(casesFile), seconds);
    if (!trials.empty()) {
        out += "<p>Below the correlations: the <a href=\"#field-trials\">field trials</a>, measured "
               "concentrations against the model.</p>\n";
    }
    out += "<h2>Summary</h2>\n<table>\n<tr><th>Correlation</th><th class=\"num\">Points</th>"
           "<th class=\"num\">MG</th><th class=\"num\">VG</th><th "
           "class=\"num\">FAC2</th><th>Verdict</th></tr>\n";
    for (std::size_t i = 0; i < results.size(); ++i) {
        const CorrelationResult &r = results[i];
        out += fmt::format(
            "<tr><td><a href=\"#{}\">{}</a></td><td class=\"num\">{}</td><td class=\"num\">{}</td>"
            "<td class=\"num\">{}</td><td class=\"num\">{}</td><td>{}</td></tr>\n",
            r.id, escapeHtml(r.title), fmt::format("{}/{}", r.statistics.count, r.points.size()),
            fmt::format("{:.2f}", r.statistics.geometricMean),
            fmt::format("{:.2f}", r.statistics.geometricVariance),
            fmt::format("{:.2f}", r.statistics.factorOfTwo), escapeHtml(r.verdict));
    }
    out += "</table>\n";
    for (std::size_t i = 0; i < results.size(); ++i) {
        const CorrelationResult &r = results[i];
        out += fmt::format("<h2 id=\"{}\">{}</h2>\n", r.id, escapeHtml(r.title));
        out += fmt::format("<p class=\"formula\">{}</p>\n", escapeHtml(r.formula));
        out += fmt::format("<p><b>Source.</b> {}</p>\n", escapeHtml(r.source));
        out += fmt::format("<p><b>Validity.</b> {}</p>\n", escapeHtml(r.validity));
        out += fmt::format("<p><b>Set-up.</b> {}</p>\n", escapeHtml(r.method));
        out += fmt::format("<p class=\"verdict\">MG {:.2f}, VG {:.2f}, FAC2 {:.2f}: {}</p>\n",
                           r.statistics.geometricMean, r.statistics.geometricVariance,
                           r.statistics.factorOfTwo, escapeHtml(r.verdict));
        const bool distances = std::any_of(r.points.begin(), r.points.end(), [](const ValidationPoint &p) {
            return std::isfinite(p.correlationDistance);
        });
        const bool sensitivity = !r.sensitivityLabel.empty();
        const std::string unit = r.unit == "m" ? "" : " (" + r.unit + ")";
        out += "<div class=\"flex\"><div>\n<table>\n<tr><th>Case</th>";
        if (!distances) {
            out += "<th class=\"num\">x</th>";
        }
        out += fmt::format(
            "<th class=\"num\">Model{}</th><th class=\"num\">Correlation{}</th><th class=\"num\">Ratio</th>",
            escapeHtml(unit), escapeHtml(unit));
        if (distances) {
            out += "<th class=\"num\">Model distance</th><th class=\"num\">Correlation distance</th>";
        }
        if (sensitivity) {
            out += fmt::format("<th class=\"num\">Model, {}</th><th class=\"num\">Change</th>",
                               escapeHtml(r.sensitivityLabel));
        }
        out += "</tr>\n";
        for (const ValidationPoint &p : r.points) {
            out += std::isfinite(p.model) ? "<tr>" : "<tr class=\"missing\">";
            out += fmt::format("<td>{}</td>", escapeHtml(p.label));
            if (!distances) {
                out += fmt::format("<td class=\"num\">{} m</td>", number(p.position));
            }
            out += fmt::format("<td class=\"num\">{}</td><td class=\"num\">{}</td><td class=\"num\">{}</td>",
                               withUnit(p.model, r.unit), withUnit(p.correlation, r.unit),
                               std::isfinite(p.ratio) ? fmt::format("{:.2f}", p.ratio) : "—");
            if (distances) {
                out += fmt::format("<td class=\"num\">{}</td><td class=\"num\">{}</td>",
                                   withUnit(p.modelDistance, "m"), withUnit(p.correlationDistance, "m"));
            }
            if (sensitivity) {
                const double change = (p.sensitivity / p.model - 1.0) * 100.0;
                out += fmt::format("<td class=\"num\">{}</td><td class=\"num\">{}</td>",
                                   withUnit(p.sensitivity, r.unit),
                                   std::isfinite(change) ? fmt::format("{:+.1f} %", change) : "—");
            }
            out += "</tr>\n";
            if (!p.note.empty()) {
                out +=
                    fmt::format("<tr class=\"missing\"><td colspan=\"8\">{}</td></tr>\n", escapeHtml(p.note));
            }
        }
        out += "</table>\n</div>\n<figure>";
        out += plot(r, i);
        out += fmt::format(
            "<figcaption>Model against correlation ({}); solid line 1:1, dashed lines a factor of two."
            "{}</figcaption></figure>\n</div>\n",
            escapeHtml(r.figure),
            sensitivity ? " Filled: short averaging; open: " + escapeHtml(r.sensitivityLabel) + "." : "");
    }
    out += trials;
    out += "<p>Regenerate with <code>ostreljet validate -o validation.html</code>.</p>\n</body>\n</html>\n";
    return out;
}

} // namespace ostreljet::report
