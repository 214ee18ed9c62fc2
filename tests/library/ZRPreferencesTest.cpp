// ZRPreferencesTest.cpp: the typed preference accessors of the running application (the test
// bundle, "org.zrframework.tests") and of another application, what they store, their defaults,
// RGB colours and archived objects, and the application's preference keys and default values.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::MakeString;
using zrtest::Utf8;

class ZRPreferencesTest : public zrtest::PrivatePreferencesTest {
 protected:
  // What the current application's domain holds under the key, as the host reads it.
  static CFPropertyListRef Stored(CFStringRef key) {
    return CFPreferencesCopyAppValue(key, kCFPreferencesCurrentApplication);
  }
  static void Store(CFStringRef key, CFPropertyListRef value) {
    CFPreferencesSetAppValue(key, value, kCFPreferencesCurrentApplication);
    CFRelease(value);
  }
  // How many keys the current application's domain holds; -1 when they cannot be listed.
  static CFIndex KeyCount() {
    CFArrayRef keys =
        CFPreferencesCopyKeyList(kCFPreferencesCurrentApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    if (!keys) return -1;
    CFIndex count = CFArrayGetCount(keys);
    CFRelease(keys);
    return count;
  }
  static CFNumberRef Double(double value) { return CFNumberCreate(nullptr, kCFNumberDoubleType, &value); }
  // The domain file, read as the next process would read it.
  std::string domainFile() const { return configHome_ + "/org.zrframework.tests.plist"; }

  NSAutoreleasePool pool_;
};

TEST_F(ZRPreferencesTest, ScalarSettersStoreTheirKinds) {
  ZRSetBoolOfPreferencesKey(7, CFSTR("Bool"));
  ZRSetIntegerOfPreferencesKey(-5, CFSTR("Integer"));
  ZRSetFloatOfPreferencesKey(1.25f, CFSTR("Float"));
  ZRSetDoubleOfPreferencesKey(2.5e300, CFSTR("Double"));
  CFPropertyListRef value = Stored(CFSTR("Bool"));
  EXPECT_EQ(value, kCFBooleanTrue);
  CFRelease(value);
  ZRSetBoolOfPreferencesKey(0, CFSTR("Bool"));
  value = Stored(CFSTR("Bool"));
  EXPECT_EQ(value, kCFBooleanFalse);
  CFRelease(value);
  struct Expect {
    CFStringRef key;
    CFNumberType storage;
  } expects[] = {{CFSTR("Integer"), kCFNumberSInt32Type},
                 {CFSTR("Float"), kCFNumberFloat32Type},
                 {CFSTR("Double"), kCFNumberFloat64Type}};
  for (const Expect& e : expects) {
    value = Stored(e.key);
    ASSERT_NE(value, nullptr);
    ASSERT_EQ(CFGetTypeID(value), CFNumberGetTypeID());
    EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(value)), e.storage) << Utf8(e.key);
    CFRelease(value);
  }
  EXPECT_EQ(ZRGetIntegerOfPreferencesKey(CFSTR("Integer"), 0), -5);
  EXPECT_EQ(ZRGetFloatOfPreferencesKey(CFSTR("Float"), 0), 1.25f);
  EXPECT_EQ(ZRGetDoubleOfPreferencesKey(CFSTR("Double"), 0), 2.5e300);
  EXPECT_FALSE(ZRGetBoolOfPreferencesKey(CFSTR("Bool"), true));
}

TEST_F(ZRPreferencesTest, NumbersOfAnotherTypeAreConvertedNotDefaulted) {
  Store(CFSTR("N"), Double(2.75));
  EXPECT_EQ(ZRGetIntegerOfPreferencesKey(CFSTR("N"), 9), 2);
  EXPECT_EQ(ZRGetFloatOfPreferencesKey(CFSTR("N"), 9), 2.75f);
  Store(CFSTR("I"), zrtest::Number(3));
  EXPECT_EQ(ZRGetDoubleOfPreferencesKey(CFSTR("I"), 9), 3.0);
}

