// CFStringTest.cpp: the host's strings: constant strings, encodings in both directions,
// C strings and buffer sizes, numeric values, and the NSStringEncoding mapping.
#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/NSObjCRuntime.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using Bytes = std::vector<UInt8>;

using zrtest::MakeUnits;
using zrtest::Units;

Bytes Encode(CFStringRef string, CFStringEncoding encoding, bool external = false, UInt8 lossByte = 0,
             CFIndex* converted = nullptr) {
  CFIndex length = CFStringGetLength(string);
  CFIndex needed = 0;
  CFIndex count = CFStringGetBytes(string, CFRangeMake(0, length), encoding, lossByte, external, nullptr, 0, &needed);
  Bytes bytes(static_cast<size_t>(needed));
  CFIndex used = -1;
  CFIndex written =
      CFStringGetBytes(string, CFRangeMake(0, length), encoding, lossByte, external, bytes.data(), needed, &used);
  EXPECT_EQ(count, written);
  EXPECT_EQ(needed, used);
  if (converted) *converted = written;
  return bytes;
}

CFStringRef Decode(const Bytes& bytes, CFStringEncoding encoding, bool external = false) {
  return CFStringCreateWithBytes(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()), encoding, external);
}

// Every encoding the host converts, with a text it can represent in full.
struct RoundTrip {
  CFStringEncoding encoding;
  std::u16string text;
};

const std::u16string kAllBMP = u"A z~\\ \u00e9\u00df\u20ac\u4e2d\U0001F600";

TEST(CFStringConstant, SameObjectForSameTextAndNeverFreed) {
  CFStringRef a = CFSTR("constant text");
  CFStringRef b = CFSTR("constant text");
  EXPECT_EQ(a, b);
  long live = ZRTestingLiveObjectCount();
  CFRelease(a);
  CFRelease(a);
  CFRelease(a);
  EXPECT_EQ(CFStringGetLength(a), 13);
  EXPECT_EQ(Units(a), u"constant text");
  EXPECT_EQ(CFGetRetainCount(a), LONG_MAX);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
  EXPECT_EQ(CFSTR("constant text"), a);
}

TEST(CFStringConstant, UTF8Literal) { EXPECT_EQ(Units(CFSTR("gr\xc3\xbc\xc3\x9f")), u"gr\u00fc\u00df"); }

TEST(CFStringEncoding, RoundTripsEveryEncoding) {
  const RoundTrip trips[] = {
      {kCFStringEncodingUTF8, kAllBMP},
      {kCFStringEncodingASCII, u"plain ASCII ~\\\x7f"},
      {kCFStringEncodingMacRoman, u"Caf\u00e9 \u2020\u00df\u2122\u20ac\uf8ff\u02c7"},
      {kCFStringEncodingISOLatin1, u"Caf\u00e9 \u00ff\u00a0\u0080"},
      {kCFStringEncodingWindowsLatin1, u"Caf\u00e9 \u20ac\u201c\u2122\u0178\u00ff"},
      {kCFStringEncodingUTF16, kAllBMP},
      {kCFStringEncodingUTF16BE, kAllBMP},
      {kCFStringEncodingUTF16LE, kAllBMP},
      {kCFStringEncodingUTF32, kAllBMP},
      {kCFStringEncodingUTF32BE, kAllBMP},
      {kCFStringEncodingUTF32LE, kAllBMP},
      {kCFStringEncodingNonLossyASCII, kAllBMP},
  };
  for (const RoundTrip& trip : trips) {
    SCOPED_TRACE(trip.encoding);
    EXPECT_TRUE(CFStringIsEncodingAvailable(trip.encoding));
    CFStringRef original = MakeUnits(trip.text);
    for (bool external : {false, true}) {
      CFIndex converted = 0;
      Bytes bytes = Encode(original, trip.encoding, external, 0, &converted);
      EXPECT_EQ(converted, CFStringGetLength(original));
      CFStringRef back = Decode(bytes, trip.encoding, external);
      ASSERT_NE(back, nullptr);
      EXPECT_EQ(Units(back), trip.text);
      CFRelease(back);
    }
    CFRelease(original);
  }
}

