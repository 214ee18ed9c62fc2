// NSString.cpp: the NSString messages over the bridged CFString objects.
//
// Text that is plain ASCII is the common case (encoded data, identifiers, paths) and may be
// very long, so it takes a direct path between the UTF-16 characters and the bytes when the
// encoding agrees with ASCII on it; everything else goes through CFStringGetBytes and
// CFStringCreateWithBytes, which give the same results more slowly.
#include <Foundation/Foundation.h>

#include <cstring>
#include <string>

#include "CFString/StringImpl.h"

namespace {

// Encodings in which each ASCII character is the one byte of its code, and that byte means
// that character. (Non-lossy ASCII is not one of them: it escapes the backslash.)
bool AgreesWithAscii(CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingASCII:
    case kCFStringEncodingUTF8:
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingWindowsLatin1:
      return true;
    default:
      return false;
  }
}

// The loops below work in blocks of a fixed size, which compilers turn into vector code.
constexpr size_t kBlock = 64;

bool IsAscii(const char* bytes, size_t length) {
  unsigned char high = 0;
  size_t i = 0;
  for (; i + kBlock <= length; i += kBlock) {
    for (size_t k = 0; k < kBlock; ++k) high |= static_cast<unsigned char>(bytes[i + k]);
    if (high >= 0x80) return false;
  }
  for (; i < length; ++i) high |= static_cast<unsigned char>(bytes[i]);
  return high < 0x80;
}

bool IsAscii(std::u16string_view chars) {
  char16_t high = 0;
  size_t i = 0;
  for (; i + kBlock <= chars.size(); i += kBlock) {
    for (size_t k = 0; k < kBlock; ++k) high |= chars[i + k];
    if (high >= 0x80) return false;
  }
  for (; i < chars.size(); ++i) high |= chars[i];
  return high < 0x80;
}

// The ASCII characters as bytes, one each. (The pointers do not overlap: saying so lets the
// compiler convert many at a time.)
void Narrow(const char16_t* __restrict chars, size_t length, UInt8* __restrict out) {
  size_t i = 0;
  for (; i + kBlock <= length; i += kBlock) {
    for (size_t k = 0; k < kBlock; ++k) out[i + k] = static_cast<UInt8>(chars[i + k]);
  }
  for (; i < length; ++i) out[i] = static_cast<UInt8>(chars[i]);
}

void WidenInto(const unsigned char* __restrict bytes, size_t length, char16_t* __restrict out) {
  size_t i = 0;
  for (; i + kBlock <= length; i += kBlock) {
    for (size_t k = 0; k < kBlock; ++k) out[i + k] = bytes[i + k];
  }
  for (; i < length; ++i) out[i] = bytes[i];
}

// The ASCII bytes as characters, one each.
std::u16string Widen(const char* bytes, size_t length) {
  std::u16string chars(length, u'\0');
  WidenInto(reinterpret_cast<const unsigned char*>(bytes), length, chars.data());
  return chars;
}

NSString* Autoreleased(CFStringRef string) {
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

// A new string of the bytes in the encoding, or NULL when they are not valid in it.
CFStringRef CreateString(const char* bytes, size_t length, CFStringEncoding encoding) {
  if (AgreesWithAscii(encoding) && IsAscii(bytes, length)) return zrp::CreateString(Widen(bytes, length));
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes),
                                 static_cast<CFIndex>(length), encoding, false);
}

}  // namespace

namespace ns {

NSString* stringWithCString(const char* cString, NSStringEncoding encoding) {
  CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (!cString || cfEncoding == kCFStringEncodingInvalidId) return nil;
  return Autoreleased(CreateString(cString, std::strlen(cString), cfEncoding));
}

NSString* stringWithCStringLength(const char* cString, NSUInteger length) {
  // No bytes at all may come without a buffer: that is the empty string.
  if (!cString && length > 0) return nil;
  if (!cString) cString = "";
  return Autoreleased(CreateString(cString, length, CFStringGetSystemEncoding()));
}

NSUInteger length(NSString* string) { return static_cast<NSUInteger>(CFStringGetLength(string)); }

bool canBeConvertedToEncoding(NSString* string, NSStringEncoding encoding) {
  CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (cfEncoding == kCFStringEncodingInvalidId) return false;
  if (AgreesWithAscii(cfEncoding) && IsAscii(zrp::View(string))) return true;
  CFIndex length = CFStringGetLength(string);
  // With no loss byte, the conversion stops at the first character the encoding lacks.
  CFIndex converted = CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, nullptr, 0, nullptr);
  return converted == length;
}

const char* cStringUsingEncoding(NSString* string, NSStringEncoding encoding) {
  CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (cfEncoding == kCFStringEncodingInvalidId) return nullptr;
  std::u16string_view chars = zrp::View(string);
  bool ascii = AgreesWithAscii(cfEncoding) && IsAscii(chars);
  CFIndex length = static_cast<CFIndex>(chars.size());
  CFIndex size = length;
  if (!ascii) {
    CFIndex converted = CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, nullptr, 0, &size);
    if (converted != length) return nullptr;
  }
  // The bytes live in a data object of the current autorelease pool, as the platform's inner
  // buffer does. The terminator is four zero bytes, enough for the 16- and 32-bit encodings.
  const CFIndex kTerminator = 4;
  CFMutableDataRef buffer = CFDataCreateMutable(kCFAllocatorDefault, 0);
  if (!buffer) return nullptr;
  CFDataSetLength(buffer, size + kTerminator);
  UInt8* bytes = CFDataGetMutableBytePtr(buffer);
  if (ascii) {
    Narrow(chars.data(), chars.size(), bytes);
  } else {
    CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, bytes, size, nullptr);
  }
  CFAutorelease(buffer);
  return reinterpret_cast<const char*>(bytes);
}

}  // namespace ns
