// ZRDictionaryTest.cpp: typed dictionary getters and setters with the library's number rules, the
// localized string setter and the empty mutable dictionary.
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

using zrtest::MakeString;
using zrtest::Utf8;

class DictionaryTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    // The main bundle reads its strings table once and keeps it; read it before counting objects.
    CFRelease(CFBundleCopyLocalizedString(CFBundleGetMainBundle(), CFSTR("warm"), CFSTR("warm"), nullptr));
    LeakCheckedTest::SetUp();
    dictionary_ = ZRCreateMutableDictionaryRef();
    ASSERT_NE(dictionary_, nullptr);
  }
  void TearDown() override {
    ZRDestroyMutableDictionaryRef(&dictionary_);
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  void Put(CFStringRef key, CFTypeRef value) {
    CFDictionarySetValue(dictionary_, key, value);
    CFRelease(value);
  }
  static CFNumberRef Double(double value) { return CFNumberCreate(nullptr, kCFNumberDoubleType, &value); }

  CFMutableDictionaryRef dictionary_ = nullptr;
  NSAutoreleasePool pool_;
};

TEST_F(DictionaryTest, IntegerConvertsANumberOfAnotherType) {
  Put(CFSTR("n"), Double(2.9));
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary_, CFSTR("n"), 7), 2);
  EXPECT_EQ(ZRGetCFIndexOfDictionaryRef(dictionary_, CFSTR("n"), 7), 2);
  EXPECT_FLOAT_EQ(ZRGetFloatOfDictionaryRef(dictionary_, CFSTR("n"), 7), 2.9f);
  EXPECT_DOUBLE_EQ(ZRGetDoubleOfDictionaryRef(dictionary_, CFSTR("n"), 7), 2.9);
}

TEST_F(DictionaryTest, NumberGettersGiveTheDefaultForNullMissingOrOtherKinds) {
  Put(CFSTR("bool"), kCFBooleanTrue);
  CFRetain(kCFBooleanTrue);
  Put(CFSTR("string"), MakeString("3"));
  for (CFStringRef key : {CFSTR("bool"), CFSTR("string"), CFSTR("missing")}) {
    EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary_, key, -4), -4);
    EXPECT_EQ(ZRGetFloatOfDictionaryRef(dictionary_, key, 1.5f), 1.5f);
    EXPECT_EQ(ZRGetDoubleOfDictionaryRef(dictionary_, key, 2.25), 2.25);
    EXPECT_EQ(ZRGetCFIndexOfDictionaryRef(dictionary_, key, 11), 11);
  }
  Put(CFSTR("n"), zrtest::Number(5));
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(nullptr, CFSTR("n"), -4), -4);
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary_, nullptr, -4), -4);
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary_, CFSTR("n"), -4), 5);
}

TEST_F(DictionaryTest, OutOfRangeNumbersGiveThePlatformsApproximation) {
  Put(CFSTR("big"), Double(1e12));
  // Not the default: the conversion's own result, whatever its exactness.
  int expected = 0;
  CFNumberRef number = static_cast<CFNumberRef>(CFDictionaryGetValue(dictionary_, CFSTR("big")));
  EXPECT_FALSE(CFNumberGetValue(number, kCFNumberIntType, &expected));
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary_, CFSTR("big"), 1), expected);
}

TEST_F(DictionaryTest, BoolTakesBooleanObjectsOnly) {
  ZRSetBoolOfDictionaryRef(dictionary_, CFSTR("t"), 2);
  ZRSetBoolOfDictionaryRef(dictionary_, CFSTR("f"), 0);
  EXPECT_EQ(CFDictionaryGetValue(dictionary_, CFSTR("t")), kCFBooleanTrue);
  EXPECT_EQ(CFDictionaryGetValue(dictionary_, CFSTR("f")), kCFBooleanFalse);
  EXPECT_TRUE(ZRGetBoolOfDictionaryRef(dictionary_, CFSTR("t"), false));
  EXPECT_FALSE(ZRGetBoolOfDictionaryRef(dictionary_, CFSTR("f"), true));
  Put(CFSTR("one"), zrtest::Number(1));
  Put(CFSTR("zero"), zrtest::Number(0));
  EXPECT_FALSE(ZRGetBoolOfDictionaryRef(dictionary_, CFSTR("one"), false));
  EXPECT_TRUE(ZRGetBoolOfDictionaryRef(dictionary_, CFSTR("zero"), true));
  EXPECT_TRUE(ZRGetBoolOfDictionaryRef(dictionary_, CFSTR("missing"), true));
  EXPECT_TRUE(ZRGetBoolOfDictionaryRef(nullptr, CFSTR("t"), true));
  EXPECT_FALSE(ZRGetBoolOfDictionaryRef(dictionary_, nullptr, false));
}