TEST(CFStringEncoding, ExactBytes) {
  CFStringRef text = MakeUnits(u"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF8), (Bytes{'a', 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80}));
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF16BE), (Bytes{0, 'a', 0x00, 0xE9, 0x20, 0xAC, 0xD8, 0x3D, 0xDE, 0x00}));
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF16LE), (Bytes{'a', 0, 0xE9, 0x00, 0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE}));
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF32BE),
            (Bytes{0, 0, 0, 'a', 0, 0, 0, 0xE9, 0, 0, 0x20, 0xAC, 0, 0x01, 0xF6, 0x00}));
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF32LE),
            (Bytes{'a', 0, 0, 0, 0xE9, 0, 0, 0, 0xAC, 0x20, 0, 0, 0x00, 0xF6, 0x01, 0}));
  CFRelease(text);
}

TEST(CFStringEncoding, ByteOrderMarkOfUnmarkedUTF16AndUTF32) {
  CFStringRef text = MakeUnits(u"hi");
  // The host is little-endian: the mark and the units are written in that order.
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF16, true), (Bytes{0xFF, 0xFE, 'h', 0, 'i', 0}));
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF16, false), (Bytes{'h', 0, 'i', 0}));
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF32, true), (Bytes{0xFF, 0xFE, 0, 0, 'h', 0, 0, 0, 'i', 0, 0, 0}));
  // Explicit byte orders never carry a mark.
  EXPECT_EQ(Encode(text, kCFStringEncodingUTF16BE, true), (Bytes{0, 'h', 0, 'i'}));
  CFRelease(text);

  // A mark on input tells the order and is not part of the text.
  for (bool external : {false, true}) {
    CFStringRef big = Decode(Bytes{0xFE, 0xFF, 0, 'h', 0, 'i'}, kCFStringEncodingUTF16, external);
    EXPECT_EQ(Units(big), u"hi");
    CFStringRef little = Decode(Bytes{0xFF, 0xFE, 'h', 0, 'i', 0}, kCFStringEncodingUTF16, external);
    EXPECT_EQ(Units(little), u"hi");
    CFStringRef big32 = Decode(Bytes{0, 0, 0xFE, 0xFF, 0, 0, 0, 'h'}, kCFStringEncodingUTF32, external);
    EXPECT_EQ(Units(big32), u"h");
    CFRelease(big);
    CFRelease(little);
    CFRelease(big32);
  }
  // Without a mark, unmarked UTF-16 is in host order.
  CFStringRef host = Decode(Bytes{'h', 0, 'i', 0}, kCFStringEncodingUTF16);
  EXPECT_EQ(Units(host), u"hi");
  CFRelease(host);
  // With an explicit order, U+FEFF is a character like any other.
  CFStringRef kept = Decode(Bytes{0xFE, 0xFF, 0, 'h'}, kCFStringEncodingUTF16BE);
  EXPECT_EQ(Units(kept), u"\ufeffh");
  CFRelease(kept);
  // A UTF-8 mark is skipped only in an external representation.
  CFStringRef utf8 = Decode(Bytes{0xEF, 0xBB, 0xBF, 'x'}, kCFStringEncodingUTF8, true);
  EXPECT_EQ(Units(utf8), u"x");
  CFRelease(utf8);
  utf8 = Decode(Bytes{0xEF, 0xBB, 0xBF, 'x'}, kCFStringEncodingUTF8, false);
  EXPECT_EQ(Units(utf8), u"\ufeffx");
  CFRelease(utf8);
}

