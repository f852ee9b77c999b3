#include "FarFieldOutput.hpp"

#include "ostreljet/farfield/HandOff.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace ostreljet::cli {

namespace {

using report::figure;

// A concentration of the far field at height z, in the request's unit.
double shown(const JetModel &model, double value, double z, ConcentrationUnit unit) {
    return ConcentrationConverter::forModel(model).fromModel(value, unit,
                                                             report::ambientTemperatureAt(model, z));
}

} // namespace

std::vector<report::SummaryLine> farFieldLines(const JetModel &model, const FarField &field,
                                               const report::SummaryRequest &request) {
    // Two lines: where the far field runs and why; then how far each level reaches through it and its
    // greatest ground-level concentration.
    std::vector<report::SummaryLine> lines;
    if (!field.computed()) {
        lines.push_back({"Far field", "not computed"});
        return lines;
    }
    const HandOff &handOff = field.handOff();
    // A height within rounding of the ground is the ground.
    const double height = std::abs(handOff.height) < 1e-9 ? 0.0 : handOff.height;
    const std::string dense = field.passiveStart() > handOff.downwindDistance
                                  ? fmt::format(", dense to {} m then passive,", figure(field.passiveStart()))
                                  : std::string();
    lines.push_back(
        {"Far field", fmt::format("from {} m downwind, {} m up ({}, continuity ratio {}){} to {} m "
                                  "downwind ({})",
                                  figure(handOff.downwindDistance), figure(height),
                                  HandOff::describe(handOff.reason), figure(field.continuityRatio()), dense,
                                  figure(field.endDistance()), field.endReason())});
    std::string reach;
    for (std::size_t i = 0; i < request.levels.size() && i < request.levelsInModelUnit.size(); ++i) {
        const auto extent = field.levelExtent(request.levelsInModelUnit[i]);
        std::string value;
        if (!extent) {
            value = "below it throughout";
        } else if (extent->atEnd) {
            value = fmt::format("still above it at the end, {} m downwind", figure(extent->downwind));
        } else {
            value = fmt::format("above it to {} m downwind", figure(extent->downwind));
        }
        reach += request.levels[i].text() + " " + value + "; ";
    }
    const std::string unit(concentrationUnitLabel(request.unit));
    if (const auto peak = field.groundLevelMaximum()) {
        // Still rising where the far field ends: no maximum within it.
        const bool atEnd = peak->downwind >= field.endDistance() * (1.0 - 1e-12);
        reach += fmt::format("greatest ground level {} {} at {} m downwind{}",
                             figure(shown(model, peak->value, 0.0, request.unit)), unit,
                             figure(peak->downwind), atEnd ? " (its end; still rising there)" : "");
    } else {
        reach += "0 at ground level throughout";
    }
    lines.push_back({"Past the jet", reach});
    return lines;
}

} // namespace ostreljet::cli
