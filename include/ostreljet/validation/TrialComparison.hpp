#pragma once

#include "ostreljet/Export.hpp"
#include "ostreljet/validation/FieldTrial.hpp"
#include "ostreljet/validation/ModelEvaluation.hpp"
#include "ostreljet/validation/PointPlume.hpp"
#include "ostreljet/validation/PoolPlume.hpp"

#include <optional>
#include <string>
#include <vector>

namespace ostreljet {

// The field trials against the model's predictions: each pool trial's ground-level plume started directly
// from its published pool (PoolPlume), each point-source trial's passive Gaussian plume started directly
// from the point (PointPlume), the arc maxima predicted at every observed distance, the statistics per
// part (ModelEvaluation, judged against Hanna, Chang and Strimaitis 1993 for dense gases and Chang and
// Hanna 2004 for the passive part) and the distance to the lower flammable limit, predicted and observed.
// Fenced trials (pools inside a vapour fence) are a part of their own. Plain data once built; units: m,
// and the concentrations in the trial's own measure (volume fractions, or kg/m3 for trials published in
// mass per volume). Phases: per trial, the source and weather from the file, the plume, the pairs and the
// LFL distances; then the statistics per part.

// One observed arc maximum and its prediction.
struct TrialPair {
    std::string trial;                                       // the trial's id
    double distance = 0.0;                                   // m from the source
    double observed = 0.0;                                   // in `measure`: volume fraction, or kg/m3
    double predicted = 0.0;                                  // the same; NaN when not computed
    std::string notComputed;                                 // why, when predicted is NaN
    std::string measure = TrialObservation::kVolumeFraction; // TrialObservation's measures
};

// The distance to a level, or why there is none.
struct LevelDistance {
    double distance = 0.0; // m; NaN when not computed
    std::string how;       // how it was found, or why it was not
};

struct TrialPrediction {
    std::string id;
    std::string title;
    std::string part;                     // the statistics' part it belongs to (see TrialComparison::parts)
    std::string notComputed;              // why the whole trial has no prediction; empty when it has one
    std::string sourceKind;               // the trial's: "pool", "point" or "jet"
    std::string method;                   // how it was compared, in plain words (kMethod or kPointMethod)
    PoolSource source;                    // as used, for a pool
    PoolWeather weather;                  // as used, for a pool
    std::string windHow;                  // how the wind at 10 m was taken from the file
    std::optional<PoolPlume> plume;       // present when computed, for a pool
    PointRelease pointRelease;            // as used, for a point source
    PointWeather pointWeather;            // as used, for a point source
    std::optional<PointPlume> pointPlume; // present when computed, for a point source
    std::vector<std::string> notes;       // assumptions, in plain words
    std::vector<TrialPair> pairs;         // one per arc maximum, in the file's order
    double lowerFlammabilityLimit = 0.0;  // volume fraction; NaN when the gas has none
    LevelDistance observedLfl;            // interpolated from the arc maxima
    LevelDistance predictedLfl;           // from the plume
};

struct TrialPart {
    std::string name;                // e.g. "dense, open ground"
    std::string description;         // what it holds, in plain words
    std::vector<std::string> trials; // ids
    std::size_t pairs = 0;           // pairs observed, computed or not
    EvaluationStatistics statistics; // over the computed pairs
    std::string measure;             // the pairs' measure (TrialObservation's)
    EvaluationVerdict verdict;       // against Hanna, Chang and Strimaitis (1993) for the dense parts,
                                     // Chang and Hanna (2004) for the passive part
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
    static constexpr const char *kPointMethod =
        "the trials' sources are points near the ground with no jet to follow: each is started directly "
        "in the far field, as a passive Gaussian plume from the point (Briggs's rural sigmas for the "
        "Pasquill class nearest the trial's Monin-Obukhov length over its roughness, the wind carried to "
        "10 m, reflection at the ground), and its concentration below the plume's axis at the samplers' "
        "height is compared with the arc maxima";
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
