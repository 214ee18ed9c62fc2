// ZRBase32Test.cpp: the Base32 functions over C buffers and the NSData category's Base32
// methods: test vectors, length rules, invalid characters, trailing bits, round trips and
// allocation failures.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::AutoreleasedData;
using zrtest::AutoreleasedString;
using zrtest::AutoreleasedStringOfUnits;
using zrtest::Bytes;
using zrtest::RandomBytes;
using zrtest::Utf8;

bool InAlphabet(int c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '2' && c <= '7'); }

int DigitValue(int c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a';
  return c - '2' + 26;
}

// The text of the bytes, made one 5-bit value at a time, the plain way.
std::string ReferenceText(const std::string& bytes) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
  std::string text;
  unsigned bits = 0;
  int count = 0;
  for (unsigned char byte : bytes) {
    bits = ((bits << 8) | byte) & 0xFFFF;
    for (count += 8; count >= 5; count -= 5) text += kAlphabet[(bits >> (count - 5)) & 31];
  }
  if (count > 0) text += kAlphabet[(bits << (5 - count)) & 31];
  return text;
}

// The bytes that the first `count` characters of a text complete, one value at a time.
std::string ReferenceBytes(const std::string& text, size_t count) {
  std::string bytes;
  unsigned bits = 0;
  int have = 0;
  for (size_t i = 0; i < count; ++i) {
    bits = ((bits << 5) | static_cast<unsigned>(DigitValue(static_cast<unsigned char>(text[i])))) & 0xFFF;
    have += 5;
    if (have >= 8) {
      bytes += static_cast<char>((bits >> (have - 8)) & 0xFF);
      have -= 8;
    }
  }
  return bytes;
}

// RFC 4648 section 10, without the padding.
const struct {
  const char* bytes;
  const char* text;
} kVectors[] = {{"f", "MY"},         {"fo", "MZXQ"},        {"foo", "MZXW6"},
                {"foob", "MZXW6YQ"}, {"fooba", "MZXW6YTB"}, {"foobar", "MZXW6YTBOI"}};

// Encodes with the C function; "<refused>" when it fails.
std::string EncodeC(const std::string& bytes) {
  char* text = nullptr;
  OSStatus status = ZRCopyBase32BufferOfBuffer(bytes.data(), static_cast<UInt32>(bytes.size()), &text);
  if (status != noErr) {
    EXPECT_EQ(status, unknownErr);
    EXPECT_EQ(text, nullptr);
    return "<refused>";
  }
  std::string result(text);
  free(text);
  return result;
}

// Decodes with the C function; the whole block of (5 * strlen) / 8 bytes.
OSStatus DecodeC(const std::string& text, std::string* bytes) {
  void* block = nullptr;
  OSStatus status = ZRCopyBufferOfBase32Buffer(text.c_str(), &block);
  bytes->clear();
  if (block) {
    bytes->assign(static_cast<const char*>(block), (5 * std::strlen(text.c_str())) / 8);
    free(block);
  }
  return status;
}

class Base32Test : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

// ----- the C functions -----

TEST_F(Base32Test, CEncoderWritesTheVectorsUnpadded) {
  for (const auto& vector : kVectors) EXPECT_EQ(EncodeC(vector.bytes), vector.text) << vector.bytes;
  EXPECT_EQ(EncodeC(std::string("\x66", 1)), "MY");
  EXPECT_EQ(EncodeC(std::string("\0\0\0\0\0", 5)), "AAAAAAAA");
  EXPECT_EQ(EncodeC(std::string(5, '\xff')), "77777777");
}

TEST_F(Base32Test, CEncoderRefusesEmptyInput) {
  char* text = nullptr;
  EXPECT_EQ(ZRCopyBase32BufferOfBuffer("", 0, &text), unknownErr);
  EXPECT_EQ(text, nullptr);
}

