// The browser page's way into the library: functions that take and return JSON text, so that the
// page holds no model of its own. Every exception ends as an {"ok": false, "error": ...} answer.

#include "ostreljet/Version.hpp"
#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/farfield/HandOff.hpp"
#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/inputs/InputRefusal.hpp"
#include "ostreljet/inputs/InputSchema.hpp"
#include "ostreljet/inputs/NumberText.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunField.hpp"
#include "ostreljet/jet/RunStatus.hpp"
#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/mapping/FootprintWriter.hpp"
#include "ostreljet/mapping/LevelFootprints.hpp"
#include "ostreljet/results/RunJson.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"
#include "ostreljet/units/Level.hpp"

#include <emscripten/bind.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace ostreljet::web {

using nlohmann::json;

namespace {

constexpr double kDegreesToRadians = 0.017453292519943278;

template <typename T> json optionalJson(const std::optional<T> &value) {
    return value ? json(*value) : json(nullptr);
}

json rangeJson(const InputSchema::Range &range) {
    return {{"bounded", range.bounded()},
            {"lower", std::isfinite(range.lower) ? json(range.lower) : json(nullptr)},
            {"lowerInclusive", range.lowerInclusive},
            {"upper", std::isfinite(range.upper) ? json(range.upper) : json(nullptr)},
            {"upperInclusive", range.upperInclusive}};
}

const ConcentrationUnit kUnits[] = {
    ConcentrationUnit::volumeFraction, ConcentrationUnit::percentByVolume, ConcentrationUnit::ppmByVolume,
    ConcentrationUnit::milligramsPerCubicMetre, ConcentrationUnit::massFraction};

// The input that a validation message's code refuses; empty for a code that names none.
std::string inputOfValidationCode(std::int32_t code) {
    switch (code) {
    case 3:
        return "releaseAngle"; // a horizontal release straight against the wind
    case 4:
        return "stackHeight";
    case 5:
        return "orificeDiameter";
    case 6:
        return "dischargeCoefficient";
    case 7:
        return "releaseAngle";
    case 8:
        return "massFlowrate";
    case 9:
        return "sourceMolecularWeight";
    case 10:
        return "sourceSpecificHeat";
    case 11:
        return "sourceSpecificHeatRatio";
    case 12:
        return "sourceTemperature";
    case 13:
        return "referenceWindSpeed";
    case 14:
        return "referenceWindHeight";
    case 15:
        return "atmosphereSurfaceRoughness";
    case 16:
        return "atmosphereSpecificHeat";
    case 17:
        return "atmosphereMolecularWeight";
    case 18:
        return "stackLocationX";
    case 19:
        return "stackLocationY";
    case 20:
        return "atmosphereTemperature";
    case 21:
        return "atmospherePressure";
    case 22:
        return "stoppingConcentration";
    case 23:
        return "stackBearing";
    case 24:
        return "referenceWindBearing";
    default:
        return "";
    }
}

// The input or key that a scenario reader's message quotes first; empty when it quotes none.
std::string inputQuotedIn(const std::string &message) {
    std::size_t best = std::string::npos;
    std::string found;
    auto consider = [&](std::string_view name) {
        const std::size_t at = message.find("\"" + std::string(name) + "\"");
        if (at < best) {
            best = at;
            found = std::string(name);
        }
    };
    for (const InputSchema::Input &input : InputSchema::inputs()) {
        consider(input.name);
    }
    consider("gas");
    return found;
}

json errorAnswer(const std::string &message, const std::string &field) {
    return {{"ok", false}, {"error", {{"message", message}, {"field", field}}}};
}

// Centreline positions turned into the wind's frame: downwind and crosswind (left of the wind) from the
// stack, m.
struct WindFrame {
    double sinB, cosB, x0, y0;
    double downwind(double x, double y) const { return (x - x0) * sinB + (y - y0) * cosB; }
    double crosswind(double x, double y) const { return -(x - x0) * cosB + (y - y0) * sinB; }
    double x(double d, double c) const { return x0 + d * sinB - c * cosB; }
    double y(double d, double c) const { return y0 + d * cosB + c * sinB; }
};

json gridJson(double a0, double a1, double b0, double b1, int na, int nb, const std::vector<double> &values) {
    return {{"a0", a0}, {"a1", a1}, {"b0", b0}, {"b1", b1}, {"na", na}, {"nb", nb}, {"values", values}};
}

// The field on the vertical section that follows the centreline's crosswind drift and on two horizontal
// planes, in the wind's frame, from the jet and past its hand-off from the far field: NaN (null) where
// nothing is computed (beyond the far field's end, or the jet's end short of a hand-off), with where the
// modelled region ends and the far field starts for the views to mark. Phases: the extent of the jet and
// the far field (to `reach`, m downwind); the section; the planes.
json views(const JetModel &model, const WholePlume &field, const WindFrame &frame, double planHeight, int na,
           int nb, double reach) {
    const auto &locations = model.centrelineLocations();
    const auto &radii = model.profileRadii();
    std::vector<double> down, cross;
    double dMin = 0.0, dMax = 1.0, cMax = 1.0, zMax = 1.0;
    for (std::size_t k = 0; k < locations.size(); ++k) {
        down.push_back(frame.downwind(locations[k].x(), locations[k].y()));
        cross.push_back(frame.crosswind(locations[k].x(), locations[k].y()));
        dMin = std::min(dMin, down.back() - radii[k]);
        dMax = std::max(dMax, down.back() + radii[k]);
        cMax = std::max(cMax, std::fabs(cross.back()) + radii[k]);
        zMax = std::max(zMax, locations[k].z() + radii[k]);
    }
    // Past the jet, the far field to its end: its axis and about two and a half of its spreads
    // around it.
    if (field.farField().computed()) {
        for (const FarFieldPoint &point : field.farField().series()) {
            if (point.downwindDistance > reach) {
                break;
            }
            dMax = std::max(dMax, point.downwindDistance);
            cMax = std::max(cMax, std::fabs(field.farField().handOff().crosswindOffset) + 2.5 * point.sigmaY);
            zMax = std::max(zMax, point.height + 2.5 * point.sigmaZ);
        }
    }
    const double span = dMax - dMin;
    dMin -= 0.04 * span;
    dMax += 0.08 * span;
    cMax = std::max(cMax * 1.15, 0.08 * span);
    zMax *= 1.15;

    auto at = [](double lo, double hi, int i, int n) { return lo + (hi - lo) * i / (n - 1); };
    // The crosswind position of the centreline at a downwind distance: that of the first step
    // there.
    auto crossAt = [&](double d) {
        for (std::size_t k = 1; k < down.size(); ++k) {
            const double a = down[k - 1], b = down[k];
            if ((a <= d && d <= b) || (b <= d && d <= a)) {
                const double f = b == a ? 0.0 : (d - a) / (b - a);
                return cross[k - 1] + f * (cross[k] - cross[k - 1]);
            }
        }
        if (down.empty()) {
            return 0.0;
        }
        return d < down.front() ? cross.front() : cross.back();
    };
    std::vector<double> side(static_cast<std::size_t>(na) * nb);
    for (int i = 0; i < na; ++i) {
        const double d = at(dMin, dMax, i, na);
        const double c = crossAt(d);
        for (int j = 0; j < nb; ++j) {
            side[static_cast<std::size_t>(j) * na + i] =
                field.concentration(frame.x(d, c), frame.y(d, c), at(0.0, zMax, j, nb));
        }
    }
    auto plan = [&](double z) {
        std::vector<double> values(static_cast<std::size_t>(na) * nb);
        for (int i = 0; i < na; ++i) {
            const double d = at(dMin, dMax, i, na);
            for (int j = 0; j < nb; ++j) {
                const double c = at(-cMax, cMax, j, nb);
                values[static_cast<std::size_t>(j) * na + i] =
                    field.concentration(frame.x(d, c), frame.y(d, c), z);
            }
        }
        return gridJson(dMin, dMax, -cMax, cMax, na, nb, values);
    };
    // Where the modelled region ends: the far field's end past a hand-off, else the jet's last
    // step.
    const FarField &far = field.farField();
    return {{"downwind", down},
            {"crosswind", cross},
            {"end", far.computed() ? far.endDistance() : down.back()},
            {"handOff", far.computed() ? json(far.handOff().downwindDistance) : json(nullptr)},
            {"side", gridJson(dMin, dMax, 0.0, zMax, na, nb, side)},
            {"planHeight", planHeight},
            {"planAtHeight", plan(planHeight)},
            {"planAtGround", plan(0.0)}};
}

// A number for JSON: null for NaN and the infinities, which JSON cannot hold ("not computed").
json numberJson(double value) {
    return std::isfinite(value) ? json(value) : json(nullptr);
}

using Refusal = std::pair<std::string, std::string>; // message, the input or control it names

// The request's scenario, or a refusal naming the input its reader quotes.
Scenario scenarioOf(const json &request) {
    const std::string text = request.value("scenario", std::string("{}"));
    try {
        return Scenario::fromText(text, "scenario");
    } catch (const ScenarioError &error) {
        throw Refusal(error.what(), inputQuotedIn(error.what()));
    }
}

// The request's concentration unit ("vol" when it names none), or a refusal.
std::optional<ConcentrationUnit> unitOf(const json &request) {
    const std::string unitWord = request.value("unit", std::string("vol"));
    const std::optional<ConcentrationUnit> unit = parseConcentrationUnit(unitWord);
    if (!unit) {
        throw Refusal("unknown concentration unit \"" + unitWord + "\"", "unit");
    }
    return unit;
}

// Runs one request: the scenario's text, the levels and the unit to show concentrations in, as the
// command line runs a scenario (weather check, stopping concentration below the levels, bounded
// work). Phases: read the scenario and the levels; run; the status and the summary; for a run with
// results only, the series and the views.
json runRequest(const json &request) {
    const Scenario scenario = scenarioOf(request);
    const std::optional<ConcentrationUnit> unit = unitOf(request);

    JetModel model;
    scenario.applyTo(model);
    std::vector<Level> levels;
    const std::string levelText = request.value("levels", std::string());
    const bool defaultLevels = levelText.empty();
    try {
        levels = defaultLevels ? Level::defaults(scenario.gas(), model.stoppingConcentration())
                               : Level::parseList(levelText, *unit);
    } catch (const LevelError &error) {
        throw Refusal(error.what(), "levels");
    }
    std::vector<double> levelValues;
    try {
        levelValues = Level::toModel(levels, model, scenario.gas());
    } catch (const LevelError &error) {
        if (!defaultLevels) {
            throw Refusal(error.what(), "levels");
        }
        levels.clear(); // the default of a stopping concentration that validation refuses
    }

    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget); // every run ends in bounded time
    WholePlumeSummary::Result run = WholePlumeSummary::run(model, levelValues, scenario.farFieldOptions());
    RunSummary &summary = run.summary;
    InputRefusal::annotate(summary, model);

