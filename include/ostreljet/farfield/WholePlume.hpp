#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"

#include <cstdint>

namespace ostreljet {

class JetModel;

// The concentration of the whole plume: the jet's field ahead of the hand-off plane (the crosswind
// plane through the hand-off point), the far field from it on, never both. Beyond the far field's end
// nothing is computed and the answer is NaN. Without a far field (switched off, or a run with fewer than
// two steps) it is the jet's field alone. Immutable once built; any number of threads may query one.
// Concentrations are volume fractions; points are in m of the site frame.
class OSTRELJET_EXPORT WholePlume {
public:
    // From the model's last run; the jet's field keeps the given rules and cutoff.
    WholePlume(const JetModel &model, const FarFieldOptions &options, ConcentrationField::Rules rules,
               double cutoff);

    const ConcentrationField &jet() const { return jet_; }
    const FarField &farField() const { return farField_; }

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

    ConcentrationField jet_;
    FarField farField_;
};

} // namespace ostreljet
