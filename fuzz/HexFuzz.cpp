// HexFuzz.cpp: the hexadecimal decoder on arbitrary text, and round trips through the
// encoder: the decoded bytes re-encode to text that decodes to the same bytes (and to the
// lower-case text itself when it was even-length hexadecimal), and decoding the encoding of
// any bytes gives them back.
#include <ZRFramework/ZRFramework.h>

#include <cstdlib>
#include <string>

#include "FuzzSupport.h"

namespace {

using zrfuzz::Bytes;

CFDataRef DecodeString(CFStringRef string) {
  CFDataRef data = nullptr;
  if (ZRCopyDataRefOfHexStringRef(string, false, &data) != noErr) {
    if (data) abort();
    return nullptr;
  }
  return data;
}

CFMutableStringRef Encode(CFDataRef data) {
  CFMutableStringRef string = nullptr;
  if (ZRCopyHexStringRefOfDataRef(data, false, &string) != noErr) abort();
  return string;
}

std::string Ascii(CFStringRef string) {
  std::string text(static_cast<size_t>(CFStringGetLength(string)) + 1, '\0');
  if (!CFStringGetCString(string, text.data(), static_cast<CFIndex>(text.size()), kCFStringEncodingASCII)) abort();
  text.pop_back();
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NSAutoreleasePool pool;

  CFStringRef string = zrfuzz::CreateLatin1String(data, size);
  CFDataRef decoded = DecodeString(string);
  if (decoded) {
    if (CFDataGetLength(decoded) != (CFStringGetLength(string) + 1) / 2) abort();
    CFMutableStringRef again = Encode(decoded);
    CFDataRef twice = DecodeString(again);
    if (!twice || Bytes(twice) != Bytes(decoded)) abort();
    std::string input(reinterpret_cast<const char*>(data), size);
    if (size % 2 == 0 && input.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
      for (char& c : input) c = static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
      if (Ascii(again) != input) abort();
    }
    CFRelease(twice);
    CFRelease(again);
    CFRelease(decoded);
  }
  CFRelease(string);

  CFDataRef bytes = CFDataCreate(nullptr, data, static_cast<CFIndex>(size));
  if (!bytes) abort();
  CFMutableStringRef encoded = Encode(bytes);
  if (size > 0) {
    CFDataRef roundTrip = DecodeString(encoded);
    if (!roundTrip || Bytes(roundTrip) != Bytes(bytes)) abort();
    CFRelease(roundTrip);
  }
  CFRelease(encoded);
  CFRelease(bytes);
  return 0;
}
