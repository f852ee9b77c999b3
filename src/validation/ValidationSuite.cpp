#include "ostreljet/validation/ValidationSuite.hpp"
#include "ostreljet/files/BoundedRead.hpp"
#include "ostreljet/numerics/Constants.hpp"

#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/Correlations.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/validation/ModelEvaluation.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

namespace ostreljet::generated {
extern const std::string_view validationCases;
} // namespace ostreljet::generated

namespace ostreljet {

namespace {

using Json = nlohmann::ordered_json;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kDegreesToRadians = constants::degreesToRadians;

// What the report says about each correlation; the cases file supplies only the cases.
struct Description {
    const char *id;
    const char *title;
    const char *formula;
    const char *source;
    const char *validity;
    const char *method;
    const char *figure;
    const char *unit;
};

const Description kDescriptions[] = {
    {"briggs-two-thirds", "Buoyant plume rise, Briggs two-thirds law",
     "Δh = 1.60 Fb^(1/3) x^(2/3) / us,  Fb = g vs ds² (Ts − Ta) / (4 Ts)",
     "Briggs (1972), as in U.S. EPA, ISC3 user's guide vol. II, EPA-454/B-95-003b (1995), section 1.1.4; "
     "constants checked against the ISCST3 technical guide republished by Lakes Environmental and "
     "Canarina's ISC3 algorithm notes.",
     "Buoyancy-dominated bent-over plumes, x up to the distance to final rise; here Fb from 3 to 400 m4/s3, "
     "us from 2 to 8 m/s.",
     "Vertical hot-air stacks, class D, roughness 0.03 m, reference wind height at the stack top so that us "
     "is the input wind speed; Fb from the model's own exit speed, diameter and temperatures. The model's "
     "figure is the centreline height above the stack top where the centreline passes the downwind "
     "distance x, measured along the wind from the stack.",
     "plume rise above the stack top", "m"},
    {"briggs-final-neutral", "Final plume rise, neutral class (Briggs)",
     "Δhf = 1.60 Fb^(1/3) xf^(2/3) / us,  xf = 49 Fb^(5/8) (Fb < 55 m4/s3) or 119 Fb^(2/5)",
     "Briggs (1971), as in EPA-454/B-95-003b, section 1.1.4 (equivalently 21.425 Fb^(3/4)/us and "
     "38.71 Fb^(3/5)/us); checked against the same two republications.",
     "Unstable and neutral classes; here class D, Fb from 3 to 400 m4/s3.",
     "As for the two-thirds law. The correlation's plume stops rising at xf; the model's plume in neutral "
     "air has no level of neutral buoyancy, so its figure is its rise where it passes xf.",
     "plume rise at the distance to final rise", "m"},
    {"briggs-final-stable", "Final plume rise, stable classes (Briggs)",
     "Δhf = 2.6 (Fb / (us s))^(1/3),  s = g (dθ/dz) / Ta,  xf = 2.0715 us / √s",
     "Briggs (1975), as in EPA-454/B-95-003b, section 1.1.4; checked against the same two republications.",
     "Stable classes E and F with a buoyant plume.",
     "Vertical hot-air stacks in classes E and F, roughness 0.03 m, reference wind height at the stack top. "
     "The model's atmosphere has a height-dependent temperature gradient (it has no adiabatic lapse, so its "
     "temperature acts as potential temperature); s uses the mean gradient between the stack top and the "
     "correlation's final height, found by iteration. The model's figure is the greatest centreline height "
     "above the stack top, and the downwind distance where it occurs.",
     "maximum plume rise above the stack top", "m"},
    {"pratte-baines", "Momentum jet in a crosswind, Pratte & Baines (1967)",
     "z / (r D) = 2.05 (x / (r D))^0.28,  r = ws / ua",
     "Pratte, B. D. and Baines, W. D. (1967), Profiles of the round turbulent jet in a cross flow, "
     "J. Hydraul. Div. ASCE 93(HY6), 53-64. The r D scaling is confirmed by the paper's abstract; the "
     "constants 2.05 and 0.28 are as commonly quoted and were not found in a second public source here.",
     "Uniform crossflow, r from 5 to 35, x / (r D) up to a few tens.",
     "Vertical jets of air at ambient temperature (no buoyancy), D = 0.1 m, wind 2 m/s. The surface layer is "
     "made nearly uniform over the jet: reference wind height at the 100 m stack top, the smallest "
     "roughness the model accepts (0.0001 m) and class D, so the wind changes by about 1 % over the rise. "
     "The model's figure is the centreline height above the stack top at downwind distance x. Each case is "
     "run again with long averaging (ambient-turbulence entrainment coefficient 2.0 instead of 0.2); the "
     "entrainment is linear in that coefficient, so a ninth of the change estimates what ambient turbulence "
     "still contributes at short averaging.",
     "centreline height above the orifice", "m"},
    {"chen-rodi", "Free jet in still air, Chen & Rodi", "Cc = 5 (D / x) (ρj / ρa)^(1/2)",
     "Chen, C. J. and Rodi, W. (1980), Vertical turbulent buoyant jets: a review of experimental data, "
     "Pergamon (HMT 4). The constant 5 is as commonly quoted and was not found in a second public source "
     "here.",
     "Momentum-dominated region of a round jet, x / D from about 20 to 0.5 Fr^(1/2) (ρj/ρa)^(-1/4).",
     "Vertical jets, D = 0.05 m, exit speed 100 m/s, gas at ambient temperature with molecular weights that "
     "give density ratios 0.6 to 1.5. Still air is approached with a wind of 0.001 m/s (the model refuses "
     "only a wind of 0 or less), so the jet-to-wind velocity ratio is 100000 and crossflow and ambient "
     "turbulence entrainment are negligible. The model's figure is its centreline mole fraction converted "
     "to a mass fraction, at arc length x from the orifice.",
     "centreline mass fraction", "mass fraction"},
    {"hoot-dense", "Dense jet rise, Hoot, Meroney & Peterka (1973)",
     "h = 1.32 d (r sg Fr²)^(1/3),  xh = 0.435 h³ / (r² sg d²),  "
     "Fr² = ws² / (g d Δρ/ρa)",
     "Hoot, T. G., Meroney, R. N. and Peterka, J. A. (1973), Wind tunnel tests of negatively buoyant "
     "plumes, EPA-650/3-74-003 (located; its constants could not be read through the tools available "
     "here, so 1.32 and 0.435 are as commonly quoted, with the distance checked for consistency: it equals "
     "ua ws / g', the time a vertical speed ws takes to stop under reduced gravity g' times the wind).",
     "Dense vertical releases into a crosswind; here sg from 1.5 to 4 and r from 4 to 12.",
     "Vertical releases of a heavy gas at ambient temperature, D = 0.2 m, 50 m stack, class D, roughness "
     "0.03 m, reference wind height at the stack top. The model's figure is the greatest centreline height "
     "above the stack top; the downwind distance to it is shown beside the correlation's.",
     "maximum rise above the stack top", "m"},
};

const Description &describe(const std::string &id) {
    for (const Description &description : kDescriptions) {
        if (id == description.id) {
            return description;
        }
    }
    throw ValidationSuiteError("unknown correlation \"" + id + "\"");
}

// One finished run and what the comparisons read from it.
class RunView {
public:
    RunView(const std::string &scenario, const std::string &name) {
        Scenario::fromText(scenario, name).applyTo(model_);
        if (!model_.runModel()) {
            throw ValidationSuiteError(name + ": the model refused the inputs: " +
                                       (model_.messageCount() > 0 ? model_.messageText(0) : ""));
        }
        const double bearing = model_.referenceWindBearing() * kDegreesToRadians;
        alongX_ = std::sin(bearing);
        alongY_ = std::cos(bearing);
        const JetModel::ExitConditions exit = model_.exitConditions();
        exitSpeed_ = exit.speed;
        sourceDensity_ = exit.density;
        diameter_ = exit.diameter;
        const double h = model_.stackHeight();
        Atmosphere air = model_.atmosphere();
        windSpeed_ = air.windSpeedAt(h);
        ambientTemperature_ = air.temperatureAt(h);
        // The ambient density where the jet leaves the stack, as the atmosphere itself computes it.
        air.setLocation(vector3(model_.stackLocationX(), model_.stackLocationY(), h));
        ambientDensity_ = air.density();
    }

