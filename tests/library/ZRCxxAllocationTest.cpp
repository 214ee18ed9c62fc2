// ZRCxxAllocationTest.cpp: the library's exported functions with each C++ allocation in turn
// made to fail (std::bad_alloc inside a container of the library or of the host): no exception
// leaves a function, each fails as it documents (its status with an empty slot, or nil), writes
// its ERROR lines only when asked to, and leaves nothing behind.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::MakeData;
using zrtest::MakeString;

class ZRCxxAllocationTest : public zrtest::PrivatePreferencesTest {
 protected:
  // Sweeps a status function: `call` runs it with the given inLog and an empty out slot, and
  // returns its status; the slot's content is handed back for the loop to release. `failures` are
  // the statuses the function documents for its steps that return NULL.
  void SweepStatus(const std::function<OSStatus(Boolean inLog, CFTypeRef* outRef)>& call,
                   const std::set<OSStatus>& failures = {unknownErr}) {
    // Constant strings (CFSTR) are made once, on first use, like the program's own data: one call
    // before the sweep makes them.
    CFTypeRef first = NULL;
    ASSERT_EQ(call(false, &first), noErr);
    CFRelease(first);
    for (Boolean inLog : {false, true}) {
      SCOPED_TRACE(inLog ? "with inLog" : "without inLog");
      zrtest::ExpectCxxAllocationFailuresHandled(5000, [&]() -> CFTypeRef {
        LogCapture log;
        CFTypeRef result = NULL;
        OSStatus status = call(inLog, &result);
        if (status == noErr) {
          EXPECT_NE(result, nullptr);
          EXPECT_TRUE(log.lines().empty());
        } else {
          EXPECT_EQ(failures.count(status), 1u) << status;
          EXPECT_EQ(result, nullptr);
          EXPECT_EQ(log.lines().empty(), !inLog);
        }
        return result;
      });
    }
  }

  // Sweeps a function that returns an autoreleased object, nil on failure (after the ERROR lines
  // of the Copy form it calls with inLog set).
  void SweepAutoreleased(const std::function<CFTypeRef()>& call) {
    // A thread's first pool makes room for the pools to come: done here, before the sweep.
    {
      NSAutoreleasePool warmUp;
      ASSERT_NE(call(), nullptr);
    }
    zrtest::ExpectCxxAllocationFailuresHandled(5000, [&]() -> CFTypeRef {
      LogCapture log;
      CFTypeRef result = NULL;
      {
        NSAutoreleasePool pool;
        result = call();
        if (result) CFRetain(result);
      }
      return result;
    });
  }
};

TEST_F(ZRCxxAllocationTest, SizeString) {
  SweepStatus([](Boolean inLog, CFTypeRef* out) {
    return ZRCopySizeStringRef(1536, 0, 1, reinterpret_cast<CFStringRef*>(out), inLog);
  });
  SweepAutoreleased([] { return ZRSizeString(1536, 0, 1); });
}

TEST_F(ZRCxxAllocationTest, LocalizedNumberString) {
  double value = 1234567.891;
  SweepStatus([&](Boolean inLog, CFTypeRef* out) {
    return ZRCopyLocalizedNumberStringRef(&value, kCFNumberDoubleType, 2, reinterpret_cast<CFStringRef*>(out), inLog);
  });
  SweepAutoreleased([&] { return ZRLocalizedNumberStringOfValue(&value, kCFNumberDoubleType, 2); });
}

TEST_F(ZRCxxAllocationTest, RemainingTimeString) {
  SweepStatus([](Boolean inLog, CFTypeRef* out) {
    return ZRCopyRemainingTimeStringRef(3725, reinterpret_cast<CFStringRef*>(out), inLog);
  });
  SweepAutoreleased([] { return ZRRemainingTimeString(3725); });
}

TEST_F(ZRCxxAllocationTest, HexStrings) {
  CFDataRef data = MakeData(std::string("\x00\x7f\x80\xff hex", 8));
  SweepStatus([&](Boolean inLog, CFTypeRef* out) {
    CFMutableStringRef string = NULL;
    OSStatus status = ZRCopyHexStringRefOfDataRef(data, inLog, &string);
    *out = string;
    return status;
  });
  SweepStatus([&](Boolean inLog, CFTypeRef* out) {
    return ZRCopyDataRefOfHexStringRef(CFSTR("007f80ff20686578"), inLog, reinterpret_cast<CFDataRef*>(out));
  });
  CFRelease(data);
}

TEST_F(ZRCxxAllocationTest, StringEdits) {
  CFStringRef text = MakeString("  Grüße \t aus\n\n Köln  ");
  SweepStatus([&](Boolean inLog, CFTypeRef* out) {
    return ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(text, reinterpret_cast<CFStringRef*>(out), inLog);
  });
  SweepStatus(
      [&](Boolean inLog, CFTypeRef* out) {
        return ZRCopyStringRefOfStringRefAfterFindAndReplace(
            text, CFSTR("KÖLN"), CFSTR("Bonn"), kCFCompareCaseInsensitive, reinterpret_cast<CFStringRef*>(out), inLog);
      },
      {unknownErr, paramErr});
  CFRelease(text);
}

TEST_F(ZRCxxAllocationTest, CombinationString) {
  CFStringRef words[] = {CFSTR("pear"),  CFSTR("Apple"), CFSTR("pear"),
                         CFSTR("Äpfel"), CFSTR("apple"), CFSTR("Item 10")};
  CFArrayRef array = CFArrayCreate(NULL, reinterpret_cast<const void**>(words), 6, &kCFTypeArrayCallBacks);
  // The line of a failed count names its status through an autoreleased text, as an application
  // with its run loop's pool has it; the thread's first pool makes room before the sweep.
  { NSAutoreleasePool warmUp; }
  for (Boolean multiline : {false, true}) {
    CFStringRef whole = NULL;
    ASSERT_EQ(ZRCopyCombinationStringRefOfStringArrayRef(array, multiline, &whole, false), noErr);
    for (Boolean inLog : {false, true}) {
      SCOPED_TRACE(inLog ? "with inLog" : "without inLog");
      // A count that cannot be made leaves its group out of an answer that is still noErr (with
      // the lower function's line when asked); anything else fails as a whole, with unknownErr.
      zrtest::ExpectCxxAllocationFailuresHandled(
          5000,
          [&]() -> CFTypeRef {
            NSAutoreleasePool pool;
            LogCapture log;
            CFStringRef result = NULL;
            OSStatus status = ZRCopyCombinationStringRefOfStringArrayRef(array, multiline, &result, inLog);
            if (status == noErr) {
              EXPECT_NE(result, nullptr);
              if (!inLog) {
                EXPECT_TRUE(log.lines().empty());
              }
            } else {
              EXPECT_EQ(status, unknownErr);
              EXPECT_EQ(result, nullptr);
              EXPECT_EQ(log.lines().empty(), !inLog);
            }
            return result;
          },
          [&](CFTypeRef result) { return CFEqual(result, whole); });
    }
    CFRelease(whole);
  }
  CFRelease(array);
}
}  // namespace
