// Base32StringFuzz.cpp: the NSData category's Base32 decoder on arbitrary text, and round
// trips through its encoder: accepted text re-encodes to itself in upper case, and
// dataWithBase32String(base32String(bytes)) gives the bytes back.
#include <ZRFramework/ZRFramework.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "FuzzSupport.h"

namespace {

using zrfuzz::Bytes;

std::string Text(NSString* string) {
  const char* text = ns::cStringUsingEncoding(string, NSASCIIStringEncoding);
  if (!text) abort();
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NSAutoreleasePool pool;

  CFStringRef string = zrfuzz::CreateLatin1String(data, size);
  NSData* decoded = ZR::dataWithBase32String(const_cast<NSString*>(string));
  if (decoded) {
    std::string upper = Text(const_cast<NSString*>(string));
    for (char& c : upper) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    // An embedded NUL ends the text, as for a C string.
    upper.resize(std::strlen(upper.c_str()));
    NSString* again = ZR::base32String(decoded);
    if (!again || Text(again) != upper) abort();
  }
  CFRelease(string);

  std::string input(reinterpret_cast<const char*>(data), size);
  NSString* encoded = ZR::base32String(ns::dataWithBytes(data, size));
  if (!encoded) abort();
  NSData* roundTrip = ZR::dataWithBase32String(encoded);
  if (!roundTrip || Bytes(roundTrip) != input) abort();
  return 0;
}
