#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

using ostreljet::FarField;
using ostreljet::FarFieldOptions;
using ostreljet::FarFieldRegime;
using ostreljet::HandOff;
using ostreljet::JetModel;
using ostreljet::Scenario;

namespace {

// Hydrogen sulphide, 1 kg/s released horizontally downwind from 10 m into a 5 m/s class D wind.
const char *const kHydrogenSulphide =
    R"({"gas": "hydrogen sulphide", "stackHeight": 10, "orificeDiameter": 0.05,
    "releaseAngle": 0, "stackBearing": 90, "massFlowrate": 1, "sourceTemperature": 288.15,
    "atmosphereTemperature": 288.15, "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1,
    "referenceWindSpeed": 5, "referenceWindHeight": 10, "referenceWindBearing": 90, "pasquillStability": "D",
    "stoppingConcentration": 1e-5})";

// The hot stack example run on to a stopping concentration of 1e-6.
const char *const kHotStackFar = R"({"stackHeight": 60.0, "orificeDiameter": 2.0, "releaseAngle": 90.0,
    "massFlowrate": 60.0, "sourceMolecularWeight": 0.0293, "sourceSpecificHeat": 1100.0,
    "sourceSpecificHeatRatio": 1.35, "sourceTemperature": 450.0, "atmosphereTemperature": 293.15,
    "atmosphereSpecificHeat": 1005.0, "atmosphereSurfaceRoughness": 0.3, "referenceWindSpeed": 3.0,
    "referenceWindHeight": 10.0, "referenceWindBearing": 90.0, "pasquillStability": "B",
    "timeAveraging": "long", "stoppingConcentration": 1e-06})";

struct Release {
    std::string name;
    std::unique_ptr<JetModel> model;
};

Release run(const std::string &name, const Scenario &scenario) {
    Release release{name, std::make_unique<JetModel>()};
    scenario.applyTo(*release.model);
    release.model->runModel();
    return release;
}

Release example(const std::string &file) {
    return run(file, Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + file));
}

std::vector<Release> everyRelease() {
    std::vector<Release> releases;
    for (const char *file : {"vertical_buoyant_vent.json", "horizontal_dense_release.json",
                             "choked_high_pressure.json", "hot_stack_unstable.json"})
        releases.push_back(example(file));
    releases.push_back(run("hydrogen sulphide", Scenario::fromText(kHydrogenSulphide)));
    releases.push_back(run("hot stack to 1e-6", Scenario::fromText(kHotStackFar)));
    return releases;
}

// Released gas through the crosswind plane at a downwind distance, kg/s: concentration times the far
// field's wind, times the molar density of the air and the gas's molecular weight, integrated by the
// trapezoidal rule over +-8 sigma_y and from the ground to the lid (or 10 sigma_z above the axis).
double massThroughPlane(const FarField &field, const JetModel &model, double downwind) {
    const double bearing = model.referenceWindBearing() * std::numbers::pi / 180.0;
    const double wx = std::sin(bearing), wy = std::cos(bearing);
    const double sy = field.sigmaY(downwind), sz = field.sigmaZ(downwind);
    const double top = std::min(field.mixingHeight(), field.series().back().height + 10.0 * sz);
    const int ny = 201, nz = 401;
    const double dy = 16.0 * sy / (ny - 1), dz = top / (nz - 1);
    const double offset = field.handOff().crosswindOffset;
    double sum = 0.0;
    for (int j = 0; j < ny; ++j) {
        const double across = -8.0 * sy + j * dy + offset;
        const double x = model.stackLocationX() + downwind * wx - across * wy;
        const double y = model.stackLocationY() + downwind * wy + across * wx;
        for (int k = 0; k < nz; ++k) {
            const double weight = (j == 0 || j == ny - 1 ? 0.5 : 1.0) * (k == 0 || k == nz - 1 ? 0.5 : 1.0);
            sum += weight * field.concentration(x, y, k * dz);
        }
    }
    const double molarDensity = model.atmospherePressure() / (8.31434 * field.ambientTemperature());
    return sum * dy * dz * field.windSpeed() * molarDensity * model.sourceMolecularWeight();
}

} // namespace

