// ZRReferenceTest.cpp: the Destroy and Assign families and the type tests.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

// A fresh object of some kind, seen as the slot's reference type: every member only counts
// references with CFRetain/CFRelease, whatever the kind.
template <class Ref>
Ref MakeObject() {
  static const UInt8 kBytes[] = {1, 2, 3};
  return (Ref)(CFDataCreate(NULL, kBytes, 3));
}

template <class Ref>
void CheckDestroy(void (*destroy)(Ref*)) {
  destroy(NULL);  // a NULL slot address does nothing

  Ref empty = NULL;
  destroy(&empty);
  destroy(&empty);
  EXPECT_EQ(empty, nullptr);

  Ref object = MakeObject<Ref>();
  CFRetain((CFTypeRef)object);  // keep it alive to watch its count
  ASSERT_EQ(CFGetRetainCount((CFTypeRef)object), 2);
  Ref slot = object;
  destroy(&slot);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)object), 1);
  destroy(&slot);  // a second Destroy does nothing
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)object), 1);
  CFRelease((CFTypeRef)object);
}

template <class Ref>
void CheckAssign(void (*assign)(Ref*, Ref*)) {
  Ref a = MakeObject<Ref>();
  Ref b = MakeObject<Ref>();

  // NULL addresses: nothing happens, not even a release of the destination's value.
  Ref destination = a;
  assign(NULL, &b);
  assign(&destination, NULL);
  EXPECT_EQ(destination, a);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)a), 1);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)b), 1);

  // Assigning a slot to itself leaves the count and the slot as they were.
  assign(&destination, &destination);
  EXPECT_EQ(destination, a);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)a), 1);

  // A full source: both slots own one count each, the old reference is released.
  CFRetain((CFTypeRef)a);
  Ref source = b;
  assign(&destination, &source);
  EXPECT_EQ(destination, b);
  EXPECT_EQ(source, b);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)b), 2);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)a), 1);

  // The same object in both slots.
  assign(&destination, &source);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)b), 2);

  // An empty source empties the destination and releases what it held.
  Ref emptySource = NULL;
  assign(&destination, &emptySource);
  EXPECT_EQ(destination, nullptr);
  EXPECT_EQ(CFGetRetainCount((CFTypeRef)b), 1);

  CFRelease((CFTypeRef)a);
  CFRelease((CFTypeRef)b);
}

int gDestroyMembers = 0;
int gAssignMembers = 0;

