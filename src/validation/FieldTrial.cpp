#include "ostreljet/validation/FieldTrial.hpp"
#include "ostreljet/files/BoundedRead.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <utility>

namespace ostreljet::generated {
extern const std::pair<std::string_view, std::string_view> fieldTrials[];
extern const std::size_t fieldTrialCount;
} // namespace ostreljet::generated

namespace ostreljet {

namespace {

using Json = nlohmann::json;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// Why an optional figure the file does not name is missing; such a figure is not counted among the file's.
constexpr const char *kNotInFile = "not given in the file";

// What a figure measures, and so which units it may carry.
enum class Dimension {
    length,
    time,
    mass,
    speed,
    temperature,           // an absolute temperature: K or °C
    temperatureDifference, // a temperature scale or difference: K only
    pressure,
    heatFlux,
    massFlux,
    massRate,
    humidity,
    concentration,     // a volume fraction
    massConcentration, // kg/m3
};

struct Unit {
    const char *name;
    Dimension dimension;
    double scale; // SI value = value * scale + offset
    double offset;
};

// Units a trial file may use, with their conversions to SI; °C to K by the definition of the Celsius
// scale, a millibar is 100 Pa, "% by volume" and "ppm by volume" are parts per hundred and per million, a
// gram is 1e-3 kg and a milligram 1e-6 kg.
const Unit kUnits[] = {
    {"m", Dimension::length, 1.0, 0.0},
    {"s", Dimension::time, 1.0, 0.0},
    {"min", Dimension::time, 60.0, 0.0},
    {"kg", Dimension::mass, 1.0, 0.0},
    {"m/s", Dimension::speed, 1.0, 0.0},
    {"K", Dimension::temperature, 1.0, 0.0},
    {"°C", Dimension::temperature, 1.0, 273.15},
    {"K", Dimension::temperatureDifference, 1.0, 0.0},
    {"Pa", Dimension::pressure, 1.0, 0.0},
    {"mbar", Dimension::pressure, 100.0, 0.0},
    {"W/m2", Dimension::heatFlux, 1.0, 0.0},
    {"kg/(m2 s)", Dimension::massFlux, 1.0, 0.0},
    {"kg/s", Dimension::massRate, 1.0, 0.0},
    {"g/s", Dimension::massRate, 1e-3, 0.0},
    {"%", Dimension::humidity, 0.01, 0.0},
    {"% by volume", Dimension::concentration, 0.01, 0.0},
    {"ppm by volume", Dimension::concentration, 1e-6, 0.0},
    {"volume fraction", Dimension::concentration, 1.0, 0.0},
    {"mg/m3", Dimension::massConcentration, 1e-6, 0.0},
};

// Whether a figure's unit is one of a dimension's: how an observation says which measure it is in.
bool unitOf(const Json &node, Dimension dimension) {
    if (!node.is_object() || !node.contains("unit") || !node["unit"].is_string())
        return false;
    const std::string unit = node["unit"].get<std::string>();
    for (const Unit &candidate : kUnits)
        if (candidate.dimension == dimension && unit == candidate.name)
            return true;
    return false;
}

std::string unitsOf(Dimension dimension) {
    std::string out;
    for (const Unit &unit : kUnits) {
        if (unit.dimension == dimension) {
            out += (out.empty() ? "" : ", ") + std::string(unit.name);
        }
    }
    return out;
}

const std::map<std::string, Dimension> &releaseKeys() {
    static const std::map<std::string, Dimension> keys = {
        {"spilledMass", Dimension::mass},
        {"spillDuration", Dimension::time},
        {"poolDiameter", Dimension::length},
        {"evaporationFlux", Dimension::massFlux},
        {"sourceTemperature", Dimension::temperature},
        {"releaseRate", Dimension::massRate},
        {"releaseHeight", Dimension::length},
        {"orificeDiameter", Dimension::length},
    };
    return keys;
}

const std::map<std::string, Dimension> &weatherKeys() {
    static const std::map<std::string, Dimension> keys = {
        {"pressure", Dimension::pressure},
        {"temperature", Dimension::temperature},
        {"relativeHumidity", Dimension::humidity},
        {"moninObukhovLength", Dimension::length},
        {"frictionVelocity", Dimension::speed},
        {"roughnessLength", Dimension::length},
        {"temperatureScale", Dimension::temperatureDifference},
        {"surfaceHeatFlux", Dimension::heatFlux},
        {"windSpeed", Dimension::speed},
        {"windHeight", Dimension::length},
    };
    return keys;
}

// Reads one trial's JSON, naming the file and the key of any fault.
class Reader {
public:
    explicit Reader(std::string name) : name_(std::move(name)) {}

