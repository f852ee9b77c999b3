#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/RunField.hpp"
#include "ostreljet/jet/RunStatus.hpp"

#include <cstdint>

namespace ostreljet {

class JetModel;

// The concentration of the whole plume: the jet's field ahead of the hand-off plane (the crosswind
// plane through the hand-off point), the far field from it on, never both. Beyond the far field's end
// nothing is computed and the answer is NaN. Without a far field (switched off, or a run with fewer than
// two steps) it is the jet's field alone. Built for the engineering fronts from a run's status, the jet's
// field keeps its actual values and is not computed (NaN) beyond the run's end plane short of the hand-off,
// and nothing is computed for a run without results. Immutable once built; any number of threads may query
// one. Concentrations are volume fractions; points are in m of the site frame.
class OSTRELJET_EXPORT WholePlume {
public:
    // From the model's last run; the jet's field keeps the given rules and cutoff.
    WholePlume(const JetModel &model, const FarFieldOptions &options, ConcentrationField::Rules rules,
               double cutoff);
    // From the model's last run and the status its summary gave it, as every engineering front answers.
    WholePlume(const JetModel &model, const FarFieldOptions &options, RunStatus status);

    const ConcentrationField &jet() const { return jet_.field(); }
    const FarField &farField() const { return farField_; }

    // False where nothing is computed: beyond the far field's end, or beyond the jet's end short of the
    // hand-off when built from a run's status.
    bool computed(double x, double y, double z) const;
    double concentration(double x, double y, double z) const;
    // The same, adding to `segmentsSearched` the jet segments searched (a summary's searches are charged by
    // them).
    double concentration(double x, double y, double z, std::uint64_t &segmentsSearched) const;
    // A regular grid as ConcentrationField::grid lays it out, on `threads` threads (0: one per core).
    void grid(double *out, double xStart, double yStart, double zStart, double xEnd, double yEnd, double zEnd,
              std::int32_t numberOfPointsX, std::int32_t numberOfPointsY, std::int32_t numberOfPointsZ,
              unsigned threads, const ConcentrationField::GridProgress &progress = {}) const;

private:
    bool beyondHandOff(double x, double y) const;

    RunField jet_;
    FarField farField_;
};

} // namespace ostreljet
