// CFAttributedStringTest.cpp: attributed strings of one run: text, attributes, ranges, copies,
// equality and failures.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

CFDictionaryRef MakeAttributes(CFStringRef key, CFTypeRef value) {
  const void* keys[] = {key};
  const void* values[] = {value};
  return CFDictionaryCreate(kCFAllocatorDefault, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                            &kCFTypeDictionaryValueCallBacks);
}

TEST(CFAttributedStringTest, OneRunOverTheWholeString) {
  CFMutableStringRef text = CFStringCreateMutableCopy(kCFAllocatorDefault, 0, CFSTR("Korvane"));
  CFDictionaryRef attributes = MakeAttributes(CFSTR("NSFont"), CFSTR("DejaVu Sans"));
  CFAttributedStringRef attributed = CFAttributedStringCreate(kCFAllocatorDefault, text, attributes);
  ASSERT_NE(attributed, nullptr);
  EXPECT_EQ(CFGetTypeID(attributed), CFAttributedStringGetTypeID());
  EXPECT_EQ(CFAttributedStringGetLength(attributed), 7);
  EXPECT_EQ(Utf8(CFAttributedStringGetString(attributed)), "Korvane");

  // The string and the attributes were copied: later changes do not reach them.
  CFStringAppend(text, CFSTR(" 2"));
  EXPECT_EQ(Utf8(CFAttributedStringGetString(attributed)), "Korvane");

  for (CFIndex loc : {0L, 3L, 6L}) {
    CFRange range = CFRangeMake(-1, -1);
    CFDictionaryRef runAttributes = CFAttributedStringGetAttributes(attributed, loc, &range);
    ASSERT_NE(runAttributes, nullptr);
    EXPECT_TRUE(CFEqual(runAttributes, attributes));
    EXPECT_EQ(range.location, 0);
    EXPECT_EQ(range.length, 7);
    range = CFRangeMake(-1, -1);
    EXPECT_EQ(Utf8(CFAttributedStringGetAttribute(attributed, loc, CFSTR("NSFont"), &range)), "DejaVu Sans");
    EXPECT_EQ(range.length, 7);
    EXPECT_EQ(CFAttributedStringGetAttribute(attributed, loc, CFSTR("NSColor"), &range), nullptr);
  }
  EXPECT_NE(CFAttributedStringGetAttributes(attributed, 0, nullptr), nullptr);
  CFRelease(attributed);
  CFRelease(attributes);
  CFRelease(text);
}

TEST(CFAttributedStringTest, IndexOutOfBoundsGivesNothing) {
  CFDictionaryRef attributes = MakeAttributes(CFSTR("NSFont"), CFSTR("Sans"));
  CFAttributedStringRef attributed = CFAttributedStringCreate(kCFAllocatorDefault, CFSTR("abc"), attributes);
  EXPECT_EQ(CFAttributedStringGetAttributes(attributed, 3, nullptr), nullptr);
  EXPECT_EQ(CFAttributedStringGetAttributes(attributed, -1, nullptr), nullptr);
  EXPECT_EQ(CFAttributedStringGetAttribute(attributed, 3, CFSTR("NSFont"), nullptr), nullptr);
  CFRelease(attributed);
  CFRelease(attributes);
}

TEST(CFAttributedStringTest, WithoutAttributes) {
  CFAttributedStringRef attributed = CFAttributedStringCreate(kCFAllocatorDefault, CFSTR("plain"), nullptr);
  ASSERT_NE(attributed, nullptr);
  CFDictionaryRef attributes = CFAttributedStringGetAttributes(attributed, 0, nullptr);
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(attributes), 0);
  CFRelease(attributed);
  EXPECT_EQ(CFAttributedStringCreate(kCFAllocatorDefault, nullptr, nullptr), nullptr);
}

TEST(CFAttributedStringTest, EqualByStringAndAttributes) {
  CFDictionaryRef sans = MakeAttributes(CFSTR("NSFont"), CFSTR("Sans"));
  CFDictionaryRef sansToo = MakeAttributes(CFSTR("NSFont"), CFSTR("Sans"));
  CFDictionaryRef serif = MakeAttributes(CFSTR("NSFont"), CFSTR("Serif"));
  CFAttributedStringRef a = CFAttributedStringCreate(kCFAllocatorDefault, CFSTR("text"), sans);
  CFAttributedStringRef b = CFAttributedStringCreate(kCFAllocatorDefault, CFSTR("text"), sansToo);
  CFAttributedStringRef c = CFAttributedStringCreate(kCFAllocatorDefault, CFSTR("text"), serif);
  CFAttributedStringRef d = CFAttributedStringCreate(kCFAllocatorDefault, CFSTR("other"), sans);
  EXPECT_TRUE(CFEqual(a, b));
  EXPECT_EQ(CFHash(a), CFHash(b));
  EXPECT_FALSE(CFEqual(a, c));
  EXPECT_FALSE(CFEqual(a, d));
  EXPECT_FALSE(CFEqual(a, CFSTR("text")));
  CFAttributedStringRef copy = CFAttributedStringCreateCopy(kCFAllocatorDefault, a);
  EXPECT_TRUE(CFEqual(copy, a));
  CFStringRef description = CFCopyDescription(a);
  EXPECT_EQ(Utf8(description).substr(0, 5), "text{");
  for (CFTypeRef object : {CFTypeRef(description), CFTypeRef(copy), CFTypeRef(a), CFTypeRef(b), CFTypeRef(c),
                           CFTypeRef(d), CFTypeRef(sans), CFTypeRef(sansToo), CFTypeRef(serif)})
    CFRelease(object);
}

TEST(CFAttributedStringTest, FailedCreationLeavesNothingBehind) {
  CFStringRef text = zrtest::MakeString("text");
  CFDictionaryRef attributes = MakeAttributes(CFSTR("NSFont"), CFSTR("Sans"));
  zrtest::ExpectAllocationFailuresHandled(
      16, [&] { return CFTypeRef(CFAttributedStringCreate(kCFAllocatorDefault, text, attributes)); });
  CFRelease(attributes);
  CFRelease(text);
}

}  // namespace
