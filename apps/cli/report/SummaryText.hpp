#pragma once

#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"
#include "ostreljet/units/Level.hpp"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet::report {

// A figure rounded to four significant digits, without an exponent from 0.001 to 999999.5.
std::string figure(double value);

// The ambient air temperature (K) at height z (m) of a model's atmosphere.
double ambientTemperatureAt(const JetModel &model, double z);

// One line of a run's summary: what it answers and the answer with its units.
struct SummaryLine {
    std::string label;
    std::string value;
};

// What a summary shows: the levels as the user wrote them, in the model's unit, and the unit in which
// concentrations are shown.
struct SummaryRequest {
    std::vector<Level> levels;
    std::vector<double> levelsInModelUnit; // volume fraction
    ConcentrationUnit unit = ConcentrationUnit::volumeFraction;
};

// The summary as lines a report can quote: how the run ended, the greatest height, where the plume
// reaches the ground, the ground-level maximum and each level's distances; every figure with its unit.
std::vector<SummaryLine> summaryLines(const JetModel &model, const RunSummary &summary,
                                      const SummaryRequest &request);

// The run status's name: "ok", "warning", "incomplete", "failed", "refused" or "invalid".
std::string_view runStatus(const RunSummary &summary);

// A level as the user wrote it with its value in the unit: "LFL (0.05 volume fraction)".
std::string levelName(const JetModel &model, const Level &level, double modelValue, ConcentrationUnit unit);

} // namespace ostreljet::report
