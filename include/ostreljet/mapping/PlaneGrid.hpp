#pragma once

#include "ostreljet/Export.hpp"

#include <cstdint>
#include <functional>
#include <vector>

namespace ostreljet::mapping {

// A regular grid of points on a horizontal plane: nx by ny nodes from (x0, y0) to (x1, y1) inclusive at
// height z (m, site frame: x east, y north, z up). A plain value: copy it freely between threads.
struct OSTRELJET_EXPORT PlaneGrid {
    double x0 = 0.0; // m, east
    double y0 = 0.0; // m, north
    double x1 = 0.0; // m, east
    double y1 = 0.0; // m, north
    std::int32_t nx = 0;
    std::int32_t ny = 0;
    double z = 0.0; // m, above ground

    // The node coordinates on each axis, ascending; the ends are x0 and x1 (y0 and y1) exactly.
    std::vector<double> xs() const;
    std::vector<double> ys() const;
    // Spacing of the nodes, m.
    double dx() const;
    double dy() const;
    std::int64_t size() const { return static_cast<std::int64_t>(nx) * ny; }
};

// Values on a plane grid, values[i * ny + j] at (xs[i], ys[j]).
using PlaneValues = std::vector<double>;

// Called now and then on the calling thread with the rows of x done and their total.
using PlaneProgress = std::function<void(std::int64_t done, std::int64_t total)>;

} // namespace ostreljet::mapping
