#pragma once

#include "ostreljet/Export.hpp"

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet {

// A field trial as published: source terms, weather and observed concentrations read from one file of
// validation/trials/ (the layout is in that folder's README). Every figure keeps the key of the reference
// it was transcribed from; a figure the sources do not give is kept as missing, with the reason. Values
// are converted to SI units on reading (temperatures to K, pressures to Pa, concentrations to volume
// fractions or, for a trial published in mass per volume, to kg/m3, relative humidity to a fraction). A trial
// is a plain value: reading is thread-safe, and a trial may be shared between threads once read.

// A bad trial file: the message names the file and the key at fault.
class OSTRELJET_EXPORT FieldTrialError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct TrialFigure {
    double value = 0.0;  // in SI units (see the member that holds it); NaN when missing
    std::string source;  // key of the reference the figure was transcribed from; empty when missing
    std::string missing; // why the sources do not give it; empty when present
    std::string note;    // what the source says about the figure, if anything
    bool present() const { return missing.empty(); }
};

struct TrialReference {
    std::string key;             // as figures name it, e.g. "summary"
    std::string authors;         // e.g. "Koopman, R. P. et al."
    std::string year;            // publication year, or why there is none
    std::string title;           // title of the report, paper or data set
    std::string table;           // the table, file or passage the figures come from (may be empty when
                                 // `report` names the publication)
    std::string report;          // report number or journal, when given
    std::string transcribedFrom; // the document and revision actually read, when it is not the original
};

struct TrialObservation {
    static constexpr const char *kVolumeFraction = "volume fraction";
    static constexpr const char *kMassConcentration = "mass concentration";

    std::string kind;                      // "arc maximum" or "centreline"
    TrialFigure distance;                  // downwind distance from the source, m
    TrialFigure concentration;             // volume fraction, or kg/m3 when `measure` is kMassConcentration
    std::string measure = kVolumeFraction; // kVolumeFraction or kMassConcentration, the same for a trial
};

// One point of a measured profile: a height and a wind speed (m/s) or a temperature (K).
struct TrialProfilePoint {
    TrialFigure height; // m
    TrialFigure value;  // m/s or K
};

class OSTRELJET_EXPORT FieldTrial {
public:
    static FieldTrial fromText(std::string_view text, const std::string &name);
    static FieldTrial fromFile(const std::string &path);
    // Every *.json file of a folder, in file-name order.
    static std::vector<FieldTrial> fromDirectory(const std::string &folder);
    // The project's trials (validation/trials/*.json), built into the library, in file-name order.
    static std::vector<FieldTrial> builtIn();
    static constexpr const char *builtInName = "validation/trials (built in)";

    std::string file;        // where it was read from
    std::string id;          // e.g. "burro-3"
    std::string title;       // e.g. "Burro 3"
    std::string series;      // e.g. "Burro"
    std::string part;        // the part of the model it tests: "passive", "dense" or "jet"
    std::string sourceKind;  // "pool", "point" or "jet"
    std::string gas;         // e.g. "methane"
    std::string description; // in plain words, with what limits the trial's use
    std::vector<TrialReference> references;
    // Source terms by key, SI: spilledMass kg, spillDuration s, poolDiameter m, evaporationFlux
    // kg/(m2 s), sourceTemperature K, releaseRate kg/s, releaseHeight m (of the release),
    // orificeDiameter m.
    std::map<std::string, TrialFigure> release;
    // Weather by key, SI: pressure Pa, temperature K, relativeHumidity fraction, moninObukhovLength m,
    // frictionVelocity m/s, roughnessLength m, temperatureScale K, surfaceHeatFlux W/m2, windSpeed m/s,
    // windHeight m.
    std::map<std::string, TrialFigure> weather;
    std::vector<TrialProfilePoint> windProfile;        // speeds, m/s
    std::vector<TrialProfilePoint> temperatureProfile; // temperatures, K
    TrialFigure averagingTime;                         // s
    TrialFigure samplingHeight; // m above the ground of the samplers; missing when the file does not say
    std::vector<TrialObservation> observations;

    const TrialReference *reference(const std::string &key) const;
    // The figures present and the figures missing, over the whole trial.
    std::size_t figureCount() const;
    std::size_t missingCount() const;
    // The mean release rate, kg/s: the published rate, else the spilled mass over the spill duration;
    // NaN when neither is known.
    double releaseRate() const;
};

} // namespace ostreljet