    json answer;
    answer["ok"] = summary.succeeded();
    answer["status"] = runStatusName(summary.status);
    answer["version"] = OSTRELJET_VERSION_STRING;
    answer["unit"] = {{"word", concentrationUnitWord(*unit)}, {"label", concentrationUnitLabel(*unit)}};
    answer["windTowardsBearing"] = numberJson(model.referenceWindBearing());
    if (!summary.succeeded()) {
        const std::string message = summary.endMessage ? *summary.endMessage
                                    : summary.messages.empty()
                                        ? std::string(RunSummary::endingName(summary.ending))
                                        : summary.messages.front().text;
        const std::int32_t code = model.messageCount() > 0 ? model.messageCode(0) : -1;
        answer["error"] = {
            {"message", message},
            {"field", summary.status == RunStatus::invalid ? inputOfValidationCode(code) : std::string()}};
    }

    answer["messages"] = json::parse(RunJson::messages(summary));
    answer["summary"] = json::parse(RunJson::summary(model, summary, levels, *unit));
    if (!summary.succeeded()) {
        return answer; // no figures, series or views from a run without results
    }

    // The steps in the model's unit for the views, and the centreline concentration as shown.
    answer["steps"] = json::parse(RunJson::steps(model, summary, ConcentrationConverter::modelUnit));
    answer["concentrationShown"] =
        json::parse(RunJson::steps(model, summary, *unit))["centrelineConcentration"];

