// NSString.cpp: the NSString messages over the bridged CFString objects.
#include <Foundation/Foundation.h>

namespace ns {

NSString* stringWithCString(const char* cString, NSStringEncoding encoding) {
  CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (!cString || cfEncoding == kCFStringEncodingInvalidId) return nil;
  CFStringRef string = CFStringCreateWithCString(kCFAllocatorDefault, cString, cfEncoding);
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

NSString* stringWithCStringLength(const char* cString, NSUInteger length) {
  // No bytes at all may come without a buffer: that is the empty string.
  if (!cString && length > 0) return nil;
  if (!cString) cString = "";
  CFStringRef string = CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(cString),
                                               static_cast<CFIndex>(length), CFStringGetSystemEncoding(), false);
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

NSUInteger length(NSString* string) { return static_cast<NSUInteger>(CFStringGetLength(string)); }

bool canBeConvertedToEncoding(NSString* string, NSStringEncoding encoding) {
  CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (cfEncoding == kCFStringEncodingInvalidId) return false;
  CFIndex length = CFStringGetLength(string);
  // With no loss byte, the conversion stops at the first character the encoding lacks.
  CFIndex converted = CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, nullptr, 0, nullptr);
  return converted == length;
}

const char* cStringUsingEncoding(NSString* string, NSStringEncoding encoding) {
  CFStringEncoding cfEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (cfEncoding == kCFStringEncodingInvalidId) return nullptr;
  CFIndex length = CFStringGetLength(string);
  CFIndex size = 0;
  CFIndex converted = CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, nullptr, 0, &size);
  if (converted != length) return nullptr;
  // The bytes live in a data object of the current autorelease pool, as the platform's inner
  // buffer does. The terminator is four zero bytes, enough for the 16- and 32-bit encodings.
  const CFIndex kTerminator = 4;
  CFMutableDataRef buffer = CFDataCreateMutable(kCFAllocatorDefault, 0);
  if (!buffer) return nullptr;
  CFDataSetLength(buffer, size + kTerminator);
  UInt8* bytes = CFDataGetMutableBytePtr(buffer);
  CFStringGetBytes(string, CFRangeMake(0, length), cfEncoding, 0, false, bytes, size, nullptr);
  CFAutorelease(buffer);
  return reinterpret_cast<const char*>(bytes);
}

}  // namespace ns
