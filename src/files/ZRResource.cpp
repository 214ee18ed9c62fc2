// ZRResource.cpp: the application's resource files, found in its main bundle: as URLs, file
// references, POSIX paths and C buffers, unlocalized or in the localization of the user's
// language; and which of the application's two languages the user prefers.
#include <ZRFramework/ZRFramework.h>

#include "diagnostics/Frame.h"

Boolean ZRGetApplicationLanguageType(void) {
  CFTypeRef languagesRef = CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication);
  CFArrayRef supportedArrayRef = NULL;
  ZR_CLEANUP {
    ZRDestroyTypeRef(&languagesRef);
    ZRDestroyArrayRef(&supportedArrayRef);
  };
  if (!languagesRef) return 0;

  const void* supported[] = {CFSTR("en"), CFSTR("de")};
  supportedArrayRef = CFArrayCreate(kCFAllocatorDefault, supported, 2, &kCFTypeArrayCallBacks);
  if (!supportedArrayRef) return 0;

  // The value is taken for an array of languages without a check, as it always is one.
  CFTypeRef firstRef =
      ZRGetFirstOccurrenceOfArrayRefInArrayRef(static_cast<CFArrayRef>(languagesRef), supportedArrayRef);
  if (!firstRef) return 0;
  return CFStringCompare(static_cast<CFStringRef>(firstRef), CFSTR("de"), 0) == kCFCompareEqualTo ? 1 : 0;
}

OSStatus ZRCopyShortLanguageStringRef(CFStringRef* outStringRef, Boolean inLog) {
  CFArrayRef supportedArrayRef = NULL;
  CFArrayRef languagesArrayRef = NULL;
  ZR_CLEANUP {
    ZRDestroyArrayRef(&supportedArrayRef);
    ZRDestroyArrayRef(&languagesArrayRef);
  };

  if (!outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("outStringRef: %p"), outStringRef);
    return paramErr;
  }

  const void* supported[] = {CFSTR("en"), CFSTR("de")};
  supportedArrayRef = CFArrayCreate(kCFAllocatorDefault, supported, 2, &kCFTypeArrayCallBacks);
  if (!supportedArrayRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFArrayCreate returns NULL"));
    return unknownErr;
  }

  languagesArrayRef = ZRCopyArrayRefOfPreferencesKey(CFSTR("AppleLanguages"));
  if (!languagesArrayRef) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyArrayRefOfPreferencesKey returns NULL"));
    return unknownErr;
  }

  CFTypeRef firstRef = ZRGetFirstOccurrenceOfArrayRefInArrayRef(languagesArrayRef, supportedArrayRef);
  if (firstRef && ZRTypeRefIsStringRef(firstRef)) {
    *outStringRef = CFStringCreateCopy(kCFAllocatorDefault, static_cast<CFStringRef>(firstRef));
  }
  // Neither language (or no memory for the copy): English.
  if (!*outStringRef) *outStringRef = CFSTR("en");
  return noErr;
}

