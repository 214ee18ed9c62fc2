// CFNumberFormatterTest.cpp: number formatters in English and German: styles, ICU decimal
// patterns with optional decimals and unit suffixes, every number type, and failures.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

// A formatter for a locale identifier and style; released by the fixture.
class CFNumberFormatterTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (CFTypeRef object : objects_) CFRelease(object);
  }

  CFNumberFormatterRef Make(const char* identifier, CFNumberFormatterStyle style = kCFNumberFormatterDecimalStyle) {
    CFLocaleRef locale = nullptr;
    if (identifier) {
      CFStringRef name = zrtest::MakeString(identifier);
      locale = CFLocaleCreate(kCFAllocatorDefault, name);
      CFRelease(name);
      objects_.push_back(locale);
    }
    CFNumberFormatterRef formatter = CFNumberFormatterCreate(kCFAllocatorDefault, locale, style);
    if (formatter) objects_.push_back(formatter);
    return formatter;
  }

  static void SetFormat(CFNumberFormatterRef formatter, const char* pattern) {
    CFStringRef string = zrtest::MakeString(pattern);
    CFNumberFormatterSetFormat(formatter, string);
    CFRelease(string);
  }

  template <class T>
  static std::string Format(CFNumberFormatterRef formatter, CFNumberType type, T value) {
    CFStringRef string = CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, formatter, type, &value);
    std::string text = Utf8(string);
    if (string) CFRelease(string);
    return text;
  }

  std::vector<CFTypeRef> objects_;
};

TEST_F(CFNumberFormatterTest, DecimalStyleGroupsByLocale) {
  CFNumberFormatterRef english = Make("en_US");
  CFNumberFormatterRef german = Make("de_DE");
  ASSERT_NE(english, nullptr);
  ASSERT_NE(german, nullptr);
  EXPECT_EQ(CFGetTypeID(english), CFNumberFormatterGetTypeID());
  EXPECT_EQ(Format(english, kCFNumberSInt32Type, int32_t{1234567}), "1,234,567");
  EXPECT_EQ(Format(german, kCFNumberSInt32Type, int32_t{1234567}), "1.234.567");
  // The decimal style shows up to three decimals.
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 1234.56789), "1,234.568");
  EXPECT_EQ(Format(german, kCFNumberFloat64Type, 1234.56789), "1.234,568");
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 2.0), "2");
}

TEST_F(CFNumberFormatterTest, PatternsCarryUnitsAndOptionalDecimals) {
  CFNumberFormatterRef english = Make("en");
  CFNumberFormatterRef german = Make("de");
  SetFormat(english, "###,###,###,###,###,###.# KB");
  SetFormat(german, "###,###,###,###,###,###.# KB");
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 1.5), "1.5 KB");
  EXPECT_EQ(Format(german, kCFNumberFloat64Type, 1.5), "1,5 KB");
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 1023.96), "1,024 KB");
  EXPECT_EQ(Format(german, kCFNumberFloat64Type, 1023.96), "1.024 KB");

  SetFormat(english, "###,###,###,###,###,###.## MB");
  // "#" decimals are optional: no trailing zeros.
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 1.5), "1.5 MB");
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 2.0), "2 MB");
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 1.0009765625), "1 MB");
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 0.000476837158203125), "0 MB");
  EXPECT_EQ(Format(english, kCFNumberFloat64Type, 12345.678), "12,345.68 MB");

  SetFormat(german, "###,###,###,###,###,### B");
  EXPECT_EQ(Format(german, kCFNumberLongLongType, int64_t{1073741824}), "1.073.741.824 B");
  EXPECT_EQ(Format(german, kCFNumberLongLongType, int64_t{0}), "0 B");
}

TEST_F(CFNumberFormatterTest, RoundingIsHalfEven) {
  CFNumberFormatterRef formatter = Make("en");
  SetFormat(formatter, "#");
  EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 0.5), "0");
  EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 1.5), "2");
  EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 2.5), "2");
  EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 3.5), "4");
  SetFormat(formatter, "#.#");
  EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 0.25), "0.2");
  EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 0.75), "0.8");
}