    JetModel &model() { return model_; }
    double exitSpeed() const { return exitSpeed_; }                   // m/s
    double sourceDensity() const { return sourceDensity_; }           // kg/m3
    double ambientDensity() const { return ambientDensity_; }         // kg/m3
    double diameter() const { return diameter_; }                     // m
    double windSpeed() const { return windSpeed_; }                   // m/s, at the stack top
    double ambientTemperature() const { return ambientTemperature_; } // K, at the stack top

    // Distance of output step i from the stack along the wind, m.
    double downwind(std::size_t i) const {
        const vector3 &p = model_.centrelineLocations()[i];
        return (p.x() - model_.stackLocationX()) * alongX_ + (p.y() - model_.stackLocationY()) * alongY_;
    }

    // Centreline height above the stack top where the centreline first passes downwind distance x, m;
    // NaN when the run ended before.
    double riseAtDownwind(double x) const {
        const auto &points = model_.centrelineLocations();
        for (std::size_t i = 0; i + 1 < points.size(); ++i) {
            const double d0 = downwind(i);
            const double d1 = downwind(i + 1);
            if (d0 <= x && x <= d1 && d1 > d0) {
                const double w = (x - d0) / (d1 - d0);
                return (1.0 - w) * points[i].z() + w * points[i + 1].z() - model_.stackHeight();
            }
        }
        return kNaN;
    }

