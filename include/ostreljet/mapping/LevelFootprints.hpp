#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/FarField.hpp"
#include "ostreljet/mapping/FootprintWriter.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"
#include "ostreljet/units/Level.hpp"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet {
class JetModel;
}

namespace ostreljet::mapping {

// The footprint of each level at height z (m) of a model's last run with its far field (`farField`, a
// scenario's farFieldOptions()), labelled as every front writes it:
// the level's text, its value in `unit` (mg/m³ at the ambient temperature), the gas and the scenario's
// name. Throws LevelError for a level the gas has no value for. One call per thread at a time per model.
OSTRELJET_EXPORT std::vector<LabelledFootprint>
levelFootprints(const JetModel &model, std::span<const Level> levels, std::string_view gas,
                ConcentrationUnit unit, double z, const FarFieldOptions &farField,
                const FootprintSearch &search, const std::string &scenarioName);

} // namespace ostreljet::mapping
