#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/gases/HazardLimits.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet {

class JetModel;

// A level that cannot be read or has no value for the gas; the message quotes the level's text.
class OSTRELJET_EXPORT LevelError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

// A concentration of interest: a number with an optional unit ("0.01", "2%", "5000ppm", "100mg/m3",
// "0.02vol", "0.01mass") or a named hazard level of the scenario's gas ("LFL", "UFL", "LFL/2", "IDLH",
// in any letter case).
class OSTRELJET_EXPORT Level {
public:
    enum class Kind {
        number,                     // value() in unit()
        lowerFlammabilityLimit,     // LFL
        upperFlammabilityLimit,     // UFL
        halfLowerFlammabilityLimit, // LFL/2
        idlh,                       // IDLH
    };

    // Reads a level; a number without a unit is in defaultUnit. Throws LevelError for an empty text, a
    // number that is not decimal, not finite or not above 0, an unknown unit or an unknown word.
    static Level parse(std::string_view text,
                       ConcentrationUnit defaultUnit = ConcentrationConverter::modelUnit);

    Kind kind() const { return kind_; }
    double value() const { return value_; }           // in unit(); 0 for a named level
    ConcentrationUnit unit() const { return unit_; }  // of value(); % by volume or ppm for a named level
    const std::string &text() const { return text_; } // as written, blanks trimmed

    // The level as a concentration of the model (volume fraction). Named levels take the gas's published
    // limits (`gas` names it in messages). Throws LevelError when the gas has no such limit, the level
    // is too small for the model to represent, or not below pure released gas.
    double toModel(const ConcentrationConverter &converter, const HazardLimits &limits,
                   std::string_view gas = {}) const;

    // Reads a comma-separated list ("LFL,2%,5000ppm"); throws LevelError naming the piece that fails, or
    // for more than RunSummary::maximumLevels levels.
    static std::vector<Level> parseList(std::string_view text,
                                        ConcentrationUnit defaultUnit = ConcentrationConverter::modelUnit);
    // The levels a summary reports when none are asked for: the gas's LFL and LFL/2 when the gas table
    // gives it a lower flammability limit, else the stopping concentration (in the model's unit).
    static std::vector<Level> defaults(std::string_view gas, double stoppingConcentration);
    // Every level in the model's unit for `model`, whose released gas is `gas` (a name of the gas table,
    // or empty when the scenario names none: then only numbers can be converted). Throws LevelError.
    static std::vector<double> toModel(std::span<const Level> levels, const JetModel &model,
                                       std::string_view gas);

private:
    Level(Kind kind, double value, ConcentrationUnit unit, std::string text);

    Kind kind_;
    double value_;
    ConcentrationUnit unit_;
    std::string text_;
};

} // namespace ostreljet
