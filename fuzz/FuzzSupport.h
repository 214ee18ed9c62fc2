// FuzzSupport.h: helpers shared by the fuzz targets. A target reports a broken rule by aborting,
// which libFuzzer records as a crash with the input that caused it.
#pragma once

#include <ZRFramework/ZRFramework.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace zrfuzz {

// The data's bytes; "" for empty data.
inline std::string Bytes(CFDataRef data) {
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
}

// A new string holding each input byte as one character (ISO Latin 1), so that every input is a
// text and non-ASCII characters are tried too. Aborts when the string cannot be made.
inline CFStringRef CreateLatin1String(const uint8_t* data, size_t size) {
  CFStringRef string =
      CFStringCreateWithBytes(nullptr, data, static_cast<CFIndex>(size), kCFStringEncodingISOLatin1, false);
  if (!string) abort();
  return string;
}

}  // namespace zrfuzz