OSStatus ZRCopyResourceURLRef(CFStringRef inResourceNameStringRef, CFURLRef* outURLRef, Boolean inLog) {
  if (!inResourceNameStringRef || !outURLRef || *outURLRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inResourceNameStringRef: %p, outURLRef: %p"), inResourceNameStringRef, outURLRef);
    return paramErr;
  }

  CFBundleRef bundleRef = CFBundleGetMainBundle();
  if (!bundleRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFBundleGetMainBundle() returns NULL"));
    return unknownErr;
  }

  *outURLRef = CFBundleCopyResourceURL(bundleRef, inResourceNameStringRef, CFSTR(""), CFSTR(""));
  if (!*outURLRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFBundleCopyResourceURL returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRGetResourceFSRef(CFStringRef inResourceNameStringRef, FSRef* outFSRef, Boolean inLog) {
  CFURLRef urlRef = NULL;
  ZR_CLEANUP { ZRDestroyURLRef(&urlRef); };

  if (!inResourceNameStringRef || !outFSRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inResourceNameStringRef: %p, outFSRef: %p"), inResourceNameStringRef, outFSRef);
    return paramErr;
  }

  OSStatus status = ZRCopyResourceURLRef(inResourceNameStringRef, &urlRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyResourceURLRef returns %i for '%@'"), static_cast<int>(status),
                 inResourceNameStringRef);
    return status;
  }

  if (!CFURLGetFSRef(urlRef, outFSRef)) {
    ZR_LOG_ERROR(inLog, CFSTR("CFURLGetFSRef returns false for '%@'"), inResourceNameStringRef);
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyResourcePathStringRef(CFStringRef inResourceNameStringRef, CFStringRef* outStringRef, Boolean inLog) {
  CFURLRef urlRef = NULL;
  ZR_CLEANUP { ZRDestroyURLRef(&urlRef); };

  if (!inResourceNameStringRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inResourceNameStringRef: %p, outStringRef: %p"), inResourceNameStringRef, outStringRef);
    return paramErr;
  }

  OSStatus status = ZRCopyResourceURLRef(inResourceNameStringRef, &urlRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyResourceURLRef returns %i"), static_cast<int>(status));
    return status;
  }

  *outStringRef = CFURLCopyFileSystemPath(urlRef, kCFURLPOSIXPathStyle);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFURLCopyFileSystemPath returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyResourcePathBuffer(CFStringRef inResourceNameStringRef, char** outBuffer, Boolean inLog) {
  CFStringRef pathStringRef = NULL;
  ZR_CLEANUP { ZRDestroyStringRef(&pathStringRef); };

  if (!inResourceNameStringRef || !outBuffer || *outBuffer) {
    ZR_LOG_ERROR(inLog, CFSTR("inResourceNameStringRef: %p, outBuffer: %p"), inResourceNameStringRef, outBuffer);
    return paramErr;
  }

  OSStatus status = ZRCopyResourcePathStringRef(inResourceNameStringRef, &pathStringRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyResourcePathStringRef returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  status = ZRCopyCBufferOfStringRef(pathStringRef, kCFStringEncodingUTF8, outBuffer, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyCBufferOfStringRef returns %@"), ZRCarbonErrorString(status));
    return status;
  }
  return noErr;
}

OSStatus ZRCopyLocalizedResourceURLRef(CFStringRef inResourceNameStringRef, CFURLRef* outURLRef, Boolean inLog) {
  CFStringRef languageStringRef = NULL;
  ZR_CLEANUP { ZRDestroyStringRef(&languageStringRef); };

  if (!inResourceNameStringRef || !outURLRef || *outURLRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inResourceNameStringRef: %p, outURLRef: %p"), inResourceNameStringRef, outURLRef);
    return paramErr;
  }

  CFBundleRef bundleRef = CFBundleGetMainBundle();
  if (!bundleRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFBundleGetMainBundle returns NULL"));
    return unknownErr;
  }

  // A failure leaves the slot empty, and English is used.
  (void)ZRCopyShortLanguageStringRef(&languageStringRef, inLog);
  CFStringRef localizationStringRef =
      languageStringRef && CFStringCompare(languageStringRef, CFSTR("de"), 0) == kCFCompareEqualTo ? CFSTR("German")
                                                                                                   : CFSTR("English");

  *outURLRef =
      CFBundleCopyResourceURLForLocalization(bundleRef, inResourceNameStringRef, NULL, NULL, localizationStringRef);
  if (!*outURLRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFBundleCopyResourceURLForLocalization returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyLocalizedResourcePathStringRef(CFStringRef inResourceNameStringRef, CFStringRef* outStringRef,
                                              Boolean inLog) {
  CFURLRef urlRef = NULL;
  ZR_CLEANUP { ZRDestroyURLRef(&urlRef); };

  if (!inResourceNameStringRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inResourceNameStringRef: %p, outStringRef: %p"), inResourceNameStringRef, outStringRef);
    return paramErr;
  }

  OSStatus status = ZRCopyLocalizedResourceURLRef(inResourceNameStringRef, &urlRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyLocalizedResourceURLRef returns %i"), static_cast<int>(status));
    return status;
  }

  *outStringRef = CFURLCopyFileSystemPath(urlRef, kCFURLPOSIXPathStyle);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFURLCopyFileSystemPath returns NULL"));
    return unknownErr;
  }
  return noErr;
}
