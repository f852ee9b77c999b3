#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/mapping/Contours.hpp"
#include "ostreljet/mapping/PlaneGrid.hpp"

#include <vector>

namespace ostreljet {
class JetModel;
}

namespace ostreljet::mapping {

// The concentration (volume fraction) of one run's whole plume wherever the library answers it: the jet's
// field ahead of the hand-off plane, the far field after it, NaN where nothing is computed (beyond the far
// field's end). Footprints and weather studies reach as far as that field does. Immutable once built: any
// number of threads may query it at once. Lengths in m (site frame).
class OSTRELJET_EXPORT PlumeField {
public:
    // From the model's last run and the far field's options (a scenario's farFieldOptions()); the jet's
    // field keeps its own values (below the stopping concentration too). Without a far field, a level below
    // cutoff() is not answered.
    PlumeField(const JetModel &model, const FarFieldOptions &options);

    // NaN where nothing is computed.
    double concentration(double x, double y, double z) const { return field_.concentration(x, y, z); }

    // The field at every node of the grid, on `threads` threads (0: one per core, 1: the calling thread
    // only), identical whatever the number of threads; NaN where nothing is computed.
    PlaneValues sample(const PlaneGrid &grid, unsigned threads, const PlaneProgress &progress = {}) const;

    // The box (m, site frame) that holds the jet's centreline and its profile radius in plan: where a
    // search for a footprint starts.
    double startX0() const { return startX0_; }
    double startY0() const { return startY0_; }
    double startX1() const { return startX1_; }
    double startY1() const { return startY1_; }
    // Points in plan (m) with a radius (m) around each that holds the plume's cross-section there: the
    // jet's output steps with their profile radii, then the far field's series on its axis with three
    // sigma_y. A search for a small footprint starts from those at or above the level.
    const std::vector<Point> &centreline() const { return centreline_; }
    const std::vector<double> &radii() const { return radii_; }
    // The axis heights at the same points, m.
    const std::vector<double> &heights() const { return heights_; }
    // The lowest level whose region is computed (volume fraction): the run's stopping concentration for the
    // jet alone, 0 with a far field (it goes on below the stopping concentration).
    double cutoff() const { return cutoff_; }
    // True when the level's region is cut off and reaches farther than the field shows: still exceeded
    // where the far field ends, or, for the jet alone, where the run ends.
    bool cutByEndOfRun(double level) const;
    // True when the whole plume carries on past the jet (a far field was computed).
    bool hasFarField() const { return field_.farField().computed(); }
    // Where the far field ends, m downwind of the stack (0 without one).
    double farFieldEnd() const { return field_.farField().endDistance(); }
    // The release point in plan (m).
    double sourceX() const { return sourceX_; }
    double sourceY() const { return sourceY_; }

private:
    WholePlume field_;
    double startX0_ = 0.0, startY0_ = 0.0, startX1_ = 0.0, startY1_ = 0.0; // m
    double sourceX_ = 0.0, sourceY_ = 0.0;                                 // m
    std::vector<Point> centreline_;                                        // m
    std::vector<double> radii_;                                            // m
    std::vector<double> heights_;                                          // m
    double cutoff_ = 0.0;                                                  // volume fraction
    double endConcentration_ = 0.0; // volume fraction, the jet's centreline at its last output step
};

} // namespace ostreljet::mapping
