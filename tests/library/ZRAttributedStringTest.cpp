// ZRAttributedStringTest.cpp: strings dressed with the system font.
#include <AppKit/NSFont.h>
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::MakeUnits;
using zrtest::Pointer;
using zrtest::Units;
using zrtest::WithoutLine;
using zrtest::WithoutLines;

constexpr const char* kName = "ZRCopyAttributedStringRefOfStringRef";

class ZRAttributedStringTest : public ::testing::Test {
 protected:
  NSAutoreleasePool pool_;
};

std::string Line(const std::string& message) { return zrtest::ErrorLine(kName, message); }

// Checks that the attributed string holds exactly the text and carries the system font of
// the size over all of it, as its one attribute.
void ExpectDressed(CFAttributedStringRef attributed, const std::u16string& text, CGFloat size) {
  ASSERT_NE(attributed, nullptr);
  EXPECT_EQ(CFGetTypeID(attributed), CFAttributedStringGetTypeID());
  EXPECT_EQ(Units(CFAttributedStringGetString(attributed)), text);
  ASSERT_EQ(CFAttributedStringGetLength(attributed), static_cast<CFIndex>(text.size()));
  if (text.empty()) return;
  CFRange range = CFRangeMake(kCFNotFound, 0);
  CFDictionaryRef attributes = CFAttributedStringGetAttributes(attributed, 0, &range);
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(attributes), 1);
  EXPECT_EQ(range.location, 0);
  EXPECT_EQ(range.length, static_cast<CFIndex>(text.size()));
  CFTypeRef font =
      CFAttributedStringGetAttribute(attributed, static_cast<CFIndex>(text.size()) - 1, NSFontAttributeName, NULL);
  ASSERT_NE(font, nullptr);
  ASSERT_EQ(CFGetTypeID(font), NSFont::typeID());
  NSFontRef nsFont = static_cast<NSFontRef>(font);
  EXPECT_EQ(NSFont::pointSize(nsFont), size);
  // The same face as the system font itself.
  NSFontRef system = NSFont::systemFontOfSize(size);
  ASSERT_NE(system, nullptr);
  EXPECT_TRUE(CFEqual(NSFont::fontName(nsFont), NSFont::fontName(system)));
}

TEST_F(ZRAttributedStringTest, DressesTheWholeStringWithTheSystemFont) {
  LogCapture log;
  CFAttributedStringRef attributed = NULL;
  ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(CFSTR("Portfolio"), 12.0f, &attributed, true), noErr);
  ExpectDressed(attributed, u"Portfolio", 12.0);
  CFRelease(attributed);

  attributed = NULL;
  ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(CFSTR("x"), 9.5f, &attributed, true), noErr);
  ExpectDressed(attributed, u"x", 9.5);
  CFRelease(attributed);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRAttributedStringTest, SizeZeroMeansTheStandardSystemFontSize) {
  CFAttributedStringRef attributed = NULL;
  ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(CFSTR("quote"), 0.0f, &attributed, true), noErr);
  ExpectDressed(attributed, u"quote", NSFont::systemFontSize());
  CFRelease(attributed);
}

TEST_F(ZRAttributedStringTest, EmptyString) {
  CFAttributedStringRef attributed = NULL;
  ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(CFSTR(""), 12.0f, &attributed, true), noErr);
  ExpectDressed(attributed, u"", 12.0);
  CFRelease(attributed);
}

TEST_F(ZRAttributedStringTest, SupplementaryCharactersAndLoneSurrogatesAreKept) {
  for (const std::u16string& text : {std::u16string(u"\U0001F4C8 up"), std::u16string(u"a\xD800"),
                                     std::u16string(u"\xDC00"
                                                    u"b\xD83D")}) {
    CFStringRef string = MakeUnits(text);
    CFAttributedStringRef attributed = NULL;
    ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(string, 11.0f, &attributed, true), noErr);
    ExpectDressed(attributed, text, 11.0);
    CFRelease(attributed);
    CFRelease(string);
  }
}

