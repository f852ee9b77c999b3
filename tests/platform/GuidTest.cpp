#include "ostreljet/platform/Guid.hpp"
#include "ostreljet/platform/ModuleLockCount.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;

TEST(HResult, CodesAreThePlatformsSignedValues) {
    // Decimal values worked out as hexadecimal code - 2^32.
    EXPECT_EQ(E_FAIL, -2147467259);
    EXPECT_EQ(E_OUTOFMEMORY, -2147024882);
    EXPECT_EQ(DISP_E_TYPEMISMATCH, -2147352571);
    EXPECT_EQ(DISP_E_BADINDEX, -2147352565);
    EXPECT_EQ(REGDB_E_CLASSNOTREG, -2147221164);
    EXPECT_TRUE(SUCCEEDED(S_OK));
    EXPECT_TRUE(SUCCEEDED(S_FALSE));
    EXPECT_FALSE(FAILED(S_FALSE));
    EXPECT_TRUE(FAILED(E_UNEXPECTED));
    EXPECT_FALSE(SUCCEEDED(CLASS_E_NOAGGREGATION));
}

TEST(Guid, StandardInterfaceIdentifiersFormatInRegistryForm) {
    EXPECT_EQ(guidToString(IID_IUnknown), "{00000000-0000-0000-C000-000000000046}");
    EXPECT_EQ(guidToString(IID_IClassFactory), "{00000001-0000-0000-C000-000000000046}");
    EXPECT_EQ(guidToString(IID_IDispatch), "{00020400-0000-0000-C000-000000000046}");
    EXPECT_EQ(guidToString(IID_IProvideClassInfo), "{B196B283-BAB4-101A-B69C-00AA00341D07}");
    EXPECT_EQ(guidToString(IID_NULL), "{00000000-0000-0000-0000-000000000000}");
}

TEST(Guid, ParsesFieldsInTheirByteOrderAndRoundTrips) {
    const auto guid = guidFromString("{12345678-9abc-DEF0-1122-334455667788}");
    ASSERT_TRUE(guid.has_value());
    EXPECT_EQ(guid->Data1, 0x12345678u);
    EXPECT_EQ(guid->Data2, 0x9ABC);
    EXPECT_EQ(guid->Data3, 0xDEF0);
    const std::uint8_t tail[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(guid->Data4[i], tail[i]) << i;
    }
    EXPECT_EQ(guidToString(*guid), "{12345678-9ABC-DEF0-1122-334455667788}");
    EXPECT_EQ(guidFromString("{b196b283-bab4-101a-b69c-00aa00341d07}"), IID_IProvideClassInfo);
    EXPECT_FALSE(*guid == IID_IUnknown);
}

TEST(Guid, RejectsMalformedText) {
    EXPECT_FALSE(guidFromString("12345678-9ABC-DEF0-1122-334455667788"));    // no braces
    EXPECT_FALSE(guidFromString("{12345678-9ABC-DEF0-1122-33445566778}"));   // one digit short
    EXPECT_FALSE(guidFromString("{12345678-9ABC-DEF0-1122-3344556677889}")); // one digit long
    EXPECT_FALSE(guidFromString("{1234567G-9ABC-DEF0-1122-334455667788}"));  // not hexadecimal
    EXPECT_FALSE(guidFromString("{12345678-9ABC-DEF01122--334455667788}"));  // hyphen misplaced
    EXPECT_FALSE(guidFromString("(12345678-9ABC-DEF0-1122-334455667788)"));  // wrong brackets
    EXPECT_FALSE(guidFromString(""));
}

TEST(Guid, WideFormsMatchTheNarrowOnes) {
    OLECHAR buffer[39];
    EXPECT_EQ(StringFromGUID2(IID_IDispatch, buffer, 39), 39);
    EXPECT_EQ(std::u16string(buffer), u"{00020400-0000-0000-C000-000000000046}");
    EXPECT_EQ(StringFromGUID2(IID_IDispatch, buffer, 38), 0); // no room for the terminator

    CLSID clsid{};
    EXPECT_EQ(CLSIDFromString(u"{B196B283-BAB4-101A-B69C-00AA00341D07}", &clsid), S_OK);
    EXPECT_EQ(clsid, IID_IProvideClassInfo);
    EXPECT_EQ(CLSIDFromString(u"Ostreljet.OstreljetModel", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromString(u"{B196B283-BAB4-101A-B69C-00AA00341D07}x", &clsid), CO_E_CLASSSTRING);
}

TEST(ModuleLockCount, CountsObjectsAndServerLocksTogether) {
    ASSERT_EQ(ModuleLockCount::total(), 0);
    EXPECT_EQ(ModuleLockCount::canUnloadNow(), S_OK);
    ModuleLockCount::incrementObjects();
    ModuleLockCount::lock();
    EXPECT_EQ(ModuleLockCount::objectCount(), 1);
    EXPECT_EQ(ModuleLockCount::lockCount(), 1);
    EXPECT_EQ(ModuleLockCount::total(), 2);
    EXPECT_EQ(ModuleLockCount::canUnloadNow(), S_FALSE);
    ModuleLockCount::decrementObjects();
    EXPECT_EQ(ModuleLockCount::canUnloadNow(), S_FALSE); // the server lock still holds the module
    ModuleLockCount::unlock();
    EXPECT_EQ(ModuleLockCount::canUnloadNow(), S_OK);
}
