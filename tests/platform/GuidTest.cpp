#include "ostreljet/platform/Guid.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;

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
