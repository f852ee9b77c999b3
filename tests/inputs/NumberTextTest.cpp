#include "ostreljet/inputs/NumberText.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

using ostreljet::inputs::NumberError;
using ostreljet::inputs::NumberText;

namespace {

std::string errorOf(std::string_view text) {
    try {
        NumberText::read("--x", text);
    } catch (const NumberError &e) {
        return e.what();
    }
    return "accepted";
}

} // namespace

TEST(NumberText, DecimalNotationOnlyWithEitherSign) {
    EXPECT_EQ(NumberText::parse("1"), 1.0);
    EXPECT_EQ(NumberText::parse("+1"), 1.0);
    EXPECT_EQ(NumberText::parse("-2.5e3"), -2500.0);
    EXPECT_EQ(NumberText::parse(".5"), 0.5);
    EXPECT_EQ(NumberText::parse("5."), 5.0);
    EXPECT_EQ(NumberText::parse("1E-3"), 0.001);
    for (const char *text : {"", "+", "-", ".", "e5", "1e", "1e+", " 1", "1 ", "1,5", "++1", "0x10", "0X1p3",
                             "inf", "-infinity", "nan", "NaN", "1e400", "-1e400"}) {
        EXPECT_FALSE(NumberText::parse(text).has_value()) << text;
    }
    // A value below the smallest double is a number (zero or denormal), not an error of reading.
    EXPECT_EQ(NumberText::parse("1e-400"), 0.0);
    EXPECT_GT(*NumberText::parse("1e-320"), 0.0);
}

TEST(NumberText, ThePrefixOfALevelStopsWhereTheUnitStarts) {
    const NumberText::Reading percent = NumberText::readPrefix("+1%");
    EXPECT_EQ(percent.problem, NumberText::Problem::none);
    EXPECT_EQ(percent.value, 1.0);
    EXPECT_EQ(percent.length, 2U);
    const NumberText::Reading exponent = NumberText::readPrefix("5e2ppm");
    EXPECT_EQ(exponent.value, 500.0);
    EXPECT_EQ(exponent.length, 3U);
    // "1e" followed by a unit letter keeps the 1: the e is not an exponent without digits.
    EXPECT_EQ(NumberText::readPrefix("1emg").length, 1U);
    EXPECT_EQ(NumberText::readPrefix("0x10").problem, NumberText::Problem::hexadecimal);
    EXPECT_EQ(NumberText::readPrefix("-inf").problem, NumberText::Problem::notFinite);
    EXPECT_EQ(NumberText::readPrefix("1e309%").problem, NumberText::Problem::notFinite);
    EXPECT_EQ(NumberText::readPrefix("LFL").problem, NumberText::Problem::notANumber);
}

TEST(NumberText, MessagesNameTheOptionAndTheText) {
    EXPECT_EQ(errorOf("0x10"), "--x: '0x10' is not a decimal number (write it in decimal)");
    EXPECT_EQ(errorOf("nan"), "--x: 'nan' is not a finite number");
    EXPECT_EQ(errorOf("1e400"), "--x: '1e400' is not a finite number");
    EXPECT_EQ(errorOf("12abc"), "--x: '12abc' is not a number");
    EXPECT_EQ(errorOf(std::string_view("1\0"
                                       "2",
                                       3)),
              "--x: a number holds no NUL character");
    EXPECT_EQ(errorOf("+7"), "accepted");
}

TEST(NumberText, ShownValuesHaveAtMostSixSignificantDigits) {
    EXPECT_EQ(NumberText::shown(1e308), "1e+308");
    EXPECT_EQ(NumberText::shown(std::numeric_limits<double>::max()), "1.79769e+308");
    EXPECT_EQ(NumberText::shown(0.05), "0.05");
    EXPECT_EQ(NumberText::shown(123456789.0), "1.23457e+08");
    EXPECT_EQ(NumberText::shown(std::nan("")), "nan");
}
