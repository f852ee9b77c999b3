#include "ostreljet/mapping/PlumeField.hpp"
#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/mapping/Footprint.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace ostreljet::mapping {
namespace {

// An example scenario run as every front runs it, with its whole-plume summary for `levels`.
struct WholeRun {
    Scenario scenario;
    JetModel model;
    WholePlumeSummary::Result result;
    WholeRun(const std::string &file, const std::vector<double> &levels, double stopping = 0.0)
        : scenario(Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + file)) {
        scenario.applyTo(model);
        if (stopping > 0.0) {
            model.setStoppingConcentration(stopping);
        }
        result = WholePlumeSummary::run(model, levels, scenario.farFieldOptions());
    }
    const FarField &far() const { return result.field->farField(); }
};

// The farthest point downwind of the stack of a footprint's outlines, m.
double farthestDownwind(const Footprint &footprint, const FarField &far) {
    double farthest = -1e300;
    for (const Polygon &polygon : footprint.polygons) {
        for (const Point &p : polygon.outer) {
            farthest = std::max(farthest, far.downwindDistanceOf(p.x, p.y));
        }
    }
    return farthest;
}

// The greatest distance across the wind from the downwind line through the stack of a footprint's
// outlines, m.
double widestCrosswind(const Footprint &footprint, const FarField &far) {
    const auto [ax, ay] = far.axisPointAt(0.0);
    const auto [bx, by] = far.axisPointAt(1.0);
    const double ux = bx - ax, uy = by - ay; // unit vector along the wind
    const auto [sx, sy] = std::pair{ax + uy * far.axisOffset(), ay - ux * far.axisOffset()}; // the stack
    double widest = 0.0;
    for (const Polygon &polygon : footprint.polygons) {
        for (const Point &p : polygon.outer) {
            widest = std::max(widest, std::abs(-(p.x - sx) * uy + (p.y - sy) * ux));
        }
    }
    return widest;
}

// The footprint on the ground reaches as far downwind as the summary says the level's region does (within
// a grid cell or 2 %), for levels answered by the jet and by the far field, below the stopping
// concentration too; a region of the far field on the ground, as wide.
void expectFootprintsReachTheSummarysExtent(const WholeRun &run, bool groundWidths) {
    ASSERT_TRUE(run.far().computed());
    const PlumeField field(run.model, run.scenario.farFieldOptions());
    EXPECT_EQ(field.cutoff(), 0.0);
    for (const RunSummary::LevelAnswer &answer : run.result.summary.levels) {
        SCOPED_TRACE("level " + std::to_string(answer.level));
        ASSERT_TRUE(answer.farthestDownwindExtent.has_value());
        const Footprint footprint = findFootprint(field, answer.level, 0.0);
        ASSERT_FALSE(footprint.polygons.empty());
        EXPECT_FALSE(footprint.cutAtLimit);
        EXPECT_EQ(footprint.cutAtEndOfRun, answer.regionOpen);
        const double reach = farthestDownwind(footprint, run.far());
        EXPECT_NEAR(reach, *answer.farthestDownwindExtent,
                    std::max(footprint.grid.dx(), 0.02 * *answer.farthestDownwindExtent));
        if (groundWidths && answer.regionInFarField) {
            ASSERT_TRUE(answer.greatestHalfWidth.has_value());
            EXPECT_NEAR(widestCrosswind(footprint, run.far()), *answer.greatestHalfWidth,
                        std::max(footprint.grid.dx(), 0.02 * *answer.greatestHalfWidth));
        }
    }
}

TEST(PlumeField, GroundFootprintsOfTheDenseReleaseReachTheWholePlumesExtentPastTheStoppingConcentration) {
    // 1 % is passed within the jet; 0.5 % (the stopping concentration) and 0.2 %, 0.1 % below it only in
    // the far field.
    const WholeRun run("horizontal_dense_release.json", {0.01, 0.005, 0.002, 0.001});
    // The plume lies on the ground from touchdown on, so a region of the far field is widest on the ground
    // too (1 %, within the jet, is widest 2 m up).
    expectFootprintsReachTheSummarysExtent(run, true);
    EXPECT_TRUE(run.result.summary.levels[2].regionInFarField);
}

TEST(PlumeField, GroundFootprintsOfTheHotStackReachTheWholePlumesExtentKilometresDownwind) {
    // Stopped at 1e-6, the jet ends far up; the far field brings 1e-5 and 3e-6 down to the ground, where
    // the plume, reflected there, is widest.
    const WholeRun run("hot_stack_unstable.json", {1e-5, 3e-6}, 1e-6);
    expectFootprintsReachTheSummarysExtent(run, true);
    EXPECT_GT(*run.result.summary.levels[1].farthestDownwindExtent, 1000.0);
}

