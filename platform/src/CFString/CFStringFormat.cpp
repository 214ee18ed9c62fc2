// CFStringFormat.cpp: strings made from printf-style formats: every printf conversion with
// its flags, width, precision and length modifiers, positional arguments, and the platform's
// own conversions %@ (an object's description), %C (a UniChar) and %S (a UniChar string).
#include <CoreFoundation/CFString.h>
#include <locale.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "CFString/FormatImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Characters.h"
#include "runtime/NoThrow.h"

namespace zrp::format {

namespace {

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
// Plain data, so that reaching it needs no guard; the default TLS model keeps the library
// loadable with dlopen.
thread_local ParsedCacheEntry tParsedCache[16];

__attribute__((noinline)) const ParsedFormat* ParsedConstantSlow(CFStringRef format, ParsedCacheEntry* entry) {
  const ParsedFormat* parsed;
  {
    std::lock_guard<std::mutex> lock(gParsedMutex);
    auto& table = ParsedTable();
    auto found = table.find(format);
    if (found != table.end()) {
      parsed = found->second;
    } else {
      // Owned until the table holds it: a failed allocation in Parse or emplace leaks nothing.
      auto made = std::make_unique<ParsedFormat>();
      made->text = zrp::Chars(format);
      Parse(made->text, made.get());
      table.emplace(format, made.get());
      parsed = made.release();
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

// A C string in the system encoding, UTF-8; a byte that does not belong to a well-formed UTF-8
// sequence is read as ISO Latin 1, so that text in the older 8-bit encoding still prints.
void AppendCString(std::u16string* out, const char* bytes, size_t length) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  size_t i = 0;
  while (i < length) {
    char32_t code;
    size_t sequence = zrp::DecodeUTF8Sequence(p + i, length - i, &code);
    if (sequence == 0) {
      out->push_back(p[i]);
      ++i;
      continue;
    }
    zrp::AppendCodePoint(code, out);
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
      zrp::ReleaseAtEnd releaseDescription(description);
      CFStringRef shown = text ? text : description;
      if (!shown) {
        AppendPadded(out, u"(null)", spec, width);
        return;
      }
      zrp::WideView wide(shown);
      std::u16string_view chars = wide;
      if (precision >= 0 && chars.size() > static_cast<size_t>(precision))
        chars = chars.substr(0, static_cast<size_t>(precision));
      AppendPadded(out, chars, spec, width);
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

}  // namespace

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

}  // namespace zrp::format

namespace {

using namespace zrp::format;

// Formats into out; the parsed form of a constant format is reused, any other is parsed here.
void Format(std::u16string* out, CFStringRef format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  if (format->immortal()) {
    const ParsedFormat& parsed = *ParsedConstant(format);
    if (parsed.integersOnly) {
      FormatIntegers(out, parsed.text, parsed, &copy);
    } else {
      FormatInto(out, parsed.text, parsed, &copy);
    }
  } else {
    // The format's text is copied first: an argument's description might change it.
    std::u16string text = zrp::Chars(format);
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
  theString->text.append(text);
}

// Where a format's text is made before it joins a string that keeps one byte a character:
// one block a thread, kept, so that appending a number allocates nothing after the first time.
std::u16string& Scratch() {
  thread_local std::u16string scratch;
  scratch.clear();
  return scratch;
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
      zrp::Text& text = theString->text;
      if (value < 256) {
        const char16_t* pair = parsed.hexPairs[value];
        if (!text.wide()) [[likely]] {
          // Two ASCII digits straight into the string's bytes.
          char8_t* out = text.narrowRoom(2);
          out[0] = static_cast<char8_t>(pair[0]);
          out[1] = static_cast<char8_t>(pair[1]);
          text.grewNarrow(2, true);
        } else {
          text.append(std::u16string_view(pair, 2));
        }
      } else {
        std::u16string& digits = Scratch();
        AppendWideHex(&digits, parsed.specs[0], value);
        text.append(digits);
      }
      return;
    }
    if (parsed.appendSingle) {
      // One number and nothing else, as when data is printed one byte at a time: this path
      // runs for every byte and is kept free of everything the general one needs.
      std::u16string& digits = Scratch();
      parsed.appendSingle(&digits, parsed.specs[0], arguments);
      theString->text.append(digits);
      return;
    }
    if (!parsed.callsOut && !parsed.readsUnits) {
      // Nothing but the arguments' values is read while such a format is expanded: the text is
      // made in the thread's block and then appended, and appending a number allocates nothing
      // of its own.
      std::u16string& made = Scratch();
      if (parsed.integersOnly) {
        FormatIntegers(&made, parsed.text, parsed, arguments);
      } else {
        FormatInto(&made, parsed.text, parsed, arguments);
      }
      theString->text.append(made);
      return;
    }
  }
  AppendFormatAside(theString, format, arguments);
}

}  // namespace

extern "C" {

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (!format) return nullptr;
    std::u16string chars;
    Format(&chars, format, arguments);
    return zrp::CreateString(std::move(chars));
  });
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
  zrp::CatchOutOfMemory([&] {
    va_list copy;
    va_copy(copy, arguments);
    AppendFormatList(theString, format, &copy);
    va_end(copy);
  });
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  zrp::CatchOutOfMemory([&] { AppendFormatList(theString, format, &arguments); });
  va_end(arguments);
}

}  // extern "C"
