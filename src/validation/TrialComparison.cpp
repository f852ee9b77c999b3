#include "ostreljet/validation/TrialComparison.hpp"

#include "ostreljet/atmosphere/CAtmosSurfaceLayerProf.hpp"
#include "ostreljet/gases/GasTable.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace ostreljet {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kWorkbookWindHeight = 10.0; // m, the height of the workbook's wind speed
constexpr double kBriggsNearest = 100.0;     // m, the nearest distance the Briggs curves are meant for

// The parts of the statistics, in the order they are reported.
constexpr const char *kOpenGround = "dense, open ground";
constexpr const char *kFenced = "dense, vapour fence";
constexpr const char *kPassive = "passive, point source";

std::string figure(double value, int digits) {
    std::ostringstream text;
    text.precision(digits);
    text << value;
    return text.str();
}

// The Pasquill class the Briggs sigmas take, from the Monin-Obukhov length (m) over the roughness (m),
// with a note saying so, and the trial's averaging time where the file gives one: for a pool's weather
// and a point source's alike.
template <typename Weather>
void classAndAveraging(Weather &weather, const FieldTrial &t, double length, double roughness,
                       std::vector<std::string> &notes) {
    weather.stabilityClass = CAtmosSurfaceLayerProf::stabilityClassFor(1.0 / length, roughness);
    notes.push_back("Pasquill class " + std::string(1, static_cast<char>('A' + weather.stabilityClass)) +
                    " for the Briggs sigmas, the class nearest to L = " + figure(length, 4) +
                    " m over z0 = " + figure(roughness, 3) + " m");
    if (t.averagingTime.present())
        weather.averagingTime = t.averagingTime.value;
}

std::string percent(double fraction) {
    return figure(100.0 * fraction, 3) + " %";
}

std::string metres(double value) {
    std::ostringstream text;
    text.setf(std::ios::fixed);
    text.precision(0);
    text << value << " m";
    return text.str();
}

const TrialFigure *present(const std::map<std::string, TrialFigure> &figures, const char *key) {
    const auto found = figures.find(key);
    return found != figures.end() && found->second.present() ? &found->second : nullptr;
}

// A trial's prediction said not computed, with why, for every pair and for the LFL distance.
TrialPrediction refused(TrialPrediction p, const std::string &why) {
    p.notComputed = "not computed: " + why;
    for (TrialPair &pair : p.pairs)
        pair.notComputed = p.notComputed;
    p.predictedLfl = {kNaN, p.notComputed};
    return p;
}

// The prediction of one point-source trial: release and weather from the file, the passive plume, the
// pairs. The gas is a tracer: no flammable limit is looked for.
TrialPrediction predictPoint(const FieldTrial &t, TrialPrediction p) {
    p.part = kPassive;
    p.method = TrialComparison::kPointMethod;
    p.lowerFlammabilityLimit = kNaN;
    p.observedLfl = {kNaN, "not computed: a tracer, compared by concentration only"};
    const auto refuse = [&p](const std::string &why) { return refused(std::move(p), why); };
    p.predictedLfl = p.observedLfl;
    const TrialFigure *rate = present(t.release, "releaseRate");
    const TrialFigure *height = present(t.release, "releaseHeight");
    const TrialFigure *length = present(t.weather, "moninObukhovLength");
    const TrialFigure *roughness = present(t.weather, "roughnessLength");
    if (!rate || !height)
        return refuse("the file lacks the release rate or the release height");
    if (!t.samplingHeight.present())
        return refuse("the file lacks the samplers' height");
    if (!length || !roughness)
        return refuse("the file lacks the Monin-Obukhov length or roughness length");
    for (const TrialObservation &o : t.observations)
        if (o.measure != TrialObservation::kMassConcentration)
            return refuse("a point-source trial is compared in mass concentration, and its observations are "
                          "volume fractions");
    const double wind = TrialComparison::windAt10m(t, p.windHow);
    if (std::isnan(wind))
        return refuse("the file gives no wind speed");

    p.pointRelease = {rate->value, height->value, t.samplingHeight.value};
    p.pointWeather.windSpeed = wind;
    classAndAveraging(p.pointWeather, t, length->value, roughness->value, p.notes);
    try {
        p.pointPlume.emplace(p.pointRelease, p.pointWeather);
    } catch (const std::invalid_argument &e) {
        return refuse(e.what());
    }
    for (const std::string &note : p.pointPlume->notes())
        p.notes.push_back(note);
    for (TrialPair &pair : p.pairs) {
        pair.predicted = p.pointPlume->concentrationAt(pair.distance);
        if (pair.distance < kBriggsNearest)
            p.notes.push_back("the arc at " + metres(pair.distance) +
                              " is nearer than the 100 m from which the Briggs curves are meant: they are "
                              "extrapolated there");
    }
    return p;
}

