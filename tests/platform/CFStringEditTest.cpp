// CFStringEditTest.cpp: prefixes and suffixes, substrings, the characters a string lends, and the
// edits of mutable strings (insert, replace, append characters, append a format from a va_list),
// each at its edges; NSLogv; and the string functions with each C++ allocation made to fail.
#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/NSObjCRuntime.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::MakeString;
using zrtest::MakeUnits;
using zrtest::Units;
using zrtest::Utf8;

CFMutableStringRef Mutable(const char* text) {
  CFStringRef string = MakeString(text);
  CFMutableStringRef copy = CFStringCreateMutableCopy(NULL, 0, string);
  CFRelease(string);
  return copy;
}

TEST(CFStringPrefixAndSuffix, EmptyIsNeverFound) {
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("abc"), CFSTR("")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR("abc"), CFSTR("")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR(""), CFSTR("")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR(""), CFSTR("")));
}

TEST(CFStringPrefixAndSuffix, WholeLongerAndPartial) {
  EXPECT_TRUE(CFStringHasPrefix(CFSTR("abc"), CFSTR("a")));
  EXPECT_TRUE(CFStringHasPrefix(CFSTR("abc"), CFSTR("abc")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("abc"), CFSTR("abcd")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("abc"), CFSTR("b")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("abc"), CFSTR("A")));  // literal, case counts
  EXPECT_TRUE(CFStringHasSuffix(CFSTR("abc"), CFSTR("c")));
  EXPECT_TRUE(CFStringHasSuffix(CFSTR("abc"), CFSTR("abc")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR("abc"), CFSTR("zabc")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR("abc"), CFSTR("b")));
}

TEST(CFStringSubstring, RangesAtTheEdges) {
  CFStringRef text = MakeString("Grüße");
  CFStringRef whole = CFStringCreateWithSubstring(NULL, text, CFRangeMake(0, 5));
  CFStringRef empty = CFStringCreateWithSubstring(NULL, text, CFRangeMake(5, 0));
  CFStringRef middle = CFStringCreateWithSubstring(NULL, text, CFRangeMake(2, 2));
  EXPECT_EQ(Utf8(whole), "Grüße");
  EXPECT_EQ(Utf8(empty), "");
  EXPECT_EQ(Utf8(middle), "üß");
  EXPECT_EQ(CFStringCreateWithSubstring(NULL, NULL, CFRangeMake(0, 0)), nullptr);
  EXPECT_DEATH(CFStringCreateWithSubstring(NULL, text, CFRangeMake(4, 2)),
               "CFStringCreateWithSubstring: range \\{4, 2\\} out of bounds; string length 5");
  CFRelease(middle);
  CFRelease(empty);
  CFRelease(whole);
  CFRelease(text);
}

TEST(CFStringCharactersPtr, LendsTheUnitsOfTheText) {
  CFStringRef text = MakeUnits(u"a\u00e9\U0001F600");
  const UniChar* units = CFStringGetCharactersPtr(text);
  ASSERT_NE(units, nullptr);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(units), 4), u"a\u00e9\U0001F600");
  CFRelease(text);
}

TEST(CFStringInsert, AtTheStartTheMiddleAndTheEnd) {
  CFMutableStringRef string = Mutable("ac");
  CFStringInsert(string, 1, CFSTR("b"));
  CFStringInsert(string, 0, CFSTR(">"));
  CFStringInsert(string, 4, CFSTR("<"));
  CFStringInsert(string, 2, CFSTR(""));
  EXPECT_EQ(Utf8(string), ">abc<");
  // A string inserted into itself.
  CFStringInsert(string, 1, string);
  EXPECT_EQ(Utf8(string), ">>abc<abc<");
  EXPECT_DEATH(CFStringInsert(string, 11, CFSTR("x")), "CFStringInsert: range \\{11, 0\\} out of bounds");
  CFRelease(string);
}

TEST(CFStringReplace, RangesAtTheEdges) {
  CFMutableStringRef string = Mutable("Hello world");
  CFStringReplace(string, CFRangeMake(0, 5), CFSTR("Goodbye"));
  EXPECT_EQ(Utf8(string), "Goodbye world");
  CFStringReplace(string, CFRangeMake(13, 0), CFSTR("!"));
  EXPECT_EQ(Utf8(string), "Goodbye world!");
  CFStringReplace(string, CFRangeMake(7, 6), CFSTR(""));
  EXPECT_EQ(Utf8(string), "Goodbye!");
  CFStringReplace(string, CFRangeMake(0, 8), string);
  EXPECT_EQ(Utf8(string), "Goodbye!");
  EXPECT_DEATH(CFStringReplace(string, CFRangeMake(-1, 1), CFSTR("x")),
               "CFStringReplace: range \\{-1, 1\\} out of bounds");
  CFRelease(string);
}

