#include "report/PageBuilder.hpp"
#include "report/ReportPage.hpp"

#include "report/Contours.hpp"
#include "report/Html.hpp"
#include "report/Svg.hpp"
#include "report/Ticks.hpp"

#include "ostreljet/inputs/InputSchema.hpp"
#include "ostreljet/jet/RunSummary.hpp"

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

// How the page writes the input schema's ASCII unit symbols; any other symbol is shown as it is.
struct UnitDisplay {
    std::string_view ascii;
    std::string_view shown;
};

const std::array<UnitDisplay, 3> kUnitDisplay = {{
    {"degree", "\u00b0"},
    {"-", "\u2013"},
    {"J/(kg K)", "J/(kg\u00b7K)"},
}};

} // namespace

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
        const InputSchema::Input *input = InputSchema::find(property.name);
        const std::string_view meaning = input != nullptr ? input->meaning : std::string_view{};
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
        // The badge says the message's severity; a fatal end is marked as such.
        const std::int32_t level = model_.message(i).level;
        const std::string severity(RunSummary::severityName(RunSummary::severityOf(model_.message(i))));
        const std::string kind = level == 2 ? "fatal" : severity;
        const std::string badge = level == 2 ? "fatal \u2013 terminated" : severity;
        out += fmt::format("<li class=\"{}\"><span class=\"badge {}\">{}</span>{}</li>\n", kind, kind, badge,
                           escapeHtml(model_.messageText(i)));
    }
    out += "</ol>\n";
    return out;
}

std::string_view ReportPage::propertyUnit(std::string_view name) {
    const InputSchema::Input *input = InputSchema::find(name);
    if (input == nullptr) {
        return {};
    }
    for (const UnitDisplay &display : kUnitDisplay) {
        if (display.ascii == input->unit) {
            return display.shown;
        }
    }
    return input->unit;
}

} // namespace ostreljet::report
