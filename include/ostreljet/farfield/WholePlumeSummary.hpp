#pragma once

// The summary every engineering front gives of a release: the run prepared and made as EngineeringRun
// makes it, the whole plume built from it (the jet ahead of the hand-off plane, the far field after it),
// and one answer per level and one ground-level maximum for the whole plume, not one for the jet and
// another past it. Functions of one model at a time; a model must not be shared between threads while
// it runs. Units: m, volume fractions.

#include "ostreljet/Export.hpp"
#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/RunSummary.hpp"

#include <memory>
#include <span>

namespace ostreljet {

class JetModel;

class OSTRELJET_EXPORT WholePlumeSummary {
public:
    struct Result {
        RunSummary summary;
        std::shared_ptr<const WholePlume> field; // never null
    };

    // Prepares and runs the model, builds its whole plume with the far field `options` ask for (the same
    // whatever the levels, so that every front answers a point alike) and summarises it within the run's
    // limits.
    static Result run(JetModel &model, std::span<const double> levels, const FarFieldOptions &options);

    // Summarises a run already made (`accepted` is what the run returned, `preparation` how it was
    // prepared) in its whole plume `field`, within `limits` (whose segment count it sets).
    static RunSummary summarise(const JetModel &model, bool accepted,
                                const EngineeringRun::Preparation &preparation,
                                std::span<const double> levels, const WholePlume &field,
                                RunSummary::Limits limits);

    // Carries a summary whose searches ran in `field` on through its far field: each level's centreline
    // answer and region, and the ground-level maximum, become those of the whole plume. Nothing changes
    // without a far field or for a run without results.
    static void carryOn(RunSummary &summary, const WholePlume &field);
};

} // namespace ostreljet