TEST_F(ZRPreferencesTest, ScalarGettersGiveTheDefaultOtherwise) {
  CFRetain(kCFBooleanTrue);
  Store(CFSTR("True"), kCFBooleanTrue);
  Store(CFSTR("String"), MakeString("12"));
  Store(CFSTR("One"), zrtest::Number(1));
  for (CFStringRef key : {CFSTR("True"), CFSTR("String"), CFSTR("Missing"), CFStringRef(nullptr)}) {
    EXPECT_EQ(ZRGetIntegerOfPreferencesKey(key, 41), 41);
    EXPECT_EQ(ZRGetFloatOfPreferencesKey(key, 4.5f), 4.5f);
    EXPECT_EQ(ZRGetDoubleOfPreferencesKey(key, -0.5), -0.5);
  }
  // A number, even 1, is no Boolean.
  EXPECT_FALSE(ZRGetBoolOfPreferencesKey(CFSTR("One"), false));
  EXPECT_TRUE(ZRGetBoolOfPreferencesKey(CFSTR("String"), true));
  EXPECT_TRUE(ZRGetBoolOfPreferencesKey(CFSTR("Missing"), true));
  EXPECT_FALSE(ZRGetBoolOfPreferencesKey(nullptr, false));
  EXPECT_TRUE(ZRGetBoolOfPreferencesKey(CFSTR("True"), false));
}

TEST_F(ZRPreferencesTest, SettersIgnoreANullKeyOrValue) {
  CFStringRef text = MakeString("kept");
  ZRSetStringRefOfPreferencesKey(text, CFSTR("S"));
  ZRSetStringRefOfPreferencesKey(nullptr, CFSTR("S"));  // no removing setter
  ZRSetDateRefOfPreferencesKey(nullptr, CFSTR("S"));
  CFStringRef read = ZRCopyStringRefOfPreferencesKey(CFSTR("S"), nullptr);
  EXPECT_EQ(Utf8(read), "kept");
  CFRelease(read);
  ZRSetStringRefOfPreferencesKey(text, nullptr);
  ZRSetBoolOfPreferencesKey(true, nullptr);
  ZRSetIntegerOfPreferencesKey(1, nullptr);
  ZRSetFloatOfPreferencesKey(1, nullptr);
  ZRSetDoubleOfPreferencesKey(1, nullptr);
  CFDateRef date = CFDateCreate(nullptr, 0);
  ZRSetDateRefOfPreferencesKey(date, nullptr);
  EXPECT_EQ(KeyCount(), 1);
  CFRelease(date);
  CFRelease(text);
}

TEST_F(ZRPreferencesTest, AFailedNumberLeavesTheEarlierValue) {
  ZRSetIntegerOfPreferencesKey(1, CFSTR("I"));
  ZRTestingFailAllocation(1);
  ZRSetIntegerOfPreferencesKey(2, CFSTR("I"));
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(ZRGetIntegerOfPreferencesKey(CFSTR("I"), 0), 1);
}

TEST_F(ZRPreferencesTest, HaveKeyForAnyType) {
  EXPECT_FALSE(ZRPreferencesHaveKey(CFSTR("K")));
  EXPECT_FALSE(ZRPreferencesHaveKey(nullptr));
  Store(CFSTR("K"), zrtest::MakeData("x"));
  EXPECT_TRUE(ZRPreferencesHaveKey(CFSTR("K")));
  ZRSetBoolOfPreferencesKey(false, CFSTR("B"));
  EXPECT_TRUE(ZRPreferencesHaveKey(CFSTR("B")));
}

