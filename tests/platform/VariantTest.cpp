#include "ostreljet/platform/Variant.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace ostreljet::platform;

namespace {

VARIANT make(VARTYPE vt, double number, const char16_t *string = nullptr) {
    VARIANT v;
    VariantInit(&v);
    v.vt = vt;
    if (vt == VT_R8) {
        v.dblVal = number;
    } else if (vt == VT_I4) {
        v.lVal = static_cast<LONG>(number);
    } else if (vt == VT_BOOL) {
        v.boolVal = static_cast<VARIANT_BOOL>(number);
    } else if (vt == VT_BSTR) {
        v.bstrVal = SysAllocString(string);
    }
    return v;
}

// Converts (and clears) source; the number the result holds, whatever its type.
double convert(VARIANT source, VARTYPE vt, HRESULT &status) {
    VARIANT out{};
    status = VariantChangeType(&out, &source, 0, vt);
    VariantClear(&source);
    EXPECT_EQ(out.vt, SUCCEEDED(status) ? vt : VT_EMPTY);
    return vt == VT_I4 ? out.lVal : vt == VT_I2 ? out.iVal : vt == VT_BOOL ? out.boolVal : out.dblVal;
}

std::string format(VARIANT source, USHORT flags = 0) {
    VARIANT out;
    VariantInit(&out);
    EXPECT_EQ(VariantChangeType(&out, &source, flags, VT_BSTR), S_OK);
    EXPECT_EQ(out.vt, VT_BSTR);
    const std::string result = bstrToUtf8(out.bstrVal);
    VariantClear(&out);
    VariantClear(&source);
    return result;
}

const double notANumber = std::numeric_limits<double>::quiet_NaN();
const double infinity = std::numeric_limits<double>::infinity();

} // namespace

TEST(VariantChangeType, NumbersRoundHalfToEvenAndOverflowOutsideTheRangeAfterRounding) {
    struct Case {
        VARTYPE from;
        double in;
        VARTYPE to;
        HRESULT status;
        double out;
    };
    const Case cases[] = {
        {VT_R8, 2.5, VT_I4, S_OK, 2},
        {VT_R8, 3.5, VT_I4, S_OK, 4},
        {VT_R8, 0.5, VT_I4, S_OK, 0},
        {VT_R8, 1.5, VT_I4, S_OK, 2},
        {VT_R8, -2.5, VT_I4, S_OK, -2},
        {VT_R8, -3.5, VT_I4, S_OK, -4},
        {VT_R8, 2.4999999, VT_I4, S_OK, 2},
        {VT_R8, 2.5000001, VT_I4, S_OK, 3},
        {VT_R8, -0.4, VT_I4, S_OK, 0},
        {VT_R8, 6.5, VT_I2, S_OK, 6},
        {VT_R8, 7.5, VT_I2, S_OK, 8},
        {VT_R8, 2147483647.4, VT_I4, S_OK, 2147483647},
        {VT_R8, 2147483647.5, VT_I4, DISP_E_OVERFLOW, 0},   // rounds to 2147483648
        {VT_R8, -2147483648.5, VT_I4, S_OK, -2147483648.0}, // rounds to the even -2147483648
        {VT_R8, -2147483649.0, VT_I4, DISP_E_OVERFLOW, 0},
        {VT_R8, notANumber, VT_I4, DISP_E_OVERFLOW, 0},
        {VT_R8, infinity, VT_I4, DISP_E_OVERFLOW, 0},
        {VT_R8, 32767.49, VT_I2, S_OK, 32767},
        {VT_R8, 32767.5, VT_I2, DISP_E_OVERFLOW, 0},
        {VT_R8, -32768.5, VT_I2, S_OK, -32768},
        {VT_R8, -32768.51, VT_I2, DISP_E_OVERFLOW, 0},
        {VT_I4, 32768, VT_I2, DISP_E_OVERFLOW, 0},
        {VT_I4, -32768, VT_I2, S_OK, -32768},
        // A true boolean is -1; one holding 1 keeps its stored value; any non-zero number is true.
        {VT_BOOL, VARIANT_TRUE, VT_I4, S_OK, -1},
        {VT_BOOL, 1, VT_I4, S_OK, 1},
        {VT_BOOL, VARIANT_TRUE, VT_R8, S_OK, -1},
        {VT_R8, 0.1, VT_BOOL, S_OK, VARIANT_TRUE},
        {VT_R8, -0.0, VT_BOOL, S_OK, VARIANT_FALSE},
        {VT_R8, notANumber, VT_BOOL, S_OK, VARIANT_TRUE}};
    for (const Case &c : cases) {
        HRESULT status = S_OK;
        const double out = convert(make(c.from, c.in), c.to, status);
        EXPECT_EQ(status, c.status) << c.from << " " << c.in << " to " << c.to;
        if (c.status == S_OK) {
            EXPECT_EQ(out, c.out) << c.from << " " << c.in << " to " << c.to;
        }
    }
}

