// ZRArrayTest.cpp: typed array elements, appending integers, the first common element and the
// merge of string arrays, with its argument check and ERROR lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::ErrorLine;
using zrtest::MakeString;
using zrtest::Pointer;
using zrtest::Utf8;
using zrtest::WithoutLines;

class ArrayTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  // A new mutable array holding the objects (released here; the array keeps them).
  static CFMutableArrayRef Array(std::vector<CFTypeRef> objects) {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (CFTypeRef object : objects) {
      CFArrayAppendValue(array, object);
      CFRelease(object);
    }
    return array;
  }

  static CFMutableArrayRef Strings(const std::vector<std::string>& texts) {
    std::vector<CFTypeRef> objects;
    for (const std::string& text : texts) objects.push_back(MakeString(text));
    return Array(objects);
  }

  static std::vector<std::string> Texts(CFArrayRef array) {
    std::vector<std::string> texts;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) texts.push_back(Utf8(CFArrayGetValueAtIndex(array, i)));
    return texts;
  }

  static CFNumberRef Double(double value) { return CFNumberCreate(nullptr, kCFNumberDoubleType, &value); }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(ArrayTest, NumberValueReportsExactnessAndRefusesOtherKinds) {
  CFMutableArrayRef array = Array({zrtest::Number(7), Double(2.5), MakeString("7"), kCFBooleanTrue});
  int integer = -1;
  EXPECT_TRUE(ZRGetNumberValueAtIndexOfArrayRef(array, 0, kCFNumberIntType, &integer));
  EXPECT_EQ(integer, 7);
  // An inexact conversion answers false but stores the approximation.
  EXPECT_FALSE(ZRGetNumberValueAtIndexOfArrayRef(array, 1, kCFNumberIntType, &integer));
  EXPECT_EQ(integer, 2);
  double value = 0;
  EXPECT_TRUE(ZRGetNumberValueAtIndexOfArrayRef(array, 1, kCFNumberDoubleType, &value));
  EXPECT_EQ(value, 2.5);
  integer = -1;
  EXPECT_FALSE(ZRGetNumberValueAtIndexOfArrayRef(array, 2, kCFNumberIntType, &integer));
  EXPECT_FALSE(ZRGetNumberValueAtIndexOfArrayRef(array, 3, kCFNumberIntType, &integer));
  EXPECT_EQ(integer, -1);
  CFRelease(array);
}

TEST_F(ArrayTest, IntegerConvertsAnyNumberAndGivesTheDefaultOtherwise) {
  CFMutableArrayRef array = Array({zrtest::Number(-12), Double(2.9), MakeString("5"), kCFBooleanTrue});
  EXPECT_EQ(ZRGetIntegerAtIndexOfArrayRef(array, 0, 99), -12);
  EXPECT_EQ(ZRGetIntegerAtIndexOfArrayRef(array, 1, 99), 2);
  EXPECT_EQ(ZRGetIntegerAtIndexOfArrayRef(array, 2, 99), 99);  // a string
  EXPECT_EQ(ZRGetIntegerAtIndexOfArrayRef(array, 3, 99), 99);  // a Boolean is not a number
  CFRelease(array);
}

TEST_F(ArrayTest, AppendIntegerAddsAnIntNumber) {
  CFMutableArrayRef array = Array({});
  EXPECT_TRUE(ZRAppendIntegerToArrayRef(array, 42));
  EXPECT_TRUE(ZRAppendIntegerToArrayRef(array, -1));
  ASSERT_EQ(CFArrayGetCount(array), 2);
  CFNumberRef number = static_cast<CFNumberRef>(CFArrayGetValueAtIndex(array, 0));
  EXPECT_EQ(CFNumberGetType(number), kCFNumberSInt32Type);  // how an int is kept
  EXPECT_EQ(zrtest::IntOf(number), 42);
  EXPECT_EQ(zrtest::IntOf(CFArrayGetValueAtIndex(array, 1)), -1);
  CFRelease(array);
}

