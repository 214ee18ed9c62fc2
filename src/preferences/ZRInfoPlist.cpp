// ZRInfoPlist.cpp: string values of the application's information property list, read from the
// file itself on every call rather than from the bundle's cached information dictionary.
#include "diagnostics/Frame.h"

extern "C" {

OSStatus ZRCopyStringRefOfInfoPlistKey(CFStringRef inKeyStringRef, Boolean inLog, CFStringRef* outStringRef) {
  CFURLRef bundleURLRef = NULL;
  CFURLRef fileURLRef = NULL;
  CFReadStreamRef streamRef = NULL;
  CFPropertyListRef propertyListRef = NULL;
  ZR_CLEANUP {
    ZRDestroyURLRef(&bundleURLRef);
    ZRDestroyURLRef(&fileURLRef);
    ZRDestroyReadStreamRef(&streamRef);
    ZRDestroyPropertyListRef(&propertyListRef);
  };

  if (inKeyStringRef == NULL || outStringRef == NULL || *outStringRef != NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("inKeyStringRef: %p, outStringRef: %p"), inKeyStringRef, outStringRef);
    return paramErr;
  }
  CFBundleRef bundleRef = CFBundleGetMainBundle();
  if (bundleRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFBundleGetMainBundle returns NULL"));
    return unknownErr;
  }
  bundleURLRef = CFBundleCopyBundleURL(bundleRef);
  if (bundleURLRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFBundleCopyBundleURL returns NULL"));
    return unknownErr;
  }
  fileURLRef =
      CFURLCreateCopyAppendingPathComponent(kCFAllocatorDefault, bundleURLRef, CFSTR("Contents/Info.plist"), false);
  if (fileURLRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFURLCreateCopyAppendingPathComponent returns NULL"));
    return unknownErr;
  }
  streamRef = CFReadStreamCreateWithFile(kCFAllocatorDefault, fileURLRef);
  if (streamRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFReadStreamCreateWithFile returns NULL"));
    return unknownErr;
  }
  // A file that does not open is told as the parse that could not happen.
  if (CFReadStreamOpen(streamRef)) {
    CFPropertyListFormat format = kCFPropertyListXMLFormat_v1_0;
    propertyListRef =
        CFPropertyListCreateFromStream(kCFAllocatorDefault, streamRef, 0, kCFPropertyListImmutable, &format, NULL);
    CFReadStreamClose(streamRef);
  }
  if (propertyListRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFPropertyListCreateFromStream returns NULL"));
    return unknownErr;
  }
  if (!ZRTypeRefIsDictionaryRef(propertyListRef)) {
    ZR_LOG_ERROR(inLog, CFSTR("CFPropertyListCreateFromStream returns false type (%i)"),
                 static_cast<int>(CFGetTypeID(propertyListRef)));
    return unknownErr;
  }
  CFStringRef valueRef = ZRGetStringRefOfDictionaryRef(static_cast<CFDictionaryRef>(propertyListRef), inKeyStringRef);
  if (valueRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRGetStringRefOfDictionaryRef returns NULL"));
    return unknownErr;
  }
  *outStringRef = CFStringCreateCopy(kCFAllocatorDefault, valueRef);
  if (*outStringRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateCopy returns NULL"));
    return unknownErr;
  }
  return noErr;
}

}  // extern "C"