TEST(CFStringAppendCharacters, UnitsAsTheyAreAndNothingForNone) {
  CFMutableStringRef string = Mutable("x");
  const UniChar units[] = {0x00E9, 0xD83D, 0xDE00, 0xDC00};
  CFStringAppendCharacters(string, units, 4);
  CFStringAppendCharacters(string, units, 0);
  CFStringAppendCharacters(string, NULL, 0);
  EXPECT_EQ(Units(string), std::u16string(u"x\u00e9\U0001F600") + char16_t(0xDC00));
  CFRelease(string);
}

void AppendFormatted(CFMutableStringRef string, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  CFStringAppendFormatAndArguments(string, NULL, format, arguments);
  va_end(arguments);
}

TEST(CFStringAppendFormatAndArguments, AppendsEachConversion) {
  CFMutableStringRef string = Mutable("n=");
  AppendFormatted(string, CFSTR("%d %@ %s %02x"), -7, CFSTR("obj"), "c", 10);
  EXPECT_EQ(Utf8(string), "n=-7 obj c 0a");
  AppendFormatted(string, CFSTR(""));
  EXPECT_EQ(Utf8(string), "n=-7 obj c 0a");
  // The string itself as an argument: its text before the append.
  AppendFormatted(string, CFSTR("|%@"), string);
  EXPECT_EQ(Utf8(string), "n=-7 obj c 0a|n=-7 obj c 0a");
  AppendFormatted(string, NULL);
  EXPECT_EQ(Utf8(string), "n=-7 obj c 0a|n=-7 obj c 0a");
  CFRelease(string);
}

void LogFormatted(CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  NSLogv(const_cast<NSString*>(format), arguments);
  va_end(arguments);
}

TEST(NSLogv, WritesTheFormattedLine) {
  LogCapture log;
  LogFormatted(CFSTR("%s has %d %@"), "list", 3, CFSTR("items"));
  LogFormatted(CFSTR(""));
  ASSERT_EQ(log.lines().size(), 2u);
  EXPECT_EQ(log.lines()[0], "list has 3 items");
  EXPECT_EQ(log.lines()[1], "");
}

// Each C++ allocation of the call fails in turn: NULL (or the string left as it was) each
// time, no exception, nothing leaked.
TEST(CFStringCxxAllocation, CreatingFunctionsGiveNull) {
  CFStringRef text = MakeString("Grüße aus Köln");
  // Constant strings are made on first use, before the sweep: they are the program's own data.
  CFStringRef format = CFSTR("%@ %d %s");
  zrtest::ExpectCxxAllocationFailuresHandled(
      100, [&] { return CFStringCreateWithFormat(NULL, NULL, format, text, 42, "über"); });
  zrtest::ExpectCxxAllocationFailuresHandled(100, [&] { return CFStringCreateMutableCopy(NULL, 0, text); });
  zrtest::ExpectCxxAllocationFailuresHandled(
      100, [&] { return CFStringCreateWithSubstring(NULL, text, CFRangeMake(6, 3)); });
  CFRelease(text);
}

// A literal is made on its first use whatever a test has armed: neither seam counts it, and the
// failure stays armed for the call the test meant.
TEST(CFStringCxxAllocation, ConstantStringsAreNotTheCallsAllocations) {
  for (int seam = 0; seam < 2; ++seam) {
    if (seam == 0) {
      ZRTestingFailCxxAllocation(1);
    } else {
      ZRTestingFailAllocation(1);
    }
    CFStringRef made =
        seam == 0 ? CFSTR("made on first use under the C++ seam") : CFSTR("made on first use under the seam");
    bool pending = seam == 0 ? ZRTestingCxxFailurePending() : ZRTestingFailurePending();
    ZRTestingFailCxxAllocation(0);
    ZRTestingFailAllocation(0);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(Utf8(made), seam == 0 ? "made on first use under the C++ seam" : "made on first use under the seam");
    EXPECT_TRUE(pending);
  }
}

TEST(CFStringCxxAllocation, EditsLeaveTheStringAsItWas) {
  CFMutableStringRef string = Mutable("abc");
  CFStringRef inserted = CFSTR("0123456789012345678901234567890123456789");
  for (long n = 1; n <= 3; ++n) {
    ZRTestingFailCxxAllocation(n);
    CFStringInsert(string, 1, inserted);
    bool failed = !ZRTestingCxxFailurePending() && CFStringGetLength(string) == 3;
    ZRTestingFailCxxAllocation(0);
    if (failed) {
      EXPECT_EQ(Utf8(string), "abc");
      break;
    }
    CFStringDelete(string, CFRangeMake(1, 40));
  }
  CFRelease(string);
}

}  // namespace
