#pragma once

// Numbers as users write them, read the same way on every front: decimal only (digits, an optional
// point and exponent, an optional leading '+' or '-'); no hexadecimal, no "inf" or "nan", no blanks.
// Stateless; every function may be called from any thread.

#include "ostreljet/Export.hpp"

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostreljet::inputs {

// A number that cannot be read: what() is "OPTION: 'TEXT' ..." with the reason.
class OSTRELJET_EXPORT NumberError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

class OSTRELJET_EXPORT NumberText {
public:
    // How a text fails to be a finite decimal number.
    enum class Problem {
        none,
        notANumber,  // not decimal notation at all
        hexadecimal, // "0x10": decimal only
        notFinite,   // "inf", "nan", or beyond the largest double ("1e400")
    };

    struct Reading {
        double value = 0.0;
        std::size_t length = 0; // characters of the text that the number took
        Problem problem = Problem::notANumber;
    };

    // Reads the longest decimal number at the start of `text` (for a number followed by a unit, "2%").
    static Reading readPrefix(std::string_view text);
    // The whole text must be one finite decimal number; nothing otherwise.
    static std::optional<double> parse(std::string_view text);
    // The same, throwing NumberError naming `option` and the text, with the reason.
    static double read(std::string_view option, std::string_view text);
    // Why a reading failed, in words ("is not a number", ...), for messages that quote the text.
    static std::string_view reason(Problem problem);
    // A value for a message: at most 6 significant digits ("1e+308", "0.05", "nan").
    static std::string shown(double value);
    // True when the text holds a NUL character (which C strings would cut short).
    static bool hasNul(std::string_view text) { return text.find('\0') != std::string_view::npos; }
};

} // namespace ostreljet::inputs
