#pragma once

#include "ostreljet/validation/ValidationSuite.hpp"

#include <string>
#include <vector>

namespace ostreljet::report {

// The HTML page of the validation suite: the summary table first, then one section per correlation
// with its formula, source, validity range, the figures side by side and a plot of model against
// correlation. Self-contained: inline styles and SVG, nothing fetched.
class ValidationPage {
public:
    // seconds: how long the suite took; casesFile: where the cases came from; trials: the field trials'
    // section, placed after the correlations (empty for none).
    static std::string render(const std::vector<CorrelationResult> &results, double seconds,
                              const std::string &casesFile, const std::string &trials = {});
};

} // namespace ostreljet::report
