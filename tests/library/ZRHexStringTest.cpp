// ZRHexStringTest.cpp: data as hexadecimal text and back, and data as handles: results,
// argument checks, ERROR lines, allocation failures and leaks.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Bytes;
using zrtest::FormattedErrorLine;
using zrtest::MakeData;
using zrtest::RandomBytes;
using zrtest::Utf8;
using zrtest::WithoutLine;

class HexTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  // Runs `call` with the n-th allocation failing, n = 1, 2, ... until a run no longer reaches
  // the armed failure. Returns the distinct last ERROR lines of the runs that failed; each
  // run must leave no object behind.
  template <class Call>
  std::set<std::string> FailureLines(Call call) {
    std::set<std::string> lines;
    for (long n = 1; n < 100; ++n) {
      long live = ZRTestingLiveObjectCount();
      bool failed;
      {
        NSAutoreleasePool pool;
        log_.clear();
        ZRTestingFailAllocation(n);
        failed = !call();
        bool reached = !ZRTestingFailurePending();
        ZRTestingFailAllocation(0);
        if (failed && !log_.lines().empty()) lines.insert(WithoutLine(log_.lines().back()));
        if (!reached) {
          EXPECT_FALSE(failed) << n;
          break;
        }
      }
      EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
    }
    log_.clear();
    return lines;
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

// ----- ZRCopyHexStringRefOfDataRef -----

TEST_F(HexTest, EncodesLowerCaseTwoDigitsPerByte) {
  CFDataRef data = MakeData(std::string("\x00\xab\xff", 3));
  CFMutableStringRef string = nullptr;
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(data, true, &string), noErr);
  EXPECT_EQ(Utf8(string), "00abff");
  CFStringAppend(string, CFSTR("!"));  // the result is mutable
  EXPECT_EQ(Utf8(string), "00abff!");
  CFRelease(string);
  CFRelease(data);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HexTest, EncodesEveryByteValue) {
  std::string bytes;
  std::string expected;
  for (int v = 0; v < 256; ++v) {
    bytes += static_cast<char>(v);
    expected += "0123456789abcdef"[v >> 4];
    expected += "0123456789abcdef"[v & 15];
  }
  CFDataRef data = MakeData(bytes);
  CFMutableStringRef string = nullptr;
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(data, true, &string), noErr);
  EXPECT_EQ(Utf8(string), expected);
  CFRelease(string);
  CFRelease(data);
}

TEST_F(HexTest, EncodesEmptyDataAsTheEmptyString) {
  CFDataRef data = MakeData("");
  ASSERT_NE(CFDataGetBytePtr(data), nullptr);
  CFMutableStringRef string = nullptr;
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(data, true, &string), noErr);
  ASSERT_NE(string, nullptr);
  EXPECT_EQ(CFStringGetLength(string), 0);
  CFRelease(string);
  CFRelease(data);
}

TEST_F(HexTest, EncoderRefusesMissingArguments) {
  CFDataRef data = MakeData("x");
  CFMutableStringRef string = nullptr;
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(nullptr, true, &string), paramErr);
  EXPECT_EQ(string, nullptr);
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(data, true, nullptr), paramErr);
  ASSERT_EQ(log_.lines().size(), 2u);
  EXPECT_EQ(WithoutLine(log_.lines()[0]),
            FormattedErrorLine("ZRCopyHexStringRefOfDataRef", CFSTR("inDataRef: %p, outStringRef: %p"),
                               static_cast<const void*>(nullptr), static_cast<void*>(&string)));
  EXPECT_EQ(WithoutLine(log_.lines()[1]),
            FormattedErrorLine("ZRCopyHexStringRefOfDataRef", CFSTR("inDataRef: %p, outStringRef: %p"),
                               static_cast<const void*>(data), static_cast<void*>(nullptr)));
  log_.clear();
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(nullptr, false, &string), paramErr);
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(data, false, nullptr), paramErr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(data);
}

