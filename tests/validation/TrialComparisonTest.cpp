// The pool trials against the model: one prediction worked out by hand from the workbook's curves, the
// hand-over from the dense to the passive plume, the wind at 10 m and the observed LFL distance by hand,
// the fenced trials kept apart, and the arcs the dense-plume curves do not reach said to be not computed.
#include "ostreljet/validation/TrialComparison.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace ostreljet {
namespace {

const std::vector<FieldTrial> &trials() {
    static const std::vector<FieldTrial> all = FieldTrial::fromDirectory(OSTRELJET_FIELD_TRIALS_DIR);
    return all;
}

const FieldTrial &trial(const std::string &id) {
    const auto &all = trials();
    return *std::find_if(all.begin(), all.end(), [&](const FieldTrial &t) { return t.id == id; });
}

const TrialComparison &comparison() {
    static const TrialComparison built(trials());
    return built;
}

const TrialPrediction &prediction(const std::string &id) {
    const auto &all = comparison().trials();
    return *std::find_if(all.begin(), all.end(), [&](const TrialPrediction &p) { return p.id == id; });
}

TEST(TrialComparisonTest, MaplinSands34At89mWorkedByHandFromTheWorkbookCurves) {
    // Pool 12.8 m, 0.167 kg/(m2 s): 21.49 kg/s. Methane at 111.15 K and 101325 Pa (the file gives no
    // pressure): 1.759 kg/m3; air at 288.35 K: 1.224 kg/m3; g0' = 9.80665 x 0.535 / 1.224 = 4.287 m/s2;
    // V0 = 21.49 / 1.759 = 12.22 m3/s; u = 8.6 m/s measured at 10 m.
    // alpha = 0.2 log10(4.287^2 x 12.22 / 8.6^5) = -0.464; D = sqrt(12.22 / 8.6) = 1.192 m.
    // Curve Cm/C0 = 0.1 from (-0.55, 1.75) to (-0.14, 1.85): beta 1.771; curve 0.05 from (-0.68, 1.92)
    // to (-0.29, 2.06): beta 1.997 (CCPS 1999 fits). At 89 m beta = log10(89 / 1.192) = 1.873, 0.451 of
    // the way: c' = 10^(-1 - 0.451 x 0.301) = 0.0731; k = 288.35 / 111.15 = 2.594;
    // C = c' k / (1 - c' + c' k) = 0.1896 / 1.1165 = 0.1698.
    const TrialPrediction &p = prediction("maplin-sands-34");
    ASSERT_TRUE(p.plume.has_value()) << p.notComputed;
    EXPECT_NEAR(p.plume->massRate(), 21.49, 0.01);
    EXPECT_NEAR(p.plume->reducedGravity(), 4.287, 0.002);
    EXPECT_NEAR(p.plume->dense().alpha(), -0.464, 0.001);
    EXPECT_NEAR(p.plume->dense().length(), 1.192, 0.001);
    EXPECT_EQ(p.weather.windSpeed, 8.6);
    EXPECT_EQ(p.weather.pressure, 101325.0);
    EXPECT_EQ(p.pairs[0].distance, 89.0);
    EXPECT_NEAR(p.pairs[0].predicted, 0.1698, 0.0005);
    EXPECT_EQ(p.pairs[0].observed, 0.121);
    // The passive plume takes over continuously (both give the same ground-level centreline there).
    const double start = p.plume->passiveStart();
    EXPECT_NEAR(p.plume->groundLevelAt(start * (1.0 + 1e-9)) / p.plume->groundLevelAt(start), 1.0, 1e-6);
    // The LFL distance is where the predicted concentration is 5 %.
    EXPECT_NEAR(p.plume->groundLevelAt(p.predictedLfl.distance), 0.05, 1e-6);
}

TEST(TrialComparisonTest, WindAt10mMeasuredInterpolatedOrCarriedByTheLogLaw) {
    std::string how;
    EXPECT_EQ(TrialComparison::windAt10m(trial("maplin-sands-34"), how), 8.6);
    EXPECT_EQ(how, "measured at 10 m");
    // Falcon 3: 4.53 m/s at 4 m, 5.55 m/s at 16 m: 4.53 + 1.02 ln(2.5) / ln(4) = 5.204 m/s.
    EXPECT_NEAR(TrialComparison::windAt10m(trial("falcon-3"), how), 5.204, 0.001);
    EXPECT_EQ(how, "interpolated in log height between 4 m and 16 m");
    // Burro 3: 5.94 m/s at 8 m, z0 = 0.0002 m: 5.94 ln(50000) / ln(40000) = 6.065 m/s.
    EXPECT_NEAR(TrialComparison::windAt10m(trial("burro-3"), how), 6.065, 0.001);
    EXPECT_EQ(how.rfind("carried from 5.94 m/s at 8 m by the neutral log law", 0), 0u) << how;
}

TEST(TrialComparisonTest, ObservedLflDistanceInterpolatedInLogLogOrNotComputed) {
    // Burro 3: 9 % at 140 m, 1.2 % at 400 m: 140 (400 / 140)^(ln(5 / 9) / ln(1.2 / 9)) = 140 x 2.857^0.2917
    // = 190.2 m.
    const LevelDistance burro = prediction("burro-3").observedLfl;
    EXPECT_NEAR(burro.distance, 190.2, 0.1);
    EXPECT_EQ(burro.how, "interpolated in log-log between the arcs at 140 m and 400 m");
    // Maplin Sands 27 rises again past 248 m but stays below 5 %: the crossing is between 129 and 181 m.
    EXPECT_EQ(prediction("maplin-sands-27").observedLfl.how,
              "interpolated in log-log between the arcs at 129 m and 181 m");
    const LevelDistance falcon1 = prediction("falcon-1").observedLfl;
    EXPECT_TRUE(std::isnan(falcon1.distance));
    EXPECT_EQ(falcon1.how, "not computed: still above the level at the farthest arc, 250 m");
    EXPECT_EQ(prediction("falcon-4").observedLfl.how,
              "not computed: below the level already at the nearest arc, 50 m");
}

TEST(TrialComparisonTest, FencedTrialsApartAndUnreachedArcsNotComputed) {
    const auto &parts = comparison().parts();
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[0].name, "dense, open ground");
    EXPECT_EQ(parts[0].trials.size(), 10u);
    EXPECT_EQ(parts[0].pairs, 43u);
    EXPECT_EQ(parts[1].name, "dense, vapour fence");
    EXPECT_EQ(parts[1].trials, (std::vector<std::string>{"falcon-1", "falcon-3", "falcon-4"}));
    EXPECT_EQ(parts[1].pairs, 9u);
    // Burro 3's first curve is at 209 m: the 57 m and 140 m arcs have no prediction and say why; they are
    // not in the statistics.
    const TrialPrediction &burro = prediction("burro-3");
    EXPECT_TRUE(std::isnan(burro.pairs[1].predicted));
    EXPECT_EQ(burro.pairs[1].notComputed, "not computed: nearer than the dense-plume curves reach (209 m)");
    EXPECT_TRUE(std::isfinite(burro.pairs[2].predicted));
    std::size_t computed = 0;
    for (const TrialPrediction &p : comparison().trials())
        if (p.part == parts[0].name)
            for (const TrialPair &pair : p.pairs)
                computed += std::isfinite(pair.predicted) ? 1 : 0;
    EXPECT_EQ(parts[0].statistics.pairs, computed);
    // The model predicts too much on open ground: MG below 1 and FB below 0 in this convention.
    EXPECT_LT(parts[0].statistics.geometricMean, 1.0);
    EXPECT_LT(parts[0].statistics.fractionalBias, 0.0);
    EXPECT_FALSE(parts[0].verdict.acceptable);
}

TEST(TrialComparisonTest, ATrialWithoutAPoolIsNotComputedWithItsReason) {
    FieldTrial t = trial("burro-3");
    t.release.erase("poolDiameter");
    const TrialComparison one({t});
    const TrialPrediction &p = one.trials()[0];
    EXPECT_FALSE(p.plume.has_value());
    EXPECT_EQ(p.notComputed,
              "not computed: the file lacks the pool's diameter, evaporation flux or gas temperature");
    EXPECT_EQ(p.pairs[0].notComputed, p.notComputed);
    EXPECT_TRUE(std::isnan(p.predictedLfl.distance));
    EXPECT_EQ(one.parts()[0].statistics.pairs, 0u);
}

} // namespace
} // namespace ostreljet
