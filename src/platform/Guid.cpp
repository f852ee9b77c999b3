#include "ostreljet/platform/Guid.hpp"

#include <cstdio>

namespace ostreljet::platform {

namespace {

constexpr std::size_t registryFormLength = 38;

int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// Reads `digits` hexadecimal digits at text[pos]; false when any is not a hexadecimal digit.
bool readHex(std::string_view text, std::size_t pos, std::size_t digits, std::uint32_t &value) {
    value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        const int d = hexDigitValue(text[pos + i]);
        if (d < 0) {
            return false;
        }
        value = value * 16 + static_cast<std::uint32_t>(d);
    }
    return true;
}

} // namespace

std::string guidToString(const GUID &guid) {
    char buffer[registryFormLength + 1];
    std::snprintf(buffer, sizeof buffer, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(guid.Data1), static_cast<unsigned>(guid.Data2),
                  static_cast<unsigned>(guid.Data3), guid.Data4[0], guid.Data4[1], guid.Data4[2],
                  guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return buffer;
}

std::optional<GUID> guidFromString(std::string_view text) {
    if (text.size() != registryFormLength || text.front() != '{' || text.back() != '}' || text[9] != '-' ||
        text[14] != '-' || text[19] != '-' || text[24] != '-') {
        return std::nullopt;
    }
    GUID guid{};
    std::uint32_t v = 0;
    if (!readHex(text, 1, 8, v)) {
        return std::nullopt;
    }
    guid.Data1 = v;
    if (!readHex(text, 10, 4, v)) {
        return std::nullopt;
    }
    guid.Data2 = static_cast<std::uint16_t>(v);
    if (!readHex(text, 15, 4, v)) {
        return std::nullopt;
    }
    guid.Data3 = static_cast<std::uint16_t>(v);
    // The last eight bytes: two before the fourth hyphen, six after it.
    constexpr std::size_t bytePositions[8] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (std::size_t i = 0; i < 8; ++i) {
        if (!readHex(text, bytePositions[i], 2, v)) {
            return std::nullopt;
        }
        guid.Data4[i] = static_cast<std::uint8_t>(v);
    }
    return guid;
}

int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int cchMax) {
    const std::string text = guidToString(guid);
    if (buffer == nullptr || cchMax < static_cast<int>(text.size()) + 1) {
        return 0;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        buffer[i] = static_cast<OLECHAR>(text[i]);
    }
    buffer[text.size()] = u'\0';
    return static_cast<int>(text.size()) + 1;
}

HRESULT CLSIDFromString(LPCOLESTR text, CLSID *clsid) {
    if (text == nullptr || clsid == nullptr) {
        return E_INVALIDARG;
    }
    std::string narrow;
    for (; *text != u'\0' && narrow.size() <= registryFormLength; ++text) {
        if (*text > 0x7F) {
            return CO_E_CLASSSTRING;
        }
        narrow.push_back(static_cast<char>(*text));
    }
    const std::optional<GUID> parsed = guidFromString(narrow);
    if (!parsed) {
        return CO_E_CLASSSTRING;
    }
    *clsid = *parsed;
    return S_OK;
}

} // namespace ostreljet::platform
