#include "ostreljet/atmosphere/CAtmosSurfaceLayerProf.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>

using namespace ostreljet;

// Figures worked out independently in python3 from the formulas, for 5 m/s and 288.15 K at 10 m over 0.1 m.
namespace {

CAtmosSurfaceLayerProf profileFor(std::int32_t stabilityClass, double roughness = 0.1) {
    CAtmosSurfaceLayerProf profile;
    profile.initialise(stabilityClass, 0.0, 10.0, roughness, 0.0, 5.0, 288.15);
    return profile;
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

} // namespace

TEST(SurfaceLayerStabilityFunctions, BranchesWithTheJumpsAtOneAndZero) {
    CAtmosSurfaceLayerProf p;
    EXPECT_DOUBLE_EQ(p.phiMomentum(-1.0), 0.5); // 16^-0.25
    EXPECT_EQ(p.phiMomentum(0.0), 1.0);
    EXPECT_DOUBLE_EQ(p.phiMomentum(0.5), 3.35);
    EXPECT_DOUBLE_EQ(p.phiMomentum(1.0), 5.7); // 1 + 4.7 up to 1, then 4.7 alone
    EXPECT_EQ(p.phiMomentum(1.0001), 4.7);
    EXPECT_EQ(p.phiMomentum(30.0), 4.7);
    EXPECT_EQ(p.psiMomentum(0.0), 0.0);
    EXPECT_DOUBLE_EQ(p.psiMomentum(0.5), -2.35); // the heat coefficient when stable
    EXPECT_DOUBLE_EQ(p.psiMomentum(2.0), -9.4);  // no cap above zeta = 1
    EXPECT_NEAR(p.psiMomentum(-1.0), 1.083719839297198, 1e-14);
    EXPECT_EQ(p.psiMomentum(kNaN), 0.0);
    EXPECT_NEAR(p.phiHeat(-1.0), 0.23400854685246006, 1e-15); // carries the Prandtl number except above 1
    EXPECT_EQ(p.phiHeat(0.0), 0.74);
    EXPECT_DOUBLE_EQ(p.phiHeat(0.5), 3.09);
    EXPECT_DOUBLE_EQ(p.phiHeat(1.0), 5.44);
    EXPECT_EQ(p.phiHeat(1.0001), 4.7);
    EXPECT_NEAR(p.psiHeat(-1e-12), 0.32368605090600017, 1e-9); // jumps to zero at zero
    EXPECT_EQ(p.psiHeat(0.0), 0.0);
    EXPECT_DOUBLE_EQ(p.psiHeat(0.5), -2.35);
    EXPECT_NEAR(p.psiHeat(-1.0), 1.9390366206334502, 1e-14);
    EXPECT_DOUBLE_EQ(p.heatRoughness(0.2), 0.027);
}

TEST(SurfaceLayerProfile, ConstructionIsNeutralOverTenCentimetresAndInitialiseRecordsTheBearing) {
    CAtmosSurfaceLayerProf p;
    EXPECT_EQ(p.inverseObukhovLength(), 0.0);
    EXPECT_EQ(p.roughnessLength(), 0.1);
    EXPECT_DOUBLE_EQ(p.heatRoughnessLength(), 0.0135);
    EXPECT_DOUBLE_EQ(p.frictionVelocity(), 0.35 * 5.0 / std::log(100.0));
    EXPECT_EQ(p.surfaceTemperature(), 288.15);
    EXPECT_EQ(p.temperatureScale(), 0.0);
    EXPECT_EQ(p.windBearing(), 0.0);
    EXPECT_NEAR(p.windSpeed(10.0), 5.0, 1e-12);
    p.initialise(PASQUILL_A, 1.0, 10.0, 0.1, 135.0, 5.0, 288.15);
    EXPECT_EQ(p.windBearing(), 135.0);
}

TEST(SurfaceLayerProfile, InverseLengthByClassAndRoughness) {
    // A roughness above the fit's length reverses the sign; nothing clamps it.
    const std::tuple<std::int32_t, double, double> cases[] = {{PASQUILL_A, 0.1, -0.1220690300077079},
                                                              {PASQUILL_B, 0.1, -0.06383485081627413},
                                                              {PASQUILL_C, 1.0, -0.002353640587477188},
                                                              {PASQUILL_D, 0.1, 0.0},
                                                              {PASQUILL_E, 1.0, 0.002091027413782651},
                                                              {PASQUILL_F, 0.1, 0.0730057574771708},
                                                              {-1, 0.1, 0.0},
                                                              {6, 0.1, 0.0},
                                                              {PASQUILL_C, 2.0, 0.0034592081132388446}};
    for (const auto &[cls, z0, inverseLength] : cases) {
        EXPECT_NEAR(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(cls, z0), inverseLength, 1e-15);
    }
}

TEST(SurfaceLayerProfile, UnstableClassAWorkedFigures) {
    CAtmosSurfaceLayerProf p = profileFor(PASQUILL_A);
    EXPECT_NEAR(p.inverseObukhovLength(), -0.1220690300077079, 1e-15);
    EXPECT_NEAR(p.frictionVelocity(), 0.5053696968198479, 1e-12);
    EXPECT_NEAR(p.surfaceTemperature(), 329.6672171260103, 1e-9);
    EXPECT_NEAR(p.temperatureScale(), -2.9944076920800704, 1e-11);
    EXPECT_NEAR(p.windSpeed(50.0), 5.918433849774423, 1e-11);
    EXPECT_NEAR(p.temperature(50.0), 285.85896944258, 1e-9);
    EXPECT_NEAR(p.windSpeed(10.0), 5.0, 1e-12);
    EXPECT_NEAR(p.temperature(10.0), 288.15, 1e-9);
    EXPECT_NEAR(p.eddyDiffusivity(50.0), 27.431113105273045, 1e-10);
}

TEST(SurfaceLayerProfile, StableClassFWorkedFiguresUseTheLogLinearWindAboveZetaOne) {
    CAtmosSurfaceLayerProf p = profileFor(PASQUILL_F);
    EXPECT_NEAR(p.frictionVelocity(), 0.21869182574913823, 1e-12);
    EXPECT_NEAR(p.surfaceTemperature(), 279.9844404030987, 1e-9);
    EXPECT_NEAR(p.temperatureScale(), 0.28481797148002214, 1e-12);
    // z/L = 3.65 here: the wind takes the log-linear branch (14.58 via the psi branch would be wrong) ...
    EXPECT_NEAR(p.windSpeed(50.0), 10.600857409296005, 1e-10);
    // ... while temperature stays on the psi branch because 1/L is below 1 (295.44 otherwise).
    EXPECT_NEAR(p.temperature(50.0), 300.62870563037836, 1e-9);
    EXPECT_NEAR(p.eddyDiffusivity(50.0), 0.8142780745978551, 1e-12);
}

TEST(SurfaceLayerProfile, HeatProfileBranchesOnInverseLengthNotZeta) {
    // Class E over 1e-50 m gives 1/L = 1.0366 > 1 while z/L at 0.5 m is 0.518 < 1.
    CAtmosSurfaceLayerProf p = profileFor(PASQUILL_E, 1e-50);
    EXPECT_NEAR(p.inverseObukhovLength(), 1.0366451345935883, 1e-13);
    EXPECT_NEAR(p.heatProfile(0.5), 118.04994765510277, 1e-9); // the psi branch would give 118.8747
}

TEST(SurfaceLayerProfile, NothingAtOrBelowTheRoughnessLengths) {
    CAtmosSurfaceLayerProf p = profileFor(PASQUILL_A);
    EXPECT_EQ(p.momentumProfile(0.1), 0.0);
    EXPECT_EQ(p.windSpeed(0.1), 0.0);
    EXPECT_EQ(p.windSpeed(0.05), 0.0);
    EXPECT_GT(p.windSpeed(0.1001), 0.0);
    EXPECT_EQ(p.heatProfile(0.0135), 0.0);
    EXPECT_EQ(p.temperature(0.0135), p.surfaceTemperature());
    EXPECT_EQ(p.temperature(0.0), p.surfaceTemperature());
    EXPECT_NE(p.temperature(0.0136), p.surfaceTemperature());
}

TEST(SurfaceLayerProfile, ClassFromInverseLength) {
    for (std::int32_t cls = PASQUILL_A; cls <= PASQUILL_F; ++cls) {
        EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(
                      CAtmosSurfaceLayerProf::inverseObukhovLengthFor(cls, 0.1), 0.1),
                  cls);
    }
    // Over 0.1 m: E/F mean 0.0479, half E 0.0114; A/B mean -0.0930, B/C mean -0.0427, half C -0.0108.
    const std::pair<double, std::int32_t> cases[] = {
        {0.049, PASQUILL_F},  {0.047, PASQUILL_E},   {0.0115, PASQUILL_E}, {0.0113, PASQUILL_D},
        {-0.094, PASQUILL_A}, {-0.092, PASQUILL_B},  {-0.043, PASQUILL_B}, {-0.042, PASQUILL_C},
        {-0.011, PASQUILL_C}, {-0.0107, PASQUILL_D}, {0.0, PASQUILL_D},    {kNaN, PASQUILL_D}};
    for (const auto &[inverseLength, cls] : cases) {
        EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(inverseLength, 0.1), cls) << inverseLength;
    }
}