TEST(VariantChangeType, StringsParseAsNumbers) {
    struct Case {
        const char16_t *in;
        VARTYPE to;
        HRESULT status;
        double out;
    };
    const Case cases[] = {{u"1.5", VT_R8, S_OK, 1.5},
                          {u"  -2.5e3 ", VT_R8, S_OK, -2500.0},
                          {u"1,000.25", VT_R8, S_OK, 1000.25},
                          {u".5", VT_R8, S_OK, 0.5},
                          {u"+7", VT_R8, S_OK, 7.0},
                          {u"1E-400", VT_R8, S_OK, 0.0},
                          {u"1e400", VT_R8, DISP_E_OVERFLOW, 0},
                          {u"2.5", VT_I4, S_OK, 2},
                          {u"3.5", VT_I4, S_OK, 4},
                          {u"-2147483648", VT_I4, S_OK, -2147483648.0},
                          {u"2147483648", VT_I4, DISP_E_OVERFLOW, 0},
                          {u"32768", VT_I2, DISP_E_OVERFLOW, 0},
                          {u"True", VT_BOOL, S_OK, VARIANT_TRUE},
                          {u"fALSE", VT_BOOL, S_OK, VARIANT_FALSE},
                          {u"0", VT_BOOL, S_OK, VARIANT_FALSE},
                          {u"2", VT_BOOL, S_OK, VARIANT_TRUE},
                          {u"yes", VT_BOOL, DISP_E_TYPEMISMATCH, 0}};
    for (const Case &c : cases) {
        HRESULT status = S_OK;
        const double out = convert(make(VT_BSTR, 0, c.in), c.to, status);
        EXPECT_EQ(status, c.status) << wideToUtf8(c.in);
        if (c.status == S_OK) {
            EXPECT_EQ(out, c.out) << wideToUtf8(c.in);
        }
    }
    for (const char16_t *bad : {u"abc", u"", u"1.5x", u"1e", u",5", u"-"}) {
        HRESULT status = S_OK;
        convert(make(VT_BSTR, 0, bad), VT_R8, status);
        EXPECT_EQ(status, DISP_E_TYPEMISMATCH) << wideToUtf8(bad);
    }
}

// Doubles keep 15 significant digits.
TEST(VariantChangeType, NumbersFormatAsThePlatformDoes) {
    const std::pair<double, const char *> cases[] = {{1.5, "1.5"},
                                                     {-2.5, "-2.5"},
                                                     {100.0, "100"},
                                                     {-0.0, "0"},
                                                     {1e20, "1E+20"},
                                                     {0.1 + 0.2, "0.3"},
                                                     {1.0 / 3.0, "0.333333333333333"},
                                                     {2.0 / 3.0, "0.666666666666667"},
                                                     {123456789012345.0, "123456789012345"},
                                                     {1e15, "1E+15"},
                                                     {1.23456789012345678e17, "1.23456789012346E+17"},
                                                     {0.0001, "0.0001"},
                                                     {0.00001, "1E-05"}};
    for (const auto &[number, text] : cases) {
        EXPECT_EQ(format(make(VT_R8, number)), text);
    }
    EXPECT_EQ(format(make(VT_I4, -42)), "-42");
    EXPECT_EQ(format(make(VT_BOOL, VARIANT_TRUE)), "-1");
    EXPECT_EQ(format(make(VT_BOOL, VARIANT_TRUE), VARIANT_ALPHABOOL), "True");
    EXPECT_EQ(format(make(VT_BOOL, VARIANT_FALSE), VARIANT_ALPHABOOL), "False");
}

TEST(VariantChangeType, NullIsAMismatchAndFailureLeavesTheDestination) {
    HRESULT status = S_OK;
    convert(make(VT_NULL, 0), VT_R8, status);
    EXPECT_EQ(status, DISP_E_TYPEMISMATCH);
    VARIANT dest = make(VT_I4, 99);
    VARIANT bad = make(VT_BSTR, 0, u"abc");
    EXPECT_EQ(VariantChangeType(&dest, &bad, 0, VT_R8), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(dest.vt, VT_I4);
    EXPECT_EQ(dest.lVal, 99);
    VariantClear(&bad);
}
