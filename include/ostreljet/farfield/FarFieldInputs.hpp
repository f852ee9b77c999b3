#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/FarField.hpp"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ostreljet {

// The far field's inputs of a scenario: inputs of the engineering fronts (scenario files, the command
// line, the C API, Python and the page), not properties of the component. One table, read by every
// front. Immutable.
class OSTRELJET_EXPORT FarFieldInputs {
public:
    struct Input {
        std::string_view name;                    // scenario key
        std::string_view unit;                    // SI unit in ASCII; "-" for an enumeration
        std::string_view meaning;                 // one line, lower case, no full stop
        double defaultValue;                      // for an enumeration, its value
        double lower;                             // accepted range, lower bound excluded
        double upper;                             // upper bound included
        std::span<const std::string_view> labels; // enumeration labels in value order; empty for a number
    };

    static std::span<const Input> inputs();
    // Exact, case-sensitive; null when unknown.
    static const Input *find(std::string_view name);
    // The accepted values in words: "(0, 86400]" or "rural, urban".
    static std::string accepted(const Input &input);
    // Stores a value in the options; an error message naming the key and the value when it is refused
    // (a label that is no member, a number outside the range or not finite), else empty.
    static std::string set(FarFieldOptions &options, const Input &input, double value);
    // The value of a label ("urban" is 1); none when the text is no label of the input.
    static std::optional<double> labelValue(const Input &input, std::string_view text);
    // The value the options hold for an input.
    static double get(const FarFieldOptions &options, const Input &input);
};

} // namespace ostreljet