TEST_F(DictionaryTest, ReferenceGettersLendTheirKindOnly) {
  CFDataRef data = zrtest::MakeData("xy");
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  Put(CFSTR("number"), zrtest::Number(3));
  Put(CFSTR("string"), MakeString("s"));
  Put(CFSTR("data"), data);
  Put(CFSTR("array"), array);
  const CFStringRef keys[] = {CFSTR("number"), CFSTR("string"), CFSTR("data"), CFSTR("array"), CFSTR("missing")};
  for (int i = 0; i < 5; ++i) {
    CFTypeRef stored = CFDictionaryGetValue(dictionary_, keys[i]);
    EXPECT_EQ(ZRGetNumberRefOfDictionaryRef(dictionary_, keys[i]), i == 0 ? stored : nullptr) << i;
    EXPECT_EQ(ZRGetStringRefOfDictionaryRef(dictionary_, keys[i]), i == 1 ? stored : nullptr) << i;
    EXPECT_EQ(ZRGetDataRefOfDictionaryRef(dictionary_, keys[i]), i == 2 ? stored : nullptr) << i;
    EXPECT_EQ(ZRGetArrayRefOfDictionaryRef(dictionary_, keys[i]), i == 3 ? stored : nullptr) << i;
  }
  EXPECT_EQ(CFGetRetainCount(data), 1);  // lent, not retained
  EXPECT_EQ(ZRGetStringRefOfDictionaryRef(nullptr, CFSTR("string")), nullptr);
  EXPECT_EQ(ZRGetStringRefOfDictionaryRef(dictionary_, nullptr), nullptr);
  EXPECT_EQ(ZRGetNumberRefOfDictionaryRef(nullptr, nullptr), nullptr);
  EXPECT_EQ(ZRGetDataRefOfDictionaryRef(nullptr, CFSTR("data")), nullptr);
  EXPECT_EQ(ZRGetArrayRefOfDictionaryRef(dictionary_, nullptr), nullptr);
}

TEST_F(DictionaryTest, NumberValueIfPresentLeavesTheVariableAloneWhenMissing) {
  Put(CFSTR("d"), Double(2.5));
  Put(CFSTR("s"), MakeString("2"));
  int value = 17;
  EXPECT_FALSE(ZRGetNumberValueOfDictionaryRefIfPresent(dictionary_, CFSTR("missing"), kCFNumberIntType, &value));
  EXPECT_FALSE(ZRGetNumberValueOfDictionaryRefIfPresent(dictionary_, CFSTR("s"), kCFNumberIntType, &value));
  EXPECT_FALSE(ZRGetNumberValueOfDictionaryRefIfPresent(nullptr, CFSTR("d"), kCFNumberIntType, &value));
  EXPECT_FALSE(ZRGetNumberValueOfDictionaryRefIfPresent(dictionary_, nullptr, kCFNumberIntType, &value));
  EXPECT_FALSE(ZRGetNumberValueOfDictionaryRefIfPresent(dictionary_, CFSTR("d"), kCFNumberIntType, nullptr));
  EXPECT_EQ(value, 17);
  // Inexact: false, with the approximation stored.
  EXPECT_FALSE(ZRGetNumberValueOfDictionaryRefIfPresent(dictionary_, CFSTR("d"), kCFNumberIntType, &value));
  EXPECT_EQ(value, 2);
  double exact = 0;
  EXPECT_TRUE(ZRGetNumberValueOfDictionaryRefIfPresent(dictionary_, CFSTR("d"), kCFNumberDoubleType, &exact));
  EXPECT_EQ(exact, 2.5);
}

TEST_F(DictionaryTest, NumberSettersStoreTheirOwnNumberType) {
  ZRSetIntegerOfDictionaryRef(dictionary_, CFSTR("i"), -3);
  ZRSetFloatOfDictionaryRef(dictionary_, CFSTR("f"), 0.5f);
  ZRSetDoubleOfDictionaryRef(dictionary_, CFSTR("d"), 1e100);
  ZRSetCFIndexOfDictionaryRef(dictionary_, CFSTR("c"), 1234567);
  // CFNumberGetType answers with the storage type each number type is kept as.
  struct Expect {
    CFStringRef key;
    CFNumberType type;
  } expects[] = {{CFSTR("i"), kCFNumberSInt32Type},
                 {CFSTR("f"), kCFNumberFloat32Type},
                 {CFSTR("d"), kCFNumberFloat64Type},
                 {CFSTR("c"), kCFNumberSInt64Type}};
  for (const Expect& e : expects) {
    CFNumberRef number = ZRGetNumberRefOfDictionaryRef(dictionary_, e.key);
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(CFNumberGetType(number), e.type) << Utf8(e.key);
    EXPECT_EQ(CFGetRetainCount(number), 1);  // the setter released its own reference
  }
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary_, CFSTR("i"), 0), -3);
  EXPECT_EQ(ZRGetFloatOfDictionaryRef(dictionary_, CFSTR("f"), 0), 0.5f);
  EXPECT_EQ(ZRGetDoubleOfDictionaryRef(dictionary_, CFSTR("d"), 0), 1e100);
  EXPECT_EQ(ZRGetCFIndexOfDictionaryRef(dictionary_, CFSTR("c"), 0), 1234567);
}

