#pragma once

#include <cstdint>

// Fixed-width scalar types of the automation platform, with the platform's widths on every host
// (LONG and ULONG are 32 bits even where the host's long is 64 bits).
namespace ostreljet::platform {

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using BOOL = std::int32_t;
using DOUBLE = double;
using LCID = std::uint32_t;
using SCODE = std::int32_t;

// A wide character: one UTF-16 code unit, as on the platform (wchar_t is 32 bits on most hosts).
using OLECHAR = char16_t;
using LPOLESTR = OLECHAR *;
using LPCOLESTR = const OLECHAR *;

// The locale identifier of the neutral user default; every locale argument is accepted and ignored.
constexpr LCID LOCALE_USER_DEFAULT = 0x0400;

} // namespace ostreljet::platform
