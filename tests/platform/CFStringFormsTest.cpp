// CFStringFormsTest.cpp: the two forms a string keeps its text in (one byte a character while
// every character is in ISO Latin 1, else UTF-16): the same text made both ways is equal, hashes
// alike, compares, searches and formats alike; the pointers each form lends; appends and edits
// that widen a string; property lists written from both forms; and failed allocations on the way.
// The whole program also runs with ZR_TESTING_WIDE_STRINGS=1, where every string is wide.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Units;
using zrtest::Utf8;

// Whether this run makes every string wide.
bool AllWide() {
  const char* value = std::getenv("ZR_TESTING_WIDE_STRINGS");
  return value && std::strcmp(value, "1") == 0;
}

// ISO Latin 1 text as a string: one byte a character (unless every string is made wide).
CFStringRef Narrow(const std::string& latin1) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(latin1.data()),
                                 static_cast<CFIndex>(latin1.size()), kCFStringEncodingISOLatin1, false);
}

// The same text as a string that holds UTF-16: a mutable string widened by a character outside
// ISO Latin 1, which is then taken away again (a string does not narrow once widened).
CFMutableStringRef Wide(const std::string& latin1) {
  CFStringRef narrow = Narrow(latin1);
  CFMutableStringRef wide = CFStringCreateMutableCopy(nullptr, 0, narrow);
  CFRelease(narrow);
  const UniChar euro = 0x20AC;
  CFStringAppendCharacters(wide, &euro, 1);
  CFStringDelete(wide, CFRangeMake(CFStringGetLength(wide) - 1, 1));
  return wide;
}

bool IsWide(CFStringRef string) { return CFStringGetCharactersPtr(string) != nullptr; }

std::u16string Widened(const std::string& latin1) {
  std::u16string units;
  for (unsigned char c : latin1) units.push_back(c);
  return units;
}

std::string Letters(size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text.push_back(static_cast<char>('a' + i % 26));
  return text;
}

class CFStringForms : public zrtest::LeakCheckedTest {};

TEST_F(CFStringForms, EachWayOfMakingGivesItsForm) {
  CFStringRef narrow = Narrow("caf\xe9");
  CFMutableStringRef wide = Wide("caf\xe9");
  EXPECT_EQ(IsWide(narrow), AllWide());
  EXPECT_TRUE(IsWide(wide));
  EXPECT_EQ(Units(narrow), u"caf\u00e9");
  EXPECT_EQ(Units(wide), u"caf\u00e9");
  CFRelease(narrow);
  CFRelease(wide);
  // Text outside ISO Latin 1 is always wide.
  CFStringRef euro = zrtest::MakeString("5 \xe2\x82\xac");
  EXPECT_TRUE(IsWide(euro));
  CFRelease(euro);
}

TEST_F(CFStringForms, SameTextIsEqualHashesAndComparesAlike) {
  std::vector<std::string> texts = {
      "", "a", "abcdefgh", "caf\xe9", "\xff\xfe\x80", Letters(64), Letters(97), Letters(200) + "\xe9", Letters(1024)};
  for (const std::string& text : texts) {
    SCOPED_TRACE(text.size());
    CFStringRef narrow = Narrow(text);
    CFMutableStringRef wide = Wide(text);
    CFStringRef other = Narrow(text);
    EXPECT_TRUE(CFEqual(narrow, wide));
    EXPECT_TRUE(CFEqual(wide, narrow));
    EXPECT_TRUE(CFEqual(narrow, other));
    EXPECT_EQ(CFHash(narrow), CFHash(wide));
    EXPECT_EQ(CFHash(narrow), CFHash(other));
    EXPECT_EQ(CFStringCompare(narrow, wide, 0), kCFCompareEqualTo);
    EXPECT_EQ(CFStringCompare(wide, narrow, 0), kCFCompareEqualTo);
    EXPECT_EQ(CFStringCompare(narrow, wide, kCFCompareCaseInsensitive), kCFCompareEqualTo);
    EXPECT_EQ(CFStringCompare(wide, narrow, kCFCompareLocalized), kCFCompareEqualTo);
    EXPECT_EQ(CFStringGetLength(narrow), static_cast<CFIndex>(text.size()));
    EXPECT_EQ(Units(narrow), Widened(text));
    EXPECT_EQ(Units(wide), Widened(text));
    CFRelease(narrow);
    CFRelease(wide);
    CFRelease(other);
  }
}

