// ClassTableTest.cpp: the class table: the host's classes and their chains, isKindOfClass: on
// mutable and immutable objects, and the application's own classes joining the table.
#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/Foundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "TestSupport.h"

namespace {

class ClassTableTest : public zrtest::LeakCheckedTest {};

std::string Chain(Class cls) {
  std::string chain;
  for (; cls; cls = class_getSuperclass(cls)) chain += std::string(chain.empty() ? "" : " < ") + class_getName(cls);
  return chain;
}

TEST_F(ClassTableTest, GivesEachObjectItsConcreteClassUnderItsPublicOnes) {
  CFMutableArrayRef mutableArray = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFArrayRef array = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
  EXPECT_EQ(Chain(object_getClass(mutableArray)), "__NSArrayM < NSMutableArray < NSArray < NSObject");
  EXPECT_EQ(Chain(object_getClass(const_cast<__CFArray*>(array))), "__NSArrayI < NSArray < NSObject");
  EXPECT_TRUE(ns::isKindOfClass(mutableArray, objc_getClass("NSArray")));
  EXPECT_TRUE(ns::isKindOfClass(mutableArray, objc_getClass("NSMutableArray")));
  EXPECT_TRUE(ns::isKindOfClass(const_cast<__CFArray*>(array), objc_getClass("NSArray")));
  EXPECT_FALSE(ns::isKindOfClass(const_cast<__CFArray*>(array), objc_getClass("NSMutableArray")));
  EXPECT_FALSE(ns::isKindOfClass(mutableArray, objc_getClass("NSDictionary")));
  EXPECT_TRUE(ns::isKindOfClass(mutableArray, objc_getClass("NSObject")));
  EXPECT_FALSE(ns::isMemberOfClass(mutableArray, objc_getClass("NSMutableArray")));
  EXPECT_TRUE(ns::isMemberOfClass(mutableArray, objc_getClass("__NSArrayM")));
  EXPECT_FALSE(ns::isKindOfClass(nullptr, objc_getClass("NSObject")));
  EXPECT_FALSE(ns::isKindOfClass(mutableArray, Nil));
  CFRelease(array);
  CFRelease(mutableArray);

  EXPECT_EQ(Chain(object_getClass(const_cast<__CFString*>(CFSTR("x")))), "__NSCFConstantString < NSString < NSObject");
  CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
  EXPECT_TRUE(ns::isKindOfClass(text, objc_getClass("NSMutableString")));
  CFRelease(text);
  int value = 1;
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberIntType, &value);
  EXPECT_EQ(Chain(object_getClass(const_cast<__CFNumber*>(number))), "__NSCFNumber < NSNumber < NSValue < NSObject");
  CFRelease(number);
  EXPECT_TRUE(ns::isKindOfClass(const_cast<__CFBoolean*>(kCFBooleanTrue), objc_getClass("NSNumber")));
  EXPECT_TRUE(ns::isKindOfClass(const_cast<__CFNull*>(kCFNull), objc_getClass("NSNull")));
  CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
  EXPECT_TRUE(ns::isKindOfClass(dictionary, objc_getClass("NSMutableDictionary")));
  CFRelease(dictionary);
  CFDataRef data = CFDataCreate(nullptr, nullptr, 0);
  EXPECT_EQ(Chain(object_getClass(const_cast<__CFData*>(data))), "NSConcreteData < NSData < NSObject");
  CFRelease(data);
  CFDateRef date = CFDateCreate(nullptr, 0);
  EXPECT_TRUE(ns::isKindOfClass(const_cast<__CFDate*>(date), objc_getClass("NSDate")));
  CFRelease(date);
  // A kind the table has not named gets a class of its own below NSObject.
  CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
  EXPECT_EQ(Chain(object_getClass(space)), "CGColorSpace < NSObject");
  CGColorSpaceRelease(space);

  EXPECT_EQ(objc_getClass("NoSuchClass"), Nil);
  EXPECT_EQ(objc_getClass(nullptr), Nil);
  EXPECT_EQ(object_getClass(nullptr), Nil);
  EXPECT_STREQ(class_getName(Nil), "nil");
  EXPECT_EQ(class_getSuperclass(objc_getClass("NSObject")), Nil);
  EXPECT_TRUE(ns::isSubclassOfClass(objc_getClass("NSMutableData"), objc_getClass("NSData")));
  EXPECT_FALSE(ns::isSubclassOfClass(objc_getClass("NSData"), objc_getClass("NSMutableData")));
}

TEST_F(ClassTableTest, LetsTheApplicationsClassesJoin) {
  Class quote = objc_allocateClassPair(Nil, "ZRTestQuote", sizeof(double));
  ASSERT_NE(quote, Nil);
  // Not usable before it is registered, and the name is taken from now on.
  EXPECT_EQ(objc_getClass("ZRTestQuote"), Nil);
  EXPECT_EQ(class_createInstance(quote, 0), nullptr);
  EXPECT_EQ(objc_allocateClassPair(Nil, "ZRTestQuote", 0), Nil);
  objc_registerClassPair(quote);
  EXPECT_EQ(objc_getClass("ZRTestQuote"), quote);
  Class stockQuote = objc_allocateClassPair(quote, "ZRTestStockQuote", 0);
  objc_registerClassPair(stockQuote);
  EXPECT_EQ(Chain(stockQuote), "ZRTestStockQuote < ZRTestQuote < NSObject");

  id instance = class_createInstance(stockQuote, 4);
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(object_getClass(instance), stockQuote);
  EXPECT_TRUE(ns::isKindOfClass(instance, quote));
  EXPECT_TRUE(ns::isKindOfClass(instance, objc_getClass("NSObject")));
  EXPECT_FALSE(ns::isKindOfClass(instance, objc_getClass("NSArray")));
  auto* ivars = static_cast<unsigned char*>(object_getIndexedIvars(instance));
  ASSERT_NE(ivars, nullptr);
  // The superclass's bytes and the instance's own, zeroed.
  for (size_t i = 0; i < sizeof(double) + 4; ++i) EXPECT_EQ(ivars[i], 0);
  double price = 12.5;
  std::memcpy(ivars, &price, sizeof price);
  EXPECT_NE(CFGetTypeID(instance), CFArrayGetTypeID());
  CFStringRef typeName = CFCopyTypeIDDescription(CFGetTypeID(instance));
  EXPECT_EQ(zrtest::Utf8(typeName), "ZRTestStockQuote");
  CFRelease(typeName);
  EXPECT_EQ(zrtest::Description(instance).rfind("<ZRTestStockQuote 0x", 0), 0u);
  CFRelease(instance);

  EXPECT_EQ(object_getIndexedIvars(const_cast<__CFString*>(CFSTR("x"))), nullptr);
  EXPECT_EQ(class_createInstance(objc_getClass("NSArray"), 0), nullptr);
  EXPECT_EQ(objc_allocateClassPair(Nil, nullptr, 0), Nil);
  EXPECT_EQ(objc_allocateClassPair(Nil, "", 0), Nil);
}

TEST_F(ClassTableTest, FailedAllocationsGiveNilAndLeakNothing) {
  Class cls = objc_allocateClassPair(Nil, "ZRTestFailing", 0);
  objc_registerClassPair(cls);
  zrtest::ExpectAllocationFailuresHandled(5, [cls]() -> CFTypeRef { return class_createInstance(cls, 8); });
}

}  // namespace
