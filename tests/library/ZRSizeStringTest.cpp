// ZRSizeStringTest.cpp: byte counts and numbers as text in English and German locales, unit
// and decimals selectors, the fixed one-unit texts, and every failure path.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::ErrorLine;
using zrtest::LogCapture;
using zrtest::Pointer;
using zrtest::UseLocale;
using zrtest::Utf8;
using zrtest::WithoutLine;
using zrtest::WithoutLines;

// Each test runs in the locale it names, with preferences in a folder of its own.
class ZRSizeStringTest : public zrtest::PrivatePreferencesTest {
 protected:
  // The text for a size, or the status when there is none.
  static std::string Size(UInt64 size, SInt32 unit, SInt32 decimals) {
    CFStringRef string = NULL;
    OSStatus status = ZRCopySizeStringRef(size, unit, decimals, &string, false);
    if (status != noErr) return "status " + std::to_string(status) + (string ? " with a string" : "");
    std::string text = Utf8(string);
    CFRelease(string);
    return text;
  }

  template <class T>
  static std::string Number(CFNumberType type, T value, SInt32 decimals) {
    CFStringRef string = NULL;
    OSStatus status = ZRCopyLocalizedNumberStringRef(&value, type, decimals, &string, false);
    if (status != noErr) return "status " + std::to_string(status) + (string ? " with a string" : "");
    std::string text = Utf8(string);
    CFRelease(string);
    return text;
  }

  NSAutoreleasePool pool_;
};

constexpr UInt64 kKB = 1024;
constexpr UInt64 kMB = 1048576;
constexpr UInt64 kGB = 1073741824;

TEST_F(ZRSizeStringTest, AutomaticUnitInEnglish) {
  for (SInt32 automatic : {0, 1}) {
    EXPECT_EQ(Size(0, automatic, 0), "0 B");
    EXPECT_EQ(Size(1, automatic, 3), "1 B");
    EXPECT_EQ(Size(1023, automatic, 2), "1,023 B");
    for (SInt32 decimals : {0, 1, 2, 3, 7}) EXPECT_EQ(Size(kKB, automatic, decimals), "1 KB");
    EXPECT_EQ(Size(1025, automatic, 2), "1 KB");
    EXPECT_EQ(Size(1025, automatic, 3), "1.001 KB");
    EXPECT_EQ(Size(1536, automatic, 1), "1.5 KB");
    EXPECT_EQ(Size(1536, automatic, 2), "1.5 KB");
    EXPECT_EQ(Size(1536, automatic, 0), "2 KB");
    EXPECT_EQ(Size(kMB - 1, automatic, 0), "1,024 KB");
    EXPECT_EQ(Size(kMB - 1, automatic, 3), "1,023.999 KB");
    EXPECT_EQ(Size(kMB, automatic, 2), "1 MB");
    EXPECT_EQ(Size(kMB + kMB / 4, automatic, 2), "1.25 MB");
    EXPECT_EQ(Size(kGB - 1, automatic, 1), "1,024 MB");
    EXPECT_EQ(Size(kGB, automatic, 1), "1 GB");
    EXPECT_EQ(Size(kGB * 3 / 2, automatic, 1), "1.5 GB");
    EXPECT_EQ(Size(kGB * 1024, automatic, 0), "1,024 GB");
    EXPECT_EQ(Size(std::numeric_limits<UInt64>::max(), automatic, 0), "17,179,869,184 GB");
  }
}

TEST_F(ZRSizeStringTest, AutomaticUnitInGerman) {
  UseLocale("de_DE.UTF-8");
  EXPECT_EQ(Size(0, 0, 0), "0 B");
  EXPECT_EQ(Size(1023, 0, 0), "1.023 B");
  EXPECT_EQ(Size(kKB, 0, 2), "1 KB");
  EXPECT_EQ(Size(1536, 0, 1), "1,5 KB");
  EXPECT_EQ(Size(1536, 0, 2), "1,5 KB");
  EXPECT_EQ(Size(kMB - 1, 0, 0), "1.024 KB");
  EXPECT_EQ(Size(kMB, 1, 0), "1 MB");
  EXPECT_EQ(Size(kMB + kMB / 4, 0, 3), "1,25 MB");
  EXPECT_EQ(Size(kGB, 0, 3), "1 GB");
  EXPECT_EQ(Size(kGB * 1024, 0, 0), "1.024 GB");
}

TEST_F(ZRSizeStringTest, RoundingIsTheFormattersHalfEven) {
  EXPECT_EQ(Size(2560, 3, 0), "2 KB");    // 2.5
  EXPECT_EQ(Size(3584, 3, 0), "4 KB");    // 3.5
  EXPECT_EQ(Size(1280, 3, 1), "1.2 KB");  // 1.25
}

