#pragma once

#include "ostreljet/Export.hpp"
#include "ostreljet/validation/FieldTrial.hpp"
#include "ostreljet/validation/ModelEvaluation.hpp"
#include "ostreljet/validation/PoolPlume.hpp"

#include <optional>
#include <string>
#include <vector>

namespace ostreljet {

// The field trials against the model's predictions: each pool trial's ground-level plume started directly
// from its published pool (PoolPlume), the arc maxima predicted at every observed distance, the
// statistics per part (ModelEvaluation, judged against Hanna, Chang and Strimaitis 1993 for dense gases)
// and the distance to the lower flammable limit, predicted and observed. Fenced trials (pools inside a
// vapour fence) are a part of their own. Plain data once built; units: m, volume fractions.
// Phases: per trial, the source and weather from the file, the plume, the pairs and the LFL distances;
// then the statistics per part.

// One observed arc maximum and its prediction.
struct TrialPair {
    std::string trial;       // the trial's id
    double distance = 0.0;   // m from the source
    double observed = 0.0;   // volume fraction
    double predicted = 0.0;  // volume fraction; NaN when not computed
    std::string notComputed; // why, when predicted is NaN
};

// The distance to a level, or why there is none.
struct LevelDistance {
    double distance = 0.0; // m; NaN when not computed
    std::string how;       // how it was found, or why it was not
};

struct TrialPrediction {
    std::string id;
    std::string title;
    std::string part;                    // the statistics' part it belongs to (see TrialComparison::parts)
    std::string notComputed;             // why the whole trial has no prediction; empty when it has one
    PoolSource source;                   // as used
    PoolWeather weather;                 // as used
    std::string windHow;                 // how the wind at 10 m was taken from the file
    std::optional<PoolPlume> plume;      // present when computed
    std::vector<std::string> notes;      // assumptions, in plain words
    std::vector<TrialPair> pairs;        // one per arc maximum, in the file's order
    double lowerFlammabilityLimit = 0.0; // volume fraction; NaN when the gas has none
    LevelDistance observedLfl;           // interpolated from the arc maxima
    LevelDistance predictedLfl;          // from the plume
};

struct TrialPart {
    std::string name;                // e.g. "dense, open ground"
    std::string description;         // what it holds, in plain words
    std::vector<std::string> trials; // ids
    std::size_t pairs = 0;           // pairs observed, computed or not
    EvaluationStatistics statistics; // over the computed pairs
    EvaluationVerdict verdict;       // against Hanna, Chang and Strimaitis (1993)
};

class OSTRELJET_EXPORT TrialComparison {
public:
    explicit TrialComparison(const std::vector<FieldTrial> &trials);

    const std::vector<TrialPrediction> &trials() const { return trials_; }
    const std::vector<TrialPart> &parts() const { return parts_; }

    // What every front says of how the pools were modelled.
    static constexpr const char *kMethod =
        "the trials' sources are evaporating pools, which the jet model does not accept: each is started "
        "directly in the far field, as a Britter-McQuaid dense continuous plume from the published pool "
        "(diameter, evaporation flux, gas temperature) handing over to a passive Gaussian plume, and its "
        "ground-level centreline concentration is compared with the arc maxima";
    static constexpr double kStandardPressure = 101325.0; // Pa, ISO 2533 standard atmosphere at sea level

    // The series whose pools were inside a vapour fence (validation/trials/README.md): a part of their own.
    static bool fenced(const FieldTrial &trial);
    // The wind speed at 10 m from a trial's file and how it was found; NaN when the file has no wind.
    static double windAt10m(const FieldTrial &trial, std::string &how);
    // The observed distance to a level from arc maxima (distance m, volume fraction), interpolated
    // linearly in log distance against log concentration between the farthest arc at or above the level and
    // the next one out.
    static LevelDistance observedDistanceTo(const std::vector<TrialObservation> &arcs, double level);

private:
    std::vector<TrialPrediction> trials_;
    std::vector<TrialPart> parts_;
};

} // namespace ostreljet
