#pragma once

#include "ostreljet/jet/JetModel.hpp"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace ostreljet {

// The input properties of the model's interface, in interface order, with their dispatch identifiers.
// Every front (dispatch, C API, scenario files, command line) reads and writes inputs through this table.
class PropertyTable {
public:
    enum class Type { Double, TimeAveraging, Pasquill };

    struct Property {
        std::string_view name;
        std::int32_t dispid;
        Type type;
        double (*get)(const JetModel &model);
        void (*put)(JetModel &model, double value); // enumerations receive the value as an integer
    };

    // A per-step result series, in the order the command line prints them.
    struct Series {
        std::string_view name;
        std::string_view unit;
        double (*at)(const JetModel &model, std::size_t step);
    };

    static std::span<const Property> properties();
    static std::span<const Series> series();

    // Exact, case-sensitive lookups; null when the name is unknown.
    static const Property *find(std::string_view name);
    static const Property *findByDispid(std::int32_t dispid);
    static const Series *findSeries(std::string_view name);

    // The series' values for every output step of the last run.
    static std::vector<double> values(const JetModel &model, const Series &series);
};

} // namespace ostreljet
