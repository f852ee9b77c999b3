#pragma once

// A run's answers as JSON text, written once here for every front (the command line's `run --json` and
// `batch`, the page): the summary, its messages, the far field with its series and the output steps, under
// the same keys and with the same figures everywhere. Numbers keep 17 significant digits; what was not
// computed (and any NaN or infinity) is null. Concentrations are in the unit asked for (mg/m³ at the
// ambient temperature of their height), distances in m. Stateless functions: safe from any thread for
// models not being run.

#include "ostreljet/Export.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"
#include "ostreljet/units/Level.hpp"

#include <span>
#include <string>

namespace ostreljet {

class JetModel;
class FarField;
struct RunSummary;

class OSTRELJET_EXPORT RunJson {
public:
    // The summary's figures: how the run ended, where the modelled region ends, the stopping concentration,
    // greatest height, touchdown, the ground-level maximum and each level's answers ("level" as written,
    // "model" in volume fraction, "value" in `unit`), `levels` naming the summary's levels in order.
    static std::string summary(const JetModel &model, const RunSummary &summary,
                               std::span<const Level> levels, ConcentrationUnit unit);
    // The run's messages: [{"severity", "text", "code", "level"}, ...].
    static std::string messages(const RunSummary &summary);
    // The far field: hand-off, continuity ratio, passive start, end, ground-level maximum, how far each
    // level reaches through it, warnings, and with `withSeries` its series (downwind distance, height,
    // sigmaY, sigmaZ, centreline and ground-level concentration, regime); "null" when there is none.
    static std::string farField(const JetModel &model, const FarField &field, std::span<const Level> levels,
                                std::span<const double> levelsInModelUnit, ConcentrationUnit unit,
                                bool withSeries);
    // The output steps, one array per series, the centreline concentration in `unit`; empty arrays for a
    // run without results.
    static std::string steps(const JetModel &model, const RunSummary &summary, ConcentrationUnit unit);
    // The whole answer of a run: {"version", "ok", "status", "unit", "summary", "messages", "farField",
    // "steps"}.
    static std::string document(const JetModel &model, const RunSummary &summary, const FarField &field,
                                std::span<const Level> levels, std::span<const double> levelsInModelUnit,
                                ConcentrationUnit unit);
};

} // namespace ostreljet
