// ZRRemainingTimeStringTest.cpp: remaining-time phrases from the test bundle's English and
// German strings: the steps, their boundaries, odd estimates, and the failure paths.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::Pointer;
using zrtest::UseLocale;
using zrtest::Utf8;
using zrtest::WithoutLine;
using zrtest::WithoutLines;

std::string Line(const std::string& message) { return zrtest::ErrorLine("ZRCopyRemainingTimeStringRef", message); }

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Each test runs in the language it names, with preferences in a folder of its own.
class ZRRemainingTimeStringTest : public zrtest::PrivatePreferencesTest {
 protected:
  static std::string Remaining(double seconds) {
    CFStringRef string = NULL;
    OSStatus status = ZRCopyRemainingTimeStringRef(seconds, &string, false);
    if (status != noErr) return "status " + std::to_string(status) + (string ? " with a string" : "");
    std::string text = Utf8(string);
    CFRelease(string);
    return text;
  }

  NSAutoreleasePool pool_;
};

TEST_F(ZRRemainingTimeStringTest, SecondsInSteps) {
  for (double seconds : {0.0, 0.1, 4.99, 5.0, -30.0, -1e20, kNaN, -kInfinity})
    EXPECT_EQ(Remaining(seconds), "5 seconds remaining") << seconds;
  EXPECT_EQ(Remaining(6), "10 seconds remaining");
  EXPECT_EQ(Remaining(10), "10 seconds remaining");
  EXPECT_EQ(Remaining(10.01), "15 seconds remaining");
  EXPECT_EQ(Remaining(50), "50 seconds remaining");
  EXPECT_EQ(Remaining(54.9), "55 seconds remaining");
}

TEST_F(ZRRemainingTimeStringTest, OneMinute) {
  EXPECT_EQ(Remaining(55), "About a minute remaining");
  EXPECT_EQ(Remaining(60), "About a minute remaining");
  EXPECT_EQ(Remaining(89.9), "About a minute remaining");
}

TEST_F(ZRRemainingTimeStringTest, Minutes) {
  EXPECT_EQ(Remaining(90), "About 2 minutes remaining");
  EXPECT_EQ(Remaining(91), "About 2 minutes remaining");
  EXPECT_EQ(Remaining(120), "About 2 minutes remaining");
  EXPECT_EQ(Remaining(121), "About 3 minutes remaining");
  EXPECT_EQ(Remaining(3299), "About 55 minutes remaining");
}

TEST_F(ZRRemainingTimeStringTest, OneHour) {
  EXPECT_EQ(Remaining(3300), "About an hour remaining");
  EXPECT_EQ(Remaining(5399), "About an hour remaining");
}

TEST_F(ZRRemainingTimeStringTest, HoursAreTruncatedAndAtMostTwo) {
  EXPECT_EQ(Remaining(5400), "About 1 hours remaining");
  EXPECT_EQ(Remaining(7199), "About 1 hours remaining");
  EXPECT_EQ(Remaining(7200), "About 2 hours remaining");
  EXPECT_EQ(Remaining(10800), "About 2 hours remaining");
  EXPECT_EQ(Remaining(36000), "About 2 hours remaining");
  EXPECT_EQ(Remaining(1e20), "About 2 hours remaining");
  EXPECT_EQ(Remaining(kInfinity), "About 2 hours remaining");
}

TEST_F(ZRRemainingTimeStringTest, GermanFromItsUtf16Table) {
  UseLocale("de_DE.UTF-8");
  EXPECT_EQ(Remaining(kNaN), "Noch 5 Sekunden");
  EXPECT_EQ(Remaining(54.9), "Noch 55 Sekunden");
  EXPECT_EQ(Remaining(55), "Noch ungefähr eine Minute");
  EXPECT_EQ(Remaining(90), "Noch ungefähr 2 Minuten");
  EXPECT_EQ(Remaining(3299), "Noch ungefähr 55 Minuten");
  EXPECT_EQ(Remaining(3300), "Noch ungefähr eine Stunde");
  EXPECT_EQ(Remaining(5400), "Noch ungefähr 1 Stunden");
  EXPECT_EQ(Remaining(36000), "Noch ungefähr 2 Stunden");
}

TEST_F(ZRRemainingTimeStringTest, LanguageListChoosesTheLocalization) {
  UseLocale("en_US.UTF-8");
  setenv("LANGUAGE", "it_IT:de", 1);
  EXPECT_EQ(Remaining(30), "Noch 30 Sekunden");
  // A language the bundle lacks falls back to its development region, English.
  setenv("LANGUAGE", "ja_JP:it", 1);
  EXPECT_EQ(Remaining(30), "30 seconds remaining");
}

