#pragma once

#include "report/SummaryText.hpp"

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunSummary.hpp"

#include <string>

namespace ostreljet::report {

// The report's section on the whole plume along the wind: the centreline and ground-level concentration
// against downwind distance on log-log axes, the jet's up to the hand-off and the far field's after it,
// with the levels, the hand-off and the far field's end marked; and where the far field runs and why.
class FarFieldSection {
public:
    static std::string render(const JetModel &model, const RunSummary &summary, const FarField &farField,
                              const SummaryRequest &request);
};

} // namespace ostreljet::report
