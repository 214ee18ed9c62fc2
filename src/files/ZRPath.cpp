// ZRPath.cpp: path forms: the last-component test, POSIX paths to tilde paths and back (the home
// folder is always "/Users/" and the login name), HFS paths to POSIX paths, and the name of the
// item of a file reference.
#include <ZRFramework/ZRFramework.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diagnostics/Frame.h"

Boolean ZRPathBufferHasLastPathComponentBuffer(const char* inPathBuffer, const char* inLastPathComponentBuffer,
                                               Boolean inLog) {
  if (!inPathBuffer || !inLastPathComponentBuffer) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, inLastPathComponentBuffer: %p"), inPathBuffer,
                 inLastPathComponentBuffer);
    return false;
  }
  size_t pathLength = strlen(inPathBuffer);
  size_t componentLength = strlen(inLastPathComponentBuffer);
  if (pathLength <= componentLength) return false;
  const char* tail = inPathBuffer + pathLength - componentLength;
  return tail[-1] == '/' && strncmp(tail, inLastPathComponentBuffer, componentLength) == 0;
}

OSStatus ZRCopyTildedPathStringRefOfPathBuffer(const char* inPathBuffer, CFStringRef* outTildedPathStringRef,
                                               Boolean inLog) {
  if (!inPathBuffer || !outTildedPathStringRef || *outTildedPathStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, outTildedPathStringRef: %p"), inPathBuffer, outTildedPathStringRef);
    return paramErr;
  }

  char buffer[1024];
  // Without a login name there is no home folder to match: the path comes back as it is.
  const char* loginName = getlogin();
  if (loginName) {
    int homeLength = snprintf(buffer, sizeof buffer, "/Users/%s", loginName);
    if (homeLength <= 0) {
      ZR_LOG_ERROR(inLog, CFSTR("snprintf returns %i"), homeLength);
      return unknownErr;
    }
    size_t pathLength = strlen(inPathBuffer);
    size_t home = static_cast<size_t>(homeLength);
    if (pathLength == home && strncmp(inPathBuffer, buffer, home) == 0) {
      *outTildedPathStringRef = CFSTR("~");
    } else if (pathLength > home && strncmp(inPathBuffer, buffer, home) == 0) {
      // No "/" is required after the home folder: "/Users/annabel" is "~bel" for "anna".
      snprintf(buffer, sizeof buffer, "~%s", inPathBuffer + home);
      *outTildedPathStringRef = CFStringCreateWithCString(kCFAllocatorDefault, buffer, kCFStringEncodingUTF8);
    }
  }

  if (!*outTildedPathStringRef) {
    *outTildedPathStringRef = CFStringCreateWithCString(kCFAllocatorDefault, inPathBuffer, kCFStringEncodingUTF8);
    if (!*outTildedPathStringRef) {
      ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateWithCString returns NULL"));
      return unknownErr;
    }
  }
  return noErr;
}

OSStatus ZRCopyTildedPathStringRefOfPathStringRef(CFStringRef inPathStringRef, CFStringRef* outTildedPathStringRef,
                                                  Boolean inLog) {
  char* pathBuffer = NULL;
  ZR_CLEANUP { free(pathBuffer); };

  if (!inPathStringRef || !outTildedPathStringRef || *outTildedPathStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathStringRef: %p, outTildedPathStringRef: %p"), inPathStringRef,
                 outTildedPathStringRef);
    return paramErr;
  }

  OSStatus status = ZRCopyCBufferOfStringRef(inPathStringRef, kCFStringEncodingUTF8, &pathBuffer, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyCBufferOfStringRef returns %@ for '%@'"), ZRCarbonErrorString(status),
                 inPathStringRef);
    return status;
  }

  status = ZRCopyTildedPathStringRefOfPathBuffer(pathBuffer, outTildedPathStringRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyTildedPathStringRefOfPathBuffer returns %@"), ZRCarbonErrorString(status));
    return status;
  }
  return noErr;
}

