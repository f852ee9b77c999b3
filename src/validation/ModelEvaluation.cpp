#include "ostreljet/validation/ModelEvaluation.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <stdexcept>

namespace ostreljet {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool usable(double value) {
    return std::isfinite(value) && value > 0.0;
}

// Sums over one sample of pairs, from which every measure follows.
struct Sums {
    double observed = 0.0;
    double predicted = 0.0;
    double squaredDifference = 0.0;
    double logRatio = 0.0;        // sum of ln Co - ln Cp
    double squaredLogRatio = 0.0; // sum of (ln Co - ln Cp)^2
    std::size_t withinTwo = 0;
    std::size_t count = 0;

    void add(double co, double cp) {
        observed += co;
        predicted += cp;
        squaredDifference += (co - cp) * (co - cp);
        const double l = std::log(co) - std::log(cp);
        logRatio += l;
        squaredLogRatio += l * l;
        const double ratio = cp / co;
        if (ratio >= 0.5 && ratio <= 2.0) {
            ++withinTwo;
        }
        ++count;
    }
    double fractionalBias() const { return (observed - predicted) / (0.5 * (observed + predicted)); }
    double geometricMean() const { return std::exp(logRatio / static_cast<double>(count)); }
};

// The 2.5th and 97.5th percentiles of a sorted sample.
ConfidenceInterval percentiles(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t tail = values.size() * 25 / 1000;
    return {values[tail], values[values.size() - 1 - tail]};
}

std::string fixed(double value, int digits) {
    std::ostringstream out;
    out.setf(std::ios::fixed);
    out.precision(digits);
    out << value;
    return out.str();
}

// The shortest plain form of a bound: 0.3, 1.5, 4.
std::string plain(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

} // namespace

EvaluationStatistics ModelEvaluation::evaluate(const std::vector<double> &observed,
                                               const std::vector<double> &predicted, std::size_t resamples,
                                               std::uint64_t seed) {
    // Keeps the usable pairs, sums them for the measures, then resamples them with replacement for the
    // intervals of FB and MG.
    if (observed.size() != predicted.size()) {
        throw std::invalid_argument("model evaluation: " + std::to_string(observed.size()) +
                                    " observed values but " + std::to_string(predicted.size()) +
                                    " predicted values");
    }
    EvaluationStatistics out;
    std::vector<double> co;
    std::vector<double> cp;
    Sums sums;
    for (std::size_t i = 0; i < observed.size(); ++i) {
        if (usable(observed[i]) && usable(predicted[i])) {
            co.push_back(observed[i]);
            cp.push_back(predicted[i]);
            sums.add(observed[i], predicted[i]);
        } else {
            ++out.excluded;
        }
    }
    out.pairs = sums.count;
    out.fractionalBiasInterval = {kNaN, kNaN};
    out.geometricMeanInterval = {kNaN, kNaN};
    if (sums.count == 0) {
        out.meanObserved = out.meanPredicted = kNaN;
        out.fractionalBias = out.normalisedMeanSquareError = kNaN;
        out.geometricMean = out.geometricVariance = out.factorOfTwo = kNaN;
        return out;
    }
    const double n = static_cast<double>(sums.count);
    out.meanObserved = sums.observed / n;
    out.meanPredicted = sums.predicted / n;
    out.fractionalBias = sums.fractionalBias();
    out.normalisedMeanSquareError = (sums.squaredDifference / n) / (out.meanObserved * out.meanPredicted);
    out.geometricMean = sums.geometricMean();
    out.geometricVariance = std::exp(sums.squaredLogRatio / n);
    out.factorOfTwo = static_cast<double>(sums.withinTwo) / n;

    if (resamples == 0 || sums.count < 2) {
        return out;
    }
    // The Mersenne Twister's output is fixed by the standard, unlike the library's distributions, so the
    // indices are drawn by reduction modulo n (its bias, below n / 2^64, is immaterial here).
    std::mt19937_64 engine(seed);
    std::vector<double> biases;
    std::vector<double> means;
    biases.reserve(resamples);
    means.reserve(resamples);
    for (std::size_t r = 0; r < resamples; ++r) {
        Sums sample;
        for (std::size_t k = 0; k < co.size(); ++k) {
            const std::size_t i = static_cast<std::size_t>(engine() % co.size());
            sample.add(co[i], cp[i]);
        }
        biases.push_back(sample.fractionalBias());
        means.push_back(sample.geometricMean());
    }
    out.fractionalBiasInterval = percentiles(std::move(biases));
    out.geometricMeanInterval = percentiles(std::move(means));
    return out;
}

EvaluationVerdict ModelEvaluation::judge(const EvaluationStatistics &s, const AcceptanceCriteria &criteria) {
    // Checks each bound the set has, then says in words which failed and which way the model is biased.
    EvaluationVerdict verdict;
    if (s.pairs == 0) {
        verdict.text = "Not judged: no pair of observed and predicted values could be compared.";
        return verdict;
    }
    auto check = [&](const char *measure, double value, const std::string &bound, bool met) {
        verdict.checks.push_back({measure, value, bound, met});
    };
    if (!std::isnan(criteria.maxAbsFractionalBias)) {
        check("FB", s.fractionalBias, "|FB| <= " + plain(criteria.maxAbsFractionalBias),
              std::fabs(s.fractionalBias) <= criteria.maxAbsFractionalBias);
    }
    if (!std::isnan(criteria.maxNmse)) {
        check("NMSE", s.normalisedMeanSquareError, "NMSE <= " + plain(criteria.maxNmse),
              s.normalisedMeanSquareError <= criteria.maxNmse);
    }
    if (!std::isnan(criteria.minGeometricMean)) {
        check("MG", s.geometricMean,
              plain(criteria.minGeometricMean) + " <= MG <= " + plain(criteria.maxGeometricMean),
              s.geometricMean >= criteria.minGeometricMean && s.geometricMean <= criteria.maxGeometricMean);
    }
    if (!std::isnan(criteria.maxGeometricVariance)) {
        check("VG", s.geometricVariance, "VG <= " + plain(criteria.maxGeometricVariance),
              s.geometricVariance <= criteria.maxGeometricVariance);
    }
    if (!std::isnan(criteria.minFactorOfTwo)) {
        check("FAC2", s.factorOfTwo, "FAC2 >= " + plain(criteria.minFactorOfTwo),
              s.factorOfTwo >= criteria.minFactorOfTwo);
    }
    std::string failures;
    for (const CriterionCheck &c : verdict.checks) {
        if (!c.met) {
            failures += (failures.empty() ? "" : "; ") + c.measure + " " + fixed(c.value, 2) + " (needs " +
                        c.bound + ")";
        }
    }
    verdict.acceptable = failures.empty();
    std::string text = verdict.acceptable
                           ? "Meets the acceptance criteria of " + criteria.name + "."
                           : "Fails the acceptance criteria of " + criteria.name + ": " + failures + ".";
    // MG is observed over predicted: above 1 the model is low.
    if (s.geometricMean > 1.0) {
        text += " On the geometric mean the model under-predicts by a factor of " +
                fixed(s.geometricMean, 2) + ".";
    } else if (s.geometricMean < 1.0) {
        text += " On the geometric mean the model over-predicts by a factor of " +
                fixed(1.0 / s.geometricMean, 2) + ".";
    }
    verdict.text = text;
    return verdict;
}

const AcceptanceCriteria &ModelEvaluation::changHanna2004() {
    // Chang, J. C. and Hanna, S. R. (2004), Air quality model performance evaluation, Meteorology and
    // Atmospheric Physics 87, 167-196: for research-grade field experiments, FAC2 >= 0.5, mean bias within
    // about 30 % (|FB| <= 0.3, 0.7 <= MG <= 1.3) and random scatter within a factor of two to three of the
    // mean (NMSE <= 1.5, VG <= 4).
    static const AcceptanceCriteria criteria{
        "Chang and Hanna (2004)",
        "Chang, J. C. and Hanna, S. R. (2004), Air quality model performance evaluation, Meteorology and "
        "Atmospheric Physics 87, 167-196, acceptance criteria for research-grade field experiments. Only "
        "the paper's summary could be read here (a transcription on a public document-sharing page): it "
        "asks of a good model a relative mean bias under about 30 %, which gives |FB| <= 0.3 and "
        "0.7 <= MG <= 1.3, and a relative scatter under about a factor of two. The bounds NMSE <= 1.5, "
        "VG <= 4 and FAC2 >= 0.5 are as commonly quoted and could not be checked against the paper.",
        0.3,
        1.5,
        0.7,
        1.3,
        4.0,
        0.5};
    return criteria;
}

const AcceptanceCriteria &ModelEvaluation::hannaChangStrimaitis1993() {
    // Hanna, S. R., Chang, J. C. and Strimaitis, D. G. (1993), Hazardous gas model evaluation with field
    // observations, Atmospheric Environment 27A, 2265-2285: MG from 0.5 to 2 is a mean bias within a factor
    // of two, VG of 1.6 a typical scatter of a factor of two (exp((ln 2)^2) = 1.617), and half the
    // predictions within a factor of two.
    static const AcceptanceCriteria criteria{
        "Hanna, Chang and Strimaitis (1993)",
        "Hanna, S. R., Chang, J. C. and Strimaitis, D. G. (1993), Hazardous gas model evaluation with field "
        "observations, Atmospheric Environment 27A, 2265-2285: a mean bias and a typical scatter within a "
        "factor of two. The paper could not be read here: the bounds are as commonly quoted, and VG = 1.6 "
        "for a factor-of-two scatter was checked by hand.",
        kNaN,
        kNaN,
        0.5,
        2.0,
        1.6,
        0.5};
    return criteria;
}

} // namespace ostreljet