// The encoded length is a signed 32-bit count: longer text is refused before any byte is read.
TEST_F(Base32Test, CEncoderRefusesTextTooLongForItsCount) {
  const char bytes[1] = {'x'};
  for (UInt32 length : {UInt32{1342177280}, UInt32{2000000000}, UInt32{0xFFFFFFFF}}) {
    char* text = nullptr;
    ZRTestingResetAllocationCount();
    EXPECT_EQ(ZRCopyBase32BufferOfBuffer(bytes, length, &text), unknownErr) << length;
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(ZRTestingAllocationCount(), 0) << length;
  }
}

TEST_F(Base32Test, CEncoderGivesTheEncodedLength) {
  std::mt19937 generator(1);
  for (size_t n = 1; n <= 40; ++n) {
    std::string text = EncodeC(RandomBytes(n, &generator));
    EXPECT_EQ(text.size(), (8 * n + 4) / 5) << n;
    for (char c : text) EXPECT_TRUE(std::strchr("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567", c)) << n;
  }
}

TEST_F(Base32Test, CEncoderDoesNotChangeTheSlotWhenTheAllocationFails) {
  char* text = nullptr;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyBase32BufferOfBuffer("foobar", 6, &text), unknownErr);
  EXPECT_EQ(text, nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
}

TEST_F(Base32Test, CDecoderReadsTheVectorsInEitherCase) {
  for (const auto& vector : kVectors) {
    std::string bytes;
    EXPECT_EQ(DecodeC(vector.text, &bytes), noErr) << vector.text;
    EXPECT_EQ(bytes, vector.bytes);
  }
  std::string upper, lower, mixed;
  EXPECT_EQ(DecodeC("MZXW6YTBOI", &upper), noErr);
  EXPECT_EQ(DecodeC("mzxw6ytboi", &lower), noErr);
  EXPECT_EQ(DecodeC("mZxW6yTbOi", &mixed), noErr);
  EXPECT_EQ(upper, "foobar");
  EXPECT_EQ(lower, "foobar");
  EXPECT_EQ(mixed, "foobar");
  std::string one;
  EXPECT_EQ(DecodeC("MY", &one), noErr);
  EXPECT_EQ(one, "\x66");
}

TEST_F(Base32Test, CDecoderRefusesImpossibleLengthsWithoutAllocating) {
  for (const char* text : {"A", "ABC", "ABCDEF", "MZXW6YTBO", "MZXW6YTBOIA", "MZXW6YTBOIABCD"}) {
    void* block = nullptr;
    ZRTestingResetAllocationCount();
    EXPECT_EQ(ZRCopyBufferOfBase32Buffer(text, &block), unknownErr) << text;
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(ZRTestingAllocationCount(), 0) << text;
  }
}

TEST_F(Base32Test, CDecoderRefusesEmptyText) {
  void* block = nullptr;
  ZRTestingResetAllocationCount();
  EXPECT_EQ(ZRCopyBufferOfBase32Buffer("", &block), unknownErr);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(ZRTestingAllocationCount(), 0);
}

TEST_F(Base32Test, CDecoderRefusesNonZeroTrailingBitsAndLeavesTheBlock) {
  // MZ: d1 = 25, whose low two bits 01 belong to no byte.
  for (const char* text : {"MZ", "MZXR", "MZXW7", "MZXW6YR", "MZXW6YTBOJ"}) {
    void* block = nullptr;
    EXPECT_EQ(ZRCopyBufferOfBase32Buffer(text, &block), unknownErr) << text;
    EXPECT_NE(block, nullptr) << text;  // the caller frees it
    free(block);
  }
}

