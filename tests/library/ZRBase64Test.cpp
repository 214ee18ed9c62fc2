// ZRBase64Test.cpp: the NSData category's Base64 methods: test vectors, one-line output,
// decoding of every byte value, round trips and allocation failures.
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/evp.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::AutoreleasedData;
using zrtest::AutoreleasedString;
using zrtest::AutoreleasedStringOfUnits;
using zrtest::Bytes;
using zrtest::RandomBytes;
using zrtest::Utf8;

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// RFC 4648 section 10.
const struct {
  const char* bytes;
  const char* text;
} kVectors[] = {{"", ""},
                {"f", "Zg=="},
                {"fo", "Zm8="},
                {"foo", "Zm9v"},
                {"foob", "Zm9vYg=="},
                {"fooba", "Zm9vYmE="},
                {"foobar", "Zm9vYmFy"}};

class Base64Test : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    pool_.drain();
    EXPECT_TRUE(log_.lines().empty());
    LeakCheckedTest::TearDown();
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(Base64Test, EncodesTheVectors) {
  for (const auto& vector : kVectors) {
    NSString* text = ZR::base64String(AutoreleasedData(vector.bytes));
    ASSERT_NE(text, nil) << vector.bytes;
    EXPECT_EQ(Utf8(text), vector.text);
  }
}

TEST_F(Base64Test, WritesOneLineWithNoNewline) {
  std::mt19937 generator(100);
  NSString* text = ZR::base64String(AutoreleasedData(RandomBytes(100, &generator)));
  ASSERT_NE(text, nil);
  std::string characters = Utf8(text);
  EXPECT_EQ(characters.size(), 136u);
  EXPECT_EQ(characters.find('\n'), std::string::npos);
  EXPECT_EQ(characters.find('\r'), std::string::npos);
  // Far beyond the 64 characters after which the filter would otherwise break the line.
  std::string long_text = Utf8(ZR::base64String(AutoreleasedData(RandomBytes(10000, &generator))));
  EXPECT_EQ(long_text.size(), 13336u);
  EXPECT_EQ(long_text.find_first_not_of(std::string(kAlphabet) + "="), std::string::npos);
}

TEST_F(Base64Test, EncodingLeavesTheReceiverAlone) {
  NSData* data = AutoreleasedData("foobar");
  ZR::base64String(data);
  EXPECT_EQ(Bytes(data), "foobar");
}

TEST_F(Base64Test, DecodesTheVectors) {
  for (const auto& vector : kVectors) {
    NSData* data = ZR::dataWithBase64String(AutoreleasedString(vector.text));
    ASSERT_NE(data, nil) << vector.text;
    EXPECT_EQ(Bytes(data), vector.bytes) << vector.text;
  }
}

TEST_F(Base64Test, DecodesTheEmptyStringAsEmptyData) {
  NSData* data = ZR::dataWithBase64String(AutoreleasedString(""));
  ASSERT_NE(data, nil);
  EXPECT_EQ(ns::length(data), 0u);
}

TEST_F(Base64Test, TextWithoutAnAsciiFormDecodesToEmptyData) {
  for (const char* text : {"Zm9v\xc3\xa9", "\xe2\x82\xac", "Zm9vYmFy\xf0\x9f\x98\x80"}) {
    NSData* data = ZR::dataWithBase64String(AutoreleasedString(text));
    ASSERT_NE(data, nil) << text;
    EXPECT_EQ(ns::length(data), 0u) << text;
  }
  NSData* data = ZR::dataWithBase64String(nil);
  ASSERT_NE(data, nil);
  EXPECT_EQ(ns::length(data), 0u);
}

TEST_F(Base64Test, DecodesEveryByteValue) {
  // "QUJD" is ABC and "QUJ" followed by a character c gives AB and 0x40 | value(c).
  for (int v = 1; v < 256; ++v) {
    std::string text = std::string("QUJDQUJ") + static_cast<char>(v);
    NSData* data;
    if (v < 128) {
      data = ZR::dataWithBase64String(AutoreleasedString(text));
    } else {
      CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()), 8,
                                                   kCFStringEncodingISOLatin1, false);
      data = ZR::dataWithBase64String(const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string))));
    }
    ASSERT_NE(data, nil) << v;
    std::string bytes = Bytes(data);
    const char* digit = v < 128 ? std::strchr(kAlphabet, v) : nullptr;
    if (digit) {
      EXPECT_EQ(bytes, std::string("ABCAB") + static_cast<char>(0x40 | (digit - kAlphabet))) << v;
    } else if (v == '=') {
      EXPECT_EQ(bytes, "ABCAB");
    } else {
      // Not Base64: whatever comes out is no more than what the valid characters before it give.
      EXPECT_LT(bytes.size(), 6u) << v;
      EXPECT_EQ(bytes, std::string("ABCAB").substr(0, bytes.size())) << v;
    }
  }
}

TEST_F(Base64Test, RoundTripsEveryLength) {
  std::mt19937 generator(64);
  for (size_t n = 0; n <= 1024; ++n) {
    NSAutoreleasePool pool;
    std::string bytes = RandomBytes(n, &generator);
    NSString* text = ZR::base64String(AutoreleasedData(bytes));
    ASSERT_NE(text, nil) << n;
    ASSERT_EQ(static_cast<size_t>(CFStringGetLength(text)), (n + 2) / 3 * 4) << n;
    NSData* decoded = ZR::dataWithBase64String(text);
    ASSERT_NE(decoded, nil) << n;
    ASSERT_EQ(Bytes(decoded), bytes) << n;
  }
}