TEST(CFStringEncoding, InvalidBytesGiveNull) {
  struct Case {
    Bytes bytes;
    CFStringEncoding encoding;
  };
  const Case cases[] = {
      {{0xC3}, kCFStringEncodingUTF8},                    // truncated sequence
      {{0xC0, 0xAF}, kCFStringEncodingUTF8},              // overlong form
      {{0xED, 0xA0, 0x80}, kCFStringEncodingUTF8},        // encoded surrogate
      {{0xF4, 0x90, 0x80, 0x80}, kCFStringEncodingUTF8},  // beyond U+10FFFF
      {{0xFF}, kCFStringEncodingUTF8},
      {{'a', 0x80}, kCFStringEncodingASCII},
      {{0x81}, kCFStringEncodingWindowsLatin1},  // undefined in the code page
      {{0x8D}, kCFStringEncodingWindowsLatin1},
      {{'a'}, kCFStringEncodingUTF16},  // odd length
      {{0, 0, 'a'}, kCFStringEncodingUTF32BE},
      {{0, 0x11, 0, 0}, kCFStringEncodingUTF32BE},    // beyond U+10FFFF
      {{0, 0, 0xD8, 0}, kCFStringEncodingUTF32BE},    // surrogate
      {{'a', 0xE9}, kCFStringEncodingNonLossyASCII},  // 8-bit byte
      {{'\\'}, kCFStringEncodingNonLossyASCII},
      {{'\\', 'q'}, kCFStringEncodingNonLossyASCII},
      {{'\\', 'u', '1', '2'}, kCFStringEncodingNonLossyASCII},
      {{'\\', 'u', '1', '2', 'g', '4'}, kCFStringEncodingNonLossyASCII},
      {{'\\', '4', '0', '0'}, kCFStringEncodingNonLossyASCII},
      {{'\\', '1', '8', '0'}, kCFStringEncodingNonLossyASCII},
      {{'a'}, kCFStringEncodingNextStepLatin},  // not converted by the host
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "encoding " << c.encoding << " first byte " << int(c.bytes[0]));
    EXPECT_EQ(Decode(c.bytes, c.encoding), nullptr);
  }
  EXPECT_EQ(CFStringCreateWithCString(nullptr, "caf\xe9", kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8), nullptr);
}

TEST(CFStringEncoding, EightBitTablesCoverEveryByte) {
  for (CFStringEncoding encoding :
       {kCFStringEncodingMacRoman, kCFStringEncodingISOLatin1, kCFStringEncodingWindowsLatin1}) {
    SCOPED_TRACE(encoding);
    Bytes all;
    for (int b = 1; b < 256; ++b)
      if (encoding != kCFStringEncodingWindowsLatin1 || (b != 0x81 && b != 0x8D && b != 0x8F && b != 0x90 && b != 0x9D))
        all.push_back(static_cast<UInt8>(b));
    CFStringRef text = Decode(all, encoding);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(CFStringGetLength(text), static_cast<CFIndex>(all.size()));
    EXPECT_EQ(Encode(text, encoding), all);
    CFRelease(text);
  }
  // Values from the published mappings.
  CFStringRef roman = Decode(Bytes{0x80, 0xA5, 0xC6, 0xCA, 0xDB, 0xF0, 0xFF}, kCFStringEncodingMacRoman);
  EXPECT_EQ(Units(roman), u"\u00c4\u2022\u2206\u00a0\u20ac\uf8ff\u02c7");
  CFRelease(roman);
  CFStringRef windows = Decode(Bytes{0x80, 0x8A, 0x9F, 0xA4}, kCFStringEncodingWindowsLatin1);
  EXPECT_EQ(Units(windows), u"\u20ac\u0160\u0178\u00a4");
  CFRelease(windows);
}

TEST(CFStringEncoding, NonLossyASCIIEscapes) {
  CFStringRef text = MakeUnits(u"a\\b\u00e9\u00ff\u0100\u4e2d\U0001F600\n");
  Bytes bytes = Encode(text, kCFStringEncodingNonLossyASCII);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "a\\\\b\\351\\377\\u0100\\u4e2d\\ud83d\\ude00\n");
  CFRelease(text);
  // Upper-case hexadecimal digits and "\U" are read too.
  const char* escaped = "x\\U00E9\\u00FF";
  CFStringRef decoded = Decode(Bytes(escaped, escaped + std::strlen(escaped)), kCFStringEncodingNonLossyASCII);
  EXPECT_EQ(Units(decoded), u"x\u00e9\u00ff");
  CFRelease(decoded);
}

