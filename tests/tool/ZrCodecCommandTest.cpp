// ZrCodecCommandTest.cpp: `zr base32|base64|hex encode|decode` run as a user runs them, on inputs
// around the sizes of the blocks the commands work in. Each output must be the library's result
// for the whole input in one call, and each refusal the same line and status wherever in the
// input the fault lies.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

// The commands' blocks: bytes per encoding call, characters per decoding call.
constexpr size_t kByteBlock = (size_t{1} << 20) - 1;
constexpr size_t kTextBlock = size_t{1} << 20;

using Result = zrtest::ToolResult;

class ZrCodecCommandTest : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("ZrCodecCommandTest");
    ASSERT_FALSE(folder_.empty());
  }
  void TearDown() override { EXPECT_TRUE(zrtest::RemoveFolder(folder_)); }

  Result Run(const std::string& command, const std::string& input) {
    return zrtest::RunTool(ZR_TOOL_PATH, command, input, folder_);
  }

  void ExpectEncodesAsOneCall(const char* command, const std::vector<size_t>& sizes,
                              std::string (*wholeText)(const std::string&));

  std::string folder_;
  std::mt19937 generator_{20261123};
};

// The library's whole-input texts, with the line break the commands end a text with.
std::string Base32Text(const std::string& bytes) {
  NSAutoreleasePool pool;
  std::string text = zrtest::Utf8(ZR::base32String(zrtest::AutoreleasedData(bytes)));
  return text.empty() ? text : text + "\n";
}

std::string Base64Text(const std::string& bytes) {
  NSAutoreleasePool pool;
  std::string text = zrtest::Utf8(ZR::base64String(zrtest::AutoreleasedData(bytes)));
  return text.empty() ? text : text + "\n";
}

std::string HexText(const std::string& bytes) {
  CFDataRef data = zrtest::MakeData(bytes);
  CFMutableStringRef text = NULL;
  EXPECT_EQ(noErr, ZRCopyHexStringRefOfDataRef(data, false, &text));
  CFRelease(data);
  std::string result = zrtest::Utf8(text);
  if (text) CFRelease(text);
  return result.empty() ? result : result + "\n";
}

// The text cut into lines of `width` characters, as base64 and base32 wrap it by default.
std::string Wrapped(const std::string& text, size_t width, const char* lineBreak = "\n") {
  std::string wrapped;
  for (size_t start = 0; start < text.size(); start += width) wrapped += text.substr(start, width) + lineBreak;
  return wrapped;
}

