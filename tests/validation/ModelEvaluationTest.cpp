// The evaluation measures against a hand-worked set, the literature's sign convention, the bootstrap's
// percentiles on a sample whose resampling distribution is known exactly, and the verdicts' texts.
#include "ostreljet/validation/ModelEvaluation.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace ostreljet {
namespace {

const double nan = std::numeric_limits<double>::quiet_NaN();

// Co = 1, 2, 4, 8 against Cp = 2 throughout (and two pairs that cannot enter: a NaN and a zero).
//   mean Co = 3.75, mean Cp = 2: FB = 1.75 / 2.875 = 14/23 = 0.608696;
//   (Co - Cp)^2 = 1, 0, 4, 36, mean 10.25: NMSE = 10.25 / 7.5 = 1.366667;
//   ln Co - ln Cp = -a, 0, a, 2a with a = ln 2: MG = exp(a / 2) = sqrt(2) = 1.414214,
//   VG = exp(1.5 a^2) = exp(0.720680) = 2.055830;
//   Cp / Co = 2, 1, 0.5, 0.25, both ends of [0.5, 2] count: FAC2 = 0.75.
EvaluationStatistics handWorked(std::size_t resamples = 0) {
    return ModelEvaluation::evaluate({1.0, 2.0, 4.0, 8.0, nan, 3.0}, {2.0, 2.0, 2.0, 2.0, 1.0, 0.0},
                                     resamples);
}

TEST(ModelEvaluationTest, MeasuresOfAHandWorkedSet) {
    const EvaluationStatistics s = handWorked();
    EXPECT_EQ(s.pairs, 4u);
    EXPECT_EQ(s.excluded, 2u);
    EXPECT_DOUBLE_EQ(s.meanObserved, 3.75);
    EXPECT_DOUBLE_EQ(s.meanPredicted, 2.0);
    EXPECT_NEAR(s.fractionalBias, 0.608696, 1e-6);
    EXPECT_NEAR(s.normalisedMeanSquareError, 1.366667, 1e-6);
    EXPECT_NEAR(s.geometricMean, 1.414214, 1e-6);
    EXPECT_NEAR(s.geometricVariance, 2.055830, 1e-6);
    EXPECT_DOUBLE_EQ(s.factorOfTwo, 0.75);
    // Without resampling there are no intervals.
    EXPECT_TRUE(std::isnan(s.geometricMeanInterval.lower));
    EXPECT_TRUE(std::isnan(s.fractionalBiasInterval.upper));
}

TEST(ModelEvaluationTest, AModelThatReadsLowHasPositiveBiasAndMgAboveOne) {
    // Predictions half the observations: FB = (3 - 1.5) / 2.25 = 2/3, MG = 2, FAC2 = 1 (ratio 0.5 counts).
    const EvaluationStatistics low = ModelEvaluation::evaluate({2.0, 4.0}, {1.0, 2.0}, 0);
    EXPECT_NEAR(low.fractionalBias, 2.0 / 3.0, 1e-12);
    EXPECT_NEAR(low.geometricMean, 2.0, 1e-12);
    EXPECT_DOUBLE_EQ(low.factorOfTwo, 1.0);
    // The same pairs the other way round read high.
    const EvaluationStatistics high = ModelEvaluation::evaluate({1.0, 2.0}, {2.0, 4.0}, 0);
    EXPECT_NEAR(high.fractionalBias, -2.0 / 3.0, 1e-12);
    EXPECT_NEAR(high.geometricMean, 0.5, 1e-12);
}

TEST(ModelEvaluationTest, BootstrapPercentilesOfAKnownResamplingDistribution) {
    // Two pairs with ratios Co/Cp of 1 and 1/4: a resample of two is (1, 1), (1/4, 1/4) or mixed with
    // probabilities 1/4, 1/4 and 1/2, so MG is 1, 1/4 or 1/2; with 1000 draws the 2.5th and 97.5th
    // percentiles are 1/4 and 1. FB is 0, (1 - 4) / 2.5 = -1.2 or (1 - 2.5) / 1.75 = -0.857143.
    const EvaluationStatistics s = ModelEvaluation::evaluate({1.0, 1.0}, {1.0, 4.0});
    EXPECT_DOUBLE_EQ(s.geometricMeanInterval.lower, 0.25);
    EXPECT_DOUBLE_EQ(s.geometricMeanInterval.upper, 1.0);
    EXPECT_NEAR(s.fractionalBiasInterval.lower, -1.2, 1e-12);
    EXPECT_NEAR(s.fractionalBiasInterval.upper, 0.0, 1e-12);
    // Equal ratios leave nothing to resample: the interval closes on the estimate.
    const EvaluationStatistics even = ModelEvaluation::evaluate({2.0, 4.0, 6.0}, {1.0, 2.0, 3.0});
    EXPECT_DOUBLE_EQ(even.geometricMeanInterval.lower, 2.0);
    EXPECT_DOUBLE_EQ(even.geometricMeanInterval.upper, 2.0);
    // A fixed seed gives the same intervals every time; another seed may not.
    const EvaluationStatistics again = handWorked(ModelEvaluation::defaultResamples);
    const EvaluationStatistics first = handWorked(ModelEvaluation::defaultResamples);
    EXPECT_EQ(first.geometricMeanInterval.lower, again.geometricMeanInterval.lower);
    EXPECT_EQ(first.fractionalBiasInterval.upper, again.fractionalBiasInterval.upper);
    EXPECT_LE(first.geometricMeanInterval.lower, first.geometricMean);
    EXPECT_GE(first.geometricMeanInterval.upper, first.geometricMean);
}

TEST(ModelEvaluationTest, NothingToCompareIsSaidSoAndMismatchedListsAreRefused) {
    const EvaluationStatistics none = ModelEvaluation::evaluate({nan, 0.0}, {1.0, 1.0});
    EXPECT_EQ(none.pairs, 0u);
    EXPECT_EQ(none.excluded, 2u);
    EXPECT_TRUE(std::isnan(none.geometricMean));
    const EvaluationVerdict verdict = ModelEvaluation::judge(none, ModelEvaluation::changHanna2004());
    EXPECT_FALSE(verdict.acceptable);
    EXPECT_EQ(verdict.text, "Not judged: no pair of observed and predicted values could be compared.");
    EXPECT_THROW(ModelEvaluation::evaluate({1.0}, {1.0, 2.0}), std::invalid_argument);
}

TEST(ModelEvaluationTest, VerdictsNameTheCriteriaTheFailuresAndTheBias) {
    const EvaluationStatistics s = handWorked();
    const EvaluationVerdict passive = ModelEvaluation::judge(s, ModelEvaluation::changHanna2004());
    EXPECT_FALSE(passive.acceptable);
    ASSERT_EQ(passive.checks.size(), 5u);
    EXPECT_EQ(passive.checks[1].bound, "NMSE <= 1.5");
    EXPECT_TRUE(passive.checks[1].met);
    EXPECT_EQ(passive.text,
              "Fails the acceptance criteria of Chang and Hanna (2004): FB 0.61 (needs |FB| <= 0.3); "
              "MG 1.41 (needs 0.7 <= MG <= 1.3). On the geometric mean the model under-predicts by "
              "a factor of 1.41.");
    // The dense-gas set has no FB or NMSE bound and a tighter scatter.
    const EvaluationVerdict dense = ModelEvaluation::judge(s, ModelEvaluation::hannaChangStrimaitis1993());
    ASSERT_EQ(dense.checks.size(), 3u);
    EXPECT_EQ(dense.text,
              "Fails the acceptance criteria of Hanna, Chang and Strimaitis (1993): VG 2.06 (needs VG "
              "<= 1.6). On the geometric mean the model under-predicts by a factor of 1.41.");
    // A model a quarter high on every pair: MG = 0.8, VG = exp((ln 0.8)^2) = 1.051, FB = -1.5 / 6.75 =
    // -0.222, NMSE = 2.5 / 45 = 0.056, FAC2 = 1.
    const EvaluationStatistics high = ModelEvaluation::evaluate({4.0, 8.0}, {5.0, 10.0}, 0);
    EXPECT_EQ(ModelEvaluation::judge(high, ModelEvaluation::changHanna2004()).text,
              "Meets the acceptance criteria of Chang and Hanna (2004). On the geometric mean the model "
              "over-predicts by a factor of 1.25.");
}

} // namespace
} // namespace ostreljet