// Every example and both releases of the issue: the far field carries the release rate through every
// crosswind plane of its passive part (1, 3 and 10 km), and a passive hand-off is continuous.
TEST(FarField, ConservesMassAndIsContinuousAtAPassiveHandOff) {
    for (const Release &r : everyRelease()) {
        const FarField field(*r.model, FarFieldOptions{});
        ASSERT_TRUE(field.computed()) << r.name;
        std::printf("%s: hand-off %s at %.1f m, continuity ratio %.4f; mass balance", r.name.c_str(),
                    HandOff::describe(field.handOff().reason), field.handOff().downwindDistance,
                    field.continuityRatio());
        for (double downwind : {1000.0, 3000.0, 10000.0}) {
            ASSERT_GE(downwind, field.passiveStart()) << r.name;
            const double ratio = massThroughPlane(field, *r.model, downwind) / r.model->massFlowrate();
            std::printf(" %.0f m: %.5f", downwind, ratio);
            EXPECT_NEAR(ratio, 1.0, 0.02) << r.name << " at " << downwind << " m";
        }
        std::printf("\n");
        if (field.handOff().reason == HandOff::Reason::passiveTransition) {
            EXPECT_GE(field.continuityRatio(), 0.9) << r.name;
            EXPECT_LE(field.continuityRatio(), 1.1) << r.name;
            // Where the tests' margins cross between two steps, not at the step that first passes them.
            const auto downwindOf = [&](std::int32_t k) {
                return r.model->centrelineLocations()[k].x() - r.model->stackLocationX();
            };
            const HandOff &h = field.handOff();
            EXPECT_GT(h.downwindDistance, downwindOf(h.step - 1)) << r.name;
            EXPECT_LT(h.downwindDistance, downwindOf(h.step)) << r.name;
        }
        // The series starts at the hand-off with the far field's own value there.
        ASSERT_FALSE(field.series().empty());
        EXPECT_EQ(field.series().front().downwindDistance, field.handOff().downwindDistance);
        EXPECT_NEAR(field.series().front().centrelineConcentration,
                    field.continuityRatio() * field.handOff().jetConcentration,
                    1e-12 * field.handOff().jetConcentration);
        EXPECT_EQ(field.series().back().downwindDistance, 10000.0);
    }
}

// The virtual source: at the hand-off sigma = sqrt(k1) Rp across and up (0.427 Rp), widened near the
// ground so that reflection does not raise the axis; from there both grow
// along the Briggs curves, so that 100 m further on they equal the curve 100 m past the virtual source.
TEST(FarField, VirtualSourceMatchesTheJetsProfile) {
    const Release r = run("hydrogen sulphide", Scenario::fromText(kHydrogenSulphide));
    const FarField field(*r.model, FarFieldOptions{});
    const HandOff &h = field.handOff();
    ASSERT_EQ(h.reason, HandOff::Reason::passiveTransition);
    const double x = h.downwindDistance;
    // Near the ground both widen by s until the reflection's vertical factor at the axis is s^2, so that
    // the axis keeps the jet's value: here by 2.8e-5 (the factor 1 + exp(-2 h^2 / sigma^2), h = 10 m).
    const double s = field.sigmaY(x) / (0.42739784 * h.radius);
    EXPECT_GT(s, 1.0);
    EXPECT_LT(s, 1.0001);
    EXPECT_NEAR(s * s, 1.0 + std::exp(-2.0 * h.height * h.height / std::pow(field.sigmaZ(x), 2)), 1e-7);
    EXPECT_NEAR(field.sigmaZ(x), field.sigmaY(x), 1e-9 * field.sigmaY(x));
    // Far from the ground the match is the jet's own: sigma = sqrt(k1) Rp.
    const FarField vent(*example("vertical_buoyant_vent.json").model, FarFieldOptions{});
    EXPECT_NEAR(vent.sigmaY(vent.handOff().downwindDistance), 0.42739784 * vent.handOff().radius,
                1e-7 * vent.handOff().radius);
    const ostreljet::BriggsSigma d(ostreljet::FarFieldDispersion::rural, 3);
    const double virtualZ = d.distanceForSigmaZ(field.sigmaZ(x));
    EXPECT_NEAR(field.sigmaZ(x + 100.0), d.sigmaZ(virtualZ + 100.0), 1e-9);
    // A longer averaging time widens the plume across the wind only, and the centreline answers it.
    FarFieldOptions hour;
    hour.averagingTime = 3600.0;
    const FarField wide(*r.model, hour);
    EXPECT_NEAR(wide.sigmaY(x), field.sigmaY(x), 1e-9);
    EXPECT_GT(wide.sigmaY(5000.0), field.sigmaY(5000.0));
    EXPECT_EQ(wide.sigmaZ(5000.0), field.sigmaZ(5000.0));
    EXPECT_LT(wide.groundLevelAt(5000.0), field.groundLevelAt(5000.0));
}

