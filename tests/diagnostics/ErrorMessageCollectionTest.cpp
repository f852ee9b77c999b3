#include "ostreljet/diagnostics/ErrorMessageCollection.hpp"

#include <gtest/gtest.h>

using ostreljet::ErrorMessageCollection;

TEST(ErrorMessageCollection, StartsEmptyAndNotFatal) {
    ErrorMessageCollection list;
    EXPECT_EQ(list.messageCount(), 0);
    EXPECT_FALSE(list.isFatal());
}

TEST(ErrorMessageCollection, OnceOnlyKeepsFirstAndEchoesIt) {
    ErrorMessageCollection list;
    testing::internal::CaptureStdout();
    list.addMessage("first", -1, 29);
    list.addMessage("second", -1, 29);
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_EQ(list.messageCount(), 1);
    EXPECT_EQ(list.messageText(0), "first");
    EXPECT_EQ(list.message(0).level, -1);
    EXPECT_EQ(list.messageCode(0), 29);
    EXPECT_EQ(out, "first\n");
}

TEST(ErrorMessageCollection, OwnEchoStreamSilencesOneListWhileAnotherEchoes) {
    ErrorMessageCollection quiet;
    ErrorMessageCollection loud;
    quiet.setOwnEchoStream(nullptr);
    testing::internal::CaptureStdout();
    quiet.addMessage("quiet notice", -1, 7);
    loud.addMessage("loud notice", -1, 7);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "loud notice\n");
    EXPECT_EQ(quiet.messageCount(), 1); // kept in the list though not echoed
    quiet.followProcessEchoStream();
    testing::internal::CaptureStdout();
    quiet.addMessage("again", -1, 8);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "again\n");
}

TEST(ErrorMessageCollection, OnceOnlySuppressedByEarlierMessageOfAnyLevelWithSameCode) {
    ErrorMessageCollection list;
    list.addMessage("Stopping concentration reached at 12.0 m.", 0, 2);
    testing::internal::CaptureStdout();
    list.addMessage("edge", -1, 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(list.messageCount(), 1);
}

TEST(ErrorMessageCollection, LevelsZeroAndOneAppendWithoutDeduplication) {
    ErrorMessageCollection list;
    testing::internal::CaptureStdout();
    list.addMessage("a", 0, 5);
    list.addMessage("a", 0, 5);
    list.addMessage("b", 1, 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(list.messageCount(), 3);
    EXPECT_FALSE(list.isFatal());
}

TEST(ErrorMessageCollection, LevelTwoSetsFatalAndInvalidLevelsChangeNothing) {
    ErrorMessageCollection list;
    list.addMessage("bad", 3, 1);
    list.addMessage("bad", -2, 1);
    EXPECT_EQ(list.messageCount(), 0);
    EXPECT_FALSE(list.isFatal());
    list.addMessage("fatal", 2, 0);
    EXPECT_EQ(list.messageCount(), 1);
    EXPECT_TRUE(list.isFatal());
    // A level -1 with the code of the fatal message is suppressed too.
    list.addMessage("edge", -1, 0);
    EXPECT_EQ(list.messageCount(), 1);
}

TEST(ErrorMessageCollection, ClearEmptiesAndResetsFatal) {
    ErrorMessageCollection list;
    list.addMessage("x", 2, 0);
    list.addMessage("y", -1, 1);
    list.clearMessages();
    EXPECT_EQ(list.messageCount(), 0);
    EXPECT_FALSE(list.isFatal());
    // After clearing, a once-only code may be added again.
    list.addMessage("y", -1, 1);
    EXPECT_EQ(list.messageCount(), 1);
}

TEST(ErrorMessageCollection, KeepsOrderOfAddition) {
    ErrorMessageCollection list;
    list.addMessage("The jet to wind velocity ratio is less than 6.0. Use results carefully.", 0, 25);
    list.addMessage("Stopping concentration reached at 10.0 m.", 0, 2);
    EXPECT_EQ(list.messageCode(0), 25);
    EXPECT_EQ(list.messageCode(1), 2);
}