TEST(CFStringEncoding, LoneSurrogatesAndNonBMP) {
  CFStringRef lone = MakeUnits(std::u16string(u"a") + char16_t(0xD800) + u"b");
  CFIndex converted = 0;
  // UTF-8 cannot carry an unpaired surrogate: the conversion stops before it...
  Bytes utf8 = Encode(lone, kCFStringEncodingUTF8, false, 0, &converted);
  EXPECT_EQ(converted, 1);
  EXPECT_EQ(utf8, (Bytes{'a'}));
  // ...or substitutes the loss byte.
  utf8 = Encode(lone, kCFStringEncodingUTF8, false, '?', &converted);
  EXPECT_EQ(converted, 3);
  EXPECT_EQ(utf8, (Bytes{'a', '?', 'b'}));
  char buffer[16];
  EXPECT_FALSE(CFStringGetCString(lone, buffer, sizeof buffer, kCFStringEncodingUTF8));
  // UTF-16 carries it unchanged, both ways.
  Bytes utf16 = Encode(lone, kCFStringEncodingUTF16BE, false, 0, &converted);
  EXPECT_EQ(converted, 3);
  EXPECT_EQ(utf16, (Bytes{0, 'a', 0xD8, 0x00, 0, 'b'}));
  CFStringRef back = Decode(utf16, kCFStringEncodingUTF16BE);
  EXPECT_EQ(Units(back), Units(lone));
  CFRelease(back);
  // UTF-32 has no unit for it.
  Encode(lone, kCFStringEncodingUTF32, false, 0, &converted);
  EXPECT_EQ(converted, 1);
  // Non-lossy ASCII escapes it like any other unit.
  Bytes escaped = Encode(lone, kCFStringEncodingNonLossyASCII, false, 0, &converted);
  EXPECT_EQ(converted, 3);
  EXPECT_EQ(std::string(escaped.begin(), escaped.end()), "a\\ud800b");
  CFRelease(lone);

  // A character beyond the BMP is a surrogate pair: two units, four UTF-8 bytes.
  CFStringRef emoji = CFStringCreateWithCString(nullptr, "\xf0\x9f\x98\x80", kCFStringEncodingUTF8);
  ASSERT_NE(emoji, nullptr);
  EXPECT_EQ(CFStringGetLength(emoji), 2);
  EXPECT_EQ(Units(emoji), u"\U0001F600");
  // A buffer of three bytes cannot take half of it.
  UInt8 small[3];
  CFIndex used = -1;
  EXPECT_EQ(CFStringGetBytes(emoji, CFRangeMake(0, 2), kCFStringEncodingUTF8, 0, false, small, 3, &used), 0);
  EXPECT_EQ(used, 0);
  CFRelease(emoji);
}

TEST(CFStringEncoding, GetBytesStopsAtTheFirstUnconvertibleCharacterOrFullBuffer) {
  CFStringRef text = MakeUnits(u"ab\u00e9cd");
  UInt8 buffer[8];
  CFIndex used = -1;
  EXPECT_EQ(CFStringGetBytes(text, CFRangeMake(0, 5), kCFStringEncodingASCII, 0, false, buffer, 8, &used), 2);
  EXPECT_EQ(used, 2);
  EXPECT_EQ(CFStringGetBytes(text, CFRangeMake(0, 5), kCFStringEncodingASCII, '?', false, buffer, 8, &used), 5);
  EXPECT_EQ(used, 5);
  EXPECT_EQ(std::memcmp(buffer, "ab?cd", 5), 0);
  // The buffer's size bounds the work.
  EXPECT_EQ(CFStringGetBytes(text, CFRangeMake(0, 5), kCFStringEncodingUTF8, 0, false, buffer, 3, &used), 2);
  EXPECT_EQ(used, 2);
  // A sub-range, and no usedBufLen.
  EXPECT_EQ(CFStringGetBytes(text, CFRangeMake(3, 2), kCFStringEncodingUTF8, 0, false, buffer, 8, nullptr), 2);
  EXPECT_EQ(std::memcmp(buffer, "cd", 2), 0);
  // An external UTF-16 buffer too small for the mark converts nothing.
  EXPECT_EQ(CFStringGetBytes(text, CFRangeMake(0, 5), kCFStringEncodingUTF16, 0, true, buffer, 1, &used), 0);
  EXPECT_EQ(used, 0);
  // An encoding the host does not convert converts nothing.
  EXPECT_EQ(CFStringGetBytes(text, CFRangeMake(0, 5), kCFStringEncodingNextStepLatin, '?', false, buffer, 8, &used), 0);
  CFRelease(text);
}