// Many blocks of 512 bytes through the decoder's read loop.
TEST_F(Base64Test, RoundTripsALargeBuffer) {
  std::mt19937 generator(1);
  std::string bytes = RandomBytes(3 << 20, &generator);
  NSString* text = ZR::base64String(AutoreleasedData(bytes));
  ASSERT_NE(text, nil);
  NSData* decoded = ZR::dataWithBase64String(text);
  ASSERT_NE(decoded, nil);
  EXPECT_TRUE(Bytes(decoded) == bytes);
}

// What the filter gives for a C string read through a memory object over it, 512 bytes at a
// time: the decoder's result for a string whose ASCII C string that is.
std::string FilterOverMemory(const std::string& cString) {
  BIO* chain = BIO_push(BIO_new(BIO_f_base64()), BIO_new_mem_buf(cString.c_str(), -1));
  BIO_set_flags(chain, BIO_FLAGS_BASE64_NO_NL);
  std::string bytes;
  char block[512];
  int count;
  while ((count = BIO_read(chain, block, sizeof block)) > 0) bytes.append(block, static_cast<size_t>(count));
  BIO_free_all(chain);
  return bytes;
}

// The decoder reads the text from the string as the filter asks for it: whatever the text holds
// and wherever (line breaks, padding or a stray character early or late, a NUL character, which
// ends the C string, beyond the first blocks), the result is the filter's over the C string.
TEST_F(Base64Test, DecodesAsTheFilterDoesOverTheCString) {
  std::mt19937 generator(17);
  std::string valid = Utf8(ZR::base64String(AutoreleasedData(RandomBytes(30000, &generator))));
  std::vector<std::string> texts;
  for (size_t at : {0u, 3u, 1023u, 1024u, 1025u, 16383u, 16384u, 39999u}) {
    for (const std::string& inserted :
         {std::string("\n"), std::string("="), std::string("=="), std::string("!"), std::string(" "),
          std::string("\r\n"), std::string("-"), std::string(1, '\0')}) {
      texts.push_back(valid.substr(0, at) + inserted + valid.substr(at));
    }
  }
  texts.push_back(valid.substr(0, 20001));  // cut off inside a group
  for (const std::string& text : texts) {
    NSAutoreleasePool pool;
    NSData* data = ZR::dataWithBase64String(AutoreleasedStringOfUnits(std::u16string(text.begin(), text.end())));
    ASSERT_NE(data, nil);
    EXPECT_TRUE(Bytes(data) == FilterOverMemory(text)) << text.size() << " " << text.find_first_not_of(kAlphabet);
  }
}

// A character outside ASCII anywhere, even after a NUL character or after text the filter gave up
// on, leaves the string without a C string: nothing is decoded.
TEST_F(Base64Test, TextWithoutAnAsciiFormDecodesToEmptyDataWhereverItIs) {
  std::mt19937 generator(18);
  std::string valid = Utf8(ZR::base64String(AutoreleasedData(RandomBytes(30000, &generator))));
  for (char16_t earlier : {u'A', u'\0', u'!'}) {
    for (size_t at : {5u, 16384u, 39990u}) {
      NSAutoreleasePool pool;
      std::u16string units(valid.begin(), valid.end());
      units[at] = u'\u00e9';
      units[at / 2] = earlier;
      NSData* data = ZR::dataWithBase64String(AutoreleasedStringOfUnits(units));
      ASSERT_NE(data, nil);
      EXPECT_EQ(ns::length(data), 0u) << at << " " << static_cast<int>(earlier);
    }
  }
}

TEST_F(Base64Test, EncoderGivesNilWhenTheStringCannotBeMade) {
  NSData* data = AutoreleasedData("foobar");
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZR::base64String(data), nil);
  EXPECT_FALSE(ZRTestingFailurePending());
}

// A text larger than the stack buffer is made on the heap and taken by the string as its own:
// whichever allocation fails, the result is nil and nothing is left behind.
TEST_F(Base64Test, EncoderOfALargeTextGivesNilWhenAnAllocationFails) {
  std::mt19937 generator(19);
  std::string bytes = RandomBytes(10000, &generator);
  NSData* data = AutoreleasedData(bytes);
  std::string expected = Utf8(ZR::base64String(data));
  bool succeeded = false;
  for (long n = 1; !succeeded && n < 20; ++n) {
    long live = ZRTestingLiveObjectCount();
    {
      NSAutoreleasePool pool;
      ZRTestingFailAllocation(n);
      NSString* text = ZR::base64String(data);
      bool failed = !ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      if (failed) {
        EXPECT_EQ(text, nil) << n;
      } else {
        succeeded = true;
        EXPECT_EQ(Utf8(text), expected);
      }
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
  }
  EXPECT_TRUE(succeeded);
}

TEST_F(Base64Test, DecoderGivesNilOnlyWhenItsDataObjectCannotBeMade) {
  NSString* text = AutoreleasedString("Zm9vYmFy");
  bool succeeded = false;
  for (long n = 1; !succeeded && n < 20; ++n) {
    NSAutoreleasePool pool;
    ZRTestingFailAllocation(n);
    NSData* data = ZR::dataWithBase64String(text);
    bool failed = !ZRTestingFailurePending();
    ZRTestingFailAllocation(0);
    if (n == 1) {
      // The result object is the first thing made.
      EXPECT_TRUE(failed);
      EXPECT_EQ(data, nil);
    } else if (failed) {
      // The ASCII form could not be had: the text decodes to nothing.
      ASSERT_NE(data, nil) << n;
      EXPECT_EQ(ns::length(data), 0u) << n;
    } else {
      succeeded = true;
      ASSERT_NE(data, nil);
      EXPECT_EQ(Bytes(data), "foobar");
    }
  }
  EXPECT_TRUE(succeeded);
}

}  // namespace
