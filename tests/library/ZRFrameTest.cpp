// ZRFrameTest.cpp: how every fallible function reports failure: statuses, the ERROR line,
// the logging flag, out-parameter checks, and failures passed up from lower functions.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::Pointer;
using zrtest::Utf8;
using zrtest::WithoutLine;

class ZRFrameTest : public ::testing::Test {
 protected:
  NSAutoreleasePool pool_;
};

TEST_F(ZRFrameTest, ErrorLineNamesTheFunctionAndASourceLine) {
  LogCapture log;
  char* buffer = NULL;
  CFStringRef empty = CFSTR("");
  EXPECT_EQ(ZRCopyCBufferOfStringRef(empty, kCFStringEncodingUTF8, &buffer, true), unknownErr);
  ASSERT_EQ(log.lines().size(), 1u);
  const std::string& line = log.lines()[0];
  EXPECT_EQ(WithoutLine(line), "ERROR CFStringGetMaximumSizeForEncoding returns 0 for '' (ZRCopyCBufferOfStringRef)");
  // The line number is a positive decimal number just before the closing parenthesis.
  size_t comma = line.rfind(',');
  ASSERT_NE(comma, std::string::npos);
  EXPECT_GT(std::atoi(line.c_str() + comma + 1), 0);
}

TEST_F(ZRFrameTest, LogFlagFalseWritesNothingAndReturnsTheSameStatus) {
  LogCapture log;
  char* buffer = NULL;
  OSStatus quiet = ZRCopyCBufferOfStringRef(CFSTR(""), kCFStringEncodingUTF8, &buffer, false);
  EXPECT_TRUE(log.lines().empty());
  OSStatus loud = ZRCopyCBufferOfStringRef(CFSTR(""), kCFStringEncodingUTF8, &buffer, true);
  EXPECT_EQ(quiet, loud);
  EXPECT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(buffer, nullptr);
}

TEST_F(ZRFrameTest, NonEmptySlotGivesParamErrAndPrintsTheSlotAddress) {
  LogCapture log;
  CFDataRef held = CFDataCreate(NULL, reinterpret_cast<const UInt8*>("x"), 1);
  CFDataRef slot = held;
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(CFSTR("00"), true, &slot), paramErr);
  EXPECT_EQ(slot, held);  // this function leaves a caller's non-empty slot alone
  ASSERT_EQ(log.lines().size(), 1u);
  std::string expected = "ERROR inHexStringRef: " + Pointer(CFSTR("00")) + ", outDataRef: " + Pointer(&slot) +
                         " (ZRCopyDataRefOfHexStringRef)";
  EXPECT_EQ(WithoutLine(log.lines()[0]), expected);
  CFRelease(held);
}

TEST_F(ZRFrameTest, NullOutParameterGivesParamErr) {
  LogCapture log;
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(CFSTR("00"), false, NULL), paramErr);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(CFSTR("00"), true, NULL), paramErr);
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(WithoutLine(log.lines()[0]),
            "ERROR inHexStringRef: " + Pointer(CFSTR("00")) + ", outDataRef: 0x0 (ZRCopyDataRefOfHexStringRef)");
}

TEST_F(ZRFrameTest, LowerFailureWritesBothLinesInnermostFirstAndPassesItsStatusUp) {
  LogCapture log;
  CFDataRef data = NULL;
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(CFSTR(""), true, &data), unknownErr);
  EXPECT_EQ(data, nullptr);
  ASSERT_EQ(log.lines().size(), 2u);
  EXPECT_EQ(WithoutLine(log.lines()[0]),
            "ERROR CFStringGetMaximumSizeForEncoding returns 0 for '' (ZRCopyCBufferOfStringRef)");
  EXPECT_EQ(WithoutLine(log.lines()[1]), "ERROR ZRCopyCBufferOfStringRef returns -2223 (ZRCopyDataRefOfHexStringRef)");

  log.clear();
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(CFSTR(""), false, &data), unknownErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRFrameTest, HexEncoderReleasesANonEmptySlotOnParamErr) {
  LogCapture log;
  CFMutableStringRef held = CFStringCreateMutable(NULL, 0);
  CFRetain(held);
  ASSERT_EQ(CFGetRetainCount(held), 2);
  CFMutableStringRef slot = held;
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(NULL, true, &slot), paramErr);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(CFGetRetainCount(held), 1);
  ASSERT_EQ(log.lines().size(), 1u);
  CFRelease(held);
}

TEST_F(ZRFrameTest, FailurePathsLeaveNothingAllocated) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool inner;
    LogCapture log;
    CFDataRef data = NULL;
    EXPECT_EQ(ZRCopyDataRefOfHexStringRef(CFSTR(""), true, &data), unknownErr);
    EXPECT_EQ(ZRCopyDataRefOfHexStringRef(CFSTR("abc"), true, NULL), paramErr);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);
}

}  // namespace