    [[noreturn]] void fail(const std::string &where, const std::string &what) const {
        throw FieldTrialError(name_ + ": " + (where.empty() ? "" : where + ": ") + what);
    }

    std::string text(const Json &object, const char *key, const std::string &where, bool required) const {
        const auto found = object.find(key);
        if (found == object.end() || found->is_null()) {
            if (required) {
                fail(where, std::string("needs \"") + key + "\"");
            }
            return {};
        }
        if (found->is_number_integer()) {
            return std::to_string(found->get<long long>());
        }
        if (!found->is_string()) {
            fail(where, std::string("\"") + key + "\" must be text");
        }
        return found->get<std::string>();
    }

    // A figure: {"value", "unit", "source"[, "note"]} or {"missing": why}; sources are checked later.
    TrialFigure figure(const Json &node, Dimension dimension, const std::string &where) const {
        if (!node.is_object()) {
            fail(where, "must be an object with \"value\", \"unit\" and \"source\", or with \"missing\"");
        }
        TrialFigure out;
        out.note = text(node, "note", where, false);
        if (node.contains("missing")) {
            out.value = kNaN;
            out.missing = text(node, "missing", where, true);
            if (out.missing.empty()) {
                fail(where, "\"missing\" must say why");
            }
            return out;
        }
        const auto value = node.find("value");
        if (value == node.end() || !value->is_number()) {
            fail(where, "needs a number \"value\" (or \"missing\" with the reason)");
        }
        const double number = value->get<double>();
        if (!std::isfinite(number)) {
            fail(where, "\"value\" must be finite");
        }
        const std::string unit = text(node, "unit", where, true);
        out.source = text(node, "source", where, true);
        if (out.source.empty()) {
            fail(where, "\"source\" must name a reference");
        }
        for (const Unit &candidate : kUnits) {
            if (candidate.dimension == dimension && unit == candidate.name) {
                out.value = number * candidate.scale + candidate.offset;
                return out;
            }
        }
        fail(where, "unit \"" + unit + "\" is not one of " + unitsOf(dimension));
    }

    std::map<std::string, TrialFigure> figures(const Json &object,
                                               const std::map<std::string, Dimension> &keys,
                                               const std::string &where) const {
        std::map<std::string, TrialFigure> out;
        if (!object.is_object()) {
            fail(where, "must be an object");
        }
        for (const auto &[key, node] : object.items()) {
            const auto known = keys.find(key);
            if (known == keys.end()) {
                continue; // the profiles, read apart
            }
            out[key] = figure(node, known->second, where + "." + key);
        }
        return out;
    }

