#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/inputs/InputSchema.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace ostreljet {

// The model's named quantities: the input properties (a view of the InputSchema, in interface order)
// and the per-step result series. Every front (dispatch, C API, scenario files, command line) reads and
// writes inputs through this table.
class OSTRELJET_EXPORT PropertyTable {
public:
    using Type = InputSchema::Type;
    using Property = InputSchema::Input;

    // A per-step result series, in the order the command line prints them.
    struct Series {
        std::string_view name;
        std::string_view unit;
        double (*at)(const JetModel &model, std::size_t step);
    };

    static std::span<const Property> properties() { return InputSchema::inputs(); }
    static std::span<const Series> series();

    // Exact, case-sensitive lookups; null when the name is unknown.
    static const Property *find(std::string_view name) { return InputSchema::find(name); }
    static const Property *findByDispid(std::int32_t dispid) { return InputSchema::findByDispid(dispid); }
    static const Series *findSeries(std::string_view name);

    // The series' values for every output step of the last run.
    static std::vector<double> values(const JetModel &model, const Series &series);
};

} // namespace ostreljet
