#include "ostreljet/atmosphere/CAtmosSurfaceLayerProf.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

using ostreljet::CAtmosSurfaceLayerProf;
using namespace ostreljet;

// Reference figures below were worked out independently in python3 from the formulas, for 5 m/s and
// 288.15 K at 10 m over 0.1 m roughness unless a test says otherwise.

namespace {

CAtmosSurfaceLayerProf profileFor(std::int32_t stabilityClass, double roughness = 0.1,
                                  double scalarReference = 0.0) {
    CAtmosSurfaceLayerProf profile;
    profile.initialise(stabilityClass, scalarReference, 10.0, roughness, 0.0, 5.0, 288.15);
    return profile;
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

} // namespace

TEST(SurfaceLayerStabilityFunctions, PhiMomentumBranchesAndJumpAboveOne) {
    CAtmosSurfaceLayerProf p;
    EXPECT_DOUBLE_EQ(p.phiMomentum(-1.0), 0.5); // 16^-0.25
    EXPECT_EQ(p.phiMomentum(0.0), 1.0);
    EXPECT_DOUBLE_EQ(p.phiMomentum(0.5), 3.35);
    EXPECT_DOUBLE_EQ(p.phiMomentum(1.0), 5.7);
    EXPECT_EQ(p.phiMomentum(1.0001), 4.7);
    EXPECT_EQ(p.phiMomentum(30.0), 4.7);
}

TEST(SurfaceLayerStabilityFunctions, PsiMomentumUsesHeatCoefficientWhenStableAndZeroForNaN) {
    CAtmosSurfaceLayerProf p;
    EXPECT_EQ(p.psiMomentum(0.0), 0.0);
    EXPECT_DOUBLE_EQ(p.psiMomentum(0.5), -2.35);
    EXPECT_DOUBLE_EQ(p.psiMomentum(2.0), -9.4); // no cap above zeta = 1
    EXPECT_NEAR(p.psiMomentum(-1.0), 1.083719839297198, 1e-14);
    EXPECT_EQ(p.psiMomentum(kNaN), 0.0);
}

TEST(SurfaceLayerStabilityFunctions, PhiHeatCarriesPrandtlExceptAboveOne) {
    CAtmosSurfaceLayerProf p;
    EXPECT_NEAR(p.phiHeat(-1.0), 0.23400854685246006, 1e-15);
    EXPECT_EQ(p.phiHeat(0.0), 0.74);
    EXPECT_DOUBLE_EQ(p.phiHeat(0.5), 3.09);
    EXPECT_DOUBLE_EQ(p.phiHeat(1.0), 5.44);
    EXPECT_EQ(p.phiHeat(1.0001), 4.7);
}

TEST(SurfaceLayerStabilityFunctions, PsiHeatJumpsToZeroAtZero) {
    CAtmosSurfaceLayerProf p;
    EXPECT_NEAR(p.psiHeat(-1e-12), 0.32368605090600017, 1e-9);
    EXPECT_EQ(p.psiHeat(0.0), 0.0);
    EXPECT_DOUBLE_EQ(p.psiHeat(0.5), -2.35);
    EXPECT_NEAR(p.psiHeat(-1.0), 1.9390366206334502, 1e-14);
    EXPECT_DOUBLE_EQ(p.heatRoughness(0.2), 0.027);
}

TEST(SurfaceLayerProfile, ConstructionIsNeutralOverTenCentimetres) {
    CAtmosSurfaceLayerProf p;
    EXPECT_EQ(p.inverseObukhovLength(), 0.0);
    EXPECT_EQ(p.roughnessLength(), 0.1);
    EXPECT_DOUBLE_EQ(p.heatRoughnessLength(), 0.0135);
    EXPECT_DOUBLE_EQ(p.frictionVelocity(), 0.35 * 5.0 / std::log(100.0));
    EXPECT_EQ(p.surfaceTemperature(), 288.15);
    EXPECT_EQ(p.temperatureScale(), 0.0);
    EXPECT_EQ(p.windBearing(), 0.0);
    EXPECT_NEAR(p.windSpeed(10.0), 5.0, 1e-12);
}

TEST(SurfaceLayerProfile, InverseLengthByClassAndRoughness) {
    EXPECT_NEAR(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(PASQUILL_A, 0.1), -0.1220690300077079, 1e-15);
    EXPECT_NEAR(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(PASQUILL_B, 0.1), -0.06383485081627413,
                1e-15);
    EXPECT_NEAR(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(PASQUILL_C, 1.0), -0.002353640587477188,
                1e-15);
    EXPECT_EQ(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(PASQUILL_D, 0.1), 0.0);
    EXPECT_NEAR(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(PASQUILL_E, 1.0), 0.002091027413782651,
                1e-15);
    EXPECT_NEAR(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(PASQUILL_F, 0.1), 0.0730057574771708, 1e-15);
    EXPECT_EQ(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(-1, 0.1), 0.0);
    EXPECT_EQ(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(6, 0.1), 0.0);
    // A roughness above the fit's length reverses the sign; nothing clamps it.
    EXPECT_NEAR(CAtmosSurfaceLayerProf::inverseObukhovLengthFor(PASQUILL_C, 2.0), 0.0034592081132388446,
                1e-15);
}

TEST(SurfaceLayerProfile, NeutralClassAndUnknownClassesAreLogarithmic) {
    for (const std::int32_t cls : {std::int32_t{PASQUILL_D}, std::int32_t{-3}, std::int32_t{9}}) {
        CAtmosSurfaceLayerProf p = profileFor(cls);
        EXPECT_EQ(p.inverseObukhovLength(), 0.0);
        EXPECT_NEAR(p.frictionVelocity(), 0.3800076716653453, 1e-15);
        EXPECT_EQ(p.surfaceTemperature(), 288.15);
        EXPECT_EQ(p.temperatureScale(), 0.0);
        EXPECT_NEAR(p.windSpeed(10.0), 5.0, 1e-12);
        EXPECT_NEAR(p.windSpeed(50.0), 6.747425010840047, 1e-12);
        EXPECT_EQ(p.temperature(50.0), 288.15);
        EXPECT_EQ(p.temperature(0.5), 288.15);
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

TEST(SurfaceLayerProfile, InitialiseRecordsBearingAndFollowsTheScalarReference) {
    CAtmosSurfaceLayerProf p;
    p.initialise(PASQUILL_A, 1.0, 10.0, 0.1, 135.0, 5.0, 288.15);
    EXPECT_EQ(p.windBearing(), 135.0);
    EXPECT_NEAR(p.surfaceScalar(), 1.144081961221622, 1e-12);
    EXPECT_NEAR(p.scalarScale(), -0.010391836515981504, 1e-14);
    EXPECT_NEAR(p.scalarValue(10.0), 1.0, 1e-12);
    EXPECT_NEAR(p.scalarValue(50.0), 0.9920491738420271, 1e-12);
    EXPECT_NEAR(p.scalarGradient(50.0), -5.875697627126608e-05, 1e-16);
}

TEST(SurfaceLayerProfile, FurtherQueriesForUnstableAndStableAir) {
    CAtmosSurfaceLayerProf a = profileFor(PASQUILL_A);
    EXPECT_NEAR(a.dissipationRate(50.0), 0.052391274322653766, 1e-13);
    EXPECT_NEAR(a.windShear(50.0), 0.009310541992358671, 1e-14);
    EXPECT_NEAR(a.temperatureGradient(50.0), -0.01693082271256532, 1e-14);
    EXPECT_NEAR(a.verticalVelocitySpread(50.0), 1.6947902579981848, 1e-12);
    EXPECT_NEAR(a.frictionVelocityMultiple1(), 1.2634242420496198, 1e-12);
    EXPECT_NEAR(a.frictionVelocityMultiple2(), 1.1300409958576392, 1e-12);
    EXPECT_NEAR(a.frictionVelocityMultiple3(), 1.0107393936396958, 1e-12);
    EXPECT_EQ(a.windShear(0.0), 0.0);

    CAtmosSurfaceLayerProf f = profileFor(PASQUILL_F);
    EXPECT_NEAR(f.dissipationRate(50.0), 0.00976013120998716, 1e-14);
    EXPECT_NEAR(f.windShear(50.0), 0.05873437605833999, 1e-13);
    EXPECT_NEAR(f.temperatureGradient(50.0), 0.07649396948320594, 1e-13);
    EXPECT_NEAR(f.verticalVelocitySpread(50.0), 0.2733647821864228, 1e-12);
}

TEST(SurfaceLayerProfile, ClassFromInverseLength) {
    for (std::int32_t cls = PASQUILL_A; cls <= PASQUILL_F; ++cls) {
        EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(
                      CAtmosSurfaceLayerProf::inverseObukhovLengthFor(cls, 0.1), 0.1),
                  cls);
    }
    // Over 0.1 m: E/F mean 0.0479, half E 0.0114; A/B mean -0.0930, B/C mean -0.0427, half C -0.0108.
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(0.049, 0.1), PASQUILL_F);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(0.047, 0.1), PASQUILL_E);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(0.0115, 0.1), PASQUILL_E);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(0.0113, 0.1), PASQUILL_D);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(-0.094, 0.1), PASQUILL_A);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(-0.092, 0.1), PASQUILL_B);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(-0.043, 0.1), PASQUILL_B);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(-0.042, 0.1), PASQUILL_C);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(-0.011, 0.1), PASQUILL_C);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(-0.0107, 0.1), PASQUILL_D);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(0.0, 0.1), PASQUILL_D);
    EXPECT_EQ(CAtmosSurfaceLayerProf::stabilityClassFor(kNaN, 0.1), PASQUILL_D);
}