    // Past the jet, the far field, ending where it falls below a tenth of the lowest level.
    const WholePlume &plume = *run.field;
    answer["farField"] =
        json::parse(RunJson::farField(model, plume.farField(), levels, levelValues, *unit, true));

    if (model.numberOfOutputSteps() > 0) {
        const double bearing = model.referenceWindBearing() * kDegreesToRadians;
        const WindFrame frame{std::sin(bearing), std::cos(bearing), model.stackLocationX(),
                              model.stackLocationY()};
        double planHeight =
            summary.greatestCentrelineHeight ? summary.greatestCentrelineHeight->z : model.stackHeight();
        if (request.contains("planHeight") && request["planHeight"].is_number()) {
            planHeight = request["planHeight"].get<double>();
        }
        const int na = std::clamp(request.value("gridPoints", 161), 11, 401);
        // The views reach as far as the levels do past the jet (a level still exceeded at the far field's
        // end takes them there), so that a region a few metres long is not lost in kilometres.
        double reach = plume.farField().computed() ? plume.farField().handOff().downwindDistance : 0.0;
        for (const RunSummary::LevelAnswer &level : summary.levels) {
            if (level.regionInFarField && level.farthestDownwindExtent) {
                reach = std::max(reach, 1.25 * *level.farthestDownwindExtent);
            }
        }
        answer["views"] = views(model, plume, frame, planHeight, na, (na + 1) / 2, reach);
    }
    return answer;
}

