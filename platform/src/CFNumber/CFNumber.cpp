// CFNumber.cpp: number objects of every CFNumberType (kept as a 64-bit integer or a double
// with the canonical type they were made with), their lossy conversions and comparison,
// the three special floating-point numbers, and the two Boolean objects.
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "CFNumber/NumberImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Object.h"
#include "runtime/Unaligned.h"

namespace {

// Compares an integer with a double exactly, without rounding the integer to a double first
// (2^53 + 1 and 2^53 are different numbers). The double must not be NaN.
int CompareIntegerWithDouble(int64_t i, double d) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (d >= kTwoTo63) return -1;
  if (d < -kTwoTo63) return 1;
  double whole = std::trunc(d);
  auto w = static_cast<int64_t>(whole);
  if (i != w) return i < w ? -1 : 1;
  double fraction = d - whole;
  if (fraction == 0) return 0;
  return fraction > 0 ? -1 : 1;
}

// The platform's NSNumber prints a double as printf's %g would with enough precision to
// identify it (17 digits for Float64, 9 for Float32), but without the noise digits that
// such a precision adds: 0.1 prints "0.1", 2.5 "2.5", 1.0 "1", 1e20 "1e+20".
std::string FormatFloatingPoint(double value, bool single) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char buffer[64];
  std::to_chars_result result =
      single ? std::to_chars(buffer, buffer + sizeof buffer, static_cast<float>(value), std::chars_format::scientific)
             : std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
  std::string scientific(buffer, result.ptr);
  // scientific is "[-]D[.DDD]e[+-]XX": split it into sign, significant digits and exponent.
  std::string sign;
  size_t position = 0;
  if (scientific[0] == '-') {
    sign = "-";
    position = 1;
  }
  size_t e = scientific.find('e');
  std::string digits;
  for (size_t i = position; i < e; ++i)
    if (scientific[i] != '.') digits.push_back(scientific[i]);
  int exponent = std::stoi(scientific.substr(e + 1));
  const int precision = single ? 9 : 17;
  std::string out = sign;
  if (exponent < -4 || exponent >= precision) {
    out += digits[0];
    if (digits.size() > 1) out += "." + digits.substr(1);
    char tail[16];
    std::snprintf(tail, sizeof tail, "e%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
    out += tail;
  } else if (exponent < 0) {
    out += "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
  } else if (static_cast<size_t>(exponent) + 1 >= digits.size()) {
    out += digits + std::string(static_cast<size_t>(exponent) + 1 - digits.size(), '0');
  } else {
    out += digits.substr(0, static_cast<size_t>(exponent) + 1) + "." + digits.substr(static_cast<size_t>(exponent) + 1);
  }
  return out;
}

CFStringRef CreateASCIIString(const std::string& text) {
  return zrp::CreateString(std::u16string(text.begin(), text.end()));
}

}  // namespace

// A number keeps the canonical type of its creation (kCFNumberIntType becomes
// kCFNumberSInt32Type, kCFNumberDoubleType kCFNumberFloat64Type ...) and its value as a
// 64-bit integer or as a double; a Float32 value is held as the double it widens to exactly.
// An integer above INT64_MAX (read from a property list, which may hold unsigned 64-bit
// values) keeps its bits in the integer field and is marked unsigned.
struct __CFNumber final : zrp::Object {
  __CFNumber(CFNumberType canonical, int64_t integer)
      : Object(zrp::kTypeIDNumber), type(canonical), isFloat(false), i(integer), d(0) {}
  __CFNumber(CFNumberType canonical, double real)
      : Object(zrp::kTypeIDNumber), type(canonical), isFloat(true), i(0), d(real) {}

  bool equal(const Object& other) const override;
  CFHashCode hash() const override;
  CFStringRef copyDescription() const override;
  const char* className() const override { return "__NSCFNumber"; }

  CFNumberType type;
  bool isFloat;
  bool isUnsigned = false;
  int64_t i;
  double d;

  uint64_t unsignedValue() const { return static_cast<uint64_t>(i); }
};

// Boolean objects: only kCFBooleanTrue and kCFBooleanFalse exist. They are a type of their
// own, never numbers.
struct __CFBoolean final : zrp::Object {
  explicit __CFBoolean(bool v) : Object(zrp::kTypeIDBoolean), value(v) { makeImmortal(); }

