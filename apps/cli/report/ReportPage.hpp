#pragma once

#include "ostreljet/io/Scenario.hpp"
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
    // is shown as the page's title; threads evaluate the contour grids (0: one per core).
    static std::string render(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                              bool inputsValid, unsigned threads = 0);
    // The same page opening with the run's summary (answers, levels, severities of the messages).
    static std::string render(const JetModel &model, const Scenario &scenario, std::string_view scenarioName,
                              bool inputsValid, const RunSummary &summary, const SummaryRequest &request,
                              unsigned threads = 0);

    // The contour levels drawn for a field whose greatest value is maxValue: 1, 2, 5 and 10 times the
    // stopping concentration, those not above maxValue. Without a positive stopping concentration the
    // same multiples of a hundredth of maxValue.
    static std::vector<double> contourLevels(double stoppingConcentration, double maxValue);

    // The unit of an input property as the page shows it, "" for an unknown name.
    static std::string_view propertyUnit(std::string_view name);
};

} // namespace ostreljet::report
