// CFNumberTest.cpp: numbers of every CFNumberType, lossy conversions, comparison, equality
// and hashing across types, descriptions, the special numbers and the Booleans.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Description;

template <class T>
CFNumberRef Make(CFNumberType type, T value) {
  return CFNumberCreate(nullptr, type, &value);
}

// Reads a number as type T, returning the stored value; *exact receives the result.
template <class T>
T Read(CFNumberRef number, CFNumberType type, bool* exact) {
  T value{};
  *exact = CFNumberGetValue(number, type, &value);
  return value;
}

// Whether the number reads as type T to the expected value, exactly or not as `exact` says.
template <class T>
::testing::AssertionResult ReadsAs(CFNumberRef number, CFNumberType type, T expected, bool exact) {
  bool wasExact = false;
  T value = Read<T>(number, type, &wasExact);
  if (value == expected && wasExact == exact) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "type " << type << " reads " << +value
                                       << (wasExact ? " exactly" : " inexactly") << ", expected " << +expected
                                       << (exact ? " exactly" : " inexactly");
}

// ReadsAs for a new number of madeType holding `made`, released afterwards.
template <class T, class V>
::testing::AssertionResult NewNumberReadsAs(CFNumberType madeType, V made, CFNumberType type, T expected, bool exact) {
  CFNumberRef number = Make(madeType, made);
  ::testing::AssertionResult result = ReadsAs<T>(number, type, expected, exact);
  CFRelease(number);
  return result;
}

struct TypeCase {
  CFNumberType type;
  CFNumberType canonical;
  CFIndex byteSize;
  bool isFloat;
};

const TypeCase kTypes[] = {
    {kCFNumberSInt8Type, kCFNumberSInt8Type, 1, false},      {kCFNumberSInt16Type, kCFNumberSInt16Type, 2, false},
    {kCFNumberSInt32Type, kCFNumberSInt32Type, 4, false},    {kCFNumberSInt64Type, kCFNumberSInt64Type, 8, false},
    {kCFNumberFloat32Type, kCFNumberFloat32Type, 4, true},   {kCFNumberFloat64Type, kCFNumberFloat64Type, 8, true},
    {kCFNumberCharType, kCFNumberSInt8Type, 1, false},       {kCFNumberShortType, kCFNumberSInt16Type, 2, false},
    {kCFNumberIntType, kCFNumberSInt32Type, 4, false},       {kCFNumberLongType, kCFNumberSInt64Type, 8, false},
    {kCFNumberLongLongType, kCFNumberSInt64Type, 8, false},  {kCFNumberFloatType, kCFNumberFloat32Type, 4, true},
    {kCFNumberDoubleType, kCFNumberFloat64Type, 8, true},    {kCFNumberCFIndexType, kCFNumberSInt64Type, 8, false},
    {kCFNumberNSIntegerType, kCFNumberSInt64Type, 8, false}, {kCFNumberCGFloatType, kCFNumberFloat64Type, 8, true},
};

// Creates a number of the given type holding -(the type's largest magnitude that fits) or
// a fractional value for floats, reads it back as the same type and compares the bytes.
template <class T>
void ExpectRoundTrip(const TypeCase& c, T value) {
  CFNumberRef number = Make(c.type, value);
  ASSERT_NE(number, nullptr);
  EXPECT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
  EXPECT_EQ(CFNumberGetType(number), c.canonical) << "type " << c.type;
  EXPECT_EQ(CFNumberGetByteSize(number), c.byteSize) << "type " << c.type;
  EXPECT_EQ(static_cast<bool>(CFNumberIsFloatType(number)), c.isFloat) << "type " << c.type;
  T back{};
  EXPECT_TRUE(CFNumberGetValue(number, c.type, &back)) << "type " << c.type;
  EXPECT_EQ(back, value) << "type " << c.type;
  // The canonical type reads the value back exactly too.
  T canonicalBack{};
  EXPECT_TRUE(CFNumberGetValue(number, c.canonical, &canonicalBack)) << "type " << c.type;
  EXPECT_EQ(canonicalBack, value);
  CFRelease(number);
}

