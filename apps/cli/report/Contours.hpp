#pragma once

#include "report/Point.hpp"

#include <vector>

namespace ostreljet::report {

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
std::vector<ContourLine> traceContours(const std::vector<double> &xs, const std::vector<double> &ys,
                                       const std::vector<double> &values, double level,
                                       const std::vector<char> *excluded = nullptr);

// Length of a contour line in data units, the closing side included.
double contourLength(const ContourLine &line);

} // namespace ostreljet::report
