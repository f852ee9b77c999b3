#include "ostreljet/mapping/Contours.hpp"

#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <utility>

namespace ostreljet::mapping {

namespace {

struct Segment {
    std::int64_t from; // edge where the segment starts
    std::int64_t to;   // edge where it ends
};

} // namespace

std::vector<ContourLine> traceContours(const std::vector<double> &xs, const std::vector<double> &ys,
                                       const std::vector<double> &values, double level,
                                       const std::vector<char> *excluded) {
    // Marching squares with the pieces joined into lines.
    // 1. Classify the four corners of every cell, inside when at least the level.
    // 2. Put a crossing on every cell side whose ends differ, by linear interpolation, and join the
    //    crossings of a cell in pairs; the two saddle cases are decided by the mean of the corners.
    // 3. Chain the pieces through their shared crossings into open and closed lines.
    std::vector<ContourLine> lines;
    const std::int64_t nx = static_cast<std::int64_t>(xs.size());
    const std::int64_t ny = static_cast<std::int64_t>(ys.size());
    if (nx < 2 || ny < 2 || static_cast<std::int64_t>(values.size()) < nx * ny ||
        (excluded != nullptr && static_cast<std::int64_t>(excluded->size()) < nx * ny)) {
        return lines;
    }
    const auto value = [&](std::int64_t i, std::int64_t j) { return values[i * ny + j]; };
    const auto inside = [&](double v) { return v >= level; };
    const auto left = [&](std::int64_t i, std::int64_t j) {
        return excluded != nullptr && ((*excluded)[i * ny + j] || (*excluded)[(i + 1) * ny + j] ||
                                       (*excluded)[(i + 1) * ny + j + 1] || (*excluded)[i * ny + j + 1]);
    };

    // Crossings are keyed by their grid side: 2 (i ny + j) for the side from (i, j) to (i + 1, j),
    // one more for the side from (i, j) to (i, j + 1).
    std::unordered_map<std::int64_t, Point> crossings;
    const auto crossing = [&](std::int64_t i0, std::int64_t j0, std::int64_t i1, std::int64_t j1) {
        const std::int64_t key = 2 * (i0 * ny + j0) + (i1 == i0 ? 1 : 0);
        if (crossings.find(key) == crossings.end()) {
            const double v0 = value(i0, j0);
            const double v1 = value(i1, j1);
            double t = (level - v0) / (v1 - v0);
            if (!(t >= 0.0 && t <= 1.0)) {
                t = 0.5;
            }
            crossings[key] = Point{xs[i0] + t * (xs[i1] - xs[i0]), ys[j0] + t * (ys[j1] - ys[j0])};
        }
        return key;
    };

    std::vector<Segment> segments;
    for (std::int64_t i = 0; i + 1 < nx; ++i) {
        for (std::int64_t j = 0; j + 1 < ny; ++j) {
            // Corners counter-clockwise from (i, j); side k runs from corner k to corner k + 1.
            const double v[4] = {value(i, j), value(i + 1, j), value(i + 1, j + 1), value(i, j + 1)};
            const int cell = (inside(v[0]) ? 1 : 0) | (inside(v[1]) ? 2 : 0) | (inside(v[2]) ? 4 : 0) |
                             (inside(v[3]) ? 8 : 0);
            if (cell == 0 || cell == 15 || left(i, j)) {
                continue;
            }
            const auto side = [&](int k) {
                switch (k) {
                case 0:
                    return crossing(i, j, i + 1, j);
                case 1:
                    return crossing(i + 1, j, i + 1, j + 1);
                case 2:
                    return crossing(i, j + 1, i + 1, j + 1);
                default:
                    return crossing(i, j, i, j + 1);
                }
            };
            if (cell == 5 || cell == 10) {
                // Two opposite corners inside: either they join through the centre or each is cut off.
                const bool centreInside = inside(0.25 * (v[0] + v[1] + v[2] + v[3]));
                const bool cutCorners13 = (cell == 5) == centreInside;
                if (cutCorners13) {
                    segments.push_back({side(0), side(1)});
                    segments.push_back({side(2), side(3)});
                } else {
                    segments.push_back({side(3), side(0)});
                    segments.push_back({side(1), side(2)});
                }
                continue;
            }
            std::int64_t ends[2];
            int found = 0;
            for (int k = 0; k < 4; ++k) {
                if (inside(v[k]) != inside(v[(k + 1) % 4])) {
                    ends[found++] = side(k);
                }
            }
            segments.push_back({ends[0], ends[1]});
        }
    }

    // Every crossing belongs to at most two cells, so to at most two pieces.
    std::unordered_map<std::int64_t, std::pair<std::int64_t, std::int64_t>> pieces;
    for (std::int64_t s = 0; s < static_cast<std::int64_t>(segments.size()); ++s) {
        for (const std::int64_t key : {segments[s].from, segments[s].to}) {
            auto [entry, added] = pieces.try_emplace(key, s, -1);
            if (!added) {
                entry->second.second = s;
            }
        }
    }
    std::vector<bool> used(segments.size(), false);
    const auto nextPiece = [&](std::int64_t key, std::int64_t current) {
        const auto &pair = pieces.at(key);
        const std::int64_t other = pair.first == current ? pair.second : pair.first;
        return other >= 0 && !used[other] ? other : -1;
    };
    const auto otherEnd = [&](std::int64_t s, std::int64_t key) {
        return segments[s].from == key ? segments[s].to : segments[s].from;
    };
    for (std::int64_t start = 0; start < static_cast<std::int64_t>(segments.size()); ++start) {
        if (used[start]) {
            continue;
        }
        used[start] = true;
        std::vector<std::int64_t> forward{segments[start].from, segments[start].to};
        for (std::int64_t s = nextPiece(forward.back(), start); s >= 0; s = nextPiece(forward.back(), s)) {
            used[s] = true;
            forward.push_back(otherEnd(s, forward.back()));
        }
        ContourLine line;
        if (forward.size() > 2 && forward.back() == forward.front()) {
            forward.pop_back();
            line.closed = true;
        } else {
            // Open: extend backwards from the start as well.
            std::vector<std::int64_t> backward;
            std::int64_t key = segments[start].from;
            for (std::int64_t s = nextPiece(key, start); s >= 0; s = nextPiece(key, s)) {
                used[s] = true;
                key = otherEnd(s, key);
                backward.push_back(key);
            }
            forward.insert(forward.begin(), backward.rbegin(), backward.rend());
        }
        for (const std::int64_t key : forward) {
            line.points.push_back(crossings.at(key));
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

double contourLength(const ContourLine &line) {
    double length = 0.0;
    const std::size_t n = line.points.size();
    for (std::size_t k = 1; k < n; ++k) {
        length +=
            std::hypot(line.points[k].x - line.points[k - 1].x, line.points[k].y - line.points[k - 1].y);
    }
    if (line.closed && n > 2) {
        length +=
            std::hypot(line.points[0].x - line.points[n - 1].x, line.points[0].y - line.points[n - 1].y);
    }
    return length;
}

} // namespace ostreljet::mapping