NSString* ZRTildedPathStringOfPathString(NSString* inPathString) {
  CFStringRef stringRef = NULL;
  if (ZRCopyTildedPathStringRefOfPathStringRef(inPathString, &stringRef, true) != noErr) return NULL;
  return static_cast<NSString*>(const_cast<void*>(CFAutorelease(stringRef)));
}

OSStatus ZRCopyPathStringRefOfTildedPathStringRef(CFStringRef inTildedPathStringRef, CFStringRef* outStringRef,
                                                  Boolean inLog) {
  CFStringRef restStringRef = NULL;
  CFStringRef loginStringRef = NULL;
  ZR_CLEANUP {
    ZRDestroyStringRef(&restStringRef);
    ZRDestroyStringRef(&loginStringRef);
  };

  if (!inTildedPathStringRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inTildedPathStringRef: %p, outStringRef: %p"), inTildedPathStringRef, outStringRef);
    return paramErr;
  }

  CFIndex length = CFStringGetLength(inTildedPathStringRef);
  if (length > 2 && CFStringHasPrefix(inTildedPathStringRef, CFSTR("~/"))) {
    restStringRef = CFStringCreateWithSubstring(kCFAllocatorDefault, inTildedPathStringRef, CFRangeMake(2, length - 2));
    const char* loginName = getlogin();
    if (loginName) loginStringRef = CFStringCreateWithCString(kCFAllocatorDefault, loginName, kCFStringEncodingUTF8);
    if (restStringRef && loginStringRef) {
      *outStringRef =
          CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("/Users/%@/%@"), loginStringRef, restStringRef);
    }
  } else {
    // "~", "~/" and everything that does not start with "~/" come back as they are.
    *outStringRef = static_cast<CFStringRef>(CFRetain(inTildedPathStringRef));
  }

  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("*outStringRef is NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyPathStringRefOfHFSPathStringRef(CFStringRef inHFSPathStringRef, CFStringRef* outPathStringRef,
                                               Boolean inLog) {
  CFURLRef urlRef = NULL;
  ZR_CLEANUP { ZRDestroyURLRef(&urlRef); };

  if (!inHFSPathStringRef || !outPathStringRef || *outPathStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inHFSPathStringRef: %p, outPathStringRef: %p"), inHFSPathStringRef, outPathStringRef);
    return paramErr;
  }

  urlRef = CFURLCreateWithFileSystemPath(NULL, inHFSPathStringRef, kCFURLHFSPathStyle, false);
  if (!urlRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFURLCreateWithFileSystemPath returns NULL"));
    return unknownErr;
  }

  *outPathStringRef = CFURLCopyFileSystemPath(urlRef, kCFURLPOSIXPathStyle);
  if (!*outPathStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFURLCopyFileSystemPath returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyNameStringRefOfFSRef(const FSRef* inFSRef, CFStringRef* outStringRef, Boolean inLog) {
  // The slot is overwritten, not tested for being empty.
  if (!inFSRef || !outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inFSRef: %p, outStringRef: %p"), inFSRef, outStringRef);
    return paramErr;
  }

  HFSUniStr255 name;
  OSStatus status = FSGetCatalogInfo(inFSRef, kFSCatInfoNone, NULL, &name, NULL, NULL);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("FSGetCatalogInfo returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  *outStringRef = CFStringCreateWithCharacters(NULL, name.unicode, name.length);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateWithCharacters returns NULL"));
    return unknownErr;
  }
  return noErr;
}

NSString* ZRNameStringOfFSRef(const FSRef* inFSRef) {
  CFStringRef stringRef = NULL;
  if (ZRCopyNameStringRefOfFSRef(inFSRef, &stringRef, true) != noErr) return NULL;
  return static_cast<NSString*>(const_cast<void*>(CFAutorelease(stringRef)));
}