TEST_F(ZRRemainingTimeStringTest, WithoutATranslationTheKeyComesBack) {
  // The bundle's French table lacks these keys: the lookup gives the key, which has no
  // placeholder, so the count does not show.
  UseLocale("fr_FR.UTF-8");
  EXPECT_EQ(Remaining(30), "Process_General_SecondsRemaining");
  EXPECT_EQ(Remaining(60), "Process_General_OneMinuteRemaining");
  EXPECT_EQ(Remaining(600), "Process_General_MinutesRemaining");
  EXPECT_EQ(Remaining(3600), "Process_General_OneHourRemaining");
  EXPECT_EQ(Remaining(9000), "Process_General_HoursRemaining");
}

TEST_F(ZRRemainingTimeStringTest, AppleLanguagesOfTheApplicationChoosesTheLocalization) {
  ASSERT_TRUE(zrtest::WriteFile(
      configHome_ + "/org.zrframework.tests.plist",
      zrtest::XMLPropertyList("<dict>\n<key>AppleLanguages</key>\n<array><string>de</string></array>\n</dict>\n")));
  EXPECT_EQ(Remaining(7200), "Noch ungefähr 2 Stunden");
}

TEST_F(ZRRemainingTimeStringTest, BadSlotFails) {
  LogCapture log;
  EXPECT_EQ(ZRCopyRemainingTimeStringRef(30, NULL, true), paramErr);
  CFStringRef full = CFSTR("full");
  CFStringRef slot = full;
  EXPECT_EQ(ZRCopyRemainingTimeStringRef(30, &slot, true), paramErr);
  EXPECT_EQ(slot, full);
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{Line("outStringRef: 0x0"), Line("outStringRef: " + Pointer(&slot))}));
  log.clear();
  EXPECT_EQ(ZRCopyRemainingTimeStringRef(30, NULL, false), paramErr);
  EXPECT_EQ(ZRCopyRemainingTimeStringRef(30, &slot, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRRemainingTimeStringTest, RemainingTimeStringIsAutoreleased) {
  // The first lookup reads the bundle's information property list and strings table, which
  // stay with the bundle.
  EXPECT_EQ(Remaining(100), "About 2 minutes remaining");
  long live = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    EXPECT_EQ(Utf8(ZRRemainingTimeString(100)), "About 2 minutes remaining");
    EXPECT_EQ(Utf8(ZRRemainingTimeString(60)), "About a minute remaining");
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

// Every allocation of the call fails in turn: each failure leaves the slot empty and nothing
// allocated, and reports "*outStringRef is NULL" (with inLog) or nothing (without).
TEST_F(ZRRemainingTimeStringTest, AllocationFailures) {
  for (double seconds : {30.0, 60.0, 600.0, 3600.0, 9000.0}) {
    // Reads the bundle's information property list and strings table first: they stay with it.
    EXPECT_NE(Remaining(seconds).substr(0, 6), "status");
    long live = ZRTestingLiveObjectCount();
    bool failed = false;
    for (long n = 1; n <= 64; ++n) {
      LogCapture log;
      CFStringRef string = NULL;
      ZRTestingFailAllocation(n);
      OSStatus status = ZRCopyRemainingTimeStringRef(seconds, &string, true);
      bool pending = ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      if (status == noErr) {
        ASSERT_NE(string, nullptr);
        CFRelease(string);
        EXPECT_TRUE(log.lines().empty());
      } else {
        failed = true;
        EXPECT_EQ(status, unknownErr);
        EXPECT_EQ(string, nullptr);
        EXPECT_EQ(WithoutLines(log.lines()), std::vector<std::string>{Line("*outStringRef is NULL")});
        log.clear();
        ZRTestingFailAllocation(n);
        EXPECT_EQ(ZRCopyRemainingTimeStringRef(seconds, &string, false), unknownErr);
        ZRTestingFailAllocation(0);
        EXPECT_EQ(string, nullptr);
        EXPECT_TRUE(log.lines().empty());
      }
      EXPECT_EQ(ZRTestingLiveObjectCount(), live) << seconds << " " << n;
      if (pending) break;
    }
    EXPECT_TRUE(failed) << seconds;
  }
}

TEST_F(ZRRemainingTimeStringTest, RemainingTimeStringFailsWithNilAndALine) {
  // The first allocation whose failure the call cannot survive gives nil and one line.
  bool sawNil = false;
  for (long n = 1; n <= 16 && !sawNil; ++n) {
    LogCapture log;
    ZRTestingFailAllocation(n);
    NSString* string = ZRRemainingTimeString(30);
    ZRTestingFailAllocation(0);
    if (string == nil) {
      sawNil = true;
      EXPECT_EQ(WithoutLines(log.lines()), std::vector<std::string>{Line("*outStringRef is NULL")});
    } else {
      EXPECT_TRUE(log.lines().empty());
    }
  }
  EXPECT_TRUE(sawNil);
}

}  // namespace
