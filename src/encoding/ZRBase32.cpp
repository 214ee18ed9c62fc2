// ZRBase32.cpp: Base32 over plain C buffers (the RFC 4648 alphabet and bit layout, never
// padded). The NSData category has its own tables and loop; these two functions report by
// status only and never log.
#include <ZRFramework/ZRFramework.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char canonicalChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

// Indexed by the character code minus 50 (the digit 2), up to 122 (small z); -1 is invalid.
constexpr SInt32 charDigits[] = {
    26, 27, 28, 29, 30, 31, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 2-7, 8 9 : ; < = > ? @
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,  // A-Z
    -1, -1, -1, -1, -1, -1,  // [ \ ] ^ _ `
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25};  // a-z
static_assert(sizeof(charDigits) / sizeof(charDigits[0]) == 73);

constexpr int kFirstTableChar = 50;

// The characters of every 10-bit value, two at a time, made from canonicalChars when compiling:
// a group of 5 bytes takes 4 look-ups.
struct CharPairs {
  char pairs[1024][2];

  constexpr CharPairs() : pairs() {
    for (int value = 0; value < 1024; ++value) {
      pairs[value][0] = canonicalChars[value >> 5];
      pairs[value][1] = canonicalChars[value & 31];
    }
  }
};
constexpr CharPairs kCharPairs;

// The 40 bits of a group of 5 bytes, first byte highest.
inline uint64_t GroupBits(const UInt8* in) {
  return (uint64_t{in[0]} << 32) | (uint64_t{in[1]} << 24) | (uint64_t{in[2]} << 16) | (uint64_t{in[3]} << 8) | in[4];
}

// The 8 characters of a group of 40 bits.
inline void WriteGroup(uint64_t bits, char* out) {
  std::memcpy(out, kCharPairs.pairs[(bits >> 30) & 1023], 2);
  std::memcpy(out + 2, kCharPairs.pairs[(bits >> 20) & 1023], 2);
  std::memcpy(out + 4, kCharPairs.pairs[(bits >> 10) & 1023], 2);
  std::memcpy(out + 6, kCharPairs.pairs[bits & 1023], 2);
}

// The value of one character, or -1. The character is taken as a signed byte, so every code
// at or above 128 is negative and invalid; codes 123 to 127 lie above the table and are
// invalid too (as unsigned numbers, the negative offsets lie above it as well).
inline SInt32 DigitOf(char character) {
  unsigned int index = static_cast<unsigned int>(static_cast<signed char>(character) - kFirstTableChar);
  // Out of the table's range, the entry of the digit 8 (offset 6), which is invalid, is read
  // instead: a choice of index rather than a branch, in the innermost loop.
  return charDigits[index < sizeof(charDigits) / sizeof(charDigits[0]) ? index : 6];
}

// The 10 bits of every pair of characters (the first character's code in the low byte of the
// index), or -1 when either character is invalid, made from charDigits through DigitOf: a group
// of 8 characters takes 4 look-ups. At 128 KiB the table is made on first use, in memory that
// costs nothing until then, rather than carried in the library.
struct PairDigits {
  SInt16 values[1 << 16];

  PairDigits() {
    for (int second = 0; second < 256; ++second) {
      for (int first = 0; first < 256; ++first) {
        SInt32 high = DigitOf(static_cast<char>(first));
        SInt32 low = DigitOf(static_cast<char>(second));
        values[first | (second << 8)] = static_cast<SInt16>(high < 0 || low < 0 ? -1 : (high << 5) | low);
      }
    }
  }
};

const SInt16* ThePairDigits() {
  static const PairDigits table;
  return table.values;
}

// Writes the characters of one group of 1 to 5 bytes (missing bytes count as 0): 8 for a
// full group, 2, 4, 5 or 7 for a final one. Returns the number written.
inline size_t EncodeGroup(const UInt8* in, size_t count, char* out) {
  UInt8 b[5] = {0, 0, 0, 0, 0};
  std::memcpy(b, in, count);
  char c[8];
  c[0] = canonicalChars[b[0] >> 3];
  c[1] = canonicalChars[((b[0] & 7) << 2) | (b[1] >> 6)];
  c[2] = canonicalChars[(b[1] >> 1) & 31];
  c[3] = canonicalChars[((b[1] & 1) << 4) | (b[2] >> 4)];
  c[4] = canonicalChars[((b[2] & 15) << 1) | (b[3] >> 7)];
  c[5] = canonicalChars[(b[3] >> 2) & 31];
  c[6] = canonicalChars[((b[3] & 3) << 3) | (b[4] >> 5)];
  c[7] = canonicalChars[b[4] & 31];
  static const size_t kCharsOfBytes[6] = {0, 2, 4, 5, 7, 8};
  size_t written = kCharsOfBytes[count];
  std::memcpy(out, c, written);
  return written;
}

