// CFStringFormat.cpp: strings made from printf-style formats: every printf conversion with
// its flags, width, precision and length modifiers, positional arguments, and the platform's
// own conversions %@ (an object's description), %C (a UniChar) and %S (a UniChar string).
#include <CoreFoundation/CFString.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "CFString/StringImpl.h"

namespace {

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

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Reads a decimal number; returns -1 when none is there. Large values are clamped.
int ReadNumber(std::u16string_view text, size_t* i) {
  if (*i >= text.size() || !IsDigit(text[*i])) return -1;
  long value = 0;
  while (*i < text.size() && IsDigit(text[*i])) {
    value = value * 10 + (text[*i] - u'0');
    if (value > 1 << 20) value = 1 << 20;
    ++*i;
  }
  return static_cast<int>(value);
}

// An argument position "n$" at *i; returns the zero-based index, or -1 (and leaves *i). As in
// the C library, positions go up to a fixed limit; a larger one is no position.
constexpr int kMaxArguments = 4096;
int ReadPosition(std::u16string_view text, size_t* i) {
  size_t j = *i;
  int number = ReadNumber(text, &j);
  if (number > 0 && number <= kMaxArguments && j < text.size() && text[j] == u'$') {
    *i = j + 1;
    return number - 1;
  }
  return -1;
}

ArgType IntegerType(Length length) {
  switch (length) {
    case Length::kLong:
      return ArgType::kLong;
    case Length::kLongLong:
      return ArgType::kLongLong;
    case Length::kIntMax:
      return ArgType::kIntMax;
    case Length::kSize:
      return ArgType::kSize;
    case Length::kPtrDiff:
      return ArgType::kPtrDiff;
    default:
      return ArgType::kInt;
  }
}

ArgType TypeOfConversion(char16_t conversion, Length length) {
  switch (conversion) {
    case u'd':
    case u'i':
    case u'o':
    case u'u':
    case u'x':
    case u'X':
      return IntegerType(length);
    case u'D':
    case u'U':
    case u'O':
      return length == Length::kNone ? ArgType::kInt : IntegerType(length);
    case u'c':
    case u'C':
      return ArgType::kInt;
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
    case u'a':
    case u'A':
      return length == Length::kLongDouble ? ArgType::kLongDouble : ArgType::kDouble;
    case u's':
    case u'S':
    case u'p':
    case u'@':
    case u'n':
      return ArgType::kPointer;
    default:
      return ArgType::kNone;
  }
}

void NoteArgument(ParsedFormat* parsed, int index, ArgType type) {
  if (index < 0) return;
  if (static_cast<size_t>(index) >= parsed->argTypes.size()) parsed->argTypes.resize(static_cast<size_t>(index) + 1);
  if (parsed->argTypes[static_cast<size_t>(index)] == ArgType::kNone)
    parsed->argTypes[static_cast<size_t>(index)] = type;
}

// The two digits of every byte, for "%02x" and "%02X".
struct HexPairs {
  char16_t units[256][2];
  constexpr explicit HexPairs(bool upper) : units() {
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    for (int byte = 0; byte < 256; ++byte) {
      units[byte][0] = static_cast<char16_t>(digits[byte >> 4]);
      units[byte][1] = static_cast<char16_t>(digits[byte & 15]);
    }
  }
};
constexpr HexPairs kLowerHexPairs(false);
constexpr HexPairs kUpperHexPairs(true);

using SingleAppender = void (*)(std::u16string* out, const Spec& spec, va_list* arguments);
SingleAppender SingleIntegerAppender(const Spec& spec, ArgType type);

// The bit of a flag character ("-+ #0'"), 0 for any other character.
uint8_t FlagOf(char16_t c) {
  switch (c) {
    case u'-':
      return kMinus;
    case u'+':
      return kPlus;
    case u' ':
      return kSpace;
    case u'#':
      return kHash;
    case u'0':
      return kZero;
    case u'\'':
      return kQuote;
    default:
      return 0;
  }
}

void Parse(std::u16string_view text, ParsedFormat* parsed) {
  int nextArg = 0;
  size_t literalStart = 0;
  size_t i = 0;
  auto flushLiteral = [&](size_t end) {
    if (end > literalStart) {
      Spec literal;
      literal.start = static_cast<uint32_t>(literalStart);
      literal.length = static_cast<uint32_t>(end - literalStart);
      parsed->specs.push_back(literal);
    }
  };
  while (i < text.size()) {
    if (text[i] != u'%') {
      ++i;
      continue;
    }
    size_t specStart = i++;
    int firstArg = nextArg;
    Spec spec;
    spec.start = static_cast<uint32_t>(specStart);
    int position = ReadPosition(text, &i);
    while (i < text.size()) {
      uint8_t flag = FlagOf(text[i]);
      if (!flag) break;
      spec.flags |= flag;
      ++i;
    }
    if (i < text.size() && text[i] == u'*') {
      ++i;
      int at = ReadPosition(text, &i);
      spec.widthArg = at >= 0 ? at : nextArg++;
    } else {
      spec.width = ReadNumber(text, &i);
    }
    if (i < text.size() && text[i] == u'.') {
      ++i;
      if (i < text.size() && text[i] == u'*') {
        ++i;
        int at = ReadPosition(text, &i);
        spec.precisionArg = at >= 0 ? at : nextArg++;
      } else {
        int number = ReadNumber(text, &i);
        spec.precision = number < 0 ? 0 : number;
      }
    }
    if (i < text.size()) {
      switch (text[i]) {
        case u'h':
          ++i;
          spec.lengthModifier = Length::kShort;
          if (i < text.size() && text[i] == u'h') ++i, spec.lengthModifier = Length::kChar;
          break;
        case u'l':
          ++i;
          spec.lengthModifier = Length::kLong;
          if (i < text.size() && text[i] == u'l') ++i, spec.lengthModifier = Length::kLongLong;
          break;
        case u'q':
          ++i;
          spec.lengthModifier = Length::kLongLong;
          break;
        case u'j':
          ++i;
          spec.lengthModifier = Length::kIntMax;
          break;
        case u'z':
          ++i;
          spec.lengthModifier = Length::kSize;
          break;
        case u't':
          ++i;
          spec.lengthModifier = Length::kPtrDiff;
          break;
        case u'L':
          ++i;
          spec.lengthModifier = Length::kLongDouble;
          break;
        default:
          break;
      }
    }
    if (i >= text.size()) {
      // A format that ends inside a conversion prints that text as it stands.
      break;
    }
    char16_t conversion = text[i++];
    ArgType type = TypeOfConversion(conversion, spec.lengthModifier);
    if (type == ArgType::kNone && conversion != u'%') {
      // Not a conversion: the text stays literal and takes no argument.
      nextArg = firstArg;
      continue;
    }
    flushLiteral(specStart);
    spec.conversion = conversion;
    spec.length = static_cast<uint32_t>(i - specStart);
    NoteArgument(parsed, spec.widthArg, ArgType::kInt);
    NoteArgument(parsed, spec.precisionArg, ArgType::kInt);
    if (type != ArgType::kNone) {
      spec.valueArg = position >= 0 ? position : nextArg++;
      NoteArgument(parsed, spec.valueArg, type);
    }
    if (conversion == u'@') parsed->callsOut = true;
    if (conversion == u'S' || (conversion == u's' && spec.lengthModifier == Length::kLong)) parsed->readsUnits = true;
    parsed->specs.push_back(spec);
    literalStart = i;
  }
  flushLiteral(text.size());
  parsed->integersOnly = parsed->specs.size() <= 16;
  int ordinal = 0;
  for (Spec& spec : parsed->specs) {
    switch (spec.lengthModifier) {
      case Length::kChar:
        spec.valueBits = 8;
        break;
      case Length::kShort:
        spec.valueBits = 16;
        break;
      case Length::kNone:
        spec.valueBits = 32;
        break;
      default:
        spec.valueBits = 64;
        break;
    }
    spec.plain = spec.precision < 0 && spec.widthArg < 0 && spec.precisionArg < 0 && spec.width <= kInlineDigits &&
                 (spec.flags & (kMinus | kPlus | kSpace | kHash)) == 0;
    if (spec.conversion == 0 || spec.conversion == u'%') continue;
    ArgType type = TypeOfConversion(spec.conversion, spec.lengthModifier);
    bool integer = type != ArgType::kNone && type != ArgType::kDouble && type != ArgType::kLongDouble &&
                   type != ArgType::kPointer && spec.conversion != u'c' && spec.conversion != u'C';
    if (!integer || spec.valueArg != ordinal++ || spec.widthArg >= 0 || spec.precisionArg >= 0 ||
        spec.width > kInlineDigits || spec.precision > kInlineDigits)
      parsed->integersOnly = false;
  }
  if (parsed->integersOnly && parsed->specs.size() == 1 && parsed->specs[0].plain && parsed->specs[0].valueArg == 0) {
    const Spec& spec = parsed->specs[0];
    parsed->appendSingle = SingleIntegerAppender(spec, parsed->argTypes[0]);
    if (parsed->argTypes[0] == ArgType::kInt && spec.lengthModifier == Length::kNone && spec.width == 2 &&
        (spec.flags & kZero) && (spec.conversion == u'x' || spec.conversion == u'X'))
      parsed->hexPairs = spec.conversion == u'x' ? kLowerHexPairs.units : kUpperHexPairs.units;
  }
}

// The parsed forms of constant formats live as long as the constants themselves; each thread
// keeps the last few at hand so that a format used over and over is parsed once.
std::mutex gParsedMutex;
std::unordered_map<CFStringRef, const ParsedFormat*>& ParsedTable() {
  static auto* table = new std::unordered_map<CFStringRef, const ParsedFormat*>();
  return *table;
}

struct ParsedCacheEntry {
  CFStringRef format;
  const ParsedFormat* parsed;
};
// Plain data in the static TLS block: reached without a call, unlike a dynamic TLS slot.
static thread_local ParsedCacheEntry tParsedCache[16] __attribute__((tls_model("initial-exec")));

__attribute__((noinline)) const ParsedFormat* ParsedConstantSlow(CFStringRef format, ParsedCacheEntry* entry) {
  const ParsedFormat* parsed;
  {
    std::lock_guard<std::mutex> lock(gParsedMutex);
    auto& table = ParsedTable();
    auto found = table.find(format);
    if (found != table.end()) {
      parsed = found->second;
    } else {
      auto* made = new ParsedFormat();
      Parse(zrp::View(format), made);
      table.emplace(format, made);
      parsed = made;
    }
  }
  *entry = {format, parsed};
  return parsed;
}

inline const ParsedFormat* ParsedConstant(CFStringRef format) {
  ParsedCacheEntry* entry = &tParsedCache[(reinterpret_cast<uintptr_t>(format) >> 4) % 16];
  if (entry->format == format) return entry->parsed;
  return ParsedConstantSlow(format, entry);
}

union Arg {
  long long integer;
  double real;
  long double longReal;
  const void* pointer;
};

void FetchArguments(const ParsedFormat& parsed, va_list* arguments, Arg* args) {
  for (size_t k = 0; k < parsed.argTypes.size(); ++k) {
    switch (parsed.argTypes[k]) {
      case ArgType::kNone:  // an unused position: an int is the best guess of its size
      case ArgType::kInt:
        args[k].integer = va_arg(*arguments, int);
        break;
      case ArgType::kLong:
        args[k].integer = va_arg(*arguments, long);
        break;
      case ArgType::kLongLong:
        args[k].integer = va_arg(*arguments, long long);
        break;
      case ArgType::kIntMax:
        args[k].integer = static_cast<long long>(va_arg(*arguments, intmax_t));
        break;
      case ArgType::kSize:
        args[k].integer = static_cast<long long>(va_arg(*arguments, size_t));
        break;
      case ArgType::kPtrDiff:
        args[k].integer = static_cast<long long>(va_arg(*arguments, ptrdiff_t));
        break;
      case ArgType::kDouble:
        args[k].real = va_arg(*arguments, double);
        break;
      case ArgType::kLongDouble:
        args[k].longReal = va_arg(*arguments, long double);
        break;
      case ArgType::kPointer:
        args[k].pointer = va_arg(*arguments, const void*);
        break;
    }
  }
}

void Pad(std::u16string* out, size_t count, char16_t fill) { out->append(count, fill); }

// Appends text with the width's padding (spaces; on the right with '-').
void AppendPadded(std::u16string* out, std::u16string_view text, const Spec& spec, int width) {
  size_t pad = width > 0 && static_cast<size_t>(width) > text.size() ? static_cast<size_t>(width) - text.size() : 0;
  if (!(spec.flags & kMinus)) Pad(out, pad, u' ');
  out->append(text);
  if (spec.flags & kMinus) Pad(out, pad, u' ');
}

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

void AppendInteger(std::u16string* out, const Spec& spec, int width, int precision, unsigned long long magnitude,
                   bool negative, bool isSigned) {
  size_t room = static_cast<size_t>(std::max(width, precision)) + 24;
  if (room <= kInlineDigits + 24) {
    char16_t buffer[kInlineDigits + 24];
    out->append(buffer, WriteInteger(buffer, spec, width, precision, magnitude, negative, isSigned));
    return;
  }
  size_t at = out->size();
  out->resize(at + room);
  out->resize(at + WriteInteger(out->data() + at, spec, width, precision, magnitude, negative, isSigned));
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

bool IsSignedConversion(char16_t conversion) { return conversion == u'd' || conversion == u'i' || conversion == u'D'; }

// Floating-point conversions go through the C library, in the C locale ("." as separator),
// as the platform formats without a locale.
void AppendFloating(std::u16string* out, const Spec& spec, int width, int precision, const Arg& arg, bool isLong) {
  // Without a precision %a prints the exact value and the others 6 digits, as the C library
  // decides when no precision is given.
  bool withPrecision = precision >= 0;
  char format[16];
  size_t n = 0;
  format[n++] = '%';
  if (spec.flags & kMinus) format[n++] = '-';
  if (spec.flags & kPlus) format[n++] = '+';
  if (spec.flags & kSpace) format[n++] = ' ';
  if (spec.flags & kHash) format[n++] = '#';
  if (spec.flags & kZero) format[n++] = '0';
  format[n++] = '*';
  if (withPrecision) format[n++] = '.', format[n++] = '*';
  if (isLong) format[n++] = 'L';
  format[n++] = static_cast<char>(spec.conversion);
  format[n] = '\0';
  int widthValue = width < 0 ? 0 : width;
  auto print = [&](char* buffer, size_t size) {
    if (withPrecision) {
      return isLong ? std::snprintf(buffer, size, format, widthValue, precision, arg.longReal)
                    : std::snprintf(buffer, size, format, widthValue, precision, arg.real);
    }
    return isLong ? std::snprintf(buffer, size, format, widthValue, arg.longReal)
                  : std::snprintf(buffer, size, format, widthValue, arg.real);
  };
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  locale_t previous = uselocale(cLocale);
  char small[128];
  int written = print(small, sizeof small);
  if (written >= 0 && static_cast<size_t>(written) < sizeof small) {
    out->append(small, small + written);
  } else if (written > 0) {
    std::string large(static_cast<size_t>(written) + 1, '\0');
    print(large.data(), large.size());
    out->append(large.data(), large.data() + written);
  }
  uselocale(previous);
}

// The length of the well-formed UTF-8 sequence at p (at most n bytes), or 0 when there is none:
// no overlong forms, no surrogates, nothing beyond U+10FFFF.
size_t UTF8SequenceLength(const unsigned char* p, size_t n) {
  unsigned char c = p[0];
  size_t length;
  char32_t code;
  char32_t minimum;
  if (c < 0x80) return 1;
  if ((c & 0xE0) == 0xC0) {
    length = 2, code = c & 0x1F, minimum = 0x80;
  } else if ((c & 0xF0) == 0xE0) {
    length = 3, code = c & 0x0F, minimum = 0x800;
  } else if ((c & 0xF8) == 0xF0) {
    length = 4, code = c & 0x07, minimum = 0x10000;
  } else {
    return 0;
  }
  if (n < length) return 0;
  for (size_t k = 1; k < length; ++k) {
    if ((p[k] & 0xC0) != 0x80) return 0;
    code = (code << 6) | (p[k] & 0x3F);
  }
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return length;
}

// A C string in the system encoding, UTF-8; a byte that does not belong to a well-formed UTF-8
// sequence is read as ISO Latin 1, so that text in the older 8-bit encoding still prints.
void AppendCString(std::u16string* out, const char* bytes, size_t length) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  size_t i = 0;
  while (i < length) {
    size_t sequence = UTF8SequenceLength(p + i, length - i);
    if (sequence == 0) {
      out->push_back(p[i]);
      ++i;
      continue;
    }
    if (sequence == 1) {
      out->push_back(p[i]);
    } else {
      zrp::DecodeUTF8(bytes + i, sequence, out);
    }
    i += sequence;
  }
}

// Appends the text of one conversion to out; start is where this call's output began (%n).
void AppendConversion(std::u16string* out, size_t start, const Spec& spec, const Arg* args) {
  int width = spec.width;
  if (spec.widthArg >= 0) {
    width = static_cast<int>(args[spec.widthArg].integer);
    if (width < 0) {
      // A negative width argument is a '-' flag and a positive width.
      Spec leftAligned = spec;
      leftAligned.flags |= kMinus;
      leftAligned.widthArg = -1;
      leftAligned.width = width == INT32_MIN ? INT32_MAX : -width;
      AppendConversion(out, start, leftAligned, args);
      return;
    }
  }
  int precision = spec.precision;
  if (spec.precisionArg >= 0) {
    precision = static_cast<int>(args[spec.precisionArg].integer);
    if (precision < 0) precision = -1;  // a negative precision is as if none were given
  }
  const Arg* value = spec.valueArg >= 0 ? &args[spec.valueArg] : nullptr;
  switch (spec.conversion) {
    case u'%':
      out->push_back(u'%');
      return;
    case u'd':
    case u'i':
    case u'D':
    case u'o':
    case u'u':
    case u'x':
    case u'X':
    case u'O':
    case u'U': {
      unsigned long long magnitude;
      bool negative;
      IntegerValue(spec, value->integer, &magnitude, &negative);
      AppendInteger(out, spec, width, precision, magnitude, negative, IsSignedConversion(spec.conversion));
      return;
    }
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
    case u'a':
    case u'A':
      AppendFloating(out, spec, width, precision, *value, spec.lengthModifier == Length::kLongDouble);
      return;
    case u'c': {
      // %lc is a UniChar, as %C; %c a byte of the system's single-byte range.
      char16_t c = spec.lengthModifier == Length::kLong
                       ? static_cast<char16_t>(value->integer)
                       : static_cast<char16_t>(static_cast<unsigned char>(value->integer));
      AppendPadded(out, std::u16string_view(&c, 1), spec, width);
      return;
    }
    case u'C': {
      char16_t c = static_cast<char16_t>(value->integer);
      AppendPadded(out, std::u16string_view(&c, 1), spec, width);
      return;
    }
    case u's':
    case u'S': {
      bool unicode = spec.conversion == u'S' || spec.lengthModifier == Length::kLong;
      if (!value->pointer) {
        AppendPadded(out, u"(null)", spec, width);
        return;
      }
      if (unicode) {
        const auto* units = static_cast<const char16_t*>(value->pointer);
        size_t length = 0;
        while ((precision < 0 || length < static_cast<size_t>(precision)) && units[length] != 0) ++length;
        AppendPadded(out, std::u16string_view(units, length), spec, width);
        return;
      }
      const char* bytes = static_cast<const char*>(value->pointer);
      size_t length = precision < 0 ? std::strlen(bytes) : strnlen(bytes, static_cast<size_t>(precision));
      if (width <= 0) {
        AppendCString(out, bytes, length);
        return;
      }
      std::u16string text;
      AppendCString(&text, bytes, length);
      AppendPadded(out, text, spec, width);
      return;
    }
    case u'p': {
      Spec hex = spec;
      hex.conversion = u'x';
      hex.flags = static_cast<uint8_t>((spec.flags & kMinus) | kHash);
      uintptr_t address = reinterpret_cast<uintptr_t>(value->pointer);
      if (address == 0) {
        AppendPadded(out, u"0x0", spec, width);
      } else {
        AppendInteger(out, hex, width, precision, address, false, false);
      }
      return;
    }
    case u'@': {
      CFTypeRef object = value->pointer;
      if (!object) {
        AppendPadded(out, u"(null)", spec, width);
        return;
      }
      // A string prints itself; any other object its description.
      CFStringRef text = CFGetTypeID(object) == CFStringGetTypeID() ? static_cast<CFStringRef>(object) : nullptr;
      CFStringRef description = text ? nullptr : CFCopyDescription(object);
      std::u16string_view chars = text ? zrp::View(text) : description ? zrp::View(description) : u"(null)";
      if (precision >= 0 && chars.size() > static_cast<size_t>(precision))
        chars = chars.substr(0, static_cast<size_t>(precision));
      AppendPadded(out, chars, spec, width);
      if (description) CFRelease(description);
      return;
    }
    case u'n': {
      // Stores the number of UTF-16 units written so far by this call.
      long long written = static_cast<long long>(out->size() - start);
      void* target = const_cast<void*>(value->pointer);
      if (!target) return;
      switch (spec.lengthModifier) {
        case Length::kChar:
          *static_cast<signed char*>(target) = static_cast<signed char>(written);
          break;
        case Length::kShort:
          *static_cast<short*>(target) = static_cast<short>(written);
          break;
        case Length::kLong:
          *static_cast<long*>(target) = static_cast<long>(written);
          break;
        case Length::kLongLong:
          *static_cast<long long*>(target) = written;
          break;
        case Length::kIntMax:
          *static_cast<intmax_t*>(target) = written;
          break;
        case Length::kSize:
          *static_cast<size_t*>(target) = static_cast<size_t>(written);
          break;
        case Length::kPtrDiff:
          *static_cast<ptrdiff_t*>(target) = static_cast<ptrdiff_t>(written);
          break;
        default:
          *static_cast<int*>(target) = static_cast<int>(written);
          break;
      }
      return;
    }
    default:
      return;
  }
}

void FormatInto(std::u16string* out, std::u16string_view text, const ParsedFormat& parsed, va_list* arguments) {
  std::array<Arg, 16> inlineArgs;
  std::vector<Arg> manyArgs;
  Arg* args = inlineArgs.data();
  if (parsed.argTypes.size() > inlineArgs.size()) {
    manyArgs.resize(parsed.argTypes.size());
    args = manyArgs.data();
  }
  FetchArguments(parsed, arguments, args);
  size_t start = out->size();
  for (const Spec& spec : parsed.specs) {
    if (spec.conversion == 0) {
      out->append(text.substr(spec.start, spec.length));
    } else {
      AppendConversion(out, start, spec, args);
    }
  }
}

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

// Makes room for count more units. Small strings double as appending does; large ones grow
// fourfold: every new block is touched twice (the copy, then the text appended), and on a
// large string those first touches cost more than the formatting. Capacity that is reserved
// and never written costs nothing.
__attribute__((noinline)) void Grow(std::u16string* chars, size_t count) {
  size_t capacity = chars->capacity();
  size_t factor = capacity * sizeof(char16_t) >= (size_t{1} << 20) ? 4 : 2;
  chars->reserve(std::max(capacity * factor, chars->size() + count));
}

// "%02x" of a value that takes more than two digits.
__attribute__((noinline)) void AppendWideHex(std::u16string* out, const Spec& spec, unsigned value) {
  if (spec.conversion == u'x') {
    AppendPlainIntegerValue<u'x'>(out, spec, value, false);
  } else {
    AppendPlainIntegerValue<u'X'>(out, spec, value, false);
  }
}

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

SingleAppender SingleIntegerAppender(const Spec& spec, ArgType type) {
  // Every integer argument is either an int or a 64-bit value on this platform.
  static_assert(sizeof(long) == 8 && sizeof(long long) == 8 && sizeof(intmax_t) == 8 && sizeof(size_t) == 8 &&
                sizeof(ptrdiff_t) == 8);
  return type == ArgType::kInt ? SingleIntegerAppenderOfWidth<false>(spec.conversion)
                               : SingleIntegerAppenderOfWidth<true>(spec.conversion);
}

// Formats into out; the parsed form of a constant format is reused, any other is parsed here.
void Format(std::u16string* out, CFStringRef format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  if (format->immortal()) {
    const ParsedFormat& parsed = *ParsedConstant(format);
    if (parsed.integersOnly) {
      FormatIntegers(out, zrp::View(format), parsed, &copy);
    } else {
      FormatInto(out, zrp::View(format), parsed, &copy);
    }
  } else {
    // The format's text is copied first: an argument's description might change it.
    std::u16string text = format->chars;
    ParsedFormat parsed;
    Parse(text, &parsed);
    FormatInto(out, text, parsed, &copy);
  }
  va_end(copy);
}

// Descriptions may format strings of their own or read the very string appended to, and
// %S may point into it: for such formats the text is made aside and appended at the end.
void AppendFormatAside(CFMutableStringRef theString, CFStringRef format, va_list* arguments) {
  std::u16string text;
  va_list copy;
  va_copy(copy, *arguments);
  Format(&text, format, copy);
  va_end(copy);
  theString->chars += text;
}

// The work of both append functions, inlined into each.
inline __attribute__((always_inline)) void AppendFormatList(CFMutableStringRef theString, CFStringRef format,
                                                            va_list* arguments) {
  if (!theString || !format) return;
  if (!theString->mutable_) {
    zrp::CheckMutable(theString, "CFStringAppendFormatAndArguments");
    return;
  }
  if (format->immortal()) {
    const ParsedFormat& parsed = *ParsedConstant(format);
    if (parsed.hexPairs) {
      // A byte in hexadecimal, the form data is dumped in, one call per byte: two units from
      // a table.
      unsigned value = static_cast<unsigned>(va_arg(*arguments, int));
      if (value < 256) {
        std::u16string& chars = theString->chars;
        if (chars.capacity() - chars.size() < 2) [[unlikely]]
          Grow(&chars, 2);
        chars.append(parsed.hexPairs[value], 2);
      } else {
        AppendWideHex(&theString->chars, parsed.specs[0], value);
      }
      return;
    }
    if (parsed.appendSingle) {
      // One number and nothing else, as when data is printed one byte at a time: this path
      // runs for every byte and is kept free of everything the general one needs.
      parsed.appendSingle(&theString->chars, parsed.specs[0], arguments);
      return;
    }
    if (!parsed.callsOut && !parsed.readsUnits) {
      // Nothing but the arguments' values is read while such a format is expanded, so the
      // text goes straight to its place: appending a number allocates nothing of its own.
      if (parsed.integersOnly) {
        FormatIntegers(&theString->chars, zrp::View(format), parsed, arguments);
      } else {
        FormatInto(&theString->chars, zrp::View(format), parsed, arguments);
      }
      return;
    }
  }
  AppendFormatAside(theString, format, arguments);
}

}  // namespace

extern "C" {

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
  if (!format) return nullptr;
  std::u16string chars;
  Format(&chars, format, arguments);
  return zrp::CreateString(std::move(chars));
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  CFStringRef string = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, arguments);
  va_end(arguments);
  return string;
}

void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef, CFStringRef format,
                                      va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  AppendFormatList(theString, format, &copy);
  va_end(copy);
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  AppendFormatList(theString, format, &arguments);
  va_end(arguments);
}

}  // extern "C"