TEST(CFNumber, EveryTypeRoundTripsWithItsCanonicalType) {
  for (const TypeCase& c : kTypes) {
    switch (c.canonical) {
      case kCFNumberSInt8Type:
        ExpectRoundTrip<int8_t>(c, INT8_MIN);
        ExpectRoundTrip<int8_t>(c, INT8_MAX);
        break;
      case kCFNumberSInt16Type:
        ExpectRoundTrip<int16_t>(c, INT16_MIN);
        ExpectRoundTrip<int16_t>(c, INT16_MAX);
        break;
      case kCFNumberSInt32Type:
        ExpectRoundTrip<int32_t>(c, INT32_MIN);
        ExpectRoundTrip<int32_t>(c, INT32_MAX);
        break;
      case kCFNumberSInt64Type:
        ExpectRoundTrip<int64_t>(c, INT64_MIN);
        ExpectRoundTrip<int64_t>(c, INT64_MAX);
        break;
      case kCFNumberFloat32Type:
        ExpectRoundTrip<float>(c, 0.1f);
        ExpectRoundTrip<float>(c, -FLT_MAX);
        ExpectRoundTrip<float>(c, FLT_TRUE_MIN);
        break;
      case kCFNumberFloat64Type:
        ExpectRoundTrip<double>(c, 0.1);
        ExpectRoundTrip<double>(c, -DBL_MAX);
        ExpectRoundTrip<double>(c, DBL_TRUE_MIN);
        break;
    }
  }
}

TEST(CFNumber, CreateRejectsUnknownTypeAndNullValue) {
  int value = 1;
  EXPECT_EQ(CFNumberCreate(nullptr, 0, &value), nullptr);
  EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberMaxType + 1, &value), nullptr);
  EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberIntType, nullptr), nullptr);
}

TEST(CFNumber, GetValueRejectsUnknownType) {
  CFNumberRef number = Make(kCFNumberIntType, 5);
  int64_t out = 77;
  EXPECT_FALSE(CFNumberGetValue(number, 0, &out));
  EXPECT_FALSE(CFNumberGetValue(number, 17, &out));
  EXPECT_EQ(out, 77);
  CFRelease(number);
}

TEST(CFNumber, GetValueOf2Point9AsAnIntStores2AndReturnsFalse) {
  EXPECT_TRUE(NewNumberReadsAs<int>(kCFNumberDoubleType, 2.9, kCFNumberIntType, 2, false));
}

TEST(CFNumber, FractionsAreDroppedTowardsZero) {
  CFNumberRef negative = Make(kCFNumberDoubleType, -2.9);
  EXPECT_TRUE(ReadsAs<int>(negative, kCFNumberIntType, -2, false));
  EXPECT_TRUE(ReadsAs<int64_t>(negative, kCFNumberSInt64Type, -2, false));
  EXPECT_TRUE(ReadsAs<int8_t>(negative, kCFNumberSInt8Type, -2, false));
  CFRelease(negative);

  EXPECT_TRUE(NewNumberReadsAs<int16_t>(kCFNumberFloatType, 2.75f, kCFNumberShortType, 2, false));
}

TEST(CFNumber, WholeFloatingValuesConvertExactly) {
  EXPECT_TRUE(NewNumberReadsAs<int>(kCFNumberDoubleType, 2.0, kCFNumberIntType, 2, true));
  EXPECT_TRUE(NewNumberReadsAs<int>(kCFNumberDoubleType, -0.0, kCFNumberIntType, 0, true));
}

TEST(CFNumber, IntegersOutOfRangeSaturate) {
  CFNumberRef big = Make(kCFNumberIntType, 300);
  EXPECT_TRUE(ReadsAs<int8_t>(big, kCFNumberSInt8Type, INT8_MAX, false));
  EXPECT_TRUE(ReadsAs<int16_t>(big, kCFNumberSInt16Type, 300, true));
  CFRelease(big);

  EXPECT_TRUE(NewNumberReadsAs<int8_t>(kCFNumberIntType, -300, kCFNumberCharType, INT8_MIN, false));

  CFNumberRef huge = Make(kCFNumberSInt64Type, INT64_MAX);
  EXPECT_TRUE(ReadsAs<int32_t>(huge, kCFNumberIntType, INT32_MAX, false));
  EXPECT_TRUE(ReadsAs<int16_t>(huge, kCFNumberSInt16Type, INT16_MAX, false));
  CFRelease(huge);

  EXPECT_TRUE(NewNumberReadsAs<int32_t>(kCFNumberLongLongType, static_cast<long long>(INT32_MIN) - 1,
                                        kCFNumberSInt32Type, INT32_MIN, false));
}