// Stores the bytes that the first `valid` values of a group complete: b0 needs 2 values, b1
// 4, b2 5, b3 7 and b4 all 8.
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

}  // namespace

OSStatus ZRCopyBase32BufferOfBuffer(const void* inBuffer, UInt32 inLength, char** outBase32Buffer) {
  // The encoded length is a signed 32-bit count: empty input gives 0 and is refused, and so is
  // input whose text would not fit such a count.
  int64_t encodedLength = (8 * static_cast<int64_t>(inLength) + 4) / 5;
  if (encodedLength <= 0 || encodedLength > INT32_MAX - 1) return unknownErr;

  *outBase32Buffer = static_cast<char*>(malloc(static_cast<size_t>(encodedLength) + 1));
  if (!*outBase32Buffer) return unknownErr;

  const UInt8* in = static_cast<const UInt8*>(inBuffer);
  char* out = *outBase32Buffer;
  size_t remaining = inLength;
  // Whole groups. While 8 bytes remain, a group is read as 8 bytes at once (the 3 after it are
  // read again with the next group), which compilers turn into one load.
  while (remaining >= 8) {
    uint64_t bits = (uint64_t{in[0]} << 56) | (uint64_t{in[1]} << 48) | (uint64_t{in[2]} << 40) |
                    (uint64_t{in[3]} << 32) | (uint64_t{in[4]} << 24) | (uint64_t{in[5]} << 16) |
                    (uint64_t{in[6]} << 8) | in[7];
    WriteGroup(bits >> 24, out);
    in += 5;
    out += 8;
    remaining -= 5;
  }
  while (remaining >= 5) {
    WriteGroup(GroupBits(in), out);
    in += 5;
    out += 8;
    remaining -= 5;
  }
  if (remaining > 0) out += EncodeGroup(in, remaining, out);
  *out = '\0';
  return noErr;
}

OSStatus ZRCopyBufferOfBase32Buffer(const char* inBase32Buffer, void** outBuffer) {
  size_t textLength = strlen(inBase32Buffer);
  size_t lastGroup = textLength % 8;
  // No whole number of bytes gives a text of such a length.
  if (lastGroup == 1 || lastGroup == 3 || lastGroup == 6) return unknownErr;
  size_t byteCount = (5 * textLength) / 8;
  if (byteCount == 0) return unknownErr;

  *outBuffer = malloc(byteCount);
  if (!*outBuffer) return unknownErr;

  const char* in = inBase32Buffer;
  UInt8* out = static_cast<UInt8*>(*outBuffer);
  size_t remaining = textLength;
  // Whole groups whose characters are all valid, the common case, in one step each; a group
  // with an invalid character is left to the loop below, which stops at it.
  const UInt8* text = reinterpret_cast<const UInt8*>(in);
  const SInt16* pairDigits = remaining >= 8 ? ThePairDigits() : nullptr;
  while (remaining >= 8) {
    const SInt32 v[4] = {pairDigits[text[0] | (text[1] << 8)], pairDigits[text[2] | (text[3] << 8)],
                         pairDigits[text[4] | (text[5] << 8)], pairDigits[text[6] | (text[7] << 8)]};
    if ((v[0] | v[1] | v[2] | v[3]) < 0) break;
    // The 40 bits of the group, first pair highest, then its bytes in order.
    uint64_t bits = (uint64_t(v[0]) << 30) | (uint64_t(v[1]) << 20) | (uint64_t(v[2]) << 10) | uint64_t(v[3]);
    out[0] = static_cast<UInt8>(bits >> 32);
    out[1] = static_cast<UInt8>(bits >> 24);
    out[2] = static_cast<UInt8>(bits >> 16);
    out[3] = static_cast<UInt8>(bits >> 8);
    out[4] = static_cast<UInt8>(bits);
    text += 8;
    out += 5;
    remaining -= 8;
  }
  in = reinterpret_cast<const char*>(text);
  while (remaining > 0) {
    size_t count = remaining < 8 ? remaining : 8;
    SInt32 d[8] = {0};
    for (size_t i = 0; i < count; ++i) {
      d[i] = DigitOf(in[i]);
      // An invalid character ends the decoding quietly: the bytes before it stay, the rest of
      // the block is left as it was allocated.
      if (d[i] < 0) {
        StoreBytes(d, i, out);
        return noErr;
      }
    }
    StoreBytes(d, count, out);
    if (count < 8 && LeftoverBits(d, count) != 0) return unknownErr;
    in += count;
    out += 5;
    remaining -= count;
  }
  return noErr;
}
