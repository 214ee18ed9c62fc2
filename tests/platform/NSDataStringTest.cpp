// NSDataStringTest.cpp: the NSData, NSMutableData and NSString messages over the bridged CF
// objects: contents, autorelease, conversions and allocation failures.
#include <Foundation/Foundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

class NSDataStringTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    ZRTestingFailAllocation(0);
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  NSAutoreleasePool pool_;
};

TEST_F(NSDataStringTest, DataWithBytesCopiesTheBytes) {
  char bytes[] = {'a', '\0', 'b', '\xff'};
  NSData* data = ns::dataWithBytes(bytes, sizeof bytes);
  ASSERT_NE(data, nil);
  bytes[0] = 'z';
  EXPECT_EQ(ns::length(data), 4u);
  EXPECT_EQ(std::memcmp(ns::bytes(data), "a\0b\xff", 4), 0);
  EXPECT_EQ(CFGetTypeID(data), CFDataGetTypeID());
  EXPECT_EQ(CFDataGetLength(data), 4);
}

TEST_F(NSDataStringTest, DataWithBytesNoCopyTakesTheBytes) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool inner;
    auto* block = static_cast<char*>(std::malloc(4));
    std::memcpy(block, "a\0b\xff", 4);
    NSData* data = ns::dataWithBytesNoCopy(block, 4);
    ASSERT_NE(data, nil);
    EXPECT_EQ(ns::bytes(data), block);
    EXPECT_EQ(ns::length(data), 4u);
    EXPECT_EQ(ZRTestingLiveObjectCount(), before + 1);
  }
  // Gone with the pool, and the block with it (the leak check would see it otherwise).
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);

  auto* block = static_cast<char*>(std::malloc(4));
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ns::dataWithBytesNoCopy(block, 4), nil);
  std::free(block);  // still the caller's
}

TEST_F(NSDataStringTest, DataObjectsAreAutoreleased) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool inner;
    ASSERT_NE(ns::dataWithBytes("abc", 3), nil);
    ASSERT_NE(ns::data(), nil);
    ASSERT_NE(ns::mutableData(), nil);
    EXPECT_EQ(ZRTestingLiveObjectCount(), before + 3);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);
}

TEST_F(NSDataStringTest, EmptyData) {
  NSData* data = ns::data();
  ASSERT_NE(data, nil);
  EXPECT_EQ(ns::length(data), 0u);
  NSData* copied = ns::dataWithBytes(nullptr, 0);
  ASSERT_NE(copied, nil);
  EXPECT_EQ(ns::length(copied), 0u);
}

TEST_F(NSDataStringTest, MutableDataGrowsByAppending) {
  NSMutableData* data = ns::mutableData();
  ASSERT_NE(data, nil);
  EXPECT_EQ(ns::length(data), 0u);
  ns::appendBytes(data, "foo", 3);
  ns::appendBytes(data, "", 0);
  std::string big(100000, 'x');
  ns::appendBytes(data, big.data(), big.size());
  ns::appendBytes(data, "bar", 3);
  ASSERT_EQ(ns::length(data), 100006u);
  const char* bytes = static_cast<const char*>(ns::bytes(data));
  EXPECT_EQ(std::string(bytes, 3), "foo");
  EXPECT_EQ(std::string(bytes + 100003, 3), "bar");
}

TEST_F(NSDataStringTest, DataCreationFailureGivesNil) {
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ns::dataWithBytes("abc", 3), nil);
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ns::data(), nil);
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ns::mutableData(), nil);
}

TEST_F(NSDataStringTest, StringWithCStringTakesTheEncoding) {
  NSString* utf8 = ns::stringWithCString(
      "gr\xc3\xbc\xc3\x9f"
      "e",
      NSUTF8StringEncoding);
  ASSERT_NE(utf8, nil);
  EXPECT_EQ(ns::length(utf8), 5u);
  EXPECT_EQ(Utf8(utf8),
            "gr\xc3\xbc\xc3\x9f"
            "e");
  // 0x8A is a-diaeresis in Mac Roman.
  NSString* roman = ns::stringWithCString("\x8a", NSMacOSRomanStringEncoding);
  ASSERT_NE(roman, nil);
  EXPECT_EQ(Utf8(roman), "\xc3\xa4");
  NSString* ascii = ns::stringWithCString("MZXW6YTBOI", NSASCIIStringEncoding);
  ASSERT_NE(ascii, nil);
  EXPECT_EQ(Utf8(ascii), "MZXW6YTBOI");
  NSString* empty = ns::stringWithCString("", NSUTF8StringEncoding);
  ASSERT_NE(empty, nil);
  EXPECT_EQ(ns::length(empty), 0u);
}

