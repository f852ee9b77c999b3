#include "ostreljet/platform/Variant.hpp"
#include "ostreljet/platform/SafeArray.hpp"

#include "platform/PlatformTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace ostreljet::platform;
using ostreljet::platform::test::CountingObject;

namespace {

VARIANT r8(double value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_R8;
    v.dblVal = value;
    return v;
}

VARIANT i4(LONG value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_I4;
    v.lVal = value;
    return v;
}

VARIANT boolean(VARIANT_BOOL value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BOOL;
    v.boolVal = value;
    return v;
}

// Owns its string; the caller clears it.
VARIANT text(const char16_t *value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(value);
    return v;
}

struct Converted {
    HRESULT status;
    VARIANT value;
};

Converted convert(VARIANT source, VARTYPE vt, USHORT flags = 0) {
    Converted out{};
    VariantInit(&out.value);
    out.status = VariantChangeType(&out.value, &source, flags, vt);
    VariantClear(&source);
    return out;
}

LONG toI4(VARIANT source, HRESULT expected = S_OK) {
    Converted c = convert(source, VT_I4);
    EXPECT_EQ(c.status, expected);
    if (SUCCEEDED(c.status)) {
        EXPECT_EQ(c.value.vt, VT_I4);
    }
    return c.value.lVal;
}

SHORT toI2(VARIANT source, HRESULT expected = S_OK) {
    Converted c = convert(source, VT_I2);
    EXPECT_EQ(c.status, expected);
    return c.value.iVal;
}

double toR8(VARIANT source, HRESULT expected = S_OK) {
    Converted c = convert(source, VT_R8);
    EXPECT_EQ(c.status, expected);
    return c.value.dblVal;
}

VARIANT_BOOL toBool(VARIANT source, HRESULT expected = S_OK) {
    Converted c = convert(source, VT_BOOL);
    EXPECT_EQ(c.status, expected);
    return c.value.boolVal;
}

std::string toText(VARIANT source, USHORT flags = 0) {
    Converted c = convert(source, VT_BSTR, flags);
    EXPECT_EQ(c.status, S_OK);
    EXPECT_EQ(c.value.vt, VT_BSTR);
    const std::string result = bstrToUtf8(c.value.bstrVal);
    VariantClear(&c.value);
    return result;
}

} // namespace

TEST(VariantChangeType, DoubleToIntegerRoundsHalfToEven) {
    EXPECT_EQ(toI4(r8(2.5)), 2);
    EXPECT_EQ(toI4(r8(3.5)), 4);
    EXPECT_EQ(toI4(r8(0.5)), 0);
    EXPECT_EQ(toI4(r8(1.5)), 2);
    EXPECT_EQ(toI4(r8(-2.5)), -2);
    EXPECT_EQ(toI4(r8(-3.5)), -4);
    EXPECT_EQ(toI4(r8(2.4999999)), 2);
    EXPECT_EQ(toI4(r8(2.5000001)), 3);
    EXPECT_EQ(toI4(r8(-0.4)), 0);
    EXPECT_EQ(toI2(r8(6.5)), 6);
    EXPECT_EQ(toI2(r8(7.5)), 8);
}

TEST(VariantChangeType, DoubleToIntegerOverflowsOutsideTheRangeAfterRounding) {
    EXPECT_EQ(toI4(r8(2147483647.4)), 2147483647);
    toI4(r8(2147483647.5), DISP_E_OVERFLOW);                              // rounds to 2147483648
    EXPECT_EQ(toI4(r8(-2147483648.5)), std::numeric_limits<LONG>::min()); // rounds to the even -2147483648
    toI4(r8(-2147483649.0), DISP_E_OVERFLOW);
    toI4(r8(std::numeric_limits<double>::quiet_NaN()), DISP_E_OVERFLOW);
    toI4(r8(std::numeric_limits<double>::infinity()), DISP_E_OVERFLOW);

    EXPECT_EQ(toI2(r8(32767.49)), 32767);
    toI2(r8(32767.5), DISP_E_OVERFLOW); // rounds to 32768
    EXPECT_EQ(toI2(r8(-32768.5)), -32768);
    toI2(r8(-32768.51), DISP_E_OVERFLOW);
    toI2(i4(32768), DISP_E_OVERFLOW);
    EXPECT_EQ(toI2(i4(-32768)), -32768);
}

