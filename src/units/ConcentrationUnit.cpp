#include "ostreljet/units/ConcentrationUnit.hpp"

#include <array>

namespace ostreljet {

namespace {

struct UnitName {
    ConcentrationUnit unit;
    std::string_view word;
    std::string_view label;
};

constexpr std::array<UnitName, 5> names = {{
    {ConcentrationUnit::massFraction, "mass", "mass fraction"},
    {ConcentrationUnit::volumeFraction, "vol", "volume fraction"},
    {ConcentrationUnit::percentByVolume, "%", "% by volume"},
    {ConcentrationUnit::ppmByVolume, "ppm", "ppm by volume"},
    {ConcentrationUnit::milligramsPerCubicMetre, "mg/m3", "mg/m\u00b3"},
}};

const UnitName &nameOf(ConcentrationUnit unit) {
    for (const UnitName &name : names) {
        if (name.unit == unit) {
            return name;
        }
    }
    return names[0];
}

} // namespace

std::optional<ConcentrationUnit> parseConcentrationUnit(std::string_view word) {
    if (word == "mg/m^3" || word == "mg/m\u00b3") {
        return ConcentrationUnit::milligramsPerCubicMetre;
    }
    for (const UnitName &name : names) {
        if (name.word == word) {
            return name.unit;
        }
    }
    return std::nullopt;
}

std::string_view concentrationUnitWord(ConcentrationUnit unit) {
    return nameOf(unit).word;
}

std::string_view concentrationUnitLabel(ConcentrationUnit unit) {
    return nameOf(unit).label;
}

} // namespace ostreljet
