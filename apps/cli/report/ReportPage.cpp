#include "report/ReportPage.hpp"

#include "report/FarFieldSection.hpp"
#include "report/Html.hpp"
#include "report/PageBuilder.hpp"

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
.badge.information{background:#d6e6f5;color:#123}
.badge.warning{background:#f2c037;color:#2b2100}
.badge.error{background:#e67e22;color:#fff}
.badge.fatal{background:#b3261e;color:#fff}
li.fatal{font-weight:bold;color:#7d1a14}
.banner{padding:6px 10px;margin:6px 0}
.banner.caution{background:#fff6d6;border-left:4px solid #f2c037;color:#4a3b00}
.banner.fatal{background:#fbe9e7;border-left:4px solid #b3261e;color:#7d1a14;font-weight:bold}
figure{margin:8px 0 4px 0}
figcaption,p.caption{font-size:12.5px;color:#444;max-width:1100px;margin:4px 0 0 0}
.entry{white-space:nowrap}
.swatch{display:inline-block;width:18px;height:4px;margin:0 4px 3px 2px;vertical-align:middle}
.row{display:flex;gap:10px;flex-wrap:wrap}
.row>figure{flex:1 1 0;min-width:0}
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

// The contour levels of the views: the summary's levels that are positive and finite, ascending, once
// each, labelled as the user wrote them and named with their value in the request's unit.
std::vector<ContourLevel> contourLevelsFor(const JetModel &model, const SummaryRequest &request) {
    std::vector<ContourLevel> levels;
    const std::size_t n = std::min(request.levels.size(), request.levelsInModelUnit.size());
    for (std::size_t l = 0; l < n; ++l) {
        const double value = request.levelsInModelUnit[l];
        const bool repeated = std::any_of(levels.begin(), levels.end(),
                                          [&](const ContourLevel &level) { return level.value == value; });
        if (std::isfinite(value) && value > 0.0 && !repeated) {
            levels.push_back(
                {value, request.levels[l].text(), levelName(model, request.levels[l], value, request.unit)});
        }
    }
    std::sort(levels.begin(), levels.end(),
              [](const ContourLevel &a, const ContourLevel &b) { return a.value < b.value; });
    return levels;
}

std::string renderPage(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                       bool inputsValid, const SummaryRequest &request, unsigned threads,
                       const RunSummary *summary = nullptr);

} // namespace

std::string ReportPage::render(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                               bool inputsValid, const RunSummary &summary, const SummaryRequest &request,
                               const FarField &farField, unsigned threads) {
    std::string block = "<h2>Summary</h2>\n";
    const std::string status(runStatusName(summary.status));
    if (!summary.succeeded()) {
        const std::string why = summary.endMessage.value_or(status);
        block += fmt::format("<p class=\"banner fatal\">Run status {}: {}{}</p>\n", escapeHtml(status),
                             escapeHtml(why), why.ends_with('.') ? "" : ".");
    } else if (summary.status != RunStatus::ok) {
        block += fmt::format("<p class=\"banner caution\">Run status {}: results to use with care{}.</p>\n",
                             escapeHtml(status),
                             summary.status == RunStatus::incomplete ? ", up to where the run ended" : "");
    }
    block += "<table class=\"facts\">\n";
    for (const SummaryLine &line : summaryLines(model, summary, request)) {
        block +=
            fmt::format("<tr><th>{}</th><td>{}</td></tr>\n", escapeHtml(line.label), escapeHtml(line.value));
    }
    block += "</table>\n<ol class=\"messages\">\n";
    for (const RunSummary::Message &message : summary.messages) {
        const std::string_view severity = RunSummary::severityName(message.severity);
        block += fmt::format("<li class=\"{0}\"><span class=\"badge {0}\">{0}</span>{1}</li>\n", severity,
                             escapeHtml(message.text));
    }
    block += "</ol>\n";
    std::string page = renderPage(model, scenario, scenarioName, inputsValid, request, threads, &summary);
    const std::size_t first = page.find("<h2>");
    page.insert(first, block);
    // Past the jet, along the wind, after the views of the jet itself.
    const std::size_t profiles = page.find("<h2>Ambient profiles</h2>");
    page.insert(profiles == std::string::npos ? page.find("</body>") : profiles,
                "<h2>Past the jet</h2>\n" + FarFieldSection::render(model, summary, farField, request));
    return page;
}

std::string ReportPage::render(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                               bool inputsValid, unsigned threads) {
    // The levels that `run` defaults to, in volume fraction; none where the gas's limits are unknown.
    SummaryRequest request;
    request.levels = Level::defaults(scenario.gas(), model.stoppingConcentration());
    try {
        request.levelsInModelUnit = Level::toModel(request.levels, model, scenario.gas());
    } catch (const LevelError &) {
        request.levels.clear();
    }
    return renderPage(model, scenario, scenarioName, inputsValid, request, threads);
}

namespace {

std::string renderPage(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                       bool inputsValid, const SummaryRequest &request, unsigned threads,
                       const RunSummary *summary) {
    const PageBuilder page(model, scenario, inputsValid, threads, contourLevelsFor(model, request),
                           concentrationUnitLabel(request.unit));
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
    out += fmt::format("<title>Ostreljet report: {}</title>\n", escapeHtml(scenarioName));
    out += fmt::format("<style>{}</style>\n</head>\n<body>\n", kStyleSheet);
    out += fmt::format("<h1>Ostreljet report: {}</h1>\n", escapeHtml(scenarioName));
    out += fmt::format("<p class=\"sub\">Integral jet model, version {}.</p>\n",
                       escapeHtml(JetModel::versionInfo()));
    // With the run's summary above them, the page's own result and message lists would say the same twice.
    if (summary == nullptr) {
        out += "<h2>Result</h2>\n" + page.summary();
        out += "<h2>Messages</h2>\n" + page.messages();
    }
    out += "<h2>Inputs</h2>\n" + page.inputs();
    // A run without results (failed, refused, invalid) shows no figures at all.
    const bool results = summary == nullptr || summary->succeeded();
    const bool drawable = results && model.numberOfOutputSteps() > 1;
    const std::string nothing = results ? "<p>There is no centreline to draw.</p>\n"
                                        : "<p>Not computed: the run has no results.</p>\n";
    out += "<h2>Side view</h2>\n" + (drawable ? page.sideView() : nothing);
    out += "<h2>Plan view</h2>\n" + (drawable ? page.planView() : nothing);
    out += "<h2>Along the centreline</h2>\n" + (results ? page.centrelinePlots() : nothing);
    if (summary == nullptr || summary->status != RunStatus::invalid) {
        out += "<h2>Ambient profiles</h2>\n" + page.atmospherePlots();
    }
    out += "</body>\n</html>\n";
    return out;
}

} // namespace

std::string_view ReportPage::styleSheet() {
    return kStyleSheet;
}

} // namespace ostreljet::report
