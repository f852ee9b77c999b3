#pragma once

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "report/SummaryText.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace ostreljet::report {

// The HTML page that shows one run: its inputs, messages, the jet in side and plan view with
// concentration contours, the centreline values against arc length and the ambient profiles.
// The page is self-contained: inline styles and inline SVG, no scripts and nothing fetched.
class ReportPage {
public:
    // model holds the run's results (inputsValid says whether the run was carried out); scenarioName
    // is shown as the page's title; threads evaluate the contour grids (0: one per core). The contours
    // are at the levels that `run` defaults to, in volume fraction.
    static std::string render(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                              bool inputsValid, unsigned threads = 0);
    // The same page opening with the run's summary (answers, levels, severities of the messages), with
    // contours at the request's levels named in its unit, and the plume past the jet along the wind.
    static std::string render(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                              bool inputsValid, const RunSummary &summary, const SummaryRequest &request,
                              const FarField &farField, unsigned threads = 0);

    // The unit of an input property as the page shows it (the input schema's, with ° for degree, – for a
    // pure number and J/(kg·K)), "" for an unknown name.
    static std::string_view propertyUnit(std::string_view name);

    // The page's style sheet, which the other pages of the tool share for their plots and tables.
    static std::string_view styleSheet();
};

} // namespace ostreljet::report