TEST_F(HexTest, EncoderReleasesAndEmptiesAFullSlot) {
  CFDataRef data = MakeData("x");
  for (Boolean inLog : {true, false}) {
    log_.clear();
    CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
    long live = ZRTestingLiveObjectCount();
    void* slot = &string;
    EXPECT_EQ(ZRCopyHexStringRefOfDataRef(data, inLog, &string), paramErr);
    EXPECT_EQ(string, nullptr);
    EXPECT_EQ(ZRTestingLiveObjectCount(), live - 1);  // the caller's string was released
    if (inLog) {
      ASSERT_EQ(log_.lines().size(), 1u);
      // The line shows the slot's address, not the string in it.
      EXPECT_EQ(WithoutLine(log_.lines()[0]),
                FormattedErrorLine("ZRCopyHexStringRefOfDataRef", CFSTR("inDataRef: %p, outStringRef: %p"),
                                   static_cast<const void*>(data), slot));
    } else {
      EXPECT_TRUE(log_.lines().empty());
    }
  }
  CFRelease(data);
}

TEST_F(HexTest, EncoderReportsTheStringItCannotMake) {
  CFDataRef data = MakeData("abc");
  std::set<std::string> lines = FailureLines([&] {
    CFMutableStringRef string = nullptr;
    OSStatus status = ZRCopyHexStringRefOfDataRef(data, true, &string);
    if (status != noErr) {
      EXPECT_EQ(status, unknownErr);
      EXPECT_EQ(string, nullptr);
      return false;
    }
    EXPECT_EQ(Utf8(string), "616263");
    CFRelease(string);
    return true;
  });
  EXPECT_EQ(lines, std::set<std::string>{"ERROR CFStringCreateMutable returns NULL (ZRCopyHexStringRefOfDataRef)"});
  // The same failure with inLog false writes nothing.
  CFMutableStringRef string = nullptr;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyHexStringRefOfDataRef(data, false, &string), unknownErr);
  EXPECT_EQ(string, nullptr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(data);
}

// ----- ZRCopyDataRefOfHexStringRef -----

// Decodes text; "<status>" in place of the bytes when it fails.
std::string Decode(const std::string& text, Boolean inLog = true) {
  CFStringRef string = zrtest::MakeString(text);
  CFDataRef data = nullptr;
  OSStatus status = ZRCopyDataRefOfHexStringRef(string, inLog, &data);
  CFRelease(string);
  if (status != noErr) {
    EXPECT_EQ(data, nullptr);
    return "<" + std::to_string(status) + ">";
  }
  std::string bytes = Bytes(data);
  CFRelease(data);
  return bytes;
}

TEST_F(HexTest, DecodesEitherCase) {
  EXPECT_EQ(Decode("00ABff"), std::string("\x00\xab\xff", 3));
  EXPECT_EQ(Decode("00abFF"), std::string("\x00\xab\xff", 3));
  EXPECT_EQ(Decode("0123456789abcdefABCDEF"), std::string("\x01\x23\x45\x67\x89\xab\xcd\xef\xab\xcd\xef", 11));
}

TEST_F(HexTest, PadsOddTextOnTheLeft) {
  EXPECT_EQ(Decode("abc"), std::string("\x0a\xbc", 2));
  EXPECT_EQ(Decode("f"), std::string("\x0f", 1));
  EXPECT_EQ(Decode("12345"), std::string("\x01\x23\x45", 3));
}

TEST_F(HexTest, CountsEveryOtherCharacterAsZero) {
  EXPECT_EQ(Decode("zz"), std::string("\x00", 1));
  EXPECT_EQ(Decode("g1"), std::string("\x01", 1));
  EXPECT_EQ(Decode("1 2 "), std::string("\x10\x20", 2));
  EXPECT_EQ(Decode("0x1f"), std::string("\x00\x1f", 2));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HexTest, DecodesEveryCharacterCode) {
  for (int v = 1; v < 128; ++v) {
    int value = (v >= '0' && v <= '9')   ? v - '0'
                : (v >= 'a' && v <= 'f') ? v - 'a' + 10
                : (v >= 'A' && v <= 'F') ? v - 'A' + 10
                                         : 0;
    std::string high = std::string(1, static_cast<char>(v)) + "1";
    std::string low = std::string("1") + static_cast<char>(v);
    if (v == '\\') continue;  // escaped as two characters: see the non-ASCII test
    EXPECT_EQ(Decode(high), std::string(1, static_cast<char>((value << 4) | 1))) << v;
    EXPECT_EQ(Decode(low), std::string(1, static_cast<char>(0x10 | value))) << v;
  }
}