TEST_F(CFStringForms, DifferentTextsDifferAcrossForms) {
  CFStringRef abc = Narrow("abc");
  CFMutableStringRef abd = Wide("abd");
  CFStringRef latin = Narrow("ab\xe9");
  CFStringRef euro = zrtest::MakeString("ab\xe2\x82\xac");
  CFStringRef longer = Narrow("abcd");
  EXPECT_EQ(CFStringCompare(abc, abd, 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(abd, abc, 0), kCFCompareGreaterThan);
  // By unit: U+00E9 before U+20AC, whichever form each has.
  EXPECT_EQ(CFStringCompare(latin, euro, 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(euro, latin, 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(abc, longer, 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompareWithOptions(longer, abd, CFRangeMake(0, 3), 0), kCFCompareLessThan);
  EXPECT_FALSE(CFEqual(abc, abd));
  EXPECT_FALSE(CFEqual(latin, euro));
  EXPECT_FALSE(CFEqual(abc, longer));
  CFRelease(abc);
  CFRelease(abd);
  CFRelease(latin);
  CFRelease(euro);
  CFRelease(longer);
}

TEST_F(CFStringForms, SearchAcrossForms) {
  CFStringRef haystack = Narrow("le caf\xe9 du coin");
  CFMutableStringRef wideHaystack = Wide("le caf\xe9 du coin");
  CFStringRef needle = Narrow("caf\xe9");
  CFMutableStringRef wideNeedle = Wide("CAF\xc9");
  CFRange found = CFStringFind(haystack, wideNeedle, kCFCompareCaseInsensitive);
  EXPECT_EQ(found.location, 3);
  EXPECT_EQ(found.length, 4);
  found = CFStringFind(wideHaystack, needle, 0);
  EXPECT_EQ(found.location, 3);
  CFStringRef prefix = Narrow("le ");
  CFMutableStringRef suffix = Wide("coin");
  EXPECT_TRUE(CFStringHasPrefix(wideHaystack, prefix));
  EXPECT_TRUE(CFStringHasSuffix(haystack, suffix));
  EXPECT_FALSE(CFStringHasSuffix(suffix, haystack));
  CFRelease(prefix);
  CFRelease(suffix);
  CFRelease(haystack);
  CFRelease(wideHaystack);
  CFRelease(needle);
  CFRelease(wideNeedle);
}

TEST_F(CFStringForms, NarrowStringsLendTheirBytesAsCStrings) {
  CFStringRef ascii = Narrow("plain text");
  const char* pointer = CFStringGetCStringPtr(ascii, kCFStringEncodingUTF8);
  if (AllWide()) {
    EXPECT_EQ(pointer, nullptr);
    EXPECT_NE(CFStringGetCharactersPtr(ascii), nullptr);
  } else {
    ASSERT_NE(pointer, nullptr);
    EXPECT_STREQ(pointer, "plain text");
    // The same bytes in every encoding that writes ASCII as itself.
    for (CFStringEncoding encoding : {kCFStringEncodingASCII, kCFStringEncodingMacRoman, kCFStringEncodingISOLatin1,
                                      kCFStringEncodingWindowsLatin1}) {
      EXPECT_EQ(CFStringGetCStringPtr(ascii, encoding), pointer);
    }
    EXPECT_EQ(CFStringGetCStringPtr(ascii, kCFStringEncodingUTF16), nullptr);
    EXPECT_EQ(CFStringGetCharactersPtr(ascii), nullptr);
  }
  CFRelease(ascii);

  // ISO Latin 1 text beyond ASCII is a C string in ISO Latin 1 only.
  CFStringRef latin = Narrow("caf\xe9");
  pointer = CFStringGetCStringPtr(latin, kCFStringEncodingISOLatin1);
  if (AllWide()) {
    EXPECT_EQ(pointer, nullptr);
  } else {
    ASSERT_NE(pointer, nullptr);
    EXPECT_STREQ(pointer, "caf\xe9");
  }
  for (CFStringEncoding encoding :
       {kCFStringEncodingUTF8, kCFStringEncodingASCII, kCFStringEncodingMacRoman, kCFStringEncodingWindowsLatin1}) {
    EXPECT_EQ(CFStringGetCStringPtr(latin, encoding), nullptr);
  }
  CFRelease(latin);

  // A NUL inside would cut the C string short: no pointer.
  CFStringRef withNul = Narrow(std::string("a\0b", 3));
  EXPECT_EQ(CFStringGetCStringPtr(withNul, kCFStringEncodingISOLatin1), nullptr);
  CFRelease(withNul);

  // A wide string lends its units, and no C string unless it is a constant.
  CFMutableStringRef wide = Wide("plain text");
  EXPECT_EQ(CFStringGetCStringPtr(wide, kCFStringEncodingUTF8), nullptr);
  const UniChar* units = CFStringGetCharactersPtr(wide);
  ASSERT_NE(units, nullptr);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(units), 10), u"plain text");
  CFRelease(wide);
}

TEST_F(CFStringForms, MutableStringLendsItsBytesWhileUnchanged) {
  CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
  CFStringAppendCString(string, "abc", kCFStringEncodingASCII);
  const char* pointer = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
  if (!AllWide()) {
    ASSERT_NE(pointer, nullptr);
    EXPECT_STREQ(pointer, "abc");
    EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), pointer);
  }
  // Longer than the string holds inside itself: the text moves, and the new pointer says it.
  std::string more = Letters(100);
  CFStringAppendCString(string, more.c_str(), kCFStringEncodingUTF8);
  pointer = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
  if (AllWide()) {
    EXPECT_EQ(pointer, nullptr);
  } else {
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(std::string(pointer), "abc" + more);
  }
  CFStringDelete(string, CFRangeMake(1, 101));
  pointer = CFStringGetCStringPtr(string, kCFStringEncodingASCII);
  if (!AllWide()) {
    ASSERT_NE(pointer, nullptr);
    EXPECT_STREQ(pointer, "av");
  }
  CFRelease(string);
}