TEST_F(Base32Test, CDecoderStopsQuietlyAtTheFirstInvalidCharacter) {
  // The padded form: the decoding stops at the first equals sign, with all of foobar decoded.
  std::string bytes;
  EXPECT_EQ(DecodeC("MZXW6YTBOI======", &bytes), noErr);
  ASSERT_EQ(bytes.size(), 10u);
  EXPECT_EQ(bytes.substr(0, 6), "foobar");
  // Five valid characters complete three bytes before the invalid sixth one.
  EXPECT_EQ(DecodeC("MZXW6!TB", &bytes), noErr);
  ASSERT_EQ(bytes.size(), 5u);
  EXPECT_EQ(bytes.substr(0, 3), "foo");
  // In a second group.
  EXPECT_EQ(DecodeC("MZXW6YTBO1", &bytes), noErr);
  ASSERT_EQ(bytes.size(), 6u);
  EXPECT_EQ(bytes.substr(0, 5), "fooba");
  // An invalid character ends the decoding before the trailing bits are looked at.
  EXPECT_EQ(DecodeC("M0", &bytes), noErr);
}

TEST_F(Base32Test, CDecoderTakesEveryByteValue) {
  for (int v = 1; v < 256; ++v) {
    // As the last of a full group: seven valid characters give four bytes first.
    std::string text = std::string("AEBAGBA") + static_cast<char>(v);
    std::string bytes;
    EXPECT_EQ(DecodeC(text, &bytes), noErr) << v;
    ASSERT_EQ(bytes.size(), 5u);
    EXPECT_EQ(bytes.substr(0, 4), std::string("\x01\x02\x03\x04", 4)) << v;
    if (InAlphabet(v)) {
      EXPECT_EQ(static_cast<unsigned char>(bytes[4]), DigitValue(v)) << v;
    }

    // As the first character of a final group of two: the only byte needs it.
    std::string pair = std::string(1, static_cast<char>(v)) + "A";
    EXPECT_EQ(DecodeC(pair, &bytes), noErr) << v;
    ASSERT_EQ(bytes.size(), 1u);
    if (InAlphabet(v)) {
      EXPECT_EQ(static_cast<unsigned char>(bytes[0]), DigitValue(v) << 3) << v;
    }
  }
}

TEST_F(Base32Test, CDecoderGivesTheAllocationFailureAndNoBlock) {
  void* block = nullptr;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyBufferOfBase32Buffer("MZXW6YTBOI", &block), unknownErr);
  EXPECT_EQ(block, nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
}

TEST_F(Base32Test, CRoundTripsEveryLength) {
  std::mt19937 generator(32);
  for (size_t n = 1; n <= 1024; ++n) {
    std::string bytes = RandomBytes(n, &generator);
    std::string text = EncodeC(bytes);
    std::string decoded;
    ASSERT_EQ(DecodeC(text, &decoded), noErr) << n;
    ASSERT_EQ(decoded, bytes) << n;
  }
}

TEST_F(Base32Test, CFunctionsNeverLog) {
  std::string bytes;
  DecodeC("MZ", &bytes);
  DecodeC("A", &bytes);
  DecodeC("M=", &bytes);
  EncodeC("");
  EXPECT_TRUE(log_.lines().empty());
}

// ----- the category -----

TEST_F(Base32Test, CategoryEncodesTheVectors) {
  for (const auto& vector : kVectors) {
    EXPECT_EQ(Utf8(ZR::base32String(AutoreleasedData(vector.bytes))), vector.text) << vector.bytes;
  }
}

TEST_F(Base32Test, CategoryEncodesEmptyDataAsTheEmptyString) {
  NSString* text = ZR::base32String(ns::dataWithBytes(nullptr, 0));
  ASSERT_NE(text, nil);
  EXPECT_EQ(CFStringGetLength(text), 0);
}

TEST_F(Base32Test, CategoryEncodingLeavesTheReceiverAlone) {
  NSData* data = AutoreleasedData("foobar");
  ZR::base32String(data);
  EXPECT_EQ(Bytes(data), "foobar");
}

