#include "ostreljet/mapping/Footprint.hpp"

#include "ostreljet/mapping/PlumeField.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace ostreljet::mapping {

double signedArea(const Ring &ring) {
    double twice = 0.0;
    const std::size_t n = ring.size();
    for (std::size_t k = 0; k < n; ++k) {
        const Point &a = ring[k];
        const Point &b = ring[(k + 1) % n];
        twice += a.x * b.y - b.x * a.y;
    }
    return 0.5 * twice;
}

bool ringContains(const Ring &ring, double x, double y) {
    bool inside = false;
    const std::size_t n = ring.size();
    for (std::size_t k = 0, previous = n - 1; k < n; previous = k++) {
        const Point &a = ring[k];
        const Point &b = ring[previous];
        if ((a.y > y) != (b.y > y) && x < (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x) {
            inside = !inside;
        }
    }
    return inside;
}

double Polygon::area() const {
    double total = std::abs(signedArea(outer));
    for (const Ring &hole : holes) {
        total -= std::abs(signedArea(hole));
    }
    return total;
}

bool Polygon::contains(double x, double y) const {
    if (!ringContains(outer, x, y)) {
        return false;
    }
    return std::none_of(holes.begin(), holes.end(),
                        [&](const Ring &hole) { return ringContains(hole, x, y); });
}

std::vector<Polygon> polygonsAtOrAbove(const PlaneGrid &grid, const PlaneValues &values, double level) {
    std::vector<Polygon> polygons;
    if (grid.nx < 1 || grid.ny < 1 || static_cast<std::int64_t>(values.size()) < grid.size()) {
        return polygons;
    }
    // 1. A border of nodes outside the region, at the coordinates of the edge nodes themselves, so that a
    //    region reaching the edge is closed along it.
    const std::vector<double> xs = grid.xs();
    const std::vector<double> ys = grid.ys();
    std::vector<double> px{xs.front()};
    px.insert(px.end(), xs.begin(), xs.end());
    px.push_back(xs.back());
    std::vector<double> py{ys.front()};
    py.insert(py.end(), ys.begin(), ys.end());
    py.push_back(ys.back());
    const std::size_t nyPadded = py.size();
    std::vector<double> padded(px.size() * nyPadded, -std::numeric_limits<double>::infinity());
    for (std::size_t i = 0; i < xs.size(); ++i) {
        std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(i * ys.size()), ys.size(),
                    padded.begin() + static_cast<std::ptrdiff_t>((i + 1) * nyPadded + 1));
    }
    // 2. Closed rings, without the repeated points of the border's cells of no width.
    std::vector<Ring> rings;
    for (ContourLine &line : traceContours(px, py, padded, level)) {
        Ring ring;
        for (const Point &p : line.points) {
            if (ring.empty() || p.x != ring.back().x || p.y != ring.back().y) {
                ring.push_back(p);
            }
        }
        while (ring.size() > 1 && ring.front().x == ring.back().x && ring.front().y == ring.back().y) {
            ring.pop_back();
        }
        if (ring.size() >= 3 && signedArea(ring) != 0.0) {
            rings.push_back(std::move(ring));
        }
    }
    // 3. Depth of each ring: how many others hold it.
    std::vector<int> depth(rings.size(), 0);
    for (std::size_t a = 0; a < rings.size(); ++a) {
        for (std::size_t b = 0; b < rings.size(); ++b) {
            if (a != b && ringContains(rings[b], rings[a].front().x, rings[a].front().y)) {
                ++depth[a];
            }
        }
    }
    // 4. Outer rings counter-clockwise; each hole, clockwise, goes to the outer ring one level up that
    //    holds it.
    std::vector<std::size_t> polygonOf(rings.size()); // for outer rings: their polygon
    for (std::size_t a = 0; a < rings.size(); ++a) {
        if (depth[a] % 2 == 0) {
            if (signedArea(rings[a]) < 0.0) {
                std::reverse(rings[a].begin(), rings[a].end());
            }
            polygonOf[a] = polygons.size();
            polygons.push_back(Polygon{rings[a], {}});
        }
    }
    for (std::size_t a = 0; a < rings.size(); ++a) {
        if (depth[a] % 2 == 1) {
            if (signedArea(rings[a]) > 0.0) {
                std::reverse(rings[a].begin(), rings[a].end());
            }
            for (std::size_t b = 0; b < rings.size(); ++b) {
                if (depth[b] == depth[a] - 1 &&
                    ringContains(rings[b], rings[a].front().x, rings[a].front().y)) {
                    polygons[polygonOf[b]].holes.push_back(rings[a]);
                    break;
                }
            }
        }
    }
    return polygons;
}

