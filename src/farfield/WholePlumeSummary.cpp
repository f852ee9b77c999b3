#include "ostreljet/farfield/WholePlumeSummary.hpp"

#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace ostreljet {

namespace {

// A jet ended by its range or the integrator's call limit beyond the hand-off plane cuts no answer of the
// whole plume: its end becomes a warning that says where the far field took over.
void carryOnPastALimit(RunSummary &summary, double handOff) {
    if (summary.status != RunStatus::incomplete || summary.cut != RunSummary::Cut::none ||
        !summary.limitEnd || !summary.lastStep || summary.lastStep->downwind < handOff) {
        return;
    }
    const std::string cutText = RunSummary::limitEndText(*summary.limitEnd, std::nullopt);
    const std::string carriedText = RunSummary::limitEndText(*summary.limitEnd, handOff);
    for (RunSummary::Message &message : summary.messages) {
        if (message.text == cutText) {
            message.text = carriedText;
            message.severity = MessageSeverity::warning;
        }
    }
    summary.endMessage = carriedText;
    summary.status = RunStatus::warning;
}

} // namespace

WholePlumeSummary::Result WholePlumeSummary::run(JetModel &model, std::span<const double> levels,
                                                 const FarFieldOptions &options) {
    // 1. Prepare and run as every engineering front does; the run's status (its summary without a field
    //    to search) decides what its field holds.
    // 2. The whole plume from that status, then the summary in it, within the run's limits.
    const EngineeringRun::Preparation preparation = EngineeringRun::prepare(model, levels);
    const bool accepted = EngineeringRun::runPrepared(model, preparation);
    RunSummary ending = RunSummary::of(model, accepted, {}, RunSummary::ConcentrationAt{});
    EngineeringRun::complete(ending, preparation);

    auto field = std::make_shared<const WholePlume>(model, options, ending.status);
    RunSummary summary =
        summarise(model, accepted, preparation, levels, *field, RunSummary::limitsAfterRun(model));
    return Result{std::move(summary), std::move(field)};
}

RunSummary WholePlumeSummary::summarise(const JetModel &model, bool accepted,
                                        const EngineeringRun::Preparation &preparation,
                                        std::span<const double> levels, const WholePlume &field,
                                        RunSummary::Limits limits) {
    // 1. The summary's searches in the whole plume, charging each searched segment to the limits.
    // 2. What the preparation changed (a lowered stopping concentration, the weather check) said.
    // 3. The answers carried on through the far field.
    std::uint64_t segments = 0;
    limits.segmentsSearched = [&segments] { return segments; };
    RunSummary summary = RunSummary::of(
        model, accepted, levels,
        [&field, &segments](double x, double y, double z) { return field.concentration(x, y, z, segments); },
        limits);
    EngineeringRun::complete(summary, preparation);
    carryOn(summary, field);
    return summary;
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