    std::vector<TrialProfilePoint> profile(const Json &weather, const char *key, const char *valueKey,
                                           Dimension dimension) const {
        std::vector<TrialProfilePoint> out;
        const auto found = weather.find(key);
        if (found == weather.end()) {
            return out;
        }
        if (!found->is_array()) {
            fail(std::string("weather.") + key, "must be a list");
        }
        for (std::size_t i = 0; i < found->size(); ++i) {
            const std::string where = std::string("weather.") + key + "[" + std::to_string(i + 1) + "]";
            const Json &point = (*found)[i];
            if (!point.is_object() || !point.contains("height") || !point.contains(valueKey)) {
                fail(where, std::string("needs \"height\" and \"") + valueKey + "\"");
            }
            out.push_back({figure(point["height"], Dimension::length, where + ".height"),
                           figure(point[valueKey], dimension, where + "." + valueKey)});
        }
        return out;
    }

private:
    std::string name_;
};

// Every figure of a trial, with where it sits, for the source check and the counts.
std::vector<std::pair<std::string, const TrialFigure *>> allFigures(const FieldTrial &trial) {
    std::vector<std::pair<std::string, const TrialFigure *>> out;
    for (const auto &[key, figure] : trial.release) {
        out.emplace_back("release." + key, &figure);
    }
    for (const auto &[key, figure] : trial.weather) {
        out.emplace_back("weather." + key, &figure);
    }
    for (std::size_t i = 0; i < trial.windProfile.size(); ++i) {
        const std::string where = "weather.windProfile[" + std::to_string(i + 1) + "]";
        out.emplace_back(where + ".height", &trial.windProfile[i].height);
        out.emplace_back(where + ".speed", &trial.windProfile[i].value);
    }
    for (std::size_t i = 0; i < trial.temperatureProfile.size(); ++i) {
        const std::string where = "weather.temperatureProfile[" + std::to_string(i + 1) + "]";
        out.emplace_back(where + ".height", &trial.temperatureProfile[i].height);
        out.emplace_back(where + ".temperature", &trial.temperatureProfile[i].value);
    }
    out.emplace_back("averagingTime", &trial.averagingTime);
    if (trial.samplingHeight.missing != kNotInFile)
        out.emplace_back("samplingHeight", &trial.samplingHeight);
    for (std::size_t i = 0; i < trial.observations.size(); ++i) {
        const std::string where = "observations[" + std::to_string(i + 1) + "]";
        out.emplace_back(where + ".distance", &trial.observations[i].distance);
        out.emplace_back(where + ".concentration", &trial.observations[i].concentration);
    }
    return out;
}

} // namespace

FieldTrial FieldTrial::fromText(std::string_view text, const std::string &name) {
    // Parses the JSON, reads the references, then each figure with its unit, and checks that every figure
    // names a reference that exists and every observation is a positive distance and concentration.
    Json root;
    try {
        root = Json::parse(text.begin(), text.end());
    } catch (const Json::parse_error &e) {
        throw FieldTrialError(name + ": not valid JSON: " + e.what());
    }
    const Reader read(name);
    if (!root.is_object()) {
        read.fail("", "must be an object");
    }
    FieldTrial trial;
    trial.file = name;
    trial.id = read.text(root, "id", "", true);
    trial.title = read.text(root, "title", "", true);
    trial.series = read.text(root, "series", "", true);
    trial.part = read.text(root, "part", "", true);
    if (trial.part != "passive" && trial.part != "dense" && trial.part != "jet") {
        read.fail("part", "must be \"passive\", \"dense\" or \"jet\", not \"" + trial.part + "\"");
    }
    trial.sourceKind = read.text(root, "sourceKind", "", true);
    trial.gas = read.text(root, "gas", "", true);
    trial.description = read.text(root, "description", "", false);

    const auto references = root.find("references");
    if (references == root.end() || !references->is_object() || references->empty()) {
        read.fail("", "needs \"references\": an object of the publications its figures come from");
    }
    for (const auto &[key, node] : references->items()) {
        const std::string where = "references." + key;
        if (!node.is_object()) {
            read.fail(where, "must be an object");
        }
        TrialReference reference;
        reference.key = key;
        reference.authors = read.text(node, "authors", where, true);
        reference.year = read.text(node, "year", where, true);
        reference.title = read.text(node, "title", where, true);
        reference.table = read.text(node, "table", where, false);
        reference.report = read.text(node, "report", where, false);
        reference.transcribedFrom = read.text(node, "transcribedFrom", where, false);
        if (reference.authors.empty() || reference.title.empty() ||
            (reference.table.empty() && reference.report.empty())) {
            read.fail(where, "needs its authors, title, and the table or report the figures are in");
        }
        trial.references.push_back(std::move(reference));
    }

    const auto release = root.find("release");
    if (release == root.end()) {
        read.fail("", "needs \"release\"");
    }
    trial.release = read.figures(*release, releaseKeys(), "release");
    const auto weather = root.find("weather");
    if (weather == root.end()) {
        read.fail("", "needs \"weather\"");
    }
    trial.weather = read.figures(*weather, weatherKeys(), "weather");
    for (const auto &[key, node] : weather->items()) {
        if (!weatherKeys().contains(key) && key != "windProfile" && key != "temperatureProfile") {
            read.fail("weather." + key, "is not a known weather figure");
        }
    }
    for (const auto &[key, node] : release->items()) {
        if (!releaseKeys().contains(key)) {
            read.fail("release." + key, "is not a known release figure");
        }
    }
    trial.windProfile = read.profile(*weather, "windProfile", "speed", Dimension::speed);
    trial.temperatureProfile =
        read.profile(*weather, "temperatureProfile", "temperature", Dimension::temperature);
    if (!root.contains("averagingTime")) {
        read.fail("", "needs \"averagingTime\" (or {\"missing\": why})");
    }
    trial.averagingTime = read.figure(root["averagingTime"], Dimension::time, "averagingTime");
    if (root.contains("samplingHeight")) {
        trial.samplingHeight = read.figure(root["samplingHeight"], Dimension::length, "samplingHeight");
    } else {
        trial.samplingHeight.value = kNaN;
        trial.samplingHeight.missing = kNotInFile;
    }

    const auto observations = root.find("observations");
    if (observations == root.end() || !observations->is_array() || observations->empty()) {
        read.fail("", "needs \"observations\": a list of observed concentrations");
    }
    for (std::size_t i = 0; i < observations->size(); ++i) {
        const std::string where = "observations[" + std::to_string(i + 1) + "]";
        const Json &node = (*observations)[i];
        if (!node.is_object() || !node.contains("distance") || !node.contains("concentration")) {
            read.fail(where, "needs \"kind\", \"distance\" and \"concentration\"");
        }
        TrialObservation observation;
        observation.kind = read.text(node, "kind", where, true);
        if (observation.kind != "arc maximum" && observation.kind != "centreline") {
            read.fail(where,
                      "\"kind\" must be \"arc maximum\" or \"centreline\", not \"" + observation.kind + "\"");
        }
        observation.distance = read.figure(node["distance"], Dimension::length, where + ".distance");
        const bool mass = unitOf(node["concentration"], Dimension::massConcentration);
        observation.measure = mass ? TrialObservation::kMassConcentration : TrialObservation::kVolumeFraction;
        observation.concentration =
            read.figure(node["concentration"], mass ? Dimension::massConcentration : Dimension::concentration,
                        where + ".concentration");
        if (observation.distance.present() && !(observation.distance.value > 0.0)) {
            read.fail(where + ".distance", "must be positive");
        }
        if (observation.concentration.present() && !mass &&
            !(observation.concentration.value > 0.0 && observation.concentration.value <= 1.0)) {
            read.fail(where + ".concentration", "must be a volume fraction above 0 and at most 1");
        }
        if (observation.concentration.present() && mass && !(observation.concentration.value > 0.0)) {
            read.fail(where + ".concentration", "must be a mass concentration above 0");
        }
        if (!trial.observations.empty() && trial.observations.front().measure != observation.measure) {
            read.fail(where + ".concentration", "is a " + observation.measure +
                                                    " where the first observation is a " +
                                                    trial.observations.front().measure +
                                                    ": one trial's observations share one measure");
        }
        trial.observations.push_back(std::move(observation));
    }

    for (const auto &[where, figure] : allFigures(trial)) {
        if (figure->present() && trial.reference(figure->source) == nullptr) {
            read.fail(where, "source \"" + figure->source + "\" is not among the references");
        }
    }
    return trial;
}

FieldTrial FieldTrial::fromFile(const std::string &path) {
    // A trial file holds some kilobytes; a device or an oversized file is refused at this limit.
    constexpr std::size_t maximumFileBytes = 4 * 1024 * 1024;
    std::string text;
    try {
        text = files::BoundedRead::read(path, maximumFileBytes, "a field-trial file");
    } catch (const files::BoundedReadError &e) {
        throw FieldTrialError(e.what());
    }
    return fromText(text, path);
}

std::vector<FieldTrial> FieldTrial::fromDirectory(const std::string &folder) {
    std::vector<std::string> paths;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.is_regular_file() && entry.path().extension() == ".json") {
            paths.push_back(entry.path().string());
        }
    }
    if (error) {
        throw FieldTrialError(folder + ": cannot be read: " + error.message());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<FieldTrial> trials;
    for (const std::string &path : paths) {
        trials.push_back(fromFile(path));
    }
    return trials;
}

