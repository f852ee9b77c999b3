#pragma once

#include "ostreljet/platform/HResult.hpp"
#include "ostreljet/platform/Unknown.hpp"
#include "ostreljet/platform/WideString.hpp"

// The automation variant: a tagged value of one of the automation types, and its coercion.
namespace ostreljet::platform {

struct SAFEARRAY;
class IDispatch;

using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;

constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

constexpr VARTYPE VT_EMPTY = 0;
constexpr VARTYPE VT_NULL = 1;
constexpr VARTYPE VT_I2 = 2;
constexpr VARTYPE VT_I4 = 3;
constexpr VARTYPE VT_R8 = 5;
constexpr VARTYPE VT_BSTR = 8;
constexpr VARTYPE VT_DISPATCH = 9;
constexpr VARTYPE VT_ERROR = 10;
constexpr VARTYPE VT_BOOL = 11;
constexpr VARTYPE VT_VARIANT = 12;
constexpr VARTYPE VT_UNKNOWN = 13;
constexpr VARTYPE VT_ARRAY = 0x2000;
constexpr VARTYPE VT_BYREF = 0x4000;
constexpr VARTYPE VT_TYPEMASK = 0x0FFF;

// Flags of VariantChangeType.
constexpr USHORT VARIANT_NOVALUEPROP = 0x01; // do not ask an object for its value property
constexpr USHORT VARIANT_ALPHABOOL = 0x02;   // booleans become "True" and "False" rather than "-1" and "0"

// A tagged value. The member that is valid is chosen by vt; VT_BYREF types point at the caller's storage
// and own nothing; VT_BSTR, VT_DISPATCH, VT_UNKNOWN and VT_ARRAY types own their string, reference or
// array, which VariantClear releases.
struct VARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONG lVal;
        SHORT iVal;
        DOUBLE dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        BSTR bstrVal;
        IUnknown *punkVal;
        IDispatch *pdispVal;
        SAFEARRAY *parray;
        SHORT *piVal;
        LONG *plVal;
        DOUBLE *pdblVal;
        VARIANT_BOOL *pboolVal;
        SCODE *pscode;
        BSTR *pbstrVal;
        IUnknown **ppunkVal;
        IDispatch **ppdispVal;
        SAFEARRAY **pparray;
        VARIANT *pvarVal;
        void *byref;
    };
};
using VARIANTARG = VARIANT;

// Marks a variant empty without reading its previous content.
void VariantInit(VARIANTARG *v);
// Releases what the variant owns and leaves it empty; DISP_E_BADVARTYPE for a type it does not know
// (the variant is then left unchanged), E_INVALIDARG for nullptr.
HRESULT VariantClear(VARIANTARG *v);
// Clears dest, then makes it a deep copy of src: strings and arrays are duplicated, object references
// added to; by-reference variants are copied as the same reference.
HRESULT VariantCopy(VARIANTARG *dest, const VARIANTARG *src);
// As VariantCopy, but a by-reference src is copied as the value it refers to.
HRESULT VariantCopyInd(VARIANT *dest, const VARIANTARG *src);

// Converts src to type vt into dest (dest may be src); on failure dest is left unchanged.
//
// Supported types: VT_EMPTY, VT_NULL, VT_I2, VT_I4, VT_R8, VT_BSTR, VT_BOOL, VT_ERROR, VT_DISPATCH,
// VT_UNKNOWN, and by-reference sources of these and of VT_VARIANT. Rules (locale fixed to English with
// '.' as decimal point and ',' as thousands separator):
// - same type: copied; VT_EMPTY to a number gives 0, to VT_BOOL VARIANT_FALSE, to VT_BSTR "";
// - VT_R8 to an integer rounds half to even and gives DISP_E_OVERFLOW outside the target's range
//   (NaN and infinities included); integer narrowing likewise gives DISP_E_OVERFLOW;
// - VT_BOOL to a number gives its stored value (-1 or 0); a number to VT_BOOL gives VARIANT_TRUE when it
//   is not zero (NaN included), else VARIANT_FALSE;
// - a number to VT_BSTR: integers in decimal, VT_R8 with up to 15 significant digits in the shortest
//   form, exponential ("1E+20", "1E-05") when the decimal exponent is below -4 or at least 15; VT_BOOL
//   gives "-1" or "0", or "True" or "False" with VARIANT_ALPHABOOL;
// - VT_BSTR to a number: optional blanks, sign, digits with thousands separators in the integer part,
//   decimal point, exponent, blanks; anything else is DISP_E_TYPEMISMATCH; too large is DISP_E_OVERFLOW;
// - VT_BSTR to VT_BOOL: "True" or "False" in any case, else its number;
// - VT_DISPATCH to another type: the object's value property (DISPID_VALUE) is read and converted,
//   unless VARIANT_NOVALUEPROP is given;
// - VT_NULL converts to nothing but VT_NULL; any other scalar but VT_ERROR converts to VT_EMPTY or
//   VT_NULL (giving that type with no value); VT_ERROR converts only to itself; arrays only to their own
//   type; VT_UNKNOWN and VT_DISPATCH to each other by QueryInterface; other combinations give
//   DISP_E_TYPEMISMATCH;
// - NaN and infinities format as "NAN", "INF" and "-INF"; negative zero as "0";
// - an unknown type, VT_VARIANT or a by-reference target gives DISP_E_BADVARTYPE.
HRESULT VariantChangeType(VARIANTARG *dest, const VARIANTARG *src, USHORT flags, VARTYPE vt);

} // namespace ostreljet::platform