TEST_F(ZRPreferencesTest, StringCopiesTheStoredValueOrTheDefault) {
  Store(CFSTR("Number"), zrtest::Number(3));
  ZRSetStringRefOfPreferencesKey(CFSTR("stored"), CFSTR("S"));
  // The domains' own objects are made by now (the global one is read for a missing key);
  // whatever the getters hand out, the caller releases.
  EXPECT_FALSE(ZRPreferencesHaveKey(CFSTR("Missing")));
  long live = ZRTestingLiveObjectCount();
  CFStringRef fallback = MakeString("fallback");
  CFStringRef got = ZRCopyStringRefOfPreferencesKey(nullptr, fallback);
  EXPECT_EQ(Utf8(got), "fallback");
  CFRelease(got);  // the caller owns even the default
  EXPECT_EQ(CFGetRetainCount(fallback), 1);
  EXPECT_EQ(ZRCopyStringRefOfPreferencesKey(CFSTR("Missing"), nullptr), nullptr);
  got = ZRCopyStringRefOfPreferencesKey(CFSTR("Number"), fallback);
  EXPECT_EQ(Utf8(got), "fallback");
  CFRelease(got);
  got = ZRCopyStringRefOfPreferencesKey(CFSTR("S"), fallback);
  EXPECT_EQ(Utf8(got), "stored");
  CFRelease(got);
  CFRelease(fallback);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST_F(ZRPreferencesTest, StringOfAnotherApplication) {
  CFPreferencesSetAppValue(CFSTR("Name"), CFSTR("other"), CFSTR("com.example.other"));
  CFStringRef got = ZRCopyStringRefOfPreferencesKeyOfApplication(CFSTR("Name"), CFSTR("com.example.other"), nullptr);
  EXPECT_EQ(Utf8(got), "other");
  CFRelease(got);
  EXPECT_EQ(ZRCopyStringRefOfPreferencesKeyOfApplication(CFSTR("Name"), kCFPreferencesCurrentApplication, nullptr),
            nullptr);
  for (auto [key, app] : {std::pair<CFStringRef, CFStringRef>{nullptr, CFSTR("com.example.other")},
                          std::pair<CFStringRef, CFStringRef>{CFSTR("Name"), nullptr},
                          std::pair<CFStringRef, CFStringRef>{CFSTR("Missing"), CFSTR("com.example.other")}}) {
    got = ZRCopyStringRefOfPreferencesKeyOfApplication(key, app, CFSTR("default"));
    EXPECT_EQ(Utf8(got), "default");
    if (got) CFRelease(got);
    EXPECT_EQ(ZRCopyStringRefOfPreferencesKeyOfApplication(key, app, nullptr), nullptr);
  }
}

TEST_F(ZRPreferencesTest, DatesRoundTripThroughTheFile) {
  CFDateRef date = CFDateCreate(nullptr, 123456789.0);
  ZRSetDateRefOfPreferencesKey(date, CFSTR("When"));
  EXPECT_TRUE(ZRSynchronizePreferences());
  CFDateRef read = ZRCopyDateRefOfPreferencesKey(CFSTR("When"));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(CFDateGetAbsoluteTime(read), 123456789.0);
  CFRelease(read);
  CFRelease(date);
  EXPECT_EQ(ZRCopyDateRefOfPreferencesKey(nullptr), nullptr);
  ZRSetIntegerOfPreferencesKey(1, CFSTR("NotADate"));
  EXPECT_EQ(ZRCopyDateRefOfPreferencesKey(CFSTR("NotADate")), nullptr);
  EXPECT_EQ(ZRCopyDateRefOfPreferencesKey(CFSTR("Missing")), nullptr);
}

TEST_F(ZRPreferencesTest, ArraysAndDictionariesAreReadByKind) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  ZRAppendIntegerToArrayRef(array, 4);
  CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
  ZRSetIntegerOfDictionaryRef(dictionary, CFSTR("x"), 1);
  Store(CFSTR("Array"), array);
  Store(CFSTR("Dictionary"), dictionary);
  EXPECT_FALSE(ZRPreferencesHaveKey(CFSTR("Missing")));
  long live = ZRTestingLiveObjectCount();
  CFArrayRef readArray = ZRCopyArrayRefOfPreferencesKey(CFSTR("Array"));
  CFDictionaryRef readDictionary = ZRCopyDictionaryRefOfPreferencesKey(CFSTR("Dictionary"));
  ASSERT_NE(readArray, nullptr);
  ASSERT_NE(readDictionary, nullptr);
  EXPECT_EQ(ZRGetIntegerAtIndexOfArrayRef(readArray, 0, 0), 4);
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(readDictionary, CFSTR("x"), 0), 1);
  CFRelease(readArray);
  CFRelease(readDictionary);
  EXPECT_EQ(ZRCopyArrayRefOfPreferencesKey(CFSTR("Dictionary")), nullptr);
  EXPECT_EQ(ZRCopyDictionaryRefOfPreferencesKey(CFSTR("Array")), nullptr);
  EXPECT_EQ(ZRCopyArrayRefOfPreferencesKey(nullptr), nullptr);
  EXPECT_EQ(ZRCopyDictionaryRefOfPreferencesKey(nullptr), nullptr);
  EXPECT_EQ(ZRCopyArrayRefOfPreferencesKey(CFSTR("Missing")), nullptr);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST_F(ZRPreferencesTest, DictionaryOfAnotherApplication) {
  CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
  ZRSetBoolOfDictionaryRef(dictionary, CFSTR("on"), true);
  CFPreferencesSetAppValue(CFSTR("D"), dictionary, CFSTR("com.example.other"));
  CFPreferencesSetAppValue(CFSTR("S"), CFSTR("text"), CFSTR("com.example.other"));
  CFRelease(dictionary);
  CFDictionaryRef read = ZRCopyDictionaryRefOfExternalPreferencesKey(CFSTR("D"), CFSTR("com.example.other"));
  ASSERT_NE(read, nullptr);
  EXPECT_TRUE(ZRGetBoolOfDictionaryRef(read, CFSTR("on"), false));
  CFRelease(read);
  EXPECT_EQ(ZRCopyDictionaryRefOfExternalPreferencesKey(CFSTR("S"), CFSTR("com.example.other")), nullptr);
  EXPECT_EQ(ZRCopyDictionaryRefOfExternalPreferencesKey(nullptr, CFSTR("com.example.other")), nullptr);
  EXPECT_EQ(ZRCopyDictionaryRefOfExternalPreferencesKey(CFSTR("D"), kCFPreferencesCurrentApplication), nullptr);
}