// The prediction of one trial: for a pool, source and weather from the file, the plume, the pairs, the
// LFL; for a point source, predictPoint.
TrialPrediction predict(const FieldTrial &t) {
    TrialPrediction p;
    p.id = t.id;
    p.title = t.title;
    p.sourceKind = t.sourceKind;
    p.method = TrialComparison::kMethod;
    p.part = TrialComparison::fenced(t) ? kFenced : kOpenGround;
    for (const TrialObservation &o : t.observations)
        p.pairs.push_back({t.id, o.distance.value, o.concentration.value, kNaN, "", o.measure});
    if (t.sourceKind == "point")
        return predictPoint(t, std::move(p));
    const GasTable::Entry *gas = GasTable::find(t.gas);
    p.lowerFlammabilityLimit =
        gas && gas->hazards.lowerFlammabilityLimit ? *gas->hazards.lowerFlammabilityLimit / 100.0 : kNaN;
    p.observedLfl = std::isnan(p.lowerFlammabilityLimit)
                        ? LevelDistance{kNaN, "not computed: the gas has no lower flammable limit"}
                        : TrialComparison::observedDistanceTo(t.observations, p.lowerFlammabilityLimit);

    const auto refuse = [&p](const std::string &why) { return refused(std::move(p), why); };
    if (t.sourceKind != "pool")
        return refuse("only pool and point sources are compared so far");
    for (const TrialObservation &o : t.observations)
        if (o.measure != TrialObservation::kVolumeFraction)
            return refuse("a pool trial is compared in volume fractions, and its observations are mass "
                          "concentrations");
    if (!gas)
        return refuse("the gas '" + t.gas + "' is not in the gas table");
    const TrialFigure *diameter = present(t.release, "poolDiameter");
    const TrialFigure *flux = present(t.release, "evaporationFlux");
    const TrialFigure *gasTemperature = present(t.release, "sourceTemperature");
    const TrialFigure *air = present(t.weather, "temperature");
    const TrialFigure *length = present(t.weather, "moninObukhovLength");
    const TrialFigure *roughness = present(t.weather, "roughnessLength");
    if (!diameter || !flux || !gasTemperature)
        return refuse("the file lacks the pool's diameter, evaporation flux or gas temperature");
    if (!air || !length || !roughness)
        return refuse("the file lacks the air temperature, Monin-Obukhov length or roughness length");
    const double wind = TrialComparison::windAt10m(t, p.windHow);
    if (std::isnan(wind))
        return refuse("the file gives no wind speed");

    p.source = {diameter->value, flux->value, gasTemperature->value, gas->molecularWeight};
    p.weather.windSpeed = wind;
    p.weather.temperature = air->value;
    if (const TrialFigure *pressure = present(t.weather, "pressure")) {
        p.weather.pressure = pressure->value;
    } else {
        p.weather.pressure = TrialComparison::kStandardPressure;
        p.notes.push_back("the file gives no air pressure: the standard atmosphere's 101325 Pa is used");
    }
    classAndAveraging(p.weather, t, length->value, roughness->value, p.notes);
    try {
        p.plume.emplace(p.source, p.weather);
    } catch (const std::invalid_argument &e) {
        return refuse(e.what());
    }
    const PoolPlume &plume = *p.plume;
    for (const std::string &note : plume.notes())
        p.notes.push_back(note);
    for (TrialPair &pair : p.pairs) {
        pair.predicted = plume.groundLevelAt(pair.distance);
        if (std::isnan(pair.predicted))
            pair.notComputed = "not computed: nearer than the dense-plume curves reach (" +
                               metres(plume.firstDistance()) + ")";
    }
    if (std::isnan(p.lowerFlammabilityLimit)) {
        p.predictedLfl = {kNaN, "not computed: the gas has no lower flammable limit"};
    } else {
        const double d = plume.distanceToLevel(p.lowerFlammabilityLimit);
        if (std::isfinite(d))
            p.predictedLfl = {d, d <= plume.passiveStart()
                                     ? "where the dense plume's ground-level centreline "
                                       "falls to the LFL"
                                     : "where the passive plume's ground-level "
                                       "centreline falls to the LFL"};
        else
            p.predictedLfl = {kNaN, "not computed: the LFL is above the plume's " +
                                        percent(plume.groundLevelAt(plume.firstDistance())) + " at " +
                                        metres(plume.firstDistance()) +
                                        ", the nearest distance the dense-plume curves reach"};
    }
    return p;
}

} // namespace

bool TrialComparison::fenced(const FieldTrial &trial) {
    return trial.series == "Falcon";
}