TEST_F(ZRSizeStringTest, ForcedUnits) {
  EXPECT_EQ(Size(kGB, 2, 0), "1,073,741,824 B");
  EXPECT_EQ(Size(kGB, 2, 9), "1,073,741,824 B");
  EXPECT_EQ(Size(kKB, 3, 1), "1 KB");
  EXPECT_EQ(Size(kMB, 4, 1), "1 MB");
  EXPECT_EQ(Size(kGB, 5, 1), "1 GB");
  EXPECT_EQ(Size(kMB, 3, 0), "1,024 KB");
  EXPECT_EQ(Size(kGB, 4, 0), "1,024 MB");
  EXPECT_EQ(Size(500, 3, 1), "0.5 KB");
  EXPECT_EQ(Size(500, 4, 2), "0 MB");
  EXPECT_EQ(Size(500, 4, 3), "0 MB");
  EXPECT_EQ(Size(5 * kMB, 5, 3), "0.005 GB");
  EXPECT_EQ(Size(0, 5, 3), "0 GB");
  UseLocale("de_DE.UTF-8");
  EXPECT_EQ(Size(kGB, 2, 0), "1.073.741.824 B");
  EXPECT_EQ(Size(500, 3, 1), "0,5 KB");
}

TEST_F(ZRSizeStringTest, DecimalsOutsideTheRangeUseTheLocalesPattern) {
  // 1234567890 bytes are 1177.3756885528564 MB; the locale's own pattern has three decimals
  // and no unit.
  EXPECT_EQ(Size(1234567890, 4, 7), "1,177.376");
  EXPECT_EQ(Size(1234567890, 0, -1), "1.15");  // automatic: 1.1497809458523989 GB
  EXPECT_EQ(Size(1536, 0, 4), "1.5");
  UseLocale("de_DE.UTF-8");
  EXPECT_EQ(Size(1234567890, 4, 7), "1.177,376");
  // The fixed texts do not depend on the decimals.
  EXPECT_EQ(Size(kMB, 0, 7), "1 MB");
}

TEST_F(ZRSizeStringTest, UnknownUnitSelectorsFail) {
  for (SInt32 unit : {6, -1, 100, std::numeric_limits<SInt32>::min()}) {
    LogCapture log;
    CFStringRef string = NULL;
    EXPECT_EQ(ZRCopySizeStringRef(1536, unit, 1, &string, true), unknownErr) << unit;
    EXPECT_EQ(string, nullptr);
    EXPECT_EQ(WithoutLines(log.lines()),
              std::vector<std::string>{
                  ErrorLine("ZRCopySizeStringRef", "CFNumberFormatterCreateStringWithValue returns NULL")});
    log.clear();
    EXPECT_EQ(ZRCopySizeStringRef(1536, unit, 1, &string, false), unknownErr);
    EXPECT_EQ(string, nullptr);
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST_F(ZRSizeStringTest, BadSlotFails) {
  LogCapture log;
  EXPECT_EQ(ZRCopySizeStringRef(1, 0, 0, NULL, true), paramErr);
  CFStringRef full = CFSTR("full");
  CFStringRef slot = full;
  EXPECT_EQ(ZRCopySizeStringRef(1, 0, 0, &slot, true), paramErr);
  EXPECT_EQ(slot, full);
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{ErrorLine("ZRCopySizeStringRef", "outStringRef: 0x0"),
                                      ErrorLine("ZRCopySizeStringRef", "outStringRef: " + Pointer(&slot))}));
  log.clear();
  EXPECT_EQ(ZRCopySizeStringRef(1, 0, 0, NULL, false), paramErr);
  EXPECT_EQ(ZRCopySizeStringRef(1, 0, 0, &slot, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRSizeStringTest, SizeStringIsAutoreleased) {
  EXPECT_EQ(Size(1536, 0, 1), "1.5 KB");
  long live = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    NSString* string = ZRSizeString(1536, 0, 1);
    EXPECT_EQ(Utf8(string), "1.5 KB");
    NSString* fixed = ZRSizeString(kGB, 0, 1);
    EXPECT_EQ(Utf8(fixed), "1 GB");
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST_F(ZRSizeStringTest, SizeStringFailsWithNilAndALine) {
  LogCapture log;
  EXPECT_EQ(ZRSizeString(1536, 6, 1), nil);
  EXPECT_EQ(WithoutLines(log.lines()),
            std::vector<std::string>{
                ErrorLine("ZRCopySizeStringRef", "CFNumberFormatterCreateStringWithValue returns NULL")});
}

TEST_F(ZRSizeStringTest, NumbersInEnglish) {
  EXPECT_EQ(Number(kCFNumberSInt32Type, SInt32{1234567}, 2), "1,234,567");
  EXPECT_EQ(Number(kCFNumberIntType, int{-1234}, 0), "-1,234");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, 3), "3.142");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, 2), "3.14");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, 1), "3.1");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, 0), "3");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, 9), "3");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, -1), "3");
  EXPECT_EQ(Number(kCFNumberDoubleType, 2.5, 0), "2");
  EXPECT_EQ(Number(kCFNumberDoubleType, 1.5, 3), "1.5");
  EXPECT_EQ(Number(kCFNumberFloatType, 1.25f, 1), "1.2");
  EXPECT_EQ(Number(kCFNumberDoubleType, 1234567.891, 2), "1,234,567.89");
  EXPECT_EQ(Number(kCFNumberSInt64Type, std::numeric_limits<SInt64>::max(), 0), "9,223,372,036,854,775,807");
  EXPECT_EQ(Number(kCFNumberCFIndexType, CFIndex{-5}, 0), "-5");
  EXPECT_EQ(Number(kCFNumberSInt8Type, SInt8{-8}, 0), "-8");
  EXPECT_EQ(Number(kCFNumberSInt16Type, SInt16{31000}, 0), "31,000");
  EXPECT_EQ(Number(kCFNumberDoubleType, std::nan(""), 0), "NaN");
}