TEST(VariantChangeType, BooleansAndNumbers) {
    EXPECT_EQ(toI4(boolean(VARIANT_TRUE)), -1);
    EXPECT_EQ(toI4(boolean(VARIANT_FALSE)), 0);
    EXPECT_EQ(toI4(boolean(1)), 1); // a boolean holding 1 keeps its stored value
    EXPECT_EQ(toR8(boolean(VARIANT_TRUE)), -1.0);
    EXPECT_EQ(toI2(boolean(VARIANT_TRUE)), -1);

    EXPECT_EQ(toBool(i4(5)), VARIANT_TRUE);
    EXPECT_EQ(toBool(i4(0)), VARIANT_FALSE);
    EXPECT_EQ(toBool(r8(0.1)), VARIANT_TRUE);
    EXPECT_EQ(toBool(r8(-0.0)), VARIANT_FALSE);
    EXPECT_EQ(toBool(r8(std::numeric_limits<double>::quiet_NaN())), VARIANT_TRUE);
}

TEST(VariantChangeType, EmptyAndNull) {
    VARIANT empty;
    VariantInit(&empty);
    EXPECT_EQ(toI4(empty), 0);
    EXPECT_EQ(toI2(empty), 0);
    EXPECT_EQ(toR8(empty), 0.0);
    EXPECT_EQ(toBool(empty), VARIANT_FALSE);
    Converted s = convert(empty, VT_BSTR);
    ASSERT_EQ(s.status, S_OK);
    EXPECT_NE(s.value.bstrVal, nullptr); // an allocated empty string, not a null one
    EXPECT_EQ(SysStringLen(s.value.bstrVal), 0u);
    VariantClear(&s.value);

    VARIANT null;
    VariantInit(&null);
    null.vt = VT_NULL;
    toI4(null, DISP_E_TYPEMISMATCH);
    toR8(null, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(convert(null, VT_BSTR).status, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(convert(null, VT_EMPTY).status, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(convert(null, VT_NULL).value.vt, VT_NULL);
    EXPECT_EQ(convert(i4(3), VT_NULL).value.vt, VT_NULL);
}

TEST(VariantChangeType, NumbersFormatAsThePlatformDoes) {
    EXPECT_EQ(toText(i4(-42)), "-42");
    EXPECT_EQ(toText(r8(1.5)), "1.5");
    EXPECT_EQ(toText(r8(-2.5)), "-2.5");
    EXPECT_EQ(toText(r8(100.0)), "100");
    EXPECT_EQ(toText(r8(0.0)), "0");
    EXPECT_EQ(toText(r8(-0.0)), "0");
    EXPECT_EQ(toText(r8(1e20)), "1E+20");
    EXPECT_EQ(toText(r8(0.1 + 0.2)), "0.3"); // 15 significant digits hide the binary error
    EXPECT_EQ(toText(r8(1.0 / 3.0)), "0.333333333333333");
    EXPECT_EQ(toText(r8(2.0 / 3.0)), "0.666666666666667");
    EXPECT_EQ(toText(r8(123456789012345.0)), "123456789012345");
    EXPECT_EQ(toText(r8(1e15)), "1E+15");
    EXPECT_EQ(toText(r8(1.23456789012345678e17)), "1.23456789012346E+17");
    EXPECT_EQ(toText(r8(0.0001)), "0.0001");
    EXPECT_EQ(toText(r8(0.00001)), "1E-05");
    EXPECT_EQ(toText(boolean(VARIANT_TRUE)), "-1");
    EXPECT_EQ(toText(boolean(VARIANT_FALSE)), "0");
    EXPECT_EQ(toText(boolean(VARIANT_TRUE), VARIANT_ALPHABOOL), "True");
    EXPECT_EQ(toText(boolean(VARIANT_FALSE), VARIANT_ALPHABOOL), "False");
}

TEST(VariantChangeType, StringsParseAsNumbers) {
    EXPECT_EQ(toR8(text(u"1.5")), 1.5);
    EXPECT_EQ(toR8(text(u"  -2.5e3 ")), -2500.0);
    EXPECT_EQ(toR8(text(u"1,000.25")), 1000.25);
    EXPECT_EQ(toR8(text(u".5")), 0.5);
    EXPECT_EQ(toR8(text(u"+7")), 7.0);
    EXPECT_EQ(toR8(text(u"1E-400")), 0.0);
    toR8(text(u"abc"), DISP_E_TYPEMISMATCH);
    toR8(text(u""), DISP_E_TYPEMISMATCH);
    toR8(text(u"1.5x"), DISP_E_TYPEMISMATCH);
    toR8(text(u"1e"), DISP_E_TYPEMISMATCH);
    toR8(text(u",5"), DISP_E_TYPEMISMATCH);
    toR8(text(u"-"), DISP_E_TYPEMISMATCH);
    toR8(text(u"1e400"), DISP_E_OVERFLOW);

    EXPECT_EQ(toI4(text(u"2.5")), 2);
    EXPECT_EQ(toI4(text(u"3.5")), 4);
    EXPECT_EQ(toI4(text(u"-2147483648")), std::numeric_limits<LONG>::min());
    toI4(text(u"2147483648"), DISP_E_OVERFLOW);
    toI4(text(u"x"), DISP_E_TYPEMISMATCH);
    toI2(text(u"32768"), DISP_E_OVERFLOW);

    EXPECT_EQ(toBool(text(u"True")), VARIANT_TRUE);
    EXPECT_EQ(toBool(text(u"fALSE")), VARIANT_FALSE);
    EXPECT_EQ(toBool(text(u"0")), VARIANT_FALSE);
    EXPECT_EQ(toBool(text(u"2")), VARIANT_TRUE);
    toBool(text(u"yes"), DISP_E_TYPEMISMATCH);
}

TEST(VariantChangeType, ByReferenceSourcesAreDereferenced) {
    double number = 3.5;
    VARIANT ref;
    VariantInit(&ref);
    ref.vt = VT_BYREF | VT_R8;
    ref.pdblVal = &number;
    EXPECT_EQ(toI4(ref), 4);

    SHORT small = -7;
    ref.vt = VT_BYREF | VT_I2;
    ref.piVal = &small;
    EXPECT_EQ(toR8(ref), -7.0);

    VARIANT inner = text(u"12");
    ref.vt = VT_BYREF | VT_VARIANT;
    ref.pvarVal = &inner;
    EXPECT_EQ(toI4(ref), 12);
    EXPECT_EQ(inner.vt, VT_BSTR); // the referenced value is untouched
    VariantClear(&inner);
}

TEST(VariantChangeType, InPlaceAndFailureLeaveConsistentResults) {
    VARIANT v = text(u"12");
    ASSERT_EQ(VariantChangeType(&v, &v, 0, VT_I4), S_OK);
    EXPECT_EQ(v.vt, VT_I4);
    EXPECT_EQ(v.lVal, 12);

    VARIANT dest = i4(99);
    VARIANT bad = text(u"abc");
    EXPECT_EQ(VariantChangeType(&dest, &bad, 0, VT_R8), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(dest.vt, VT_I4);
    EXPECT_EQ(dest.lVal, 99);
    VariantClear(&bad);
}

TEST(VariantChangeType, UnsupportedTypesAndErrors) {
    EXPECT_EQ(convert(i4(1), VT_BYREF | VT_I4).status, DISP_E_BADVARTYPE);
    EXPECT_EQ(convert(i4(1), 4).status, DISP_E_BADVARTYPE); // 4-byte reals are not supported
    EXPECT_EQ(convert(i4(1), VT_VARIANT).status, DISP_E_BADVARTYPE);
    VARIANT strange;
    VariantInit(&strange);
    strange.vt = 4;
    VARIANT out;
    VariantInit(&out);
    EXPECT_EQ(VariantChangeType(&out, &strange, 0, VT_I4), DISP_E_BADVARTYPE);
    VARIANT error;
    VariantInit(&error);
    error.vt = VT_ERROR;
    error.scode = DISP_E_PARAMNOTFOUND;
    EXPECT_EQ(convert(error, VT_I4).status, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(convert(error, VT_ERROR).value.scode, DISP_E_PARAMNOTFOUND);
}

TEST(VariantChangeType, ObjectsGiveTheirValueProperty) {
    CountingObject object(2.5);
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_DISPATCH;
    v.pdispVal = &object;
    VARIANT out;
    VariantInit(&out);
    ASSERT_EQ(VariantChangeType(&out, &v, 0, VT_I4), S_OK);
    EXPECT_EQ(out.lVal, 2);
    EXPECT_EQ(VariantChangeType(&out, &v, VARIANT_NOVALUEPROP, VT_I4), DISP_E_TYPEMISMATCH);
    ASSERT_EQ(VariantChangeType(&out, &v, 0, VT_UNKNOWN), S_OK);
    EXPECT_EQ(object.references, 2u);
    VariantClear(&out);
    EXPECT_EQ(object.references, 1u);
}

TEST(Variant, CopyIsDeepAndClearReleases) {
    VARIANT original = text(u"jet");
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_EQ(VariantCopy(&copy, &original), S_OK);
    EXPECT_NE(copy.bstrVal, original.bstrVal);
    EXPECT_EQ(bstrToUtf8(copy.bstrVal), "jet");
    VariantClear(&original);
    EXPECT_EQ(bstrToUtf8(copy.bstrVal), "jet");
    EXPECT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(copy.vt, VT_EMPTY);

    CountingObject object(0.0);
    VARIANT held;
    VariantInit(&held);
    held.vt = VT_UNKNOWN;
    held.punkVal = &object;
    object.AddRef();
    VARIANT second;
    VariantInit(&second);
    ASSERT_EQ(VariantCopy(&second, &held), S_OK);
    EXPECT_EQ(object.references, 3u);
    VariantClear(&held);
    VariantClear(&second);
    EXPECT_EQ(object.references, 1u);

    VARIANT bad;
    VariantInit(&bad);
    bad.vt = 0x0FFF;
    EXPECT_EQ(VariantClear(&bad), DISP_E_BADVARTYPE);
    EXPECT_EQ(VariantCopy(&second, &bad), DISP_E_BADVARTYPE);
}

TEST(Variant, CopyIndTakesTheReferencedValue) {
    BSTR name = SysAllocString(u"x");
    VARIANT ref;
    VariantInit(&ref);
    ref.vt = VT_BYREF | VT_BSTR;
    ref.pbstrVal = &name;
    VARIANT plain;
    VariantInit(&plain);
    ASSERT_EQ(VariantCopy(&plain, &ref), S_OK);
    EXPECT_EQ(plain.vt, VT_BYREF | VT_BSTR); // VariantCopy keeps the reference
    ASSERT_EQ(VariantCopyInd(&plain, &ref), S_OK);
    EXPECT_EQ(plain.vt, VT_BSTR);
    EXPECT_NE(plain.bstrVal, name);
    EXPECT_EQ(bstrToUtf8(plain.bstrVal), "x");
    VariantClear(&plain);
    SysFreeString(name);
}
