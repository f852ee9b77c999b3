#pragma once

#include "ostreljet/platform/HResult.hpp"

#include <optional>
#include <string>
#include <string_view>

// Globally unique identifiers of classes, interfaces and type libraries.
namespace ostreljet::platform {

// 16 bytes in the platform's field layout; the registry form is "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    friend bool operator==(const GUID &, const GUID &) = default;
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID &;
using REFIID = const IID &;
using REFCLSID = const CLSID &;

constexpr IID IID_NULL{0x00000000, 0x0000, 0x0000, {0, 0, 0, 0, 0, 0, 0, 0}};
constexpr IID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID IID_IClassFactory{0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID IID_IDispatch{0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID IID_ITypeInfo{0x00020401, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID IID_IProvideClassInfo{
    0xB196B283, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};

// Formats as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" with upper-case hexadecimal digits.
std::string guidToString(const GUID &guid);

// Parses the braced registry form (hexadecimal digits of either case); nothing otherwise.
std::optional<GUID> guidFromString(std::string_view text);

// Writes the braced form and its terminator into buffer; returns the characters written including the
// terminator (39), or 0 when cchMax is too small.
int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int cchMax);

// Parses the braced form of a wide string; CO_E_CLASSSTRING when it is not one.
HRESULT CLSIDFromString(LPCOLESTR text, CLSID *clsid);

} // namespace ostreljet::platform
