#include "ostreljet/platform/WideString.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;

TEST(WideString, AllocationKeepsLengthPrefixAndTerminator) {
    BSTR text = SysAllocString(u"abc");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 3u);
    EXPECT_EQ(SysStringByteLen(text), 6u);
    EXPECT_EQ(text[3], u'\0');
    SysFreeString(text);

    // Embedded zero code units count; a null source gives zeroed storage of the given length.
    BSTR embedded = SysAllocStringLen(u"a\0b", 3);
    EXPECT_EQ(SysStringLen(embedded), 3u);
    EXPECT_EQ(bstrView(embedded), std::u16string_view(u"a\0b", 3));
    SysFreeString(embedded);
    BSTR blank = SysAllocStringLen(nullptr, 4);
    EXPECT_EQ(bstrView(blank), std::u16string_view(u"\0\0\0\0", 4));
    SysFreeString(blank);

    BSTR empty = SysAllocString(u"");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0u);
    SysFreeString(empty);
}

TEST(WideString, NullStringIsEmpty) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(bstrToUtf8(nullptr), "");
    SysFreeString(nullptr);
}

TEST(WideString, CodePageBytesWidenAsWindows1252) {
    EXPECT_EQ(multiByteToWide("Az09 ~"), u"Az09 ~");
    EXPECT_EQ(multiByteToWide("\x80"), u"\u20AC"); // euro sign
    EXPECT_EQ(multiByteToWide("\x92"), u"\u2019"); // right single quotation mark
    EXPECT_EQ(multiByteToWide("\x9F"), u"\u0178"); // Y with diaeresis
    EXPECT_EQ(multiByteToWide("\x81\x8D\x8F\x90\x9D"), u"\u0081\u008D\u008F\u0090\u009D"); // undefined bytes
    EXPECT_EQ(multiByteToWide("\xA0\xE9\xFF"), u"\u00A0\u00E9\u00FF");
    EXPECT_EQ(multiByteToWide(std::string_view("a\0b", 3)), std::u16string(u"a\0b", 3));
}

TEST(WideString, A2BSTRCarriesAMessageTextExactly) {
    const std::string message = "The orifice diameter should lie between 0 and 100m.";
    BSTR text = A2BSTR(message);
    EXPECT_EQ(SysStringLen(text), 51u);
    EXPECT_EQ(bstrToUtf8(text), message);
    SysFreeString(text);
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
