// ZRBase32.cpp: Base32 over plain C buffers (the RFC 4648 alphabet and bit layout, never
// padded). The NSData category has its own tables and shares the group loops (Base32Groups.h);
// these two functions report by status only and never log.
#include <ZRFramework/ZRFramework.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "encoding/Base32Groups.h"

namespace {

constexpr char canonicalChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

// Indexed by the character code minus 50 (the digit 2), up to 122 (small z); -1 is invalid.
constexpr SInt32 charDigits[] = {
    26, 27, 28, 29, 30, 31, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 2-7, 8 9 : ; < = > ? @
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,  // A-Z
    -1, -1, -1, -1, -1, -1,  // [ \ ] ^ _ `
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25};  // a-z
static_assert(sizeof(charDigits) / sizeof(charDigits[0]) == zr::internal::base32::kDecodeTableSize);

namespace base32 = zr::internal::base32;

constexpr base32::CharPairs kCharPairs(canonicalChars);

inline SInt32 DigitOf(char character) { return base32::DigitOf(charDigits, character); }

const SInt16* ThePairDigits() {
  static const base32::PairDigits table(charDigits);
  return table.values;
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
  size_t done = base32::EncodeWholeGroups(in, inLength, kCharPairs, out);
  out += done / 5 * 8;
  if (done < inLength) out += base32::EncodeFinalGroup(in + done, inLength - done, canonicalChars, out);
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
  if (remaining >= 8) {
    size_t groups = base32::DecodeWholeGroups(reinterpret_cast<const UInt8*>(in), remaining / 8, ThePairDigits(), out);
    in += 8 * groups;
    out += 5 * groups;
    remaining -= 8 * groups;
  }
  while (remaining > 0) {
    size_t count = remaining < 8 ? remaining : 8;
    SInt32 d[8] = {0};
    for (size_t i = 0; i < count; ++i) {
      d[i] = DigitOf(in[i]);
      // An invalid character ends the decoding quietly: the bytes before it stay, the rest of
      // the block is left as it was allocated.
      if (d[i] < 0) {
        base32::StoreBytes(d, i, out);
        return noErr;
      }
    }
    base32::StoreBytes(d, count, out);
    if (count < 8 && base32::LeftoverBits(d, count) != 0) return unknownErr;
    in += count;
    out += 5;
    remaining -= count;
  }
  return noErr;
}