TEST_F(Base32Test, CategoryDecodesTheVectorsInEitherCase) {
  for (const auto& vector : kVectors) {
    NSData* data = ZR::dataWithBase32String(AutoreleasedString(vector.text));
    ASSERT_NE(data, nil) << vector.text;
    EXPECT_EQ(Bytes(data), vector.bytes);
    EXPECT_EQ(CFGetTypeID(data), CFDataGetTypeID());
  }
  NSData* lower = ZR::dataWithBase32String(AutoreleasedString("mzxw6ytboi"));
  ASSERT_NE(lower, nil);
  EXPECT_EQ(Bytes(lower), "foobar");
}

TEST_F(Base32Test, CategoryDecodesTheEmptyStringAsEmptyData) {
  NSData* data = ZR::dataWithBase32String(AutoreleasedString(""));
  ASSERT_NE(data, nil);
  EXPECT_EQ(ns::length(data), 0u);
}

TEST_F(Base32Test, CategoryRefusesWhatTheCDecoderRefuses) {
  for (const char* text : {"A", "ABC", "ABCDEF", "MZ", "MZXW6YTBOJ"}) {
    EXPECT_EQ(ZR::dataWithBase32String(AutoreleasedString(text)), nil) << text;
  }
}

TEST_F(Base32Test, CategoryRefusesInvalidCharactersAndPadding) {
  for (const char* text : {"MZXW6YTBOI======", "MZXW6!TB", "MZXW6YTBO1", "M0", "MZ XW6YTB", "MZXW6YT8"}) {
    EXPECT_EQ(ZR::dataWithBase32String(AutoreleasedString(text)), nil) << text;
  }
}

TEST_F(Base32Test, CategoryRefusesTextWithoutAnAsciiForm) {
  EXPECT_EQ(ZR::dataWithBase32String(AutoreleasedString("MZXW6YT\xc3\xa9")), nil);
  EXPECT_EQ(ZR::dataWithBase32String(AutoreleasedString("\xe2\x82\xac\xe2\x82\xac")), nil);
  EXPECT_EQ(ZR::dataWithBase32String(nil), nil);
}

TEST_F(Base32Test, CategoryTakesEveryByteValue) {
  for (int v = 1; v < 128; ++v) {
    const char full[] = {'A', 'E', 'B', 'A', 'G', 'B', 'A', static_cast<char>(v), '\0'};
    NSData* data = ZR::dataWithBase32String(AutoreleasedString(full));
    if (!InAlphabet(v)) {
      EXPECT_EQ(data, nil) << v;
      continue;
    }
    ASSERT_NE(data, nil) << v;
    EXPECT_EQ(Bytes(data), std::string("\x01\x02\x03\x04", 4) + static_cast<char>(DigitValue(v))) << v;
  }
  // Bytes 128 to 255 are not ASCII: as Latin-1 characters they have no ASCII form.
  for (int v = 128; v < 256; ++v) {
    const UInt8 full[] = {'A', 'E', 'B', 'A', 'G', 'B', 'A', static_cast<UInt8>(v)};
    CFStringRef string = CFStringCreateWithBytes(nullptr, full, 8, kCFStringEncodingISOLatin1, false);
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(ZR::dataWithBase32String(const_cast<NSString*>(string)), nil) << v;
    CFRelease(string);
  }
}

TEST_F(Base32Test, CategoryRoundTripsEveryLength) {
  std::mt19937 generator(64);
  for (size_t n = 0; n <= 1024; ++n) {
    NSAutoreleasePool pool;
    std::string bytes = RandomBytes(n, &generator);
    NSString* text = ZR::base32String(AutoreleasedData(bytes));
    ASSERT_NE(text, nil);
    ASSERT_EQ(static_cast<size_t>(CFStringGetLength(text)), (8 * n + 4) / 5) << n;
    NSData* decoded = ZR::dataWithBase32String(text);
    ASSERT_NE(decoded, nil) << n;
    ASSERT_EQ(Bytes(decoded), bytes) << n;
  }
}

