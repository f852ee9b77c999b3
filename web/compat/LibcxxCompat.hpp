// What the C++ library of Debian's emscripten (libc++ 14) lacks and the core uses: std::bit_cast and the
// floating-point std::from_chars and std::to_chars. Put before every source of the web build; newer
// C++ libraries have their own, and this header then adds nothing.
#pragma once

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>
#include <type_traits>

#if defined(_LIBCPP_VERSION) && _LIBCPP_VERSION < 15000

namespace std {

template <class To, class From>
requires(sizeof(To) == sizeof(From) && is_trivially_copyable_v<To> &&
         is_trivially_copyable_v<From>) constexpr To bit_cast(const From &from) noexcept {
    return __builtin_bit_cast(To, from);
}

// Reads a decimal number, "inf" or "nan" from the front of [first, last) as std::from_chars does: no
// leading blanks or '+', no hexadecimal; an out-of-range number leaves value alone.
inline from_chars_result from_chars(const char *first, const char *last, double &value,
                                    chars_format = chars_format::general) {
    if (first == last || *first == '+' || *first == ' ' || (*first >= '\t' && *first <= '\r')) {
        return {first, errc::invalid_argument};
    }
    std::string text(first, last);
    const std::size_t sign = text[0] == '-' ? 1 : 0;
    if (text.size() > sign + 1 && text[sign] == '0' && (text[sign + 1] == 'x' || text[sign + 1] == 'X')) {
        text.resize(sign + 1); // "0x1" is the number 0 followed by other text
    }
    if (text.size() > sign && (text[sign] == '+' || text[sign] == '-' || text[sign] == ' ')) {
        return {first, errc::invalid_argument};
    }
    char *end = nullptr;
    errno = 0;
    const double parsed = std::strtod(text.c_str(), &end);
    if (end == text.c_str()) {
        return {first, errc::invalid_argument};
    }
    const char *ptr = first + (end - text.c_str());
    if (errno == ERANGE && (std::isinf(parsed) || parsed == 0.0)) {
        return {ptr, errc::result_out_of_range};
    }
    value = parsed;
    return {ptr, errc()};
}

// The shortest text that reads back as value, in fixed or scientific notation, whichever is shorter
// (fixed on a tie), as std::to_chars(first, last, value) writes it.
inline to_chars_result to_chars(char *first, char *last, double value) {
    std::string out;
    if (std::isnan(value)) {
        out = std::signbit(value) ? "-nan" : "nan";
    } else if (std::isinf(value)) {
        out = value < 0 ? "-inf" : "inf";
    } else if (value == 0.0) {
        out = std::signbit(value) ? "-0" : "0";
    } else {
        char buffer[40];
        int precision = 1;
        for (; precision < 17; ++precision) {
            std::snprintf(buffer, sizeof buffer, "%.*e", precision - 1, value);
            if (std::strtod(buffer, nullptr) == value) {
                break;
            }
        }
        std::snprintf(buffer, sizeof buffer, "%.*e", precision - 1, value);
        const std::string scientificText(buffer);
        const std::size_t e = scientificText.find('e');
        const int exponent = std::atoi(scientificText.c_str() + e + 1);
        std::string digits;
        for (std::size_t i = 0; i < e; ++i) {
            if (scientificText[i] >= '0' && scientificText[i] <= '9') {
                digits += scientificText[i];
            }
        }
        const std::string sign = value < 0 ? "-" : "";
        const int count = static_cast<int>(digits.size());
        std::string fixed;
        if (exponent >= count - 1) {
            fixed = digits + std::string(static_cast<std::size_t>(exponent - (count - 1)), '0');
        } else if (exponent < 0) {
            fixed = "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
        } else {
            fixed = digits.substr(0, static_cast<std::size_t>(exponent + 1)) + "." +
                    digits.substr(static_cast<std::size_t>(exponent + 1));
        }
        fixed = sign + fixed;
        out = fixed.size() <= scientificText.size() ? fixed : scientificText;
    }
    if (last - first < static_cast<std::ptrdiff_t>(out.size())) {
        return {last, errc::value_too_large};
    }
    std::memcpy(first, out.data(), out.size());
    return {first + out.size(), errc()};
}

} // namespace std

#endif