// The releases of the issue give finite answers past the jet.
TEST(FarField, AnswersPastTheJet) {
    // Hydrogen sulphide: 100 ppm and 10 ppm are both reached and passed within the far field.
    const Release sulphide = run("hydrogen sulphide", Scenario::fromText(kHydrogenSulphide));
    const FarField field(*sulphide.model, FarFieldOptions{});
    const auto toxic = field.levelExtent(100e-6);
    const auto low = field.levelExtent(10e-6);
    ASSERT_TRUE(toxic && low);
    EXPECT_FALSE(toxic->atEnd);
    EXPECT_FALSE(low->atEnd);
    EXPECT_GT(low->downwind, toxic->downwind);
    EXPECT_NEAR(std::max(field.centrelineAt(low->downwind), field.groundLevelAt(low->downwind)), 10e-6,
                1e-12);

    // The carbon dioxide example: a dense touchdown, the workbook's plume, then the passive one; 5000 ppm
    // reaches beyond the jet's end at 35.7 m.
    const Release dioxide = example("horizontal_dense_release.json");
    const FarField dense(*dioxide.model, FarFieldOptions{});
    EXPECT_EQ(dense.handOff().reason, HandOff::Reason::denseTouchdown);
    EXPECT_GT(dense.passiveStart(), dense.handOff().downwindDistance);
    EXPECT_EQ(dense.series()[1].regime, FarFieldRegime::dense);
    EXPECT_EQ(dense.series().back().regime, FarFieldRegime::passive);
    const auto extent = dense.levelExtent(5000e-6);
    ASSERT_TRUE(extent);
    EXPECT_GT(extent->downwind, 36.0);
    // Continuous where the dense plume gives way to the passive one.
    const double before = dense.groundLevelAt(dense.passiveStart() * (1.0 - 1e-9));
    const double after = dense.groundLevelAt(dense.passiveStart());
    EXPECT_NEAR(after / before, 1.0, 1e-6);

    // The hot stack to 1e-6: positive ground-level concentrations from 1 to 20 km, and a maximum.
    FarFieldOptions far;
    far.distance = 20000.0;
    const Release stack = run("hot stack to 1e-6", Scenario::fromText(kHotStackFar));
    const FarField hot(*stack.model, far);
    for (double downwind : {1000.0, 2000.0, 5000.0, 10000.0, 20000.0}) {
        EXPECT_TRUE(std::isfinite(hot.groundLevelAt(downwind)));
        EXPECT_GT(hot.groundLevelAt(downwind), 1e-7) << downwind;
    }
    const auto peak = hot.groundLevelMaximum();
    ASSERT_TRUE(peak);
    EXPECT_GE(peak->value, hot.groundLevelAt(peak->downwind * 0.9));
    EXPECT_GE(peak->value, hot.groundLevelAt(peak->downwind * 1.1));
    // Nothing is computed past the far field's end.
    EXPECT_TRUE(std::isnan(hot.groundLevelAt(20001.0)));
}

// The far field ends early where its plume falls below a tenth of the lowest level asked for.
TEST(FarField, EndsBelowATenthOfTheLowestLevel) {
    const Release r = run("hydrogen sulphide", Scenario::fromText(kHydrogenSulphide));
    FarFieldOptions options;
    options.lowestLevel = 100e-6;
    const FarField field(*r.model, options);
    EXPECT_FALSE(field.endsAtDistance());
    EXPECT_LT(field.endDistance(), 10000.0);
    const auto peak = [](const ostreljet::FarFieldPoint &p) {
        return std::max(p.centrelineConcentration, p.groundLevelConcentration);
    };
    EXPECT_LT(peak(field.series().back()), 10e-6);
    EXPECT_GE(peak(field.series()[field.series().size() - 2]), 10e-6);
    EXPECT_EQ(field.series().back().downwindDistance, field.endDistance());
    options.enabled = false;
    EXPECT_FALSE(FarField(*r.model, options).computed());
}