    // Centreline mass fraction at arc length s, m; NaN beyond the run's end.
    double massFractionAtArc(double s) const {
        const auto &arcs = model_.arclengths();
        const auto &moleFractions = model_.centrelineConcentrations();
        for (std::size_t i = 0; i + 1 < arcs.size(); ++i) {
            if (arcs[i] <= s && s <= arcs[i + 1] && arcs[i + 1] > arcs[i]) {
                const double w = (s - arcs[i]) / (arcs[i + 1] - arcs[i]);
                const double c = (1.0 - w) * moleFractions[i] + w * moleFractions[i + 1];
                // The series holds mole fractions; the correlation speaks of mass fractions.
                const double ms = model_.sourceMolecularWeight();
                const double ma = model_.atmosphereMolecularWeight();
                return c * ms / (ma - c * (ma - ms));
            }
        }
        return kNaN;
    }

    // The greatest centreline height above the stack top (m) and the downwind distance to it (m).
    std::pair<double, double> maximumRise() const {
        const auto &points = model_.centrelineLocations();
        std::size_t best = 0;
        for (std::size_t i = 1; i < points.size(); ++i) {
            if (points[i].z() > points[best].z()) {
                best = i;
            }
        }
        // A run that ends while still rising has no maximum to compare.
        if (points.size() < 2 || best + 1 == points.size()) {
            return {kNaN, kNaN};
        }
        return {points[best].z() - model_.stackHeight(), downwind(best)};
    }