// The footprint of each level at a height as a GeoJSON text in the site frame, as `ostreljet footprint`
// writes it without an origin (the browser has no PROJ). Phases: read the scenario, unit, levels and
// height; run; the footprints, labelled with the scenario's name.
json footprintRequest(const json &request) {
    const Scenario scenario = scenarioOf(request);
    const std::optional<ConcentrationUnit> unit = unitOf(request);
    std::vector<Level> levels;
    const std::string levelText = request.value("levels", std::string());
    try {
        if (!levelText.empty()) {
            levels = Level::parseList(levelText, *unit);
        }
    } catch (const LevelError &error) {
        throw Refusal(error.what(), "levels");
    }
    double z = 0.0;
    if (request.contains("height")) {
        if (!request["height"].is_number() || !std::isfinite(request["height"].get<double>()) ||
            request["height"].get<double>() < 0.0) {
            throw Refusal("the footprint's height " + request["height"].dump() +
                              " is not a height in m at or above the ground",
                          "height");
        }
        z = request["height"].get<double>();
    }

    JetModel model;
    scenario.applyTo(model);
    model.setEvaluationBudget(JetModel::recommendedEvaluationBudget); // every run ends in bounded time
    WholePlumeSummary::Result run = WholePlumeSummary::run(model, {}, scenario.farFieldOptions());
    InputRefusal::annotate(run.summary, model);
    if (!run.summary.succeeded()) {
        throw Refusal("no footprint: the run's status is " + std::string(runStatusName(run.summary.status)) +
                          " and it has no results",
                      "");
    }
    if (levels.empty()) {
        levels = Level::defaults(scenario.gas(), model.stoppingConcentration());
    }
    mapping::FootprintSearch search;
    search.points = std::clamp(request.value("points", search.points), 11, 10001);
    search.threads = 1; // the page runs on one thread
    const std::string name = request.value("scenarioName", std::string("scenario.json"));
    std::vector<mapping::LabelledFootprint> footprints;
    try {
        footprints = mapping::levelFootprints(model, levels, scenario.gas(), *unit, z,
                                              scenario.farFieldOptions(), search, name);
    } catch (const LevelError &error) {
        throw Refusal(error.what(), "levels");
    }
    return {{"ok", true},
            {"geojson", mapping::footprintGeoJson(footprints, nullptr)},
            {"coordinates", mapping::kSiteFrameCoordinates}};
}

} // namespace