// Characters outside ASCII reach the digit table through their escapes: the pairs are taken
// position by position from the escaped form, as many as the string's length gives. A text
// whose escaped form fills the conversion's whole maximum size is refused by the conversion.
TEST_F(HexTest, TakesNonAsciiTextThroughItsEscapedForm) {
  int refused = 0;
  for (const char* text : {"\xc3\xa9"
                           "1",
                           "1\xc3\xa9", "\xe2\x82\xac", "\xe2\x82\xac\xe2\x82\xac", "ab\xc3\xa9", "\\1",
                           "12\xf0\x9f\x98\x80", "\xc3\xa9\xc3\xa9"}) {
    log_.clear();
    CFStringRef string = zrtest::MakeString(text);
    CFIndex length = CFStringGetLength(string);
    CFStringRef padded = length % 2 ? CFStringCreateWithFormat(nullptr, nullptr, CFSTR("0%@"), string)
                                    : static_cast<CFStringRef>(CFRetain(string));
    CFIndex maximum = CFStringGetMaximumSizeForEncoding(CFStringGetLength(padded), kCFStringEncodingNonLossyASCII);
    std::string escaped(static_cast<size_t>(maximum) + 1, '\0');
    ASSERT_TRUE(CFStringGetCString(padded, escaped.data(), maximum + 1, kCFStringEncodingNonLossyASCII));
    escaped.resize(std::strlen(escaped.c_str()));
    if (escaped.size() == static_cast<size_t>(maximum)) {
      ++refused;
      EXPECT_EQ(Decode(text), "<" + std::to_string(unknownErr) + ">") << text;
      EXPECT_EQ(WithoutLine(log_.lines().back()),
                FormattedErrorLine("ZRCopyDataRefOfHexStringRef", CFSTR("ZRCopyCBufferOfStringRef returns %i"),
                                   static_cast<int>(unknownErr)));
    } else {
      auto digit = [](char c) -> int {
        return (c >= '0' && c <= '9')   ? c - '0'
               : (c >= 'a' && c <= 'f') ? c - 'a' + 10
               : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                        : 0;
      };
      std::string expected;
      for (CFIndex i = 0; i < (length + 1) / 2; ++i) {
        expected += static_cast<char>((digit(escaped[2 * i]) << 4) | digit(escaped[2 * i + 1]));
      }
      EXPECT_EQ(Decode(text), expected) << text;
    }
    CFRelease(padded);
    CFRelease(string);
  }
  // Two euro signs escape to the six-byte maximum each.
  EXPECT_EQ(refused, 1);
}

TEST_F(HexTest, RefusesTheEmptyString) {
  EXPECT_EQ(Decode(""), "<" + std::to_string(unknownErr) + ">");
  ASSERT_GE(log_.lines().size(), 2u);
  // The conversion's own line comes first, then this function's.
  EXPECT_NE(log_.lines().front().find("(ZRCopyCBufferOfStringRef,"), std::string::npos);
  EXPECT_EQ(WithoutLine(log_.lines().back()),
            FormattedErrorLine("ZRCopyDataRefOfHexStringRef", CFSTR("ZRCopyCBufferOfStringRef returns %i"),
                               static_cast<int>(unknownErr)));
  log_.clear();
  EXPECT_EQ(Decode("", false), "<" + std::to_string(unknownErr) + ">");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HexTest, DecoderRefusesMissingArguments) {
  CFStringRef string = CFSTR("00");
  CFDataRef data = nullptr;
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(nullptr, true, &data), paramErr);
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(string, true, nullptr), paramErr);
  CFDataRef full = MakeData("x");
  CFDataRef kept = full;
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(string, true, &full), paramErr);
  EXPECT_EQ(full, kept);  // left alone
  ASSERT_EQ(log_.lines().size(), 3u);
  const char* function = "ZRCopyDataRefOfHexStringRef";
  CFStringRef format = CFSTR("inHexStringRef: %p, outDataRef: %p");
  EXPECT_EQ(WithoutLine(log_.lines()[0]),
            FormattedErrorLine(function, format, static_cast<const void*>(nullptr), static_cast<void*>(&data)));
  EXPECT_EQ(WithoutLine(log_.lines()[1]),
            FormattedErrorLine(function, format, static_cast<const void*>(string), static_cast<void*>(nullptr)));
  EXPECT_EQ(WithoutLine(log_.lines()[2]),
            FormattedErrorLine(function, format, static_cast<const void*>(string), static_cast<void*>(&full)));
  log_.clear();
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(nullptr, false, &data), paramErr);
  EXPECT_EQ(ZRCopyDataRefOfHexStringRef(string, false, &full), paramErr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(full);
}