TEST_F(CFNumberFormatterTest, GetFormatTellsTheCurrentPattern) {
  CFNumberFormatterRef formatter = Make("en_US");
  EXPECT_EQ(Utf8(CFNumberFormatterGetFormat(formatter)), "#,##0.###");
  SetFormat(formatter, "###,###,###,###,###,###.## MB");
  EXPECT_EQ(Utf8(CFNumberFormatterGetFormat(formatter)), "#,##0.## MB");
  // The pattern read back formats as the one set.
  CFStringRef pattern = CFStringCreateCopy(kCFAllocatorDefault, CFNumberFormatterGetFormat(formatter));
  CFNumberFormatterRef other = Make("en_US");
  CFNumberFormatterSetFormat(other, pattern);
  CFRelease(pattern);
  EXPECT_EQ(Format(other, kCFNumberFloat64Type, 1.5), "1.5 MB");
}

TEST_F(CFNumberFormatterTest, BadPatternLeavesTheFormatterAsItWas) {
  CFNumberFormatterRef formatter = Make("en");
  SetFormat(formatter, "#,##0.# KB");
  for (const char* bad : {"0#", "#,##0.0#;;;", "#'", "#.#.#"}) {
    SetFormat(formatter, bad);
    EXPECT_EQ(Utf8(CFNumberFormatterGetFormat(formatter)), "#,##0.# KB") << bad;
    EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 2.25), "2.2 KB") << bad;
  }
  CFNumberFormatterSetFormat(formatter, nullptr);
  EXPECT_EQ(Format(formatter, kCFNumberFloat64Type, 2.25), "2.2 KB");
}

TEST_F(CFNumberFormatterTest, EveryNumberType) {
  CFNumberFormatterRef f = Make("en_US");
  EXPECT_EQ(Format(f, kCFNumberSInt8Type, int8_t{-128}), "-128");
  EXPECT_EQ(Format(f, kCFNumberCharType, static_cast<signed char>(127)), "127");
  EXPECT_EQ(Format(f, kCFNumberSInt16Type, int16_t{-32768}), "-32,768");
  EXPECT_EQ(Format(f, kCFNumberShortType, short{12345}), "12,345");
  EXPECT_EQ(Format(f, kCFNumberSInt32Type, int32_t{-2147483647 - 1}), "-2,147,483,648");
  EXPECT_EQ(Format(f, kCFNumberIntType, int{1234567}), "1,234,567");
  EXPECT_EQ(Format(f, kCFNumberSInt64Type, std::numeric_limits<int64_t>::max()), "9,223,372,036,854,775,807");
  EXPECT_EQ(Format(f, kCFNumberLongType, long{-9876543210}), "-9,876,543,210");
  EXPECT_EQ(Format(f, kCFNumberLongLongType, std::numeric_limits<long long>::min()), "-9,223,372,036,854,775,808");
  EXPECT_EQ(Format(f, kCFNumberCFIndexType, CFIndex{1000}), "1,000");
  EXPECT_EQ(Format(f, kCFNumberNSIntegerType, long{1000000}), "1,000,000");
  EXPECT_EQ(Format(f, kCFNumberFloat32Type, 1.5f), "1.5");
  EXPECT_EQ(Format(f, kCFNumberFloatType, 0.125f), "0.125");
  EXPECT_EQ(Format(f, kCFNumberFloat64Type, 3.14159), "3.142");
  EXPECT_EQ(Format(f, kCFNumberDoubleType, -0.5), "-0.5");
  EXPECT_EQ(Format(f, kCFNumberCGFloatType, 1e6), "1,000,000");
  EXPECT_EQ(Format(f, kCFNumberDoubleType, std::nan("")), "NaN");
  EXPECT_EQ(Format(f, kCFNumberDoubleType, std::numeric_limits<double>::infinity()), "∞");
  // Unknown types and a missing value give nothing.
  EXPECT_EQ(Format(f, static_cast<CFNumberType>(0), 1), "<NULL>");
  EXPECT_EQ(Format(f, static_cast<CFNumberType>(17), 1), "<NULL>");
  EXPECT_EQ(CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, f, kCFNumberIntType, nullptr), nullptr);
}

TEST_F(CFNumberFormatterTest, LongTextsAreComplete) {
  CFNumberFormatterRef f = Make("en_US");
  std::string text = Format(f, kCFNumberDoubleType, 1e100);
  EXPECT_EQ(text.size(), 101u + 33u);  // 101 digits and 33 group separators
  EXPECT_EQ(text.substr(0, 6), "10,000");
  EXPECT_EQ(text.substr(text.size() - 4), ",000");
}

