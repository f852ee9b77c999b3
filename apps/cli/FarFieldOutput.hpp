// The far field in the command's output: summary lines and the "farField" member of a run's JSON.
#pragma once

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "report/SummaryText.hpp"

#include <nlohmann/json.hpp>

#include <vector>

namespace ostreljet::cli {

// Where the far field starts and why, its continuity, its end, its ground-level maximum and how far each
// level reaches through it, every figure with its unit.
std::vector<report::SummaryLine> farFieldLines(const JetModel &model, const FarField &field,
                                               const report::SummaryRequest &request);

// The same as JSON, with the far-field series (concentrations in the request's unit); null when there is
// no far field.
nlohmann::ordered_json farFieldJson(const JetModel &model, const FarField &field,
                                    const report::SummaryRequest &request);

} // namespace ostreljet::cli