// The schema of the inputs, the gas table and the concentration units, for the page's form.
std::string describe() {
    try {
        json inputs = json::array();
        for (const InputSchema::Input &input : InputSchema::inputs()) {
            json labels = json::array();
            if (input.enumeration != nullptr) {
                for (const InputSchema::Label &label : input.enumeration->labels) {
                    labels.push_back({{"label", label.label}, {"value", label.value}});
                }
            }
            inputs.push_back({{"name", input.name},
                              {"dispid", input.dispid},
                              {"enumeration", input.enumeration != nullptr},
                              {"unit", input.unit},
                              {"meaning", input.meaning},
                              {"default", input.defaultValue},
                              {"defaultLabel", input.enumeration != nullptr
                                                   ? InputSchema::labelOf(input, input.defaultValue)
                                                   : std::string_view()},
                              {"range", rangeJson(input.range)},
                              {"labels", labels}});
        }
        json gases = json::array();
        for (const GasTable::Entry &entry : GasTable::entries()) {
            gases.push_back({{"name", entry.name},
                             {"formula", entry.formula},
                             {"sourceMolecularWeight", entry.molecularWeight},
                             {"sourceSpecificHeat", entry.specificHeat},
                             {"sourceSpecificHeatRatio", entry.specificHeatRatio},
                             {"lowerFlammabilityLimit", optionalJson(entry.hazards.lowerFlammabilityLimit)},
                             {"upperFlammabilityLimit", optionalJson(entry.hazards.upperFlammabilityLimit)},
                             {"idlh", optionalJson(entry.hazards.idlh)}});
        }
        json units = json::array();
        for (ConcentrationUnit unit : kUnits) {
            units.push_back({{"word", concentrationUnitWord(unit)}, {"label", concentrationUnitLabel(unit)}});
        }
        json series = json::array();
        for (const PropertyTable::Series &s : PropertyTable::series()) {
            series.push_back({{"name", s.name}, {"unit", s.unit}});
        }
        return json{{"ok", true},       {"version", OSTRELJET_VERSION_STRING},
                    {"inputs", inputs}, {"gases", gases},
                    {"units", units},   {"series", series}}
            .dump();
    } catch (const std::exception &error) {
        return errorAnswer(error.what(), "").dump();
    } catch (...) {
        return errorAnswer("unexpected error in the model", "").dump();
    }
}

// A number typed in a field, read as every front reads numbers: {"ok": true, "value": v} or {"ok": false,
// "reason": "is not a number"}.
std::string number(const std::string &text) {
    const inputs::NumberText::Reading reading = inputs::NumberText::readPrefix(text);
    if (reading.problem == inputs::NumberText::Problem::none && reading.length == text.size() &&
        std::isfinite(reading.value)) {
        return json{{"ok", true}, {"value", reading.value}}.dump();
    }
    const inputs::NumberText::Problem problem = reading.problem == inputs::NumberText::Problem::none
                                                    ? inputs::NumberText::Problem::notANumber
                                                    : reading.problem;
    return json{{"ok", false}, {"reason", inputs::NumberText::reason(problem)}}.dump();
}

// One request of the page: its answer, or the refusal or failure as an error answer; nothing is thrown
// into JavaScript.
template <typename Answer> std::string answered(const std::string &requestText, Answer answer) {
    try {
        return answer(json::parse(requestText)).dump();
    } catch (const Refusal &refusal) {
        return errorAnswer(refusal.first, refusal.second).dump();
    } catch (const std::exception &error) {
        return errorAnswer(error.what(), "").dump();
    } catch (...) {
        return errorAnswer("unexpected error in the model", "").dump();
    }
}

// Runs the request {"scenario": TEXT, "levels": "LFL,2%", "unit": "vol", "planHeight": m, "gridPoints": n}.
std::string run(const std::string &requestText) {
    return answered(requestText, runRequest);
}

// The footprints of the request {"scenario": TEXT, "levels": "LFL,2%", "unit": "vol", "height": m,
// "scenarioName": "vent.json"}: {"ok": true, "geojson": TEXT, "coordinates": what they are}.
std::string footprint(const std::string &requestText) {
    return answered(requestText, footprintRequest);
}

} // namespace ostreljet::web

EMSCRIPTEN_BINDINGS(ostreljet) {
    emscripten::function("describe", &ostreljet::web::describe);
    emscripten::function("run", &ostreljet::web::run);
    emscripten::function("number", &ostreljet::web::number);
    emscripten::function("footprint", &ostreljet::web::footprint);
}
