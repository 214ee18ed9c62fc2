// ZRPreferences.cpp: typed reading and writing of the running application's preferences, one key
// at a time (RGB colours as arrays of four floats, objects as keyed archives), and reading keys of
// another application's domain. No status and no ERROR line: a NULL key, a missing value or a
// value of another type gives the default (or NULL), and a setter that cannot store does nothing.
#include "diagnostics/Frame.h"

namespace {

// Stores a new number of the type made from *inValue in the current application's domain.
void SetNumber(CFStringRef inKeyStringRef, CFNumberType inNumberType, const void* inValue) {
  if (inKeyStringRef == NULL) return;
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, inNumberType, inValue);
  if (number == NULL) return;
  CFPreferencesSetAppValue(inKeyStringRef, number, kCFPreferencesCurrentApplication);
  CFRelease(number);
}

// The number under the key converted to T, else the default. The conversion's success flag is
// ignored on purpose: a number of another type gives its converted value.
template <class T>
T NumberOrDefault(CFStringRef inKeyStringRef, CFNumberType inNumberType, T inDefault) {
  T result = inDefault;
  if (inKeyStringRef == NULL) return result;
  CFPropertyListRef value = CFPreferencesCopyAppValue(inKeyStringRef, kCFPreferencesCurrentApplication);
  if (value == NULL) return result;
  if (CFGetTypeID(value) == CFNumberGetTypeID())
    CFNumberGetValue(static_cast<CFNumberRef>(value), inNumberType, &result);
  CFRelease(value);
  return result;
}

// The value under the key in the application's domain when its type is the given one (the
// caller owns it), else NULL.
CFPropertyListRef CopyValueOfType(CFStringRef inKeyStringRef, CFStringRef inApplicationStringRef, CFTypeID inTypeID) {
  if (inKeyStringRef == NULL) return NULL;
  CFPropertyListRef value = CFPreferencesCopyAppValue(inKeyStringRef, inApplicationStringRef);
  if (value == NULL) return NULL;
  if (CFGetTypeID(value) == inTypeID) return value;
  CFRelease(value);
  return NULL;
}

// The string under the key, else a copy of the default (NULL without one); the caller owns it.
CFStringRef CopyStringOrDefault(CFStringRef inKeyStringRef, CFStringRef inApplicationStringRef,
                                CFStringRef inDefaultStringRef) {
  if (inKeyStringRef != NULL && inApplicationStringRef != NULL) {
    CFPropertyListRef value = CopyValueOfType(inKeyStringRef, inApplicationStringRef, CFStringGetTypeID());
    if (value != NULL) return static_cast<CFStringRef>(value);
  }
  return inDefaultStringRef != NULL ? CFStringCreateCopy(kCFAllocatorDefault, inDefaultStringRef) : NULL;
}

}  // namespace

extern "C" {

Boolean ZRSynchronizePreferences(void) { return CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication); }

void ZRSetBoolOfPreferencesKey(Boolean inBool, CFStringRef inKeyStringRef) {
  if (inKeyStringRef == NULL) return;
  CFPreferencesSetAppValue(inKeyStringRef, inBool ? kCFBooleanTrue : kCFBooleanFalse, kCFPreferencesCurrentApplication);
}

void ZRSetStringRefOfPreferencesKey(CFStringRef inStringRef, CFStringRef inKeyStringRef) {
  // A NULL value never removes a key.
  if (inStringRef == NULL || inKeyStringRef == NULL) return;
  CFPreferencesSetAppValue(inKeyStringRef, inStringRef, kCFPreferencesCurrentApplication);
}

void ZRSetDateRefOfPreferencesKey(CFDateRef inDateRef, CFStringRef inKeyStringRef) {
  if (inDateRef == NULL || inKeyStringRef == NULL) return;
  CFPreferencesSetAppValue(inKeyStringRef, inDateRef, kCFPreferencesCurrentApplication);
}

void ZRSetIntegerOfPreferencesKey(int inInteger, CFStringRef inKeyStringRef) {
  SetNumber(inKeyStringRef, kCFNumberIntType, &inInteger);
}

void ZRSetFloatOfPreferencesKey(float inFloat, CFStringRef inKeyStringRef) {
  SetNumber(inKeyStringRef, kCFNumberFloatType, &inFloat);
}

