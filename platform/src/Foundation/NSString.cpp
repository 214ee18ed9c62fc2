// NSString.cpp: the NSString messages over the bridged CFString objects.
//
// Text that is plain ASCII is the common case (encoded data, identifiers, paths) and may be
// very long, so it takes a direct path between the UTF-16 characters and the bytes when the
// encoding agrees with ASCII on it (AsciiText.h); everything else goes through
// CFStringGetBytes and CFStringCreateWithBytes, which give the same results more slowly.
#include <Foundation/Foundation.h>

#include <cstring>
#include <string>

#include "CFString/AsciiText.h"
#include "CFString/StringImpl.h"
#include "runtime/LargeBlocks.h"

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

bool IsAsciiText(const zrp::Text& text) {
  if (text.ascii()) return true;
  return text.visit([](auto units) {
    for (auto c : units)
      if (c >= 0x80) return false;
    return true;
  });
}

NSString* Autoreleased(CFStringRef string) {
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

// A new string of the bytes in the encoding, or NULL when they are not valid in it.
// (ASCII text becomes a string of its bytes as they are, whatever encoding that agrees with
// ASCII it is given in.)
CFStringRef CreateString(const char* bytes, size_t length, CFStringEncoding encoding) {
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
  if (AgreesWithAscii(cfEncoding) && IsAsciiText(string->text)) return true;
  CFIndex length = CFStringGetLength(string);
  // With no loss byte, the conversion stops at the first character the encoding lacks.
  CFIndex converted = CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, nullptr, 0, nullptr);
  return converted == length;
}

const char* cStringUsingEncoding(NSString* string, NSStringEncoding encoding) {
  CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (cfEncoding == kCFStringEncodingInvalidId) return nullptr;
  CFIndex length = CFStringGetLength(string);
  // The bytes live in a data object of the current autorelease pool, as the platform's inner
  // buffer does. The terminator is four zero bytes, enough for the 16- and 32-bit encodings.
  const CFIndex kTerminator = 4;
  CFMutableDataRef buffer = CFDataCreateMutable(kCFAllocatorDefault, 0);
  if (!buffer) return nullptr;
  // ASCII text, where the encoding agrees with ASCII, is checked while it is narrowed, in one
  // pass; the new bytes of the buffer are zero, so its terminator is in place already.
  bool narrowed = false;
  // (A string of bytes already goes through CFStringGetBytes at the speed of a copy.)
  if (AgreesWithAscii(cfEncoding) && string->text.wide()) {
    CFDataSetLength(buffer, length + kTerminator);
    UInt8* bytes = CFDataGetMutableBytePtr(buffer);
    zrp::PopulateLargeBlock(bytes, static_cast<size_t>(length));
    narrowed = zrp::NarrowAscii(string->text.units(), bytes);
  }
  if (!narrowed) {
    CFIndex size = 0;
    CFIndex converted = CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, nullptr, 0, &size);
    if (converted != length) {
      CFRelease(buffer);
      return nullptr;
    }
    CFDataSetLength(buffer, size + kTerminator);
    UInt8* bytes = CFDataGetMutableBytePtr(buffer);
    CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, bytes, size, nullptr);
    std::memset(bytes + size, 0, kTerminator);
  }
  CFAutorelease(buffer);
  return reinterpret_cast<const char*>(CFDataGetBytePtr(buffer));
}

}  // namespace ns
