#include "ostreljet/mapping/LevelFootprints.hpp"

#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/mapping/PlumeField.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"

namespace ostreljet::mapping {

std::vector<LabelledFootprint> levelFootprints(const JetModel &model, std::span<const Level> levels,
                                               std::string_view gas, ConcentrationUnit unit, double z,
                                               const FarFieldOptions &farField, const FootprintSearch &search,
                                               const std::string &scenarioName) {
    const std::vector<double> modelLevels = Level::toModel(levels, model, gas);
    const PlumeField field(model, farField);
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    std::vector<LabelledFootprint> footprints;
    for (std::size_t l = 0; l < levels.size(); ++l) {
        LabelledFootprint labelled;
        labelled.footprint = findFootprint(field, modelLevels[l], z, search);
        labelled.name = levels[l].text();
        labelled.value = converter.fromModel(modelLevels[l], unit, model.atmosphereTemperature());
        labelled.unit = std::string(concentrationUnitLabel(unit));
        labelled.gas = std::string(gas);
        labelled.scenario = scenarioName;
        footprints.push_back(std::move(labelled));
    }
    return footprints;
}

} // namespace ostreljet::mapping
