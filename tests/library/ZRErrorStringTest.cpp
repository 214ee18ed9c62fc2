// ZRErrorStringTest.cpp: statuses and error numbers as text.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

class ZRErrorStringTest : public ::testing::Test {
 protected:
  NSAutoreleasePool pool_;
};

TEST_F(ZRErrorStringTest, LibraryStatusesHaveFixedTexts) {
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-2223)), "-2223, unknownErr, unknown error");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-2222)), "-2222, superLockedErr, item is super-locked using schg bit");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-2221)), "-2221, stopErr, operation was stopped");
}

TEST_F(ZRErrorStringTest, PlatformStatusPrintsNumberNameAndComment) {
  EXPECT_EQ(Utf8(ZRCarbonErrorString(paramErr)), "-50, paramErr, error in user parameter list");
}

TEST_F(ZRErrorStringTest, ErrnoUsesGlibcNameAndText) {
  EXPECT_EQ(Utf8(ZRErrnoErrorString(2)), "100002, ENOENT, No such file or directory");
  EXPECT_EQ(Utf8(ZRErrnoErrorString(13)), "100013, EACCES, Permission denied");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(100002)), Utf8(ZRErrnoErrorString(2)));
}

TEST_F(ZRErrorStringTest, UnknownStatusIsTheBareNumber) {
  EXPECT_EQ(Utf8(ZRCarbonErrorString(12345)), "12345");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-31999)), "-31999");
  EXPECT_EQ(Utf8(ZRErrnoErrorString(99999)), "199999");
}

TEST_F(ZRErrorStringTest, CarbonErrorOfErrnoAddsTheBase) {
  EXPECT_EQ(ZRCarbonErrorOfErrno(0), 100000);
  EXPECT_EQ(ZRCarbonErrorOfErrno(2), 100002);
  EXPECT_EQ(ZRCarbonErrorOfErrno(-5), 99995);
}

TEST_F(ZRErrorStringTest, CopyWithNullSlotDoesNothingAndSucceeds) {
  EXPECT_EQ(ZRCopyCarbonErrorStringRef(-50, NULL, true), noErr);
  EXPECT_EQ(ZRCopyCarbonErrorStringRef(-50, NULL, false), noErr);
}

TEST_F(ZRErrorStringTest, CopyNeverLogs) {
  zrtest::LogCapture log;
  CFStringRef string = NULL;
  EXPECT_EQ(ZRCopyCarbonErrorStringRef(-50, &string, true), noErr);
  EXPECT_EQ(Utf8(string), "-50, paramErr, error in user parameter list");
  CFRelease(string);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRErrorStringTest, CopyOverwritesANonEmptySlotWithoutReleasingIt) {
  CFStringRef held = CFStringCreateWithCString(NULL, "held", kCFStringEncodingUTF8);
  CFStringRef slot = held;
  CFIndex count = CFGetRetainCount(held);
  EXPECT_EQ(ZRCopyCarbonErrorStringRef(-2223, &slot, false), noErr);
  EXPECT_NE(slot, held);
  EXPECT_EQ(CFGetRetainCount(held), count);
  EXPECT_EQ(Utf8(slot), "-2223, unknownErr, unknown error");
  CFRelease(slot);
  CFRelease(held);
}

TEST_F(ZRErrorStringTest, FailedCreationLeavesTheEmptyStringNotNull) {
  CFStringRef string = NULL;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyCarbonErrorStringRef(-2223, &string, true), noErr);
  ZRTestingFailAllocation(0);
  ASSERT_NE(string, nullptr);
  EXPECT_EQ(CFStringGetLength(string), 0);
  CFRelease(string);

  for (OSStatus status : {-50, 12345, 100002}) {
    string = NULL;
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyCarbonErrorStringRef(status, &string, true), noErr);
    ZRTestingFailAllocation(0);
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(CFStringGetLength(string), 0);
    CFRelease(string);
  }
}

TEST_F(ZRErrorStringTest, AutoreleasedTextLivesUntilThePoolDrains) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool inner;
    NSString* text = ZRCarbonErrorString(-50);
    EXPECT_EQ(CFGetRetainCount(text), 1);
    EXPECT_EQ(ZRTestingLiveObjectCount(), before + 1);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);
}

// Statuses whose texts the host's table does not have, given for the length of one test.
class StatusTextOverride {
 public:
  StatusTextOverride(OSStatus status, const char* name, const char* comment) : status_(status) {
    ZRTestingSetStatusText(status, name, comment);
  }
  ~StatusTextOverride() { ZRTestingSetStatusText(status_, NULL, NULL); }

 private:
  OSStatus status_;
};

TEST_F(ZRErrorStringTest, OneTrailingBlankOfTheCommentIsDropped) {
  StatusTextOverride one(-31001, "oneBlankErr", "ends in one blank ");
  StatusTextOverride two(-31002, "twoBlanksErr", "ends in two blanks  ");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-31001)), "-31001, oneBlankErr, ends in one blank");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-31002)), "-31002, twoBlanksErr, ends in two blanks ");
}

TEST_F(ZRErrorStringTest, NameAloneOrCommentAlone) {
  StatusTextOverride nameOnly(-31003, "nameOnlyErr", "");
  StatusTextOverride commentOnly(-31004, "", "a comment without a name ");
  StatusTextOverride blankOnly(-31005, "", " ");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-31003)), "-31003, nameOnlyErr");
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-31004)), "-31004, a comment without a name");
  // The parts are judged after the blank is dropped: a comment of one blank counts as empty.
  EXPECT_EQ(Utf8(ZRCarbonErrorString(-31005)), "-31005");
}

}  // namespace