void ZRSetDoubleOfPreferencesKey(double inDouble, CFStringRef inKeyStringRef) {
  SetNumber(inKeyStringRef, kCFNumberDoubleType, &inDouble);
}

Boolean ZRPreferencesHaveKey(CFStringRef inKeyStringRef) {
  if (inKeyStringRef == NULL) return false;
  CFPropertyListRef value = CFPreferencesCopyAppValue(inKeyStringRef, kCFPreferencesCurrentApplication);
  if (value == NULL) return false;
  CFRelease(value);
  return true;
}

Boolean ZRGetBoolOfPreferencesKey(CFStringRef inKeyStringRef, Boolean inDefaultBool) {
  // Only a Boolean object counts: a number, even 1, gives the default.
  CFPropertyListRef value = CopyValueOfType(inKeyStringRef, kCFPreferencesCurrentApplication, CFBooleanGetTypeID());
  if (value == NULL) return inDefaultBool;
  Boolean result = value == kCFBooleanTrue;
  CFRelease(value);
  return result;
}

int ZRGetIntegerOfPreferencesKey(CFStringRef inKeyStringRef, int inDefaultInteger) {
  return NumberOrDefault(inKeyStringRef, kCFNumberIntType, inDefaultInteger);
}

float ZRGetFloatOfPreferencesKey(CFStringRef inKeyStringRef, float inDefaultFloat) {
  return NumberOrDefault(inKeyStringRef, kCFNumberFloatType, inDefaultFloat);
}

double ZRGetDoubleOfPreferencesKey(CFStringRef inKeyStringRef, double inDefaultDouble) {
  return NumberOrDefault(inKeyStringRef, kCFNumberDoubleType, inDefaultDouble);
}

CFStringRef ZRCopyStringRefOfPreferencesKey(CFStringRef inKeyStringRef, CFStringRef inDefaultStringRef) {
  return CopyStringOrDefault(inKeyStringRef, kCFPreferencesCurrentApplication, inDefaultStringRef);
}

CFStringRef ZRCopyStringRefOfPreferencesKeyOfApplication(CFStringRef inKeyStringRef, CFStringRef inApplicationStringRef,
                                                         CFStringRef inDefaultStringRef) {
  return CopyStringOrDefault(inKeyStringRef, inApplicationStringRef, inDefaultStringRef);
}

CFDateRef ZRCopyDateRefOfPreferencesKey(CFStringRef inKeyStringRef) {
  return static_cast<CFDateRef>(CopyValueOfType(inKeyStringRef, kCFPreferencesCurrentApplication, CFDateGetTypeID()));
}

CFArrayRef ZRCopyArrayRefOfPreferencesKey(CFStringRef inKeyStringRef) {
  return static_cast<CFArrayRef>(CopyValueOfType(inKeyStringRef, kCFPreferencesCurrentApplication, CFArrayGetTypeID()));
}

CFDictionaryRef ZRCopyDictionaryRefOfPreferencesKey(CFStringRef inKeyStringRef) {
  return static_cast<CFDictionaryRef>(
      CopyValueOfType(inKeyStringRef, kCFPreferencesCurrentApplication, CFDictionaryGetTypeID()));
}

CFDictionaryRef ZRCopyDictionaryRefOfExternalPreferencesKey(CFStringRef inKeyStringRef,
                                                            CFStringRef inApplicationStringRef) {
  // The application identifier is handed on unchecked, as the platform call takes it.
  return static_cast<CFDictionaryRef>(CopyValueOfType(inKeyStringRef, inApplicationStringRef, CFDictionaryGetTypeID()));
}

void ZRSetRGBColorRefOfPreferencesKey(CGColorRef inColorRef, CFStringRef inKeyStringRef) {
  if (inColorRef == NULL) return;
  // Only three colour components and alpha are stored: a gray colour is not.
  if (CGColorGetNumberOfComponents(inColorRef) != 4) return;
  if (inKeyStringRef == NULL) return;
  const CGFloat* components = CGColorGetComponents(inColorRef);
  if (components == NULL) return;
  CFNumberRef numberRefs[4] = {NULL, NULL, NULL, NULL};
  CFArrayRef arrayRef = NULL;
  ZR_CLEANUP {
    ZRDestroyArrayRef(&arrayRef);
    for (CFNumberRef& numberRef : numberRefs) ZRDestroyNumberRef(&numberRef);
  };
  for (int index = 0; index < 4; index++) {
    // Stored as 32-bit floats, red, green, blue and alpha, whatever the width of CGFloat.
    float component = static_cast<float>(components[index]);
    numberRefs[index] = CFNumberCreate(kCFAllocatorDefault, kCFNumberFloatType, &component);
    if (numberRefs[index] == NULL) return;
  }
  arrayRef = CFArrayCreate(kCFAllocatorDefault, reinterpret_cast<const void**>(numberRefs), 4, &kCFTypeArrayCallBacks);
  if (arrayRef == NULL) return;
  CFPreferencesSetAppValue(inKeyStringRef, arrayRef, kCFPreferencesCurrentApplication);
}

