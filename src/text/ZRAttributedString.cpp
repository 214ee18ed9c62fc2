// ZRAttributedString.cpp: a string dressed with the system font at a given size.
#include <AppKit/NSFont.h>
#include <ZRFramework/ZRFramework.h>

#include "diagnostics/Frame.h"

extern "C" {

// The font comes autoreleased, so the calling thread needs an autorelease pool; any thread
// that has one may call this function.
OSStatus ZRCopyAttributedStringRefOfStringRef(CFStringRef inStringRef, float inFontSize,
                                              CFAttributedStringRef* outAttributedStringRef, Boolean inLog) {
  CFDictionaryRef attributesRef = NULL;
  ZR_CLEANUP { ZRDestroyDictionaryRef(&attributesRef); };

  if (!inStringRef || !outAttributedStringRef || *outAttributedStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringRef: %p, outAttributedStringRef: %p"), inStringRef, outAttributedStringRef);
    return paramErr;
  }

  NSFontRef font = NSFont::systemFontOfSize(inFontSize);
  if (!font) {
    ZR_LOG_ERROR(inLog, CFSTR("font is nil"));
    return unknownErr;
  }

  const void* keys[] = {NSFontAttributeName};
  const void* values[] = {font};
  attributesRef =
      CFDictionaryCreate(NULL, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  if (!attributesRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFDictionaryCreate returns NULL"));
    return unknownErr;
  }

  *outAttributedStringRef = CFAttributedStringCreate(NULL, inStringRef, attributesRef);
  if (!*outAttributedStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFAttributedStringCreate returns NULL"));
    return unknownErr;
  }

  return noErr;
}

}  // extern "C"
