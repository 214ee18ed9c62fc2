// Base64Fuzz.cpp: the NSData category's Base64 decoder on arbitrary text, and round trips:
// whatever the decoder makes of the text re-encodes to text that decodes to the same bytes,
// and dataWithBase64String(base64String(bytes)) gives the bytes back.
#include <ZRFramework/ZRFramework.h>

#include <cstdlib>
#include <string>

#include "FuzzSupport.h"

using zrfuzz::Bytes;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NSAutoreleasePool pool;

  CFStringRef string = zrfuzz::CreateLatin1String(data, size);
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