// Plain ASCII text is read from the string itself; odd text is padded first, and text with a
// backslash (or any character outside ASCII) goes through its lossless ASCII C buffer.
TEST_F(HexTest, DecoderReportsEachAllocationThatFails) {
  const char* function = "ZRCopyDataRefOfHexStringRef";
  struct Case {
    const char* text;
    std::string bytes;
  };
  for (const Case& c : {Case{"00abff", std::string("\x00\xab\xff", 3)},
                        Case{"0abff", std::string("\x00\xab\xff", 3)},       // padded to "00abff"
                        Case{"\\0abff", std::string("\x00\x0a\xbf", 3)}}) {  // escaped as "\\\\0abff"
    CFStringRef string = zrtest::MakeString(c.text);
    std::set<std::string> lines = FailureLines([&] {
      CFDataRef data = nullptr;
      OSStatus status = ZRCopyDataRefOfHexStringRef(string, true, &data);
      if (status != noErr) {
        EXPECT_EQ(status, unknownErr);
        EXPECT_EQ(data, nullptr);
        return false;
      }
      EXPECT_EQ(Bytes(data), c.bytes);
      CFRelease(data);
      return true;
    });
    std::set<std::string> expected = {FormattedErrorLine(function, CFSTR("calloc returns NULL")),
                                      FormattedErrorLine(function, CFSTR("CFDataCreate returns NULL"))};
    if (std::strcmp(c.text, "00abff") != 0) {
      expected.insert(
          FormattedErrorLine(function, CFSTR("ZRCopyCBufferOfStringRef returns %i"), static_cast<int>(unknownErr)));
    }
    if (std::strlen(c.text) % 2) expected.insert(FormattedErrorLine(function, CFSTR("hexStringRef is NULL")));
    EXPECT_EQ(lines, expected) << c.text;
    CFRelease(string);
  }
}

