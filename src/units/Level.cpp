#include "ostreljet/units/Level.hpp"

#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/inputs/NumberText.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunSummary.hpp"

#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

namespace ostreljet {

namespace {

struct NamedLevel {
    std::string_view name; // upper case
    Level::Kind kind;
};

constexpr std::array<NamedLevel, 4> namedLevels = {{
    {"LFL", Level::Kind::lowerFlammabilityLimit},
    {"UFL", Level::Kind::upperFlammabilityLimit},
    {"LFL/2", Level::Kind::halfLowerFlammabilityLimit},
    {"IDLH", Level::Kind::idlh},
}};

constexpr double percentPerFraction = 100.0; // %
constexpr double ppmPerFraction = 1e6;       // ppm

std::string_view trim(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.remove_suffix(1);
    }
    return text;
}

std::string upper(std::string_view text) {
    std::string out;
    for (const char c : text) {
        out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return out;
}

std::string quoted(std::string_view text) {
    return "level \"" + std::string(text) + "\"";
}

LevelError missingLimit(const std::string &text, std::string_view gas, std::string_view what) {
    if (gas.empty()) {
        return LevelError(quoted(text) + ": no gas is named, so there is no " + std::string(what));
    }
    return LevelError(quoted(text) + ": " + std::string(gas) + " has no published " + std::string(what));
}

} // namespace

Level::Level(Kind kind, double value, ConcentrationUnit unit, std::string text)
    : kind_(kind), value_(value), unit_(unit), text_(std::move(text)) {}

Level Level::parse(std::string_view written, ConcentrationUnit defaultUnit) {
    const std::string_view text = trim(written);
    const std::string words = upper(text);
    for (const NamedLevel &named : namedLevels) {
        if (words == named.name) {
            const ConcentrationUnit unit = named.kind == Kind::idlh ? ConcentrationUnit::ppmByVolume
                                                                    : ConcentrationUnit::percentByVolume;
            return Level(named.kind, 0.0, unit, std::string(text));
        }
    }
    const std::string expected = ": expected a number with an optional unit (%, ppm, mg/m3, vol, mass) or "
                                 "one of LFL, UFL, LFL/2, IDLH";
    if (text.empty()) {
        throw LevelError("empty level" + expected);
    }
    if (inputs::NumberText::hasNul(text)) {
        throw LevelError("a level holds no NUL character");
    }
    const inputs::NumberText::Reading reading = inputs::NumberText::readPrefix(text);
    if (reading.problem == inputs::NumberText::Problem::hexadecimal ||
        reading.problem == inputs::NumberText::Problem::notFinite) {
        throw LevelError(quoted(text) + ": the number " +
                         std::string(inputs::NumberText::reason(reading.problem)));
    }
    if (reading.problem != inputs::NumberText::Problem::none) {
        throw LevelError(quoted(text) + expected);
    }
    const double value = reading.value;
    if (value <= 0.0) {
        throw LevelError(quoted(text) + ": a level must be greater than 0");
    }
    const std::string_view suffix = trim(text.substr(reading.length));
    ConcentrationUnit unit = defaultUnit;
    if (!suffix.empty()) {
        const std::optional<ConcentrationUnit> parsed = parseConcentrationUnit(suffix);
        if (!parsed) {
            throw LevelError(quoted(text) + ": unknown unit \"" + std::string(suffix) +
                             "\" (expected %, ppm, mg/m3, vol or mass)");
        }
        unit = *parsed;
    }
    return Level(Kind::number, value, unit, std::string(text));
}

double Level::toModel(const ConcentrationConverter &converter, const HazardLimits &limits,
                      std::string_view gas) const {
    double model = 0.0;
    switch (kind_) {
    case Kind::number:
        model = converter.thresholdToModel(value_, unit_);
        break;
    case Kind::lowerFlammabilityLimit:
    case Kind::halfLowerFlammabilityLimit:
        if (!limits.lowerFlammabilityLimit) {
            throw missingLimit(text_, gas, "lower flammability limit");
        }
        model = *limits.lowerFlammabilityLimit / percentPerFraction;
        if (kind_ == Kind::halfLowerFlammabilityLimit) {
            model *= 0.5;
        }
        break;
    case Kind::upperFlammabilityLimit:
        if (!limits.upperFlammabilityLimit) {
            throw missingLimit(text_, gas, "upper flammability limit");
        }
        model = *limits.upperFlammabilityLimit / percentPerFraction;
        break;
    case Kind::idlh:
        if (!limits.idlh) {
            throw missingLimit(text_, gas, "IDLH value");
        }
        model = *limits.idlh / ppmPerFraction;
        break;
    }
    if (!(model >= std::numeric_limits<double>::min())) {
        // A positive level that the conversion takes below the smallest normal double: too small to use.
        throw LevelError(quoted(text_) +
                         ": is too small: below the smallest concentration the model can "
                         "represent (volume fraction " +
                         inputs::NumberText::shown(model) + ")");
    }
    if (!(model < 1.0)) {
        throw LevelError(quoted(text_) + ": lies at or above pure released gas (volume fraction " +
                         inputs::NumberText::shown(model) + ")");
    }
    return model;
}

std::vector<Level> Level::parseList(std::string_view text, ConcentrationUnit defaultUnit) {
    std::vector<Level> levels;
    std::size_t start = 0;
    while (true) {
        const std::size_t comma = text.find(',', start);
        if (levels.size() == RunSummary::maximumLevels) {
            throw LevelError("more than " + std::to_string(RunSummary::maximumLevels) +
                             " levels; a summary answers at most " +
                             std::to_string(RunSummary::maximumLevels));
        }
        levels.push_back(
            parse(text.substr(start, comma == std::string_view::npos ? comma : comma - start), defaultUnit));
        if (comma == std::string_view::npos) {
            return levels;
        }
        start = comma + 1;
    }
}

std::vector<Level> Level::defaults(std::string_view gas, double stoppingConcentration) {
    const GasTable::Entry *entry = gas.empty() ? nullptr : GasTable::find(gas);
    if (entry != nullptr && entry->hazards.lowerFlammabilityLimit) {
        return {parse("LFL"), parse("LFL/2")};
    }
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", stoppingConcentration);
    return {Level(Kind::number, stoppingConcentration, ConcentrationConverter::modelUnit, text)};
}

std::vector<double> Level::toModel(std::span<const Level> levels, const JetModel &model,
                                   std::string_view gas) {
    const GasTable::Entry *entry = gas.empty() ? nullptr : GasTable::find(gas);
    const HazardLimits none{};
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    std::vector<double> values;
    values.reserve(levels.size());
    for (const Level &level : levels) {
        if (level.kind() != Kind::number && entry == nullptr) {
            throw LevelError(
                "level \"" + level.text() +
                "\": the scenario names no gas of the gas table, so it has no hazard levels; give "
                "the level as a number with a unit");
        }
        values.push_back(level.toModel(converter, entry != nullptr ? entry->hazards : none,
                                       entry != nullptr ? entry->name : gas));
    }
    return values;
}

} // namespace ostreljet
