// ZRExtendedAttribute.cpp: typed values kept in a file's extended attributes: raw bytes, or an
// XML property list for every other kind. Reading goes data, property list, typed reference,
// plain value; writing ends in the data or the property-list setter.
#include <ZRFramework/ZRFramework.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstdlib>

#include "diagnostics/Frame.h"

namespace {

using zr::internal::LogError;

// A missing attribute is reported to the caller but never logged, at any layer.
bool IsMissing(OSStatus status) { return status == errFSAttributeNotFound; }

// The string, number and Boolean getters: read a property list, check its kind, hand it out.
// `function` is the exported function's name for its ERROR lines; `outName` names its
// out-parameter; `typeName` the kind's type-identifier function; `statusAsText` tells whether
// the lower status is printed as text (%@) or as a number (%i).
template <class Ref>
OSStatus CopyTypedReference(const char* function, const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                            Ref* outRef, Boolean inLog, CFStringRef argumentFormat, CFTypeID typeID,
                            CFStringRef typeFormat, bool statusAsText) {
  CFPropertyListRef propertyListRef = NULL;
  ZR_CLEANUP { ZRDestroyPropertyListRef(&propertyListRef); };

  if (!inPathBuffer || !inExtendedAttributeBuffer || !outRef || *outRef) {
    if (inLog) LogError(function, __LINE__, argumentFormat, inPathBuffer, inExtendedAttributeBuffer, outRef);
    return paramErr;
  }

  OSStatus status = ZRCopyExtendedAttributePropertyListRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer,
                                                                       &propertyListRef, inLog);
  if (status != noErr) {
    if (inLog && !IsMissing(status)) {
      if (statusAsText) {
        LogError(function, __LINE__, CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %@"),
                 ZRCarbonErrorString(status));
      } else {
        LogError(function, __LINE__, CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %i"),
                 static_cast<int>(status));
      }
    }
    return status;
  }

  CFTypeID foundTypeID = CFGetTypeID(propertyListRef);
  if (foundTypeID != typeID) {
    if (inLog) LogError(function, __LINE__, typeFormat, static_cast<int>(foundTypeID));
    return unknownErr;
  }

  *outRef = static_cast<Ref>(CFRetain(propertyListRef));
  if (!*outRef) {
    if (inLog) LogError(function, __LINE__, CFSTR("CFRetain returns NULL"));
    return unknownErr;
  }
  return noErr;
}

// The number value getters: the default unless a number reads and converts. A lossy
// conversion still gives what CFNumberGetValue stored.
template <class Value>
Value GetNumberValue(const char* function, const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                     CFNumberType numberType, Value inDefault, Boolean inLog) {
  Value result = inDefault;
  CFNumberRef numberRef = NULL;
  ZR_CLEANUP { ZRDestroyNumberRef(&numberRef); };

  if (!inPathBuffer || !inExtendedAttributeBuffer) {
    if (inLog) {
      LogError(function, __LINE__, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p"), inPathBuffer,
               inExtendedAttributeBuffer);
    }
    return result;
  }

  OSStatus status =
      ZRCopyExtendedAttributeNumberRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, &numberRef, inLog);
  if (status != noErr) {
    if (inLog && !IsMissing(status)) {
      LogError(function, __LINE__, CFSTR("ZRCopyExtendedAttributeNumberRefOfPathBuffer returns %i"),
               static_cast<int>(status));
    }
    return result;
  }

  if (!CFNumberGetValue(numberRef, numberType, &result) && inLog) {
    LogError(function, __LINE__, CFSTR("CFNumberGetValue returns false, CFNumberGetType returns %i"),
             static_cast<int>(CFNumberGetType(numberRef)));
  }
  return result;
}

}  // namespace

// ----- Setters -----

OSStatus ZRSetExtendedAttributeDataRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                   CFDataRef inDataRef, Boolean inLog) {
  if (!inPathBuffer || !inExtendedAttributeBuffer || !inDataRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inDataRef: %p"), inPathBuffer,
                 inExtendedAttributeBuffer, inDataRef);
    return paramErr;
  }

  if (setxattr(inPathBuffer, inExtendedAttributeBuffer, CFDataGetBytePtr(inDataRef),
               static_cast<size_t>(CFDataGetLength(inDataRef)), 0, XATTR_NOFOLLOW) != 0) {
    // The attribute's name comes before the path in this message.
    ZR_LOG_ERROR(inLog, CFSTR("setxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(errno),
                 inExtendedAttributeBuffer, inPathBuffer);
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRSetExtendedAttributePropertyListRefOfPathBuffer(const char* inPathBuffer,
                                                           const char* inExtendedAttributeBuffer,
                                                           CFPropertyListRef inPropertyListRef, Boolean inLog) {
  CFDataRef xmlDataRef = NULL;
  ZR_CLEANUP { ZRDestroyDataRef(&xmlDataRef); };

  if (!inPathBuffer || !inExtendedAttributeBuffer || !inPropertyListRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inPropertyListRef: %p"), inPathBuffer,
                 inExtendedAttributeBuffer, inPropertyListRef);
    return paramErr;
  }

  xmlDataRef = CFPropertyListCreateXMLData(kCFAllocatorDefault, inPropertyListRef);
  if (!xmlDataRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFPropertyListCreateXMLData returns NULL"));
    return unknownErr;
  }

  if (setxattr(inPathBuffer, inExtendedAttributeBuffer, CFDataGetBytePtr(xmlDataRef),
               static_cast<size_t>(CFDataGetLength(xmlDataRef)), 0, XATTR_NOFOLLOW) != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("setxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(errno),
                 inExtendedAttributeBuffer, inPathBuffer);
    return unknownErr;
  }
  return noErr;
}

// The reference setters store any property list: they do not test the value's kind.
OSStatus ZRSetExtendedAttributeStringRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                     CFStringRef inStringRef, Boolean inLog) {
  return ZRSetExtendedAttributePropertyListRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, inStringRef, inLog);
}

