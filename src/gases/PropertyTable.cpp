#include "ostreljet/gases/PropertyTable.hpp"

#include <algorithm>
#include <array>

namespace ostreljet {

namespace {

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