TEST(CFNumber, FloatingValuesOutOfRangeSaturate) {
  CFNumberRef big = Make(kCFNumberDoubleType, 1e20);
  EXPECT_TRUE(ReadsAs<int64_t>(big, kCFNumberSInt64Type, INT64_MAX, false));
  EXPECT_TRUE(ReadsAs<int>(big, kCFNumberIntType, INT32_MAX, false));
  CFRelease(big);

  EXPECT_TRUE(NewNumberReadsAs<int64_t>(kCFNumberDoubleType, -1e20, kCFNumberCFIndexType, INT64_MIN, false));

  // 2^63 is just past the 64-bit range; -2^63 is its lowest value, exactly.
  EXPECT_TRUE(
      NewNumberReadsAs<int64_t>(kCFNumberDoubleType, 9223372036854775808.0, kCFNumberSInt64Type, INT64_MAX, false));
  EXPECT_TRUE(
      NewNumberReadsAs<int64_t>(kCFNumberDoubleType, -9223372036854775808.0, kCFNumberSInt64Type, INT64_MIN, true));

  EXPECT_TRUE(NewNumberReadsAs<int8_t>(kCFNumberDoubleType, 127.5, kCFNumberSInt8Type, 127, false));
  EXPECT_TRUE(NewNumberReadsAs<int8_t>(kCFNumberDoubleType, 128.0, kCFNumberSInt8Type, 127, false));
}

TEST(CFNumber, NaNAndInfinityToIntegers) {
  EXPECT_TRUE(ReadsAs<int>(kCFNumberNaN, kCFNumberIntType, 0, false));
  EXPECT_TRUE(ReadsAs<int64_t>(kCFNumberNaN, kCFNumberSInt64Type, 0, false));
  EXPECT_TRUE(ReadsAs<int>(kCFNumberPositiveInfinity, kCFNumberIntType, INT32_MAX, false));
  EXPECT_TRUE(ReadsAs<int>(kCFNumberNegativeInfinity, kCFNumberIntType, INT32_MIN, false));
  EXPECT_TRUE(ReadsAs<int64_t>(kCFNumberPositiveInfinity, kCFNumberLongType, INT64_MAX, false));
  EXPECT_TRUE(ReadsAs<int8_t>(kCFNumberNegativeInfinity, kCFNumberSInt8Type, INT8_MIN, false));
}

TEST(CFNumber, NaNAndInfinityToFloatingTypesAreExact) {
  bool exact = false;
  EXPECT_TRUE(std::isnan(Read<float>(kCFNumberNaN, kCFNumberFloatType, &exact)));
  EXPECT_TRUE(exact);
  EXPECT_TRUE(std::isnan(Read<double>(kCFNumberNaN, kCFNumberDoubleType, &exact)));
  EXPECT_TRUE(exact);
  EXPECT_TRUE(ReadsAs<float>(kCFNumberPositiveInfinity, kCFNumberFloat32Type, INFINITY, true));
  EXPECT_TRUE(ReadsAs<double>(kCFNumberNegativeInfinity, kCFNumberFloat64Type, -INFINITY, true));
}