TEST_F(CFNumberFormatterTest, NumbersFormatByTheirKind) {
  CFNumberFormatterRef f = Make("de_DE");
  int32_t integer = 1234567;
  double real = 3.14159;
  CFNumberRef integerNumber = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &integer);
  CFNumberRef realNumber = CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &real);
  CFStringRef integerText = CFNumberFormatterCreateStringWithNumber(kCFAllocatorDefault, f, integerNumber);
  CFStringRef realText = CFNumberFormatterCreateStringWithNumber(kCFAllocatorDefault, f, realNumber);
  EXPECT_EQ(Utf8(integerText), "1.234.567");
  EXPECT_EQ(Utf8(realText), "3,142");
  CFRelease(integerText);
  CFRelease(realText);
  CFRelease(integerNumber);
  CFRelease(realNumber);
  EXPECT_EQ(CFNumberFormatterCreateStringWithNumber(kCFAllocatorDefault, f, nullptr), nullptr);
}

TEST_F(CFNumberFormatterTest, OtherStyles) {
  EXPECT_EQ(Format(Make("en_US", kCFNumberFormatterNoStyle), kCFNumberDoubleType, 1234.56), "1235");
  EXPECT_EQ(Format(Make("en_US", kCFNumberFormatterPercentStyle), kCFNumberDoubleType, 0.25), "25%");
  EXPECT_EQ(Format(Make("en_US", kCFNumberFormatterSpellOutStyle), kCFNumberIntType, 42), "forty-two");
  EXPECT_EQ(Format(Make("en_US", kCFNumberFormatterCurrencyStyle), kCFNumberDoubleType, 1.5), "$1.50");
  EXPECT_EQ(Format(Make("en_US", kCFNumberFormatterScientificStyle), kCFNumberDoubleType, 1234.0), "1.234E3");
  EXPECT_EQ(Make("en_US", 7), nullptr);
  EXPECT_EQ(Make("en_US", -1), nullptr);
}

TEST_F(CFNumberFormatterTest, LocaleAndStyleAreKept) {
  CFNumberFormatterRef f = Make("de_DE", kCFNumberFormatterPercentStyle);
  EXPECT_EQ(CFNumberFormatterGetStyle(f), kCFNumberFormatterPercentStyle);
  EXPECT_EQ(Utf8(CFLocaleGetIdentifier(CFNumberFormatterGetLocale(f))), "de_DE");
  // Without a locale, the formatter uses the system (root) locale.
  CFNumberFormatterRef root = Make(nullptr);
  EXPECT_EQ(CFNumberFormatterGetLocale(root), CFLocaleGetSystem());
  EXPECT_EQ(Format(root, kCFNumberIntType, 1234567), "1,234,567");
}

TEST_F(CFNumberFormatterTest, FormattersAreIndependentCopies) {
  CFNumberFormatterRef first = Make("en");
  CFNumberFormatterRef second = Make("en");
  SetFormat(first, "# B");
  EXPECT_EQ(Format(first, kCFNumberIntType, 5), "5 B");
  EXPECT_EQ(Format(second, kCFNumberIntType, 5000), "5,000");
  EXPECT_EQ(Utf8(CFNumberFormatterGetFormat(Make("en"))), "#,##0.###");
}

TEST_F(CFNumberFormatterTest, ReleasedFormattersLeaveNothingToTheNext) {
  // A formatter released with a pattern must not hand that pattern to a new one.
  for (int round = 0; round < 3; ++round) {
    CFNumberFormatterRef patterned =
        CFNumberFormatterCreate(kCFAllocatorDefault, nullptr, kCFNumberFormatterDecimalStyle);
    SetFormat(patterned, "#.# KB");
    EXPECT_EQ(Format(patterned, kCFNumberDoubleType, 1.25), "1.2 KB");
    CFRelease(patterned);
    CFNumberFormatterRef plain = CFNumberFormatterCreate(kCFAllocatorDefault, nullptr, kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(Utf8(CFNumberFormatterGetFormat(plain)), "#,##0.###");
    EXPECT_EQ(Format(plain, kCFNumberDoubleType, 1.25), "1.25");
    // Formatters alive at the same time in the same state are separate.
    CFNumberFormatterRef other = CFNumberFormatterCreate(kCFAllocatorDefault, nullptr, kCFNumberFormatterDecimalStyle);
    SetFormat(plain, "#.# KB");
    SetFormat(other, "#.# KB");
    SetFormat(other, "#.## MB");
    EXPECT_EQ(Format(plain, kCFNumberDoubleType, 1.25), "1.2 KB");
    EXPECT_EQ(Format(other, kCFNumberDoubleType, 1.25), "1.25 MB");
    // Setting the pattern back gives that pattern again.
    SetFormat(other, "#.# KB");
    EXPECT_EQ(Format(other, kCFNumberDoubleType, 1.25), "1.2 KB");
    CFRelease(plain);
    CFRelease(other);
  }
  // The same pattern in another locale keeps that locale's separators.
  CFNumberFormatterRef german = Make("de_DE");
  SetFormat(german, "#.# KB");
  EXPECT_EQ(Format(german, kCFNumberDoubleType, 1.25), "1,2 KB");
}

TEST_F(CFNumberFormatterTest, ThreadsMakeFormattersAtOnce) {
  const char* identifiers[] = {"en_US", "de_DE", "fr_FR", "en_US"};
  const char* expected[] = {"1,234,567.5", "1.234.567,5", "1\u202f234\u202f567,5", "1,234,567.5"};
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      CFStringRef name = zrtest::MakeString(identifiers[t]);
      CFLocaleRef locale = CFLocaleCreate(kCFAllocatorDefault, name);
      for (int i = 0; i < 50; ++i) {
        CFNumberFormatterRef f = CFNumberFormatterCreate(kCFAllocatorDefault, locale, kCFNumberFormatterDecimalStyle);
        double value = 1234567.5;
        CFStringRef text = CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, f, kCFNumberDoubleType, &value);
        std::string utf8 = Utf8(text);
        if (i == 0 || utf8 != results[t]) results[t] = utf8;
        CFRelease(text);
        CFRelease(f);
      }
      CFRelease(locale);
      CFRelease(name);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(results[t], expected[t]) << identifiers[t];
}