TEST_F(ZRPreferencesTest, SettersDoNotSynchronizeButSynchronizeWrites) {
  ZRSetIntegerOfPreferencesKey(8, CFSTR("Count"));
  FILE* file = fopen(domainFile().c_str(), "r");
  EXPECT_EQ(file, nullptr);
  if (file) fclose(file);
  EXPECT_TRUE(ZRSynchronizePreferences());
  std::ifstream in(domainFile(), std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  CFDataRef data = zrtest::MakeData(bytes);
  auto written = static_cast<CFDictionaryRef>(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr));
  CFRelease(data);
  ASSERT_NE(written, nullptr);
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(written, CFSTR("Count"), 0), 8);
  CFRelease(written);
}

TEST_F(ZRPreferencesTest, KeysHaveTheirExactTexts) {
  const std::pair<CFStringRef, const char*> keys[] = {
      {kZRPreferencesCheckAutomaticallyForUpdatesKey, "ZRCheckAutomaticallyForUpdates"},
      {kZRPreferencesCheckCurrenciesIntervalKey, "ZRCheckCurrenciesInterval"},
      {kZRPreferencesCheckQuotesIntervalKey, "ZRCheckQuotesInterval"},
      {kZRPreferencesCurrencyTableColumnsKey, "ZRCurrencyTableColumns"},
      {kZRPreferencesFloatTickerKey, "ZRFloatTicker"},
      {kZRPreferencesFontSizeKey, "ZRFontSize"},
      {kZRPreferencesHistoryEMAPopUpKey, "ZRHistoryEMAPopUp"},
      {kZRPreferencesHistoryGraphTypePopUpKey, "ZRHistoryGraphTypePopUp"},
      {kZRPreferencesHistoryMAPopUpKey, "ZRHistoryMAPopUp"},
      {kZRPreferencesHistoryOverlayPopUpKey, "ZRHistoryOverlayPopUp"},
      {kZRPreferencesHistoryRangePopUpKey, "ZRHistoryRangePopUp"},
      {kZRPreferencesHistoryLinearKey, "ZRHistoryLinear"},
      {kZRPreferencesInfoViewWidthKey, "ZRInfoViewWidth"},
      {kZRPreferencesLastViewTypeKey, "ZRLastViewType"},
      {kZRPreferencesDecimalPlacesTypeKey, "ZRDecimalPlacesType"},
      {kZRPreferencesOnlyDisplayTradedStocksInTickerKey, "ZROnlyDisplayTradedStocksInTicker"},
      {kZRPreferencesPortfolioBaseTypeKey, "ZRPortfolioBaseType"},
      {kZRPreferencesPortfolioTableColumnsKey, "ZRPortfolioTableColumns"},
      {kZRPreferencesQuoteTableColumnsKey, "ZRQuoteTableColumns"},
      {kZRPreferencesShowInfoViewKey, "ZRShowInfoView"},
      {kZRPreferencesTargetCurrencyKey, "ZRTargetCurrency"},
      {kZRPreferencesTickerAppearanceKey, "ZRTickerAppearance"},
      {kZRPreferencesTickerIsActiveKey, "ZRTickerIsActive"},
      {kZRPreferencesTickerWindowTransparencyKey, "ZRTickerWindowTransparency"},
      {kZRPreferencesYahooCountryKey, "ZRYahooCountry"},
  };
  for (const auto& [key, text] : keys) EXPECT_EQ(Utf8(key), text);
}

TEST_F(ZRPreferencesTest, DefaultsHaveTheirValues) {
  EXPECT_EQ(kZRDefaultCheckAutomaticallyForUpdates, 1);
  EXPECT_EQ(kZRDefaultCheckCurrenciesInterval, 2);
  EXPECT_EQ(kZRDefaultCheckQuotesInterval, 2);
  EXPECT_EQ(kZRDefaultFloatTicker, 0);
  EXPECT_EQ(kZRDefaultFontSize, 12.0f);
  EXPECT_EQ(kZRDefaultInfoViewWidth, 250.0f);
  EXPECT_EQ(kZRDefaultViewType, 0);
  EXPECT_EQ(kZRDefaultDecimalPlacesType, 0);
  EXPECT_EQ(kZRDefaultOnlyDisplayTradedStocksInTicker, 0);
  EXPECT_EQ(kZRDefaultPortfolioBaseType, 0);
  EXPECT_EQ(kZRDefaultShowInfoView, 0);
  EXPECT_EQ(kZRDefaultTargetCurrency, 140);
  EXPECT_EQ(kZRDefaultTickerAppearance, 2);
  EXPECT_EQ(kZRDefaultTickerIsActive, 0);
  EXPECT_EQ(kZRDefaultTickerWindowTransparency, 1.0f);
  EXPECT_EQ(kZRDefaultYahooCountry, 16);
  EXPECT_EQ(kMinimumInfoViewWidth, 200.0f);
  static_assert(sizeof(kZRDefaultFloatTicker) == 1 && sizeof(kZRDefaultFontSize) == 4 &&
                sizeof(kZRDefaultTargetCurrency) == 4);
}

