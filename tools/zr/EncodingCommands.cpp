// EncodingCommands.cpp: `zr base32`, `zr base64` and `zr hex` (encode or decode standard input
// to standard output, binary-safe, in blocks, so that any size of input runs in a few megabytes)
// and `zr sha1 FILE...` (digests printed as sha1sum does).
#include <ZRFramework/ZRFramework.h>
#include <errno.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "Command.h"

namespace zr::tool {
namespace {

// Bytes encoded per call: 2^20 - 1 = 3 * 5^2 * 11 * 31 * 41, whole groups of both Base64 (3
// bytes) and Base32 (5 bytes), so that the texts of the blocks, put together, are the text of the
// whole input.
constexpr size_t kByteBlock = (size_t{1} << 20) - 1;
// Characters decoded per call: whole groups of Base32 (8), Base64 (4) and hex (2) text.
constexpr size_t kTextBlock = size_t{1} << 20;

// The number of characters before the first line break, at most `length`.
size_t LineLength(const char* text, size_t length) {
  const void* newline = std::memchr(text, '\n', length);
  if (newline) length = static_cast<size_t>(static_cast<const char*>(newline) - text);
  const void* cr = std::memchr(text, '\r', length);
  if (cr) length = static_cast<size_t>(static_cast<const char*>(cr) - text);
  return length;
}

// Standard input, read in blocks; a read error ends the input and is remembered.
class Input {
 public:
  // Fills `buffer` with up to `size` bytes; fewer only at the end of the input (or on an error).
  size_t Read(char* buffer, size_t size) {
    size_t filled = 0;
    while (filled < size && !ended_) {
      ssize_t count = ::read(STDIN_FILENO, buffer + filled, size - filled);
      if (count > 0) {
        filled += static_cast<size_t>(count);
      } else if (count == 0) {
        ended_ = true;
      } else if (errno != EINTR) {
        error_ = errno;
        ended_ = true;
      }
    }
    return filled;
  }

  // The next `size` characters of the text with its line breaks left out (encoded text arrives
  // with a final line break, or wrapped in lines; the codecs take one line); fewer only at the end.
  void ReadText(std::string* text, size_t size) {
    text->clear();
    while (text->size() < size) {
      if (next_ == raw_.size()) {
        raw_.resize(kTextBlock);
        raw_.resize(Read(raw_.data(), raw_.size()));
        next_ = 0;
        if (raw_.empty()) return;
      }
      const char* start = raw_.data() + next_;
      size_t available = std::min(raw_.size() - next_, size - text->size());
      size_t run = LineLength(start, available);
      text->append(start, run);
      next_ += run;
      if (run < available) ++next_;  // the line break
    }
  }

  int error() const { return error_; }

 private:
  bool ended_ = false;
  int error_ = 0;
  std::string raw_;
  size_t next_ = 0;
};

class Output {
 public:
  void Write(const void* bytes, size_t length) {
    if (length > 0 && std::fwrite(bytes, 1, length, stdout) != length) failed_ = true;
    written_ = written_ || length > 0;
  }

  // The ASCII characters of a string the codecs made: the string's own bytes when it lends them,
  // else a copy.
  void WriteText(CFStringRef text) {
    CFIndex length = CFStringGetLength(text);
    if (const char* lent = CFStringGetCStringPtr(text, kCFStringEncodingASCII)) {
      Write(lent, static_cast<size_t>(length));
      return;
    }
    text_.resize(static_cast<size_t>(length));
    CFIndex used = 0;
    CFStringGetBytes(text, CFRangeMake(0, length), kCFStringEncodingASCII, 0, false,
                     reinterpret_cast<UInt8*>(text_.data()), length, &used);
    Write(text_.data(), static_cast<size_t>(used));
  }

  // The line break that ends a text; nothing at all for empty text, as base64 and base32 do.
  void EndText() {
    if (written_) Write("\n", 1);
  }

  bool Flush() { return std::fflush(stdout) == 0 && !failed_; }

