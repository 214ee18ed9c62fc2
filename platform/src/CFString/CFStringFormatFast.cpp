// CFStringFormatFast.cpp: the short ways for the formats printed most often: literal text and
// integers with small fixed widths, and a single integer conversion such as "%02x", appended
// without the general formatter's bookkeeping.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "CFString/FormatImpl.h"

namespace zrp::format {

namespace {

inline __attribute__((always_inline)) long long FetchInteger(ArgType type, va_list* arguments) {
  switch (type) {
    case ArgType::kLong:
      return va_arg(*arguments, long);
    case ArgType::kLongLong:
      return va_arg(*arguments, long long);
    case ArgType::kIntMax:
      return static_cast<long long>(va_arg(*arguments, intmax_t));
    case ArgType::kSize:
      return static_cast<long long>(va_arg(*arguments, size_t));
    case ArgType::kPtrDiff:
      return static_cast<long long>(va_arg(*arguments, ptrdiff_t));
    default:
      return va_arg(*arguments, int);
  }
}

// An integer with at most a width and the 0 flag, the common case, written without the
// general case's bookkeeping; p has room for the width plus 24 units.
inline __attribute__((always_inline)) size_t WritePlainInteger(char16_t* p, const Spec& spec, unsigned long long v,
                                                               bool negative) {
  // The digits are counted first and written in place, last digit first.
  int digits;
  switch (spec.conversion) {
    case u'x':
    case u'X':
      digits = (std::bit_width(v | 1) + 3) / 4;
      break;
    case u'o':
    case u'O':
      digits = (std::bit_width(v | 1) + 2) / 3;
      break;
    default:
      digits = 1;
      for (unsigned long long rest = v / 10; rest != 0; rest /= 10) ++digits;
      break;
  }
  int count = digits + (negative ? 1 : 0);
  int pad = spec.width > count ? spec.width - count : 0;
  char16_t* start = p;
  if (spec.flags & kZero) {
    if (negative) *p++ = u'-';
    for (int k = 0; k < pad; ++k) *p++ = u'0';
  } else {
    for (int k = 0; k < pad; ++k) *p++ = u' ';
    if (negative) *p++ = u'-';
  }
  char16_t* d = p + digits;
  p = d;
  switch (spec.conversion) {
    case u'x':
      do *--d = static_cast<char16_t>("0123456789abcdef"[v & 15]);
      while (v >>= 4);
      break;
    case u'X':
      do *--d = static_cast<char16_t>("0123456789ABCDEF"[v & 15]);
      while (v >>= 4);
      break;
    case u'o':
    case u'O':
      do *--d = static_cast<char16_t>(u'0' + (v & 7));
      while (v >>= 3);
      break;
    default:
      do *--d = static_cast<char16_t>(u'0' + v % 10);
      while (v /= 10);
      break;
  }
  return static_cast<size_t>(p - start);
}

// Appends one plain integer (at most a width and the 0 flag) unit by unit, straight into the
// string: the whole of a "%02x" once its argument is read.
template <char16_t kConversion>
void AppendPlainIntegerValue(std::u16string* out, const Spec& spec, unsigned long long v, bool negative) {
  int digits;
  if constexpr (kConversion == u'x' || kConversion == u'X') {
    digits = (std::bit_width(v | 1) + 3) / 4;
  } else if constexpr (kConversion == u'o') {
    digits = (std::bit_width(v | 1) + 2) / 3;
  } else {
    digits = 1;
    for (unsigned long long rest = v / 10; rest != 0; rest /= 10) ++digits;
  }
  int pad = spec.width - digits - (negative ? 1 : 0);
  if (spec.flags & kZero) {
    if (negative) out->push_back(u'-');
    for (; pad > 0; --pad) out->push_back(u'0');
  } else {
    for (; pad > 0; --pad) out->push_back(u' ');
    if (negative) out->push_back(u'-');
  }
  if constexpr (kConversion == u'x' || kConversion == u'X') {
    const char* digitChars = kConversion == u'x' ? "0123456789abcdef" : "0123456789ABCDEF";
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
      out->push_back(static_cast<char16_t>(digitChars[(v >> shift) & 15]));
  } else if constexpr (kConversion == u'o') {
    for (int shift = (digits - 1) * 3; shift >= 0; shift -= 3)
      out->push_back(static_cast<char16_t>(u'0' + ((v >> shift) & 7)));
  } else {
    char16_t text[20];
    int k = digits;
    do text[--k] = static_cast<char16_t>(u'0' + v % 10);
    while (v /= 10);
    out->append(text, static_cast<size_t>(digits));
  }
}

}  // namespace

// The short way for formats of literal text and integers: one pass over the pieces, each
// argument read as its conversion comes, the text gathered on the stack and appended once.
void FormatIntegers(std::u16string* out, std::u16string_view text, const ParsedFormat& parsed, va_list* arguments) {
  char16_t buffer[512];
  size_t used = 0;
  for (const Spec& spec : parsed.specs) {
    if (spec.conversion == 0) {
      if (used + spec.length > sizeof buffer / sizeof buffer[0]) {
        out->append(buffer, used);
        used = 0;
        out->append(text.substr(spec.start, spec.length));
        continue;
      }
      std::memcpy(buffer + used, text.data() + spec.start, spec.length * sizeof(char16_t));
      used += spec.length;
      continue;
    }
    if (used + kInlineDigits + 24 > sizeof buffer / sizeof buffer[0]) {
      out->append(buffer, used);
      used = 0;
    }
    if (spec.conversion == u'%') {
      buffer[used++] = u'%';
      continue;
    }
    unsigned long long magnitude;
    bool negative;
    IntegerValue(spec, FetchInteger(parsed.argTypes[static_cast<size_t>(spec.valueArg)], arguments), &magnitude,
                 &negative);
    if (spec.plain) {
      used += WritePlainInteger(buffer + used, spec, magnitude, negative);
    } else {
      used += WriteInteger(buffer + used, spec, spec.width, spec.precision, magnitude, negative,
                           IsSignedConversion(spec.conversion));
    }
  }
  if (used <= 4) {
    // A unit or two, as in one byte printed in hexadecimal: cheaper one by one than through
    // the general copy.
    for (size_t k = 0; k < used; ++k) out->push_back(buffer[k]);
  } else {
    out->append(buffer, used);
  }
}

// "%02x" of a value that takes more than two digits.
__attribute__((noinline)) void AppendWideHex(std::u16string* out, const Spec& spec, unsigned value) {
  if (spec.conversion == u'x') {
    AppendPlainIntegerValue<u'x'>(out, spec, value, false);
  } else {
    AppendPlainIntegerValue<u'X'>(out, spec, value, false);
  }
}

namespace {

template <char16_t kConversion, bool kWide>
void AppendPlainInteger(std::u16string* out, const Spec& spec, va_list* arguments) {
  unsigned long long v = kWide ? static_cast<unsigned long long>(va_arg(*arguments, long long))
                               : static_cast<unsigned long long>(static_cast<long long>(va_arg(*arguments, int)));
  // The length modifier's bits of the value, sign-extended for the signed conversions.
  int drop = 64 - spec.valueBits;
  bool negative = false;
  if constexpr (kConversion == u'd') {
    long long value = static_cast<long long>(v << drop) >> drop;
    negative = value < 0;
    v = negative ? 0ULL - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value);
  } else {
    v = (v << drop) >> drop;
  }
  AppendPlainIntegerValue<kConversion>(out, spec, v, negative);
}

template <bool kWide>
SingleAppender SingleIntegerAppenderOfWidth(char16_t conversion) {
  switch (conversion) {
    case u'x':
      return AppendPlainInteger<u'x', kWide>;
    case u'X':
      return AppendPlainInteger<u'X', kWide>;
    case u'o':
    case u'O':
      return AppendPlainInteger<u'o', kWide>;
    case u'd':
    case u'i':
    case u'D':
      return AppendPlainInteger<u'd', kWide>;
    default:
      return AppendPlainInteger<u'u', kWide>;
  }
}

}  // namespace

SingleAppender SingleIntegerAppender(const Spec& spec, ArgType type) {
  // Every integer argument is either an int or a 64-bit value on this platform.
  static_assert(sizeof(long) == 8 && sizeof(long long) == 8 && sizeof(intmax_t) == 8 && sizeof(size_t) == 8 &&
                sizeof(ptrdiff_t) == 8);
  return type == ArgType::kInt ? SingleIntegerAppenderOfWidth<false>(spec.conversion)
                               : SingleIntegerAppenderOfWidth<true>(spec.conversion);
}

}  // namespace zrp::format
