// The far field in the command's summary lines.
#pragma once

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "report/SummaryText.hpp"

#include <vector>

namespace ostreljet::cli {

// Where the far field starts and why, its continuity, its end, its ground-level maximum and how far each
// level reaches through it, every figure with its unit.
std::vector<report::SummaryLine> farFieldLines(const JetModel &model, const FarField &field,
                                               const report::SummaryRequest &request);

} // namespace ostreljet::cli