OSStatus ZRSetExtendedAttributeNumberRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                     CFNumberRef inNumberRef, Boolean inLog) {
  return ZRSetExtendedAttributePropertyListRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, inNumberRef, inLog);
}

OSStatus ZRSetExtendedAttributeBooleanRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                      CFBooleanRef inBooleanRef, Boolean inLog) {
  return ZRSetExtendedAttributePropertyListRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, inBooleanRef,
                                                           inLog);
}

OSStatus ZRSetExtendedAttributeNumberValueOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                       CFNumberType inNumberType, const void* inNumberValue,
                                                       Boolean inLog) {
  CFNumberRef numberRef = NULL;
  ZR_CLEANUP { ZRDestroyNumberRef(&numberRef); };

  if (!inPathBuffer || !inExtendedAttributeBuffer || !inNumberValue) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inNumberValue: %p"), inPathBuffer,
                 inExtendedAttributeBuffer, inNumberValue);
    return paramErr;
  }

  numberRef = CFNumberCreate(kCFAllocatorDefault, inNumberType, inNumberValue);
  if (!numberRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFNumberCreate returns NULL"));
    return unknownErr;
  }

  OSStatus status =
      ZRSetExtendedAttributePropertyListRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, numberRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRSetExtendedAttributeNumberRefOfPathBuffer returns %i"), static_cast<int>(status));
    return status;
  }
  return noErr;
}

OSStatus ZRSetExtendedAttributeIntegerOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                   int inInteger, Boolean inLog) {
  return ZRSetExtendedAttributeNumberValueOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, kCFNumberIntType,
                                                       &inInteger, inLog);
}

OSStatus ZRSetExtendedAttributeFloatOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                 float inFloat, Boolean inLog) {
  return ZRSetExtendedAttributeNumberValueOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, kCFNumberFloatType,
                                                       &inFloat, inLog);
}

OSStatus ZRSetExtendedAttributeDoubleOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                  double inDouble, Boolean inLog) {
  return ZRSetExtendedAttributeNumberValueOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, kCFNumberDoubleType,
                                                       &inDouble, inLog);
}

OSStatus ZRSetExtendedAttributeCFIndexOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                   CFIndex inCFIndex, Boolean inLog) {
  return ZRSetExtendedAttributeNumberValueOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, kCFNumberCFIndexType,
                                                       &inCFIndex, inLog);
}

OSStatus ZRSetExtendedAttributeBoolOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                Boolean inBool, Boolean inLog) {
  return ZRSetExtendedAttributePropertyListRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer,
                                                           inBool ? kCFBooleanTrue : kCFBooleanFalse, inLog);
}

// ----- Reference getters -----