TEST_F(CFStringForms, AppendsThatWiden) {
  CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
  CFStringAppendCString(string, "caf\xc3\xa9 ", kCFStringEncodingUTF8);
  CFStringAppendFormat(string, nullptr, CFSTR("%02x"), 0xAB);
  CFStringAppendFormat(string, nullptr, CFSTR("%d"), -42);
  EXPECT_EQ(IsWide(string), AllWide());
  EXPECT_EQ(Units(string), u"caf\u00e9 ab-42");
  const UniChar euro = 0x20AC;
  CFStringAppendCharacters(string, &euro, 1);
  EXPECT_TRUE(IsWide(string));
  EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingISOLatin1), nullptr);
  CFStringAppendFormat(string, nullptr, CFSTR("%02x"), 7);
  CFStringAppendFormat(string, nullptr, CFSTR("%02X"), 0x1FF);
  CFStringAppendFormat(string, nullptr, CFSTR("<%s>"), "x");
  EXPECT_EQ(Units(string), u"caf\u00e9 ab-42\u20ac071FF<x>");
  CFStringAppend(string, string);
  EXPECT_EQ(Units(string), u"caf\u00e9 ab-42\u20ac071FF<x>caf\u00e9 ab-42\u20ac071FF<x>");
  CFRelease(string);

  // A wide format appended to a narrow string of many hex digits widens it once, keeping them.
  CFMutableStringRef digits = CFStringCreateMutable(nullptr, 0);
  std::u16string expected;
  for (int i = 0; i < 300; ++i) {
    CFStringAppendFormat(digits, nullptr, CFSTR("%02x"), i & 0xff);
    const char16_t* hex = u"0123456789abcdef";
    expected += hex[(i & 0xff) >> 4];
    expected += hex[i & 15];
  }
  EXPECT_EQ(Units(digits), expected);
  CFStringAppendFormat(digits, nullptr, CFSTR("%C"), 0x263A);
  EXPECT_EQ(Units(digits), expected + u"\u263a");
  CFRelease(digits);
}