namespace {

// Replaces single slots to show that the class reaches them only through the virtual calls.
class ConstantPhiProfile : public CAtmosSurfaceLayerProf {
public:
    double phiMomentum(double) override { return 2.0; }
    double phiHeat(double) override { return 3.0; }
};

class HalfHeatRoughnessProfile : public CAtmosSurfaceLayerProf {
public:
    double heatRoughness(double z0) override { return 0.5 * z0; }
};

class DoubledMomentumProfile : public CAtmosSurfaceLayerProf {
public:
    double momentumProfile(double z) override { return 2.0 * CAtmosSurfaceLayerProf::momentumProfile(z); }
    double psiHeat(double) override { return 0.0; }
};

} // namespace

TEST(SurfaceLayerProfile, InternalCallsGoThroughTheVirtualSlots) {
    ConstantPhiProfile phi;
    phi.initialise(PASQUILL_A, 0.0, 10.0, 0.1, 0.0, 5.0, 288.15);
    EXPECT_DOUBLE_EQ(phi.eddyDiffusivity(50.0), 0.35 * phi.frictionVelocity() * 50.0 / 2.0);
    EXPECT_DOUBLE_EQ(phi.windShear(50.0), phi.frictionVelocity() / (0.35 * 50.0) * 2.0);
    EXPECT_DOUBLE_EQ(phi.temperatureGradient(50.0), phi.temperatureScale() / (0.35 * 50.0) * 3.0);
    // psiMomentum for unstable air takes 1/phiMomentum = 0.5: 2 ln 0.75 + ln 0.625 - (2 atan 0.5 - pi/2).
    EXPECT_NEAR(phi.psiMomentum(-1.0),
                2.0 * std::log(0.75) + std::log(0.625) - (2.0 * std::atan(0.5) - std::numbers::pi / 2),
                1e-14);
    // psiHeat takes 1/phiHeat = 1/3.
    EXPECT_NEAR(phi.psiHeat(-1.0), 2.0 * std::log((1.0 + 1.0 / 3.0) / 2.0), 1e-15);

    HalfHeatRoughnessProfile half;
    half.initialise(PASQUILL_D, 0.0, 10.0, 0.1, 0.0, 5.0, 288.15);
    EXPECT_DOUBLE_EQ(half.heatRoughnessLength(), 0.05);

    DoubledMomentumProfile doubled;
    doubled.initialise(PASQUILL_D, 0.0, 10.0, 0.1, 0.0, 5.0, 288.15);
    EXPECT_DOUBLE_EQ(doubled.frictionVelocity(), 0.35 * 5.0 / (2.0 * std::log(100.0)));
    EXPECT_NEAR(doubled.windSpeed(10.0), 5.0, 1e-12);
    // With psiHeat replaced, Ts moves but the profile still passes through 288.15 K at 10 m.
    doubled.initialise(PASQUILL_A, 0.0, 10.0, 0.1, 0.0, 5.0, 288.15);
    EXPECT_NEAR(doubled.temperature(10.0), 288.15, 1e-9);
    EXPECT_NE(doubled.surfaceTemperature(), profileFor(PASQUILL_A).surfaceTemperature());
}
