#include "ostreljet/platform/Variant.hpp"

#include "ostreljet/platform/Dispatch.hpp"
#include "ostreljet/platform/SafeArray.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

namespace ostreljet::platform {

namespace {

bool isScalarType(VARTYPE base) {
    switch (base) {
    case VT_EMPTY:
    case VT_NULL:
    case VT_I2:
    case VT_I4:
    case VT_R8:
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_ERROR:
    case VT_BOOL:
    case VT_UNKNOWN:
        return true;
    default:
        return false;
    }
}

bool isArrayElementType(VARTYPE base) {
    switch (base) {
    case VT_I2:
    case VT_I4:
    case VT_R8:
    case VT_BSTR:
    case VT_ERROR:
    case VT_BOOL:
    case VT_VARIANT:
        return true;
    default:
        return false;
    }
}

bool isValidType(VARTYPE vt) {
    const VARTYPE base = vt & VT_TYPEMASK;
    const VARTYPE modifiers = vt & ~VT_TYPEMASK;
    if ((modifiers & ~(VT_ARRAY | VT_BYREF)) != 0) {
        return false;
    }
    if ((modifiers & VT_ARRAY) != 0) {
        return isArrayElementType(base);
    }
    if ((modifiers & VT_BYREF) != 0) {
        return base == VT_VARIANT || (isScalarType(base) && base != VT_EMPTY && base != VT_NULL);
    }
    return isScalarType(base);
}

// A non-owning view of the value a by-reference variant refers to (a by-reference variant inside a
// VT_VARIANT reference is followed once more).
HRESULT dereference(const VARIANT &src, VARIANT &view) {
    if ((src.vt & VT_BYREF) == 0) {
        view = src;
        return S_OK;
    }
    if (src.byref == nullptr) {
        return E_INVALIDARG;
    }
    VariantInit(&view);
    view.vt = src.vt & ~VT_BYREF;
    if ((src.vt & VT_ARRAY) != 0) {
        view.parray = *src.pparray;
        return S_OK;
    }
    switch (view.vt) {
    case VT_I2:
        view.iVal = *src.piVal;
        break;
    case VT_I4:
        view.lVal = *src.plVal;
        break;
    case VT_R8:
        view.dblVal = *src.pdblVal;
        break;
    case VT_BOOL:
        view.boolVal = *src.pboolVal;
        break;
    case VT_ERROR:
        view.scode = *src.pscode;
        break;
    case VT_BSTR:
        view.bstrVal = *src.pbstrVal;
        break;
    case VT_DISPATCH:
        view.pdispVal = *src.ppdispVal;
        break;
    case VT_UNKNOWN:
        view.punkVal = *src.ppunkVal;
        break;
    case VT_VARIANT:
        if (src.pvarVal->vt == (VT_BYREF | VT_VARIANT)) {
            return E_INVALIDARG;
        }
        return dereference(*src.pvarVal, view);
    default:
        return DISP_E_BADVARTYPE;
    }
    return S_OK;
}

double roundHalfToEven(double x) {
    const double lower = std::floor(x);
    const double fraction = x - lower;
    if (fraction > 0.5) {
        return lower + 1.0;
    }
    if (fraction < 0.5) {
        return lower;
    }
    return std::fmod(lower, 2.0) == 0.0 ? lower : lower + 1.0;
}

// Rounds to an integer within [low, high]; DISP_E_OVERFLOW outside it (and for NaN).
HRESULT integerFromDouble(double x, double low, double high, LONG &out) {
    const double r = roundHalfToEven(x);
    if (!(r >= low && r <= high)) {
        return DISP_E_OVERFLOW;
    }
    out = static_cast<LONG>(r);
    return S_OK;
}

bool isBlank(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\v' || c == u'\f';
}

// Parses a number in the fixed English locale: blanks, sign, digits with thousands separators in the
// integer part, decimal point, fraction, exponent, blanks.
HRESULT doubleFromText(std::u16string_view text, double &out) {
    std::size_t i = 0;
    const auto at = [&](std::size_t k) { return k < text.size() ? text[k] : u'\0'; };
    while (isBlank(at(i))) {
        ++i;
    }
    std::string clean;
    if (at(i) == u'+' || at(i) == u'-') {
        if (at(i) == u'-') {
            clean.push_back('-');
        }
        ++i;
    }
    std::size_t digits = 0;
    std::size_t integerDigits = 0;        // significant digits before the decimal point
    std::size_t leadingFractionZeros = 0; // zeros after the point before the first significant digit
    bool significantSeen = false;
    for (; (at(i) >= u'0' && at(i) <= u'9') || (at(i) == u',' && digits > 0); ++i) {
        if (at(i) != u',') {
            clean.push_back(static_cast<char>(at(i)));
            ++digits;
            significantSeen = significantSeen || at(i) != u'0';
            integerDigits += significantSeen ? 1 : 0;
        }
    }
    if (at(i) == u'.') {
        clean.push_back('.');
        for (++i; at(i) >= u'0' && at(i) <= u'9'; ++i) {
            clean.push_back(static_cast<char>(at(i)));
            ++digits;
            if (!significantSeen && at(i) == u'0') {
                ++leadingFractionZeros;
            }
            significantSeen = significantSeen || at(i) != u'0';
        }
    }
    if (digits == 0) {
        return DISP_E_TYPEMISMATCH;
    }
    long exponent = 0;
    if (at(i) == u'e' || at(i) == u'E') {
        clean.push_back('e');
        ++i;
        bool negative = false;
        if (at(i) == u'+' || at(i) == u'-') {
            negative = at(i) == u'-';
            clean.push_back(static_cast<char>(at(i)));
            ++i;
        }
        if (!(at(i) >= u'0' && at(i) <= u'9')) {
            return DISP_E_TYPEMISMATCH;
        }
        for (; at(i) >= u'0' && at(i) <= u'9'; ++i) {
            clean.push_back(static_cast<char>(at(i)));
            exponent = std::min(exponent * 10 + (at(i) - u'0'), 100000L);
        }
        exponent = negative ? -exponent : exponent;
    }
    while (isBlank(at(i))) {
        ++i;
    }
    if (i != text.size()) {
        return DISP_E_TYPEMISMATCH;
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(clean.data(), clean.data() + clean.size(), value);
    if (error == std::errc::result_out_of_range) {
        // Decimal exponent of the first significant digit decides between overflow and underflow.
        const long magnitude = integerDigits > 0 ? static_cast<long>(integerDigits) - 1 + exponent
                                                 : exponent - static_cast<long>(leadingFractionZeros) - 1;
        if (magnitude > 0) {
            return DISP_E_OVERFLOW;
        }
        value = clean.front() == '-' ? -0.0 : 0.0;
    } else if (error != std::errc{} || end != clean.data() + clean.size()) {
        return DISP_E_TYPEMISMATCH;
    }
    if (std::isinf(value)) {
        return DISP_E_OVERFLOW;
    }
    out = value;
    return S_OK;
}

bool equalsIgnoringCase(std::u16string_view text, std::string_view word) {
    if (text.size() != word.size()) {
        return false;
    }
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (text[i] > 0x7F || std::tolower(static_cast<unsigned char>(text[i])) !=
                                  std::tolower(static_cast<unsigned char>(word[i]))) {
            return false;
        }
    }
    return true;
}

// Formats with up to 15 significant digits in the shortest form, exponential below 1E-4 and from 1E+15.
std::string textFromDouble(double value) {
    if (value == 0.0) {
        return "0";
    }
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 15);
    std::string text(buffer, result.ptr);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    return text;
}

HRESULT bstrFromAscii(const std::string &text, VARIANT &result) {
    const std::u16string wide(text.begin(), text.end());
    result.bstrVal = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    if (result.bstrVal == nullptr) {
        return E_OUTOFMEMORY;
    }
    result.vt = VT_BSTR;
    return S_OK;
}

// The numeric value of a source that converts to a number: VT_EMPTY, VT_I2, VT_I4, VT_R8, VT_BOOL or VT_BSTR.
HRESULT numberOf(const VARIANT &from, double &value) {
    switch (from.vt) {
    case VT_EMPTY:
        value = 0.0;
        return S_OK;
    case VT_I2:
        value = from.iVal;
        return S_OK;
    case VT_I4:
        value = from.lVal;
        return S_OK;
    case VT_R8:
        value = from.dblVal;
        return S_OK;
    case VT_BOOL:
        value = from.boolVal;
        return S_OK;
    case VT_BSTR:
        return doubleFromText(bstrView(from.bstrVal), value);
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

HRESULT toBool(const VARIANT &from, VARIANT &result) {
    if (from.vt == VT_BSTR) {
        const std::u16string_view text = bstrView(from.bstrVal);
        if (equalsIgnoringCase(text, "true") || equalsIgnoringCase(text, "false")) {
            result.vt = VT_BOOL;
            result.boolVal = equalsIgnoringCase(text, "true") ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        }
    }
    double value = 0.0;
    const HRESULT hr = numberOf(from, value);
    if (FAILED(hr)) {
        return hr;
    }
    result.vt = VT_BOOL;
    result.boolVal = value != 0.0 ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT toBstr(const VARIANT &from, USHORT flags, VARIANT &result) {
    switch (from.vt) {
    case VT_EMPTY:
        return bstrFromAscii("", result);
    case VT_I2:
        return bstrFromAscii(std::to_string(from.iVal), result);
    case VT_I4:
        return bstrFromAscii(std::to_string(from.lVal), result);
    case VT_R8:
        return bstrFromAscii(textFromDouble(from.dblVal), result);
    case VT_BOOL:
        if ((flags & VARIANT_ALPHABOOL) != 0) {
            return bstrFromAscii(from.boolVal != 0 ? "True" : "False", result);
        }
        return bstrFromAscii(std::to_string(from.boolVal), result);
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

HRESULT toInterface(const VARIANT &from, VARTYPE vt, VARIANT &result) {
    if (from.vt != VT_DISPATCH && from.vt != VT_UNKNOWN) {
        return DISP_E_TYPEMISMATCH;
    }
    result.vt = vt;
    if (from.punkVal == nullptr) {
        result.punkVal = nullptr;
        return S_OK;
    }
    void *target = nullptr;
    const HRESULT hr =
        from.punkVal->QueryInterface(vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &target);
    if (FAILED(hr)) {
        result.vt = VT_EMPTY;
        return hr;
    }
    if (vt == VT_DISPATCH) {
        result.pdispVal = static_cast<IDispatch *>(target);
    } else {
        result.punkVal = static_cast<IUnknown *>(target);
    }
    return S_OK;
}

// Converts a non-reference, non-array value that is not an object's value property; result is owned.
HRESULT coerce(const VARIANT &from, USHORT flags, VARTYPE vt, VARIANT &result) {
    if (from.vt == vt) {
        return VariantCopy(&result, &from);
    }
    if (from.vt == VT_NULL && vt != VT_NULL) {
        return DISP_E_TYPEMISMATCH;
    }
    double value = 0.0;
    HRESULT hr = S_OK;
    switch (vt) {
    case VT_EMPTY:
    case VT_NULL:
        if (from.vt == VT_ERROR) {
            return DISP_E_TYPEMISMATCH;
        }
        result.vt = vt;
        return S_OK;
    case VT_I2:
    case VT_I4: {
        hr = numberOf(from, value);
        if (FAILED(hr)) {
            return hr;
        }
        LONG integer = 0;
        hr = vt == VT_I2 ? integerFromDouble(value, -32768.0, 32767.0, integer)
                         : integerFromDouble(value, -2147483648.0, 2147483647.0, integer);
        if (FAILED(hr)) {
            return hr;
        }
        result.vt = vt;
        if (vt == VT_I2) {
            result.iVal = static_cast<SHORT>(integer);
        } else {
            result.lVal = integer;
        }
        return S_OK;
    }
    case VT_R8:
        hr = numberOf(from, value);
        if (FAILED(hr)) {
            return hr;
        }
        result.vt = VT_R8;
        result.dblVal = value;
        return S_OK;
    case VT_BOOL:
        return toBool(from, result);
    case VT_BSTR:
        return toBstr(from, flags, result);
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return toInterface(from, vt, result);
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

// Reads an object's value property (DISPID_VALUE) into value.
HRESULT valuePropertyOf(IDispatch *object, VARIANT &value) {
    if (object == nullptr) {
        return DISP_E_TYPEMISMATCH;
    }
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    VariantInit(&value);
    const HRESULT hr = object->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                      &none, &value, nullptr, nullptr);
    if (FAILED(hr)) {
        VariantClear(&value);
        return DISP_E_TYPEMISMATCH;
    }
    return S_OK;
}

} // namespace

void VariantInit(VARIANTARG *v) {
    if (v != nullptr) {
        std::memset(static_cast<void *>(v), 0, sizeof *v);
        v->vt = VT_EMPTY;
    }
}

HRESULT VariantClear(VARIANTARG *v) {
    if (v == nullptr) {
        return E_INVALIDARG;
    }
    if (!isValidType(v->vt)) {
        return DISP_E_BADVARTYPE;
    }
    if ((v->vt & VT_BYREF) == 0) {
        if ((v->vt & VT_ARRAY) != 0) {
            const HRESULT hr = SafeArrayDestroy(v->parray);
            if (FAILED(hr)) {
                return hr;
            }
        } else if (v->vt == VT_BSTR) {
            SysFreeString(v->bstrVal);
        } else if ((v->vt == VT_DISPATCH || v->vt == VT_UNKNOWN) && v->punkVal != nullptr) {
            v->punkVal->Release();
        }
    }
    VariantInit(v);
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG *dest, const VARIANTARG *src) {
    if (dest == nullptr || src == nullptr) {
        return E_INVALIDARG;
    }
    if (dest == src) {
        return S_OK;
    }
    if (!isValidType(src->vt)) {
        return DISP_E_BADVARTYPE;
    }
    const HRESULT hr = VariantClear(dest);
    if (FAILED(hr)) {
        return hr;
    }
    if ((src->vt & VT_BYREF) != 0) {
        *dest = *src;
    } else if ((src->vt & VT_ARRAY) != 0) {
        SAFEARRAY *copy = nullptr;
        const HRESULT copied = SafeArrayCopy(src->parray, &copy);
        if (FAILED(copied)) {
            return copied;
        }
        dest->vt = src->vt;
        dest->parray = copy;
    } else if (src->vt == VT_BSTR) {
        BSTR copy = nullptr;
        if (src->bstrVal != nullptr) {
            copy = SysAllocStringLen(src->bstrVal, SysStringLen(src->bstrVal));
            if (copy == nullptr) {
                return E_OUTOFMEMORY;
            }
        }
        dest->vt = VT_BSTR;
        dest->bstrVal = copy;
    } else {
        *dest = *src;
        if ((src->vt == VT_DISPATCH || src->vt == VT_UNKNOWN) && src->punkVal != nullptr) {
            src->punkVal->AddRef();
        }
    }
    return S_OK;
}

HRESULT VariantCopyInd(VARIANT *dest, const VARIANTARG *src) {
    if (dest == nullptr || src == nullptr) {
        return E_INVALIDARG;
    }
    if (!isValidType(src->vt)) {
        return DISP_E_BADVARTYPE;
    }
    if ((src->vt & VT_BYREF) == 0) {
        return VariantCopy(dest, src);
    }
    VARIANT view;
    const HRESULT hr = dereference(*src, view);
    if (FAILED(hr)) {
        return hr;
    }
    VARIANT copy;
    VariantInit(&copy);
    const HRESULT copied = VariantCopy(&copy, &view);
    if (FAILED(copied)) {
        return copied;
    }
    VariantClear(dest);
    *dest = copy;
    return S_OK;
}

HRESULT VariantChangeType(VARIANTARG *dest, const VARIANTARG *src, USHORT flags, VARTYPE vt) {
    if (dest == nullptr || src == nullptr) {
        return E_INVALIDARG;
    }
    if (!isValidType(src->vt) || (vt & VT_BYREF) != 0 || !isValidType(vt) || vt == VT_VARIANT) {
        return DISP_E_BADVARTYPE;
    }
    VARIANT from;
    HRESULT hr = dereference(*src, from);
    if (FAILED(hr)) {
        return hr;
    }
    VARIANT result;
    VariantInit(&result);
    if ((from.vt & VT_ARRAY) != 0 || (vt & VT_ARRAY) != 0) {
        hr = from.vt == vt ? VariantCopy(&result, &from) : DISP_E_TYPEMISMATCH;
    } else if (from.vt == VT_DISPATCH && vt != VT_DISPATCH && vt != VT_UNKNOWN) {
        if ((flags & VARIANT_NOVALUEPROP) != 0) {
            return DISP_E_TYPEMISMATCH;
        }
        VARIANT value;
        hr = valuePropertyOf(from.pdispVal, value);
        if (SUCCEEDED(hr)) {
            hr = VariantChangeType(&result, &value, flags | VARIANT_NOVALUEPROP, vt);
            VariantClear(&value);
        }
    } else {
        hr = coerce(from, flags, vt, result);
    }
    if (FAILED(hr)) {
        VariantClear(&result);
        return hr;
    }
    // The source is no longer read, so dest may be the source itself.
    VariantClear(dest);
    *dest = result;
    return S_OK;
}

} // namespace ostreljet::platform