TEST_F(NSDataStringTest, StringWithCStringGivesNilForInvalidBytes) {
  EXPECT_EQ(ns::stringWithCString("\xff\xfe", NSUTF8StringEncoding), nil);
  EXPECT_EQ(ns::stringWithCString("abc", 0x7fffffff), nil);
  EXPECT_EQ(ns::stringWithCString(nullptr, NSUTF8StringEncoding), nil);
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ns::stringWithCString("abc", NSUTF8StringEncoding), nil);
}

TEST_F(NSDataStringTest, StringWithCStringLengthTakesThatManyBytes) {
  NSString* string = ns::stringWithCStringLength("Zm9vYmFyXXX", 8);
  ASSERT_NE(string, nil);
  EXPECT_EQ(Utf8(string), "Zm9vYmFy");
  NSString* empty = ns::stringWithCStringLength("abc", 0);
  ASSERT_NE(empty, nil);
  EXPECT_EQ(ns::length(empty), 0u);
  NSString* none = ns::stringWithCStringLength(nullptr, 0);
  ASSERT_NE(none, nil);
  EXPECT_EQ(ns::length(none), 0u);
  EXPECT_EQ(ns::stringWithCStringLength(nullptr, 1), nil);
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ns::stringWithCStringLength("abc", 3), nil);
}

TEST_F(NSDataStringTest, StringsAreAutoreleased) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool inner;
    ASSERT_NE(ns::stringWithCString("abc", NSUTF8StringEncoding), nil);
    ASSERT_NE(ns::stringWithCStringLength("abc", 3), nil);
    EXPECT_EQ(ZRTestingLiveObjectCount(), before + 2);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);
}

TEST_F(NSDataStringTest, CanBeConvertedToEncoding) {
  CFStringRef ascii = CFSTR("MZXW6YTBOI");
  CFStringRef latin = CFStringCreateWithCString(nullptr, "caf\xc3\xa9", kCFStringEncodingUTF8);
  CFStringRef euro = CFStringCreateWithCString(nullptr, "\xe2\x82\xac", kCFStringEncodingUTF8);
  NSString* empty = ns::stringWithCString("", NSUTF8StringEncoding);
  auto string = [](CFStringRef s) { return const_cast<NSString*>(s); };
  EXPECT_TRUE(ns::canBeConvertedToEncoding(string(ascii), NSASCIIStringEncoding));
  EXPECT_TRUE(ns::canBeConvertedToEncoding(empty, NSASCIIStringEncoding));
  EXPECT_FALSE(ns::canBeConvertedToEncoding(string(latin), NSASCIIStringEncoding));
  EXPECT_TRUE(ns::canBeConvertedToEncoding(string(latin), NSISOLatin1StringEncoding));
  EXPECT_TRUE(ns::canBeConvertedToEncoding(string(latin), NSUTF8StringEncoding));
  EXPECT_FALSE(ns::canBeConvertedToEncoding(string(euro), NSISOLatin1StringEncoding));
  EXPECT_TRUE(ns::canBeConvertedToEncoding(string(euro), NSWindowsCP1252StringEncoding));
  EXPECT_TRUE(ns::canBeConvertedToEncoding(string(euro), NSUTF8StringEncoding));
  EXPECT_FALSE(ns::canBeConvertedToEncoding(string(ascii), 0x7fffffff));
  CFRelease(latin);
  CFRelease(euro);
}

TEST_F(NSDataStringTest, CStringUsingEncoding) {
  CFStringRef latin = CFStringCreateWithCString(nullptr, "caf\xc3\xa9", kCFStringEncodingUTF8);
  NSString* string = const_cast<NSString*>(latin);
  const char* ascii = ns::cStringUsingEncoding(string, NSASCIIStringEncoding);
  EXPECT_EQ(ascii, nullptr);
  const char* utf8 = ns::cStringUsingEncoding(string, NSUTF8StringEncoding);
  ASSERT_NE(utf8, nullptr);
  EXPECT_STREQ(utf8, "caf\xc3\xa9");
  const char* iso = ns::cStringUsingEncoding(string, NSISOLatin1StringEncoding);
  ASSERT_NE(iso, nullptr);
  EXPECT_STREQ(iso, "caf\xe9");
  const char* plain = ns::cStringUsingEncoding(const_cast<NSString*>(CFSTR("Zm9vYmFy")), NSASCIIStringEncoding);
  ASSERT_NE(plain, nullptr);
  EXPECT_STREQ(plain, "Zm9vYmFy");
  const char* empty = ns::cStringUsingEncoding(const_cast<NSString*>(CFSTR("")), NSASCIIStringEncoding);
  ASSERT_NE(empty, nullptr);
  EXPECT_STREQ(empty, "");
  EXPECT_EQ(ns::cStringUsingEncoding(string, 0x7fffffff), nullptr);
  CFRelease(latin);
  // The buffers are still readable here: they live until the pool is drained.
  EXPECT_STREQ(utf8, "caf\xc3\xa9");
}