// Runs of ASCII between other characters, as most text has them, some long enough to be taken
// in blocks: every buffer size stops the conversion after the last whole character that fits,
// in each encoding that writes ASCII as one byte, and converting and creating agree.
TEST(CFStringEncoding, GetBytesFillsEveryBufferSizeInLongMixedText) {
  struct Form {
    CFStringEncoding encoding;
    std::string eAcute, euro;  // the bytes of e acute and of the euro sign ("?", the loss byte, when absent)
  };
  const Form kForms[] = {{kCFStringEncodingUTF8, "\xc3\xa9", "\xe2\x82\xac"},
                         {kCFStringEncodingMacRoman, "\x8e", "\xdb"},
                         {kCFStringEncodingISOLatin1, "\xe9", "?"},
                         {kCFStringEncodingWindowsLatin1, "\xe9", "\x80"},
                         {kCFStringEncodingASCII, "?", "?"}};
  std::u16string chars;
  for (size_t run : {1, 15, 16, 17, 63, 64, 65, 80, 130}) {
    for (size_t i = 0; i < run; ++i) chars += static_cast<char16_t>(u'a' + (chars.size() % 26));
    chars += run % 2 ? u'\u00e9' : u'\u20ac';
  }
  chars += u"tail";
  CFStringRef text = MakeUnits(chars);
  CFIndex length = CFStringGetLength(text);
  for (const Form& form : kForms) {
    // The bytes of each character.
    std::vector<std::string> pieces;
    for (char16_t c : chars)
      pieces.push_back(c == u'\u00e9'   ? form.eAcute
                       : c == u'\u20ac' ? form.euro
                                        : std::string(1, static_cast<char>(c)));
    std::string all;
    for (const std::string& piece : pieces) all += piece;
    for (size_t size = 0; size <= all.size() + 1; ++size) {
      std::vector<UInt8> buffer(size + 1, 0xEE);
      CFIndex used = -1;
      CFIndex converted = CFStringGetBytes(text, CFRangeMake(0, length), form.encoding, '?', false, buffer.data(),
                                           static_cast<CFIndex>(size), &used);
      size_t fitting = 0, bytes = 0;
      while (fitting < pieces.size() && bytes + pieces[fitting].size() <= size) bytes += pieces[fitting++].size();
      ASSERT_EQ(converted, static_cast<CFIndex>(fitting)) << form.encoding << " " << size;
      ASSERT_EQ(used, static_cast<CFIndex>(bytes)) << form.encoding << " " << size;
      ASSERT_EQ(std::string(buffer.begin(), buffer.begin() + static_cast<long>(bytes)), all.substr(0, bytes));
      // Nothing is written past the bytes used.
      ASSERT_EQ(buffer[bytes], 0xEE) << form.encoding << " " << size;
    }
    if (form.encoding != kCFStringEncodingASCII && form.encoding != kCFStringEncodingISOLatin1) {
      CFStringRef decoded = Decode(Bytes(all.begin(), all.end()), form.encoding);
      ASSERT_NE(decoded, nullptr) << form.encoding;
      EXPECT_EQ(Units(decoded), chars) << form.encoding;
      CFRelease(decoded);
    }
  }
  CFRelease(text);
}