#define CHECK_DESTROY(Kind, Type)                                          \
  TEST(ZRDestroyTest, Kind) { CheckDestroy<Type>(&ZRDestroy##Kind##Ref); } \
  const int kDestroy##Kind = ++gDestroyMembers;
#define CHECK_DESTROY_ASSIGN(Kind, Type)                                \
  CHECK_DESTROY(Kind, Type)                                             \
  TEST(ZRAssignTest, Kind) { CheckAssign<Type>(&ZRAssign##Kind##Ref); } \
  const int kAssign##Kind = ++gAssignMembers;

CHECK_DESTROY_ASSIGN(UUID, CFUUIDRef)
CHECK_DESTROY_ASSIGN(URL, CFURLRef)
CHECK_DESTROY_ASSIGN(Type, CFTypeRef)
CHECK_DESTROY_ASSIGN(String, CFStringRef)
CHECK_DESTROY_ASSIGN(Socket, CFSocketRef)
CHECK_DESTROY(Shading, CGShadingRef)
CHECK_DESTROY(RunLoopTimer, CFRunLoopTimerRef)
CHECK_DESTROY_ASSIGN(RunLoopSource, CFRunLoopSourceRef)
CHECK_DESTROY(ReadStream, CFReadStreamRef)
CHECK_DESTROY(Query, MDQueryRef)
CHECK_DESTROY_ASSIGN(PropertyList, CFPropertyListRef)
CHECK_DESTROY_ASSIGN(PDFDocument, CGPDFDocumentRef)
CHECK_DESTROY(PDFDictionary, CGPDFDictionaryRef)
CHECK_DESTROY_ASSIGN(NumberFormatter, CFNumberFormatterRef)
CHECK_DESTROY_ASSIGN(Number, CFNumberRef)
CHECK_DESTROY_ASSIGN(MutableString, CFMutableStringRef)
CHECK_DESTROY(MutablePath, CGMutablePathRef)
CHECK_DESTROY_ASSIGN(MutableDictionary, CFMutableDictionaryRef)
CHECK_DESTROY_ASSIGN(MutableData, CFMutableDataRef)
CHECK_DESTROY_ASSIGN(MutableArray, CFMutableArrayRef)
CHECK_DESTROY_ASSIGN(Locale, CFLocaleRef)
CHECK_DESTROY_ASSIGN(Layer, CGLayerRef)
CHECK_DESTROY_ASSIGN(Item, MDItemRef)
CHECK_DESTROY_ASSIGN(ImageSource, CGImageSourceRef)
CHECK_DESTROY(ImageDestination, CGImageDestinationRef)
CHECK_DESTROY_ASSIGN(Image, CGImageRef)
CHECK_DESTROY_ASSIGN(Dictionary, CFDictionaryRef)
CHECK_DESTROY_ASSIGN(DateFormatter, CFDateFormatterRef)
CHECK_DESTROY_ASSIGN(Date, CFDateRef)
CHECK_DESTROY(DataProvider, CGDataProviderRef)
CHECK_DESTROY_ASSIGN(Data, CFDataRef)
CHECK_DESTROY(Context, CGContextRef)
CHECK_DESTROY(ColorSpace, CGColorSpaceRef)
CHECK_DESTROY(Color, CGColorRef)
CHECK_DESTROY_ASSIGN(CharacterSet, CFCharacterSetRef)
CHECK_DESTROY_ASSIGN(Calendar, CFCalendarRef)
CHECK_DESTROY_ASSIGN(Bundle, CFBundleRef)
CHECK_DESTROY(Boolean, CFBooleanRef)
CHECK_DESTROY_ASSIGN(AttributedString, CFAttributedStringRef)
CHECK_DESTROY_ASSIGN(Array, CFArrayRef)

TEST(ZRReferenceFamilies, HaveFortyDestroyAndTwentyEightAssignMembers) {
  EXPECT_EQ(gDestroyMembers, 40);
  EXPECT_EQ(gAssignMembers, 28);
}

TEST(ZRTypeTests, RecogniseTheirKinds) {
  CFStringRef string = CFStringCreateWithCString(NULL, "text", kCFStringEncodingUTF8);
  CFMutableStringRef mutableString = CFStringCreateMutable(NULL, 0);
  int value = 7;
  CFNumberRef number = CFNumberCreate(NULL, kCFNumberIntType, &value);
  CFMutableDictionaryRef dictionary =
      CFDictionaryCreateMutable(NULL, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFMutableArrayRef array = CFArrayCreateMutable(NULL, 0, &kCFTypeArrayCallBacks);

  EXPECT_EQ(ZRTypeRefIsStringRef(string), 1);
  EXPECT_EQ(ZRTypeRefIsStringRef(mutableString), 1);
  EXPECT_EQ(ZRTypeRefIsStringRef(number), 0);
  EXPECT_EQ(ZRTypeRefIsNumberRef(number), 1);
  EXPECT_EQ(ZRTypeRefIsNumberRef(kCFBooleanTrue), 0);
  EXPECT_EQ(ZRTypeRefIsDictionaryRef(dictionary), 1);
  EXPECT_EQ(ZRTypeRefIsDictionaryRef(array), 0);
  EXPECT_EQ(ZRTypeRefIsArrayRef(array), 1);
  EXPECT_EQ(ZRTypeRefIsArrayRef(string), 0);

  CFIndex count = CFGetRetainCount(mutableString);
  EXPECT_EQ(ZRGetStringRefOfTypeRef(mutableString), mutableString);
  EXPECT_EQ(CFGetRetainCount(mutableString), count);  // not retained
  EXPECT_EQ(ZRGetStringRefOfTypeRef(number), nullptr);
  EXPECT_EQ(ZRGetNumberRefOfTypeRef(number), number);
  EXPECT_EQ(ZRGetNumberRefOfTypeRef(string), nullptr);
  EXPECT_EQ(ZRGetDictionaryRefOfTypeRef(dictionary), dictionary);
  EXPECT_EQ(ZRGetDictionaryRefOfTypeRef(number), nullptr);
  EXPECT_EQ(ZRGetArrayRefOfTypeRef(array), array);
  EXPECT_EQ(ZRGetArrayRefOfTypeRef(dictionary), nullptr);

  CFRelease(string);
  CFRelease(mutableString);
  CFRelease(number);
  CFRelease(dictionary);
  CFRelease(array);
}

}  // namespace
