// EncodingCommands.cpp: `zr base32`, `zr base64` and `zr hex` (encode or decode standard input
// to standard output, binary-safe) and `zr sha1 FILE...` (digests printed as sha1sum does).
#include <ZRFramework/ZRFramework.h>

#include <cstdio>
#include <string>

#include "Command.h"

namespace zr::tool {
namespace {

std::string ReadStandardInput() {
  std::string bytes;
  char block[65536];
  size_t count;
  while ((count = std::fread(block, 1, sizeof block, stdin)) > 0) bytes.append(block, count);
  return bytes;
}

void WriteStandardOutput(const void* bytes, size_t length) {
  if (length > 0) std::fwrite(bytes, 1, length, stdout);
}

// Encoded text arrives with a final line break, or wrapped in lines; the codecs take one line.
std::string WithoutLineBreaks(const std::string& text) {
  std::string line;
  line.reserve(text.size());
  for (char c : text) {
    if (c != '\n' && c != '\r') line += c;
  }
  return line;
}

NSData* AutoreleasedData(const std::string& bytes) { return ns::dataWithBytes(bytes.data(), bytes.size()); }

// The text as an autoreleased string, nil when it is not ASCII (no codec takes other text).
NSString* AutoreleasedAsciiString(const std::string& text) {
  CFStringRef string = CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(text.data()),
                                               static_cast<CFIndex>(text.size()), kCFStringEncodingASCII, false);
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

// The text and a line break; nothing at all for empty text, as base64 and base32 do.
void PrintLine(NSString* text) {
  std::string characters = Utf8(text);
  if (characters.empty()) return;
  characters += '\n';
  WriteStandardOutput(characters.data(), characters.size());
}

bool ParseDirection(const char* name, const Arguments& arguments, bool* encode, int* status) {
  if (arguments.size() == 1 && (arguments[0] == "encode" || arguments[0] == "decode")) {
    *encode = arguments[0] == "encode";
    return true;
  }
  *status = UsageError(std::string("usage: zr ") + name + " encode|decode < INPUT > OUTPUT");
  return false;
}

int RunBase32(const Arguments& arguments) {
  bool encode = false;
  int status = 0;
  if (!ParseDirection("base32", arguments, &encode, &status)) return status;
  std::string input = ReadStandardInput();
  if (encode) {
    NSString* text = ZR::base32String(AutoreleasedData(input));
    if (!text) return Failure("base32: the input cannot be encoded");
    PrintLine(text);
    return 0;
  }
  NSString* text = AutoreleasedAsciiString(WithoutLineBreaks(input));
  NSData* data = text ? ZR::dataWithBase32String(text) : nil;
  if (!data) return Failure("base32: the input is not unpadded Base32 text");
  WriteStandardOutput(ns::bytes(data), ns::length(data));
  return 0;
}

int RunBase64(const Arguments& arguments) {
  bool encode = false;
  int status = 0;
  if (!ParseDirection("base64", arguments, &encode, &status)) return status;
  std::string input = ReadStandardInput();
  if (encode) {
    NSString* text = ZR::base64String(AutoreleasedData(input));
    if (!text) return Failure("base64: the input cannot be encoded");
    PrintLine(text);
    return 0;
  }
  // The decoder takes whatever it can and never refuses, so the text is checked by encoding
  // the result again: only well-formed (padded, canonical) Base64 gives back the same text.
  std::string line = WithoutLineBreaks(input);
  NSString* text = AutoreleasedAsciiString(line);
  NSData* data = text ? ZR::dataWithBase64String(text) : nil;
  NSString* again = data ? ZR::base64String(data) : nil;
  if (!again || Utf8(again) != line) return Failure("base64: the input is not Base64 text");
  WriteStandardOutput(ns::bytes(data), ns::length(data));
  return 0;
}

int RunHex(const Arguments& arguments) {
  bool encode = false;
  int status = 0;
  if (!ParseDirection("hex", arguments, &encode, &status)) return status;
  std::string input = ReadStandardInput();
  if (encode) {
    CFDataRef data =
        CFDataCreate(NULL, reinterpret_cast<const UInt8*>(input.data()), static_cast<CFIndex>(input.size()));
    if (!data) return Failure("CFDataCreate returns NULL");
    CFMutableStringRef text = NULL;
    OSStatus result = ZRCopyHexStringRefOfDataRef(data, true, &text);
    CFRelease(data);
    if (result != noErr) return Failure("ZRCopyHexStringRefOfDataRef returns " + Utf8(ZRCarbonErrorString(result)));
    PrintLine(text);
    CFRelease(text);
    return 0;
  }
  // The library reads any character that is not a digit as 0; the tool refuses such text. No
  // text at all (which the library refuses) is simply no bytes, as for the other codecs.
  std::string line = WithoutLineBreaks(input);
  if (line.empty()) return 0;
  if (line.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    return Failure("hex: the input is not hexadecimal text");
  }
  CFStringRef text = CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(line.data()),
                                             static_cast<CFIndex>(line.size()), kCFStringEncodingASCII, false);
  if (!text) return Failure("CFStringCreateWithBytes returns NULL");
  CFDataRef data = NULL;
  OSStatus result = ZRCopyDataRefOfHexStringRef(text, false, &data);
  CFRelease(text);
  if (result != noErr) return Failure("ZRCopyDataRefOfHexStringRef returns " + Utf8(ZRCarbonErrorString(result)));
  WriteStandardOutput(CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data)));
  CFRelease(data);
  return 0;
}

int RunSHA1(const Arguments& arguments) {
  if (arguments.empty()) return UsageError("usage: zr sha1 FILE...");
  int status = 0;
  for (const std::string& file : arguments) {
    NSAutoreleasePool pool;
    CFStringRef path = CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(file.data()),
                                               static_cast<CFIndex>(file.size()), kCFStringEncodingUTF8, false);
    if (!path) {
      status = Failure("sha1: " + file + ": the name is not UTF-8");
      continue;
    }
    // The digest function always returns noErr; an empty slot is its failure, and its ERROR
    // line has said why.
    CFDataRef digest = NULL;
    ZRCopySHADataRefOfPathStringRef(path, true, &digest);
    CFRelease(path);
    if (!digest) {
      status = Failure("sha1: " + file + ": no digest");
      continue;
    }
    CFMutableStringRef hex = NULL;
    OSStatus result = ZRCopyHexStringRefOfDataRef(digest, true, &hex);
    CFRelease(digest);
    if (result != noErr) {
      status = Failure("ZRCopyHexStringRefOfDataRef returns " + Utf8(ZRCarbonErrorString(result)));
      continue;
    }
    std::printf("%s  %s\n", Utf8(hex).c_str(), file.c_str());
    CFRelease(hex);
  }
  return status;
}

const Command kBase32("base32", "base32 encode|decode", "standard input as unpadded Base32 text, or back to bytes",
                      RunBase32);
const Command kBase64("base64", "base64 encode|decode", "standard input as one line of Base64 text, or back to bytes",
                      RunBase64);
const Command kHex("hex", "hex encode|decode", "standard input as lower-case hexadecimal text, or back to bytes",
                   RunHex);
const Command kSHA1("sha1", "sha1 FILE...", "the SHA-1 digest of each file, as sha1sum prints it", RunSHA1);

}  // namespace
}  // namespace zr::tool
