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

bool IsAscii(const char* bytes, size_t length) {
  unsigned char high = 0;
  for (size_t i = 0; i < length; ++i) high |= static_cast<unsigned char>(bytes[i]);
  return high < 0x80;
}

bool IsAscii(std::u16string_view chars) {
  char16_t high = 0;
  for (char16_t c : chars) high |= c;
  return high < 0x80;
}

NSString* Autoreleased(CFStringRef string) {
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

// A new string of the bytes in the encoding, or NULL when they are not valid in it.
CFStringRef CreateString(const char* bytes, size_t length, CFStringEncoding encoding) {
  if (AgreesWithAscii(encoding) && IsAscii(bytes, length)) return zrp::CreateString(std::u16string(bytes, bytes + length));
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes), static_cast<CFIndex>(length),
                                 encoding, false);
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
    for (CFIndex i = 0; i < length; ++i) bytes[i] = static_cast<UInt8>(chars[static_cast<size_t>(i)]);
  } else {
    CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, bytes, size, nullptr);
  }
  CFAutorelease(buffer);
  return reinterpret_cast<const char*>(bytes);
}

}  // namespace ns
