#pragma once

#include "ostreljet/validation/TrialComparison.hpp"

#include <string>

namespace ostreljet::report {

// The validation page's section on the field trials: how the pools were modelled, the statistics per
// part with their verdicts, a log-log scatter of predicted against observed arc maxima with the 1:1 and
// factor-of-two lines, the distances to the lower flammable limit, and per trial the predicted
// ground-level centreline concentration against distance with the observed arc maxima. Inline SVG.
class TrialsSection {
public:
    static std::string render(const TrialComparison &comparison, const std::string &trialsSource);
};

} // namespace ostreljet::report