TEST_F(ZRPreferencesTest, AnEmptyDomainAnswersWithTheDefaults) {
  EXPECT_EQ(ZRGetFloatOfPreferencesKey(kZRPreferencesFontSizeKey, kZRDefaultFontSize), 12.0f);
  EXPECT_TRUE(
      ZRGetBoolOfPreferencesKey(kZRPreferencesCheckAutomaticallyForUpdatesKey, kZRDefaultCheckAutomaticallyForUpdates));
  EXPECT_EQ(ZRGetIntegerOfPreferencesKey(kZRPreferencesLastViewTypeKey, kZRDefaultViewType), 0);
  ZRSetFloatOfPreferencesKey(14.5f, kZRPreferencesFontSizeKey);
  EXPECT_EQ(ZRGetFloatOfPreferencesKey(kZRPreferencesFontSizeKey, kZRDefaultFontSize), 14.5f);
}

// A new device RGB colour of the four components (the caller releases it).
CGColorRef RGBColor(CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha) {
  CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
  const CGFloat components[] = {red, green, blue, alpha};
  CGColorRef color = CGColorCreate(space, components);
  CGColorSpaceRelease(space);
  return color;
}

// The colour's space model and components, as text: "RGB 1 0.5 0 1".
std::string ColorText(CGColorRef color) {
  if (!color) return "<NULL>";
  std::string text = CGColorSpaceGetModel(CGColorGetColorSpace(color)) == kCGColorSpaceModelRGB ? "RGB" : "other";
  const CGFloat* components = CGColorGetComponents(color);
  for (size_t i = 0; i < CGColorGetNumberOfComponents(color); ++i) {
    char number[32];
    snprintf(number, sizeof number, " %.9g", components[i]);
    text += number;
  }
  return text;
}

// A new mutable array of the values (the caller releases it), each released once it is in.
CFMutableArrayRef ArrayOf(std::initializer_list<CFTypeRef> values) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  for (CFTypeRef value : values) {
    CFArrayAppendValue(array, value);
    CFRelease(value);
  }
  return array;
}

CFNumberRef Float(float value) { return CFNumberCreate(nullptr, kCFNumberFloatType, &value); }

TEST_F(ZRPreferencesTest, AColourIsStoredAsFourFloatsInComponentOrder) {
  CGColorRef color = RGBColor(0.2, 0.5, 1.0, 0.75);
  ZRSetRGBColorRefOfPreferencesKey(color, CFSTR("Colour"));
  CGColorRelease(color);
  auto stored = static_cast<CFArrayRef>(Stored(CFSTR("Colour")));
  ASSERT_NE(stored, nullptr);
  ASSERT_EQ(CFGetTypeID(stored), CFArrayGetTypeID());
  ASSERT_EQ(CFArrayGetCount(stored), 4);
  const float expected[] = {0.2f, 0.5f, 1.0f, 0.75f};
  for (CFIndex i = 0; i < 4; ++i) {
    auto number = static_cast<CFNumberRef>(CFArrayGetValueAtIndex(stored, i));
    ASSERT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
    EXPECT_EQ(CFNumberGetType(number), kCFNumberFloat32Type) << i;
    float value = 0;
    CFNumberGetValue(number, kCFNumberFloatType, &value);
    EXPECT_EQ(value, expected[i]) << i;
  }
  CFRelease(stored);
  // Read back through the domain file: the components went through 32-bit floats.
  EXPECT_TRUE(ZRSynchronizePreferences());
  CGColorRef read = ZRCopyRGBColorRefOfPreferencesKey(CFSTR("Colour"));
  EXPECT_EQ(ColorText(read), "RGB 0.200000003 0.5 1 0.75");
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(CFGetRetainCount(read), 1);
  CGColorRelease(read);
}