TEST_F(Base32Test, CategoryAndCFunctionsAgree) {
  std::mt19937 generator(7);
  for (size_t n = 1; n <= 64; ++n) {
    std::string bytes = RandomBytes(n, &generator);
    EXPECT_EQ(Utf8(ZR::base32String(AutoreleasedData(bytes))), EncodeC(bytes)) << n;
  }
}

// Bigger than the stack could hold: the work buffers come from the heap.
TEST_F(Base32Test, CategoryRoundTripsInputsLargerThanTheStack) {
  std::mt19937 generator(16);
  std::string bytes = RandomBytes(16 << 20, &generator);
  NSString* text = ZR::base32String(AutoreleasedData(bytes));
  ASSERT_NE(text, nil);
  EXPECT_EQ(static_cast<size_t>(CFStringGetLength(text)), (8 * bytes.size() + 4) / 5);
  NSData* decoded = ZR::dataWithBase32String(text);
  ASSERT_NE(decoded, nil);
  EXPECT_TRUE(Bytes(decoded) == bytes);
}

// The category reads the text from the string a block of characters at a time: groups across
// the blocks' ends decode as anywhere else; a character that is refused late in the text refuses
// all of it; a NUL character ends the C string, and the text decodes up to it when the length
// there is possible and nothing after it lacks an ASCII form.
TEST_F(Base32Test, CategoryReadsLongTextsAsOneCString) {
  std::mt19937 generator(33);
  std::string bytes = RandomBytes(30000, &generator);
  std::string text = ReferenceText(bytes);  // 48000 characters
  for (size_t length : {16376u, 16384u, 16392u, 16386u, 32775u, 48000u}) {
    NSAutoreleasePool pool;
    std::u16string units(text.begin(), text.begin() + static_cast<long>(length));
    NSData* data = ZR::dataWithBase32String(AutoreleasedStringOfUnits(units));
    size_t lastGroup = length % 8;
    if (lastGroup == 1 || lastGroup == 3 || lastGroup == 6) {
      EXPECT_EQ(data, nil) << length;
      continue;
    }
    // A cut text's last character may carry bits no byte takes.
    if (ReferenceText(ReferenceBytes(text, length)) != text.substr(0, length)) {
      EXPECT_EQ(data, nil) << length;
      continue;
    }
    ASSERT_NE(data, nil) << length;
    EXPECT_TRUE(Bytes(data) == ReferenceBytes(text, length)) << length;
  }
  std::u16string whole(text.begin(), text.end());
  for (size_t at : {16383u, 16384u, 47999u}) {
    NSAutoreleasePool pool;
    for (char16_t refused : {u'1', u'=', u'\u00e9'}) {
      std::u16string units = whole;
      units[at] = refused;
      EXPECT_EQ(ZR::dataWithBase32String(AutoreleasedStringOfUnits(units)), nil) << at;
    }
    // Cut by a NUL character at a possible length (a whole group), at an impossible one, and with
    // a character without an ASCII form after it.
    size_t group = at / 8 * 8;
    std::u16string cut = whole;
    cut[group] = u'\0';
    cut[group + 3] = u'!';
    NSData* data = ZR::dataWithBase32String(AutoreleasedStringOfUnits(cut));
    ASSERT_NE(data, nil) << at;
    EXPECT_TRUE(Bytes(data) == ReferenceBytes(text, group)) << at;
    cut[group] = u'A';
    cut[group + 1] = u'\0';
    EXPECT_EQ(ZR::dataWithBase32String(AutoreleasedStringOfUnits(cut)), nil) << at;
    cut[group + 1] = u'A';
    cut[group] = u'\0';
    cut[group + 3] = u'\u00e9';
    EXPECT_EQ(ZR::dataWithBase32String(AutoreleasedStringOfUnits(cut)), nil) << at;
  }
}

