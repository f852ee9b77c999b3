#pragma once

#include "ostreljet/Export.hpp"

#include <vector>

namespace ostreljet::mapping {

// Contour lines of a field sampled on a rectilinear grid, in the grid's units (for a plan, metres east
// and north). Pure functions: any number of threads may call them at once.

// A point of a plane in the grid's units.
struct Point {
    double x = 0.0;
    double y = 0.0;
};

// One connected piece of a contour: open where it leaves the grid, closed where it comes back to its
// start (the first point is then not repeated).
struct ContourLine {
    std::vector<Point> points;
    bool closed = false;
};

// Traces the contour `level` of a field sampled on a rectilinear grid by marching squares.
// xs (nx values) and ys (ny values) are the grid lines, ascending; values[i * ny + j] is the field at
// (xs[i], ys[j]). A sample counts as inside when it is at least the level; NaN is outside. Cells with a
// corner marked in `excluded` (same layout as values) are left out, so lines end open at their edge.
OSTRELJET_EXPORT std::vector<ContourLine> traceContours(const std::vector<double> &xs,
                                                        const std::vector<double> &ys,
                                                        const std::vector<double> &values, double level,
                                                        const std::vector<char> *excluded = nullptr);

// Length of a contour line in data units, the closing side included.
OSTRELJET_EXPORT double contourLength(const ContourLine &line);

} // namespace ostreljet::mapping
