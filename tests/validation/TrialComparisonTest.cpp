// The trials against the model: one pool prediction worked out by hand from the workbook's curves, the
// hand-over from the dense to the passive plume, the wind at 10 m and the observed LFL distance by hand,
// the fenced trials kept apart, the arcs the dense-plume curves do not reach said to be not computed; one
// Prairie Grass run worked out by hand from the Gaussian formula and Briggs's sigmas, and the passive part
// judged against its own criteria.
#include "ostreljet/validation/TrialComparison.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
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
    ASSERT_EQ(parts.size(), 3u);
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

TEST(TrialComparisonTest, PrairieGrass22WorkedByHandFromTheGaussianFormulaAndBriggsSigmas) {
    // Run 22: 48.4 g/s from 0.46 m, samplers at 1.5 m, L = 204 m over z0 = 0.008 m (class D), 7.39 m/s at
    // 2 m carried to 10 m by the log law: 7.39 ln(10 / 0.008) / ln(2 / 0.008) = 7.39 x 7.13090 / 5.52146
    // = 9.54409 m/s. Briggs rural D (Hanna, Briggs and Hosker 1982): sigma_y = 0.08 x (1 + 0.0001 x)^-0.5,
    // sigma_z = 0.06 x (1 + 0.0015 x)^-0.5; 10-minute samples need no averaging-time factor.
    // At 100 m: sigma_y = 8 / 1.004988 = 7.96030 m, sigma_z = 6 / 1.072381 = 5.59503 m;
    // C = Q / (2 pi sy sz u) [exp(-(1.5 - 0.46)^2 / (2 sz^2)) + exp(-(1.5 + 0.46)^2 / (2 sz^2))]
    //   = 0.0484 / 2670.6 x (0.98288 + 0.94044) = 3.4855e-5 kg/m3 = 34.855 mg/m3, against 81.8 observed.
    // At 800 m: sigma_y = 64 / 1.03923 = 61.5840 m, sigma_z = 48 / 1.48324 = 32.3616 m; C = 0.80901 mg/m3.
    const TrialPrediction &p = prediction("prairie-grass-22");
    EXPECT_EQ(p.part, "passive, point source");
    ASSERT_TRUE(p.pointPlume.has_value());
    EXPECT_EQ(p.pointWeather.stabilityClass, 3);
    EXPECT_NEAR(p.pointWeather.windSpeed, 9.54409, 1e-5);
    EXPECT_EQ(p.windHow, "carried from 7.39 m/s at 2 m by the neutral log law (z0 = 0.008 m)");
    EXPECT_NEAR(p.pointPlume->sigmaY(100.0), 7.96030, 1e-5);
    EXPECT_NEAR(p.pointPlume->sigmaZ(100.0), 5.59503, 1e-5);
    ASSERT_EQ(p.pairs.size(), 5u);
    EXPECT_DOUBLE_EQ(p.pairs[1].distance, 100.0);
    EXPECT_NEAR(p.pairs[1].predicted * 1e6, 34.855, 1e-3);
    EXPECT_NEAR(p.pairs[1].observed * 1e6, 81.8, 1e-9);
    EXPECT_NEAR(p.pairs[4].predicted * 1e6, 0.80901, 1e-5);
    EXPECT_EQ(p.pairs[1].measure, TrialObservation::kMassConcentration);
    // The 50 m arc is nearer than the Briggs curves are meant for, and the notes say so.
    EXPECT_NE(std::find(p.notes.begin(), p.notes.end(),
                        "the arc at 50 m is nearer than the 100 m from which the Briggs curves are meant: "
                        "they are extrapolated there"),
              p.notes.end());
    // A tracer has no flammable limit to look for.
    EXPECT_TRUE(std::isnan(p.lowerFlammabilityLimit));
    EXPECT_EQ(p.predictedLfl.how, "not computed: a tracer, compared by concentration only");
}

TEST(TrialComparisonTest, ThePassivePartIsJudgedAgainstChangAndHanna2004) {
    const TrialPart &passive = comparison().parts()[2];
    EXPECT_EQ(passive.name, "passive, point source");
    EXPECT_EQ(passive.trials.size(), 53u);
    EXPECT_EQ(passive.pairs, 263u);
    EXPECT_EQ(passive.statistics.pairs, 263u); // every arc is computed, extrapolated below 100 m
    EXPECT_EQ(passive.measure, TrialObservation::kMassConcentration);
    ASSERT_EQ(passive.verdict.checks.size(), 5u);
    EXPECT_EQ(passive.verdict.checks[0].bound, "|FB| <= 0.3");
    EXPECT_EQ(passive.verdict.checks[1].bound, "NMSE <= 1.5");
    EXPECT_EQ(passive.verdict.checks[2].bound, "0.7 <= MG <= 1.3");
    EXPECT_EQ(passive.verdict.checks[3].bound, "VG <= 4");
    EXPECT_EQ(passive.verdict.checks[4].bound, "FAC2 >= 0.5");
    EXPECT_EQ(passive.verdict.text.rfind("Fails the acceptance criteria of Chang and Hanna (2004)", 0), 0u);
    // Every class from A to F is among the runs.
    std::set<int> classes;
    for (const TrialPrediction &p : comparison().trials())
        if (p.pointPlume)
            classes.insert(p.pointWeather.stabilityClass);
    EXPECT_EQ(classes, (std::set<int>{0, 1, 2, 3, 4, 5}));
}

TEST(TrialComparisonTest, APointTrialWithoutItsSamplersHeightOrInVolumeFractionsIsNotComputed) {
    FieldTrial t = trial("prairie-grass-22");
    t.samplingHeight.missing = "not given";
    EXPECT_EQ(TrialComparison({t}).trials()[0].notComputed,
              "not computed: the file lacks the samplers' height");
    t = trial("prairie-grass-22");
    t.observations[0].measure = TrialObservation::kVolumeFraction;
    const TrialComparison one({t});
    EXPECT_EQ(one.trials()[0].notComputed,
              "not computed: a point-source trial is compared in mass concentration, and its observations "
              "are volume fractions");
    EXPECT_FALSE(one.trials()[0].pointPlume.has_value());
    EXPECT_TRUE(std::isnan(one.trials()[0].pairs[3].predicted));
}

TEST(TrialComparisonTest, APointPlumeRefusesANonPhysicalInputAndComputesNothingAtTheSource) {
    try {
        PointPlume({0.05, 0.46, 1.5}, {0.0, 3, 600.0});
        FAIL() << "a calm was accepted";
    } catch (const std::invalid_argument &e) {
        EXPECT_STREQ(e.what(), "point plume: wind speed must be finite and positive, not 0.000000");
    }
    EXPECT_THROW(PointPlume({0.05, -1.0, 1.5}, {5.0, 3, 600.0}), std::invalid_argument);
    const PointPlume plume({0.05, 0.46, 1.5}, {5.0, 3, std::nullopt});
    EXPECT_TRUE(std::isnan(plume.concentrationAt(0.0)));
    EXPECT_EQ(plume.notes().front(),
              "no averaging time given: sigma_y is the Briggs curves' own, not corrected");
    // An hour's average widens sigma_y by (3600 / 600)^0.2 = 1.4310 (Hanna, Briggs and Hosker 1982).
    const PointPlume hour({0.05, 0.46, 1.5}, {5.0, 3, 3600.0});
    EXPECT_NEAR(hour.sigmaY(100.0) / plume.sigmaY(100.0), 1.43097, 1e-5);
    EXPECT_NEAR(plume.concentrationAt(100.0) / hour.concentrationAt(100.0), 1.43097, 1e-5);
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
