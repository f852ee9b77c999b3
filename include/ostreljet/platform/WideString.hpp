#pragma once

#include "ostreljet/platform/Types.hpp"

#include <string>
#include <string_view>

// The automation string: a length-prefixed, terminated UTF-16 string allocated by the platform.
//
// A BSTR points at its first code unit; the byte length is stored just before it and a terminating
// zero code unit just after it. The null pointer is a valid BSTR equal to the empty string.
namespace ostreljet::platform {

using BSTR = OLECHAR *;

// Allocates a copy of a terminated string; nullptr for a null argument or when memory runs out.
BSTR SysAllocString(LPCOLESTR text);
// Allocates `length` code units copied from text, or left zero when text is null; nullptr when memory
// runs out.
BSTR SysAllocStringLen(const OLECHAR *text, UINT length);
// Releases a string from SysAllocString or SysAllocStringLen; a null string is ignored.
void SysFreeString(BSTR text);
// Length in code units (0 for a null string); embedded zero code units are counted.
UINT SysStringLen(BSTR text);
// Length in bytes (twice the length in code units).
UINT SysStringByteLen(BSTR text);

// Widens text of the host's 8-bit code page, taken to be Windows-1252: bytes 0x00-0x7F and 0xA0-0xFF
// map to the code unit of equal value, 0x80-0x9F to the Windows-1252 characters (the euro sign at 0x80
// and so on), and the five bytes that code page leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) to the
// control code unit of equal value.
std::u16string multiByteToWide(std::string_view text);
// Allocates a BSTR holding multiByteToWide(text); nullptr when memory runs out.
BSTR A2BSTR(std::string_view text);

// Converts UTF-16 to UTF-8 for display; an unpaired surrogate becomes U+FFFD.
std::string wideToUtf8(std::u16string_view text);
// Converts a BSTR (nullptr giving "") to UTF-8.
std::string bstrToUtf8(BSTR text);
// The code units of a BSTR as a view (empty for nullptr).
std::u16string_view bstrView(BSTR text);

} // namespace ostreljet::platform
