// Base32Groups.h: the bit layout of Base32 (RFC 4648: groups of 5 bytes as 8 values of 5 bits,
// most significant first, unpadded) as loops over whole groups and the final one. The C functions
// and the NSData category each keep their own alphabet and decode tables and the look-up tables
// made from them, and pass them in.
#pragma once

#include <ZRFramework/ZRFramework.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zr::internal::base32 {

// Decode tables are indexed by the character code minus 50 (the digit 2), up to 122 (small z).
constexpr int kFirstTableChar = 50;
constexpr unsigned int kDecodeTableSize = 73;

// The characters of every 10-bit value, two at a time, made from an alphabet when compiling: a
// group of 5 bytes takes 4 look-ups.
struct CharPairs {
  char pairs[1024][2];

  constexpr explicit CharPairs(const char* alphabet) : pairs() {
    for (int value = 0; value < 1024; ++value) {
      pairs[value][0] = alphabet[value >> 5];
      pairs[value][1] = alphabet[value & 31];
    }
  }
};

// The value of one character in a decode table, or -1. The character is taken as a signed byte,
// so every code at or above 128 is negative and invalid; codes 123 to 127 lie above the table and
// are invalid too (as unsigned numbers, the negative offsets lie above it as well).
inline SInt32 DigitOf(const SInt32* table, char character) {
  unsigned int index = static_cast<unsigned int>(static_cast<signed char>(character) - kFirstTableChar);
  // Out of the table's range, the entry of the digit 8 (offset 6), which is invalid, is read
  // instead: a choice of index rather than a branch, in the innermost loop.
  return table[index < kDecodeTableSize ? index : 6];
}

// The 10 bits of every pair of characters (the first character's code in the low byte of the
// index), or -1 when either character is invalid, made from a decode table through DigitOf: a
// group of 8 characters takes 4 look-ups. At 128 KiB each is made on first use, in memory that
// costs nothing until then, rather than carried in the library.
struct PairDigits {
  SInt16 values[1 << 16];

  explicit PairDigits(const SInt32* table) {
    for (int second = 0; second < 256; ++second) {
      for (int first = 0; first < 256; ++first) {
        SInt32 high = DigitOf(table, static_cast<char>(first));
        SInt32 low = DigitOf(table, static_cast<char>(second));
        values[first | (second << 8)] = static_cast<SInt16>(high < 0 || low < 0 ? -1 : (high << 5) | low);
      }
    }
  }
};

// The 8 characters of a group of 40 bits.
inline void WriteGroup(uint64_t bits, const CharPairs& pairs, char* out) {
  std::memcpy(out, pairs.pairs[(bits >> 30) & 1023], 2);
  std::memcpy(out + 2, pairs.pairs[(bits >> 20) & 1023], 2);
  std::memcpy(out + 4, pairs.pairs[(bits >> 10) & 1023], 2);
  std::memcpy(out + 6, pairs.pairs[bits & 1023], 2);
}

// Writes the characters of the whole groups among `count` bytes; returns the number of bytes they
// took (a multiple of 5). While 8 bytes remain, a group is read as 8 bytes at once (the 3 after
// it are read again with the next group), which compilers turn into one load.
inline size_t EncodeWholeGroups(const UInt8* in, size_t count, const CharPairs& pairs, char* out) {
  size_t done = 0;
  for (; count - done >= 8; done += 5, out += 8) {
    const UInt8* b = in + done;
    uint64_t bits = (uint64_t{b[0]} << 56) | (uint64_t{b[1]} << 48) | (uint64_t{b[2]} << 40) | (uint64_t{b[3]} << 32) |
                    (uint64_t{b[4]} << 24) | (uint64_t{b[5]} << 16) | (uint64_t{b[6]} << 8) | b[7];
    WriteGroup(bits >> 24, pairs, out);
  }
  for (; count - done >= 5; done += 5, out += 8) {
    const UInt8* b = in + done;
    WriteGroup((uint64_t{b[0]} << 32) | (uint64_t{b[1]} << 24) | (uint64_t{b[2]} << 16) | (uint64_t{b[3]} << 8) | b[4],
               pairs, out);
  }
  return done;
}

