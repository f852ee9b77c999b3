#include "ostreljet/results/RunJson.hpp"

#include "ostreljet/Version.hpp"
#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/farfield/HandOff.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"

#include <nlohmann/json.hpp>

#include <cmath>

namespace ostreljet {

namespace {

using json = nlohmann::ordered_json;

json number(double value) {
    return std::isfinite(value) ? json(value) : json(nullptr);
}

json optionalNumber(const std::optional<double> &value) {
    return value ? number(*value) : json(nullptr);
}

json location(const RunSummary::Location &at) {
    return {{"x", number(at.x)},
            {"y", number(at.y)},
            {"z", number(at.z)},
            {"downwind", number(at.downwind)},
            {"crosswind", number(at.crosswind)},
            {"arcLength", number(at.arcLength)}};
}

std::string text(const json &value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

// Concentrations as shown: in `unit`, at the ambient temperature of height z.
class Shown {
public:
    Shown(const JetModel &model, ConcentrationUnit unit)
        : converter_(ConcentrationConverter::forModel(model)), air_(model.atmosphere()), unit_(unit) {}
    json at(double value, double z) {
        return number(converter_.fromModel(value, unit_, air_.temperatureAt(z)));
    }
    json threshold(double value) const { return number(converter_.thresholdFromModel(value, unit_)); }

private:
    ConcentrationConverter converter_;
    Atmosphere air_;
    ConcentrationUnit unit_;
};

json summaryJson(const JetModel &model, const RunSummary &summary, std::span<const Level> levels,
                 ConcentrationUnit unit) {
    Shown shown(model, unit);
    json figures;
    figures["ending"] = RunSummary::endingName(summary.ending);
    figures["endMessage"] = summary.endMessage ? json(*summary.endMessage) : json(nullptr);
    figures["outputSteps"] = summary.outputSteps;
    figures["notComputedBeyondDownwind"] = optionalNumber(summary.notComputedBeyondDownwind());
    figures["stoppingConcentration"] = shown.threshold(model.stoppingConcentration());
    figures["stoppingConcentrationLoweredFrom"] =
        summary.stoppingConcentrationLoweredFrom ? shown.threshold(*summary.stoppingConcentrationLoweredFrom)
                                                 : json(nullptr);
    figures["greatestCentrelineHeight"] =
        summary.greatestCentrelineHeight ? location(*summary.greatestCentrelineHeight) : json(nullptr);
    figures["edgeReachesGroundDownwind"] = optionalNumber(summary.edgeReachesGroundDownwind);
    figures["centrelineReachesGroundDownwind"] = optionalNumber(summary.centrelineReachesGroundDownwind);
    if (summary.groundMaximum) {
        figures["groundMaximum"] = {{"concentration", shown.at(summary.groundMaximum->concentration, 0.0)},
                                    {"location", location(summary.groundMaximum->location)},
                                    {"inFarField", summary.groundMaximum->inFarField}};
    } else {
        figures["groundMaximum"] = nullptr;
    }
    figures["groundMaximumComputed"] = summary.groundMaximumComputed;
    json answers = json::array();
    for (std::size_t i = 0; i < summary.levels.size(); ++i) {
        const RunSummary::LevelAnswer &answer = summary.levels[i];
        answers.push_back({{"level", i < levels.size() ? levels[i].text() : std::string()},
                           {"model", number(answer.level)},
                           {"value", shown.threshold(answer.level)},
                           {"centrelineDownwindDistance", optionalNumber(answer.centrelineDownwindDistance)},
                           {"centrelineArcLength", optionalNumber(answer.centrelineArcLength)},
                           {"farthestDownwindExtent", optionalNumber(answer.farthestDownwindExtent)},
                           {"greatestHalfWidth", optionalNumber(answer.greatestHalfWidth)},
                           {"exceededAtEndOfRun", answer.exceededAtEndOfRun},
                           {"regionComputed", answer.regionComputed},
                           {"regionOpen", answer.regionOpen},
                           {"centrelineInFarField", answer.centrelineInFarField},
                           {"regionInFarField", answer.regionInFarField}});
    }
    figures["levels"] = answers;
    return figures;
}

json messagesJson(const RunSummary &summary) {
    json messages = json::array();
    for (const RunSummary::Message &message : summary.messages) {
        messages.push_back({{"severity", RunSummary::severityName(message.severity)},
                            {"text", message.text},
                            {"code", message.code},
                            {"level", message.level}});
    }
    return messages;
}

json farFieldJson(const JetModel &model, const FarField &field, std::span<const Level> levels,
                  std::span<const double> levelsInModelUnit, ConcentrationUnit unit, bool withSeries) {
    if (!field.computed()) {
        return nullptr;
    }
    Shown shown(model, unit);
    const HandOff &handOff = field.handOff();
    json out;
    out["handOff"] = {{"downwindDistance", number(handOff.downwindDistance)},
                      {"height", number(handOff.height)},
                      {"reason", HandOff::describe(handOff.reason)},
                      {"jetStillActive", handOff.jetStillActive}};
    out["continuityRatio"] = number(field.continuityRatio());
    out["passiveFrom"] = number(field.passiveStart());
    out["end"] = {{"downwindDistance", number(field.endDistance())},
                  {"atDistance", field.endsAtDistance()},
                  {"reason", field.endReason()}};
    if (const auto peak = field.groundLevelMaximum()) {
        out["groundLevelMaximum"] = {{"value", shown.at(peak->value, 0.0)},
                                     {"downwindDistance", number(peak->downwind)},
                                     {"atEnd", peak->downwind >= field.endDistance() * (1.0 - 1e-12)}};
    } else {
        out["groundLevelMaximum"] = nullptr;
    }
    json answers = json::array();
    for (std::size_t i = 0; i < levels.size() && i < levelsInModelUnit.size(); ++i) {
        const auto extent = field.levelExtent(levelsInModelUnit[i]);
        answers.push_back({{"level", levels[i].text()},
                           {"farthestDownwind", extent ? number(extent->downwind) : json(nullptr)},
                           {"exceededAtEnd", extent && extent->atEnd}});
    }
    out["levels"] = answers;
    out["warnings"] = field.warnings();
    if (withSeries) {
        json distance = json::array(), height = json::array(), sigmaY = json::array(), sigmaZ = json::array();
        json centreline = json::array(), ground = json::array(), regime = json::array();
        for (const FarFieldPoint &point : field.series()) {
            distance.push_back(number(point.downwindDistance));
            height.push_back(number(point.height));
            sigmaY.push_back(number(point.sigmaY));
            sigmaZ.push_back(number(point.sigmaZ));
            centreline.push_back(shown.at(point.centrelineConcentration, point.height));
            ground.push_back(shown.at(point.groundLevelConcentration, 0.0));
            regime.push_back(point.regime == FarFieldRegime::dense ? "dense" : "passive");
        }
        out["series"] = {{"downwindDistance", distance},
                         {"height", height},
                         {"sigmaY", sigmaY},
                         {"sigmaZ", sigmaZ},
                         {"centrelineConcentration", centreline},
                         {"groundLevelConcentration", ground},
                         {"regime", regime}};
    }
    return out;
}

json stepsJson(const JetModel &model, const RunSummary &summary, ConcentrationUnit unit) {
    Shown shown(model, unit);
    const bool figures = summary.succeeded(); // no figures from a run without results
    json steps = json::object();
    for (const PropertyTable::Series &series : PropertyTable::series()) {
        json column = json::array();
        if (figures) {
            const std::vector<double> values = PropertyTable::values(model, series);
            const bool concentration = std::string_view(series.name) == "centrelineConcentration";
            for (std::size_t k = 0; k < values.size(); ++k) {
                column.push_back(concentration ? shown.at(values[k], model.centrelineLocations()[k].z())
                                               : number(values[k]));
            }
        }
        steps[std::string(series.name)] = column;
    }
    return steps;
}

} // namespace

std::string RunJson::summary(const JetModel &model, const RunSummary &summary, std::span<const Level> levels,
                             ConcentrationUnit unit) {
    return text(summaryJson(model, summary, levels, unit));
}

std::string RunJson::messages(const RunSummary &summary) {
    return text(messagesJson(summary));
}

std::string RunJson::farField(const JetModel &model, const FarField &field, std::span<const Level> levels,
                              std::span<const double> levelsInModelUnit, ConcentrationUnit unit,
                              bool withSeries) {
    return text(farFieldJson(model, field, levels, levelsInModelUnit, unit, withSeries));
}

std::string RunJson::steps(const JetModel &model, const RunSummary &summary, ConcentrationUnit unit) {
    return text(stepsJson(model, summary, unit));
}

std::string RunJson::document(const JetModel &model, const RunSummary &summary, const FarField &field,
                              std::span<const Level> levels, std::span<const double> levelsInModelUnit,
                              ConcentrationUnit unit) {
    json out;
    out["version"] = OSTRELJET_VERSION_STRING;
    out["ok"] = summary.succeeded();
    out["status"] = runStatusName(summary.status);
    out["unit"] = concentrationUnitWord(unit);
    out["summary"] = summaryJson(model, summary, levels, unit);
    out["messages"] = messagesJson(summary);
    out["farField"] = farFieldJson(model, field, levels, levelsInModelUnit, unit, true);
    out["steps"] = stepsJson(model, summary, unit);
    return text(out);
}

} // namespace ostreljet
