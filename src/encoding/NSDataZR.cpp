// NSDataZR.cpp: the NSData(ZR) category: unpadded Base32 with its own tables and loop, and
// Base64 through OpenSSL's Base64 filter over memory objects.
#include <ZRFramework/ZRFramework.h>
#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>

#include <climits>
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
constexpr int kCharDigitCount = sizeof(charDigits) / sizeof(charDigits[0]);
static_assert(kCharDigitCount == 73);

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

// Work buffers up to this size live on the stack; larger ones (inputs of any size are
// accepted) come from the heap, so that a big input cannot overflow the stack.
constexpr size_t kStackBufferSize = 4096;

// One work buffer, sized once from the input and never grown.
class WorkBuffer {
 public:
  explicit WorkBuffer(size_t size) {
    if (size <= sizeof(stack_)) {
      bytes_ = stack_;
    } else {
      heap_ = malloc(size);
      bytes_ = static_cast<UInt8*>(heap_);
    }
  }
  ~WorkBuffer() { free(heap_); }
  WorkBuffer(const WorkBuffer&) = delete;
  WorkBuffer& operator=(const WorkBuffer&) = delete;

  // NULL when the heap could not give the memory.
  UInt8* bytes() const { return bytes_; }

  // The heap block, handed over to the caller (who frees it); NULL for a buffer on the stack.
  void* release() {
    void* heap = heap_;
    heap_ = nullptr;
    return heap;
  }

 private:
  alignas(16) UInt8 stack_[kStackBufferSize];
  void* heap_ = nullptr;
  UInt8* bytes_ = nullptr;
};

// The value of one character, or -1: codes below 50, at or above 128 (negative as a signed
// byte, and so above the table as unsigned offsets) and 123 to 127 (above the table) are
// invalid.
inline SInt32 DigitOf(char character) {
  unsigned int index = static_cast<unsigned int>(static_cast<signed char>(character) - 50);
  // Out of the table's range, the entry of the digit 8 (offset 6), which is invalid, is read
  // instead: a choice of index rather than a branch, in the innermost loop.
  return charDigits[index < static_cast<unsigned int>(kCharDigitCount) ? index : 6];
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

// Sets the bit layout of one group: up to 5 bytes in, up to 8 characters out.
inline void EncodeGroup(const UInt8* b, size_t charCount, char* out) {
  const int c[8] = {b[0] >> 3,
                    ((b[0] & 7) << 2) | (b[1] >> 6),
                    (b[1] >> 1) & 31,
                    ((b[1] & 1) << 4) | (b[2] >> 4),
                    ((b[2] & 15) << 1) | (b[3] >> 7),
                    (b[3] >> 2) & 31,
                    ((b[3] & 3) << 3) | (b[4] >> 5),
                    b[4] & 31};
  for (size_t i = 0; i < charCount; ++i) out[i] = canonicalChars[c[i]];
}

// Frees a memory object's buffer that the object does not own: its bytes without clearing
// them, then the buffer itself. (The bytes are those the buffer holds now, in case the memory
// object had to grow them.)
void FreeTextBuffer(BUF_MEM* textBuffer) {
  OPENSSL_free(textBuffer->data);
  textBuffer->data = nullptr;
  BUF_MEM_free(textBuffer);
}

}  // namespace

