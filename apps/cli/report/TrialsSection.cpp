#include "report/TrialsSection.hpp"

#include "report/Html.hpp"
#include "report/PageBuilder.hpp"
#include "report/Svg.hpp"
#include "report/Ticks.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>

namespace ostreljet::report {

namespace {

std::string percent(double fraction) {
    return std::isfinite(fraction) ? formatValue(100.0 * fraction, 3) : "—";
}

std::string metres(double value) {
    return std::isfinite(value) ? fmt::format("{:.0f} m", value) : "not computed";
}

bool isMass(const std::string &measure) {
    return measure == TrialObservation::kMassConcentration;
}

// A concentration in the unit it is shown in: % by volume, or mg/m3 for a mass concentration.
double shown(double value, const std::string &measure) {
    return isMass(measure) ? 1e6 * value : 100.0 * value;
}

const char *shownUnit(const std::string &measure) {
    return isMass(measure) ? "mg/m3" : "% by volume";
}

// Predicted against observed for the parts in one measure: the first part filled, the others hollow.
std::string scatter(const TrialComparison &comparison, const std::string &measure, const std::string &id) {
    double low = 1e30, high = 0.0;
    for (const TrialPrediction &p : comparison.trials())
        for (const TrialPair &pair : p.pairs)
            if (pair.measure == measure && std::isfinite(pair.predicted) && pair.observed > 0.0 &&
                pair.predicted > 0.0) {
                low = std::min({low, shown(pair.observed, measure), shown(pair.predicted, measure)});
                high = std::max({high, shown(pair.observed, measure), shown(pair.predicted, measure)});
            }
    if (!(high > 0.0))
        return {};
    const auto [a, b] = decades(low, high);
    SvgPlot svg(id, 460.0, 430.0);
    svg.setMargins(74.0, 16.0, 20.0, 50.0);
    svg.setRanges(a, b, a, b);
    svg.polyline({{a, a}, {b, b}}, lineStyle("#444", 1.2));
    const double two = std::log10(2.0);
    svg.polyline({{a, a + two}, {b - two, b}}, lineStyle("#999", 1.0, "5 4"));
    svg.polyline({{a + two, a}, {b, b - two}}, lineStyle("#999", 1.0, "5 4"));
    svg.text({b, b}, "1:1", Anchor::End, "note", -4.0, 16.0);
    svg.text({b - two, b}, "×2", Anchor::End, "note", -4.0, 12.0);
    svg.text({b, b - two}, "÷2", Anchor::End, "note", -4.0, 16.0);
    Style dot;
    dot.fill = "#1f5fa8";
    dot.stroke = "#123c6b";
    Style hollow;
    hollow.stroke = "#c0561b";
    hollow.strokeWidth = 1.6;
    std::string first;
    for (const TrialPart &part : comparison.parts())
        if (part.measure == measure && first.empty())
            first = part.name;
    for (const TrialPrediction &p : comparison.trials())
        for (const TrialPair &pair : p.pairs)
            if (pair.measure == measure && std::isfinite(pair.predicted) && pair.observed > 0.0 &&
                pair.predicted > 0.0)
                svg.marker(
                    {std::log10(shown(pair.observed, measure)), std::log10(shown(pair.predicted, measure))},
                    3.5, p.part == first ? dot : hollow);
    logLogAxes(svg, fmt::format("observed arc maximum ({})", shownUnit(measure)),
               fmt::format("predicted ({})", shownUnit(measure)));
    return svg.svg();
}

// A point-source trial's predicted concentration at the samplers' height against distance, with the
// observed arc maxima, mg/m3.
// A trial's notes as one small paragraph, each a sentence; nothing when there are none.
std::string notesParagraph(const std::vector<std::string> &notes) {
    if (notes.empty())
        return "";
    std::string out = "<p><small>";
    for (std::string note : notes) {
        note[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(note[0])));
        out += escapeHtml(note) + ". ";
    }
    return out + "</small></p>\n";
}

// A trial's plot with its caption beside the table of its pairs: distance, observed, predicted (each
// through `value`, in `unit`; "not computed" where there is no prediction, with the reason on hover) and
// their ratio.
std::string figureAndTable(const std::string &plot, const std::string &caption, const std::string &unit,
                           const std::vector<TrialPair> &pairs,
                           const std::function<std::string(double)> &value) {
    std::string out =
        "<div class=\"flex\"><figure>" + plot + "<figcaption>" + caption +
        "</figcaption></figure>\n<table>\n" +
        fmt::format("<tr><th class=\"num\">Distance</th><th class=\"num\">Observed ({0})</th><th "
                    "class=\"num\">Predicted ({0})</th><th class=\"num\">Cp / Co</th></tr>\n",
                    unit);
    for (const TrialPair &pair : pairs) {
        const bool computed = std::isfinite(pair.predicted);
        out += computed ? "<tr>" : "<tr class=\"missing\">";
        out += fmt::format("<td class=\"num\">{:.0f} m</td><td class=\"num\">{}</td><td class=\"num\" "
                           "title=\"{}\">{}</td><td class=\"num\">{}</td></tr>\n",
                           pair.distance, value(pair.observed), escapeHtml(pair.notComputed),
                           computed ? value(pair.predicted) : "not computed",
                           computed ? fmt::format("{:.2f}", pair.predicted / pair.observed) : "—");
    }
    return out + "</table></div>\n";
}

// A trial's log-log plot, decades xa to xb of distance and ya to yb of concentration.
SvgPlot trialFrame(std::size_t index, double xa, double xb, double ya, double yb) {
    SvgPlot svg(fmt::format("trial-plot-{}", index), 460.0, 330.0);
    svg.setMargins(74.0, 16.0, 20.0, 50.0);
    svg.setRanges(xa, xb, ya, yb);
    return svg;
}

// The observed arc maxima as dots, each concentration times `scale` (to the plot's unit).
void markObserved(SvgPlot &svg, const std::vector<TrialPair> &pairs, double scale) {
    Style observed;
    observed.fill = "#c0561b";
    observed.stroke = "#7a3410";
    for (const TrialPair &pair : pairs)
        if (pair.observed > 0.0)
            svg.marker({std::log10(pair.distance), std::log10(scale * pair.observed)}, 4.0, observed);
}

std::string pointPlot(const TrialPrediction &p, std::size_t index) {
    const PointPlume &plume = *p.pointPlume;
    double near = 1e30, far = 0.0, low = 1e30, high = 0.0;
    for (const TrialPair &pair : p.pairs) {
        near = std::min(near, pair.distance);
        far = std::max(far, pair.distance);
    }
    near *= 0.8;
    far *= 1.25;
    std::vector<Point> curve;
    for (int i = 0; i <= 120; ++i) {
        const double x = near * std::pow(far / near, i / 120.0);
        const double c = 1e6 * plume.concentrationAt(x);
        if (std::isfinite(c) && c > 0.0) {
            curve.push_back({std::log10(x), std::log10(c)});
            low = std::min(low, c);
            high = std::max(high, c);
        }
    }
    for (const TrialPair &pair : p.pairs)
        if (pair.observed > 0.0) {
            low = std::min(low, 1e6 * pair.observed);
            high = std::max(high, 1e6 * pair.observed);
        }
    const auto [xa, xb] = decades(near, far);
    const auto [ya, yb] = decades(low, high);
    SvgPlot svg = trialFrame(index, xa, xb, ya, yb);
    svg.polyline(curve, lineStyle("#1f5fa8", 1.8));
    markObserved(svg, p.pairs, 1e6);
    logLogAxes(svg, "distance from the source (m)", "concentration at the samplers (mg/m3)");
    return svg.svg();
}

// One trial's predicted ground-level centreline against distance, with the observed arc maxima and the LFL.
std::string trialPlot(const TrialPrediction &p, std::size_t index) {
    const PoolPlume &plume = *p.plume;
    double far = plume.firstDistance() * 2.0;
    for (const TrialPair &pair : p.pairs)
        far = std::max(far, pair.distance * 1.5);
    std::vector<Point> curve;
    double low = 1.0, high = 1e-6;
    const double near = plume.firstDistance();
    for (int i = 0; i <= 120; ++i) {
        const double x = near * std::pow(far / near, i / 120.0);
        const double c = plume.groundLevelAt(x);
        if (std::isfinite(c) && c > 0.0) {
            curve.push_back({std::log10(x), std::log10(100.0 * c)});
            low = std::min(low, c);
            high = std::max(high, c);
        }
    }
    double nearest = near;
    for (const TrialPair &pair : p.pairs) {
        nearest = std::min(nearest, pair.distance);
        if (pair.observed > 0.0) {
            low = std::min(low, pair.observed);
            high = std::max(high, pair.observed);
        }
    }
    const auto [xa, xb] = decades(nearest, far);
    const auto [ya, yb] = decades(100.0 * low, 100.0 * high);
    SvgPlot svg = trialFrame(index, xa, xb, ya, yb);
    if (std::isfinite(p.lowerFlammabilityLimit)) {
        const double y = std::log10(100.0 * p.lowerFlammabilityLimit);
        svg.polyline({{xa, y}, {xb, y}}, lineStyle("#b02a2a", 1.0, "6 3"));
        svg.text({xb, y}, "LFL", Anchor::End, "note", -4.0, -4.0);
    }
    const double handOver = std::log10(plume.passiveStart());
    if (handOver < xb)
        svg.polyline({{handOver, ya}, {handOver, yb}}, lineStyle("#888", 1.0, "2 3"));
    svg.polyline(curve, lineStyle("#1f5fa8", 1.8));
    markObserved(svg, p.pairs, 100.0);
    logLogAxes(svg, "distance from the pool's centre (m)", "ground-level concentration (% by volume)");
    return svg.svg();
}

} // namespace