  CFHashCode hash() const override { return value ? 1 : 0; }
  // What %@ prints for a Boolean in the platform's Foundation, where kCFBooleanTrue is an
  // NSNumber: "1" and "0". The library writes its ERROR lines with NSLog, whose %@ goes
  // through that description, so collections holding Booleans print "1" and "0" as well.
  CFStringRef copyDescription() const override { return value ? CFSTR("1") : CFSTR("0"); }
  const char* className() const override { return "__NSCFBoolean"; }

  bool value;
};

namespace {

// The ordering of CFNumberCompare: by value across types, negative zero before positive
// zero, NaN equal to NaN and placed after negative numbers and before non-negative ones.
// Compares an unsigned integer above INT64_MAX with a double that is not NaN, exactly.
int CompareUnsignedWithDouble(uint64_t u, double d) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  constexpr double kTwoTo64 = 18446744073709551616.0;
  if (d >= kTwoTo64) return -1;
  if (d < kTwoTo63) return 1;
  double whole = std::trunc(d);
  auto w = static_cast<uint64_t>(whole);
  if (u != w) return u < w ? -1 : 1;
  return d - whole > 0 ? -1 : 0;
}

int CompareNumbers(const __CFNumber* a, const __CFNumber* b) {
  if (a->isUnsigned || b->isUnsigned) {
    if (a->isUnsigned && b->isUnsigned) return a->i == b->i ? 0 : (a->unsignedValue() < b->unsignedValue() ? -1 : 1);
    const __CFNumber* other = a->isUnsigned ? b : a;
    const __CFNumber* big = a->isUnsigned ? a : b;
    // NaN sorts after the negative numbers and before the others, so before any unsigned one.
    int bigVersusOther =
        !other->isFloat || std::isnan(other->d) ? 1 : CompareUnsignedWithDouble(big->unsignedValue(), other->d);
    return a->isUnsigned ? bigVersusOther : -bigVersusOther;
  }
  if (!a->isFloat && !b->isFloat) return a->i == b->i ? 0 : (a->i < b->i ? -1 : 1);
  bool aNaN = a->isFloat && std::isnan(a->d);
  bool bNaN = b->isFloat && std::isnan(b->d);
  if (aNaN || bNaN) {
    if (aNaN && bNaN) return 0;
    const __CFNumber* other = aNaN ? b : a;
    bool otherNegative = other->isFloat ? std::signbit(other->d) : other->i < 0;
    int nanVersusOther = otherNegative ? 1 : -1;
    return aNaN ? nanVersusOther : -nanVersusOther;
  }
  if (a->isFloat && b->isFloat) {
    if (a->d == b->d) {
      bool aNegative = std::signbit(a->d);
      bool bNegative = std::signbit(b->d);
      if (a->d == 0 && aNegative != bNegative) return aNegative ? -1 : 1;
      return 0;
    }
    return a->d < b->d ? -1 : 1;
  }
  // One integer, one double. An integer zero is a positive zero.
  if (a->isFloat) {
    if (a->d == 0 && b->i == 0) return std::signbit(a->d) ? -1 : 0;
    return -CompareIntegerWithDouble(b->i, a->d);
  }
  if (b->d == 0 && a->i == 0) return std::signbit(b->d) ? 1 : 0;
  return CompareIntegerWithDouble(a->i, b->d);
}

CFNumberType CanonicalType(CFNumberType type) {
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return kCFNumberSInt8Type;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return kCFNumberSInt16Type;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return kCFNumberSInt32Type;
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      return kCFNumberSInt64Type;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return kCFNumberFloat32Type;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return kCFNumberFloat64Type;
    default:
      return 0;
  }
}

__CFNumber* MakeSpecial(double value) {
  // Constants bypass the allocation seam: they are part of the program, not of a test.
  auto* number = new __CFNumber(kCFNumberFloat64Type, value);
  number->makeImmortal();
  return number;
}

struct SpecialNumbers {
  __CFNumber* positiveInfinity = MakeSpecial(std::numeric_limits<double>::infinity());
  __CFNumber* negativeInfinity = MakeSpecial(-std::numeric_limits<double>::infinity());
  __CFNumber* nan = MakeSpecial(std::numeric_limits<double>::quiet_NaN());
};

