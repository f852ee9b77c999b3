#pragma once

#include "ostreljet/Export.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ostreljet {

// The performance measures of dispersion-model evaluation over pairs of observed (Co) and predicted (Cp)
// values, in the convention of Hanna, Chang and Strimaitis (1993) and Chang and Hanna (2004):
//   FB = (mean Co - mean Cp) / (0.5 (mean Co + mean Cp)),   NMSE = mean (Co - Cp)^2 / (mean Co mean Cp),
//   MG = exp(mean ln Co - mean ln Cp),   VG = exp(mean (ln Co - ln Cp)^2),
//   FAC2 = share of pairs with 0.5 <= Cp / Co <= 2.
// FB > 0 and MG > 1 mean that the model under-predicts. All functions are pure and may be called from any
// thread; the bootstrap draws from its own generator with a fixed seed, so the same pairs always give the
// same intervals. Values are dimensionless; Co and Cp may be in any unit, the same for both.

// A two-sided 95 % bootstrap confidence interval (percentile method).
struct ConfidenceInterval {
    double lower = 0.0; // 2.5th percentile of the resampled measure, -
    double upper = 0.0; // 97.5th percentile, -
};

struct EvaluationStatistics {
    std::size_t pairs = 0;                     // pairs that entered the measures (both values finite and > 0)
    std::size_t excluded = 0;                  // pairs left out: a value NaN, infinite, zero or negative
    double meanObserved = 0.0;                 // mean Co, in the pairs' unit
    double meanPredicted = 0.0;                // mean Cp, in the pairs' unit
    double fractionalBias = 0.0;               // FB, -
    double normalisedMeanSquareError = 0.0;    // NMSE, -
    double geometricMean = 0.0;                // MG, -
    double geometricVariance = 0.0;            // VG, -
    double factorOfTwo = 0.0;                  // FAC2, -
    ConfidenceInterval fractionalBiasInterval; // NaN bounds when not resampled
    ConfidenceInterval geometricMeanInterval;  // NaN bounds when not resampled
};

// Published bounds for an acceptable model; a NaN bound is not part of the set.
struct AcceptanceCriteria {
    std::string name;                  // e.g. "Chang and Hanna (2004), research-grade field data"
    std::string source;                // the citation, and how far the figures could be checked
    double maxAbsFractionalBias = 0.0; // |FB| <= this
    double maxNmse = 0.0;              // NMSE <= this
    double minGeometricMean = 0.0;     // MG >= this
    double maxGeometricMean = 0.0;     // MG <= this
    double maxGeometricVariance = 0.0; // VG <= this
    double minFactorOfTwo = 0.0;       // FAC2 >= this
};

// One measure against one bound.
struct CriterionCheck {
    std::string measure; // "FB", "NMSE", "MG", "VG" or "FAC2"
    double value = 0.0;  // the measure
    std::string bound;   // e.g. "0.7 <= MG <= 1.3"
    bool met = false;
};

struct EvaluationVerdict {
    bool acceptable = false;            // every bound of the set met (false when no pair was usable)
    std::vector<CriterionCheck> checks; // in the order FB, NMSE, MG, VG, FAC2
    std::string text;                   // one or two sentences naming the set, the failures and the bias
};

class OSTRELJET_EXPORT ModelEvaluation {
public:
    static constexpr std::size_t defaultResamples = 1000;
    static constexpr std::uint64_t defaultSeed = 20040101;

    // The measures over the usable pairs, with bootstrap intervals for FB and MG from `resamples` draws
    // (none when 0 or fewer than two pairs). Throws std::invalid_argument when the sizes differ.
    static EvaluationStatistics evaluate(const std::vector<double> &observed,
                                         const std::vector<double> &predicted,
                                         std::size_t resamples = defaultResamples,
                                         std::uint64_t seed = defaultSeed);

    // The statistics against a set of criteria.
    static EvaluationVerdict judge(const EvaluationStatistics &statistics,
                                   const AcceptanceCriteria &criteria);

    // Chang and Hanna (2004): the passive far field against research-grade field data.
    static const AcceptanceCriteria &changHanna2004();
    // Hanna, Chang and Strimaitis (1993): dense-gas models against the dense-gas field trials.
    static const AcceptanceCriteria &hannaChangStrimaitis1993();
};

} // namespace ostreljet