double TrialComparison::windAt10m(const FieldTrial &trial, std::string &how) {
    // The speed at 10 m: measured there, else interpolated linearly in log height between the profile's
    // heights around 10 m, else carried from the nearest measured height by the neutral log law over the
    // trial's roughness, else the single published speed carried likewise.
    std::vector<std::pair<double, double>> points;
    for (const TrialProfilePoint &q : trial.windProfile)
        if (q.height.present() && q.value.present() && q.height.value > 0.0)
            points.emplace_back(q.height.value, q.value.value);
    const TrialFigure *speed = present(trial.weather, "windSpeed");
    const TrialFigure *height = present(trial.weather, "windHeight");
    if (points.empty() && speed && height)
        points.emplace_back(height->value, speed->value);
    if (points.empty()) {
        how = "no wind in the file";
        return kNaN;
    }
    std::sort(points.begin(), points.end());
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (points[i].first == kWorkbookWindHeight) {
            how = "measured at 10 m";
            return points[i].second;
        }
        if (i > 0 && points[i - 1].first < kWorkbookWindHeight && points[i].first > kWorkbookWindHeight) {
            const auto [z0, u0] = points[i - 1];
            const auto [z1, u1] = points[i];
            how = "interpolated in log height between " + metres(z0) + " and " + metres(z1);
            return u0 + (u1 - u0) * std::log(kWorkbookWindHeight / z0) / std::log(z1 / z0);
        }
    }
    const TrialFigure *roughness = present(trial.weather, "roughnessLength");
    if (!roughness) {
        how = "no roughness length to carry the wind to 10 m";
        return kNaN;
    }
    const auto [z, u] = points.front().first > kWorkbookWindHeight ? points.front() : points.back();
    how = "carried from " + figure(u, 3) + " m/s at " + metres(z) +
          " by the neutral log law (z0 = " + figure(roughness->value, 3) + " m)";
    return u * std::log(kWorkbookWindHeight / roughness->value) / std::log(z / roughness->value);
}

LevelDistance TrialComparison::observedDistanceTo(const std::vector<TrialObservation> &arcs, double level) {
    std::vector<std::pair<double, double>> points;
    for (const TrialObservation &o : arcs)
        if (o.distance.present() && o.concentration.present())
            points.emplace_back(o.distance.value, o.concentration.value);
    std::sort(points.begin(), points.end());
    if (points.empty())
        return {kNaN, "not computed: no arc maxima"};
    std::size_t last = points.size();
    for (std::size_t i = 0; i < points.size(); ++i)
        if (points[i].second >= level)
            last = i;
    if (last == points.size())
        return {kNaN,
                "not computed: below the level already at the nearest arc, " + metres(points.front().first)};
    if (last + 1 == points.size())
        return {kNaN,
                "not computed: still above the level at the farthest arc, " + metres(points.back().first)};
    const auto [x0, c0] = points[last];
    const auto [x1, c1] = points[last + 1];
    if (!(c1 > 0.0))
        return {kNaN, "not computed: the next arc's maximum is zero"};
    const double f = std::log(level / c0) / std::log(c1 / c0);
    return {x0 * std::pow(x1 / x0, f),
            "interpolated in log-log between the arcs at " + metres(x0) + " and " + metres(x1)};
}

TrialComparison::TrialComparison(const std::vector<FieldTrial> &trials) {
    for (const FieldTrial &t : trials)
        trials_.push_back(predict(t));
    const struct {
        const char *name;
        const char *description;
        const AcceptanceCriteria &criteria;
    } parts[] = {{kOpenGround, "LNG pools on water or the sea, unobstructed (Burro, Coyote, Maplin Sands)",
                  ModelEvaluation::hannaChangStrimaitis1993()},
                 {kFenced, "LNG pools inside a vapour fence (Falcon): the plume model knows no fence",
                  ModelEvaluation::hannaChangStrimaitis1993()},
                 {kPassive,
                  "sulphur dioxide released continuously 0.46 m above short grass (Prairie Grass), sampled "
                  "1.5 m above the ground on arcs from 50 to 800 m",
                  ModelEvaluation::changHanna2004()}};
    for (const auto &[name, description, criteria] : parts) {
        TrialPart part{name, description, {}, 0, {}, {}, {}};
        std::vector<double> observed, predicted;
        for (const TrialPrediction &p : trials_) {
            if (p.part != name)
                continue;
            part.trials.push_back(p.id);
            for (const TrialPair &pair : p.pairs) {
                part.measure = pair.measure;
                ++part.pairs;
                if (std::isfinite(pair.predicted)) {
                    observed.push_back(pair.observed);
                    predicted.push_back(pair.predicted);
                }
            }
        }
        if (part.trials.empty())
            continue;
        part.statistics = ModelEvaluation::evaluate(observed, predicted);
        part.verdict = ModelEvaluation::judge(part.statistics, criteria);
        parts_.push_back(std::move(part));
    }
}

} // namespace ostreljet
