// ZRDictionary.cpp: typed reading and writing of values in dictionaries keyed by strings, the
// creation of an empty mutable dictionary, and the loading of one from a property-list file. The number rules here (any
// number accepted and converted, the conversion's exactness ignored, a Boolean not a number) are the library's rules
// for typed numbers wherever they are stored.
#include "diagnostics/Frame.h"

namespace {

// The value under the key when its type identifier is the given one, else NULL; NULL too for a
// NULL dictionary or key.
const void* ValueOfType(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef, CFTypeID inTypeID) {
  if (inDictionaryRef == NULL || inKeyStringRef == NULL) return NULL;
  const void* value = CFDictionaryGetValue(inDictionaryRef, inKeyStringRef);
  return value != NULL && CFGetTypeID(value) == inTypeID ? value : NULL;
}

// The number under the key converted to T with the number type, else the default. The success
// flag of the conversion is ignored on purpose: an inexact value gives its approximation.
template <class T>
T NumberOrDefault(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef, CFNumberType inNumberType, T inDefault) {
  T result = inDefault;
  const void* number = ValueOfType(inDictionaryRef, inKeyStringRef, CFNumberGetTypeID());
  if (number != NULL) CFNumberGetValue(static_cast<CFNumberRef>(number), inNumberType, &result);
  return result;
}

// Stores a new number of the type made from *inValue; does nothing when it cannot be made.
void SetNumber(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef, CFNumberType inNumberType,
               const void* inValue) {
  if (ioDictionaryRef == NULL || inKeyStringRef == NULL) return;
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, inNumberType, inValue);
  if (number == NULL) return;
  CFDictionarySetValue(ioDictionaryRef, inKeyStringRef, number);
  CFRelease(number);
}

// Stores the object as given; a NULL dictionary, key or object does nothing.
void SetValue(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef, CFTypeRef inValue) {
  if (ioDictionaryRef == NULL || inKeyStringRef == NULL || inValue == NULL) return;
  CFDictionarySetValue(ioDictionaryRef, inKeyStringRef, inValue);
}

}  // namespace

extern "C" {

int ZRGetIntegerOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef, int inDefaultInteger) {
  return NumberOrDefault(inDictionaryRef, inKeyStringRef, kCFNumberIntType, inDefaultInteger);
}

float ZRGetFloatOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef, float inDefaultFloat) {
  return NumberOrDefault(inDictionaryRef, inKeyStringRef, kCFNumberFloatType, inDefaultFloat);
}

double ZRGetDoubleOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef, double inDefaultDouble) {
  return NumberOrDefault(inDictionaryRef, inKeyStringRef, kCFNumberDoubleType, inDefaultDouble);
}

CFIndex ZRGetCFIndexOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef,
                                    CFIndex inDefaultCFIndex) {
  return NumberOrDefault(inDictionaryRef, inKeyStringRef, kCFNumberCFIndexType, inDefaultCFIndex);
}

Boolean ZRGetBoolOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef, Boolean inDefaultBool) {
  // Only a Boolean object counts; a number, even 0 or 1, gives the default.
  const void* boolean = ValueOfType(inDictionaryRef, inKeyStringRef, CFBooleanGetTypeID());
  return boolean != NULL ? CFBooleanGetValue(static_cast<CFBooleanRef>(boolean)) : inDefaultBool;
}

CFNumberRef ZRGetNumberRefOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef) {
  return static_cast<CFNumberRef>(ValueOfType(inDictionaryRef, inKeyStringRef, CFNumberGetTypeID()));
}

CFStringRef ZRGetStringRefOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef) {
  return static_cast<CFStringRef>(ValueOfType(inDictionaryRef, inKeyStringRef, CFStringGetTypeID()));
}

CFDataRef ZRGetDataRefOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef) {
  return static_cast<CFDataRef>(ValueOfType(inDictionaryRef, inKeyStringRef, CFDataGetTypeID()));
}

CFArrayRef ZRGetArrayRefOfDictionaryRef(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef) {
  return static_cast<CFArrayRef>(ValueOfType(inDictionaryRef, inKeyStringRef, CFArrayGetTypeID()));
}

Boolean ZRGetNumberValueOfDictionaryRefIfPresent(CFDictionaryRef inDictionaryRef, CFStringRef inKeyStringRef,
                                                 CFNumberType inNumberType, void* outValue) {
  if (outValue == NULL) return false;
  const void* number = ValueOfType(inDictionaryRef, inKeyStringRef, CFNumberGetTypeID());
  if (number == NULL) return false;
  return CFNumberGetValue(static_cast<CFNumberRef>(number), inNumberType, outValue);
}

void ZRSetBoolOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef, Boolean inBool) {
  if (ioDictionaryRef == NULL || inKeyStringRef == NULL) return;
  CFDictionarySetValue(ioDictionaryRef, inKeyStringRef, inBool ? kCFBooleanTrue : kCFBooleanFalse);
}

void ZRSetIntegerOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef, int inInteger) {
  SetNumber(ioDictionaryRef, inKeyStringRef, kCFNumberIntType, &inInteger);
}

void ZRSetFloatOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef, float inFloat) {
  SetNumber(ioDictionaryRef, inKeyStringRef, kCFNumberFloatType, &inFloat);
}

void ZRSetDoubleOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef, double inDouble) {
  SetNumber(ioDictionaryRef, inKeyStringRef, kCFNumberDoubleType, &inDouble);
}

void ZRSetCFIndexOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef,
                                 CFIndex inCFIndex) {
  SetNumber(ioDictionaryRef, inKeyStringRef, kCFNumberCFIndexType, &inCFIndex);
}

void ZRSetStringRefOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef,
                                   CFStringRef inStringRef) {
  SetValue(ioDictionaryRef, inKeyStringRef, inStringRef);
}

void ZRSetArrayRefOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef,
                                  CFArrayRef inArrayRef) {
  SetValue(ioDictionaryRef, inKeyStringRef, inArrayRef);
}

void ZRSetObjectOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef,
                                CFTypeRef inObject) {
  SetValue(ioDictionaryRef, inKeyStringRef, inObject);
}

void ZRSetLOCStringRefOfDictionaryRef(CFMutableDictionaryRef ioDictionaryRef, CFStringRef inKeyStringRef,
                                      CFStringRef inStringRef) {
  if (ioDictionaryRef == NULL || inKeyStringRef == NULL || inStringRef == NULL) return;
  // The string is both the key looked up and the text used when it has no translation.
  CFStringRef localized = CFBundleCopyLocalizedString(CFBundleGetMainBundle(), inStringRef, inStringRef, NULL);
  if (localized == NULL) return;
  CFDictionarySetValue(ioDictionaryRef, inKeyStringRef, localized);
  CFRelease(localized);
}

CFMutableDictionaryRef ZRCreateMutableDictionaryRef(void) {
  return CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                   &kCFTypeDictionaryValueCallBacks);
}

CFDictionaryRef ZRCreateDictionaryRefWithContentsOfPathStringRef(CFStringRef inPathStringRef, Boolean inLog) {
  CFURLRef urlRef = NULL;
  CFReadStreamRef streamRef = NULL;
  CFPropertyListRef propertyListRef = NULL;
  ZR_CLEANUP {
    ZRDestroyURLRef(&urlRef);
    ZRDestroyPropertyListRef(&propertyListRef);
    ZRDestroyReadStreamRef(&streamRef);
  };

  if (inPathStringRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathStringRef: %p"), inPathStringRef);
    return NULL;
  }
  urlRef = CFURLCreateWithFileSystemPath(kCFAllocatorDefault, inPathStringRef, kCFURLPOSIXPathStyle, false);
  if (urlRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFURLCreateWithFileSystemPath returns NULL for '%@'"), inPathStringRef);
    return NULL;
  }
  streamRef = CFReadStreamCreateWithFile(kCFAllocatorDefault, urlRef);
  if (streamRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFReadStreamCreateWithFile returns NULL for '%@'"), inPathStringRef);
    return NULL;
  }
  if (!CFReadStreamOpen(streamRef)) {
    ZR_LOG_ERROR(inLog, CFSTR("CFReadStreamOpen returns false for '%@'"), inPathStringRef);
    return NULL;
  }
  CFPropertyListFormat format = kCFPropertyListXMLFormat_v1_0;
  propertyListRef =
      CFPropertyListCreateFromStream(kCFAllocatorDefault, streamRef, 0, kCFPropertyListImmutable, &format, NULL);
  CFReadStreamClose(streamRef);
  if (propertyListRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("CFPropertyListCreateFromStream returns NULL for '%@'"), inPathStringRef);
    return NULL;
  }
  // The cleanup drops the local reference; the caller receives the one taken here. The root's
  // type is left to the caller to check.
  CFRetain(propertyListRef);
  return static_cast<CFDictionaryRef>(propertyListRef);
}

}  // extern "C"
