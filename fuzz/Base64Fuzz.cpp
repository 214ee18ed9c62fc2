// Base64Fuzz.cpp: the NSData category's Base64 decoder on arbitrary text, and round trips:
// whatever the decoder makes of the text re-encodes to text that decodes to the same bytes,
// and dataWithBase64String(base64String(bytes)) gives the bytes back.
#include <ZRFramework/ZRFramework.h>

#include <cstdlib>
#include <string>

namespace {

std::string Bytes(NSData* data) { return std::string(static_cast<const char*>(ns::bytes(data)), ns::length(data)); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NSAutoreleasePool pool;

  CFStringRef string =
      CFStringCreateWithBytes(nullptr, data, static_cast<CFIndex>(size), kCFStringEncodingISOLatin1, false);
  if (!string) abort();
  NSData* decoded = ZR::dataWithBase64String(const_cast<NSString*>(string));
  CFRelease(string);
  if (!decoded) abort();  // never nil
  NSString* again = ZR::base64String(decoded);
  if (!again) abort();
  NSData* twice = ZR::dataWithBase64String(again);
  if (!twice || Bytes(twice) != Bytes(decoded)) abort();

  std::string input(reinterpret_cast<const char*>(data), size);
  NSString* encoded = ZR::base64String(ns::dataWithBytes(data, size));
  if (!encoded) abort();
  NSData* roundTrip = ZR::dataWithBase64String(encoded);
  if (!roundTrip || Bytes(roundTrip) != input) abort();
  return 0;
}