TEST(CFStringEncoding, MaximumSizes) {
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF8), 30);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF16), 20);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF16LE), 20);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF32), 40);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF32BE), 40);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingASCII), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingMacRoman), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingISOLatin1), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingWindowsLatin1), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingNonLossyASCII), 60);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(0, kCFStringEncodingUTF8), 0);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(LONG_MAX / 2, kCFStringEncodingUTF8), kCFNotFound);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(1, 0x7777), kCFNotFound);
  // The worst cases fit: three bytes for one unit of UTF-8, six for non-lossy ASCII.
  CFStringRef wide = MakeUnits(u"\u4e2d\u4e2d");
  std::vector<char> buffer(static_cast<size_t>(CFStringGetMaximumSizeForEncoding(2, kCFStringEncodingUTF8)) + 1);
  EXPECT_TRUE(CFStringGetCString(wide, buffer.data(), static_cast<CFIndex>(buffer.size()), kCFStringEncodingUTF8));
  buffer.resize(static_cast<size_t>(CFStringGetMaximumSizeForEncoding(2, kCFStringEncodingNonLossyASCII)) + 1);
  EXPECT_TRUE(
      CFStringGetCString(wide, buffer.data(), static_cast<CFIndex>(buffer.size()), kCFStringEncodingNonLossyASCII));
  EXPECT_STREQ(buffer.data(), "\\u4e2d\\u4e2d");
  CFRelease(wide);
}

