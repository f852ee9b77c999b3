#include "ostreljet/farfield/WholePlumeSummary.hpp"

#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace ostreljet {

namespace {

std::string metres(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

// A jet ended by its range or the integrator's call limit beyond the hand-off plane cuts no answer of the
// whole plume: its end becomes a warning that says where the far field took over.
void carryOnPastALimit(RunSummary &summary, double handOff) {
    constexpr std::string_view nothingBeyond = ": nothing is computed beyond.";
    if (summary.status != RunStatus::incomplete || summary.cut != RunSummary::Cut::none ||
        !summary.lastStep || summary.lastStep->downwind < handOff) {
        return;
    }
    bool carried = false;
    for (RunSummary::Message &message : summary.messages) {
        const bool limitEnd =
            message.code == RunSummary::rangeEndCode || message.code == RunSummary::integratorEndCode;
        if (!limitEnd || !message.text.ends_with(nothingBeyond)) {
            continue;
        }
        const std::string text = message.text.substr(0, message.text.size() - nothingBeyond.size()) +
                                 ": the far field carries the answers on from " + metres(handOff) +
                                 " m downwind, ahead of it.";
        if (summary.endMessage == message.text) {
            summary.endMessage = text;
        }
        message.text = text;
        message.severity = MessageSeverity::warning;
        carried = true;
    }
    if (carried) {
        summary.status = RunStatus::warning;
    }
}

} // namespace

WholePlumeSummary::Result WholePlumeSummary::run(JetModel &model, std::span<const double> levels,
                                                 const FarFieldOptions &options) {
    // 1. Prepare and run as every engineering front does; the run's status decides what its field holds.
    // 2. The whole plume from that status, then the summary's searches in it, within the run's limits.
    // 3. The answers carried on through the far field.
    const EngineeringRun::Preparation preparation = EngineeringRun::prepare(model, levels);
    const bool accepted = EngineeringRun::runPrepared(model, preparation);
    RunSummary ending = RunSummary::of(model, accepted, {}, [](double, double, double) { return 0.0; });
    EngineeringRun::complete(ending, preparation);

    auto field = std::make_shared<const WholePlume>(model, options, ending.status);
    std::uint64_t segments = 0;
    RunSummary::Limits limits = RunSummary::limitsAfterRun(model);
    limits.segmentsSearched = [&segments] { return segments; };
    RunSummary summary = RunSummary::of(
        model, accepted, levels,
        [&field, &segments](double x, double y, double z) { return field->concentration(x, y, z, segments); },
        limits);
    EngineeringRun::complete(summary, preparation);
    carryOn(summary, *field);
    return Result{std::move(summary), std::move(field)};
}

void WholePlumeSummary::carryOn(RunSummary &summary, const WholePlume &field) {
    // 1. Per level: the centreline answer past the hand-off plane from the far field's axis; the region's
    //    farthest point and half-width the greater of the jet's searches and the far field's; open only
    //    where the far field ends still above the level.
    // 2. The ground-level maximum: the far field's where it is the greater.
    const FarField &far = field.farField();
    if (!summary.succeeded() || !far.computed()) {
        return;
    }
    const double handOff = far.handOff().downwindDistance;
    summary.farField = RunSummary::FarFieldSpan{handOff, far.endDistance()};
    carryOnPastALimit(summary, handOff);
    for (RunSummary::LevelAnswer &answer : summary.levels) {
        const bool pastHandOff = answer.centrelineDownwindDistance
                                     ? *answer.centrelineDownwindDistance >= handOff
                                     : answer.exceededAtEndOfRun;
        if (pastHandOff) {
            if (const std::optional<double> below = far.centrelineFallsBelow(answer.level)) {
                answer.centrelineDownwindDistance = *below;
                answer.centrelineArcLength.reset(); // no output step is there
            } else {
                answer.centrelineDownwindDistance.reset();
                answer.centrelineArcLength.reset();
            }
            answer.centrelineInFarField = true;
            answer.exceededAtEndOfRun = !answer.centrelineDownwindDistance;
        }
        if (!answer.regionComputed) {
            continue;
        }
        answer.regionOpen = false;
        if (const std::optional<FarField::Extent> extent = far.levelExtent(answer.level)) {
            if (!answer.farthestDownwindExtent || extent->downwind >= *answer.farthestDownwindExtent) {
                answer.farthestDownwindExtent = extent->downwind;
                answer.regionInFarField = true;
            }
            answer.regionOpen = extent->atEnd;
            if (const std::optional<double> half = far.levelHalfWidth(answer.level)) {
                answer.greatestHalfWidth = std::max(answer.greatestHalfWidth.value_or(0.0), *half);
            }
        }
    }
    if (!summary.groundMaximumComputed) {
        return;
    }
    if (const std::optional<FarField::Maximum> peak = far.groundLevelMaximum()) {
        if (!summary.groundMaximum || peak->value > summary.groundMaximum->concentration) {
            const auto [x, y] = far.axisPointAt(peak->downwind);
            summary.groundMaximum =
                RunSummary::GroundMaximum{peak->value,
                                          RunSummary::Location{x, y, 0.0, peak->downwind, far.axisOffset(),
                                                               std::numeric_limits<double>::quiet_NaN()},
                                          true};
        }
    }
}

} // namespace ostreljet