CGColorRef ZRCopyRGBColorRefOfPreferencesKey(CFStringRef inKeyStringRef) {
  CFArrayRef arrayRef =
      static_cast<CFArrayRef>(CopyValueOfType(inKeyStringRef, kCFPreferencesCurrentApplication, CFArrayGetTypeID()));
  CGColorSpaceRef colorSpaceRef = NULL;
  ZR_CLEANUP {
    ZRDestroyColorSpaceRef(&colorSpaceRef);
    ZRDestroyArrayRef(&arrayRef);
  };
  if (arrayRef == NULL) return NULL;
  if (CFArrayGetCount(arrayRef) != 4) return NULL;
  CGFloat components[4];
  for (CFIndex index = 0; index < 4; index++) {
    CFTypeRef elementRef = CFArrayGetValueAtIndex(arrayRef, index);
    // An element that is no number cannot be read as a float: the read fails, as for a number
    // that gives no float.
    float component = 0;
    if (CFGetTypeID(elementRef) != CFNumberGetTypeID() ||
        !CFNumberGetValue(static_cast<CFNumberRef>(elementRef), kCFNumberFloatType, &component))
      return NULL;
    components[index] = component;
  }
  colorSpaceRef = CGColorSpaceCreateDeviceRGB();
  if (colorSpaceRef == NULL) return NULL;
  return CGColorCreate(colorSpaceRef, components);
}

void ZRSetArchivedObjectOfPreferencesKey(id inObject, CFStringRef inKeyStringRef) {
  // A pool of the call's own takes the archive away again; the domain keeps its own reference.
  // Without memory for the pool nothing is stored.
  zr::internal::CatchOutOfMemory(false, [&] {
    NSAutoreleasePool pool;
    if (inObject == nil || inKeyStringRef == NULL) return false;
    NSData* data = ns::archivedDataWithRootObject(inObject);
    if (data == nil) return false;
    CFPreferencesSetAppValue(inKeyStringRef, data, kCFPreferencesCurrentApplication);
    return true;
  });
}

id ZRGetArchivedObjectOfPreferencesKey(CFStringRef inKeyStringRef) {
  CFDataRef dataRef =
      static_cast<CFDataRef>(CopyValueOfType(inKeyStringRef, kCFPreferencesCurrentApplication, CFDataGetTypeID()));
  ZR_CLEANUP { ZRDestroyDataRef(&dataRef); };
  if (dataRef == NULL) return nil;
  // Autoreleased into the caller's pool: the caller does not own it.
  return ns::unarchiveObjectWithData(const_cast<NSData*>(dataRef));
}

CFMutableArrayRef ZRCopyArchivedMutableArrayRefOfPreferencesKey(CFStringRef inKeyStringRef) {
  CFDataRef dataRef =
      static_cast<CFDataRef>(CopyValueOfType(inKeyStringRef, kCFPreferencesCurrentApplication, CFDataGetTypeID()));
  ZR_CLEANUP { ZRDestroyDataRef(&dataRef); };
  if (dataRef == NULL) return NULL;
  // The unarchived graph goes with the call's own pool; the copy keeps its elements. Without
  // memory for the pool the answer is NULL.
  return zr::internal::CatchOutOfMemory<CFMutableArrayRef>(NULL, [&]() -> CFMutableArrayRef {
    NSAutoreleasePool pool;
    id object = ns::unarchiveObjectWithData(const_cast<NSData*>(dataRef));
    if (object == nil || !ns::isKindOfClass(object, objc_getClass("NSArray"))) return NULL;
    return CFArrayCreateMutableCopy(kCFAllocatorDefault, 0, static_cast<CFArrayRef>(object));
  });
}

}  // extern "C"
