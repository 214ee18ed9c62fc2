// ZRArray.cpp: typed access to the elements of arrays, appending an integer, the first element
// of one array found in another, and merging one array of strings into another.
#include "diagnostics/Frame.h"

namespace {

// The element at the index when its type identifier is the given one, else NULL.
const void* ElementOfType(CFArrayRef inArrayRef, CFIndex inIndex, CFTypeID inTypeID) {
  const void* value = CFArrayGetValueAtIndex(inArrayRef, inIndex);
  return value != NULL && CFGetTypeID(value) == inTypeID ? value : NULL;
}

}  // namespace

extern "C" {

Boolean ZRGetNumberValueAtIndexOfArrayRef(CFArrayRef inArrayRef, CFIndex inIndex, CFNumberType inNumberType,
                                          void* outValue) {
  const void* number = ElementOfType(inArrayRef, inIndex, CFNumberGetTypeID());
  if (number == NULL) return false;
  return CFNumberGetValue(static_cast<CFNumberRef>(number), inNumberType, outValue);
}

int ZRGetIntegerAtIndexOfArrayRef(CFArrayRef inArrayRef, CFIndex inIndex, int inDefaultInteger) {
  int result = inDefaultInteger;
  const void* number = ElementOfType(inArrayRef, inIndex, CFNumberGetTypeID());
  // An inexact conversion still gives the platform's approximation, not the default.
  if (number != NULL) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberIntType, &result);
  return result;
}

Boolean ZRAppendIntegerToArrayRef(CFMutableArrayRef ioArrayRef, int inInteger) {
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &inInteger);
  if (number == NULL) return false;
  CFArrayAppendValue(ioArrayRef, number);
  CFRelease(number);
  return true;
}

CFStringRef ZRGetStringRefAtIndexOfArrayRef(CFArrayRef inArrayRef, CFIndex inIndex) {
  return static_cast<CFStringRef>(ElementOfType(inArrayRef, inIndex, CFStringGetTypeID()));
}

CFDictionaryRef ZRGetDictionaryRefAtIndexOfArrayRef(CFArrayRef inArrayRef, CFIndex inIndex) {
  return static_cast<CFDictionaryRef>(ElementOfType(inArrayRef, inIndex, CFDictionaryGetTypeID()));
}

CFArrayRef ZRGetArrayRefAtIndexOfArrayRef(CFArrayRef inArrayRef, CFIndex inIndex) {
  return static_cast<CFArrayRef>(ElementOfType(inArrayRef, inIndex, CFArrayGetTypeID()));
}

id ZRGetObjectAtIndexOfArrayRef(CFArrayRef inArrayRef, CFIndex inIndex, Class inClass) {
  // Asked of the object itself, so that any object that answers isKindOfClass: takes part: the
  // platform's objects through their bridged classes, and the application's own.
  id element = const_cast<void*>(CFArrayGetValueAtIndex(inArrayRef, inIndex));
  return ns::isKindOfClass(element, inClass) ? element : NULL;
}

CFTypeRef ZRGetFirstOccurrenceOfArrayRefInArrayRef(CFArrayRef inArrayRef, CFArrayRef inSearchArrayRef) {
  CFIndex searchCount = CFArrayGetCount(inSearchArrayRef);
  for (CFIndex index = 0; index < CFArrayGetCount(inArrayRef); ++index) {
    const void* value = CFArrayGetValueAtIndex(inArrayRef, index);
    if (CFArrayContainsValue(inSearchArrayRef, CFRangeMake(0, searchCount), value)) return value;
  }
  return NULL;
}

OSStatus ZRAddStringArrayRefToStringArrayRef(CFMutableArrayRef inStringArrayRef, CFArrayRef inAddStringArrayRef,
                                             CFStringCompareFlags inCompareOptions, Boolean inLog) {
  if (inStringArrayRef == NULL || inAddStringArrayRef == NULL) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringArrayRef: %p,inAddStringArrayRef: %p"), inStringArrayRef, inAddStringArrayRef);
    return paramErr;
  }

  for (CFIndex addIndex = 0; addIndex < CFArrayGetCount(inAddStringArrayRef); ++addIndex) {
    CFStringRef string = static_cast<CFStringRef>(CFArrayGetValueAtIndex(inAddStringArrayRef, addIndex));
    bool found = false;
    // The count is read again for each added string: strings appended by this call take part.
    for (CFIndex index = 0; !found && index < CFArrayGetCount(inStringArrayRef); ++index) {
      CFStringRef element = static_cast<CFStringRef>(CFArrayGetValueAtIndex(inStringArrayRef, index));
      found = CFStringCompare(element, string, inCompareOptions) == kCFCompareEqualTo;
    }
    if (!found) CFArrayAppendValue(inStringArrayRef, string);
  }
  return noErr;
}

}  // extern "C"
