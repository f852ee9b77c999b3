#include "ostreljet/platform/Dispatch.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;

namespace {

VARIANT text(const char16_t *value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(value);
    return v;
}

} // namespace

TEST(DispGetParam, PositionalArgumentsAreStoredLastFirst) {
    // A call f("1", "2.5", "x"): rgvarg holds "x", "2.5", "1".
    VARIANT args[3] = {text(u"x"), text(u"2.5"), text(u"1")};
    DISPPARAMS params{args, nullptr, 3, 0};
    VARIANT out;
    UINT argErr = 77;
    ASSERT_EQ(DispGetParam(&params, 0, VT_I4, &out, &argErr), S_OK);
    EXPECT_EQ(out.lVal, 1);
    ASSERT_EQ(DispGetParam(&params, 1, VT_R8, &out, &argErr), S_OK);
    EXPECT_EQ(out.dblVal, 2.5);
    EXPECT_EQ(DispGetParam(&params, 2, VT_R8, &out, &argErr), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(argErr, 0u); // "x" is rgvarg[0]
    EXPECT_EQ(DispGetParam(&params, 3, VT_R8, &out, &argErr), DISP_E_PARAMNOTFOUND);
    for (VARIANT &a : args) {
        VariantClear(&a);
    }
}

TEST(DispGetParam, NamedArgumentsAreFoundByPosition) {
    // A call with the positional argument "4" and the argument at position 1 named: rgvarg = {named, "4"}.
    VARIANT args[2] = {text(u"7"), text(u"4")};
    DISPID named[1] = {1};
    DISPPARAMS params{args, named, 2, 1};
    VARIANT out;
    ASSERT_EQ(DispGetParam(&params, 0, VT_I4, &out, nullptr), S_OK);
    EXPECT_EQ(out.lVal, 4);
    ASSERT_EQ(DispGetParam(&params, 1, VT_I4, &out, nullptr), S_OK);
    EXPECT_EQ(out.lVal, 7);
    EXPECT_EQ(DispGetParam(&params, 2, VT_I4, &out, nullptr), DISP_E_PARAMNOTFOUND);
    for (VARIANT &a : args) {
        VariantClear(&a);
    }
}