TEST_F(ArrayTest, AppendIntegerAnswersFalseWhenTheNumberCannotBeMade) {
  CFMutableArrayRef array = Array({});
  ZRTestingFailAllocation(1);
  EXPECT_FALSE(ZRAppendIntegerToArrayRef(array, 42));
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(CFArrayGetCount(array), 0);
  CFRelease(array);
}

TEST_F(ArrayTest, KindGettersLendTheElementOfTheirKindOnly) {
  CFMutableArrayRef inner = Array({});
  CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
  CFMutableArrayRef array = Array({MakeString("text"), dictionary, inner, zrtest::Number(1)});
  long retains = CFGetRetainCount(CFArrayGetValueAtIndex(array, 0));
  EXPECT_EQ(Utf8(ZRGetStringRefAtIndexOfArrayRef(array, 0)), "text");
  EXPECT_EQ(CFGetRetainCount(CFArrayGetValueAtIndex(array, 0)), retains);
  EXPECT_EQ(ZRGetDictionaryRefAtIndexOfArrayRef(array, 1), dictionary);
  EXPECT_EQ(ZRGetArrayRefAtIndexOfArrayRef(array, 2), inner);
  for (CFIndex i = 0; i < 4; ++i) {
    EXPECT_EQ(ZRGetStringRefAtIndexOfArrayRef(array, i) != nullptr, i == 0) << i;
    EXPECT_EQ(ZRGetDictionaryRefAtIndexOfArrayRef(array, i) != nullptr, i == 1) << i;
    EXPECT_EQ(ZRGetArrayRefAtIndexOfArrayRef(array, i) != nullptr, i == 2) << i;
  }
  CFRelease(array);
}

TEST_F(ArrayTest, FirstOccurrenceFollowsTheOrderOfTheFirstArray) {
  CFMutableArrayRef array = Strings({"x", "y", "z"});
  CFMutableArrayRef search = Strings({"z", "y"});
  EXPECT_EQ(Utf8(ZRGetFirstOccurrenceOfArrayRefInArrayRef(array, search)), "y");
  EXPECT_EQ(ZRGetFirstOccurrenceOfArrayRefInArrayRef(array, search), CFArrayGetValueAtIndex(array, 1));
  CFRelease(search);
  CFRelease(array);
}

TEST_F(ArrayTest, FirstOccurrenceComparesByEqualityNotIdentity) {
  CFMutableArrayRef array = Array({zrtest::Number(3), MakeString("b")});
  // Equal objects made separately: a double 3.0 equals the int 3.
  CFMutableArrayRef search = Array({Double(3.0)});
  EXPECT_EQ(ZRGetFirstOccurrenceOfArrayRefInArrayRef(array, search), CFArrayGetValueAtIndex(array, 0));
  CFRelease(search);
  CFRelease(array);
}

TEST_F(ArrayTest, FirstOccurrenceIsNullWhenNothingIsShared) {
  CFMutableArrayRef empty = Array({});
  CFMutableArrayRef some = Strings({"a", "b"});
  CFMutableArrayRef other = Strings({"c"});
  EXPECT_EQ(ZRGetFirstOccurrenceOfArrayRefInArrayRef(empty, some), nullptr);
  EXPECT_EQ(ZRGetFirstOccurrenceOfArrayRefInArrayRef(some, empty), nullptr);
  EXPECT_EQ(ZRGetFirstOccurrenceOfArrayRefInArrayRef(some, other), nullptr);
  CFRelease(other);
  CFRelease(some);
  CFRelease(empty);
}

