// AsciiText.h: the direct paths between bytes and UTF-16 characters for text that is plain
// ASCII (encoded data, identifiers, paths), shared by the string conversions. Such text may be
// hundreds of megabytes, so each path makes one pass: it checks the text while it converts it,
// writes every character once into storage sized once, and touches no byte twice.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "runtime/LargeBlocks.h"

namespace zrp {

// The loops work in blocks of a fixed number of characters, which compilers turn into vector
// code; a block of characters also fits in the first-level cache on its way into a string.
constexpr size_t kAsciiBlock = 2048;

// Eight bytes at a time, whatever the compiler makes of loops; a block at a time between looks
// at the result, so that long text that is not ASCII is not read to its end.
inline bool IsAscii(const unsigned char* bytes, size_t length) {
  constexpr uint64_t kHighBits = 0x8080808080808080ull;
  uint64_t high = 0;
  size_t words = length & ~size_t{7};
  size_t i = 0;
  while (i < words) {
    size_t end = std::min(words, i + kAsciiBlock);
    for (; i < end; i += 8) {
      uint64_t word;
      std::memcpy(&word, bytes + i, 8);
      high |= word;
    }
    if (high & kHighBits) return false;
  }
  unsigned char rest = 0;
  for (; i < length; ++i) rest |= bytes[i];
  return rest < 0x80;
}

inline bool IsAscii(std::u16string_view chars) {
  char16_t high = 0;
  size_t i = 0;
  for (; i + kAsciiBlock <= chars.size(); i += kAsciiBlock) {
    for (size_t k = 0; k < kAsciiBlock; ++k) high |= chars[i + k];
    if (high >= 0x80) return false;
  }
  for (; i < chars.size(); ++i) high |= chars[i];
  return high < 0x80;
}

// Makes room for `more` characters after the string's end, in one allocation, with its pages
// mapped in for the characters about to be written there.
inline void ReserveChars(std::u16string* out, size_t more) {
  out->reserve(out->size() + more);
  PopulateLargeBlock(out->data() + out->size(), more * sizeof(char16_t));
}

// Widens one block of bytes into characters; returns the bytes' OR, whose high bit tells
// whether one of them is not ASCII. (The pointers do not overlap: saying so lets the compiler
// convert many at a time.)
inline unsigned char WidenBlock(const unsigned char* __restrict bytes, size_t count, char16_t* __restrict out) {
  unsigned char high = 0;
  if (count == kAsciiBlock) {
    for (size_t k = 0; k < kAsciiBlock; ++k) {
      high |= bytes[k];
      out[k] = bytes[k];
    }
  } else {
    for (size_t k = 0; k < count; ++k) {
      high |= bytes[k];
      out[k] = bytes[k];
    }
  }
  return high;
}

// Appends the bytes as characters, one each, when they are all ASCII. Returns false when one
// is not (the string then holds a part of them, to be thrown away).
inline bool AppendAscii(const unsigned char* bytes, size_t length, std::u16string* out) {
  ReserveChars(out, length);
  char16_t block[kAsciiBlock];
  for (size_t i = 0; i < length; i += kAsciiBlock) {
    size_t count = std::min(kAsciiBlock, length - i);
    if (WidenBlock(bytes + i, count, block) >= 0x80) return false;
    out->append(block, count);
  }
  return true;
}

// Appends the bytes as the characters of the same codes (ISO Latin 1), one each.
inline void AppendLatin1(const unsigned char* bytes, size_t length, std::u16string* out) {
  ReserveChars(out, length);
  char16_t block[kAsciiBlock];
  for (size_t i = 0; i < length; i += kAsciiBlock) {
    size_t count = std::min(kAsciiBlock, length - i);
    WidenBlock(bytes + i, count, block);
    out->append(block, count);
  }
}

// Writes the characters as bytes, one each, when they are all ASCII. Returns false when one is
// not (`out` then holds a part of them).
inline bool NarrowAscii(std::u16string_view chars, unsigned char* __restrict out) {
  const char16_t* __restrict in = chars.data();
  size_t length = chars.size();
  char16_t high = 0;
  size_t i = 0;
  for (; i + kAsciiBlock <= length; i += kAsciiBlock) {
    for (size_t k = 0; k < kAsciiBlock; ++k) {
      high |= in[i + k];
      out[i + k] = static_cast<unsigned char>(in[i + k]);
    }
    if (high >= 0x80) return false;
  }
  for (; i < length; ++i) {
    high |= in[i];
    out[i] = static_cast<unsigned char>(in[i]);
  }
  return high < 0x80;
}

// The number of ASCII characters at the start of `chars`, at most `length`, written as bytes,
// one each, to `out` when it is not NULL. Whole blocks are checked and then narrowed, each loop
// of a fixed count (which compilers turn into vector code), the block still in the first-level
// cache for the second; the rest goes one by one. The first few are looked at one by one, so that
// text with few ASCII characters between others costs little.
inline size_t NarrowAsciiPrefix(const char16_t* __restrict chars, size_t length, unsigned char* __restrict out) {
  constexpr size_t kFirst = 16;
  size_t i = 0;
  for (; i < length && i < kFirst && chars[i] < 0x80; ++i) {
    if (out) out[i] = static_cast<unsigned char>(chars[i]);
  }
  if (i < kFirst) return i;
  for (; i + kAsciiBlock <= length; i += kAsciiBlock) {
    char16_t high = 0;
    for (size_t k = 0; k < kAsciiBlock; ++k) high |= chars[i + k];
    if (high >= 0x80) break;
    if (out) {
      for (size_t k = 0; k < kAsciiBlock; ++k) out[i + k] = static_cast<unsigned char>(chars[i + k]);
    }
  }
  for (; i < length && chars[i] < 0x80; ++i) {
    if (out) out[i] = static_cast<unsigned char>(chars[i]);
  }
  return i;
}

}  // namespace zrp