TEST_F(CFStringForms, EditsMixingForms) {
  CFMutableStringRef narrow = CFStringCreateMutableCopy(nullptr, 0, CFSTR("abcdef"));
  CFMutableStringRef wide = Wide("XY");
  CFStringInsert(narrow, 3, wide);
  EXPECT_EQ(Units(narrow), u"abcXYdef");
  CFStringRef euro = zrtest::MakeString("\xe2\x82\xac");
  CFStringReplace(narrow, CFRangeMake(0, 1), euro);
  EXPECT_EQ(Units(narrow), u"\u20acbcXYdef");
  EXPECT_TRUE(IsWide(narrow));
  CFStringRef latin = Narrow("\xe9\xe8");
  CFStringInsert(wide, 1, latin);
  EXPECT_EQ(Units(wide), u"X\u00e9\u00e8Y");
  CFStringReplaceAll(wide, latin);
  EXPECT_EQ(Units(wide), u"\u00e9\u00e8");
  CFStringRef e = Narrow("\xe9");
  EXPECT_EQ(CFStringFindAndReplace(narrow, CFSTR("XY"), e, CFRangeMake(0, CFStringGetLength(narrow)), 0), 1);
  EXPECT_EQ(Units(narrow), u"\u20acbc\u00e9def");
  CFStringUppercase(narrow, nullptr);
  EXPECT_EQ(Units(narrow), u"\u20acBC\u00c9DEF");
  CFStringRef sub = CFStringCreateWithSubstring(nullptr, narrow, CFRangeMake(1, 3));
  EXPECT_EQ(Units(sub), u"BC\u00c9");
  EXPECT_EQ(CFStringGetCharacterAtIndex(sub, 2), 0xC9);
  CFRelease(sub);
  CFRelease(e);
  CFRelease(latin);
  CFRelease(euro);
  CFRelease(narrow);
  CFRelease(wide);
}

TEST_F(CFStringForms, FormatPrintsBothForms) {
  CFStringRef narrow = Narrow("caf\xe9");
  CFMutableStringRef wide = Wide("th\xe9");
  CFStringRef euro = zrtest::MakeString("\xe2\x82\xac");
  CFStringRef text = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("[%@|%@|%@|%6@]"), narrow, wide, euro, narrow);
  EXPECT_EQ(Units(text), u"[caf\u00e9|th\u00e9|\u20ac|  caf\u00e9]");
  // A format that is not a constant, its own text one byte a character.
  CFStringRef format = Narrow("\xe9=%d");
  CFStringRef made = CFStringCreateWithFormat(nullptr, nullptr, format, 7);
  EXPECT_EQ(Units(made), u"\u00e9=7");
  CFRelease(made);
  CFRelease(format);
  CFRelease(text);
  CFRelease(narrow);
  CFRelease(wide);
  CFRelease(euro);
}

// Finds `needle` in the bytes.
bool Holds(CFDataRef data, const std::string& needle) {
  std::string bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
  return bytes.find(needle) != std::string::npos;
}

