// The region at or above a level, as the summary reports it, against a brute-force search of the field on
// fine grids: for every example and for horizontal releases across the wind.

#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunField.hpp"
#include "ostreljet/jet/RunSummary.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

using ostreljet::JetModel;
using ostreljet::RunField;
using ostreljet::RunStatus;
using ostreljet::RunSummary;
using ostreljet::Scenario;

namespace {

using Box = std::array<double, 6>; // xLow, yLow, zLow, xHigh, yHigh, zHigh, m

// The greatest value of key(x, y) over the grid points of `box` where the field is at or above `level`,
// zoomed in on: each pass grids the box with `points` per axis, then shrinks it to two grid spacings
// either side of the best point along `axis` (0: x, 1: y) and to the other axes' span of the points above
// the level near it. Beyond the run's end plane the field is not computed: below every level. Absent when
// no grid point is above the level.
std::optional<double> zoomedMaximum(const RunField &field, Box box, double level, int axis, double sign,
                                    int passes, int points) {
    std::optional<double> best;
    std::vector<double> values(static_cast<std::size_t>(points) * points * points);
    for (int pass = 0; pass < passes; ++pass) {
        // The x axis of the grid reaches its end, the other two stop one step short.
        field.grid(values.data(), box[0], box[1], box[2], box[3], box[4], box[5], points, points, points, 2);
        const double step[3] = {(box[3] - box[0]) / (points - 1), (box[4] - box[1]) / points,
                                (box[5] - box[2]) / points};
        const auto at = [&](int a, int i) { return box[a] + i * step[a]; };
        double top = -std::numeric_limits<double>::infinity();
        for (int i = 0; i < points; ++i) {
            for (int j = 0; j < points; ++j) {
                for (int k = 0; k < points; ++k) {
                    const double v = values[(static_cast<std::size_t>(i) * points + j) * points + k];
                    if (v >= level) {
                        top = std::max(top, sign * (axis == 0 ? at(0, i) : at(1, j)));
                    }
                }
            }
        }
        if (!(top > -std::numeric_limits<double>::infinity())) {
            return best;
        }
        best = std::max(best.value_or(top), top);
        // The next box: around the best, over the points above the level within two spacings of it.
        Box next{1e300, 1e300, 1e300, -1e300, -1e300, -1e300};
        for (int i = 0; i < points; ++i) {
            for (int j = 0; j < points; ++j) {
                for (int k = 0; k < points; ++k) {
                    const double key = sign * (axis == 0 ? at(0, i) : at(1, j));
                    if (values[(static_cast<std::size_t>(i) * points + j) * points + k] >= level &&
                        key >= top - 2.0 * step[axis]) {
                        const double p[3] = {at(0, i), at(1, j), at(2, k)};
                        for (int a = 0; a < 3; ++a) {
                            next[a] = std::min(next[a], p[a] - 2.0 * step[a]);
                            next[a + 3] = std::max(next[a + 3], p[a] + 2.0 * step[a]);
                        }
                    }
                }
            }
        }
        box = next;
    }
    return best;
}

struct BruteForce {
    std::optional<double> farthest;  // m downwind (x)
    std::optional<double> halfWidth; // m across (|y|)
};

// The brute-force answers in a field whose wind blows towards +x from a stack at the origin: the box of
// every segment that holds the level (its ends widened by the largest profile radius, which bounds the
// profile's reach), gridded and zoomed in on for the largest x and the largest |y| on either side.
BruteForce bruteForce(const JetModel &model, const RunField &field, double level) {
    const int n = model.numberOfOutputSteps();
    Box box{1e300, 1e300, 1e300, -1e300, -1e300, -1e300};
    const double r = model.maxProfileRadius();
    for (int i = 0; i + 1 < n; ++i) {
        if (model.centrelineConcentration(i) < level && model.centrelineConcentration(i + 1) < level) {
            continue;
        }
        for (const int j : {i, i + 1}) {
            for (int a = 0; a < 3; ++a) {
                box[a] = std::min(box[a], model.centrelineLocation(a + 1, j) - r);
                box[a + 3] = std::max(box[a + 3], model.centrelineLocation(a + 1, j) + r);
            }
        }
    }
    BruteForce answer;
    constexpr int passes = 4;
    constexpr int points = 48;
    answer.farthest = zoomedMaximum(field, box, level, 0, 1.0, passes, points);
    for (const double side : {1.0, -1.0}) {
        const std::optional<double> width = zoomedMaximum(field, box, level, 1, side, passes, points);
        if (width) {
            answer.halfWidth = std::max(answer.halfWidth.value_or(*width), *width);
        }
    }
    return answer;
}

struct Case {
    const char *example;
    std::optional<double> stackBearing; // degrees; absent: the example's own
};

} // namespace

// Each example's two levels (4 and 1.5 times its stopping concentration), and two horizontal releases
// across the wind: the dense release turned to blow at 90 degrees to it, the choked release at 30
// degrees from straight across. The summary's farthest point and half-width agree with the brute force
// to 1 %.
TEST(LevelRegion, FarthestPointAndHalfWidthAgreeWithABruteForceSearch) {
    const Case cases[] = {
        {"vertical_buoyant_vent.json", {}},     {"horizontal_dense_release.json", {}},
        {"choked_high_pressure.json", {}},      {"hot_stack_unstable.json", {}},
        {"horizontal_dense_release.json", 0.0}, {"choked_high_pressure.json", 60.0},
    };
    for (const Case &c : cases) {
        JetModel model;
        Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + c.example).applyTo(model);
        if (c.stackBearing) {
            model.setStackBearing(*c.stackBearing);
        }
        ASSERT_TRUE(model.runModel()) << c.example;
        ASSERT_EQ(model.referenceWindBearing(), 90.0) << c.example;
        const std::string name =
            std::string(c.example) + (c.stackBearing ? " at " + std::to_string(*c.stackBearing) : "");
        const double stopping = model.stoppingConcentration();
        const std::vector<double> levels{4.0 * stopping, 1.5 * stopping};
        const RunSummary summary = RunSummary::of(model, true, levels);
        const RunField field(model, RunStatus::ok);
        double worst = 0.0;
        for (std::size_t k = 0; k < levels.size(); ++k) {
            const RunSummary::LevelAnswer &answer = summary.levels[k];
            const BruteForce brute = bruteForce(model, field, levels[k]);
            ASSERT_TRUE(brute.farthest && brute.halfWidth) << name << " " << levels[k];
            ASSERT_TRUE(answer.farthestDownwindExtent && answer.greatestHalfWidth)
                << name << " " << levels[k];
            // Both are points found above the level; the brute force may miss a thin tip, the summary may
            // not miss more than 1 %.
            EXPECT_NEAR(*answer.farthestDownwindExtent, *brute.farthest, 0.01 * std::fabs(*brute.farthest))
                << name << " " << levels[k];
            EXPECT_NEAR(*answer.greatestHalfWidth, *brute.halfWidth, 0.01 * *brute.halfWidth)
                << name << " " << levels[k];
            worst = std::max({worst, std::fabs(*answer.farthestDownwindExtent / *brute.farthest - 1.0),
                              std::fabs(*answer.greatestHalfWidth / *brute.halfWidth - 1.0)});
            std::printf("%-36s level %.4g: farthest %.4f m (grid %.4f), half-width %.4f m (grid %.4f)\n",
                        name.c_str(), levels[k], *answer.farthestDownwindExtent, *brute.farthest,
                        *answer.greatestHalfWidth, *brute.halfWidth);
        }
        std::printf("%-36s largest deviation from the grid %.3f %%\n", name.c_str(), 100.0 * worst);
    }
}
