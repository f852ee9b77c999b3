#include "ostreljet/inputs/NumberText.hpp"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace ostreljet::inputs {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Characters of the decimal number at the start of text: [+-] digits [. digits] [e [+-] digits], with
// at least one digit before or after the point; 0 when there is none.
std::size_t decimalLength(std::string_view text) {
    std::size_t i = 0;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        ++i;
    }
    std::size_t digits = 0;
    while (i < text.size() && isDigit(text[i])) {
        ++i;
        ++digits;
    }
    if (i < text.size() && text[i] == '.') {
        ++i;
        while (i < text.size() && isDigit(text[i])) {
            ++i;
            ++digits;
        }
    }
    if (digits == 0) {
        return 0;
    }
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < text.size() && (text[j] == '+' || text[j] == '-')) {
            ++j;
        }
        if (j < text.size() && isDigit(text[j])) {
            while (j < text.size() && isDigit(text[j])) {
                ++j;
            }
            i = j;
        }
    }
    return i;
}

} // namespace

NumberText::Reading NumberText::readPrefix(std::string_view text) {
    Reading reading;
    const std::size_t length = decimalLength(text);
    if (length == 0) {
        // "inf", "nan" and their kin are words, not numbers; say so rather than "not a number".
        std::string_view word = text;
        if (!word.empty() && (word.front() == '+' || word.front() == '-')) {
            word.remove_prefix(1);
        }
        std::string lower;
        for (const char c : word.substr(0, 8)) {
            lower.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        }
        if (lower.starts_with("inf") || lower.starts_with("nan")) {
            reading.problem = Problem::notFinite;
        }
        return reading;
    }
    std::string_view digits = text.substr(0, length);
    const bool negative = digits.front() == '-';
    if (digits.front() == '+' || digits.front() == '-') {
        digits.remove_prefix(1);
    }
    if (length < text.size() && (text[length] == 'x' || text[length] == 'X') && digits == "0") {
        reading.problem = Problem::hexadecimal;
        return reading;
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (end != digits.data() + digits.size()) {
        return reading;
    }
    if (error == std::errc::result_out_of_range) {
        // Past the largest double is not finite; below the smallest is a true zero or denormal, read on.
        double magnitude = 0.0;
        const std::string copy(digits);
        magnitude = std::strtod(copy.c_str(), nullptr);
        if (std::isinf(magnitude)) {
            reading.problem = Problem::notFinite;
            return reading;
        }
        value = magnitude;
    } else if (error != std::errc()) {
        return reading;
    }
    reading.value = negative ? -value : value;
    reading.length = length;
    reading.problem = std::isfinite(reading.value) ? Problem::none : Problem::notFinite;
    return reading;
}

std::optional<double> NumberText::parse(std::string_view text) {
    const Reading reading = readPrefix(text);
    if (reading.problem != Problem::none || reading.length != text.size()) {
        return std::nullopt;
    }
    return reading.value;
}

std::string_view NumberText::reason(Problem problem) {
    switch (problem) {
    case Problem::none:
        return "is a number";
    case Problem::notANumber:
        return "is not a number";
    case Problem::hexadecimal:
        return "is not a decimal number (write it in decimal)";
    case Problem::notFinite:
        return "is not a finite number";
    }
    return "is not a number";
}

double NumberText::read(std::string_view option, std::string_view text) {
    if (hasNul(text)) {
        throw NumberError(std::string(option) + ": a number holds no NUL character");
    }
    Reading reading = readPrefix(text);
    if (reading.problem == Problem::none && reading.length != text.size()) {
        reading.problem = Problem::notANumber;
    }
    if (reading.problem != Problem::none) {
        throw NumberError(std::string(option) + ": '" + std::string(text) + "' " +
                          std::string(reason(reading.problem)));
    }
    return reading.value;
}

std::string NumberText::shown(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

} // namespace ostreljet::inputs