TEST_F(NSDataStringTest, CStringInUtf16EndsWithAWideTerminator) {
  const char* wide = ns::cStringUsingEncoding(const_cast<NSString*>(CFSTR("ab")), NSUTF16StringEncoding);
  ASSERT_NE(wide, nullptr);
  UniChar units[3];
  std::memcpy(units, wide, sizeof units);
  // With or without a byte-order mark, the characters are followed by a zero unit.
  int start = (units[0] == 0xFEFF) ? 1 : 0;
  EXPECT_EQ(units[start], 'a');
  EXPECT_EQ(units[start + 1], 'b');
  UniChar terminator;
  std::memcpy(&terminator, wide + 2 * (start + 2), sizeof terminator);
  EXPECT_EQ(terminator, 0);
}

TEST_F(NSDataStringTest, CStringBufferIsAutoreleased) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool inner;
    ASSERT_NE(ns::cStringUsingEncoding(const_cast<NSString*>(CFSTR("abc")), NSUTF8StringEncoding), nullptr);
    EXPECT_GT(ZRTestingLiveObjectCount(), before);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ns::cStringUsingEncoding(const_cast<NSString*>(CFSTR("abc")), NSUTF8StringEncoding), nullptr);
}

// ASCII text is converted directly where the encoding agrees with ASCII; the results must be
// those of the general conversion, and an encoding that escapes ASCII characters must still
// escape them.
TEST_F(NSDataStringTest, AsciiTextConvertsAsTheGeneralConversionDoes) {
  const char* text = "Zm9v \\ YmFy\t~";
  for (NSStringEncoding encoding :
       {NSASCIIStringEncoding, NSUTF8StringEncoding, NSMacOSRomanStringEncoding, NSISOLatin1StringEncoding,
        NSWindowsCP1252StringEncoding, NSNonLossyASCIIStringEncoding}) {
    CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
    CFStringRef general = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text),
                                                  static_cast<CFIndex>(std::strlen(text)), cfEncoding, false);
    NSString* string = ns::stringWithCString(text, encoding);
    ASSERT_EQ(string == nil, general == nullptr) << encoding;
    if (general) {
      EXPECT_TRUE(CFEqual(string, general)) << encoding;
      CFRelease(general);
    }
    NSString* source = ns::stringWithCString(text, NSUTF8StringEncoding);
    CFIndex length = CFStringGetLength(source);
    CFIndex size = 0;
    ASSERT_EQ(CFStringGetBytes(source, CFRangeMake(0, length), cfEncoding, 0, false, nullptr, 0, &size), length);
    std::string expected(static_cast<size_t>(size), '\0');
    CFStringGetBytes(source, CFRangeMake(0, length), cfEncoding, 0, false, reinterpret_cast<UInt8*>(expected.data()),
                     size, nullptr);
    const char* converted = ns::cStringUsingEncoding(source, encoding);
    ASSERT_NE(converted, nullptr) << encoding;
    EXPECT_EQ(std::string(converted), expected) << encoding;
    EXPECT_TRUE(ns::canBeConvertedToEncoding(source, encoding)) << encoding;
  }
  // The backslash is escaped in the non-lossy form.
  EXPECT_STREQ(ns::cStringUsingEncoding(const_cast<NSString*>(CFSTR("a\\b")), NSNonLossyASCIIStringEncoding), "a\\\\b");
}

TEST_F(NSDataStringTest, EmbeddedNulKeepsTheCharactersAfterIt) {
  NSString* string = ns::stringWithCStringLength("ab\0cd", 5);
  ASSERT_NE(string, nil);
  EXPECT_EQ(ns::length(string), 5u);
  const char* converted = ns::cStringUsingEncoding(string, NSASCIIStringEncoding);
  ASSERT_NE(converted, nullptr);
  EXPECT_EQ(std::memcmp(converted, "ab\0cd\0", 6), 0);
}

}  // namespace