namespace ZR {

NSString* base32String(NSData* self) {
  if (!self) return nil;
  const UInt8* bytes = static_cast<const UInt8*>(ns::bytes(self));
  size_t length = ns::length(self);

  size_t encodedLength = (8 * length + 4) / 5;
  WorkBuffer buffer((encodedLength + 1 + 15) & ~static_cast<size_t>(15));
  char* out = reinterpret_cast<char*>(buffer.bytes());
  if (!out) return nil;

  size_t remaining = length;
  // Whole groups, as 40 bits each (first byte highest), 10 bits a look-up. While 8 bytes
  // remain, a group is read as 8 bytes at once (the 3 after it are read again with the next
  // group), which compilers turn into one load.
  while (remaining >= 5) {
    uint64_t bits;
    if (remaining >= 8) {
      bits = ((uint64_t{bytes[0]} << 56) | (uint64_t{bytes[1]} << 48) | (uint64_t{bytes[2]} << 40) |
              (uint64_t{bytes[3]} << 32) | (uint64_t{bytes[4]} << 24) | (uint64_t{bytes[5]} << 16) |
              (uint64_t{bytes[6]} << 8) | bytes[7]) >>
             24;
    } else {
      bits = (uint64_t{bytes[0]} << 32) | (uint64_t{bytes[1]} << 24) | (uint64_t{bytes[2]} << 16) |
             (uint64_t{bytes[3]} << 8) | bytes[4];
    }
    memcpy(out, kCharPairs.pairs[(bits >> 30) & 1023], 2);
    memcpy(out + 2, kCharPairs.pairs[(bits >> 20) & 1023], 2);
    memcpy(out + 4, kCharPairs.pairs[(bits >> 10) & 1023], 2);
    memcpy(out + 6, kCharPairs.pairs[bits & 1023], 2);
    bytes += 5;
    out += 8;
    remaining -= 5;
  }
  if (remaining > 0) {
    // A final group of 1, 2, 3 or 4 bytes (the missing ones count as 0) gives 2, 4, 5 or 7
    // characters, and no padding.
    static const size_t kCharsOfBytes[5] = {0, 2, 4, 5, 7};
    UInt8 last[5] = {0, 0, 0, 0, 0};
    memcpy(last, bytes, remaining);
    EncodeGroup(last, kCharsOfBytes[remaining], out);
    out += kCharsOfBytes[remaining];
  }
  *out = '\0';
  return ns::stringWithCString(reinterpret_cast<char*>(buffer.bytes()), NSMacOSRomanStringEncoding);
}

NSData* dataWithBase32String(NSString* string) {
  if (!string || !ns::canBeConvertedToEncoding(string, NSASCIIStringEncoding)) return nil;
  const char* text = ns::cStringUsingEncoding(string, NSASCIIStringEncoding);
  if (!text) return nil;
  size_t textLength = strlen(text);
  size_t lastGroup = textLength % 8;
  if (lastGroup == 1 || lastGroup == 3 || lastGroup == 6) return nil;

  size_t byteCount = (5 * textLength) / 8;
  WorkBuffer buffer((byteCount + 15) & ~static_cast<size_t>(15));
  UInt8* out = buffer.bytes();
  if (!out) return nil;

  const UInt8* in = reinterpret_cast<const UInt8*>(text);
  size_t remaining = textLength;
  // Whole groups first, each in one step: the 40 bits of the group (first pair of characters
  // highest), then its bytes in order.
  const SInt16* pairDigits = remaining > 8 ? ThePairDigits() : nullptr;
  while (remaining > 8) {
    const SInt32 v[4] = {pairDigits[in[0] | (in[1] << 8)], pairDigits[in[2] | (in[3] << 8)],
                         pairDigits[in[4] | (in[5] << 8)], pairDigits[in[6] | (in[7] << 8)]};
    if ((v[0] | v[1] | v[2] | v[3]) < 0) return nil;
    uint64_t bits = (uint64_t(v[0]) << 30) | (uint64_t(v[1]) << 20) | (uint64_t(v[2]) << 10) | uint64_t(v[3]);
    out[0] = static_cast<UInt8>(bits >> 32);
    out[1] = static_cast<UInt8>(bits >> 24);
    out[2] = static_cast<UInt8>(bits >> 16);
    out[3] = static_cast<UInt8>(bits >> 8);
    out[4] = static_cast<UInt8>(bits);
    in += 8;
    out += 5;
    remaining -= 8;
  }
  // The last group, whole or not.
  while (remaining > 0) {
    size_t count = remaining < 8 ? remaining : 8;
    SInt32 d[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    SInt32 invalid = 0;
    for (size_t i = 0; i < count; ++i) {
      d[i] = DigitOf(static_cast<char>(in[i]));
      invalid |= d[i];
    }
    if (invalid < 0) return nil;
    out[0] = static_cast<UInt8>((d[0] << 3) | (d[1] >> 2));
    if (count == 8) {
      out[1] = static_cast<UInt8>(((d[1] << 6) & 0xC0) | ((d[2] << 1) & 0x3E) | (d[3] >> 4));
      out[2] = static_cast<UInt8>(((d[3] << 4) & 0xF0) | (d[4] >> 1));
      out[3] = static_cast<UInt8>(((d[4] << 7) & 0x80) | ((d[5] << 2) & 0x7C) | (d[6] >> 3));
      out[4] = static_cast<UInt8>(((d[6] << 5) & 0xE0) | d[7]);
    } else {
      // A final group of 2, 4, 5 or 7 characters gives 1 to 4 bytes; the low bits of its last
      // character that no byte takes must be zero.
      if (count >= 4) out[1] = static_cast<UInt8>(((d[1] << 6) & 0xC0) | ((d[2] << 1) & 0x3E) | (d[3] >> 4));
      if (count >= 5) out[2] = static_cast<UInt8>(((d[3] << 4) & 0xF0) | (d[4] >> 1));
      if (count >= 7) out[3] = static_cast<UInt8>(((d[4] << 7) & 0x80) | ((d[5] << 2) & 0x7C) | (d[6] >> 3));
      SInt32 leftover = count == 2 ? (d[1] & 3) : count == 4 ? (d[3] & 15) : count == 5 ? (d[4] & 1) : (d[6] & 7);
      if (leftover != 0) return nil;
    }
    in += count;
    out += 5;
    remaining -= count;
  }
  // A buffer from the heap becomes the data's own block: a copy would write every byte again,
  // into memory as fresh as the buffer's.
  if (void* heap = buffer.release()) {
    NSData* data = ns::dataWithBytesNoCopy(heap, byteCount);
    if (!data) free(heap);
    return data;
  }
  return ns::dataWithBytes(buffer.bytes(), byteCount);
}

NSString* base64String(NSData* self) {
  if (!self) return nil;
  size_t length = ns::length(self);
  // The whole input goes to the filter in one write, whose count is an int.
  if (length > static_cast<size_t>(INT_MAX)) return nil;

  BIO* memory = BIO_new(BIO_s_mem());
  if (!memory) return nil;
  // The text's length is known (4 characters for every 3 bytes or part of them): its buffer
  // is made at that size at once, so that it is never copied to grow on the way. It is made
  // here rather than by BUF_MEM_grow, which would make it a third larger and write zeros over
  // it first, and is freed here too (the memory object does not own it), rather than by
  // BUF_MEM_free, which would write zeros over all of it again before freeing it: the text is
  // no secret, and at hundreds of megabytes each pass costs as much as the encoding.
  size_t textLength = (length + 2) / 3 * 4;
  BUF_MEM* textBuffer = BUF_MEM_new();
  char* textBytes = textBuffer && textLength > 0 ? static_cast<char*>(OPENSSL_malloc(textLength)) : nullptr;
  if (!textBuffer || (textLength > 0 && !textBytes)) {
    BUF_MEM_free(textBuffer);
    BIO_free_all(memory);
    return nil;
  }
  textBuffer->data = textBytes;
  textBuffer->max = textLength;
  textBuffer->length = 0;
  BIO_set_mem_buf(memory, textBuffer, BIO_NOCLOSE);
  BIO* base64 = BIO_new(BIO_f_base64());
  if (!base64) {
    BIO_free_all(memory);
    FreeTextBuffer(textBuffer);
    return nil;
  }
  // One line of text: no newline every 64 characters and none at the end.
  BIO_set_flags(base64, BIO_FLAGS_BASE64_NO_NL);
  BIO* chain = BIO_push(base64, memory);

  NSString* result = nil;
  int written = BIO_write(chain, ns::bytes(self), static_cast<int>(length));
  // The flush writes the final group with its padding.
  if (written == static_cast<int>(length) && BIO_flush(chain) == 1) {
    char* text = nullptr;
    long textLength = BIO_get_mem_data(chain, &text);
    if (textLength >= 0) result = ns::stringWithCStringLength(text, static_cast<NSUInteger>(textLength));
  }
  BIO_free_all(chain);
  FreeTextBuffer(textBuffer);
  return result;
}

NSData* dataWithBase64String(NSString* string) {
  NSMutableData* data = ns::mutableData();
  if (!data || !string) return data;
  // Text that has no ASCII form cannot be Base64: it decodes to nothing.
  const char* text = ns::cStringUsingEncoding(string, NSASCIIStringEncoding);
  if (!text) return data;
  size_t textLength = strlen(text);

  // A negative length makes the memory object measure the NUL-terminated text itself, which
  // also covers texts longer than an int can count.
  BIO* memory = BIO_new_mem_buf(text, textLength > static_cast<size_t>(INT_MAX) ? -1 : static_cast<int>(textLength));
  if (!memory) return data;
  BIO* base64 = BIO_new(BIO_f_base64());
  if (!base64) {
    BIO_free_all(memory);
    return data;
  }
  BIO_set_flags(base64, BIO_FLAGS_BASE64_NO_NL);
  BIO* chain = BIO_push(base64, memory);

  UInt8 block[512];
  int count;
  while ((count = BIO_read(chain, block, sizeof(block))) > 0)
    ns::appendBytes(data, block, static_cast<NSUInteger>(count));
  BIO_free_all(chain);
  return data;
}

}  // namespace ZR
