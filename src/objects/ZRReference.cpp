// ZRReference.cpp: the Destroy and Assign families over every kind of object reference the
// library holds, and the type tests.
#include "diagnostics/Frame.h"

namespace {

// Every member of both families does the same thing for its kind; they all release with
// CFRelease, the graphics kinds included.
template <class Ref>
void Destroy(Ref* ioRef) {
  if (ioRef == NULL) return;
  Ref old = *ioRef;
  if (old == NULL) return;
  CFRelease(old);
  *ioRef = NULL;
}

template <class Ref>
void Assign(Ref* ioRef, Ref* inRef) {
  if (ioRef == NULL || inRef == NULL) return;
  // Both read before any change, and the new one retained before the old one is released,
  // so that assigning a slot to itself, or the same object, is safe.
  Ref newRef = *inRef;
  Ref oldRef = *ioRef;
  if (newRef != NULL) CFRetain(newRef);
  *ioRef = newRef;
  if (oldRef != NULL) CFRelease(oldRef);
}

}  // namespace

#define ZR_DEFINE_DESTROY(Kind, Type) \
  void ZRDestroy##Kind##Ref(Type* ioRef) { Destroy(ioRef); }
#define ZR_DEFINE_DESTROY_ASSIGN(Kind, Type) \
  ZR_DEFINE_DESTROY(Kind, Type)              \
  void ZRAssign##Kind##Ref(Type* ioRef, Type* inRef) { Assign(ioRef, inRef); }

extern "C" {

ZR_DEFINE_DESTROY_ASSIGN(UUID, CFUUIDRef)
ZR_DEFINE_DESTROY_ASSIGN(URL, CFURLRef)
ZR_DEFINE_DESTROY_ASSIGN(Type, CFTypeRef)
ZR_DEFINE_DESTROY_ASSIGN(String, CFStringRef)
ZR_DEFINE_DESTROY_ASSIGN(Socket, CFSocketRef)
ZR_DEFINE_DESTROY(Shading, CGShadingRef)
ZR_DEFINE_DESTROY(RunLoopTimer, CFRunLoopTimerRef)
ZR_DEFINE_DESTROY_ASSIGN(RunLoopSource, CFRunLoopSourceRef)
ZR_DEFINE_DESTROY(ReadStream, CFReadStreamRef)
ZR_DEFINE_DESTROY(Query, MDQueryRef)
ZR_DEFINE_DESTROY_ASSIGN(PropertyList, CFPropertyListRef)
ZR_DEFINE_DESTROY_ASSIGN(PDFDocument, CGPDFDocumentRef)
ZR_DEFINE_DESTROY(PDFDictionary, CGPDFDictionaryRef)
ZR_DEFINE_DESTROY_ASSIGN(NumberFormatter, CFNumberFormatterRef)
ZR_DEFINE_DESTROY_ASSIGN(Number, CFNumberRef)
ZR_DEFINE_DESTROY_ASSIGN(MutableString, CFMutableStringRef)
ZR_DEFINE_DESTROY(MutablePath, CGMutablePathRef)
ZR_DEFINE_DESTROY_ASSIGN(MutableDictionary, CFMutableDictionaryRef)
ZR_DEFINE_DESTROY_ASSIGN(MutableData, CFMutableDataRef)
ZR_DEFINE_DESTROY_ASSIGN(MutableArray, CFMutableArrayRef)
ZR_DEFINE_DESTROY_ASSIGN(Locale, CFLocaleRef)
ZR_DEFINE_DESTROY_ASSIGN(Layer, CGLayerRef)
ZR_DEFINE_DESTROY_ASSIGN(Item, MDItemRef)
ZR_DEFINE_DESTROY_ASSIGN(ImageSource, CGImageSourceRef)
ZR_DEFINE_DESTROY(ImageDestination, CGImageDestinationRef)
ZR_DEFINE_DESTROY_ASSIGN(Image, CGImageRef)
ZR_DEFINE_DESTROY_ASSIGN(Dictionary, CFDictionaryRef)
ZR_DEFINE_DESTROY_ASSIGN(DateFormatter, CFDateFormatterRef)
ZR_DEFINE_DESTROY_ASSIGN(Date, CFDateRef)
ZR_DEFINE_DESTROY(DataProvider, CGDataProviderRef)
ZR_DEFINE_DESTROY_ASSIGN(Data, CFDataRef)
ZR_DEFINE_DESTROY(Context, CGContextRef)
ZR_DEFINE_DESTROY(ColorSpace, CGColorSpaceRef)
ZR_DEFINE_DESTROY(Color, CGColorRef)
ZR_DEFINE_DESTROY_ASSIGN(CharacterSet, CFCharacterSetRef)
ZR_DEFINE_DESTROY_ASSIGN(Calendar, CFCalendarRef)
ZR_DEFINE_DESTROY_ASSIGN(Bundle, CFBundleRef)
ZR_DEFINE_DESTROY(Boolean, CFBooleanRef)
ZR_DEFINE_DESTROY_ASSIGN(AttributedString, CFAttributedStringRef)
ZR_DEFINE_DESTROY_ASSIGN(Array, CFArrayRef)

// The argument is not checked: a NULL reference is the caller's error, as for CFGetTypeID.
Boolean ZRTypeRefIsStringRef(CFTypeRef inTypeRef) { return CFGetTypeID(inTypeRef) == CFStringGetTypeID(); }
Boolean ZRTypeRefIsNumberRef(CFTypeRef inTypeRef) { return CFGetTypeID(inTypeRef) == CFNumberGetTypeID(); }
Boolean ZRTypeRefIsDictionaryRef(CFTypeRef inTypeRef) { return CFGetTypeID(inTypeRef) == CFDictionaryGetTypeID(); }
Boolean ZRTypeRefIsArrayRef(CFTypeRef inTypeRef) { return CFGetTypeID(inTypeRef) == CFArrayGetTypeID(); }

CFStringRef ZRGetStringRefOfTypeRef(CFTypeRef inTypeRef) {
  return ZRTypeRefIsStringRef(inTypeRef) ? static_cast<CFStringRef>(inTypeRef) : NULL;
}
CFNumberRef ZRGetNumberRefOfTypeRef(CFTypeRef inTypeRef) {
  return ZRTypeRefIsNumberRef(inTypeRef) ? static_cast<CFNumberRef>(inTypeRef) : NULL;
}
CFDictionaryRef ZRGetDictionaryRefOfTypeRef(CFTypeRef inTypeRef) {
  return ZRTypeRefIsDictionaryRef(inTypeRef) ? static_cast<CFDictionaryRef>(inTypeRef) : NULL;
}
CFArrayRef ZRGetArrayRefOfTypeRef(CFTypeRef inTypeRef) {
  return ZRTypeRefIsArrayRef(inTypeRef) ? static_cast<CFArrayRef>(inTypeRef) : NULL;
}

}  // extern "C"