TEST_F(ZRPreferencesTest, OnlyFourComponentColoursWithAKeyAreStored) {
  CGColorRef kept = RGBColor(0, 0, 0, 1);
  ZRSetRGBColorRefOfPreferencesKey(kept, CFSTR("Colour"));
  CGColorSpaceRef graySpace = CGColorSpaceCreateDeviceGray();
  const CGFloat grayComponents[] = {0.5, 1.0};
  CGColorRef gray = CGColorCreate(graySpace, grayComponents);
  CGColorSpaceRelease(graySpace);
  ASSERT_EQ(CGColorGetNumberOfComponents(gray), 2u);
  CGColorRef white = RGBColor(1, 1, 1, 1);
  ZRSetRGBColorRefOfPreferencesKey(gray, CFSTR("Colour"));
  ZRSetRGBColorRefOfPreferencesKey(nullptr, CFSTR("Colour"));
  ZRSetRGBColorRefOfPreferencesKey(white, nullptr);
  ZRSetRGBColorRefOfPreferencesKey(gray, CFSTR("Gray"));
  CGColorRef read = ZRCopyRGBColorRefOfPreferencesKey(CFSTR("Colour"));
  EXPECT_EQ(ColorText(read), "RGB 0 0 0 1");
  if (read) CGColorRelease(read);
  EXPECT_EQ(KeyCount(), 1);
  CGColorRelease(white);
  CGColorRelease(gray);
  CGColorRelease(kept);
}

