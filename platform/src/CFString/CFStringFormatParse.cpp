// CFStringFormatParse.cpp: printf-style formats read into their pieces: literal text, flags,
// widths, precisions, length modifiers, positional arguments and the types of the arguments.
#include <cstdint>
#include <string_view>

#include "CFString/FormatImpl.h"
#include "runtime/Characters.h"

namespace zrp::format {

namespace {

// Reads a decimal number; returns -1 when none is there. Large values are clamped.
int ReadNumber(std::u16string_view text, size_t* i) {
  if (*i >= text.size() || !zrp::IsAsciiDigit(text[*i])) return -1;
  long value = 0;
  while (*i < text.size() && zrp::IsAsciiDigit(text[*i])) {
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

}  // namespace

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

}  // namespace zrp::format