TEST(PlumeField, TheSampledFarFieldCarriesTheReleasedGasThroughACrosswindPlane) {
    // Concentration times the wind speed integrated over a crosswind plane 1 km and 3 km downwind (trapezoids
    // of 2 m across and 1 m up, from the ground to the mixing lid) gives the released volume flux of gas.
    const WholeRun run("hot_stack_unstable.json", {1e-5}, 1e-6);
    const FarField &far = run.far();
    ASSERT_TRUE(far.computed());
    const PlumeField field(run.model, run.scenario.farFieldOptions());
    for (const double d : {1000.0, 3000.0}) {
        ASSERT_GT(d, far.passiveStart());
        const auto [ax, ay] = far.axisPointAt(d);
        const auto [bx, by] = far.axisPointAt(d + 1.0);
        const double ux = bx - ax, uy = by - ay; // unit vector along the wind
        const double halfWidth = 8.0 * far.sigmaY(d), dy = 2.0, dz = 1.0;
        const auto ny = static_cast<int>(std::ceil(2.0 * halfWidth / dy));
        const auto nz = static_cast<int>(std::floor(far.mixingHeight() / dz));
        double flux = 0.0; // m3/s
        for (int j = 0; j <= ny; ++j) {
            const double s = -halfWidth + j * dy;
            for (int k = 0; k <= nz; ++k) {
                const double weight = (j == 0 || j == ny ? 0.5 : 1.0) * (k == 0 || k == nz ? 0.5 : 1.0);
                const double c = field.concentration(ax - s * uy, ay + s * ux, k * dz);
                ASSERT_TRUE(std::isfinite(c));
                flux += weight * c * dy * dz;
            }
        }
        flux *= far.windSpeed();
        std::printf("mass balance %.0f m: %.6g of %.6g m3/s (ratio %.5f)\n", d, flux, far.gasVolumeFlux(),
                    flux / far.gasVolumeFlux());
        EXPECT_NEAR(flux / far.gasVolumeFlux(), 1.0, 0.02) << d << " m";
    }
}

TEST(PlumeField, NothingComputedBeyondTheFarFieldsEndCutsTheFootprintThereAndIsNoRegion) {
    // The far field ends 1.5 km downwind with 1e-5 still exceeded on the ground: the footprint stops at
    // the last computed node and says it is cut off where the far field ends.
    Scenario shortFar =
        Scenario::fromText(R"({"stackHeight": 60.0, "orificeDiameter": 2.0, "releaseAngle": 90.0,
        "massFlowrate": 60.0, "sourceMolecularWeight": 0.0293, "sourceSpecificHeat": 1100.0,
        "sourceSpecificHeatRatio": 1.35, "sourceTemperature": 450.0, "atmosphereTemperature": 293.15,
        "atmosphereSpecificHeat": 1005.0, "atmosphereSurfaceRoughness": 0.3, "referenceWindSpeed": 3.0,
        "referenceWindHeight": 10.0, "referenceWindBearing": 90.0, "pasquillStability": "B",
        "timeAveraging": "long", "stoppingConcentration": 1e-6, "farFieldDistance": 1500})");
    JetModel model;
    shortFar.applyTo(model);
    const WholePlumeSummary::Result result =
        WholePlumeSummary::run(model, std::vector<double>{1e-5}, shortFar.farFieldOptions());
    const FarField &far = result.field->farField();
    ASSERT_TRUE(far.computed());
    ASSERT_TRUE(result.summary.levels[0].regionOpen);
    const PlumeField field(model, shortFar.farFieldOptions());
    EXPECT_TRUE(
        std::isnan(field.concentration(far.axisPointAt(1600.0).first, far.axisPointAt(1600.0).second, 0.0)));
    const Footprint footprint = findFootprint(field, 1e-5, 0.0);
    ASSERT_FALSE(footprint.polygons.empty());
    EXPECT_TRUE(footprint.cutAtEndOfRun);
    EXPECT_TRUE(footprint.cutWhereFarFieldEnds);
    EXPECT_FALSE(footprint.cutAtLimit);
    const double reach = farthestDownwind(footprint, far);
    EXPECT_LE(reach, 1500.0);
    EXPECT_GT(reach, 1500.0 - footprint.grid.dx());
}

TEST(PlumeField, WithoutAFarFieldTheJetAloneIsSampledAndEndsWhereTheRunEnds) {
    const WholeRun run("horizontal_dense_release.json", {0.01});
    FarFieldOptions off = run.scenario.farFieldOptions();
    off.enabled = false;
    const PlumeField jet(run.model, off);
    const PlumeField whole(run.model, run.scenario.farFieldOptions());
    EXPECT_FALSE(jet.hasFarField());
    EXPECT_TRUE(whole.hasFarField());
    EXPECT_EQ(jet.cutoff(), run.model.stoppingConcentration());
    // Ahead of the hand-off plane both are the jet's field; past it only the whole plume answers.
    const double handOff = run.far().handOff().downwindDistance;
    const auto [hx, hy] = run.far().axisPointAt(0.5 * handOff);
    EXPECT_EQ(jet.concentration(hx, hy, 0.0), whole.concentration(hx, hy, 0.0));
    const auto [fx, fy] = run.far().axisPointAt(2.0 * handOff + 100.0);
    EXPECT_GT(whole.concentration(fx, fy, 0.0), 0.0);
    EXPECT_EQ(jet.concentration(fx, fy, 0.0), 0.0);
    // The far field seeds the search past the jet's steps.
    EXPECT_GT(whole.centreline().size(), jet.centreline().size());
}

} // namespace
} // namespace ostreljet::mapping
