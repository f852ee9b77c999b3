#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace ostreljet {

// The model's input properties in interface order: for each its name, dispatch identifier, type, unit,
// meaning, value on a new model, the range that a run's validation accepts and, for an enumeration, its
// labels. The component's dispatch and type library, scenario files, the C API and the command line all
// read this one table.
class OSTRELJET_EXPORT InputSchema {
public:
    enum class Type { Double, TimeAveraging, Pasquill };

    // One member of an enumeration.
    struct Label {
        std::string_view label;  // short form in scenario files and listings: "A", "short"
        std::string_view member; // the member's name in the type library: "PASQUILL_A"
        std::int32_t value;
    };

    // An enumeration of the type library with its members in value order.
    struct Enumeration {
        std::string_view name; // "TIME_AVERAGING", "PASQUILL"
        std::span<const Label> labels;
    };

    // The values that validation accepts. An unbounded side is an infinity; a finite bound is itself
    // accepted when its side is inclusive. NaN passes validation, so contains() is false only for values
    // that validation refuses.
    struct Range {
        double lower;
        bool lowerInclusive;
        double upper;
        bool upperInclusive;

        bool bounded() const;
        bool contains(double value) const;
    };

    struct Input {
        std::string_view name;
        std::int32_t dispid;
        Type type;
        std::string_view unit;    // SI unit in ASCII; "-" for a pure number or an enumeration
        std::string_view meaning; // one line, lower case, no full stop
        double defaultValue;      // the value a new model holds
        Range range;
        const Enumeration *enumeration; // null for a double
        double (*get)(const JetModel &model);
        void (*put)(JetModel &model, double value); // enumerations receive the value as an integer
    };

    // Every string of the table is a literal, so its data() is also a null-terminated C string.
    static std::span<const Input> inputs();
    static std::span<const Enumeration> enumerations();

    // Exact, case-sensitive lookups; null when unknown.
    static const Input *find(std::string_view name);
    static const Input *findByDispid(std::int32_t dispid);

    // The value that a label or member name of the input's enumeration stands for; none when the input
    // is no enumeration or the text names no member (exact, case-sensitive).
    static std::optional<std::int32_t> labelValue(const Input &input, std::string_view text);
    // The label of an enumeration value ("D" for 3); empty when the value has none.
    static std::string_view labelOf(const Input &input, double value);
};

} // namespace ostreljet
