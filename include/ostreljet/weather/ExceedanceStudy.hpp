#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/mapping/PlaneGrid.hpp"
#include "ostreljet/weather/WeatherRose.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ostreljet::weather {

// How often each level is exceeded around a site over a year of weather: one run of a release per case
// of a weather rose, and on a horizontal grid the summed frequency of the cases whose concentration is at
// or above each level there. Lengths in m (site frame), concentrations in volume fraction, probabilities
// as fractions of the time. A study's functions may run on any thread; each uses its own models.

// Writes a weather case into a model that holds the scenario: the wind's bearing (from windFrom), speed,
// stability and, when the case gives it, the air temperature. A release that is not vertical keeps its
// bearing relative to the wind: its bearing in the scenario is read for the scenario's own wind.
OSTRELJET_EXPORT void applyWeatherCase(const WeatherCase &weather, JetModel &model);

// The outcome of one weather case.
struct OSTRELJET_EXPORT CaseOutcome {
    bool computed = false; // false when validation or the source checks refused the run
    std::string message;   // the message that ended or refused the run
};

struct OSTRELJET_EXPORT ExceedanceResult {
    mapping::PlaneGrid grid;
    std::vector<double> levels;                    // volume fraction
    std::vector<mapping::PlaneValues> probability; // per level, values[i * ny + j]
    mapping::PlaneValues worst;                    // the greatest concentration over the computed cases
    std::vector<CaseOutcome> outcomes;             // per case, in the rose's order
    std::int32_t refusedCases = 0;
    double refusedFrequency = 0.0; // summed frequency of the refused cases
    // True when each case's plume carries on past the jet through the far field: a cut is then where the
    // far field ends, not where the jet's run does.
    bool farField = false;
    // Per level: the computed cases whose region is cut off, still exceeded where the far field ends (or,
    // for the jet alone, where the run ends), so that the probabilities beyond are lower bounds.
    std::vector<std::int32_t> cutCases;
    std::vector<double> cutFrequency;
};

// Called on the calling thread with the cases done and their total.
using StudyProgress = std::function<void(std::int64_t done, std::int64_t total)>;

// Runs every case of the rose on `threads` threads (0: one per core) and sums, in the rose's order so
// that the result does not depend on the threads, the frequency of each case into every node where its
// whole plume (the jet, then the scenario's far field) is at or above a level. Without a far field, a
// level below the scenario's stopping concentration, where no field is computed, is refused
// (std::invalid_argument naming both). Phases: hand the cases out one at
// a time; each worker applies
// its case, runs it and samples its field on the grid; the results are added in case order.
OSTRELJET_EXPORT ExceedanceResult computeExceedance(const Scenario &scenario, const WeatherRose &rose,
                                                    const std::vector<double> &levels,
                                                    const mapping::PlaneGrid &grid, unsigned threads,
                                                    const StudyProgress &progress = {});

// Adds one case's concentrations on the grid into the probabilities: frequency into every node at or
// above each level, and the greatest concentration into `worst`. Every front adds cases through this.
OSTRELJET_EXPORT void addCase(ExceedanceResult &result, const mapping::PlaneValues &values, double frequency);

// How far from the source (m) the lowest level reaches at height z in any case of the rose, found by
// each case's footprint search at a coarse resolution; absent when no case reaches it.
OSTRELJET_EXPORT std::optional<double> greatestReach(const Scenario &scenario, const WeatherRose &rose,
                                                     double level, double z, unsigned threads);

// For each probability, the greatest distance (m) from (sourceX, sourceY) of a node whose probability is
// at least it; absent when no node is. `atEdge` is set when that node lies on the grid's edge, so the
// probability may reach farther than the grid.
struct OSTRELJET_EXPORT ProbabilityReach {
    double probability = 0.0;
    std::optional<double> distance; // m
    bool atEdge = false;
};
OSTRELJET_EXPORT std::vector<ProbabilityReach> probabilityReach(const mapping::PlaneGrid &grid,
                                                                const mapping::PlaneValues &probability,
                                                                const std::vector<double> &probabilities,
                                                                double sourceX, double sourceY);

} // namespace ostreljet::weather