TEST_F(ZRAttributedStringTest, TheResultDoesNotFollowLaterChangesOfTheString) {
  CFMutableStringRef string = CFStringCreateMutableCopy(NULL, 0, CFSTR("before"));
  CFAttributedStringRef attributed = NULL;
  ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(string, 12.0f, &attributed, true), noErr);
  CFStringAppend(string, CFSTR(" and after"));
  ExpectDressed(attributed, u"before", 12.0);
  CFRelease(attributed);
  CFRelease(string);
}

TEST_F(ZRAttributedStringTest, BadArguments) {
  LogCapture log;
  CFAttributedStringRef out = NULL;
  CFAttributedStringRef held = NULL;
  ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(CFSTR("held"), 12.0f, &held, false), noErr);
  CFAttributedStringRef full = held;
  CFStringRef s = CFSTR("s");
  EXPECT_EQ(ZRCopyAttributedStringRefOfStringRef(NULL, 12.0f, &out, true), paramErr);
  EXPECT_EQ(ZRCopyAttributedStringRefOfStringRef(s, 12.0f, NULL, true), paramErr);
  EXPECT_EQ(ZRCopyAttributedStringRefOfStringRef(s, 12.0f, &full, true), paramErr);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(full, held);
  EXPECT_EQ(CFGetRetainCount(held), 1);
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{
                Line("inStringRef: 0x0, outAttributedStringRef: " + Pointer(&out)),
                Line("inStringRef: " + Pointer(s) + ", outAttributedStringRef: 0x0"),
                Line("inStringRef: " + Pointer(s) + ", outAttributedStringRef: " + Pointer(&full)),
            }));
  log.clear();
  EXPECT_EQ(ZRCopyAttributedStringRefOfStringRef(NULL, 12.0f, &out, false), paramErr);
  EXPECT_EQ(ZRCopyAttributedStringRefOfStringRef(s, 12.0f, &full, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
  CFRelease(held);
}

TEST_F(ZRAttributedStringTest, EachAllocationFailureIsReportedAndLeavesNothingBehind) {
  // Whatever the font lookup keeps for the rest of the process is made before counting.
  CFAttributedStringRef warm = NULL;
  ASSERT_EQ(ZRCopyAttributedStringRefOfStringRef(CFSTR("warm"), 12.0f, &warm, false), noErr);
  CFRelease(warm);

  std::set<std::string> seen;
  bool sawSuccessAfterFailures = false;
  for (long n = 1; n < 200; ++n) {
    long before = ZRTestingLiveObjectCount();
    bool pending = false;
    {
      NSAutoreleasePool pool;
      LogCapture log;
      CFAttributedStringRef out = NULL;
      ZRTestingFailAllocation(n);
      OSStatus status = ZRCopyAttributedStringRefOfStringRef(CFSTR("a\U0001F600"), 12.0f, &out, true);
      pending = ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      std::vector<std::string> lines = WithoutLines(log.lines());
      if (status == noErr) {
        ExpectDressed(out, u"a\U0001F600", 12.0);
        EXPECT_TRUE(lines.empty());
        CFRelease(out);
        if (pending) sawSuccessAfterFailures = true;
      } else {
        EXPECT_EQ(status, unknownErr) << "allocation " << n;
        EXPECT_EQ(out, nullptr);
        ASSERT_EQ(lines.size(), 1u) << "allocation " << n;
        seen.insert(lines[0]);
      }

      log.clear();
      ZRTestingFailAllocation(n);
      CFAttributedStringRef quiet = NULL;
      EXPECT_EQ(ZRCopyAttributedStringRefOfStringRef(CFSTR("a\U0001F600"), 12.0f, &quiet, false), status);
      ZRTestingFailAllocation(0);
      EXPECT_TRUE(log.lines().empty());
      if (quiet) CFRelease(quiet);
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), before) << "allocation " << n;
    if (pending) break;
  }
  EXPECT_TRUE(sawSuccessAfterFailures);
  EXPECT_EQ(seen, (std::set<std::string>{Line("font is nil"), Line("CFDictionaryCreate returns NULL"),
                                         Line("CFAttributedStringCreate returns NULL")}));
}

}  // namespace