TEST_F(CFStringForms, PropertyListsWriteBothForms) {
  CFMutableDictionaryRef plist =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFStringRef ascii = Narrow("abcd");
  CFMutableStringRef wideAscii = Wide("wxyz");
  CFStringRef latin = Narrow("caf\xe9");
  CFStringRef euro = zrtest::MakeString("5\xe2\x82\xac");
  CFDictionarySetValue(plist, CFSTR("ascii"), ascii);
  CFDictionarySetValue(plist, CFSTR("wideAscii"), wideAscii);
  CFDictionarySetValue(plist, latin, latin);
  CFDictionarySetValue(plist, CFSTR("euro"), euro);
  for (CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
    SCOPED_TRACE(format);
    CFDataRef data = CFPropertyListCreateData(nullptr, plist, format, 0, nullptr);
    ASSERT_NE(data, nullptr);
    CFPropertyListRef read = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
    ASSERT_NE(read, nullptr);
    EXPECT_TRUE(CFEqual(read, plist));
    if (format == kCFPropertyListBinaryFormat_v1_0) {
      // ASCII text as ASCII whichever form it had; other text as big-endian UTF-16.
      EXPECT_TRUE(Holds(data,
                        "\x54"
                        "abcd"));
      EXPECT_TRUE(Holds(data,
                        "\x54"
                        "wxyz"));
      EXPECT_TRUE(Holds(data, std::string("\x64\0c\0a\0f\0\xe9", 9)));
      EXPECT_TRUE(Holds(data, std::string("\x62\0"
                                          "5\x20\xac",
                                          5)));
    } else {
      EXPECT_TRUE(Holds(data, "<string>caf\xc3\xa9</string>"));
      EXPECT_TRUE(Holds(data, "<key>caf\xc3\xa9</key>"));
      EXPECT_TRUE(Holds(data, "<string>wxyz</string>"));
    }
    CFRelease(read);
    CFRelease(data);
  }
  CFRelease(ascii);
  CFRelease(wideAscii);
  CFRelease(latin);
  CFRelease(euro);
  CFRelease(plist);
}

TEST_F(CFStringForms, BytesOutOfEachForm) {
  CFStringRef latin = Narrow("caf\xe9!");
  char buffer[16];
  EXPECT_TRUE(CFStringGetCString(latin, buffer, sizeof buffer, kCFStringEncodingISOLatin1));
  EXPECT_STREQ(buffer, "caf\xe9!");
  EXPECT_TRUE(CFStringGetCString(latin, buffer, sizeof buffer, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "caf\xc3\xa9!");
  EXPECT_FALSE(CFStringGetCString(latin, buffer, sizeof buffer, kCFStringEncodingASCII));
  EXPECT_FALSE(CFStringGetCString(latin, buffer, 5, kCFStringEncodingISOLatin1));  // no room for the NUL
  EXPECT_STREQ(buffer, "");
  UInt8 bytes[8];
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(latin, CFRangeMake(1, 4), kCFStringEncodingISOLatin1, 0, false, bytes, 3, &used), 3);
  EXPECT_EQ(used, 3);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), 3), "af\xe9");
  EXPECT_EQ(CFStringGetBytes(latin, CFRangeMake(0, 5), kCFStringEncodingASCII, '?', false, bytes, 8, &used), 5);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), static_cast<size_t>(used)), "caf?!");
  EXPECT_EQ(CFStringGetBytes(latin, CFRangeMake(0, 5), kCFStringEncodingUTF16BE, 0, false, nullptr, 0, &used), 5);
  EXPECT_EQ(used, 10);
  CFRelease(latin);
}

TEST_F(CFStringForms, FailedAllocationsLeaveNothingBehind) {
  std::string longText = Letters(300);
  zrtest::ExpectCxxAllocationFailuresHandled(
      20, [&]() -> CFTypeRef { return CFStringCreateWithCString(nullptr, longText.c_str(), kCFStringEncodingASCII); });
  zrtest::ExpectAllocationFailuresHandled(5, [&]() -> CFTypeRef { return Narrow(longText); });
  // Appends that grow and widen the text: each either happens or leaves the string as it was.
  std::u16string expected = Widened(longText) + u"\u20ac" + u"0a" + Widened(longText);
  zrtest::ExpectCxxAllocationFailuresHandled(40, [&]() -> CFTypeRef {
    CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
    if (!string) return nullptr;
    CFStringAppendCString(string, longText.c_str(), kCFStringEncodingUTF8);
    const UniChar euro = 0x20AC;
    CFStringAppendCharacters(string, &euro, 1);
    CFStringAppendFormat(string, nullptr, CFSTR("%02x"), 10);
    CFStringAppendCString(string, longText.c_str(), kCFStringEncodingISOLatin1);
    // (Compared without allocating: the armed failure is for the appends alone.)
    bool complete = CFStringGetLength(string) == static_cast<CFIndex>(expected.size());
    for (size_t i = 0; complete && i < expected.size(); ++i)
      complete = CFStringGetCharacterAtIndex(string, static_cast<CFIndex>(i)) == expected[i];
    if (complete) return string;
    CFRelease(string);
    return nullptr;
  });
}

}  // namespace