OSStatus ZRCopyExtendedAttributeDataRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                    CFDataRef* outDataRef, Boolean inLog) {
  void* buffer = NULL;
  ZR_CLEANUP { free(buffer); };

  if (!inPathBuffer || !inExtendedAttributeBuffer || !outDataRef || *outDataRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, outDataRef: %p"), inPathBuffer,
                 inExtendedAttributeBuffer, outDataRef);
    return paramErr;
  }

  ssize_t size = getxattr(inPathBuffer, inExtendedAttributeBuffer, NULL, 0, 0, XATTR_NOFOLLOW);
  if (size == -1) {
    if (errno == ENOATTR) return errFSAttributeNotFound;
    ZR_LOG_ERROR(inLog, CFSTR("getxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(errno),
                 inExtendedAttributeBuffer, inPathBuffer);
    return unknownErr;
  }

  buffer = calloc(static_cast<size_t>(size), 1);
  if (!buffer) {
    ZR_LOG_ERROR(inLog, CFSTR("calloc returns NULL"));
    return unknownErr;
  }

  // The attribute may have changed since the size was asked for: the count read is what counts.
  ssize_t count =
      getxattr(inPathBuffer, inExtendedAttributeBuffer, buffer, static_cast<size_t>(size), 0, XATTR_NOFOLLOW);
  if (count == -1) {
    if (errno == ENOATTR) return errFSAttributeNotFound;
    ZR_LOG_ERROR(inLog, CFSTR("getxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(errno),
                 inExtendedAttributeBuffer, inPathBuffer);
    return unknownErr;
  }

  *outDataRef = CFDataCreate(kCFAllocatorDefault, static_cast<const UInt8*>(buffer), static_cast<CFIndex>(count));
  if (!*outDataRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFDataCreate returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyExtendedAttributePropertyListRefOfPathBuffer(const char* inPathBuffer,
                                                            const char* inExtendedAttributeBuffer,
                                                            CFPropertyListRef* outPropertyListRef, Boolean inLog) {
  CFDataRef dataRef = NULL;
  ZR_CLEANUP { ZRDestroyDataRef(&dataRef); };

  if (!inPathBuffer || !inExtendedAttributeBuffer || !outPropertyListRef || *outPropertyListRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, outPropertyListRef: %p"), inPathBuffer,
                 inExtendedAttributeBuffer, outPropertyListRef);
    return paramErr;
  }

  OSStatus status =
      ZRCopyExtendedAttributeDataRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, &dataRef, inLog);
  if (status != noErr) {
    if (!IsMissing(status)) {
      ZR_LOG_ERROR(inLog, CFSTR("ZRCopyExtendedAttributeDataRefOfPathBuffer returns %@"), ZRCarbonErrorString(status));
    }
    return status;
  }

  *outPropertyListRef = CFPropertyListCreateFromXMLData(kCFAllocatorDefault, dataRef, kCFPropertyListImmutable, NULL);
  if (!*outPropertyListRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFPropertyListCreateFromXMLData returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyExtendedAttributeStringRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                      CFStringRef* outStringRef, Boolean inLog) {
  return CopyTypedReference(__func__, inPathBuffer, inExtendedAttributeBuffer, outStringRef, inLog,
                            CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, outStringRef: %p"),
                            CFStringGetTypeID(), CFSTR("typeID is %i and not CFStringGetTypeID()"), true);
}

// The number getter prints the lower status as a number, the other two as text.
OSStatus ZRCopyExtendedAttributeNumberRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                      CFNumberRef* outNumberRef, Boolean inLog) {
  return CopyTypedReference(__func__, inPathBuffer, inExtendedAttributeBuffer, outNumberRef, inLog,
                            CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, outNumberRef: %p"),
                            CFNumberGetTypeID(), CFSTR("typeID is %i and not CFNumberGetTypeID()"), false);
}

OSStatus ZRCopyExtendedAttributeBooleanRefOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                       CFBooleanRef* outBooleanRef, Boolean inLog) {
  return CopyTypedReference(__func__, inPathBuffer, inExtendedAttributeBuffer, outBooleanRef, inLog,
                            CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, outBooleanRef: %p"),
                            CFBooleanGetTypeID(), CFSTR("typeID is %i and not CFBooleanGetTypeID()"), true);
}

// ----- Value getters -----

int ZRGetExtendedAttributeIntegerOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                              int inDefaultInteger, Boolean inLog) {
  return GetNumberValue(__func__, inPathBuffer, inExtendedAttributeBuffer, kCFNumberIntType, inDefaultInteger, inLog);
}

float ZRGetExtendedAttributeFloatOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                              float inDefaultFloat, Boolean inLog) {
  return GetNumberValue(__func__, inPathBuffer, inExtendedAttributeBuffer, kCFNumberFloatType, inDefaultFloat, inLog);
}

double ZRGetExtendedAttributeDoubleOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                double inDefaultDouble, Boolean inLog) {
  return GetNumberValue(__func__, inPathBuffer, inExtendedAttributeBuffer, kCFNumberDoubleType, inDefaultDouble, inLog);
}

CFIndex ZRGetExtendedAttributeCFIndexOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                                  CFIndex inDefaultCFIndex, Boolean inLog) {
  return GetNumberValue(__func__, inPathBuffer, inExtendedAttributeBuffer, kCFNumberCFIndexType, inDefaultCFIndex,
                        inLog);
}

Boolean ZRGetExtendedAttributeBoolOfPathBuffer(const char* inPathBuffer, const char* inExtendedAttributeBuffer,
                                               Boolean inDefaultBool, Boolean inLog) {
  Boolean result = inDefaultBool;
  CFBooleanRef booleanRef = NULL;
  ZR_CLEANUP { ZRDestroyBooleanRef(&booleanRef); };

  if (!inPathBuffer || !inExtendedAttributeBuffer) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p"), inPathBuffer,
                 inExtendedAttributeBuffer);
    return result;
  }

  OSStatus status =
      ZRCopyExtendedAttributeBooleanRefOfPathBuffer(inPathBuffer, inExtendedAttributeBuffer, &booleanRef, inLog);
  if (status != noErr) {
    if (!IsMissing(status)) {
      ZR_LOG_ERROR(inLog, CFSTR("ZRCopyExtendedAttributeBooleanRefOfPathBuffer returns %i"), static_cast<int>(status));
    }
    return result;
  }

  result = (booleanRef == kCFBooleanTrue);
  return result;
}