// The whole plume answers from the jet ahead of the hand-off plane and from the far field after it.
TEST(WholePlume, JetAheadOfTheHandOffPlaneFarFieldAfterIt) {
    const Release r = run("hydrogen sulphide", Scenario::fromText(kHydrogenSulphide));
    const double cutoff = r.model->stoppingConcentration();
    const ostreljet::WholePlume whole(*r.model, FarFieldOptions{},
                                      ostreljet::ConcentrationField::Rules::exact, cutoff);
    const HandOff &h = whole.farField().handOff();
    // The wind blows towards +x from a stack at the origin.
    const double x = h.downwindDistance, y = -h.crosswindOffset, z = h.height;
    EXPECT_EQ(whole.concentration(x - 1.0, y, z), whole.jet().concentration(x - 1.0, y, z));
    EXPECT_GT(whole.concentration(x - 1.0, y, z), 0.0);
    EXPECT_EQ(whole.concentration(x + 1.0, y, z), whole.farField().concentration(x + 1.0, y, z));
    EXPECT_NEAR(whole.concentration(x + 1.0, y, z) / whole.concentration(x - 1.0, y, z), 1.0, 0.1);
    EXPECT_TRUE(std::isnan(whole.concentration(10001.0, 0.0, 0.0)));
    // The grid takes the same answers point by point.
    std::vector<double> grid(3 * 2 * 2);
    whole.grid(grid.data(), x - 1.0, y, z, x + 1.0, y + 2.0, z + 2.0, 3, 2, 2, 1);
    EXPECT_EQ(grid[0], whole.concentration(x - 1.0, y, z));
    EXPECT_EQ(grid[8], whole.concentration(x + 1.0, y, z));
    EXPECT_EQ(grid[11], whole.concentration(x + 1.0, y + 1.0, z + 1.0));
    // Without a far field it is the jet's field alone.
    FarFieldOptions off;
    off.enabled = false;
    const ostreljet::WholePlume jetOnly(*r.model, off, ostreljet::ConcentrationField::Rules::exact, cutoff);
    EXPECT_EQ(jetOnly.concentration(x + 1.0, y, z), jetOnly.jet().concentration(x + 1.0, y, z));
}

// The grid, on one thread or several, gives every point the whole plume's own answer to the bit: the jet
// ahead of the hand-off plane (not computed past the run's end), the far field after it (dense and
// passive, nothing below the ground or above the lid, nothing beyond its end).
TEST(WholePlume, GridsOnAnyNumberOfThreadsGiveThePointAnswers) {
    for (const Release &r : everyRelease()) {
        SCOPED_TRACE(r.name);
        const ostreljet::WholePlume whole(*r.model, FarFieldOptions{}, ostreljet::RunStatus::ok);
        const FarField &far = whole.farField();
        ASSERT_TRUE(far.computed());
        // Along the wind, through the hand-off and past the far field's end; across and up over the plume.
        const double x0 = far.axisPointAt(0.5 * far.handOff().downwindDistance).first;
        const double x1 = far.axisPointAt(1.2 * far.endDistance()).first;
        const double z1 = 3.0 * far.handOff().height + 20.0;
        const int nx = 37, ny = 9, nz = 23;
        std::vector<double> one(nx * ny * nz), three(nx * ny * nz);
        whole.grid(one.data(), x0, -40.0, -2.0, x1, 40.0, z1, nx, ny, nz, 1);
        whole.grid(three.data(), x0, -40.0, -2.0, x1, 40.0, z1, nx, ny, nz, 3);
        int far_ = 0, jet = 0, notComputed = 0;
        for (int i = 0, n = 0; i < nx; ++i)
            for (int j = 0; j < ny; ++j)
                for (int k = 0; k < nz; ++k, ++n) {
                    using ostreljet::ConcentrationField;
                    const double x = ConcentrationField::gridCoordinate(x0, x1, i, nx, true);
                    const double y = ConcentrationField::gridCoordinate(-40.0, 40.0, j, ny, false);
                    const double z = ConcentrationField::gridCoordinate(-2.0, z1, k, nz, false);
                    const double c = whole.concentration(x, y, z);
                    ASSERT_EQ(std::isnan(one[n]), std::isnan(c)) << x << " " << y << " " << z;
                    if (!std::isnan(c)) {
                        ASSERT_EQ(one[n], c) << x << " " << y << " " << z;
                    }
                    ASSERT_EQ(std::isnan(three[n]), std::isnan(one[n]));
                    if (!std::isnan(one[n])) {
                        ASSERT_EQ(three[n], one[n]);
                    }
                    notComputed += std::isnan(c);
                    (far.downwindDistanceOf(x, y) >= far.handOff().downwindDistance ? far_ : jet) +=
                        !std::isnan(c);
                }
        // The box holds answers of both kinds, and points where nothing is computed.
        EXPECT_GT(far_, 0);
        EXPECT_GT(jet, 0);
        EXPECT_GT(notComputed, 0);
    }
}