TEST_F(ArrayTest, AddStringsSkipsThoseEqualUnderTheOptions) {
  CFMutableArrayRef strings = Strings({"a", "B"});
  CFMutableArrayRef add = Strings({"b", "c", "c"});
  EXPECT_EQ(ZRAddStringArrayRefToStringArrayRef(strings, add, kCFCompareCaseInsensitive, true), noErr);
  EXPECT_EQ(Texts(strings), (std::vector<std::string>{"a", "B", "c"}));
  CFRelease(strings);

  strings = Strings({"a", "B"});
  EXPECT_EQ(ZRAddStringArrayRefToStringArrayRef(strings, add, 0, true), noErr);
  EXPECT_EQ(Texts(strings), (std::vector<std::string>{"a", "B", "b", "c"}));
  EXPECT_EQ(Texts(add), (std::vector<std::string>{"b", "c", "c"}));
  CFRelease(strings);
  CFRelease(add);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ArrayTest, AddStringsIntoAnEmptyArrayDropsRepeats) {
  CFMutableArrayRef strings = Strings({});
  CFMutableArrayRef add = Strings({"x", "X", "x"});
  EXPECT_EQ(ZRAddStringArrayRefToStringArrayRef(strings, add, 0, false), noErr);
  EXPECT_EQ(Texts(strings), (std::vector<std::string>{"x", "X"}));
  CFRelease(add);
  CFRelease(strings);
}

TEST_F(ArrayTest, AddStringsRefusesANullArray) {
  CFMutableArrayRef strings = Strings({"a"});
  struct Case {
    CFMutableArrayRef strings;
    CFArrayRef add;
  } cases[] = {{nullptr, strings}, {strings, nullptr}, {nullptr, nullptr}};
  for (const Case& c : cases) {
    for (bool logging : {true, false}) {
      log_.clear();
      EXPECT_EQ(ZRAddStringArrayRefToStringArrayRef(c.strings, c.add, 0, logging), paramErr);
      std::vector<std::string> expected;
      if (logging) {
        // No blank after the comma: the message is kept exactly so.
        expected.push_back(
            ErrorLine("ZRAddStringArrayRefToStringArrayRef",
                      "inStringArrayRef: " + Pointer(c.strings) + ",inAddStringArrayRef: " + Pointer(c.add)));
      }
      EXPECT_EQ(WithoutLines(log_.lines()), expected);
    }
  }
  EXPECT_EQ(Texts(strings), std::vector<std::string>{"a"});
  CFRelease(strings);
}

}  // namespace

namespace {

// The application's class of that name below superclass, made and registered once per process.
Class ApplicationClass(const char* name, Class superclass) {
  if (Class existing = objc_getClass(name)) return existing;
  Class cls = objc_allocateClassPair(superclass, name, 0);
  if (cls) objc_registerClassPair(cls);
  return cls;
}

TEST_F(ArrayTest, ObjectAtIndexAnswersIsKindOfClass) {
  CFMutableArrayRef array = Array({CFStringCreateMutableCopy(nullptr, 0, CFSTR("a")), zrtest::Number(1)});
  Class stringClass = objc_getClass("NSString");
  Class numberClass = objc_getClass("NSNumber");
  // A mutable string is an instance of a subclass of NSString.
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, stringClass), CFArrayGetValueAtIndex(array, 0));
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, objc_getClass("NSMutableString")), CFArrayGetValueAtIndex(array, 0));
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, numberClass), nullptr);
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 1, numberClass), CFArrayGetValueAtIndex(array, 1));
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 1, stringClass), nullptr);
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 1, Nil), nullptr);
  CFRelease(array);
}

TEST_F(ArrayTest, ObjectAtIndexTakesTheApplicationsOwnClasses) {
  Class quote = ApplicationClass("ZRArrayTestQuote", Nil);
  Class stock = ApplicationClass("ZRArrayTestStockQuote", quote);
  Class other = ApplicationClass("ZRArrayTestOther", Nil);
  ASSERT_NE(quote, Nil);
  ASSERT_NE(stock, Nil);
  ASSERT_NE(other, Nil);
  id instance = class_createInstance(stock, 0);
  ASSERT_NE(instance, nullptr);
  CFMutableArrayRef array = Array({instance});
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, stock), instance);
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, quote), instance);
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, objc_getClass("NSObject")), instance);
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, other), nullptr);
  EXPECT_EQ(ZRGetObjectAtIndexOfArrayRef(array, 0, objc_getClass("NSString")), nullptr);
  CFRelease(array);
}

}  // namespace