TEST_F(ZRSizeStringTest, NumbersInGerman) {
  UseLocale("de_DE.UTF-8");
  EXPECT_EQ(Number(kCFNumberSInt32Type, SInt32{1234567}, 2), "1.234.567");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, 3), "3,142");
  EXPECT_EQ(Number(kCFNumberDoubleType, 1234567.891, 2), "1.234.567,89");
  EXPECT_EQ(Number(kCFNumberDoubleType, 3.14159, 9), "3");
}

TEST_F(ZRSizeStringTest, NumberOfAnUnknownTypeFails) {
  LogCapture log;
  int value = 5;
  CFStringRef string = NULL;
  EXPECT_EQ(ZRCopyLocalizedNumberStringRef(&value, 0, 0, &string, true), unknownErr);
  EXPECT_EQ(string, nullptr);
  EXPECT_EQ(ZRCopyLocalizedNumberStringRef(&value, kCFNumberMaxType + 1, 0, &string, false), unknownErr);
  EXPECT_EQ(string, nullptr);
  EXPECT_EQ(WithoutLines(log.lines()),
            std::vector<std::string>{
                ErrorLine("ZRCopyLocalizedNumberStringRef", "CFNumberFormatterCreateStringWithValue returns NULL")});
}

TEST_F(ZRSizeStringTest, NumberWithBadArgumentsFails) {
  LogCapture log;
  int value = 5;
  CFStringRef full = CFSTR("full");
  CFStringRef slot = full;
  CFStringRef empty = NULL;
  EXPECT_EQ(ZRCopyLocalizedNumberStringRef(NULL, kCFNumberIntType, 0, &empty, true), paramErr);
  EXPECT_EQ(ZRCopyLocalizedNumberStringRef(&value, kCFNumberIntType, 0, NULL, true), paramErr);
  EXPECT_EQ(ZRCopyLocalizedNumberStringRef(&value, kCFNumberIntType, 0, &slot, true), paramErr);
  EXPECT_EQ(empty, nullptr);
  EXPECT_EQ(slot, full);
  const char* f = "ZRCopyLocalizedNumberStringRef";
  EXPECT_EQ(
      WithoutLines(log.lines()),
      (std::vector<std::string>{ErrorLine(f, "inValue: 0x0, outStringRef: " + Pointer(&empty)),
                                ErrorLine(f, "inValue: " + Pointer(&value) + ", outStringRef: 0x0"),
                                ErrorLine(f, "inValue: " + Pointer(&value) + ", outStringRef: " + Pointer(&slot))}));
  log.clear();
  EXPECT_EQ(ZRCopyLocalizedNumberStringRef(NULL, kCFNumberIntType, 0, &empty, false), paramErr);
  EXPECT_EQ(ZRCopyLocalizedNumberStringRef(&value, kCFNumberIntType, 0, &slot, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRSizeStringTest, LocalizedNumberStringOfValue) {
  long live = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    double value = 1234.5678;
    EXPECT_EQ(Utf8(ZRLocalizedNumberStringOfValue(&value, kCFNumberDoubleType, 2)), "1,234.57");
    LogCapture log;
    EXPECT_EQ(ZRLocalizedNumberStringOfValue(NULL, kCFNumberDoubleType, 2), nil);
    EXPECT_EQ(ZRLocalizedNumberStringOfValue(&value, 0, 2), nil);
    // The first line names the convenience function's own local slot, whose address varies.
    std::vector<std::string> lines = WithoutLines(log.lines());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].substr(0, 36), "ERROR inValue: 0x0, outStringRef: 0x");
    EXPECT_EQ(lines[0].find("outStringRef: 0x0 "), std::string::npos);
    EXPECT_EQ(lines[0].substr(lines[0].size() - 33), " (ZRCopyLocalizedNumberStringRef)");
    EXPECT_EQ(lines[1],
              ErrorLine("ZRCopyLocalizedNumberStringRef", "CFNumberFormatterCreateStringWithValue returns NULL"));
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

// Makes the n-th allocation of one call fail, for n = 1, 2, ... until the call no longer reaches
// the failure; returns the ERROR messages seen. Every failed call must leave its slot empty and
// nothing allocated.
template <class Call>
std::set<std::string> FailEachAllocation(const char* function, Call call) {
  std::set<std::string> messages;
  // A first call reads what stays read for the following ones (the preferences, the number
  // formats of the locale), so that each n below fails one allocation of the call itself.
  CFStringRef first = NULL;
  EXPECT_EQ(call(&first, false), noErr);
  if (first) CFRelease(first);
  long live = ZRTestingLiveObjectCount();
  for (long n = 1; n <= 64; ++n) {
    LogCapture log;
    CFStringRef string = NULL;
    ZRTestingFailAllocation(n);
    OSStatus status = call(&string, true);
    bool pending = ZRTestingFailurePending();
    ZRTestingFailAllocation(0);
    if (status == noErr) {
      EXPECT_NE(string, nullptr);
      EXPECT_TRUE(log.lines().empty());
      CFRelease(string);
    } else {
      EXPECT_EQ(status, unknownErr) << n;
      EXPECT_EQ(string, nullptr) << n;
      EXPECT_EQ(log.lines().size(), 1u) << n;
      for (const std::string& line : WithoutLines(log.lines())) {
        std::string prefix = "ERROR ";
        std::string suffix = std::string(" (") + function + ")";
        EXPECT_EQ(line.substr(0, prefix.size()), prefix);
        EXPECT_EQ(line.substr(line.size() - suffix.size()), suffix);
        messages.insert(line.substr(prefix.size(), line.size() - prefix.size() - suffix.size()));
      }
      // The same failure without inLog writes nothing.
      log.clear();
      ZRTestingFailAllocation(n);
      EXPECT_EQ(call(&string, false), status) << n;
      ZRTestingFailAllocation(0);
      EXPECT_EQ(string, nullptr);
      EXPECT_TRUE(log.lines().empty());
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
    if (pending) break;
  }
  return messages;
}

TEST_F(ZRSizeStringTest, AllocationFailuresOfSizes) {
  for (UInt64 size : {UInt64{500}, UInt64{1536}, kMB}) {
    std::set<std::string> messages = FailEachAllocation("ZRCopySizeStringRef", [&](CFStringRef* out, Boolean inLog) {
      return ZRCopySizeStringRef(size, 0, 1, out, inLog);
    });
    EXPECT_TRUE(messages.count("CFLocaleCopyCurrent returns NULL")) << size;
    EXPECT_TRUE(messages.count("CFNumberFormatterCreate returns NULL")) << size;
    for (const std::string& message : messages) {
      EXPECT_TRUE(message == "CFLocaleCopyCurrent returns NULL" || message == "CFNumberFormatterCreate returns NULL" ||
                  message == "CFNumberFormatterCreateStringWithValue returns NULL")
          << message;
    }
    // Only a formatted size needs a new string; the fixed texts do not.
    EXPECT_EQ(messages.count("CFNumberFormatterCreateStringWithValue returns NULL"), size == kMB ? 0u : 1u) << size;
  }
}

TEST_F(ZRSizeStringTest, AllocationFailuresOfNumbers) {
  double value = 3.14159;
  std::set<std::string> messages =
      FailEachAllocation("ZRCopyLocalizedNumberStringRef", [&](CFStringRef* out, Boolean inLog) {
        return ZRCopyLocalizedNumberStringRef(&value, kCFNumberDoubleType, 2, out, inLog);
      });
  EXPECT_EQ(messages, (std::set<std::string>{"CFLocaleCopyCurrent returns NULL", "CFNumberFormatterCreate returns NULL",
                                             "CFNumberFormatterCreateStringWithValue returns NULL"}));
}

}  // namespace