// A unit of its own for each pattern: letters without a meaning in patterns, unlike digits.
std::string Unit(int decimals) { return "u" + std::string(static_cast<size_t>(decimals) + 1, 'x'); }

// Released formatters are kept, a few by the thread that releases them and the rest in a pool
// that every thread shares; a thread that ends gives its own to the pool. However they travel, a
// formatter taken again is in the state it was asked for.
TEST_F(CFNumberFormatterTest, FormattersReleasedOnAnEndedThreadKeepTheirPatterns) {
  auto pattern = [](int decimals) {
    return "#" + (decimals > 0 ? "." + std::string(static_cast<size_t>(decimals), '#') : std::string()) + " " +
           Unit(decimals);
  };
  auto expected = [](int decimals) { return (decimals > 0 ? "1.5 " : "2 ") + Unit(decimals); };
  CFLocaleRef english = CFLocaleCreate(kCFAllocatorDefault, CFSTR("en"));
  std::vector<CFNumberFormatterRef> made;
  for (int decimals = 0; decimals < 20; ++decimals) {
    made.push_back(CFNumberFormatterCreate(kCFAllocatorDefault, english, kCFNumberFormatterDecimalStyle));
    SetFormat(made.back(), pattern(decimals).c_str());
  }
  CFRelease(english);
  std::thread releasing([&] {
    for (CFNumberFormatterRef formatter : made) CFRelease(formatter);
  });
  releasing.join();
  for (int round = 0; round < 2; ++round) {
    for (int decimals = 19; decimals >= 0; --decimals) {
      CFNumberFormatterRef formatter = Make("en");
      EXPECT_EQ(Utf8(CFNumberFormatterGetFormat(formatter)), "#,##0.###") << decimals;
      SetFormat(formatter, pattern(decimals).c_str());
      EXPECT_EQ(Format(formatter, kCFNumberDoubleType, 1.5), expected(decimals)) << decimals;
      CFNumberFormatterRef german = Make("de_DE");
      SetFormat(german, pattern(decimals).c_str());
      EXPECT_EQ(Format(german, kCFNumberDoubleType, 1.5), decimals > 0 ? "1,5 " + Unit(decimals) : expected(decimals))
          << decimals;
    }
  }
}

TEST_F(CFNumberFormatterTest, FailedCreationLeavesNothingBehind) {
  CFLocaleRef locale = CFLocaleCreate(kCFAllocatorDefault, CFSTR("de_DE"));
  long live = ZRTestingLiveObjectCount();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(CFNumberFormatterCreate(kCFAllocatorDefault, locale, kCFNumberFormatterDecimalStyle), nullptr);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
  CFNumberFormatterRef f = CFNumberFormatterCreate(kCFAllocatorDefault, locale, kCFNumberFormatterDecimalStyle);
  ASSERT_NE(f, nullptr);
  int value = 7;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, f, kCFNumberIntType, &value), nullptr);
  ZRTestingFailAllocation(0);
  CFRelease(f);
  CFRelease(locale);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live - 1);
}

}  // namespace