TEST_F(ZRPreferencesTest, AColourIsReadOnlyFromAnArrayOfFourNumbers) {
  Store(CFSTR("Four"), ArrayOf({Float(1.0f), Float(0.5f), Float(0.0f), Float(1.0f)}));
  // Numbers of another type are read as floats too.
  Store(CFSTR("Integers"), ArrayOf({zrtest::Number(1), zrtest::Number(0), zrtest::Number(0), zrtest::Number(1)}));
  Store(CFSTR("Three"), ArrayOf({Float(1.0f), Float(0.5f), Float(0.0f)}));
  Store(CFSTR("Five"), ArrayOf({Float(1.0f), Float(0.5f), Float(0.0f), Float(1.0f), Float(1.0f)}));
  Store(CFSTR("Text"), ArrayOf({Float(1.0f), MakeString("0.5"), Float(0.0f), Float(1.0f)}));
  Store(CFSTR("Dictionary"), ZRCreateMutableDictionaryRef());
  EXPECT_FALSE(ZRPreferencesHaveKey(CFSTR("Missing")));
  long live = ZRTestingLiveObjectCount();
  CGColorRef read = ZRCopyRGBColorRefOfPreferencesKey(CFSTR("Four"));
  EXPECT_EQ(ColorText(read), "RGB 1 0.5 0 1");
  if (read) CGColorRelease(read);
  read = ZRCopyRGBColorRefOfPreferencesKey(CFSTR("Integers"));
  EXPECT_EQ(ColorText(read), "RGB 1 0 0 1");
  if (read) CGColorRelease(read);
  for (CFStringRef key :
       {CFSTR("Three"), CFSTR("Five"), CFSTR("Text"), CFSTR("Dictionary"), CFSTR("Missing"), CFStringRef(nullptr)})
    EXPECT_EQ(ZRCopyRGBColorRefOfPreferencesKey(key), nullptr) << Utf8(key);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST_F(ZRPreferencesTest, AColourThatCannotBeStoredLeavesTheEarlierValue) {
  CGColorRef black = RGBColor(0, 0, 0, 1);
  CGColorRef white = RGBColor(1, 1, 1, 1);
  ZRSetRGBColorRefOfPreferencesKey(black, CFSTR("Colour"));
  bool stored = false;
  for (long n = 1; n <= 20 && !stored; ++n) {
    long live = ZRTestingLiveObjectCount();
    ZRTestingFailAllocation(n);
    ZRSetRGBColorRefOfPreferencesKey(white, CFSTR("Colour"));
    stored = ZRTestingFailurePending();
    ZRTestingFailAllocation(0);
    CGColorRef read = ZRCopyRGBColorRefOfPreferencesKey(CFSTR("Colour"));
    EXPECT_EQ(ColorText(read), stored ? "RGB 1 1 1 1" : "RGB 0 0 0 1") << n;
    if (read) CGColorRelease(read);
    EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
  }
  EXPECT_TRUE(stored);
  CGColorRelease(white);
  CGColorRelease(black);
}

TEST_F(ZRPreferencesTest, AColourThatCannotBeMadeReadsAsNull) {
  Store(CFSTR("Colour"), ArrayOf({Float(1.0f), Float(0.5f), Float(0.0f), Float(1.0f)}));
  (void)ZRCopyRGBColorRefOfPreferencesKey(CFSTR("Missing"));
  zrtest::ExpectAllocationFailuresHandled(
      20, [] { return static_cast<CFTypeRef>(ZRCopyRGBColorRefOfPreferencesKey(CFSTR("Colour"))); },
      [](CFTypeRef color) { return ColorText(static_cast<CGColorRef>(const_cast<void*>(color))) == "RGB 1 0.5 0 1"; });
}

// An array of a string, an integer and a double (the caller releases it).
CFMutableArrayRef SampleArray() {
  double half = 0.5;
  return ArrayOf({MakeString("eins"), zrtest::Number(2), CFNumberCreate(nullptr, kCFNumberDoubleType, &half)});
}

TEST_F(ZRPreferencesTest, AnArchivedArrayIsStoredAsAKeyedArchive) {
  CFMutableArrayRef array = SampleArray();
  ZRSetArchivedObjectOfPreferencesKey(array, CFSTR("Archived"));
  auto stored = static_cast<CFDataRef>(Stored(CFSTR("Archived")));
  ASSERT_NE(stored, nullptr);
  ASSERT_EQ(CFGetTypeID(stored), CFDataGetTypeID());
  EXPECT_EQ(zrtest::Bytes(stored).substr(0, 8), "bplist00");
  id unarchived = ns::unarchiveObjectWithData(const_cast<NSData*>(stored));
  ASSERT_NE(unarchived, nullptr);
  EXPECT_TRUE(CFEqual(unarchived, array));
  CFRelease(stored);
  id object = ZRGetArchivedObjectOfPreferencesKey(CFSTR("Archived"));
  ASSERT_NE(object, nullptr);
  EXPECT_TRUE(CFEqual(object, array));
  // Autoreleased into the test's pool: the caller does not own it.
  EXPECT_EQ(CFGetRetainCount(object), 1);
  CFMutableArrayRef copy = ZRCopyArchivedMutableArrayRefOfPreferencesKey(CFSTR("Archived"));
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(CFEqual(copy, array));
  EXPECT_EQ(CFGetRetainCount(copy), 1);
  CFArrayAppendValue(copy, CFSTR("more"));  // mutable
  EXPECT_EQ(CFArrayGetCount(copy), 4);
  CFRelease(copy);
  CFRelease(array);
}

TEST_F(ZRPreferencesTest, AnArchivedDictionaryIsNoArray) {
  CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
  ZRSetIntegerOfDictionaryRef(dictionary, CFSTR("x"), 1);
  ZRSetArchivedObjectOfPreferencesKey(dictionary, CFSTR("Archived"));
  id object = ZRGetArchivedObjectOfPreferencesKey(CFSTR("Archived"));
  ASSERT_NE(object, nullptr);
  EXPECT_TRUE(CFEqual(object, dictionary));
  long live = ZRTestingLiveObjectCount();
  EXPECT_EQ(ZRCopyArchivedMutableArrayRefOfPreferencesKey(CFSTR("Archived")), nullptr);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
  CFRelease(dictionary);
}

TEST_F(ZRPreferencesTest, ArchivedObjectsNeedAnObjectAKeyAndAnArchive) {
  ZRSetIntegerOfPreferencesKey(7, CFSTR("Archived"));
  CFMutableArrayRef array = SampleArray();
  ZRSetArchivedObjectOfPreferencesKey(nil, CFSTR("Archived"));
  ZRSetArchivedObjectOfPreferencesKey(array, nullptr);
  // A URL is no object the archiver writes: nothing is stored.
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp"), kCFURLPOSIXPathStyle, true);
  CFMutableArrayRef unarchivable = ArrayOf({url});
  ZRSetArchivedObjectOfPreferencesKey(unarchivable, CFSTR("Archived"));
  EXPECT_EQ(ZRGetIntegerOfPreferencesKey(CFSTR("Archived"), 0), 7);
  EXPECT_EQ(KeyCount(), 1);
  CFRelease(unarchivable);
  CFRelease(array);
}

TEST_F(ZRPreferencesTest, ArchivedGettersAnswerNilForAnythingElse) {
  ZRSetIntegerOfPreferencesKey(7, CFSTR("Number"));
  Store(CFSTR("Data"), zrtest::MakeData("no archive"));
  Store(CFSTR("Array"), SampleArray());  // an array itself, not its archive
  EXPECT_FALSE(ZRPreferencesHaveKey(CFSTR("Missing")));
  for (CFStringRef key : {CFSTR("Number"), CFSTR("Data"), CFSTR("Array"), CFSTR("Missing"), CFStringRef(nullptr)}) {
    EXPECT_EQ(ZRGetArchivedObjectOfPreferencesKey(key), nil) << Utf8(key);
    long live = ZRTestingLiveObjectCount();
    EXPECT_EQ(ZRCopyArchivedMutableArrayRefOfPreferencesKey(key), nullptr) << Utf8(key);
    EXPECT_EQ(ZRTestingLiveObjectCount(), live) << Utf8(key);
  }
}

TEST_F(ZRPreferencesTest, ArchivingLeavesNothingBehindOnAThreadWithoutAPool) {
  CFMutableArrayRef array = SampleArray();
  ZRSetArchivedObjectOfPreferencesKey(array, CFSTR("Warm"));  // the domain and the class table exist now
  std::string seen;
  std::thread([&] {
    long live = ZRTestingLiveObjectCount();
    ZRSetArchivedObjectOfPreferencesKey(array, CFSTR("Archived"));
    CFMutableArrayRef copy = ZRCopyArchivedMutableArrayRefOfPreferencesKey(CFSTR("Archived"));
    seen += copy && CFEqual(copy, array) ? "copied" : "not copied";
    if (copy) CFRelease(copy);
    // The domain holds one more value: the archive data of the new key.
    seen += ZRTestingLiveObjectCount() == live + 1 ? ", nothing left" : ", objects left";
  }).join();
  EXPECT_EQ(seen, "copied, nothing left");
  CFRelease(array);
}

// The archived array under "Archived" in the domain file, as plistlib decodes it: the archiver,
// the root's class name and each element's repr on a line of its own.
constexpr char kDomainArchiveScript[] = R"(import plistlib, sys
with open(sys.stdin.read(), 'rb') as f:
    domain = plistlib.load(f)
archive = plistlib.loads(domain['Archived'])
objects = archive['$objects']
root = objects[archive['$top']['root'].data]
print(archive['$archiver'], objects[root['$class'].data]['$classname'])
for uid in root['NS.objects']:
    print(repr(objects[uid.data]))
)";