std::string WithoutFinalLineBreak(std::string text) {
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

const std::vector<size_t> kByteSizes = {
    0, 1, 2, 3, 4, 5, kByteBlock - 1, kByteBlock, kByteBlock + 1, kByteBlock + 4, 2 * kByteBlock + 2};

// Each size's output must be the library's whole text, with nothing on standard error.
void ZrCodecCommandTest::ExpectEncodesAsOneCall(const char* command, const std::vector<size_t>& sizes,
                                                std::string (*wholeText)(const std::string&)) {
  for (size_t size : sizes) {
    std::string bytes = zrtest::RandomBytes(size, &generator_);
    Result result = Run(command, bytes);
    EXPECT_EQ(0, result.status) << command << " " << size;
    EXPECT_EQ("", result.err) << command << " " << size;
    EXPECT_TRUE(result.out == wholeText(bytes)) << command << " " << size;
  }
}

TEST_F(ZrCodecCommandTest, Base32EncodesAsOneCallAcrossBlocks) {
  ExpectEncodesAsOneCall("base32 encode", kByteSizes, Base32Text);
}

TEST_F(ZrCodecCommandTest, Base64EncodesAsOneCallAcrossBlocks) {
  ExpectEncodesAsOneCall("base64 encode", kByteSizes, Base64Text);
}

TEST_F(ZrCodecCommandTest, HexEncodesAsOneCallAcrossBlocks) {
  ExpectEncodesAsOneCall("hex encode", {0, 1, kByteBlock - 1, kByteBlock, kByteBlock + 1}, HexText);
}

// Decoding: texts whose length without line breaks lies around the text block, given on one
// line, without the final line break, and wrapped in lines (the line breaks then fall on and
// around the block boundaries).
TEST_F(ZrCodecCommandTest, Base32DecodesAsOneCallAcrossBlocks) {
  // 5 bytes per 8 characters: these sizes give texts of the block's length and around it.
  for (size_t size : {size_t{0}, size_t{1}, kTextBlock / 8 * 5 - 1, kTextBlock / 8 * 5, kTextBlock / 8 * 5 + 1,
                      kTextBlock / 8 * 5 + 3, 2 * kTextBlock / 8 * 5}) {
    std::string bytes = zrtest::RandomBytes(size, &generator_);
    std::string text = WithoutFinalLineBreak(Base32Text(bytes));
    for (const std::string& input : {text, text + "\n", Wrapped(text, 76), Wrapped(text, 64, "\r\n")}) {
      Result result = Run("base32 decode", input);
      EXPECT_EQ(0, result.status) << size;
      EXPECT_EQ("", result.err) << size;
      EXPECT_TRUE(result.out == bytes) << size;
    }
  }
  // Lower case, as the library takes it.
  EXPECT_EQ("foobar", Run("base32 decode", "mzxw6ytboi\n").out);
}

TEST_F(ZrCodecCommandTest, Base64DecodesAsOneCallAcrossBlocks) {
  for (size_t size : {size_t{0}, size_t{1}, size_t{2}, kTextBlock / 4 * 3 - 1, kTextBlock / 4 * 3,
                      kTextBlock / 4 * 3 + 1, kTextBlock / 4 * 3 + 2, 2 * kTextBlock / 4 * 3 + 1}) {
    std::string bytes = zrtest::RandomBytes(size, &generator_);
    std::string text = WithoutFinalLineBreak(Base64Text(bytes));
    for (const std::string& input : {text, text + "\n", Wrapped(text, 76), Wrapped(text, 64, "\r\n")}) {
      Result result = Run("base64 decode", input);
      EXPECT_EQ(0, result.status) << size;
      EXPECT_EQ("", result.err) << size;
      EXPECT_TRUE(result.out == bytes) << size;
    }
  }
}

TEST_F(ZrCodecCommandTest, HexDecodesAsOneCallAcrossBlocks) {
  for (size_t size : {size_t{0}, size_t{1}, kTextBlock / 2 - 1, kTextBlock / 2, kTextBlock / 2 + 1}) {
    std::string bytes = zrtest::RandomBytes(size, &generator_);
    std::string text = WithoutFinalLineBreak(HexText(bytes));
    std::string upper = text;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (const std::string& input : {text, text + "\n", Wrapped(text, 60), Wrapped(upper, 30, "\r\n")}) {
      Result result = Run("hex decode", input);
      EXPECT_EQ(0, result.status) << size;
      EXPECT_EQ("", result.err) << size;
      EXPECT_TRUE(result.out == bytes) << size;
    }
  }
}

// A refusal: status 1 and the one line, whatever block the fault lies in.
void ExpectRefused(const Result& result, const std::string& line, const std::string& where) {
  EXPECT_EQ(1, result.status) << where;
  EXPECT_EQ("zr: " + line + "\n", result.err) << where;
}

TEST_F(ZrCodecCommandTest, Base32RefusesWhatTheWholeCallRefuses) {
  const std::string refusal = "base32: the input is not unpadded Base32 text";
  std::string text = WithoutFinalLineBreak(Base32Text(zrtest::RandomBytes(kTextBlock / 8 * 5 * 2, &generator_)));
  // A bad character in the first block, at its last place, at the first place of the second.
  for (size_t at : {size_t{0}, kTextBlock - 1, kTextBlock, text.size() - 1}) {
    for (char bad : {'=', '1', ' ', '\x80'}) {
      std::string input = text;
      input[at] = bad;
      ExpectRefused(Run("base32 decode", input), refusal, std::to_string(at));
    }
  }
  // Padding, lengths no bytes can have and non-zero trailing bits at the end of a long text.
  ExpectRefused(Run("base32 decode", text + "MY======"), refusal, "padding");
  for (const char* tail : {"A", "ABC", "ABCDEF", "MZ"}) {
    ExpectRefused(Run("base32 decode", text + tail), refusal, tail);
    ExpectRefused(Run("base32 decode", tail), refusal, tail);
  }
}

TEST_F(ZrCodecCommandTest, Base64RefusesWhatTheWholeCallRefuses) {
  const std::string refusal = "base64: the input is not Base64 text";
  std::string text = WithoutFinalLineBreak(Base64Text(zrtest::RandomBytes(kTextBlock / 4 * 3 * 2, &generator_)));
  for (size_t at : {size_t{0}, kTextBlock - 1, kTextBlock, text.size() - 1}) {
    for (char bad : {'=', '-', ' ', '\x80'}) {
      std::string input = text;
      input[at] = bad;
      ExpectRefused(Run("base64 decode", input), refusal, std::to_string(at));
    }
  }
  // Padding in the middle: a group with padding that ends the first block, more text after it.
  std::string padded = text.substr(0, kTextBlock - 4) + "Zg==" + text.substr(kTextBlock);
  ExpectRefused(Run("base64 decode", padded), refusal, "padding in the middle");
  // Missing padding, a cut-off group, non-canonical trailing bits.
  for (const char* tail : {"Zg", "Zg=", "Z", "Zh=="}) {
    ExpectRefused(Run("base64 decode", text + tail), refusal, tail);
    ExpectRefused(Run("base64 decode", tail), refusal, tail);
  }
}

TEST_F(ZrCodecCommandTest, HexRefusesWhatTheWholeCallRefuses) {
  const std::string refusal = "hex: the input is not hexadecimal text";
  std::string text = WithoutFinalLineBreak(HexText(zrtest::RandomBytes(kTextBlock, &generator_)));
  for (size_t at : {size_t{0}, kTextBlock - 1, kTextBlock, text.size() - 1}) {
    for (char bad : {'g', ' ', 'x', '\x80'}) {
      std::string input = text;
      input[at] = bad;
      ExpectRefused(Run("hex decode", input), refusal, std::to_string(at));
    }
  }
  // An odd number of digits: whole bytes only, as the encoder writes them.
  const std::string odd = "hex: the input has an odd number of digits";
  ExpectRefused(Run("hex decode", "abc"), odd, "short");
  ExpectRefused(Run("hex decode", text + "a\n"), odd, "long");
  // A bad character wins over an odd length, as it lies before the end.
  ExpectRefused(Run("hex decode", "0g0"), refusal, "both");
}

TEST_F(ZrCodecCommandTest, UsageIsRefused) {
  for (const char* name : {"base32", "base64", "hex"}) {
    Result result = Run(std::string(name) + " sideways", "");
    EXPECT_EQ(2, result.status) << name;
    EXPECT_EQ(std::string("zr: usage: zr ") + name + " encode|decode < INPUT > OUTPUT\n", result.err) << name;
  }
}

}  // namespace
