#include "ostreljet/io/PropertyTable.hpp"

#include <algorithm>
#include <array>

namespace ostreljet {

namespace {

using Type = PropertyTable::Type;

#define OSTRELJET_DOUBLE_PROPERTY(NAME, DISPID, GETTER, SETTER)                                              \
    PropertyTable::Property {                                                                                \
        NAME, DISPID, Type::Double, [](const JetModel &m) { return m.GETTER(); },                            \
            [](JetModel &m, double v) { m.SETTER(v); }                                                       \
    }

const std::array<PropertyTable::Property, 23> propertyList = {{
    OSTRELJET_DOUBLE_PROPERTY("stackHeight", 1, stackHeight, setStackHeight),
    OSTRELJET_DOUBLE_PROPERTY("orificeDiameter", 3, orificeDiameter, setOrificeDiameter),
    OSTRELJET_DOUBLE_PROPERTY("stackLocationX", 4, stackLocationX, setStackLocationX),
    OSTRELJET_DOUBLE_PROPERTY("stackLocationY", 5, stackLocationY, setStackLocationY),
    OSTRELJET_DOUBLE_PROPERTY("releaseAngle", 6, releaseAngle, setReleaseAngle),
    OSTRELJET_DOUBLE_PROPERTY("dischargeCoefficient", 7, dischargeCoefficient, setDischargeCoefficient),
    OSTRELJET_DOUBLE_PROPERTY("massFlowrate", 8, massFlowrate, setMassFlowrate),
    OSTRELJET_DOUBLE_PROPERTY("atmosphereMolecularWeight", 9, atmosphereMolecularWeight,
                              setAtmosphereMolecularWeight),
    OSTRELJET_DOUBLE_PROPERTY("atmospherePressure", 10, atmospherePressure, setAtmospherePressure),
    OSTRELJET_DOUBLE_PROPERTY("atmosphereSpecificHeat", 11, atmosphereSpecificHeat,
                              setAtmosphereSpecificHeat),
    OSTRELJET_DOUBLE_PROPERTY("atmosphereTemperature", 12, atmosphereTemperature, setAtmosphereTemperature),
    OSTRELJET_DOUBLE_PROPERTY("atmosphereSurfaceRoughness", 13, atmosphereSurfaceRoughness,
                              setAtmosphereSurfaceRoughness),
    OSTRELJET_DOUBLE_PROPERTY("referenceWindHeight", 14, referenceWindHeight, setReferenceWindHeight),
    OSTRELJET_DOUBLE_PROPERTY("referenceWindSpeed", 15, referenceWindSpeed, setReferenceWindSpeed),
    OSTRELJET_DOUBLE_PROPERTY("referenceWindBearing", 16, referenceWindBearing, setReferenceWindBearing),
    OSTRELJET_DOUBLE_PROPERTY("sourceMolecularWeight", 17, sourceMolecularWeight, setSourceMolecularWeight),
    OSTRELJET_DOUBLE_PROPERTY("sourceSpecificHeat", 18, sourceSpecificHeat, setSourceSpecificHeat),
    OSTRELJET_DOUBLE_PROPERTY("sourceSpecificHeatRatio", 19, sourceSpecificHeatRatio,
                              setSourceSpecificHeatRatio),
    OSTRELJET_DOUBLE_PROPERTY("sourceTemperature", 20, sourceTemperature, setSourceTemperature),
    PropertyTable::Property{"timeAveraging", 21, Type::TimeAveraging,
                            [](const JetModel &m) { return static_cast<double>(m.timeAveraging()); },
                            [](JetModel &m, double v) { m.setTimeAveraging(static_cast<std::int32_t>(v)); }},
    OSTRELJET_DOUBLE_PROPERTY("stoppingConcentration", 22, stoppingConcentration, setStoppingConcentration),
    PropertyTable::Property{
        "pasquillStability", 23, Type::Pasquill,
        [](const JetModel &m) { return static_cast<double>(m.pasquillStability()); },
        [](JetModel &m, double v) { m.setPasquillStability(static_cast<std::int32_t>(v)); }},
    OSTRELJET_DOUBLE_PROPERTY("stackBearing", 25, stackBearing, setStackBearing),
}};

#undef OSTRELJET_DOUBLE_PROPERTY

const std::array<PropertyTable::Series, 8> seriesList = {{
    {"arclength", "m", [](const JetModel &m, std::size_t k) { return m.arclengths()[k]; }},
    {"x", "m", [](const JetModel &m, std::size_t k) { return m.centrelineLocations()[k].x(); }},
    {"y", "m", [](const JetModel &m, std::size_t k) { return m.centrelineLocations()[k].y(); }},
    {"z", "m", [](const JetModel &m, std::size_t k) { return m.centrelineLocations()[k].z(); }},
    {"profileRadius", "m", [](const JetModel &m, std::size_t k) { return m.profileRadii()[k]; }},
    {"centrelineConcentration", "-",
     [](const JetModel &m, std::size_t k) { return m.centrelineConcentrations()[k]; }},
    {"centrelineTemperature", "K",
     [](const JetModel &m, std::size_t k) { return m.centrelineTemperatures()[k]; }},
    {"centrelineVelocity", "m/s",
     [](const JetModel &m, std::size_t k) { return m.centrelineVelocities()[k]; }},
}};

} // namespace

std::span<const PropertyTable::Property> PropertyTable::properties() {
    return propertyList;
}

std::span<const PropertyTable::Series> PropertyTable::series() {
    return seriesList;
}

namespace {

// The first entry of a table that satisfies a predicate, or null.
template <typename Entry, std::size_t N, typename Predicate>
const Entry *firstOf(const std::array<Entry, N> &table, Predicate predicate) {
    const auto found = std::find_if(table.begin(), table.end(), predicate);
    return found == table.end() ? nullptr : &*found;
}

} // namespace

const PropertyTable::Property *PropertyTable::find(std::string_view name) {
    return firstOf(propertyList, [name](const Property &property) { return property.name == name; });
}

const PropertyTable::Property *PropertyTable::findByDispid(std::int32_t dispid) {
    return firstOf(propertyList, [dispid](const Property &property) { return property.dispid == dispid; });
}

const PropertyTable::Series *PropertyTable::findSeries(std::string_view name) {
    return firstOf(seriesList, [name](const Series &entry) { return entry.name == name; });
}

std::vector<double> PropertyTable::values(const JetModel &model, const Series &series) {
    const std::size_t n = static_cast<std::size_t>(model.numberOfOutputSteps());
    std::vector<double> out(n);
    for (std::size_t k = 0; k < n; ++k) {
        out[k] = series.at(model, k);
    }
    return out;
}

} // namespace ostreljet