 private:
  bool failed_ = false;
  bool written_ = false;
  std::string text_;
};

// The blocks' working memory (the block, the library's strings and data objects for it: a few
// megabytes) is freed and taken again for every block. Left to itself, malloc gives such sizes
// back to the system at once (fresh mappings, or a trimmed heap), and each block then pays a
// page fault per 4 KiB of every buffer, which costs more than the coding. Keeping them in the
// heap keeps the memory that was touched once.
void KeepWorkingMemory() {
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
}

// The exit status once the input is used up: a read or write error is a failure of its own.
int Finish(const char* name, const Input& input, Output* output) {
  if (input.error() != 0) return Failure(std::string(name) + ": standard input: " + std::strerror(input.error()));
  if (!output->Flush()) return Failure(std::string(name) + ": standard output: write error");
  return 0;
}

// A data object over the bytes of a block, without a copy of them; the block must stay unchanged
// while the object lives.
CFDataRef CreateDataOfBlock(const std::string& block, size_t count) {
  return CFDataCreateWithBytesNoCopy(NULL, reinterpret_cast<const UInt8*>(block.data()), static_cast<CFIndex>(count),
                                     kCFAllocatorNull);
}

// The text as an autoreleased string, nil when it is not ASCII (no codec takes other text).
NSString* AutoreleasedAsciiString(const std::string& text) {
  CFStringRef string = CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(text.data()),
                                               static_cast<CFIndex>(text.size()), kCFStringEncodingASCII, false);
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

bool ParseDirection(const char* name, const Arguments& arguments, bool* encode, int* status) {
  if (arguments.size() == 1 && (arguments[0] == "encode" || arguments[0] == "decode")) {
    *encode = arguments[0] == "encode";
    return true;
  }
  *status = UsageError(std::string("usage: zr ") + name + " encode|decode < INPUT > OUTPUT");
  return false;
}

// Whether the character is one of the Base64 alphabet's, as arithmetic a compiler can do for many
// characters at once.
inline unsigned IsBase64Character(unsigned char c) {
  return static_cast<unsigned>(static_cast<unsigned char>(c - 'A') < 26) |
         static_cast<unsigned>(static_cast<unsigned char>(c - 'a') < 26) |
         static_cast<unsigned>(static_cast<unsigned char>(c - '0') < 10) | static_cast<unsigned>(c == '+') |
         static_cast<unsigned>(c == '/');
}

// The value of a character of the alphabet.
inline int Base64Value(unsigned char c) {
  return c >= 'a' ? c - 'a' + 26 : c >= 'A' ? c - 'A' : c >= '0' ? c - '0' + 52 : c == '+' ? 62 : 63;
}

// Whether the text is what the Base64 encoder writes for some bytes: whole groups of four
// characters of the alphabet, padding only at the end of the last group ("xx==" or "xxx="), and
// the bits that padding leaves over from the last character all zero. Text that is not is
// exactly the text that does not encode again to itself after decoding.
bool IsCanonicalBase64(const std::string& text) {
  size_t length = text.size();
  if (length % 4 != 0) return false;
  size_t padding = length == 0 ? 0 : text[length - 1] != '=' ? 0 : text[length - 2] != '=' ? 1 : 2;
  const auto* characters = reinterpret_cast<const unsigned char*>(text.data());
  size_t count = length - padding;
  // In runs of a fixed length, which compilers check many characters at a time.
  constexpr size_t kRun = 64;
  size_t i = 0;
  for (; i + kRun <= count; i += kRun) {
    unsigned valid = 1;
    for (size_t k = 0; k < kRun; ++k) valid &= IsBase64Character(characters[i + k]);
    if (!valid) return false;
  }
  for (; i < count; ++i) {
    if (!IsBase64Character(characters[i])) return false;
  }
  if (padding == 1) return (Base64Value(characters[length - 2]) & 3) == 0;
  if (padding == 2) return (Base64Value(characters[length - 3]) & 15) == 0;
  return true;
}

int RunBase32(const Arguments& arguments) {
  bool encode = false;
  int status = 0;
  if (!ParseDirection("base32", arguments, &encode, &status)) return status;
  KeepWorkingMemory();
  Input input;
  Output output;
  std::string block;
  if (encode) {
    block.resize(kByteBlock);
    while (size_t count = input.Read(block.data(), block.size())) {
      char* text = NULL;
      if (ZRCopyBase32BufferOfBuffer(block.data(), static_cast<UInt32>(count), &text) != noErr) {
        free(text);
        return Failure("base32: the input cannot be encoded");
      }
      output.Write(text, std::strlen(text));
      free(text);
    }
    output.EndText();
    return Finish("base32", input, &output);
  }
  do {
    input.ReadText(&block, kTextBlock);
    NSAutoreleasePool pool;
    NSString* text = AutoreleasedAsciiString(block);
    NSData* data = text ? ZR::dataWithBase32String(text) : nil;
    if (!data) return Failure("base32: the input is not unpadded Base32 text");
    output.Write(ns::bytes(data), ns::length(data));
  } while (block.size() == kTextBlock);
  return Finish("base32", input, &output);
}

int RunBase64(const Arguments& arguments) {
  bool encode = false;
  int status = 0;
  if (!ParseDirection("base64", arguments, &encode, &status)) return status;
  KeepWorkingMemory();
  Input input;
  Output output;
  std::string block;
  if (encode) {
    block.resize(kByteBlock);
    while (size_t count = input.Read(block.data(), block.size())) {
      NSAutoreleasePool pool;
      CFDataRef data = CreateDataOfBlock(block, count);
      NSString* text = data ? ZR::base64String(const_cast<NSData*>(data)) : nil;
      if (data) CFRelease(data);
      if (!text) return Failure("base64: the input cannot be encoded");
      output.WriteText(text);
    }
    output.EndText();
    return Finish("base64", input, &output);
  }
  // The decoder takes whatever it can and never refuses, so the tool takes only well-formed
  // text: what encoding the result again gives back unchanged (see IsCanonicalBase64). Padding
  // ends the text: a block after one that held some is refused.
  bool padded = false;
  do {
    input.ReadText(&block, kTextBlock);
    if (block.empty()) break;
    if (padded || !IsCanonicalBase64(block)) return Failure("base64: the input is not Base64 text");
    padded = block.back() == '=';
    NSAutoreleasePool pool;
    NSString* text = AutoreleasedAsciiString(block);
    NSData* data = text ? ZR::dataWithBase64String(text) : nil;
    if (!data) return Failure("base64: the input is not Base64 text");
    output.Write(ns::bytes(data), ns::length(data));
  } while (block.size() == kTextBlock);
  return Finish("base64", input, &output);
}

int RunHex(const Arguments& arguments) {
  bool encode = false;
  int status = 0;
  if (!ParseDirection("hex", arguments, &encode, &status)) return status;
  KeepWorkingMemory();
  Input input;
  Output output;
  std::string block;
  if (encode) {
    block.resize(kByteBlock);
    while (size_t count = input.Read(block.data(), block.size())) {
      CFDataRef data = CreateDataOfBlock(block, count);
      if (!data) return Failure("CFDataCreateWithBytesNoCopy returns NULL");
      CFMutableStringRef text = NULL;
      OSStatus result = ZRCopyHexStringRefOfDataRef(data, true, &text);
      CFRelease(data);
      if (result != noErr) return Failure("ZRCopyHexStringRefOfDataRef returns " + Utf8(ZRCarbonErrorString(result)));
      output.WriteText(text);
      CFRelease(text);
    }
    output.EndText();
    return Finish("hex", input, &output);
  }
  // The library reads any character that is not a digit as 0, and a text of odd length as if it
  // began with one more 0; the tool refuses both (the second cannot be known before the end of the
  // input, when the bytes before are written). No text at all (which the library refuses) is
  // simply no bytes, as for the other codecs.
  do {
    input.ReadText(&block, kTextBlock);
    if (block.empty()) break;
    if (block.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      return Failure("hex: the input is not hexadecimal text");
    }
    if (block.size() % 2 != 0) return Failure("hex: the input has an odd number of digits");
    CFStringRef text = CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(block.data()),
                                               static_cast<CFIndex>(block.size()), kCFStringEncodingASCII, false);
    if (!text) return Failure("CFStringCreateWithBytes returns NULL");
    CFDataRef data = NULL;
    OSStatus result = ZRCopyDataRefOfHexStringRef(text, false, &data);
    CFRelease(text);
    if (result != noErr) return Failure("ZRCopyDataRefOfHexStringRef returns " + Utf8(ZRCarbonErrorString(result)));
    output.Write(CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data)));
    CFRelease(data);
  } while (block.size() == kTextBlock);
  return Finish("hex", input, &output);
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
