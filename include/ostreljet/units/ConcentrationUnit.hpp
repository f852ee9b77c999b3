#pragma once

#include "ostreljet/Export.hpp"

#include <optional>
#include <string_view>

namespace ostreljet {

// The units in which a concentration of released gas in air is read or shown.
enum class ConcentrationUnit {
    massFraction,            // kg of released gas per kg of mixture
    volumeFraction,          // mol of released gas per mol of mixture (the jet model's own concentration)
    percentByVolume,         // 100 x the volume fraction
    ppmByVolume,             // 1e6 x the volume fraction
    milligramsPerCubicMetre, // mg of released gas per m3 of mixture at its temperature and pressure
};

// The word of a unit on a command line or in a call: "mass", "vol", "%", "ppm" or "mg/m3" (also "mg/m^3"
// and "mg/m³"); nothing for any other text.
OSTRELJET_EXPORT std::optional<ConcentrationUnit> parseConcentrationUnit(std::string_view word);
// The word that parseConcentrationUnit reads back: "mass", "vol", "%", "ppm", "mg/m3".
OSTRELJET_EXPORT std::string_view concentrationUnitWord(ConcentrationUnit unit);
// The label printed beside a value: "mass fraction", "volume fraction", "% by volume", "ppm by volume",
// "mg/m³".
OSTRELJET_EXPORT std::string_view concentrationUnitLabel(ConcentrationUnit unit);

} // namespace ostreljet