TEST(CFNumber, DoubleToFloatRoundsAndReportsLoss) {
  EXPECT_TRUE(NewNumberReadsAs<float>(kCFNumberDoubleType, 0.1, kCFNumberFloatType, 0.1f, false));

  EXPECT_TRUE(NewNumberReadsAs<float>(kCFNumberDoubleType, 0.5, kCFNumberFloatType, 0.5f, true));

  EXPECT_TRUE(NewNumberReadsAs<float>(kCFNumberDoubleType, 1e300, kCFNumberFloat32Type, FLT_MAX, false));
  EXPECT_TRUE(NewNumberReadsAs<float>(kCFNumberDoubleType, -1e300, kCFNumberFloat32Type, -FLT_MAX, false));

  EXPECT_TRUE(NewNumberReadsAs<float>(kCFNumberDoubleType, 1e-300, kCFNumberFloat32Type, 0.0f, false));
}

TEST(CFNumber, FloatWidensToDoubleExactly) {
  EXPECT_TRUE(NewNumberReadsAs<double>(kCFNumberFloatType, 0.1f, kCFNumberDoubleType, static_cast<double>(0.1f), true));
}

TEST(CFNumber, IntegersThatDoNotFitTheSignificandAreLossyAsFloatingPoint) {
  EXPECT_TRUE(NewNumberReadsAs<double>(kCFNumberSInt64Type, (int64_t{1} << 53) + 1, kCFNumberDoubleType,
                                       9007199254740992.0, false));

  EXPECT_TRUE(
      NewNumberReadsAs<double>(kCFNumberSInt64Type, int64_t{1} << 53, kCFNumberDoubleType, 9007199254740992.0, true));

  EXPECT_TRUE(
      NewNumberReadsAs<double>(kCFNumberSInt64Type, INT64_MAX, kCFNumberFloat64Type, 9223372036854775808.0, false));

  EXPECT_TRUE(NewNumberReadsAs<float>(kCFNumberIntType, 16777217, kCFNumberFloatType, 16777216.0f, false));

  EXPECT_TRUE(NewNumberReadsAs<float>(kCFNumberIntType, 12345, kCFNumberFloatType, 12345.0f, true));
}

TEST(CFNumber, GetValueRejectsNullArguments) {
  CFNumberRef number = Make(kCFNumberIntType, 1);
  EXPECT_FALSE(CFNumberGetValue(number, kCFNumberIntType, nullptr));
  CFRelease(number);
}