namespace {

UInt8* MallocCopy(const std::string& text) {
  auto* bytes = static_cast<UInt8*>(std::malloc(text.size()));
  std::memcpy(bytes, text.data(), text.size());
  return bytes;
}

TEST_F(CFStringForms, BytesWithoutCopyAreTakenOverOrConverted) {
  // ASCII bytes become the text itself; the string frees them (the leak checker would tell).
  UInt8* ascii = MallocCopy("hello, world");
  CFStringRef taken =
      CFStringCreateWithBytesNoCopy(nullptr, ascii, 12, kCFStringEncodingUTF8, false, kCFAllocatorDefault);
  ASSERT_NE(taken, nullptr);
  EXPECT_EQ(Units(taken), u"hello, world");
  EXPECT_EQ(Utf8(taken), "hello, world");
  CFStringRef copy = Narrow("hello, world");
  EXPECT_TRUE(CFEqual(taken, copy));
  EXPECT_EQ(CFHash(taken), CFHash(copy));
  CFRelease(copy);
  if (!AllWide()) {
    // Nothing is known to follow the caller's bytes: no C string is lent, though the bytes are
    // the text.
    EXPECT_EQ(CFStringGetCStringPtr(taken, kCFStringEncodingUTF8), nullptr);
  }
  CFMutableStringRef edited = CFStringCreateMutableCopy(nullptr, 0, taken);
  CFStringAppendCString(edited, "!", kCFStringEncodingASCII);
  EXPECT_EQ(Utf8(edited), "hello, world!");
  CFRelease(edited);
  CFRelease(taken);

  // ISO Latin 1 as it stands, and bytes the caller keeps (kCFAllocatorNull).
  UInt8 latin[] = {'c', 'a', 'f', 0xE9};
  CFStringRef kept =
      CFStringCreateWithBytesNoCopy(nullptr, latin, 4, kCFStringEncodingISOLatin1, false, kCFAllocatorNull);
  EXPECT_EQ(Units(kept), u"caf\u00e9");
  CFRelease(kept);
  EXPECT_EQ(latin[3], 0xE9);

  // Other text is converted, and the bytes freed at once.
  UInt8* utf8 = MallocCopy("caf\xc3\xa9 \xe2\x82\xac");
  CFStringRef converted =
      CFStringCreateWithBytesNoCopy(nullptr, utf8, 9, kCFStringEncodingUTF8, false, kCFAllocatorMalloc);
  EXPECT_EQ(Units(converted), u"caf\u00e9 \u20ac");
  CFRelease(converted);

  // Bytes that are not valid give NULL and stay the caller's.
  UInt8* invalid = MallocCopy("caf\xe9");
  EXPECT_EQ(CFStringCreateWithBytesNoCopy(nullptr, invalid, 4, kCFStringEncodingASCII, false, kCFAllocatorDefault),
            nullptr);
  std::free(invalid);
}

TEST_F(CFStringForms, BytesWithoutCopyStayTheCallersWhenNoStringIsMade) {
  UInt8* bytes = MallocCopy("some ASCII text");
  ZRTestingFailAllocation(1);
  EXPECT_EQ(CFStringCreateWithBytesNoCopy(nullptr, bytes, 15, kCFStringEncodingASCII, false, kCFAllocatorDefault),
            nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
  std::free(bytes);
}

}  // namespace
