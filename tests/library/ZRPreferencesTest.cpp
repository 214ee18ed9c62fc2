// ZRPreferencesTest.cpp: the typed preference accessors of the running application (the test
// bundle, "org.zrframework.tests") and of another application, what they store, their defaults,
// and the application's preference keys and default values.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

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
  CFArrayRef keys =
      CFPreferencesCopyKeyList(kCFPreferencesCurrentApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  ASSERT_NE(keys, nullptr);
  EXPECT_EQ(CFArrayGetCount(keys), 1);
  CFRelease(keys);
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

}  // namespace
