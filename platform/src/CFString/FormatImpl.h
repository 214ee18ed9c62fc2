// FormatImpl.h: the parsed form of a printf-style format, shared by the parser, the general
// formatter and the short ways for formats of integers only.
#pragma once

#include <CoreFoundation/CFString.h>

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zrp::format {

enum class ArgType : uint8_t {
  kNone,
  kInt,
  kLong,
  kLongLong,
  kIntMax,
  kSize,
  kPtrDiff,
  kDouble,
  kLongDouble,
  kPointer
};
enum class Length : uint8_t { kNone, kChar, kShort, kLong, kLongLong, kIntMax, kSize, kPtrDiff, kLongDouble };

// Widths and precisions up to this many units are formatted in a buffer on the stack.
constexpr int kInlineDigits = 64;

enum Flag : uint8_t { kMinus = 1, kPlus = 2, kSpace = 4, kHash = 8, kZero = 16, kQuote = 32 };

// One piece of a format: literal text (conversion 0) or one conversion.
struct Spec {
  uint32_t start = 0;   // literal text or the conversion's own text, in format units
  uint32_t length = 0;  // of the same
  char16_t conversion = 0;
  uint8_t flags = 0;
  Length lengthModifier = Length::kNone;
  int width = -1;      // -1: none
  int precision = -1;  // -1: none
  int widthArg = -1;   // argument index of a '*' width
  int precisionArg = -1;
  int valueArg = -1;
  bool plain = false;      // an integer with at most a width and the 0 flag
  uint8_t valueBits = 64;  // the bits of an integer argument its length modifier keeps
};

struct ParsedFormat {
  // The format's text as UTF-16, kept with the parsed form of a constant format (whose string
  // may hold its text one byte a character): the literal pieces are read from it.
  std::u16string text;
  std::vector<Spec> specs;
  std::vector<ArgType> argTypes;  // by argument index, in the order va_arg reads them
  bool callsOut = false;          // a %@ conversion: formatting may run other code
  bool readsUnits = false;        // a %S or %ls conversion: reads UTF-16 text from memory
  // Only literal text, %% and integer conversions with fixed small widths and precisions,
  // taking their arguments in order: the form of the formats printed most often.
  bool integersOnly = false;
  // Exactly one such integer conversion and nothing else ("%02x", "%d"): the function that
  // appends it, chosen once for its conversion.
  void (*appendSingle)(std::u16string* out, const Spec& spec, va_list* arguments) = nullptr;
  // "%02x" or "%02X" of an int: the digit pairs to append a byte with, else NULL.
  const char16_t (*hexPairs)[2] = nullptr;
};

union Arg {
  long long integer;
  double real;
  long double longReal;
  const void* pointer;
};

using SingleAppender = void (*)(std::u16string* out, const Spec& spec, va_list* arguments);

// Parses a format's text into its pieces and the types of its arguments.
void Parse(std::u16string_view text, ParsedFormat* parsed);

// The appender of a format that is one plain integer conversion, chosen for its conversion and
// the width of its argument.
SingleAppender SingleIntegerAppender(const Spec& spec, ArgType type);

// The general formatter: every conversion, arguments read first in the order of their positions.
void FormatInto(std::u16string* out, std::u16string_view text, const ParsedFormat& parsed, va_list* arguments);

// The short way for formats of literal text and integers only (ParsedFormat::integersOnly).
void FormatIntegers(std::u16string* out, std::u16string_view text, const ParsedFormat& parsed, va_list* arguments);

// "%02x" or "%02X" of a value that takes more than two digits.
void AppendWideHex(std::u16string* out, const Spec& spec, unsigned value);

// Writes an integer conversion to p, which has room for max(width, precision) + 24 units;
// returns the number of units written.
// Inlined: it runs once a byte when data is printed in hexadecimal.
inline __attribute__((always_inline)) size_t WriteInteger(char16_t* p, const Spec& spec, int width, int precision,
                                                          unsigned long long magnitude, bool negative, bool isSigned) {
  char16_t conversion = spec.conversion;
  // The digits, least significant first.
  char16_t digits[24];
  int count = 0;
  if (conversion == u'x' || conversion == u'X') {
    const char* digitChars = conversion == u'x' ? "0123456789abcdef" : "0123456789ABCDEF";
    for (unsigned long long v = magnitude; v != 0; v >>= 4) digits[count++] = static_cast<char16_t>(digitChars[v & 15]);
  } else if (conversion == u'o' || conversion == u'O') {
    for (unsigned long long v = magnitude; v != 0; v >>= 3) digits[count++] = static_cast<char16_t>(u'0' + (v & 7));
  } else {
    for (unsigned long long v = magnitude; v != 0; v /= 10) digits[count++] = static_cast<char16_t>(u'0' + v % 10);
  }
  // With no precision a zero still prints one digit; an explicit precision of 0 prints none.
  int minimumDigits = precision < 0 ? 1 : precision;
  int zeros = minimumDigits > count ? minimumDigits - count : 0;
  // '#' with octal makes the first digit a 0.
  if ((conversion == u'o' || conversion == u'O') && (spec.flags & kHash) && zeros == 0 &&
      (count == 0 || digits[count - 1] != u'0'))
    zeros = 1;

  char16_t prefix[2] = {};
  int prefixLength = 0;
  if (isSigned) {
    if (negative) {
      prefix[prefixLength++] = u'-';
    } else if (spec.flags & kPlus) {
      prefix[prefixLength++] = u'+';
    } else if (spec.flags & kSpace) {
      prefix[prefixLength++] = u' ';
    }
  } else if ((conversion == u'x' || conversion == u'X') && (spec.flags & kHash) && magnitude != 0) {
    prefix[prefixLength++] = u'0';
    prefix[prefixLength++] = conversion;
  }
  int total = prefixLength + zeros + count;
  int pad = width > total ? width - total : 0;
  // The 0 flag pads with zeros after the sign, unless a precision or '-' is given.
  if ((spec.flags & kZero) && !(spec.flags & kMinus) && precision < 0) {
    zeros += pad;
    pad = 0;
  }
  char16_t* start = p;
  if (!(spec.flags & kMinus))
    for (int k = 0; k < pad; ++k) *p++ = u' ';
  for (int k = 0; k < prefixLength; ++k) *p++ = prefix[k];
  for (int k = 0; k < zeros; ++k) *p++ = u'0';
  for (int k = count - 1; k >= 0; --k) *p++ = digits[k];
  if (spec.flags & kMinus)
    for (int k = 0; k < pad; ++k) *p++ = u' ';
  return static_cast<size_t>(p - start);
}

// The value of an integer conversion's argument as a magnitude and a sign, cut to the size
// its length modifier names.
inline __attribute__((always_inline)) void IntegerValue(const Spec& spec, long long raw, unsigned long long* magnitude,
                                                        bool* negative) {
  switch (spec.conversion) {
    case u'd':
    case u'i':
    case u'D': {
      long long v = raw;
      switch (spec.lengthModifier) {
        case Length::kChar:
          v = static_cast<signed char>(v);
          break;
        case Length::kShort:
          v = static_cast<short>(v);
          break;
        case Length::kNone:
          v = static_cast<int>(v);
          break;
        default:
          break;
      }
      *negative = v < 0;
      *magnitude = v < 0 ? 0ULL - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
      return;
    }
    default: {
      unsigned long long v = static_cast<unsigned long long>(raw);
      switch (spec.lengthModifier) {
        case Length::kChar:
          v = static_cast<unsigned char>(v);
          break;
        case Length::kShort:
          v = static_cast<unsigned short>(v);
          break;
        case Length::kNone:
          v = static_cast<unsigned int>(v);
          break;
        case Length::kLong:
          v = static_cast<unsigned long>(v);
          break;
        case Length::kSize:
          v = static_cast<size_t>(v);
          break;
        default:
          break;
      }
      *negative = false;
      *magnitude = v;
      return;
    }
  }
}

inline bool IsSignedConversion(char16_t conversion) {
  return conversion == u'd' || conversion == u'i' || conversion == u'D';
}

}  // namespace zrp::format