// Writes the characters of a final group of 1, 2, 3 or 4 bytes (the missing ones count as 0):
// 2, 4, 5 or 7 of them, and no padding. Returns the number written.
inline size_t EncodeFinalGroup(const UInt8* in, size_t count, const char* alphabet, char* out) {
  UInt8 b[5] = {0, 0, 0, 0, 0};
  std::memcpy(b, in, count);
  const int c[7] = {b[0] >> 3,
                    ((b[0] & 7) << 2) | (b[1] >> 6),
                    (b[1] >> 1) & 31,
                    ((b[1] & 1) << 4) | (b[2] >> 4),
                    ((b[2] & 15) << 1) | (b[3] >> 7),
                    (b[3] >> 2) & 31,
                    ((b[3] & 3) << 3) | (b[4] >> 5)};
  static const size_t kCharsOfBytes[5] = {0, 2, 4, 5, 7};
  size_t written = kCharsOfBytes[count];
  for (size_t i = 0; i < written; ++i) out[i] = alphabet[c[i]];
  return written;
}

// Decodes up to `groups` whole groups of 8 characters, each in one step (the 40 bits of the
// group, first pair of characters highest, then its bytes in order), and stops before the first
// group with an invalid character. Returns the number of groups decoded.
inline size_t DecodeWholeGroups(const UInt8* in, size_t groups, const SInt16* pairDigits, UInt8* out) {
  for (size_t group = 0; group < groups; ++group, in += 8, out += 5) {
    const SInt32 v[4] = {pairDigits[in[0] | (in[1] << 8)], pairDigits[in[2] | (in[3] << 8)],
                         pairDigits[in[4] | (in[5] << 8)], pairDigits[in[6] | (in[7] << 8)]};
    if ((v[0] | v[1] | v[2] | v[3]) < 0) return group;
    uint64_t bits = (uint64_t(v[0]) << 30) | (uint64_t(v[1]) << 20) | (uint64_t(v[2]) << 10) | uint64_t(v[3]);
    out[0] = static_cast<UInt8>(bits >> 32);
    out[1] = static_cast<UInt8>(bits >> 24);
    out[2] = static_cast<UInt8>(bits >> 16);
    out[3] = static_cast<UInt8>(bits >> 8);
    out[4] = static_cast<UInt8>(bits);
  }
  return groups;
}

// Stores the bytes that the first `valid` values of a group complete: the first byte needs 2
// values, the second 4, the third 5, the fourth 7 and the fifth all 8.
inline void StoreBytes(const SInt32* d, size_t valid, UInt8* out) {
  if (valid >= 2) out[0] = static_cast<UInt8>((d[0] << 3) | (d[1] >> 2));
  if (valid >= 4) out[1] = static_cast<UInt8>(((d[1] << 6) & 0xC0) | ((d[2] << 1) & 0x3E) | (d[3] >> 4));
  if (valid >= 5) out[2] = static_cast<UInt8>(((d[3] << 4) & 0xF0) | (d[4] >> 1));
  if (valid >= 7) out[3] = static_cast<UInt8>(((d[4] << 7) & 0x80) | ((d[5] << 2) & 0x7C) | (d[6] >> 3));
  if (valid >= 8) out[4] = static_cast<UInt8>(((d[6] << 5) & 0xE0) | d[7]);
}

// The low bits of the last value of a final group of 2, 4, 5 or 7 characters that no byte
// takes; they must be zero.
inline SInt32 LeftoverBits(const SInt32* d, size_t count) {
  switch (count) {
    case 2:
      return d[1] & 3;
    case 4:
      return d[3] & 15;
    case 5:
      return d[4] & 1;
    default:
      return d[6] & 7;
  }
}

}  // namespace zr::internal::base32