    // Where and why the run ended, from its last message.
    std::string ending() const {
        const std::int32_t n = model_.messageCount();
        return n > 0 ? model_.messageText(n - 1) : std::string("the run ended without a message");
    }

private:
    JetModel model_;
    double alongX_ = 0.0;
    double alongY_ = 1.0;
    double exitSpeed_ = 0.0;
    double sourceDensity_ = 0.0;
    double ambientDensity_ = 0.0;
    double diameter_ = 0.0;
    double windSpeed_ = 0.0;
    double ambientTemperature_ = 0.0;
};

double briggsFlux(RunView &run) {
    return correlations::briggsBuoyancyFlux(run.exitSpeed(), run.diameter(), run.model().sourceTemperature(),
                                            run.ambientTemperature());
}

ValidationPoint makePoint(const std::string &label, double position, double model, double correlation) {
    ValidationPoint point;
    point.label = label;
    point.position = position;
    point.model = model;
    point.correlation = correlation;
    point.ratio = model / correlation;
    point.modelDistance = kNaN;
    point.correlationDistance = kNaN;
    point.sensitivity = kNaN;
    return point;
}

// The comparisons of one case with its run; sensitivity (may be null) is the same case with the
// sensitivity inputs.
std::vector<ValidationPoint> compare(const ValidationSuite::Case &c, RunView &run, RunView *sensitivity) {
    std::vector<ValidationPoint> points;
    auto noteIfMissing = [&](ValidationPoint &point) {
        if (!std::isfinite(point.model)) {
            point.note = "not reached: " + run.ending();
        }
    };
    if (c.correlation == "briggs-two-thirds") {
        const double fb = briggsFlux(run);
        for (double x : c.at) {
            ValidationPoint point = makePoint(c.label, x, run.riseAtDownwind(x),
                                              correlations::briggsGradualRise(fb, x, run.windSpeed()));
            noteIfMissing(point);
            points.push_back(point);
        }
    } else if (c.correlation == "briggs-final-neutral") {
        const double fb = briggsFlux(run);
        const double xf = correlations::briggsFinalRiseDistanceNeutral(fb);
        ValidationPoint point = makePoint(c.label, xf, run.riseAtDownwind(xf),
                                          correlations::briggsFinalRiseNeutral(fb, run.windSpeed()));
        noteIfMissing(point);
        points.push_back(point);
    } else if (c.correlation == "briggs-final-stable") {
        const double fb = briggsFlux(run);
        const double h = run.model().stackHeight();
        const double ta = run.ambientTemperature();
        Atmosphere air = run.model().atmosphere();
        // The mean potential temperature gradient over the rise depends on the rise: iterate to a fixed
        // point.
        double rise = 10.0;
        double s = 0.0;
        for (int iteration = 0; iteration < 50; ++iteration) {
            const double gradient = (air.temperatureAt(h + rise) - air.temperatureAt(h)) / rise;
            s = correlations::stabilityParameter(gradient, ta);
            rise = correlations::briggsFinalRiseStable(fb, run.windSpeed(), s);
        }
        const auto [modelRise, modelDistance] = run.maximumRise();
        ValidationPoint point = makePoint(c.label, modelDistance, modelRise, rise);
        if (!std::isfinite(modelRise)) {
            point.note = "no maximum before the run ended: " + run.ending();
        }
        point.modelDistance = modelDistance;
        point.correlationDistance = correlations::briggsFinalRiseDistanceStable(run.windSpeed(), s);
        points.push_back(point);
    } else if (c.correlation == "pratte-baines") {
        const double r = run.exitSpeed() / run.windSpeed();
        const double scale = r * run.diameter();
        for (double multiple : c.at) {
            const double x = multiple * scale;
            ValidationPoint point = makePoint(c.label, x, run.riseAtDownwind(x),
                                              correlations::pratteBainesHeight(x, r, run.diameter()));
            if (sensitivity != nullptr) {
                point.sensitivity = sensitivity->riseAtDownwind(x);
            }
            noteIfMissing(point);
            points.push_back(point);
        }
    } else if (c.correlation == "chen-rodi") {
        const double ratio = run.sourceDensity() / run.ambientDensity();
        for (double multiple : c.at) {
            const double x = multiple * run.diameter();
            ValidationPoint point =
                makePoint(c.label, x, run.massFractionAtArc(x),
                          correlations::chenRodiCentrelineMassFraction(x, run.diameter(), ratio));
            noteIfMissing(point);
            points.push_back(point);
        }
    } else if (c.correlation == "hoot-dense") {
        const double r = run.exitSpeed() / run.windSpeed();
        const double sg = run.sourceDensity() / run.ambientDensity();
        const double fr2 = correlations::densimetricFroudeSquared(run.exitSpeed(), run.diameter(),
                                                                  run.sourceDensity(), run.ambientDensity());
        const double h = correlations::hootMaximumRise(run.diameter(), r, sg, fr2);
        const auto [modelRise, modelDistance] = run.maximumRise();
        ValidationPoint point = makePoint(c.label, modelDistance, modelRise, h);
        if (!std::isfinite(modelRise)) {
            point.note = "no maximum before the run ended: " + run.ending();
        }
        point.modelDistance = modelDistance;
        point.correlationDistance = correlations::hootDistanceToMaximumRise(h, r, sg, run.diameter());
        points.push_back(point);
    }
    return points;
}

// The object under key, or an empty object when the key is absent; anything else is refused.
Json objectAt(const Json &parent, const std::string &key, const std::string &where) {
    const auto found = parent.find(key);
    if (found == parent.end()) {
        return Json::object();
    }
    if (!found->is_object()) {
        throw ValidationSuiteError(where + ": \"" + key + "\" must be an object");
    }
    return *found;
}

std::vector<double> numbers(const Json &value, const std::string &where) {
    std::vector<double> out;
    if (!value.is_array()) {
        throw ValidationSuiteError(where + ": \"at\" must be an array of numbers");
    }
    for (const Json &item : value) {
        if (!item.is_number() || !(item.get<double>() > 0.0)) {
            throw ValidationSuiteError(where + ": \"at\" must hold positive numbers, not " + item.dump());
        }
        out.push_back(item.get<double>());
    }
    return out;
}

} // namespace

const std::vector<std::string> &ValidationSuite::correlationIds() {
    static const std::vector<std::string> ids = [] {
        std::vector<std::string> out;
        for (const Description &description : kDescriptions) {
            out.emplace_back(description.id);
        }
        return out;
    }();
    return ids;
}

ValidationSuite ValidationSuite::fromFile(const std::string &path) {
    std::string text;
    try {
        text = files::BoundedRead::read(path, kMaximumFileBytes, "a cases file");
    } catch (const files::BoundedReadError &e) {
        throw ValidationSuiteError(e.what());
    }
    return fromText(text, path);
}

ValidationSuite ValidationSuite::builtIn() {
    return fromText(generated::validationCases, builtInName);
}

ValidationSuite ValidationSuite::fromText(std::string_view text, const std::string &sourceName) {
    // Reads the cases file: the defaults of each correlation, then each case merged over them.
    Json root;
    try {
        root = Json::parse(text.begin(), text.end());
    } catch (const Json::parse_error &e) {
        throw ValidationSuiteError(sourceName + ": not valid JSON: " + e.what());
    }
    if (!root.is_object() || !root.contains("cases") || !root["cases"].is_array()) {
        throw ValidationSuiteError(sourceName + ": must be an object with an array \"cases\"");
    }
    const Json defaults = objectAt(root, "defaults", sourceName);
    ValidationSuite suite;
    suite.sourceName_ = sourceName;
    std::size_t index = 0;
    for (const Json &item : root["cases"]) {
        ++index;
        const std::string where = sourceName + ": case " + std::to_string(index);
        if (!item.is_object() || !item.contains("correlation") || !item["correlation"].is_string()) {
            throw ValidationSuiteError(where + ": needs a \"correlation\" name");
        }
        Case c;
        c.correlation = item["correlation"].get<std::string>();
        try {
            describe(c.correlation);
        } catch (const ValidationSuiteError &e) {
            throw ValidationSuiteError(where + ": " + e.what());
        }
        c.label = c.correlation + " " + std::to_string(index);
        if (item.contains("label") && item["label"].is_string()) {
            c.label = item["label"].get<std::string>();
        }
        Json inputs = objectAt(defaults, c.correlation, sourceName + ": defaults");
        const Json overrides = objectAt(item, "inputs", where);
        for (const auto &entry : overrides.items()) {
            inputs[entry.key()] = entry.value();
        }
        c.scenario = inputs.dump();
        // Checked now, so that a bad case is named before any run.
        try {
            Scenario::fromText(c.scenario, where);
        } catch (const ScenarioError &e) {
            throw ValidationSuiteError(e.what());
        }
        const bool needsPoints = c.correlation == "briggs-two-thirds" || c.correlation == "pratte-baines" ||
                                 c.correlation == "chen-rodi";
        if (needsPoints) {
            if (!item.contains("at")) {
                throw ValidationSuiteError(where + " (" + c.label + "): needs \"at\"");
            }
            c.at = numbers(item["at"], where + " (" + c.label + ")");
        }
        if (item.contains("sensitivity")) {
            const Json &sens = item["sensitivity"];
            if (!sens.is_object()) {
                throw ValidationSuiteError(where + ": \"sensitivity\" must be an object");
            }
            c.sensitivityLabel = sens.contains("label") && sens["label"].is_string()
                                     ? sens["label"].get<std::string>()
                                     : std::string("sensitivity");
            Json changed = inputs;
            const Json sensitivityInputs = objectAt(sens, "inputs", where + ": sensitivity");
            for (const auto &entry : sensitivityInputs.items()) {
                changed[entry.key()] = entry.value();
            }
            c.sensitivityScenario = changed.dump();
        }
        suite.cases_.push_back(std::move(c));
    }
    return suite;
}

std::size_t ValidationSuite::runCount() const {
    std::size_t n = 0;
    for (const Case &c : cases_) {
        n += c.sensitivityScenario.empty() ? 1 : 2;
    }
    return n;
}

std::vector<CorrelationResult> ValidationSuite::run(const Progress &progress) const {
    // Runs every case (and its sensitivity run), compares, then gathers the figures per correlation.
    std::map<std::string, CorrelationResult> byId;
    const std::size_t total = runCount();
    std::size_t done = 0;
    for (const Case &c : cases_) {
        const std::string name = sourceName_ + " (" + c.label + ")";
        RunView run(c.scenario, name);
        ++done;
        if (progress) {
            progress(done, total, c.label);
        }
        std::unique_ptr<RunView> sensitivity;
        if (!c.sensitivityScenario.empty()) {
            sensitivity = std::make_unique<RunView>(c.sensitivityScenario, name + " " + c.sensitivityLabel);
            ++done;
            if (progress) {
                progress(done, total, c.label + ", " + c.sensitivityLabel);
            }
        }
        CorrelationResult &result = byId[c.correlation];
        if (!c.sensitivityLabel.empty()) {
            result.sensitivityLabel = c.sensitivityLabel;
        }
        for (ValidationPoint &point : compare(c, run, sensitivity.get())) {
            result.points.push_back(std::move(point));
        }
    }
    std::vector<CorrelationResult> results;
    for (const Description &description : kDescriptions) {
        auto found = byId.find(description.id);
        if (found == byId.end()) {
            continue;
        }
        CorrelationResult result = std::move(found->second);
        result.id = description.id;
        result.title = description.title;
        result.formula = description.formula;
        result.source = description.source;
        result.validity = description.validity;
        result.method = description.method;
        result.figure = description.figure;
        result.unit = description.unit;
        std::vector<double> correlation;
        std::vector<double> model;
        for (const ValidationPoint &point : result.points) {
            correlation.push_back(point.correlation);
            model.push_back(point.model);
        }
        result.statistics = statistics(correlation, model);
        result.verdict = verdict(result.statistics);
        const std::size_t missing = result.points.size() - result.statistics.count;
        if (missing > 0) {
            result.verdict += " " + std::to_string(missing) + " point(s) not reached by the model.";
        }
        results.push_back(std::move(result));
    }
    return results;
}

AgreementStatistics ValidationSuite::statistics(const std::vector<double> &correlation,
                                                const std::vector<double> &model) {
    // The evaluation measures with the correlation as the observation; no bootstrap for these figures.
    const EvaluationStatistics e = ModelEvaluation::evaluate(correlation, model, 0);
    AgreementStatistics out;
    out.count = e.pairs;
    out.geometricMean = e.geometricMean;
    out.geometricVariance = e.geometricVariance;
    out.factorOfTwo = e.factorOfTwo;
    return out;
}

std::string ValidationSuite::verdict(const AgreementStatistics &s) {
    if (s.count == 0) {
        return "No point could be compared.";
    }
    // MG is correlation over model; the model's geometric-mean departure from the correlation is 1 / MG.
    const double bias = (1.0 / s.geometricMean - 1.0) * 100.0;
    std::ostringstream out;
    out.setf(std::ios::fixed);
    out.precision(0);
    const char *direction = bias >= 0.0 ? "above" : "below";
    const double within = s.factorOfTwo * 100.0;
    if (std::fabs(bias) <= 25.0 && s.factorOfTwo >= 0.999) {
        out << "Agrees: on average " << std::fabs(bias) << " % " << direction
            << " the correlation, every point within a factor of two.";
    } else if (s.factorOfTwo >= 0.5) {
        out << "Agrees roughly: on average " << std::fabs(bias) << " % " << direction << " the correlation, "
            << within << " % of points within a factor of two.";
    } else {
        out << "Departs: on average " << std::fabs(bias) << " % " << direction << " the correlation, only "
            << within << " % of points within a factor of two.";
    }
    return out.str();
}

} // namespace ostreljet