// Reached through a function so that numbers made during another file's static
// initialisation still find the constants.
const SpecialNumbers& Specials() {
  static const SpecialNumbers* specials = new SpecialNumbers();
  return *specials;
}

struct Booleans {
  __CFBoolean* trueValue = new __CFBoolean(true);
  __CFBoolean* falseValue = new __CFBoolean(false);
};

const Booleans& TheBooleans() {
  static const Booleans* booleans = new Booleans();
  return *booleans;
}

// Converts to a signed integer type: a fraction is dropped (towards zero), a value out of
// range saturates at the type's limit, and NaN, which has no integer approximation, gives 0.
// Returns whether the conversion was exact.
template <class T>
bool StoreInteger(const __CFNumber* number, void* valuePtr) {
  constexpr T kMin = std::numeric_limits<T>::min();
  constexpr T kMax = std::numeric_limits<T>::max();
  T value;
  bool exact;
  if (number->isUnsigned) {
    value = kMax, exact = false;
  } else if (!number->isFloat) {
    if (number->i < static_cast<int64_t>(kMin)) {
      value = kMin, exact = false;
    } else if (number->i > static_cast<int64_t>(kMax)) {
      value = kMax, exact = false;
    } else {
      value = static_cast<T>(number->i), exact = true;
    }
  } else {
    double d = number->d;
    // -kMin is 2^(bits-1), exactly representable: the first double above the range.
    const double kLimit = -static_cast<double>(kMin);
    if (std::isnan(d)) {
      value = 0, exact = false;
    } else if (d >= kLimit) {
      value = kMax, exact = false;
    } else if (d < -kLimit) {
      value = kMin, exact = false;
    } else {
      double whole = std::trunc(d);
      value = static_cast<T>(whole), exact = whole == d;
    }
  }
  std::memcpy(valuePtr, &value, sizeof value);
  return exact;
}

bool StoreFloat32(const __CFNumber* number, void* valuePtr) {
  float value;
  bool exact;
  if (number->isUnsigned) {
    value = static_cast<float>(number->unsignedValue());
    exact = CompareUnsignedWithDouble(number->unsignedValue(), static_cast<double>(value)) == 0;
  } else if (!number->isFloat) {
    value = static_cast<float>(number->i);
    exact = CompareIntegerWithDouble(number->i, static_cast<double>(value)) == 0;
  } else {
    double d = number->d;
    constexpr double kMax = std::numeric_limits<float>::max();
    if (std::isnan(d) || std::isinf(d)) {
      value = static_cast<float>(d), exact = true;
    } else if (d > kMax) {
      value = std::numeric_limits<float>::max(), exact = false;
    } else if (d < -kMax) {
      value = -std::numeric_limits<float>::max(), exact = false;
    } else {
      value = static_cast<float>(d), exact = static_cast<double>(value) == d;
    }
  }
  std::memcpy(valuePtr, &value, sizeof value);
  return exact;
}

bool StoreFloat64(const __CFNumber* number, void* valuePtr) {
  double value;
  bool exact;
  if (number->isUnsigned) {
    value = static_cast<double>(number->unsignedValue());
    exact = CompareUnsignedWithDouble(number->unsignedValue(), value) == 0;
  } else if (!number->isFloat) {
    value = static_cast<double>(number->i);
    exact = CompareIntegerWithDouble(number->i, value) == 0;
  } else {
    value = number->d, exact = true;
  }
  std::memcpy(valuePtr, &value, sizeof value);
  return exact;
}

}  // namespace

bool __CFNumber::equal(const Object& other) const {
  return CompareNumbers(this, static_cast<const __CFNumber*>(&other)) == 0;
}

CFHashCode __CFNumber::hash() const {
  // Equal numbers of different types must hash alike: a double with an integral value in
  // the 64-bit range hashes as that integer.
  if (!isFloat) return static_cast<CFHashCode>(i);
  if (std::isnan(d)) return 0x7ff8000000000000UL;
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (d >= -kTwoTo63 && d < kTwoTo63 && std::trunc(d) == d) return static_cast<CFHashCode>(static_cast<int64_t>(d));
  // Hashed as the unsigned integers of the same value.
  if (d >= kTwoTo63 && d < 2 * kTwoTo63 && std::trunc(d) == d) return static_cast<CFHashCode>(static_cast<uint64_t>(d));
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return static_cast<CFHashCode>(bits);
}

