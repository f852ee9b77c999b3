#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/mapping/Contours.hpp"
#include "ostreljet/mapping/PlaneGrid.hpp"

#include <vector>

namespace ostreljet {
class JetModel;
}

namespace ostreljet::mapping {

// The concentration (volume fraction) of one run wherever the library answers it: the same field as the
// concentration at a point and on a grid of every front, so footprints and weather studies reach as far
// as that field does. Immutable once built: any number of threads may query it at once.
class OSTRELJET_EXPORT PlumeField {
public:
    // From the model's last run, with the field's own values (below the stopping concentration too, as
    // the point query answers them); a level below cutoff() is still not answered.
    explicit PlumeField(const JetModel &model);

    double concentration(double x, double y, double z) const { return field_.concentration(x, y, z); }

    // The field at every node of the grid, on `threads` threads (0: one per core, 1: the calling thread
    // only), identical whatever the number of threads.
    PlaneValues sample(const PlaneGrid &grid, unsigned threads, const PlaneProgress &progress = {}) const;

    // The box (m, site frame) that holds the jet's centreline and its profile radius in plan: where a
    // search for a footprint starts.
    double startX0() const { return startX0_; }
    double startY0() const { return startY0_; }
    double startX1() const { return startX1_; }
    double startY1() const { return startY1_; }
    // The centreline's output steps in plan (m) with their profile radii (m): points a search for a small
    // footprint can start from.
    const std::vector<Point> &centreline() const { return centreline_; }
    const std::vector<double> &radii() const { return radii_; }
    // The centreline's heights at the same steps, m.
    const std::vector<double> &heights() const { return heights_; }
    // The run's stopping concentration (volume fraction): the run followed no smaller level, so such a
    // level's region is not computed.
    double cutoff() const { return cutoff_; }
    // True when the centreline is still at or above the level where the run ends: the region of the
    // level is cut off there and reaches farther than the field shows.
    bool cutByEndOfRun(double level) const { return endConcentration_ >= level; }
    // The release point in plan (m).
    double sourceX() const { return sourceX_; }
    double sourceY() const { return sourceY_; }

private:
    ConcentrationField field_;
    double startX0_ = 0.0, startY0_ = 0.0, startX1_ = 0.0, startY1_ = 0.0; // m
    double sourceX_ = 0.0, sourceY_ = 0.0;                                 // m
    std::vector<Point> centreline_;                                        // m
    std::vector<double> radii_;                                            // m
    std::vector<double> heights_;                                          // m
    double cutoff_ = 0.0;                                                  // volume fraction
    double endConcentration_ = 0.0; // volume fraction, the centreline's at the last output step
};

} // namespace ostreljet::mapping
