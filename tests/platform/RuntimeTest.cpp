// RuntimeTest.cpp: the object runtime: reference counting (atomic across threads),
// immortal objects, type identifiers, CFEqual, CFHash, CFCopyDescription, kCFNull,
// autorelease pools (nested, drained from outside in, per thread), and the testing seams
// for allocation failures and live-object counts.
#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/NSAutoreleasePool.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Description;
using zrtest::Number;
using zrtest::Utf8;

TEST(Runtime, RetainAndReleaseCount) {
  long live = ZRTestingLiveObjectCount();
  CFNumberRef number = Number(7);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live + 1);
  EXPECT_EQ(CFGetRetainCount(number), 1);
  EXPECT_EQ(CFRetain(number), number);
  EXPECT_EQ(CFGetRetainCount(number), 2);
  CFRelease(number);
  EXPECT_EQ(CFGetRetainCount(number), 1);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live + 1);
  CFRelease(number);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(Runtime, RetainAndReleaseAreAtomicAcrossThreads) {
  long live = ZRTestingLiveObjectCount();
  CFNumberRef number = Number(1);
  constexpr int kThreads = 8;
  constexpr int kRounds = 20000;
  // Every thread retains many times, then releases as many; the count must come out exact.
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([number] {
      for (int i = 0; i < kRounds; ++i) CFRetain(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CFGetRetainCount(number), 1 + kThreads * kRounds);
  threads.clear();
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([number] {
      for (int i = 0; i < kRounds; ++i) {
        CFRetain(number);
        CFRelease(number);
        CFRelease(number);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CFGetRetainCount(number), 1);
  CFRelease(number);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(Runtime, LastReleaseOnAnotherThreadFreesOnce) {
  long live = ZRTestingLiveObjectCount();
  for (int round = 0; round < 200; ++round) {
    CFNumberRef number = Number(round);
    CFRetain(number);
    CFRetain(number);
    std::thread a([number] { CFRelease(number); });
    std::thread b([number] { CFRelease(number); });
    CFRelease(number);
    a.join();
    b.join();
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(Runtime, ImmortalObjectsIgnoreRetainAndRelease) {
  for (CFTypeRef object : {static_cast<CFTypeRef>(kCFNull), static_cast<CFTypeRef>(kCFBooleanTrue),
                           static_cast<CFTypeRef>(CFSTR("constant")), static_cast<CFTypeRef>(kCFNumberNaN)}) {
    EXPECT_EQ(CFGetRetainCount(object), LONG_MAX);
    CFRetain(object);
    CFRelease(object);
    CFRelease(object);
    EXPECT_EQ(CFGetRetainCount(object), LONG_MAX);
  }
}

TEST(Runtime, TypeIdentifiersAreDistinctAndStable) {
  CFNumberRef number = Number(1);
  CFDataRef data = CFDataCreate(nullptr, nullptr, 0);
  CFMutableDataRef mutableData = CFDataCreateMutable(nullptr, 0);
  CFArrayRef array = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
  CFDictionaryRef dict = CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr);
  CFDateRef date = CFDateCreate(nullptr, 0);
  CFMutableStringRef mutableString = CFStringCreateMutable(nullptr, 0);

  EXPECT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
  EXPECT_EQ(CFGetTypeID(data), CFDataGetTypeID());
  EXPECT_EQ(CFGetTypeID(mutableData), CFDataGetTypeID());
  EXPECT_EQ(CFGetTypeID(array), CFArrayGetTypeID());
  EXPECT_EQ(CFGetTypeID(dict), CFDictionaryGetTypeID());
  EXPECT_EQ(CFGetTypeID(date), CFDateGetTypeID());
  EXPECT_EQ(CFGetTypeID(CFSTR("s")), CFStringGetTypeID());
  EXPECT_EQ(CFGetTypeID(mutableString), CFStringGetTypeID());
  EXPECT_EQ(CFGetTypeID(kCFBooleanFalse), CFBooleanGetTypeID());
  EXPECT_EQ(CFGetTypeID(kCFNull), CFNullGetTypeID());

  std::set<CFTypeID> ids = {CFNumberGetTypeID(), CFDataGetTypeID(),   CFArrayGetTypeID(),   CFDictionaryGetTypeID(),
                            CFDateGetTypeID(),   CFStringGetTypeID(), CFBooleanGetTypeID(), CFNullGetTypeID()};
  EXPECT_EQ(ids.size(), 8u);

  for (CFTypeRef object :
       {static_cast<CFTypeRef>(number), static_cast<CFTypeRef>(data), static_cast<CFTypeRef>(mutableData),
        static_cast<CFTypeRef>(array), static_cast<CFTypeRef>(dict), static_cast<CFTypeRef>(date),
        static_cast<CFTypeRef>(mutableString)})
    CFRelease(object);
}

TEST(Runtime, TypeIdentifierDescriptionsNameTheClass) {
  CFStringRef name = CFCopyTypeIDDescription(CFNumberGetTypeID());
  EXPECT_EQ(Utf8(name), "CFNumber");
  CFRelease(name);
  name = CFCopyTypeIDDescription(CFDictionaryGetTypeID());
  EXPECT_EQ(Utf8(name), "CFDictionary");
  CFRelease(name);
  EXPECT_EQ(CFCopyTypeIDDescription(0), nullptr);
  EXPECT_EQ(CFCopyTypeIDDescription(100000), nullptr);
}

TEST(Runtime, EqualAndHash) {
  CFNumberRef one = Number(1);
  CFNumberRef otherOne = Number(1);
  CFNumberRef two = Number(2);
  CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
  CFStringAppend(text, CFSTR("1"));

  EXPECT_TRUE(CFEqual(one, one));
  EXPECT_TRUE(CFEqual(one, otherOne));
  EXPECT_EQ(CFHash(one), CFHash(otherOne));
  EXPECT_FALSE(CFEqual(one, two));
  // Objects of different types are never equal, whatever they print as.
  EXPECT_EQ(Description(one), Utf8(text));
  EXPECT_FALSE(CFEqual(one, text));
  EXPECT_FALSE(CFEqual(text, one));
  // Equal strings of either mutability hash alike.
  EXPECT_TRUE(CFEqual(text, CFSTR("1")));
  EXPECT_EQ(CFHash(text), CFHash(CFSTR("1")));
  EXPECT_TRUE(CFEqual(kCFNull, kCFNull));
  EXPECT_FALSE(CFEqual(kCFNull, kCFBooleanFalse));

  for (CFTypeRef object : {static_cast<CFTypeRef>(one), static_cast<CFTypeRef>(otherOne), static_cast<CFTypeRef>(two),
                           static_cast<CFTypeRef>(text)})
    CFRelease(object);
}

TEST(Runtime, CopyDescription) {
  EXPECT_EQ(CFCopyDescription(nullptr), nullptr);
  EXPECT_EQ(Description(kCFNull), "<null>");
  EXPECT_EQ(Description(CFSTR("plain text")), "plain text");
  CFNumberRef number = Number(-12);
  EXPECT_EQ(Description(number), "-12");
  CFRelease(number);
  // A description is a new string that the caller owns.
  CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
  CFStringAppend(text, CFSTR("abc"));
  CFStringRef description = CFCopyDescription(text);
  CFStringAppend(text, CFSTR("def"));
  EXPECT_EQ(Utf8(description), "abc");
  CFRelease(description);
  CFRelease(text);
}

// Kinds without a description of their own print their class name and address, the runtime's
// default form.
TEST(Runtime, DefaultDescriptionNamesTheClassAndAddress) {
  CFLocaleRef locale = CFLocaleCreate(nullptr, CFSTR("de_DE"));
  ASSERT_NE(locale, nullptr);
  std::string prefix = "<CFLocale " + zrtest::Pointer(locale) + " [";
  std::string description = Description(locale);
  EXPECT_EQ(description.compare(0, prefix.size(), prefix), 0) << description;
  EXPECT_EQ(description.back(), '>') << description;
  CFRelease(locale);
}

TEST(Runtime, NullObject) {
  EXPECT_NE(kCFNull, nullptr);
  EXPECT_EQ(CFGetTypeID(kCFNull), CFNullGetTypeID());
  EXPECT_NE(CFNullGetTypeID(), CFBooleanGetTypeID());
  EXPECT_EQ(CFGetRetainCount(kCFNull), LONG_MAX);
}

TEST(Autorelease, ObjectIsReleasedWhenItsPoolDrains) {
  long live = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    CFNumberRef number = Number(3);
    EXPECT_EQ(CFAutorelease(number), number);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(ZRTestingLiveObjectCount(), live + 1);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(Autorelease, NullStopsTheProcess) {
  // As CFRetain(NULL) does: autoreleasing NULL is a programming error.
  EXPECT_DEATH(
      {
        NSAutoreleasePool pool;
        CFAutorelease(nullptr);
      },
      "CFAutorelease\\(\\) called with NULL");
}

TEST(Autorelease, NestedPoolsDrainInnermostFirst) {
  NSAutoreleasePool outer;
  CFNumberRef outerObject = Number(1);
  CFNumberRef innerObject = Number(2);
  CFRetain(outerObject);
  CFRetain(innerObject);
  CFAutorelease(outerObject);
  {
    NSAutoreleasePool inner;
    // Autorelease goes to the innermost pool of the thread.
    CFAutorelease(innerObject);
    NSAutoreleasePool::addObject(CFRetain(innerObject));
    EXPECT_EQ(CFGetRetainCount(innerObject), 3);
    inner.drain();
    EXPECT_EQ(CFGetRetainCount(innerObject), 1);
    // Draining twice does nothing more.
    inner.drain();
    EXPECT_EQ(CFGetRetainCount(innerObject), 1);
    EXPECT_EQ(CFGetRetainCount(outerObject), 2);
  }
  EXPECT_EQ(CFGetRetainCount(outerObject), 2);
  outer.drain();
  EXPECT_EQ(CFGetRetainCount(outerObject), 1);
  CFRelease(outerObject);
  CFRelease(innerObject);
}

TEST(Autorelease, DrainingAnOuterPoolDrainsTheInnerOnes) {
  CFNumberRef a = Number(1);
  CFNumberRef b = Number(2);
  CFNumberRef c = Number(3);
  for (CFNumberRef n : {a, b, c}) CFRetain(n);
  auto* outer = new NSAutoreleasePool();
  CFAutorelease(a);
  auto* middle = new NSAutoreleasePool();
  CFAutorelease(b);
  auto* inner = new NSAutoreleasePool();
  CFAutorelease(c);
  outer->drain();
  for (CFNumberRef n : {a, b, c}) EXPECT_EQ(CFGetRetainCount(n), 1);
  // The inner pools are gone with the outer one; destroying them releases nothing again.
  delete inner;
  delete middle;
  delete outer;
  for (CFNumberRef n : {a, b, c}) EXPECT_EQ(CFGetRetainCount(n), 1);
  // A pool made afterwards works as usual.
  {
    NSAutoreleasePool pool;
    CFAutorelease(CFRetain(a));
    EXPECT_EQ(CFGetRetainCount(a), 2);
  }
  EXPECT_EQ(CFGetRetainCount(a), 1);
  for (CFNumberRef n : {a, b, c}) CFRelease(n);
}

TEST(Autorelease, ReleasingAnObjectMayAutoreleaseOthersIntoTheDrainingPool) {
  // An array released by the pool releases its element, which was also autoreleased.
  long live = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    CFNumberRef number = Number(5);
    const void* values[] = {number};
    CFArrayRef array = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
    CFAutorelease(number);
    CFAutorelease(array);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(Autorelease, PoolsArePerThread) {
  CFNumberRef mainObject = Number(1);
  CFRetain(mainObject);
  NSAutoreleasePool mainPool;
  CFAutorelease(mainObject);

  CFNumberRef threadObject = Number(2);
  CFRetain(threadObject);
  std::thread worker([&] {
    NSAutoreleasePool pool;
    CFAutorelease(threadObject);
    pool.drain();
    // Draining this thread's pool left the main thread's pool alone.
    EXPECT_EQ(CFGetRetainCount(mainObject), 2);
  });
  worker.join();
  EXPECT_EQ(CFGetRetainCount(threadObject), 1);
  EXPECT_EQ(CFGetRetainCount(mainObject), 2);
  mainPool.drain();
  EXPECT_EQ(CFGetRetainCount(mainObject), 1);
  CFRelease(mainObject);
  CFRelease(threadObject);
}

TEST(Autorelease, AThreadThatEndsWithAPoolOpenDrainsIt) {
  CFNumberRef number = Number(9);
  CFRetain(number);
  std::thread worker([number] {
    // A pool that is never destroyed: the thread's end drains it.
    alignas(NSAutoreleasePool) static thread_local unsigned char storage[sizeof(NSAutoreleasePool)];
    new (storage) NSAutoreleasePool();
    CFAutorelease(number);
  });
  worker.join();
  EXPECT_EQ(CFGetRetainCount(number), 1);
  CFRelease(number);
}

TEST(Autorelease, WithoutAPoolTheObjectLeaksWithAMessage) {
  CFNumberRef number = Number(4);
  std::string messages;
  std::thread worker([number, &messages] {
    testing::internal::CaptureStderr();
    CFAutorelease(number);
    messages = testing::internal::GetCapturedStderr();
  });
  worker.join();
  EXPECT_NE(messages.find("autoreleased with no pool in place - just leaking"), std::string::npos) << messages;
  EXPECT_EQ(CFGetRetainCount(number), 1);
  CFRelease(number);
}

TEST(TestingSeams, FailAllocationMakesTheNthCreationReturnNull) {
  long live = ZRTestingLiveObjectCount();
  ZRTestingFailAllocation(3);
  EXPECT_TRUE(ZRTestingFailurePending());
  CFNumberRef first = Number(1);
  CFDataRef second = CFDataCreate(nullptr, nullptr, 0);
  EXPECT_TRUE(ZRTestingFailurePending());
  CFArrayRef third = CFArrayCreate(nullptr, nullptr, 0, nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
  CFDateRef fourth = CFDateCreate(nullptr, 0);
  EXPECT_NE(first, nullptr);
  EXPECT_NE(second, nullptr);
  EXPECT_EQ(third, nullptr);
  EXPECT_NE(fourth, nullptr);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live + 3);
  CFRelease(first);
  CFRelease(second);
  CFRelease(fourth);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(TestingSeams, ZeroOrNegativeDisarms) {
  ZRTestingFailAllocation(1);
  ZRTestingFailAllocation(0);
  EXPECT_FALSE(ZRTestingFailurePending());
  CFNumberRef number = Number(1);
  EXPECT_NE(number, nullptr);
  CFRelease(number);
  ZRTestingFailAllocation(2);
  ZRTestingFailAllocation(-5);
  EXPECT_FALSE(ZRTestingFailurePending());
}

TEST(TestingSeams, FailuresAndCountsArePerThread) {
  ZRTestingFailAllocation(1);
  CFNumberRef otherThreads = nullptr;
  long otherCount = -1;
  std::thread worker([&] {
    ZRTestingResetAllocationCount();
    otherThreads = Number(1);
    otherCount = ZRTestingAllocationCount();
  });
  worker.join();
  EXPECT_NE(otherThreads, nullptr);
  EXPECT_EQ(otherCount, 1);
  EXPECT_TRUE(ZRTestingFailurePending());
  EXPECT_EQ(Number(2), nullptr);
  CFRelease(otherThreads);
}

TEST(TestingSeams, AllocationCountCountsCreations) {
  ZRTestingResetAllocationCount();
  EXPECT_EQ(ZRTestingAllocationCount(), 0);
  CFNumberRef number = Number(1);
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  // Adding to a collection is not a creation.
  CFArrayAppendValue(array, number);
  EXPECT_EQ(ZRTestingAllocationCount(), 2);
  CFRelease(array);
  CFRelease(number);
  ZRTestingResetAllocationCount();
  EXPECT_EQ(ZRTestingAllocationCount(), 0);
}

TEST(TestingSeams, LiveObjectCountFollowsCreationAndFreeing) {
  long live = ZRTestingLiveObjectCount();
  std::vector<CFTypeRef> objects;
  for (int i = 0; i < 10; ++i) objects.push_back(Number(i));
  objects.push_back(CFDataCreate(nullptr, nullptr, 0));
  objects.push_back(CFDateCreate(nullptr, 0));
  EXPECT_EQ(ZRTestingLiveObjectCount(), live + 12);
  // Constants do not count.
  CFRetain(kCFBooleanTrue);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live + 12);
  for (CFTypeRef object : objects) CFRelease(object);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(RuntimeDeathTest, NullArgumentsHalt) {
  EXPECT_DEATH(CFRetain(nullptr), "CFRetain\\(\\) called with NULL");
  EXPECT_DEATH(CFRelease(nullptr), "CFRelease\\(\\) called with NULL");
  EXPECT_DEATH(CFGetTypeID(nullptr), "CFGetTypeID\\(\\) called with NULL");
}

}  // namespace
