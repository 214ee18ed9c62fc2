// NSDataZR.cpp: the NSData(ZR) category: unpadded Base32 with its own tables and loop, and
// Base64 through OpenSSL's Base64 filter over memory objects.
#include <ZRFramework/ZRFramework.h>
#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

const char canonicalChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

// Indexed by the character code minus 50 (the digit 2), up to 122 (small z); -1 is invalid.
const SInt32 charDigits[] = {
    26, 27, 28, 29, 30, 31, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 2-7, 8 9 : ; < = > ? @
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,  // A-Z
    -1, -1, -1, -1, -1, -1,  // [ \ ] ^ _ `
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25};  // a-z
constexpr int kCharDigitCount = sizeof(charDigits) / sizeof(charDigits[0]);
static_assert(kCharDigitCount == 73);

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
  while (remaining >= 5) {
    EncodeGroup(bytes, 8, out);
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

  const char* in = text;
  size_t remaining = textLength;
  // Whole groups first, each in one step.
  while (remaining > 8) {
    const SInt32 d[8] = {DigitOf(in[0]), DigitOf(in[1]), DigitOf(in[2]), DigitOf(in[3]),
                         DigitOf(in[4]), DigitOf(in[5]), DigitOf(in[6]), DigitOf(in[7])};
    if ((d[0] | d[1] | d[2] | d[3] | d[4] | d[5] | d[6] | d[7]) < 0) return nil;
    out[0] = static_cast<UInt8>((d[0] << 3) | (d[1] >> 2));
    out[1] = static_cast<UInt8>(((d[1] << 6) & 0xC0) | ((d[2] << 1) & 0x3E) | (d[3] >> 4));
    out[2] = static_cast<UInt8>(((d[3] << 4) & 0xF0) | (d[4] >> 1));
    out[3] = static_cast<UInt8>(((d[4] << 7) & 0x80) | ((d[5] << 2) & 0x7C) | (d[6] >> 3));
    out[4] = static_cast<UInt8>(((d[6] << 5) & 0xE0) | d[7]);
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
      d[i] = DigitOf(in[i]);
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
  // is made at that size at once, so that it is never copied to grow on the way.
  size_t textLength = (length + 2) / 3 * 4;
  BUF_MEM* textBuffer = BUF_MEM_new();
  // (BUF_MEM_grow answers with the new length, so 0 for empty text is no failure.)
  if (!textBuffer || (textLength > 0 && BUF_MEM_grow(textBuffer, textLength) != textLength)) {
    BUF_MEM_free(textBuffer);
    BIO_free_all(memory);
    return nil;
  }
  textBuffer->length = 0;
  BIO_set_mem_buf(memory, textBuffer, BIO_CLOSE);
  BIO* base64 = BIO_new(BIO_f_base64());
  if (!base64) {
    BIO_free_all(memory);
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
