#include "ostreljet/mapping/Footprint.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/mapping/PlumeField.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace ostreljet::mapping {
namespace {

constexpr double kPi = 3.14159265358979;

PlaneValues sampled(const PlaneGrid &grid, const std::function<double(double, double)> &f) {
    PlaneValues values;
    for (const double x : grid.xs()) {
        for (const double y : grid.ys()) {
            values.push_back(f(x, y));
        }
    }
    return values;
}

TEST(PolygonsAtOrAbove, DiscAnnulusAndHalfPlaneAgainstTheirExactAreas) {
    const PlaneGrid grid{-5.0, -5.0, 5.0, 5.0, 201, 201, 0.0}; // 0.05 m cells
    // A disc of radius 3 m: one counter-clockwise ring, area 9 pi to within the cell.
    const auto disc = polygonsAtOrAbove(
        grid, sampled(grid, [](double x, double y) { return 5.0 - std::hypot(x, y); }), 2.0);
    ASSERT_EQ(disc.size(), 1u);
    EXPECT_TRUE(disc[0].holes.empty());
    EXPECT_GT(signedArea(disc[0].outer), 0.0);
    EXPECT_NEAR(disc[0].area(), 9.0 * kPi, 2.0 * kPi * 3.0 * 0.05 * 0.05);
    EXPECT_TRUE(disc[0].contains(0.0, 0.0));
    EXPECT_TRUE(disc[0].contains(2.9, 0.0));
    EXPECT_FALSE(disc[0].contains(3.1, 0.0));
    // An annulus from 2 to 4 m: one polygon with one clockwise hole; the centre is outside it.
    const auto ring = polygonsAtOrAbove(
        grid, sampled(grid, [](double x, double y) { return 1.0 - std::abs(std::hypot(x, y) - 3.0); }), 0.0);
    ASSERT_EQ(ring.size(), 1u);
    ASSERT_EQ(ring[0].holes.size(), 1u);
    EXPECT_LT(signedArea(ring[0].holes[0]), 0.0);
    EXPECT_NEAR(ring[0].area(), kPi * (16.0 - 4.0), 0.05);
    EXPECT_FALSE(ring[0].contains(0.0, 0.0));
    EXPECT_TRUE(ring[0].contains(0.0, 3.0));
    // x >= 1 reaches three edges of the grid, which close it: the rectangle from x = 1 to 5.
    const auto half = polygonsAtOrAbove(grid, sampled(grid, [](double x, double) { return x; }), 1.0);
    ASSERT_EQ(half.size(), 1u);
    EXPECT_NEAR(half[0].area(), 4.0 * 10.0, 1e-9);
    // Two separate discs are two polygons; a level above the field gives none.
    const auto two =
        polygonsAtOrAbove(grid,
                          sampled(grid,
                                  [](double x, double y) {
                                      return 1.0 - std::min(std::hypot(x - 2.5, y), std::hypot(x + 2.5, y));
                                  }),
                          0.0);
    EXPECT_EQ(two.size(), 2u);
    EXPECT_TRUE(polygonsAtOrAbove(grid, sampled(grid, [](double, double) { return 1.0; }), 2.0).empty());
}

// The carbon dioxide release of the examples, run.
struct Co2Run {
    Scenario scenario =
        Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/horizontal_dense_release.json");
    JetModel model;
    Co2Run() {
        scenario.applyTo(model);
        EXPECT_TRUE(model.runModel());
    }
    // The far field's options, or none: the jet alone.
    FarFieldOptions farField(bool enabled = true) const {
        FarFieldOptions options = scenario.farFieldOptions();
        options.enabled = enabled;
        return options;
    }
};

TEST(FindFootprint, HoldsTheNodesAboveTheLevelAndNoneBelowAndItsAreaIsTheirCount) {
    Co2Run run;
    const PlumeField field(run.model, run.farField());
    const double level = 0.01;
    const Footprint footprint = findFootprint(field, level, 0.0);
    ASSERT_FALSE(footprint.polygons.empty());
    EXPECT_FALSE(footprint.cutAtLimit);
    // Every node of the final grid is on the right side of the boundary.
    const PlaneGrid &grid = footprint.grid;
    const PlaneValues values = field.sample(grid, 1);
    const std::vector<double> xs = grid.xs();
    const std::vector<double> ys = grid.ys();
    std::int64_t above = 0;
    std::int64_t wrong = 0;
    for (std::size_t i = 0; i < xs.size(); i += 3) {
        for (std::size_t j = 0; j < ys.size(); j += 3) {
            const double v = values[i * ys.size() + j];
            bool inside = false;
            for (const Polygon &polygon : footprint.polygons) {
                inside = inside || polygon.contains(xs[i], ys[j]);
            }
            above += v > level ? 1 : 0;
            wrong += (v > level && !inside) || (v < level && inside) ? 1 : 0;
        }
    }
    EXPECT_GT(above, 100);
    EXPECT_EQ(wrong, 0);
    // No node of the grid's edge is above the level: the search found the whole region.
    for (std::size_t i = 0; i < xs.size(); ++i) {
        EXPECT_LT(values[i * ys.size()], level);
        EXPECT_LT(values[i * ys.size() + ys.size() - 1], level);
    }
    // The area is the count of cells above the level to within the cells along the boundary.
    const double cell = grid.dx() * grid.dy();
    double perimeter = 0.0;
    for (const Polygon &polygon : footprint.polygons) {
        for (std::size_t k = 0; k < polygon.outer.size(); ++k) {
            const Point &a = polygon.outer[k];
            const Point &b = polygon.outer[(k + 1) % polygon.outer.size()];
            perimeter += std::hypot(b.x - a.x, b.y - a.y);
        }
    }
    EXPECT_NEAR(footprint.area(), static_cast<double>(footprint.nodesAtOrAbove) * cell,
                perimeter * grid.dx());
    // The region lies downwind (east) of the release, where the jet touches the ground.
    for (const Polygon &polygon : footprint.polygons) {
        for (const Point &p : polygon.outer) {
            EXPECT_GT(p.x, 0.0);
        }
    }
}

TEST(FindFootprint, ALevelTheFieldNeverReachesOnThePlaneGivesNoPolygonAndAFinerGridMoreNodes) {
    Co2Run run;
    const PlumeField field(run.model, run.farField(false));
    // The jet alone: 5 % is found near the orifice 2 m up, but not on the ground.
    EXPECT_FALSE(findFootprint(field, 0.05, 2.0).polygons.empty());
    EXPECT_TRUE(findFootprint(field, 0.05, 0.0).polygons.empty());
    EXPECT_TRUE(findFootprint(field, 0.01, 50.0).polygons.empty());
    // Below the stopping concentration (0.005) there is no field: not computed, not "not reached". At it,
    // the run ends with the centreline still above, so the region is cut off by the end of the run.
    const Footprint below = findFootprint(field, 0.004, 0.0);
    EXPECT_EQ(below.notComputed,
              "the level is below the run's stopping concentration (0.005 volume fraction), "
              "where the run ends and the field stops");
    EXPECT_TRUE(below.polygons.empty());
    const Footprint atStop = findFootprint(field, 0.005, 0.0);
    EXPECT_TRUE(atStop.cutAtEndOfRun);
    EXPECT_FALSE(atStop.polygons.empty());
    EXPECT_FALSE(findFootprint(field, 0.01, 0.0).cutAtEndOfRun);
    FootprintSearch coarse;
    coarse.points = 101;
    const Footprint a = findFootprint(field, 0.01, 0.0, coarse);
    const Footprint b = findFootprint(field, 0.01, 0.0);
    EXPECT_GT(b.nodesAtOrAbove, a.nodesAtOrAbove);
    EXPECT_NEAR(a.area(), b.area(), 0.05 * b.area());
}

TEST(PlumeField, ThreadsGiveTheSerialValues) {
    Co2Run run;
    const PlumeField field(run.model, run.farField());
    const PlaneGrid grid{-5.0, -10.0, 400.0, 10.0, 91, 41, 0.5};
    EXPECT_EQ(field.sample(grid, 1), field.sample(grid, 4));
    const PlaneValues values = field.sample(grid, 2);
    EXPECT_EQ(values[45 * 41 + 20], field.concentration(grid.xs()[45], grid.ys()[20], 0.5));
}

} // namespace
} // namespace ostreljet::mapping
