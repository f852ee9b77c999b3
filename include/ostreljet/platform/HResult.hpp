#pragma once

#include "ostreljet/platform/Types.hpp"

// Status codes of the component object model with the platform's exact values.
namespace ostreljet::platform {

using HRESULT = std::int32_t;

// Reinterprets the platform's unsigned hexadecimal spelling of a status as the signed 32-bit status.
constexpr HRESULT makeHResult(std::uint32_t bits) {
    return static_cast<HRESULT>(bits);
}

constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;

constexpr HRESULT E_NOINTERFACE = makeHResult(0x80004002);
constexpr HRESULT E_POINTER = makeHResult(0x80004003);
constexpr HRESULT E_FAIL = makeHResult(0x80004005);
constexpr HRESULT E_OUTOFMEMORY = makeHResult(0x8007000E);
constexpr HRESULT E_INVALIDARG = makeHResult(0x80070057);
constexpr HRESULT E_UNEXPECTED = makeHResult(0x8000FFFF);

constexpr HRESULT CLASS_E_NOAGGREGATION = makeHResult(0x80040110);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = makeHResult(0x80040111);
constexpr HRESULT REGDB_E_READREGDB = makeHResult(0x80040150);
constexpr HRESULT REGDB_E_CLASSNOTREG = makeHResult(0x80040154);
constexpr HRESULT CO_E_CLASSSTRING = makeHResult(0x800401F3);
constexpr HRESULT SELFREG_E_TYPELIB = makeHResult(0x80040200);
constexpr HRESULT SELFREG_E_CLASS = makeHResult(0x80040201);

constexpr HRESULT DISP_E_UNKNOWNINTERFACE = makeHResult(0x80020001);
constexpr HRESULT DISP_E_MEMBERNOTFOUND = makeHResult(0x80020003);
constexpr HRESULT DISP_E_PARAMNOTFOUND = makeHResult(0x80020004);
constexpr HRESULT DISP_E_TYPEMISMATCH = makeHResult(0x80020005);
constexpr HRESULT DISP_E_UNKNOWNNAME = makeHResult(0x80020006);
constexpr HRESULT DISP_E_NONAMEDARGS = makeHResult(0x80020007);
constexpr HRESULT DISP_E_BADVARTYPE = makeHResult(0x80020008);
constexpr HRESULT DISP_E_EXCEPTION = makeHResult(0x80020009);
constexpr HRESULT DISP_E_OVERFLOW = makeHResult(0x8002000A);
constexpr HRESULT DISP_E_BADINDEX = makeHResult(0x8002000B);
constexpr HRESULT DISP_E_ARRAYISLOCKED = makeHResult(0x8002000D);
constexpr HRESULT DISP_E_BADPARAMCOUNT = makeHResult(0x8002000E);

constexpr HRESULT TYPE_E_ELEMENTNOTFOUND = makeHResult(0x8002802B);

} // namespace ostreljet::platform