std::vector<FieldTrial> FieldTrial::builtIn() {
    std::vector<FieldTrial> trials;
    for (std::size_t i = 0; i < generated::fieldTrialCount; ++i) {
        const auto &[name, text] = generated::fieldTrials[i];
        trials.push_back(fromText(text, "validation/trials/" + std::string(name)));
    }
    return trials;
}

const TrialReference *FieldTrial::reference(const std::string &key) const {
    for (const TrialReference &r : references) {
        if (r.key == key) {
            return &r;
        }
    }
    return nullptr;
}

std::size_t FieldTrial::figureCount() const {
    std::size_t n = 0;
    for (const auto &entry : allFigures(*this)) {
        n += entry.second->present() ? 1 : 0;
    }
    return n;
}

std::size_t FieldTrial::missingCount() const {
    std::size_t n = 0;
    for (const auto &entry : allFigures(*this)) {
        n += entry.second->present() ? 0 : 1;
    }
    return n;
}

double FieldTrial::releaseRate() const {
    const auto known = [this](const char *key) {
        const auto found = release.find(key);
        return found != release.end() && found->second.present() ? found->second.value : kNaN;
    };
    const double rate = known("releaseRate");
    if (!std::isnan(rate)) {
        return rate;
    }
    return known("spilledMass") / known("spillDuration");
}

} // namespace ostreljet
