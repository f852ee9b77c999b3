#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/mapping/Contours.hpp"
#include "ostreljet/mapping/PlaneGrid.hpp"

#include <optional>
#include <string>
#include <vector>

namespace ostreljet::mapping {

class PlumeField;

// The region where a concentration field is at or above a level on a horizontal plane, as polygons.
// Pure functions over values already sampled: any number of threads may call them at once. Lengths in m
// (site frame: x east, y north), areas in m².

// A closed ring; the first point is not repeated at the end.
using Ring = std::vector<Point>;

// An outer ring, counter-clockwise, with the holes inside it, clockwise.
struct OSTRELJET_EXPORT Polygon {
    Ring outer;
    std::vector<Ring> holes;
    // Area of the outer ring less the holes, m².
    double area() const;
    // True when (x, y) is inside the outer ring and in no hole.
    bool contains(double x, double y) const;
};

// Signed area of a ring (positive counter-clockwise), m².
OSTRELJET_EXPORT double signedArea(const Ring &ring);
// True when (x, y) is inside the ring (even-odd rule).
OSTRELJET_EXPORT bool ringContains(const Ring &ring, double x, double y);

// The polygons of the region at or above `level` on a sampled plane, traced by marching squares with the
// grid's edge closing any region that reaches it. Phases: surround the grid by a border outside the
// region, so every contour closes; trace the closed rings; nest them (a ring inside an even number of
// others is an outer ring); orient outer rings counter-clockwise and holes clockwise.
OSTRELJET_EXPORT std::vector<Polygon> polygonsAtOrAbove(const PlaneGrid &grid, const PlaneValues &values,
                                                        double level);

// A footprint of one level: its polygons and the grid they were traced on.
struct OSTRELJET_EXPORT Footprint {
    double level = 0.0;            // volume fraction
    double height = 0.0;           // m above ground
    PlaneGrid grid;                // the last grid sampled, whose cell is the resolution
    std::vector<Polygon> polygons; // empty when the field nowhere reaches the level on the plane
    bool cutAtLimit = false;       // the region still reached the edge of the largest search box
    // The region is cut off and reaches farther than the polygons: still exceeded where the far field
    // ends (or, for the jet alone, where the run ends), or beside points where nothing is computed.
    bool cutAtEndOfRun = false;
    bool cutWhereFarFieldEnds = false; // the field carries on past the jet: a cut is where the far field ends
    // Why the footprint was not computed (for the jet alone, a level below the run's stopping concentration,
    // where the field stops); empty when it was.
    std::string notComputed;
    std::int64_t nodesAtOrAbove = 0; // nodes of `grid` at or above the level
    double area() const;             // m²
};

// How a footprint is searched for.
struct OSTRELJET_EXPORT FootprintSearch {
    std::int32_t points = 401;       // nodes along the longer side of the final grid
    std::int32_t searchPoints = 101; // nodes along each side while the extent is searched
    double limit = 100000.0;         // m: the search box grows no farther than this from the source
    unsigned threads = 0;            // 0: one per core
};

// The footprint of `level` at height z of a run's whole plume, wherever the field reaches it; for the jet
// alone, not computed for a level below the run's stopping concentration. Points where nothing is computed
// are outside every region and mark one beside them as cut off. Phases: sample a coarse grid over the box
// that holds the jet and far-field axis points at or above the level; while the region touches an edge,
// push that edge out (doubling the box's size, up to the limit); shrink the box to the nodes at or above
// the level plus one coarse cell; sample it finely with square cells and trace the polygons.
OSTRELJET_EXPORT Footprint findFootprint(const PlumeField &field, double level, double z,
                                         const FootprintSearch &search = {});

} // namespace ostreljet::mapping
