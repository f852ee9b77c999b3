#include "ostreljet/platform/WideString.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;

TEST(WideString, CodePageBytesWidenAsWindows1252) {
    EXPECT_EQ(multiByteToWide("Az09 ~"), u"Az09 ~");
    EXPECT_EQ(multiByteToWide("\x80"), u"\u20AC"); // euro sign
    EXPECT_EQ(multiByteToWide("\x92"), u"\u2019"); // right single quotation mark
    EXPECT_EQ(multiByteToWide("\x9F"), u"\u0178"); // Y with diaeresis
    EXPECT_EQ(multiByteToWide("\x81\x8D\x8F\x90\x9D"), u"\u0081\u008D\u008F\u0090\u009D"); // undefined bytes
    EXPECT_EQ(multiByteToWide("\xA0\xE9\xFF"), u"\u00A0\u00E9\u00FF");
    EXPECT_EQ(multiByteToWide(std::string_view("a\0b", 3)), std::u16string(u"a\0b", 3));
}

TEST(WideString, ConvertsToUtf8ForDisplay) {
    EXPECT_EQ(wideToUtf8(u"caf\u00E9"), "caf\xC3\xA9");
    EXPECT_EQ(wideToUtf8(u"\u20AC"), "\xE2\x82\xAC");
    EXPECT_EQ(wideToUtf8(u"\xD83D\xDE00"), "\xF0\x9F\x98\x80");                 // a surrogate pair
    EXPECT_EQ(wideToUtf8(std::u16string(1, char16_t{0xD800})), "\xEF\xBF\xBD"); // unpaired
    BSTR text = A2BSTR("35\xB0 C \x80");
    EXPECT_EQ(bstrToUtf8(text), "35\xC2\xB0 C \xE2\x82\xAC");
    SysFreeString(text);
}