CFStringRef __CFNumber::copyDescription() const {
  if (isUnsigned) return CreateASCIIString(std::to_string(unsignedValue()));
  if (!isFloat) return CreateASCIIString(std::to_string(static_cast<long long>(i)));
  return CreateASCIIString(FormatFloatingPoint(d, type == kCFNumberFloat32Type));
}

extern "C" {

const CFNumberRef kCFNumberPositiveInfinity = Specials().positiveInfinity;
const CFNumberRef kCFNumberNegativeInfinity = Specials().negativeInfinity;
const CFNumberRef kCFNumberNaN = Specials().nan;

const CFBooleanRef kCFBooleanTrue = TheBooleans().trueValue;
const CFBooleanRef kCFBooleanFalse = TheBooleans().falseValue;

CFTypeID CFBooleanGetTypeID(void) { return zrp::kTypeIDBoolean; }

Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean && boolean->value; }

CFTypeID CFNumberGetTypeID(void) { return zrp::kTypeIDNumber; }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr) {
  CFNumberType canonical = CanonicalType(theType);
  if (!canonical || !valuePtr) return nullptr;
  int64_t integer = 0;
  double real = 0;
  switch (theType) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      integer = zrp::LoadUnaligned<int8_t>(valuePtr);
      break;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      integer = zrp::LoadUnaligned<int16_t>(valuePtr);
      break;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      integer = zrp::LoadUnaligned<int32_t>(valuePtr);
      break;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      real = zrp::LoadUnaligned<float>(valuePtr);
      break;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      real = zrp::LoadUnaligned<double>(valuePtr);
      break;
    default:  // the 64-bit integer types
      integer = zrp::LoadUnaligned<int64_t>(valuePtr);
      break;
  }
  if (canonical == kCFNumberFloat32Type || canonical == kCFNumberFloat64Type) {
    // As on the platform, NaN and the infinities are the shared constants.
    const __CFNumber* special = nullptr;
    if (std::isnan(real)) special = Specials().nan;
    if (std::isinf(real)) special = real > 0 ? Specials().positiveInfinity : Specials().negativeInfinity;
    if (special) return zrp::AllocationAllowed() ? special : nullptr;
    return zrp::New<__CFNumber>(canonical, real);
  }
  return zrp::New<__CFNumber>(canonical, integer);
}

CFNumberType CFNumberGetType(CFNumberRef number) { return number->type; }

CFIndex CFNumberGetByteSize(CFNumberRef number) {
  switch (number->type) {
    case kCFNumberSInt8Type:
      return 1;
    case kCFNumberSInt16Type:
      return 2;
    case kCFNumberSInt32Type:
    case kCFNumberFloat32Type:
      return 4;
    default:
      return 8;
  }
}

Boolean CFNumberIsFloatType(CFNumberRef number) { return number->isFloat; }

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
  if (!number || !valuePtr) return false;
  switch (theType) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return StoreInteger<int8_t>(number, valuePtr);
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return StoreInteger<int16_t>(number, valuePtr);
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return StoreInteger<int32_t>(number, valuePtr);
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      return StoreInteger<int64_t>(number, valuePtr);
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return StoreFloat32(number, valuePtr);
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return StoreFloat64(number, valuePtr);
    default:
      return false;
  }
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void*) {
  int order = CompareNumbers(number, otherNumber);
  return order < 0 ? kCFCompareLessThan : (order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo);
}

}  // extern "C"

namespace zrp {

CFNumberRef CreateUnsigned64Number(uint64_t value) {
  if (value <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    auto signedValue = static_cast<int64_t>(value);
    return CFNumberCreate(nullptr, kCFNumberSInt64Type, &signedValue);
  }
  __CFNumber* number = New<__CFNumber>(kCFNumberSInt64Type, static_cast<int64_t>(value));
  if (number) number->isUnsigned = true;
  return number;
}

bool NumberGetUnsigned64(CFNumberRef number, uint64_t* value) {
  if (!number->isUnsigned) return false;
  *value = number->unsignedValue();
  return true;
}

}  // namespace zrp
