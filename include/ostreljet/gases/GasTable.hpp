#pragma once

#include "ostreljet/Export.hpp"
#include "ostreljet/gases/HazardLimits.hpp"

#include <span>
#include <string_view>

namespace ostreljet {

// Common release gases with the source properties a scenario needs, as ideal gases at 298.15 K, and their
// published hazard levels in air.
class OSTRELJET_EXPORT GasTable {
public:
    struct Entry {
        std::string_view name;    // as written in a scenario's "gas" key, lower case
        std::string_view formula; // chemical formula, or "mixture"
        double molecularWeight;   // kg/mol
        double specificHeat;      // J/(kg K), at constant pressure
        double specificHeatRatio; // cp / cv
        HazardLimits hazards;     // flammability limits (% by volume) and IDLH (ppm); absent where none
    };

    static std::span<const Entry> entries();
    // Case-insensitive lookup; "hydrogen sulfide" and "natural-gas"-style spellings are accepted too.
    static const Entry *find(std::string_view name);
};

} // namespace ostreljet