TEST(CFStringEncoding, GetCStringNeedsRoomForTheTerminator) {
  CFStringRef text = CFSTR("hello");
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_FALSE(CFStringGetCString(text, buffer, 5, kCFStringEncodingASCII));
  EXPECT_TRUE(CFStringGetCString(text, buffer, 6, kCFStringEncodingASCII));
  EXPECT_STREQ(buffer, "hello");
  EXPECT_FALSE(CFStringGetCString(text, buffer, 0, kCFStringEncodingASCII));
  // The same at the maximum size the platform computes: text that fills it leaves no room.
  CFIndex max = CFStringGetMaximumSizeForEncoding(5, kCFStringEncodingASCII);
  EXPECT_FALSE(CFStringGetCString(text, buffer, max, kCFStringEncodingASCII));
  CFStringRef accented = MakeUnits(u"\u00e9t\u00e9");  // five UTF-8 bytes
  EXPECT_FALSE(CFStringGetCString(accented, buffer, 5, kCFStringEncodingUTF8));
  EXPECT_TRUE(CFStringGetCString(accented, buffer, 6, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "\xc3\xa9t\xc3\xa9");
  // Characters the encoding lacks fail the whole conversion.
  EXPECT_FALSE(CFStringGetCString(accented, buffer, 8, kCFStringEncodingASCII));
  EXPECT_TRUE(CFStringGetCString(accented, buffer, 8, kCFStringEncodingMacRoman));
  EXPECT_STREQ(buffer, "\x8et\x8e");
  CFRelease(accented);
  // The empty string needs only the terminator.
  EXPECT_TRUE(CFStringGetCString(CFSTR(""), buffer, 1, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "");
}

TEST(CFStringEncoding, CStringPtrOfConstantStrings) {
  const char* pointer = CFStringGetCStringPtr(CFSTR("pointer text"), kCFStringEncodingUTF8);
  ASSERT_NE(pointer, nullptr);
  EXPECT_STREQ(pointer, "pointer text");
  EXPECT_EQ(CFStringGetCStringPtr(CFSTR("pointer text"), kCFStringEncodingUTF8), pointer);
  EXPECT_STREQ(CFStringGetCStringPtr(CFSTR("caf\xc3\xa9"), kCFStringEncodingMacRoman), "caf\x8e");
  EXPECT_EQ(CFStringGetCStringPtr(CFSTR("caf\xc3\xa9"), kCFStringEncodingASCII), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(CFSTR("text"), kCFStringEncodingUTF16), nullptr);
  // Other strings that hold UTF-16 may change or go away; they lend no pointer.
  CFMutableStringRef mutableText = CFStringCreateMutableCopy(nullptr, 0, CFSTR("pointer \xe2\x82\xac"));
  EXPECT_EQ(CFStringGetCStringPtr(mutableText, kCFStringEncodingUTF8), nullptr);
  CFRelease(mutableText);
}

TEST(CFStringEncoding, CreateWithCStringAndAppendCString) {
  CFStringRef text = CFStringCreateWithCString(nullptr, "gr\xfc\xdf", kCFStringEncodingISOLatin1);
  EXPECT_EQ(Units(text), u"gr\u00fc\u00df");
  CFRelease(text);
  CFMutableStringRef mutableText = CFStringCreateMutable(nullptr, 0);
  CFStringAppendCString(mutableText, "caf", kCFStringEncodingASCII);
  CFStringAppendCString(mutableText, "\xc3\xa9", kCFStringEncodingUTF8);
  CFStringAppendCString(mutableText, "\xe9", kCFStringEncodingUTF8);  // invalid: nothing appended
  CFStringAppendCString(mutableText, "\x8e", kCFStringEncodingMacRoman);
  EXPECT_EQ(Units(mutableText), u"caf\u00e9\u00e9");
  CFRelease(mutableText);
}

TEST(CFStringEncoding, FailedAllocationGivesNull) {
  ZRTestingFailAllocation(1);
  EXPECT_EQ(CFStringCreateWithCString(nullptr, "text", kCFStringEncodingUTF8), nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
}

TEST(CFStringEncoding, SystemEncodingAndAvailability) {
  EXPECT_EQ(CFStringGetSystemEncoding(), static_cast<CFStringEncoding>(kCFStringEncodingUTF8));
  EXPECT_FALSE(CFStringIsEncodingAvailable(kCFStringEncodingNextStepLatin));
  EXPECT_FALSE(CFStringIsEncodingAvailable(kCFStringEncodingInvalidId));
}

TEST(CFStringEncoding, NSStringEncodingMapping) {
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSUTF8StringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingUTF8));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSASCIIStringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingASCII));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSMacOSRomanStringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingMacRoman));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSISOLatin1StringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingISOLatin1));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSWindowsCP1252StringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingWindowsLatin1));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSNonLossyASCIIStringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingNonLossyASCII));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSUTF16StringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingUTF16));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(NSNEXTSTEPStringEncoding),
            static_cast<CFStringEncoding>(kCFStringEncodingNextStepLatin));
  // The UTF-16 and UTF-32 forms with a byte order are the CF value with the high bit set.
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(0x90000100UL),
            static_cast<CFStringEncoding>(kCFStringEncodingUTF16BE));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(0x9c000100UL),
            static_cast<CFStringEncoding>(kCFStringEncodingUTF32LE));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(0), static_cast<CFStringEncoding>(kCFStringEncodingInvalidId));
  EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(99), static_cast<CFStringEncoding>(kCFStringEncodingInvalidId));

  EXPECT_EQ(CFStringConvertEncodingToNSStringEncoding(kCFStringEncodingUTF8), NSUTF8StringEncoding);
  EXPECT_EQ(CFStringConvertEncodingToNSStringEncoding(kCFStringEncodingMacRoman), NSMacOSRomanStringEncoding);
  EXPECT_EQ(CFStringConvertEncodingToNSStringEncoding(kCFStringEncodingUTF16), NSUnicodeStringEncoding);
  EXPECT_EQ(CFStringConvertEncodingToNSStringEncoding(kCFStringEncodingUTF16BE), 0x90000100UL);
  EXPECT_EQ(CFStringConvertEncodingToNSStringEncoding(kCFStringEncodingUTF32), 0x8c000100UL);
  for (CFStringEncoding encoding : {kCFStringEncodingUTF8, kCFStringEncodingASCII, kCFStringEncodingWindowsLatin1,
                                    kCFStringEncodingUTF16LE, kCFStringEncodingUTF32BE, kCFStringEncodingNonLossyASCII})
    EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(CFStringConvertEncodingToNSStringEncoding(encoding)), encoding);
}

TEST(CFStringValue, IntValue) {
  EXPECT_EQ(CFStringGetIntValue(CFSTR("-123")), -123);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("  +42")), 42);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("17 apples")), 17);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("3.9")), 3);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("apples")), 0);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("")), 0);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("-")), 0);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("2147483647")), INT_MAX);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("-2147483648")), INT_MIN);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("2147483648")), INT_MAX);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("-99999999999999999999")), INT_MIN);
}

TEST(CFStringValue, DoubleValue) {
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR("3.25")), 3.25);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR(" -0.5e2x")), -50.0);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR("+.5")), 0.5);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR("7e")), 7.0);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR("3,25")), 3.0);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR("nothing")), 0.0);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR(".")), 0.0);
  EXPECT_TRUE(std::isinf(CFStringGetDoubleValue(CFSTR("1e999"))));
}

}  // namespace