double Footprint::area() const {
    double total = 0.0;
    for (const Polygon &polygon : polygons) {
        total += polygon.area();
    }
    return total;
}

namespace {

struct Box {
    double x0, y0, x1, y1; // m
};

// The nodes at or above the level: their count and the index range they span, and whether one of them
// neighbours a node where nothing is computed (NaN), so that the region is cut off there.
struct Reach {
    std::int64_t count = 0;
    std::int32_t iLow = 0, iHigh = -1, jLow = 0, jHigh = -1;
    bool besideNotComputed = false;
};

Reach reachOf(const PlaneGrid &grid, const PlaneValues &values, double level) {
    Reach reach;
    reach.iLow = grid.nx;
    reach.jLow = grid.ny;
    const auto at = [&](std::int32_t i, std::int32_t j) {
        return values[static_cast<std::size_t>(i) * static_cast<std::size_t>(grid.ny) +
                      static_cast<std::size_t>(j)];
    };
    const auto notComputed = [&](std::int32_t i, std::int32_t j) {
        return i >= 0 && j >= 0 && i < grid.nx && j < grid.ny && std::isnan(at(i, j));
    };
    for (std::int32_t i = 0; i < grid.nx; ++i) {
        for (std::int32_t j = 0; j < grid.ny; ++j) {
            if (at(i, j) >= level) {
                ++reach.count;
                reach.besideNotComputed = reach.besideNotComputed || notComputed(i - 1, j) ||
                                          notComputed(i + 1, j) || notComputed(i, j - 1) ||
                                          notComputed(i, j + 1);
                reach.iLow = std::min(reach.iLow, i);
                reach.iHigh = std::max(reach.iHigh, i);
                reach.jLow = std::min(reach.jLow, j);
                reach.jHigh = std::max(reach.jHigh, j);
            }
        }
    }
    return reach;
}

PlaneGrid gridOver(const Box &box, std::int32_t nx, std::int32_t ny, double z) {
    return PlaneGrid{box.x0, box.y0, box.x1, box.y1, nx, ny, z};
}

} // namespace