std::string TrialsSection::render(const TrialComparison &comparison, const std::string &trialsSource) {
    std::string out = "<h2 id=\"field-trials\">Field trials: measured concentrations</h2>\n";
    out += fmt::format("<p>Trials read from <code>{}</code>. Pools: {}. Point sources: {}.</p>\n",
                       escapeHtml(trialsSource), escapeHtml(TrialComparison::kMethod),
                       escapeHtml(TrialComparison::kPointMethod));
    out +=
        "<p>Statistics in the model-evaluation convention with observed Co and predicted Cp: "
        "FB = (mean Co − mean Cp) / (0.5 (mean Co + mean Cp)), NMSE = mean (Co − Cp)² / (mean Co mean Cp), "
        "MG = exp(mean ln Co − mean ln Cp), VG = exp(mean (ln Co − ln Cp)²), FAC2 the share of pairs "
        "within a factor of two; MG above 1 or FB above 0 mean the model predicts too little. Verdicts "
        "against the acceptance criteria for dense-gas models of Hanna, Chang and Strimaitis (1993) for the "
        "pools, and for the passive far field of Chang and Hanna (2004) for the point sources. Arcs "
        "nearer than the dense-plume curves reach are not computed and left out of the statistics.</p>\n";
    out += "<table>\n<tr><th>Part</th><th class=\"num\">Trials</th><th class=\"num\">Pairs</th>"
           "<th class=\"num\">MG</th><th class=\"num\">VG</th><th class=\"num\">FAC2</th>"
           "<th class=\"num\">FB</th><th class=\"num\">NMSE</th><th>Verdict</th></tr>\n";
    for (const TrialPart &part : comparison.parts()) {
        const EvaluationStatistics &s = part.statistics;
        out += fmt::format(
            "<tr><td>{}<br><small>{}</small></td><td class=\"num\">{}</td><td class=\"num\">{}/{}"
            "</td><td class=\"num\">{:.2f}<br><small>{:.2f} to {:.2f}</small></td>"
            "<td class=\"num\">{:.2f}</td><td class=\"num\">{:.2f}</td><td class=\"num\">{:.2f}"
            "<br><small>{:.2f} to {:.2f}</small></td><td class=\"num\">{:.2f}</td><td>{}</td></tr>\n",
            escapeHtml(part.name), escapeHtml(part.description), part.trials.size(), s.pairs, part.pairs,
            s.geometricMean, s.geometricMeanInterval.lower, s.geometricMeanInterval.upper,
            s.geometricVariance, s.factorOfTwo, s.fractionalBias, s.fractionalBiasInterval.lower,
            s.fractionalBiasInterval.upper, s.normalisedMeanSquareError, escapeHtml(part.verdict.text));
    }
    out += "</table>\n<p><small>Below MG and FB: the bootstrap 95 % interval.</small></p>\n";
    const std::string passive =
        scatter(comparison, TrialObservation::kMassConcentration, "trials-scatter-passive");
    if (!passive.empty())
        out += "<figure>" + passive +
               "<figcaption>Point sources (Prairie Grass): predicted against observed arc maxima, mg/m3, "
               "log-log. Solid line 1:1, dashed lines a factor of two.</figcaption></figure>\n";
    out += "<div class=\"flex\"><figure>" +
           scatter(comparison, TrialObservation::kVolumeFraction, "trials-scatter") +
           "<figcaption>Pools: predicted against observed arc maxima, log-log. Filled: open ground; open: "
           "inside a vapour fence (Falcon). Solid line 1:1, dashed lines a factor of two.</figcaption>"
           "</figure>\n<div>\n<table>\n<tr><th>Distance to the LFL</th><th class=\"num\">Observed</th>"
           "<th class=\"num\">Predicted</th></tr>\n";
    for (const TrialPrediction &p : comparison.trials())
        if (p.sourceKind == "pool")
            out += fmt::format("<tr><td>{}</td><td class=\"num\" title=\"{}\">{}</td><td class=\"num\" "
                               "title=\"{}\">{}</td></tr>\n",
                               escapeHtml(p.title), escapeHtml(p.observedLfl.how),
                               metres(p.observedLfl.distance), escapeHtml(p.predictedLfl.how),
                               metres(p.predictedLfl.distance));
    out += "</table>\n<p><small>Observed: interpolated in log-log between the farthest arc at or above the "
           "LFL and the next arc out; not computed when every arc is above it or none is. Predicted: where "
           "the ground-level centreline falls to the LFL (5 % methane).</small></p>\n</div></div>\n";
    for (std::size_t i = 0; i < comparison.trials().size(); ++i) {
        const TrialPrediction &p = comparison.trials()[i];
        out += fmt::format("<h3 id=\"trial-{}\">{}</h3>\n", escapeHtml(p.id), escapeHtml(p.title));
        if (p.pointPlume) {
            out += fmt::format("<p>{} kg/s released {} m above the ground, samplers at {} m; wind {} m/s at "
                               "10 m ({}).</p>\n",
                               formatValue(p.pointRelease.massRate, 3), formatValue(p.pointRelease.height, 3),
                               formatValue(p.pointRelease.samplingHeight, 3),
                               formatValue(p.pointWeather.windSpeed, 3), escapeHtml(p.windHow));
            out += notesParagraph(p.notes);
            out += figureAndTable(
                pointPlot(p, i),
                "Predicted concentration below the plume's axis at the samplers' height (line) "
                "and observed arc maxima (dots).",
                "mg/m3", p.pairs, [](double c) { return formatValue(1e6 * c, 3); });
            continue;
        }
        if (!p.plume) {
            out += fmt::format("<p class=\"verdict\">{}</p>\n", escapeHtml(p.notComputed));
            continue;
        }
        const PoolPlume &plume = *p.plume;
        out +=
            fmt::format("<p>Pool {} m across, {} kg/s evaporating at {} K; wind {} m/s at 10 m ({}); "
                        "{}; passive plume from {}.</p>\n",
                        formatValue(p.source.diameter, 3), formatValue(plume.massRate(), 3),
                        formatValue(p.source.gasTemperature, 4), formatValue(p.weather.windSpeed, 3),
                        escapeHtml(p.windHow), escapeHtml(fmt::format("alpha {:.2f}", plume.dense().alpha())),
                        metres(plume.passiveStart()));
        out += notesParagraph(p.notes);
        out +=
            figureAndTable(trialPlot(p, i),
                           "Predicted ground-level centreline (line) and observed arc maxima (dots); dotted: "
                           "the passive plume takes over; dashed red: the LFL.",
                           "%", p.pairs, [](double c) { return percent(c); });
    }
    return out;
}

} // namespace ostreljet::report