// The characters are read in blocks: pairs across the blocks' ends decode as anywhere else, and
// a backslash or a character outside ASCII late in the text still sends all of it through the
// escaped form.
TEST_F(HexTest, DecodesLongTextsAcrossBlocks) {
  std::mt19937 generator(61);
  for (size_t length : {16382u, 16384u, 16386u, 32768u, 50000u}) {
    std::string bytes = RandomBytes(length / 2, &generator);
    CFDataRef data = MakeData(bytes);
    CFMutableStringRef text = nullptr;
    ASSERT_EQ(ZRCopyHexStringRefOfDataRef(data, false, &text), noErr);
    CFRelease(data);
    EXPECT_EQ(Decode(Utf8(text)), bytes) << length;
    CFRelease(text);
  }
  // 50000 characters, one of them a backslash or an e with acute accent.
  for (const char* late : {"\\", "\xc3\xa9"}) {
    for (size_t at : {16383u, 16384u, 40000u}) {
      std::string text(50000, '7');
      text.replace(at, 1, late);
      // The escaped form, as the C buffer holds it: the backslash doubled, the e as a backslash
      // and three octal digits. Its first 50000 characters make the pairs.
      std::string escaped(50000, '7');
      escaped.replace(at, 1, late[0] == '\\' ? "\\\\" : "\\351");
      std::string expected;
      auto digit = [](char c) { return c >= '0' && c <= '9' ? c - '0' : 0; };
      for (size_t i = 0; i < 25000; ++i)
        expected += static_cast<char>((digit(escaped[2 * i]) << 4) | digit(escaped[2 * i + 1]));
      EXPECT_EQ(Decode(text), expected) << at;
    }
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HexTest, RoundTripsRandomBuffers) {
  std::mt19937 generator(16);
  for (size_t n = 1; n <= 300; ++n) {
    std::string bytes = RandomBytes(n, &generator);
    CFDataRef data = MakeData(bytes);
    CFMutableStringRef string = nullptr;
    ASSERT_EQ(ZRCopyHexStringRefOfDataRef(data, true, &string), noErr);
    ASSERT_EQ(CFStringGetLength(string), static_cast<CFIndex>(2 * n));
    CFDataRef decoded = nullptr;
    ASSERT_EQ(ZRCopyDataRefOfHexStringRef(string, true, &decoded), noErr);
    EXPECT_EQ(Bytes(decoded), bytes) << n;
    CFRelease(decoded);
    CFRelease(string);
    CFRelease(data);
  }
}

// ----- ZRCopyHandleOfDataRef -----

TEST_F(HexTest, HandleHoldsACopyOfTheBytes) {
  std::string bytes("\x00\x01\xfe\xff payload", 12);
  CFDataRef data = MakeData(bytes);
  Handle handle = nullptr;
  EXPECT_EQ(ZRCopyHandleOfDataRef(data, &handle, true), noErr);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(GetHandleSize(handle), static_cast<Size>(bytes.size()));
  EXPECT_EQ(std::string(*handle, bytes.size()), bytes);
  EXPECT_NE(static_cast<const void*>(*handle), static_cast<const void*>(CFDataGetBytePtr(data)));
  DisposeHandle(handle);
  CFRelease(data);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HexTest, HandleOfEmptyDataIsRefused) {
  CFDataRef data = MakeData("");
  Handle handle = nullptr;
  EXPECT_EQ(ZRCopyHandleOfDataRef(data, &handle, true), unknownErr);
  EXPECT_EQ(handle, nullptr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLine(log_.lines()[0]), "ERROR CFDataGetLength returns 0 (ZRCopyHandleOfDataRef)");
  log_.clear();
  EXPECT_EQ(ZRCopyHandleOfDataRef(data, &handle, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(data);
}

TEST_F(HexTest, HandleRefusesMissingArgumentsAndLeavesAFullSlotAlone) {
  CFDataRef data = MakeData("x");
  Handle handle = nullptr;
  Handle other = NewHandle(1);
  Handle kept = other;
  EXPECT_EQ(ZRCopyHandleOfDataRef(nullptr, &handle, true), paramErr);
  EXPECT_EQ(ZRCopyHandleOfDataRef(data, nullptr, true), paramErr);
  EXPECT_EQ(ZRCopyHandleOfDataRef(data, &other, true), paramErr);
  EXPECT_EQ(other, kept);
  EXPECT_EQ(handle, nullptr);
  ASSERT_EQ(log_.lines().size(), 3u);
  const char* function = "ZRCopyHandleOfDataRef";
  CFStringRef format = CFSTR("inDataRef: %p, outHandle: %p");
  EXPECT_EQ(WithoutLine(log_.lines()[0]),
            FormattedErrorLine(function, format, static_cast<const void*>(nullptr), static_cast<void*>(&handle)));
  EXPECT_EQ(WithoutLine(log_.lines()[1]),
            FormattedErrorLine(function, format, static_cast<const void*>(data), static_cast<void*>(nullptr)));
  EXPECT_EQ(WithoutLine(log_.lines()[2]),
            FormattedErrorLine(function, format, static_cast<const void*>(data), static_cast<void*>(&other)));
  log_.clear();
  EXPECT_EQ(ZRCopyHandleOfDataRef(nullptr, &handle, false), paramErr);
  EXPECT_TRUE(log_.lines().empty());
  DisposeHandle(other);
  CFRelease(data);
}

TEST_F(HexTest, HandleReportsTheAllocationThatFails) {
  CFDataRef data = MakeData("abc");
  Handle handle = nullptr;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyHandleOfDataRef(data, &handle, true), unknownErr);
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(handle, nullptr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLine(log_.lines()[0]), "ERROR NewHandle returns NULL (ZRCopyHandleOfDataRef)");
  log_.clear();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyHandleOfDataRef(data, &handle, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(data);
}

}  // namespace