TEST_F(Base32Test, CategoryGivesNilWhenAnAllocationFails) {
  std::string small = "foobar";
  std::string large(10000, 'x');  // its work buffers come from the heap
  for (const std::string* bytes : {&small, &large}) {
    NSData* data = AutoreleasedData(*bytes);
    NSString* text = ZR::base32String(data);
    ASSERT_NE(text, nil);
    bool succeeded = false;
    for (long n = 1; !succeeded && n < 20; ++n) {
      NSAutoreleasePool pool;
      ZRTestingFailAllocation(n);
      NSString* encoded = ZR::base32String(data);
      bool failed = !ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      if (failed) {
        EXPECT_EQ(encoded, nil) << n;
      } else {
        succeeded = true;
        EXPECT_EQ(Utf8(encoded), Utf8(text));
      }
    }
    EXPECT_TRUE(succeeded);
    succeeded = false;
    for (long n = 1; !succeeded && n < 20; ++n) {
      NSAutoreleasePool pool;
      ZRTestingFailAllocation(n);
      NSData* decoded = ZR::dataWithBase32String(text);
      bool failed = !ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      if (failed) {
        EXPECT_EQ(decoded, nil) << n;
      } else {
        succeeded = true;
        ASSERT_NE(decoded, nil);
        EXPECT_EQ(Bytes(decoded), *bytes);
      }
    }
    EXPECT_TRUE(succeeded);
  }
  EXPECT_TRUE(log_.lines().empty());
}

// ----- both pairs -----

// Whole groups are read and written several values at a time: the texts of every length must
// still follow the bit layout, value by value.
TEST_F(Base32Test, EncodersFollowTheBitLayoutAtEveryLength) {
  std::mt19937 generator(40);
  for (size_t n = 1; n <= 64; ++n) {
    std::string bytes = RandomBytes(n, &generator);
    std::string text = ReferenceText(bytes);
    EXPECT_EQ(EncodeC(bytes), text) << n;
    EXPECT_EQ(Utf8(ZR::base32String(AutoreleasedData(bytes))), text) << n;
  }
}

// Whole groups are decoded a pair of characters at a time: every byte value, in every position
// of both groups of a text, decodes as the character alone would, or ends the decoding there
// (the C function keeps the bytes that the characters before it complete; the category refuses
// the text).
TEST_F(Base32Test, DecodersTakeEveryByteValueInEveryPosition) {
  const std::string base = EncodeC("foobarbaz!");
  ASSERT_EQ(base.size(), 16u);
  // The bytes that 0 to 7 characters of a group complete.
  const size_t kBytesOfChars[8] = {0, 0, 1, 1, 2, 3, 3, 4};
  for (size_t position = 0; position < base.size(); ++position) {
    for (int v = 1; v < 256; ++v) {
      NSAutoreleasePool pool;
      std::string text = base;
      text[position] = static_cast<char>(v);
      std::string bytes;
      ASSERT_EQ(DecodeC(text, &bytes), noErr) << position << " " << v;
      ASSERT_EQ(bytes.size(), 10u);
      size_t valid = InAlphabet(v) ? text.size() : position;
      size_t complete = valid / 8 * 5 + kBytesOfChars[valid % 8];
      ASSERT_EQ(bytes.substr(0, complete), ReferenceBytes(text, valid)) << position << " " << v;

      CFStringRef string =
          CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                  static_cast<CFIndex>(text.size()), kCFStringEncodingISOLatin1, false);
      ASSERT_NE(string, nullptr);
      NSData* data = ZR::dataWithBase32String(const_cast<NSString*>(string));
      CFRelease(string);
      if (InAlphabet(v)) {
        ASSERT_NE(data, nil) << position << " " << v;
        ASSERT_EQ(Bytes(data), bytes) << position << " " << v;
      } else {
        ASSERT_EQ(data, nil) << position << " " << v;
      }
    }
  }
}

}  // namespace
