// SharedStateThreadsTest.cpp: the host's state that threads share, used from several threads at
// once: reference counts of one object, each thread's autorelease pools, a bundle's information
// and strings tables filled on first use, the class table, and preferences set, read and synchronized
// by several threads. Meant for ThreadSanitizer (the tsan preset) as much as for the plain build.
#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/Foundation.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "CFBundle/BundleImpl.h"
#include "TestSupport.h"

namespace {

constexpr int kThreads = 4;

template <typename Body>
void RunOnThreads(Body body) {
  std::vector<std::thread> threads;
  for (int index = 0; index < kThreads; ++index) threads.emplace_back(body, index);
  for (std::thread& thread : threads) thread.join();
}

class SharedStateThreadsTest : public zrtest::LeakCheckedTest {};

TEST_F(SharedStateThreadsTest, ReferenceCountsOfOneObject) {
  CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
  ASSERT_NE(string, nullptr);
  RunOnThreads([string](int) {
    for (int i = 0; i < 20000; ++i) {
      CFRetain(string);
      CFRelease(string);
    }
  });
  EXPECT_EQ(CFGetRetainCount(string), 1);
  // Each thread keeps references a while, then lets them all go.
  RunOnThreads([string](int) {
    for (int i = 0; i < 100; ++i) CFRetain(string);
    for (int i = 0; i < 100; ++i) CFRelease(string);
  });
  EXPECT_EQ(CFGetRetainCount(string), 1);
  CFRelease(string);
}

TEST_F(SharedStateThreadsTest, EachThreadDrainsItsOwnPools) {
  CFStringRef shared = CFStringCreateWithCString(nullptr, "shared", kCFStringEncodingUTF8);
  RunOnThreads([shared](int index) {
    for (int round = 0; round < 200; ++round) {
      NSAutoreleasePool outer;
      CFAutorelease(CFRetain(shared));
      {
        NSAutoreleasePool inner;
        CFAutorelease(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%d-%d"), index, round));
        CFAutorelease(CFNumberCreate(nullptr, kCFNumberIntType, &round));
      }
      CFAutorelease(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("abc"), 3));
    }
  });
  EXPECT_EQ(CFGetRetainCount(shared), 1);
  CFRelease(shared);
}

TEST_F(SharedStateThreadsTest, BundleTablesFilledOnFirstUse) {
  CFBundleRef bundle = zrp::CreateBundleWithPath(ZR_TEST_BUNDLE_PATH);
  ASSERT_NE(bundle, nullptr);
  std::atomic<int> wrong{0};
  RunOnThreads([bundle, &wrong](int) {
    for (int i = 0; i < 50; ++i) {
      if (!CFBundleGetIdentifier(bundle)) ++wrong;
      CFStringRef text =
          CFBundleCopyLocalizedString(bundle, CFSTR("Process_General_OneMinuteRemaining"), nullptr, nullptr);
      if (!text || zrtest::Utf8(text) != "About a minute remaining") ++wrong;
      if (text) CFRelease(text);
    }
  });
  EXPECT_EQ(wrong.load(), 0);
  CFRelease(bundle);
}

TEST_F(SharedStateThreadsTest, ClassTableLookups) {
  std::atomic<int> wrong{0};
  RunOnThreads([&wrong](int) {
    for (int i = 0; i < 200; ++i) {
      Class string = objc_getClass("NSString");
      if (!string || std::string(class_getName(class_getSuperclass(string))) != "NSObject") ++wrong;
    }
  });
  EXPECT_EQ(wrong.load(), 0);
}

class SharedPreferencesThreadsTest : public zrtest::PrivatePreferencesTest {};

TEST_F(SharedPreferencesThreadsTest, SetReadAndSynchronizeFromThreads) {
  CFStringRef domain = CFSTR("org.zrframework.threads");
  std::atomic<int> wrong{0};
  RunOnThreads([&](int index) {
    CFStringRef key = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("Key%d"), index);
    for (int value = 1; value <= 50; ++value) {
      CFNumberRef number = CFNumberCreate(nullptr, kCFNumberIntType, &value);
      CFPreferencesSetAppValue(key, number, domain);
      CFRelease(number);
      // Every thread sees its own last write, whatever the others do meanwhile.
      CFPropertyListRef read = CFPreferencesCopyAppValue(key, domain);
      if (!read || zrtest::IntOf(read) != value) ++wrong;
      if (read) CFRelease(read);
      if (value % 10 == 0 && !CFPreferencesAppSynchronize(domain)) ++wrong;
    }
    CFRelease(key);
  });
  EXPECT_EQ(wrong.load(), 0);
  ASSERT_TRUE(CFPreferencesAppSynchronize(domain));
  CFArrayRef keys = CFPreferencesCopyKeyList(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  ASSERT_NE(keys, nullptr);
  EXPECT_EQ(CFArrayGetCount(keys), kThreads);
  CFRelease(keys);
  for (int index = 0; index < kThreads; ++index) {
    CFStringRef key = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("Key%d"), index);
    CFPropertyListRef value = CFPreferencesCopyAppValue(key, domain);
    EXPECT_EQ(value ? zrtest::IntOf(value) : -1, 50);
    if (value) CFRelease(value);
    CFRelease(key);
  }
}

}  // namespace
