#include "ostreljet/platform/WideString.hpp"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace ostreljet::platform {

namespace {

// The byte-length prefix precedes the first code unit.
constexpr std::size_t prefixBytes = sizeof(std::uint32_t);

std::uint32_t *prefixOf(BSTR text) {
    return reinterpret_cast<std::uint32_t *>(reinterpret_cast<unsigned char *>(text) - prefixBytes);
}

// Windows-1252 code units of bytes 0x80 to 0x9F; the undefined bytes keep their own value.
constexpr char16_t windows1252High[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                          0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                          0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                          0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

void appendUtf8(std::string &out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

} // namespace

BSTR SysAllocString(LPCOLESTR text) {
    if (text == nullptr) {
        return nullptr;
    }
    return SysAllocStringLen(text, static_cast<UINT>(std::char_traits<char16_t>::length(text)));
}

BSTR SysAllocStringLen(const OLECHAR *text, UINT length) {
    // The byte length must itself fit the 32-bit prefix.
    if (length >
        (std::numeric_limits<std::uint32_t>::max() - prefixBytes - sizeof(OLECHAR)) / sizeof(OLECHAR)) {
        return nullptr;
    }
    const std::size_t bytes = prefixBytes + (static_cast<std::size_t>(length) + 1) * sizeof(OLECHAR);
    auto *block = static_cast<unsigned char *>(std::malloc(bytes));
    if (block == nullptr) {
        return nullptr;
    }
    auto *prefix = reinterpret_cast<std::uint32_t *>(block);
    *prefix = static_cast<std::uint32_t>(length * sizeof(OLECHAR));
    BSTR result = reinterpret_cast<BSTR>(block + prefixBytes);
    if (text != nullptr) {
        std::memcpy(result, text, length * sizeof(OLECHAR));
    } else {
        std::memset(result, 0, length * sizeof(OLECHAR));
    }
    result[length] = u'\0';
    return result;
}

void SysFreeString(BSTR text) {
    if (text != nullptr) {
        std::free(prefixOf(text));
    }
}

UINT SysStringLen(BSTR text) {
    return text == nullptr ? 0 : *prefixOf(text) / sizeof(OLECHAR);
}

UINT SysStringByteLen(BSTR text) {
    return text == nullptr ? 0 : *prefixOf(text);
}

std::u16string multiByteToWide(std::string_view text) {
    std::u16string wide;
    wide.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        wide.push_back(byte >= 0x80 && byte <= 0x9F ? windows1252High[byte - 0x80]
                                                    : static_cast<char16_t>(byte));
    }
    return wide;
}

BSTR A2BSTR(std::string_view text) {
    const std::u16string wide = multiByteToWide(text);
    return SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

std::string wideToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            appendUtf8(out,
                       0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (text[i + 1] - 0xDC00));
            ++i;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            appendUtf8(out, 0xFFFD);
        } else {
            appendUtf8(out, unit);
        }
    }
    return out;
}

std::string bstrToUtf8(BSTR text) {
    return wideToUtf8(bstrView(text));
}

std::u16string_view bstrView(BSTR text) {
    return text == nullptr ? std::u16string_view{} : std::u16string_view{text, SysStringLen(text)};
}

} // namespace ostreljet::platform
