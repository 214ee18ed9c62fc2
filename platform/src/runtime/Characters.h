// Characters.h: the tests and values of ASCII characters and of UTF-8 sequences that the host's
// readers, formatters and comparisons share.
#pragma once

#include <cstddef>
#include <string_view>

namespace zrp {

// Whether c is one of the ASCII digits 0 to 9 (no other script's digits).
constexpr bool IsAsciiDigit(char32_t c) { return c >= U'0' && c <= U'9'; }

// The value of the hexadecimal digit c (either case), or -1 when c is none.
constexpr int HexDigitValue(char32_t c) {
  if (c >= U'0' && c <= U'9') return static_cast<int>(c - U'0');
  if (c >= U'a' && c <= U'f') return static_cast<int>(c - U'a') + 10;
  if (c >= U'A' && c <= U'F') return static_cast<int>(c - U'A') + 10;
  return -1;
}

// Whether c may stand in an unquoted string of an old-style (OpenStep) property list: ASCII
// letters and digits and "_$/:.-". Every other string is written, and read, in quotes.
constexpr bool IsUnquotedStringCharacter(char32_t c) {
  return (c >= U'a' && c <= U'z') || (c >= U'A' && c <= U'Z') || IsAsciiDigit(c) || c == U'_' || c == U'$' ||
         c == U'/' || c == U':' || c == U'.' || c == U'-';
}

// The text without the characters of `blanks` at either end.
constexpr std::string_view Trim(std::string_view text, std::string_view blanks) {
  size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return std::string_view();
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The length of the well-formed UTF-8 sequence at p (at most n bytes, n at least 1), its
// character in *code; 0 when there is none: no overlong forms, no surrogates, nothing beyond
// U+10FFFF.
inline size_t DecodeUTF8Sequence(const unsigned char* p, size_t n, char32_t* code) {
  unsigned char c = p[0];
  if (c < 0x80) {
    *code = c;
    return 1;
  }
  size_t length;
  char32_t value;
  char32_t minimum;
  if ((c & 0xE0) == 0xC0) {
    length = 2, value = c & 0x1F, minimum = 0x80;
  } else if ((c & 0xF0) == 0xE0) {
    length = 3, value = c & 0x0F, minimum = 0x800;
  } else if ((c & 0xF8) == 0xF0) {
    length = 4, value = c & 0x07, minimum = 0x10000;
  } else {
    return 0;
  }
  if (n < length) return 0;
  for (size_t k = 1; k < length; ++k) {
    if ((p[k] & 0xC0) != 0x80) return 0;
    value = (value << 6) | (p[k] & 0x3F);
  }
  if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
  *code = value;
  return length;
}

}  // namespace zrp