TEST(CFNumber, CompareByValueAcrossTypes) {
  CFNumberRef one = Make(kCFNumberIntType, 1);
  CFNumberRef oneDouble = Make(kCFNumberDoubleType, 1.0);
  CFNumberRef onePointFive = Make(kCFNumberFloatType, 1.5f);
  CFNumberRef two = Make(kCFNumberSInt8Type, int8_t{2});
  EXPECT_EQ(CFNumberCompare(one, oneDouble, nullptr), kCFCompareEqualTo);
  EXPECT_EQ(CFNumberCompare(one, onePointFive, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(onePointFive, one, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(onePointFive, two, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(two, one, nullptr), kCFCompareGreaterThan);
  CFRelease(one);
  CFRelease(oneDouble);
  CFRelease(onePointFive);
  CFRelease(two);

  // Exact even where converting the integer to a double would round it.
  CFNumberRef bigInteger = Make(kCFNumberSInt64Type, (int64_t{1} << 53) + 1);
  CFNumberRef bigDouble = Make(kCFNumberDoubleType, 9007199254740992.0);
  EXPECT_EQ(CFNumberCompare(bigInteger, bigDouble, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(bigDouble, bigInteger, nullptr), kCFCompareLessThan);
  EXPECT_FALSE(CFEqual(bigInteger, bigDouble));
  CFRelease(bigInteger);
  CFRelease(bigDouble);

  CFNumberRef maxInteger = Make(kCFNumberSInt64Type, INT64_MAX);
  CFNumberRef twoTo63 = Make(kCFNumberDoubleType, 9223372036854775808.0);
  EXPECT_EQ(CFNumberCompare(maxInteger, twoTo63, nullptr), kCFCompareLessThan);
  CFRelease(maxInteger);
  CFRelease(twoTo63);
}

TEST(CFNumber, CompareSpecialValues) {
  CFNumberRef negativeZero = Make(kCFNumberDoubleType, -0.0);
  CFNumberRef positiveZero = Make(kCFNumberDoubleType, 0.0);
  CFNumberRef integerZero = Make(kCFNumberIntType, 0);
  CFNumberRef minusOne = Make(kCFNumberIntType, -1);
  CFNumberRef huge = Make(kCFNumberDoubleType, DBL_MAX);
  CFNumberRef anotherNaN = Make(kCFNumberDoubleType, std::nan("7"));

  EXPECT_EQ(CFNumberCompare(negativeZero, positiveZero, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(positiveZero, negativeZero, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(negativeZero, integerZero, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(integerZero, negativeZero, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(positiveZero, integerZero, nullptr), kCFCompareEqualTo);

  EXPECT_EQ(CFNumberCompare(kCFNumberPositiveInfinity, huge, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(kCFNumberPositiveInfinity, kCFNumberPositiveInfinity, nullptr), kCFCompareEqualTo);
  EXPECT_EQ(CFNumberCompare(kCFNumberNegativeInfinity, minusOne, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(kCFNumberNegativeInfinity, kCFNumberNegativeInfinity, nullptr), kCFCompareEqualTo);

  // NaN equals NaN, is above negative numbers and below the others.
  EXPECT_EQ(CFNumberCompare(kCFNumberNaN, anotherNaN, nullptr), kCFCompareEqualTo);
  EXPECT_EQ(CFNumberCompare(kCFNumberNaN, minusOne, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(minusOne, kCFNumberNaN, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(kCFNumberNaN, kCFNumberNegativeInfinity, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(kCFNumberNaN, huge, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(kCFNumberNaN, kCFNumberPositiveInfinity, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(huge, kCFNumberNaN, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(kCFNumberNaN, integerZero, nullptr), kCFCompareLessThan);

  for (CFNumberRef n : {negativeZero, positiveZero, integerZero, minusOne, huge, anotherNaN}) CFRelease(n);
}

TEST(CFNumber, SpecialValuesAreTheSharedConstants) {
  CFNumberRef nan = Make(kCFNumberDoubleType, std::nan(""));
  CFNumberRef floatNaN = Make(kCFNumberFloatType, std::nanf(""));
  CFNumberRef infinity = Make(kCFNumberDoubleType, static_cast<double>(INFINITY));
  CFNumberRef negativeInfinity = Make(kCFNumberFloatType, -INFINITY);
  EXPECT_EQ(nan, kCFNumberNaN);
  EXPECT_EQ(floatNaN, kCFNumberNaN);
  EXPECT_EQ(infinity, kCFNumberPositiveInfinity);
  EXPECT_EQ(negativeInfinity, kCFNumberNegativeInfinity);
  CFRelease(nan);
  CFRelease(floatNaN);
  CFRelease(infinity);
  CFRelease(negativeInfinity);
  // Still alive: the constants never go away.
  EXPECT_TRUE(CFNumberIsFloatType(kCFNumberNaN));
  EXPECT_EQ(CFNumberGetType(kCFNumberPositiveInfinity), kCFNumberFloat64Type);
  EXPECT_EQ(CFGetRetainCount(kCFNumberNaN), LONG_MAX);
}

TEST(CFNumber, EqualAcrossTypesWithConsistentHash) {
  CFNumberRef one = Make(kCFNumberIntType, 1);
  CFNumberRef oneDouble = Make(kCFNumberDoubleType, 1.0);
  CFNumberRef oneFloat = Make(kCFNumberFloatType, 1.0f);
  CFNumberRef oneChar = Make(kCFNumberCharType, char{1});
  CFNumberRef oneAndAHalf = Make(kCFNumberDoubleType, 1.5);
  CFNumberRef oneAndAHalfFloat = Make(kCFNumberFloatType, 1.5f);
  EXPECT_TRUE(CFEqual(one, oneDouble));
  EXPECT_TRUE(CFEqual(oneDouble, oneFloat));
  EXPECT_TRUE(CFEqual(oneChar, one));
  EXPECT_EQ(CFHash(one), CFHash(oneDouble));
  EXPECT_EQ(CFHash(one), CFHash(oneFloat));
  EXPECT_EQ(CFHash(one), CFHash(oneChar));
  EXPECT_FALSE(CFEqual(one, oneAndAHalf));
  EXPECT_TRUE(CFEqual(oneAndAHalf, oneAndAHalfFloat));
  EXPECT_EQ(CFHash(oneAndAHalf), CFHash(oneAndAHalfFloat));
  for (CFNumberRef n : {one, oneDouble, oneFloat, oneChar, oneAndAHalf, oneAndAHalfFloat}) CFRelease(n);
}

TEST(CFNumber, DescriptionsPrintAsTheirValue) {
  struct {
    CFNumberRef number;
    const char* text;
  } cases[] = {
      {Make(kCFNumberIntType, 42), "42"},
      {Make(kCFNumberSInt64Type, INT64_MIN), "-9223372036854775808"},
      {Make(kCFNumberSInt8Type, int8_t{-7}), "-7"},
      {Make(kCFNumberDoubleType, 2.5), "2.5"},
      {Make(kCFNumberDoubleType, 1.0), "1"},
      {Make(kCFNumberDoubleType, 0.1), "0.1"},
      {Make(kCFNumberDoubleType, -0.25), "-0.25"},
      {Make(kCFNumberDoubleType, 0.1 + 0.2), "0.30000000000000004"},
      {Make(kCFNumberDoubleType, 1.0 / 3.0), "0.3333333333333333"},
      {Make(kCFNumberDoubleType, 1e20), "1e+20"},
      {Make(kCFNumberDoubleType, 1e16), "10000000000000000"},
      {Make(kCFNumberDoubleType, 123456.789), "123456.789"},
      {Make(kCFNumberDoubleType, 0.0001), "0.0001"},
      {Make(kCFNumberDoubleType, 0.00001), "1e-05"},
      {Make(kCFNumberDoubleType, 1.5e-300), "1.5e-300"},
      {Make(kCFNumberFloatType, 1.1f), "1.1"},
      {Make(kCFNumberFloatType, 3.0f), "3"},
      {Make(kCFNumberDoubleType, -0.0), "-0"},
  };
  for (auto& c : cases) {
    EXPECT_EQ(Description(c.number), c.text);
    CFRelease(c.number);
  }
  EXPECT_EQ(Description(kCFNumberPositiveInfinity), "inf");
  EXPECT_EQ(Description(kCFNumberNegativeInfinity), "-inf");
  EXPECT_EQ(Description(kCFNumberNaN), "nan");
}

TEST(CFNumber, FailedAllocationReturnsNull) {
  long live = ZRTestingLiveObjectCount();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(Make(kCFNumberIntType, 3), nullptr);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
  CFNumberRef number = Make(kCFNumberIntType, 3);
  ASSERT_NE(number, nullptr);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live + 1);
  CFRelease(number);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(CFBoolean, TheTwoBooleans) {
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
  EXPECT_EQ(CFGetTypeID(kCFBooleanFalse), CFBooleanGetTypeID());
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
  EXPECT_TRUE(CFEqual(kCFBooleanTrue, kCFBooleanTrue));
  EXPECT_EQ(CFGetRetainCount(kCFBooleanTrue), LONG_MAX);
  // Releasing an immortal object more often than it was retained leaves it intact.
  CFRelease(kCFBooleanTrue);
  CFRelease(kCFBooleanTrue);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
}

TEST(CFBoolean, ABooleanIsNotANumber) {
  EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
  EXPECT_NE(CFGetTypeID(kCFBooleanTrue), CFNumberGetTypeID());
  CFNumberRef one = Make(kCFNumberIntType, 1);
  CFNumberRef zero = Make(kCFNumberIntType, 0);
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, one));
  EXPECT_FALSE(CFEqual(one, kCFBooleanTrue));
  EXPECT_FALSE(CFEqual(kCFBooleanFalse, zero));
  CFRelease(one);
  CFRelease(zero);
}

TEST(CFBoolean, DescriptionIsWhatFoundationPrints) {
  EXPECT_EQ(Description(kCFBooleanTrue), "1");
  EXPECT_EQ(Description(kCFBooleanFalse), "0");
}

}  // namespace
