// Base32BufferFuzz.cpp: the C Base32 decoder on arbitrary text, and round trips through the C
// encoder: decoding never reads or writes outside its buffers, a full decoding re-encodes to
// the text (in upper case), and decode(encode(bytes)) gives the bytes back.
#include <ZRFramework/ZRFramework.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

bool InAlphabet(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '2' && c <= '7'); }

std::string Decode(const std::string& text, OSStatus* status) {
  void* block = nullptr;
  *status = ZRCopyBufferOfBase32Buffer(text.c_str(), &block);
  std::string bytes;
  if (block) bytes.assign(static_cast<const char*>(block), (5 * std::strlen(text.c_str())) / 8);
  free(block);
  return bytes;
}

std::string Encode(const std::string& bytes) {
  char* text = nullptr;
  if (ZRCopyBase32BufferOfBuffer(bytes.data(), static_cast<UInt32>(bytes.size()), &text) != noErr) {
    if (!bytes.empty() || text) abort();
    return std::string();
  }
  std::string result(text);
  free(text);
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);

  // The input as text: up to its first NUL, as strlen sees it.
  std::string text(input.c_str());
  OSStatus status;
  std::string decoded = Decode(text, &status);
  size_t validPrefix = 0;
  while (validPrefix < text.size() && InAlphabet(text[validPrefix])) ++validPrefix;
  if (status == noErr && validPrefix == text.size() && !text.empty()) {
    std::string upper = text;
    for (char& c : upper) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    if (Encode(decoded) != upper) abort();
  }

  // The input as bytes.
  std::string encoded = Encode(input);
  if (!input.empty()) {
    OSStatus roundTrip;
    if (Decode(encoded, &roundTrip) != input || roundTrip != noErr) abort();
  }
  return 0;
}
