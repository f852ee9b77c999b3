#pragma once

// The concentration field of a run as every engineering front answers it: the field's actual value
// inside the modelled region (a computed 0 is 0), and "not computed" (NaN) beyond the run's end plane
// (the plane through the last output step, normal to the jet there) and everywhere for a run without
// results. Immutable once built: any number of threads may query one at once. Concentrations are volume
// fractions, coordinates m in the site frame.

#include "ostreljet/Export.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/RunStatus.hpp"

#include <cstdint>
#include <limits>

namespace ostreljet {

class JetModel;

class OSTRELJET_EXPORT RunField {
public:
    static constexpr double notComputed = std::numeric_limits<double>::quiet_NaN();

    // From the model's last run and the status its summary gave it.
    RunField(const JetModel &model, RunStatus status);
    // The plain field of the model's last run with the given rules and cutoff, computed everywhere.
    RunField(const JetModel &model, ConcentrationField::Rules rules, double cutoff);

    // False beyond the end plane, and everywhere when the run gave no results.
    bool computed(double x, double y, double z) const;
    // The concentration, or NaN where it is not computed.
    double concentration(double x, double y, double z) const;
    // The same, adding to `segmentsSearched` the segments the field's query searched.
    double concentration(double x, double y, double z, std::uint64_t &segmentsSearched) const;
    // A regular grid as ConcentrationField::grid, NaN where not computed.
    void grid(double *out, double xStart, double yStart, double zStart, double xEnd, double yEnd, double zEnd,
              std::int32_t numberOfPointsX, std::int32_t numberOfPointsY, std::int32_t numberOfPointsZ,
              unsigned threads, const ConcentrationField::GridProgress &progress = {}) const;

    // One vertical row of the grid, as ConcentrationField::gridRow, NaN where not computed.
    void gridRow(double *target, double x, double y, double zStart, double zEnd, std::int64_t nz,
                 std::vector<std::size_t> &blocks) const;

    const ConcentrationField &field() const { return field_; }
    bool hasResults() const { return hasResults_; }
    // False for the plain field, which answers everywhere.
    bool bounded() const { return bounded_; }

private:
    ConcentrationField field_;
    bool hasResults_ = false;
    bool bounded_ = true;
    vector3 end_;       // the last output step, m
    vector3 direction_; // the jet's direction there (not normalised; 0 when unknown)
};

} // namespace ostreljet
