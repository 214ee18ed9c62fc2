// CFStringNumbers.cpp: the numeric values of strings, read in the C form whatever the locale.
#include <CoreFoundation/CFString.h>
#include <locale.h>

#include <climits>
#include <clocale>
#include <cstdlib>
#include <string>
#include <string_view>

#include "CFString/StringImpl.h"
#include "runtime/Characters.h"
#include "runtime/NoThrow.h"

namespace {

// Skips the white space that a number may be preceded by.
size_t SkipSpace(std::u16string_view text, size_t i) {
  while (i < text.size() && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\n' || text[i] == u'\r' ||
                             text[i] == u'\v' || text[i] == u'\f'))
    ++i;
  return i;
}

SInt32 IntValue(std::u16string_view text) {
  size_t i = SkipSpace(text, 0);
  bool negative = false;
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) negative = text[i++] == u'-';
  if (i >= text.size() || !zrp::IsAsciiDigit(text[i])) return 0;
  long long value = 0;
  for (; i < text.size() && zrp::IsAsciiDigit(text[i]); ++i) {
    value = value * 10 + (text[i] - u'0');
    if (value > static_cast<long long>(INT_MAX) + 1) return negative ? INT_MIN : INT_MAX;
  }
  if (negative) return static_cast<SInt32>(-value);
  return value > INT_MAX ? INT_MAX : static_cast<SInt32>(value);
}

double DoubleValue(std::u16string_view text) {
  size_t i = SkipSpace(text, 0);
  // Only the characters a number can be made of are collected, and read in the C form ("."
  // as decimal separator) whatever the process locale is.
  std::string number;
  if (i < text.size() && text[i] == u'-') number.push_back('-');
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) ++i;
  size_t digits = 0;
  while (i < text.size() && zrp::IsAsciiDigit(text[i])) number.push_back(static_cast<char>(text[i++])), ++digits;
  if (i < text.size() && text[i] == u'.') {
    number.push_back('.');
    ++i;
    while (i < text.size() && zrp::IsAsciiDigit(text[i])) number.push_back(static_cast<char>(text[i++])), ++digits;
  }
  if (digits == 0) return 0.0;
  if (i < text.size() && (text[i] == u'e' || text[i] == u'E')) {
    size_t j = i + 1;
    std::string exponent = "e";
    if (j < text.size() && (text[j] == u'+' || text[j] == u'-')) exponent.push_back(static_cast<char>(text[j++]));
    if (j < text.size() && zrp::IsAsciiDigit(text[j])) {
      while (j < text.size() && zrp::IsAsciiDigit(text[j])) exponent.push_back(static_cast<char>(text[j++]));
      number += exponent;
    }
  }
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(number.c_str(), nullptr, cLocale);
}

}  // namespace

extern "C" {

SInt32 CFStringGetIntValue(CFStringRef str) {
  if (!str) return 0;
  return zrp::CatchOutOfMemory<SInt32>(0, [&] { return IntValue(zrp::WideView(str)); });
}

double CFStringGetDoubleValue(CFStringRef str) {
  return zrp::CatchOutOfMemory<double>(0, [&]() -> double {
    if (!str) return 0.0;
    return DoubleValue(zrp::WideView(str));
  });
}

}  // extern "C"