TEST_F(ZRPreferencesTest, PlistlibReadsAnArchivedArrayFromTheDomainFile) {
  CFMutableArrayRef array = SampleArray();
  ZRSetArchivedObjectOfPreferencesKey(array, CFSTR("Archived"));
  CFRelease(array);
  ASSERT_TRUE(ZRSynchronizePreferences());
  std::string output;
  ASSERT_TRUE(zrtest::RunPython(kDomainArchiveScript, domainFile(), &output));
  EXPECT_EQ(output, "NSKeyedArchiver NSMutableArray\n'eins'\n2\n0.5\n");
}

// What the key holds: "7" for the earlier number, "archive" for the archive of the array, else "other".
std::string ArchivedState(CFArrayRef array) {
  if (ZRGetIntegerOfPreferencesKey(CFSTR("Archived"), 0) == 7) return "7";
  CFMutableArrayRef copy = ZRCopyArchivedMutableArrayRefOfPreferencesKey(CFSTR("Archived"));
  std::string state = copy && CFEqual(copy, array) ? "archive" : "other";
  if (copy) CFRelease(copy);
  return state;
}

TEST_F(ZRPreferencesTest, AnArchiveThatCannotBeMadeLeavesTheEarlierValue) {
  CFMutableArrayRef array = SampleArray();
  ZRSetIntegerOfPreferencesKey(7, CFSTR("Archived"));
  ZRSetArchivedObjectOfPreferencesKey(array, CFSTR("Warm"));
  for (const zrtest::AllocationSeam& seam : zrtest::AllocationSeams()) {
    SCOPED_TRACE(seam.name);
    bool complete = false;
    for (long n = 1; n <= 200 && !complete; ++n) {
      ZRSetIntegerOfPreferencesKey(7, CFSTR("Archived"));
      long live = ZRTestingLiveObjectCount();
      seam.fail(n);
      ZRSetArchivedObjectOfPreferencesKey(array, CFSTR("Archived"));
      complete = seam.pending();
      seam.fail(0);
      std::string state = ArchivedState(array);
      EXPECT_EQ(state, complete ? "archive" : "7") << n;
      // The domain holds the archive data in place of the number, or nothing new.
      EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
    }
    EXPECT_TRUE(complete);
  }
  CFRelease(array);
}

TEST_F(ZRPreferencesTest, AnArrayThatCannotBeUnarchivedReadsAsNull) {
  CFMutableArrayRef array = SampleArray();
  ZRSetArchivedObjectOfPreferencesKey(array, CFSTR("Archived"));
  auto isComplete = [array](CFTypeRef copy) { return CFEqual(copy, array) != 0; };
  auto copy = [] { return static_cast<CFTypeRef>(ZRCopyArchivedMutableArrayRefOfPreferencesKey(CFSTR("Archived"))); };
  zrtest::ExpectAllocationFailuresHandled(200, copy, isComplete);
  zrtest::ExpectCxxAllocationFailuresHandled(200, copy, isComplete);
  CFRelease(array);
}

}  // namespace
