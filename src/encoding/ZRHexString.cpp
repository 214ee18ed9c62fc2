// ZRHexString.cpp: data objects as lower-case hexadecimal text and back, and as handles.
#include <ZRFramework/ZRFramework.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "diagnostics/Frame.h"
#include "encoding/AsciiBlocks.h"

namespace {

// The value of each 7-bit character as a hex digit; every other character counts as 0.
const UInt8 kHexLookupBuffer[128] = {
    0, 0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 0, 0, 0,   // '0'-'9'
    0, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,   // 'A'-'F'
    0, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};  // 'a'-'f'
static_assert(sizeof(kHexLookupBuffer) == 128);

// Decodes `count` pairs of digits into `out`: each character through the table, any that is not
// a digit counting as 0.
void DecodePairs(const unsigned char* digits, size_t count, UInt8* out) {
  for (size_t i = 0; i < count; ++i) {
    out[i] = static_cast<UInt8>(((kHexLookupBuffer[digits[2 * i] & 0x7F] << 4) & 0xF0) |
                                kHexLookupBuffer[digits[2 * i + 1] & 0x7F]);
  }
}

// Decodes the `count` pairs of the string's characters into `out`, reading them a block at a
// time; false when a character is not ASCII or is a backslash, which the lossless ASCII form
// escapes (the bytes before it are written).
bool DecodePlainText(CFStringRef string, CFIndex count, UInt8* out) {
  zr::internal::AsciiBlocks text(string);
  size_t length = 2 * static_cast<size_t>(count);
  for (size_t position = 0; position < length; position += zr::internal::AsciiBlocks::kBlockSize) {
    size_t blockLength = std::min(length - position, zr::internal::AsciiBlocks::kBlockSize);
    const UInt8* block = text.Block(position, blockLength);
    if (!block || std::memchr(block, '\\', blockLength)) return false;
    DecodePairs(block, blockLength / 2, out + position / 2);
  }
  return true;
}

}  // namespace

OSStatus ZRCopyHexStringRefOfDataRef(CFDataRef inDataRef, Boolean inLog, CFMutableStringRef* outStringRef) {
  OSStatus status = noErr;
  // Every failure ends by emptying the caller's slot, the argument failure included: a string
  // the caller left in the slot is released then too.
  ZR_CLEANUP {
    if (status != noErr) ZRDestroyMutableStringRef(outStringRef);
  };

  if (!inDataRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inDataRef: %p, outStringRef: %p"), inDataRef, outStringRef);
    return status = paramErr;
  }

  const UInt8* bytes = CFDataGetBytePtr(inDataRef);
  if (!bytes) {
    ZR_LOG_ERROR(inLog, CFSTR("CFDataGetBytePtr returns NULL"));
    return status = unknownErr;
  }

  *outStringRef = CFStringCreateMutable(kCFAllocatorDefault, 0);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateMutable returns NULL"));
    return status = unknownErr;
  }

  // The format is looked up once, not once per byte.
  CFStringRef byteFormat = CFSTR("%02x");
  for (CFIndex index = 0; index < CFDataGetLength(inDataRef); ++index) {
    CFStringAppendFormat(*outStringRef, NULL, byteFormat, static_cast<unsigned int>(bytes[index]));
  }
  return status;
}

OSStatus ZRCopyHandleOfDataRef(CFDataRef inDataRef, Handle* outHandle, Boolean inLog) {
  if (!inDataRef || !outHandle || *outHandle) {
    ZR_LOG_ERROR(inLog, CFSTR("inDataRef: %p, outHandle: %p"), inDataRef, outHandle);
    return paramErr;
  }

  // An empty data object gives no handle, on purpose.
  CFIndex length = CFDataGetLength(inDataRef);
  if (length <= 0) {
    ZR_LOG_ERROR(inLog, CFSTR("CFDataGetLength returns %i"), static_cast<int>(length));
    return unknownErr;
  }

  *outHandle = NewHandle(length);
  if (!*outHandle) {
    ZR_LOG_ERROR(inLog, CFSTR("NewHandle returns NULL"));
    return unknownErr;
  }

  memmove(**outHandle, CFDataGetBytePtr(inDataRef), static_cast<size_t>(length));
  return noErr;
}

OSStatus ZRCopyDataRefOfHexStringRef(CFStringRef inHexStringRef, Boolean inLog, CFDataRef* outDataRef) {
  CFStringRef hexStringRef = NULL;
  char* hexBuffer = NULL;
  UInt8* bytes = NULL;
  ZR_CLEANUP {
    free(bytes);
    free(hexBuffer);
    ZRDestroyStringRef(&hexStringRef);
  };

  if (!inHexStringRef || !outDataRef || *outDataRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inHexStringRef: %p, outDataRef: %p"), inHexStringRef, outDataRef);
    return paramErr;
  }

  // An odd length is padded on the left, so that "abc" reads as 0x0A 0xBC.
  CFIndex length = CFStringGetLength(inHexStringRef);
  CFIndex count;
  if (length % 2 != 0) {
    hexStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("0%@"), inHexStringRef);
    count = (length + 1) / 2;
  } else {
    hexStringRef = static_cast<CFStringRef>(CFRetain(inHexStringRef));
    count = length / 2;
  }
  if (!hexStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("hexStringRef is NULL"));
    return unknownErr;
  }

  bytes = static_cast<UInt8*>(calloc(static_cast<size_t>(count), 1));
  if (!bytes) {
    ZR_LOG_ERROR(inLog, CFSTR("calloc returns NULL"));
    return unknownErr;
  }

  // Text of ASCII characters without a backslash, the common case, is its own lossless ASCII
  // form: its pairs are read from the string itself, without a C-string copy of all of it.
  if (length % 2 != 0 || length == 0 || !DecodePlainText(hexStringRef, count, bytes)) {
    // The lossless ASCII form escapes every other character with ASCII characters, so each
    // byte of the buffer is a 7-bit code.
    OSStatus status = ZRCopyCBufferOfStringRef(hexStringRef, kCFStringEncodingNonLossyASCII, &hexBuffer, inLog);
    if (status != noErr) {
      ZR_LOG_ERROR(inLog, CFSTR("ZRCopyCBufferOfStringRef returns %i"), static_cast<int>(status));
      return status;
    }
    // The pairs are counted from the string's length, not the buffer's: where escapes made the
    // buffer longer, its tail is never read.
    DecodePairs(reinterpret_cast<const unsigned char*>(hexBuffer), static_cast<size_t>(count), bytes);
  }

  // The data object takes the block as its own rather than a copy of it: a copy would write
  // every byte again, into memory as fresh as the block's. Its failure is that of making the
  // data object.
  *outDataRef = CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytes, count, kCFAllocatorMalloc);
  if (!*outDataRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFDataCreate returns NULL"));
    return unknownErr;
  }
  bytes = NULL;
  return noErr;
}
