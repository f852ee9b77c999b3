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

// Every example, and two horizontal releases across the wind: the dense release turned to blow at 90
// degrees to it, the choked release at 30 degrees to it (the example's own is at 45).
const Case cases[] = {
    {"vertical_buoyant_vent.json", {}},     {"horizontal_dense_release.json", {}},
    {"choked_high_pressure.json", {}},      {"hot_stack_unstable.json", {}},
    {"horizontal_dense_release.json", 0.0}, {"choked_high_pressure.json", 60.0},
};

std::string nameOf(const Case &c) {
    return std::string(c.example) +
           (c.stackBearing
                ? " released towards " + std::to_string(static_cast<int>(*c.stackBearing)) + " degrees"
                : "");
}

void runCase(JetModel &model, const Case &c) {
    Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + c.example).applyTo(model);
    if (c.stackBearing) {
        model.setStackBearing(*c.stackBearing);
    }
    ASSERT_TRUE(model.runModel()) << c.example;
    ASSERT_EQ(model.referenceWindBearing(), 90.0) << c.example;
}

} // namespace

// Each case's two levels (4 and 1.5 times its stopping concentration): the summary's farthest point and
// half-width agree with the brute force to 1 %.
TEST(LevelRegion, FarthestPointAndHalfWidthAgreeWithABruteForceSearch) {
    for (const Case &c : cases) {
        JetModel model;
        runCase(model, c);
        const std::string name = nameOf(c);
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

// The greatest concentration at ground level agrees with a brute-force search of the ground (a 400 x 400
// grid over the box of every step whose profile reaches the ground, then zoomed in twice around its best
// point) to 0.1 %, and lies where the field has that value; a plume that never reaches the ground has none.
TEST(LevelRegion, GroundMaximumAgreesWithABruteForceSearch) {
    for (const Case &c : cases) {
        JetModel model;
        runCase(model, c);
        const std::string name = nameOf(c);
        const RunSummary summary = RunSummary::of(model, true, std::vector<double>{});
        const RunField field(model, RunStatus::ok);
        const auto at = [&field](double x, double y) {
            const double v = field.concentration(x, y, 0.0);
            return std::isnan(v) ? 0.0 : v;
        };
        double xLow = 1e300, xHigh = -1e300, yLow = 1e300, yHigh = -1e300;
        for (int i = 0; i < model.numberOfOutputSteps(); ++i) {
            const double r = model.profileRadius(i);
            if (model.centrelineLocation(3, i) - r < 0.0) {
                xLow = std::min(xLow, model.centrelineLocation(1, i) - 2.0 * r);
                xHigh = std::max(xHigh, model.centrelineLocation(1, i) + 2.0 * r);
                yLow = std::min(yLow, model.centrelineLocation(2, i) - 2.0 * r);
                yHigh = std::max(yHigh, model.centrelineLocation(2, i) + 2.0 * r);
            }
        }
        if (xLow > xHigh) {
            EXPECT_FALSE(summary.groundMaximum.has_value()) << name;
            std::printf("%-36s no ground-level maximum\n", name.c_str());
            continue;
        }
        double best = 0.0, bestX = 0.0, bestY = 0.0;
        constexpr int points = 400;
        for (int pass = 0; pass < 3; ++pass) {
            const double dx = (xHigh - xLow) / (points - 1), dy = (yHigh - yLow) / (points - 1);
            for (int i = 0; i < points; ++i) {
                for (int j = 0; j < points; ++j) {
                    const double v = at(xLow + i * dx, yLow + j * dy);
                    if (v > best) {
                        best = v, bestX = xLow + i * dx, bestY = yLow + j * dy;
                    }
                }
            }
            xLow = bestX - 4.0 * dx, xHigh = bestX + 4.0 * dx, yLow = bestY - 4.0 * dy,
            yHigh = bestY + 4.0 * dy;
        }
        ASSERT_TRUE(summary.groundMaximum.has_value()) << name;
        const RunSummary::GroundMaximum &ground = *summary.groundMaximum;
        EXPECT_GE(ground.concentration, best * (1.0 - 1e-3)) << name;
        EXPECT_LE(ground.concentration, best * (1.0 + 1e-3)) << name;
        EXPECT_EQ(at(ground.location.x, ground.location.y), ground.concentration) << name;
        std::printf("%-36s ground maximum %.6g at (%.3f, %.3f) m (grid %.6g at (%.3f, %.3f) m)\n",
                    name.c_str(), ground.concentration, ground.location.x, ground.location.y, best, bestX,
                    bestY);
    }
}

// Chlorine released 45 degrees down across a class F wind: the jet comes to the ground within metres and
// then runs on for kilometres, so a grid over the whole footprint is too coarse to see the peak near the
// source. The summary's maximum is at least the best of a fine grid (0.05 m by 0.03 m) over the first
// 60 m, where the plume comes down, and is the field's value where it says.
TEST(LevelRegion, GroundMaximumNearTheSourceOfAJetThatRunsOnForKilometres) {
    const char *const chlorine =
        R"({"gas": "chlorine", "stackHeight": 10, "orificeDiameter": 0.05, "releaseAngle": -45,
        "dischargeCoefficient": 1, "massFlowrate": 2, "atmosphereMolecularWeight": 0.02896,
        "atmospherePressure": 101325, "atmosphereSpecificHeat": 1005, "atmosphereTemperature": 288.15,
        "atmosphereSurfaceRoughness": 0.1, "referenceWindHeight": 10, "referenceWindSpeed": 5,
        "referenceWindBearing": 90, "sourceTemperature": 239, "timeAveraging": "short",
        "stoppingConcentration": 1e-05, "pasquillStability": "F", "stackBearing": 0})";
    JetModel model;
    Scenario::fromText(chlorine).applyTo(model);
    static_cast<void>(model.runModel());
    ASSERT_GT(model.numberOfOutputSteps(), 1000);
    const RunSummary summary = RunSummary::of(model, true, std::vector<double>{});
    const RunField field(model, RunStatus::ok);
    double best = 0.0;
    for (int i = 0; i <= 1200; ++i) {
        for (int j = 0; j <= 800; ++j) {
            const double v = field.concentration(60.0 * i / 1200, -5.0 + 25.0 * j / 800, 0.0);
            best = std::isnan(v) ? best : std::max(best, v);
        }
    }
    ASSERT_TRUE(summary.groundMaximum.has_value());
    EXPECT_GE(summary.groundMaximum->concentration, best * (1.0 - 1e-6));
    EXPECT_EQ(field.concentration(summary.groundMaximum->location.x, summary.groundMaximum->location.y, 0.0),
              summary.groundMaximum->concentration);
}