TEST_F(DictionaryTest, AFailedNumberLeavesTheEarlierValue) {
  ZRSetIntegerOfDictionaryRef(dictionary_, CFSTR("i"), 1);
  ZRTestingFailAllocation(1);
  ZRSetIntegerOfDictionaryRef(dictionary_, CFSTR("i"), 2);
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary_, CFSTR("i"), 0), 1);
}

TEST_F(DictionaryTest, SettersDoNothingForNullArguments) {
  CFStringRef text = MakeString("v");
  ZRSetStringRefOfDictionaryRef(dictionary_, CFSTR("s"), text);
  ZRSetStringRefOfDictionaryRef(dictionary_, CFSTR("s"), nullptr);  // no key is removed
  EXPECT_EQ(ZRGetStringRefOfDictionaryRef(dictionary_, CFSTR("s")), text);
  ZRSetArrayRefOfDictionaryRef(dictionary_, CFSTR("s"), nullptr);
  ZRSetObjectOfDictionaryRef(dictionary_, CFSTR("s"), nullptr);
  ZRSetLOCStringRefOfDictionaryRef(dictionary_, CFSTR("s"), nullptr);
  EXPECT_EQ(ZRGetStringRefOfDictionaryRef(dictionary_, CFSTR("s")), text);
  ZRSetBoolOfDictionaryRef(dictionary_, nullptr, true);
  ZRSetIntegerOfDictionaryRef(dictionary_, nullptr, 1);
  ZRSetFloatOfDictionaryRef(dictionary_, nullptr, 1);
  ZRSetDoubleOfDictionaryRef(dictionary_, nullptr, 1);
  ZRSetCFIndexOfDictionaryRef(dictionary_, nullptr, 1);
  ZRSetStringRefOfDictionaryRef(dictionary_, nullptr, text);
  ZRSetArrayRefOfDictionaryRef(dictionary_, nullptr, nullptr);
  ZRSetObjectOfDictionaryRef(dictionary_, nullptr, text);
  ZRSetLOCStringRefOfDictionaryRef(dictionary_, nullptr, text);
  EXPECT_EQ(CFDictionaryGetCount(dictionary_), 1);
  ZRSetBoolOfDictionaryRef(nullptr, CFSTR("k"), true);
  ZRSetIntegerOfDictionaryRef(nullptr, CFSTR("k"), 1);
  ZRSetFloatOfDictionaryRef(nullptr, CFSTR("k"), 1);
  ZRSetDoubleOfDictionaryRef(nullptr, CFSTR("k"), 1);
  ZRSetCFIndexOfDictionaryRef(nullptr, CFSTR("k"), 1);
  ZRSetStringRefOfDictionaryRef(nullptr, CFSTR("k"), text);
  ZRSetObjectOfDictionaryRef(nullptr, CFSTR("k"), text);
  ZRSetLOCStringRefOfDictionaryRef(nullptr, CFSTR("k"), text);
  CFRelease(text);
}

TEST_F(DictionaryTest, ObjectAndArraySettersStoreTheValueItself) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFDataRef data = zrtest::MakeData("z");
  ZRSetArrayRefOfDictionaryRef(dictionary_, CFSTR("a"), array);
  ZRSetObjectOfDictionaryRef(dictionary_, CFSTR("o"), data);
  EXPECT_EQ(CFDictionaryGetValue(dictionary_, CFSTR("a")), array);
  EXPECT_EQ(CFDictionaryGetValue(dictionary_, CFSTR("o")), data);
  CFRelease(array);
  CFRelease(data);
}

TEST_F(DictionaryTest, LocalizedStringSetterStoresTheTranslationOrTheStringItself) {
  ZRSetLOCStringRefOfDictionaryRef(dictionary_, CFSTR("t"), CFSTR("Process_General_OneMinuteRemaining"));
  EXPECT_EQ(Utf8(ZRGetStringRefOfDictionaryRef(dictionary_, CFSTR("t"))), "About a minute remaining");
  ZRSetLOCStringRefOfDictionaryRef(dictionary_, CFSTR("u"), CFSTR("No such entry anywhere"));
  EXPECT_EQ(Utf8(ZRGetStringRefOfDictionaryRef(dictionary_, CFSTR("u"))), "No such entry anywhere");
}

TEST_F(DictionaryTest, CreatedDictionaryIsEmptyMutableAndRetainsItsObjects) {
  CFMutableDictionaryRef made = ZRCreateMutableDictionaryRef();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(made), 0);
  CFStringRef key = MakeString("key");
  CFStringRef value = MakeString("value");
  CFDictionarySetValue(made, key, value);
  EXPECT_EQ(CFGetRetainCount(value), 2);
  CFRelease(key);
  CFRelease(value);
  EXPECT_EQ(Utf8(ZRGetStringRefOfDictionaryRef(made, CFSTR("key"))), "value");
  CFRelease(made);
}

TEST_F(DictionaryTest, CreateAnswersNullWhenTheDictionaryCannotBeMade) {
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCreateMutableDictionaryRef(), nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
}

}  // namespace