Footprint findFootprint(const PlumeField &field, double level, double z, const FootprintSearch &search) {
    Footprint footprint;
    footprint.level = level;
    footprint.height = z;
    if (level < field.cutoff()) {
        char text[160];
        std::snprintf(
            text, sizeof text,
            "the level is below the run's stopping concentration (%.4g volume fraction), where the run ends "
            "and the field stops",
            field.cutoff());
        footprint.notComputed = text;
        return footprint;
    }
    footprint.cutAtEndOfRun = field.cutByEndOfRun(level);
    footprint.cutWhereFarFieldEnds = field.hasFarField();
    const double sx = field.sourceX();
    const double sy = field.sourceY();
    const Box limit{sx - search.limit, sy - search.limit, sx + search.limit, sy + search.limit};
    // Phase 1: where to start. Jet steps and far-field axis points whose plan point is at or above the level
    // at this height give a box that holds a small region; otherwise the box that holds the jet.
    Box box{field.startX0(), field.startY0(), field.startX1(), field.startY1()};
    bool seeded = false;
    Box seeds{0.0, 0.0, 0.0, 0.0};
    for (std::size_t k = 0; k < field.centreline().size(); ++k) {
        const Point &p = field.centreline()[k];
        if (field.concentration(p.x, p.y, z) >= level) {
            const double r = field.radii()[k];
            const Box around{p.x - r, p.y - r, p.x + r, p.y + r};
            seeds = seeded ? Box{std::min(seeds.x0, around.x0), std::min(seeds.y0, around.y0),
                                 std::max(seeds.x1, around.x1), std::max(seeds.y1, around.y1)}
                           : around;
            seeded = true;
        }
    }
    if (seeded) {
        box = seeds;
    }
    // Phase 2: grow the box while the region touches its edges; when nothing is found, grow it all round.
    const std::int32_t n = std::max(search.searchPoints, 3);
    Reach reach;
    PlaneGrid grid;
    for (int attempt = 0; attempt < 64; ++attempt) {
        grid = gridOver(box, n, n, z);
        const PlaneValues values = field.sample(grid, search.threads);
        reach = reachOf(grid, values, level);
        const double w = box.x1 - box.x0;
        const double h = box.y1 - box.y0;
        Box grown = box;
        if (reach.count == 0) {
            grown = Box{box.x0 - w / 2, box.y0 - h / 2, box.x1 + w / 2, box.y1 + h / 2};
        } else {
            if (reach.iLow == 0) {
                grown.x0 -= w;
            }
            if (reach.iHigh == n - 1) {
                grown.x1 += w;
            }
            if (reach.jLow == 0) {
                grown.y0 -= h;
            }
            if (reach.jHigh == n - 1) {
                grown.y1 += h;
            }
        }
        grown = Box{std::max(grown.x0, limit.x0), std::max(grown.y0, limit.y0), std::min(grown.x1, limit.x1),
                    std::min(grown.y1, limit.y1)};
        if (reach.count > 0 && reach.iLow > 0 && reach.jLow > 0 && reach.iHigh < n - 1 &&
            reach.jHigh < n - 1) {
            break;
        }
        if (grown.x0 == box.x0 && grown.y0 == box.y0 && grown.x1 == box.x1 && grown.y1 == box.y1) {
            footprint.cutAtLimit = reach.count > 0;
            break;
        }
        box = grown;
    }
    if (reach.count == 0) {
        footprint.grid = grid;
        return footprint;
    }
    footprint.cutAtEndOfRun = footprint.cutAtEndOfRun || reach.besideNotComputed;
    // Phase 3: the box of the nodes found, one coarse cell wider on every side (the edge lies within it).
    const std::vector<double> xs = grid.xs();
    const std::vector<double> ys = grid.ys();
    const Box tight{xs[static_cast<std::size_t>(std::max(reach.iLow - 1, 0))],
                    ys[static_cast<std::size_t>(std::max(reach.jLow - 1, 0))],
                    xs[static_cast<std::size_t>(std::min(reach.iHigh + 1, n - 1))],
                    ys[static_cast<std::size_t>(std::min(reach.jHigh + 1, n - 1))]};
    // Phase 4: square cells, the longer side with `points` nodes, centred on the tight box.
    const std::int32_t points = std::max(search.points, 3);
    const double cell = std::max(tight.x1 - tight.x0, tight.y1 - tight.y0) / (points - 1);
    const auto nodes = [&](double length) {
        return static_cast<std::int32_t>(std::min<double>(points, std::ceil(length / cell - 1e-9) + 1.0));
    };
    const std::int32_t nx = nodes(tight.x1 - tight.x0);
    const std::int32_t ny = nodes(tight.y1 - tight.y0);
    const double cx = 0.5 * (tight.x0 + tight.x1);
    const double cy = 0.5 * (tight.y0 + tight.y1);
    footprint.grid = PlaneGrid{cx - 0.5 * cell * (nx - 1),
                               cy - 0.5 * cell * (ny - 1),
                               cx + 0.5 * cell * (nx - 1),
                               cy + 0.5 * cell * (ny - 1),
                               nx,
                               ny,
                               z};
    // Phase 5: trace the region; a node where nothing is computed is outside it, so the outline stops at
    // the last computed node.
    PlaneValues values = field.sample(footprint.grid, search.threads);
    const Reach fine = reachOf(footprint.grid, values, level);
    footprint.nodesAtOrAbove = fine.count;
    footprint.cutAtEndOfRun = footprint.cutAtEndOfRun || fine.besideNotComputed;
    std::replace_if(
        values.begin(), values.end(), [](double v) { return std::isnan(v); },
        -std::numeric_limits<double>::infinity());
    footprint.polygons = polygonsAtOrAbove(footprint.grid, values, level);
    return footprint;
}

} // namespace ostreljet::mapping
