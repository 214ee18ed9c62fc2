// NSDataZR.cpp: the NSData(ZR) category: unpadded Base32 with its own tables (the group loops are
// shared with the C functions, Base32Groups.h), and Base64 through OpenSSL's Base64 filter.
#include <ZRFramework/ZRFramework.h>
#include <openssl/bio.h>
#include <openssl/evp.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "encoding/AsciiBlocks.h"
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

inline SInt32 DigitOf(char character) { return base32::DigitOf(charDigits, character); }

const SInt16* ThePairDigits() {
  static const base32::PairDigits table(charDigits);
  return table.values;
}

// Whether a text of this many characters can be Base32: no whole number of bytes gives a
// length that leaves 1, 3 or 6 when divided by 8.
bool HasWholeBytes(size_t textLength) {
  size_t lastGroup = textLength % 8;
  return lastGroup != 1 && lastGroup != 3 && lastGroup != 6;
}

// Decodes `count` characters that start a group (and end the text, or a whole group) into
// `out`; false when one of them is invalid or the final group has non-zero leftover bits.
bool DecodeText(const UInt8* in, size_t count, UInt8* out) {
  if (count == 0) return true;
  // Whole groups first, each in one step; then the last group, whole or not.
  size_t groups = (count - 1) / 8;
  if (groups > 0 && base32::DecodeWholeGroups(in, groups, ThePairDigits(), out) < groups) return false;
  in += 8 * groups;
  out += 5 * groups;
  size_t remaining = count - 8 * groups;
  SInt32 d[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  SInt32 invalid = 0;
  for (size_t i = 0; i < remaining; ++i) {
    d[i] = DigitOf(static_cast<char>(in[i]));
    invalid |= d[i];
  }
  if (invalid < 0) return false;
  base32::StoreBytes(d, remaining, out);
  // A final group of 2, 4, 5 or 7 characters gives 1 to 4 bytes; the low bits of its last
  // character that no byte takes must be zero.
  return remaining == 8 || base32::LeftoverBits(d, remaining) == 0;
}

// The decoded bytes of a text of a given length, in one work buffer.
class DecodedBytes {
 public:
  explicit DecodedBytes(size_t textLength)
      : count_((5 * textLength) / 8), buffer_((count_ + 15) & ~static_cast<size_t>(15)) {}

  // NULL when the heap could not give the buffer.
  UInt8* bytes() const { return buffer_.bytes(); }

  // The bytes as a data object, or nil. A buffer from the heap becomes the data's own block: a
  // copy would write every byte again, into memory as fresh as the buffer's.
  NSData* TakeData() {
    if (void* heap = buffer_.release()) {
      NSData* data = ns::dataWithBytesNoCopy(heap, count_);
      if (!data) free(heap);
      return data;
    }
    return ns::dataWithBytes(buffer_.bytes(), count_);
  }

 private:
  size_t count_;
  WorkBuffer buffer_;
};

// Decodes a text whose characters are all of the alphabet, read from the string a block at a
// time, into *outData (nil when the memory for it cannot be had); false, with nothing made, for
// any other text.
bool DecodeAlphabetText(NSString* string, NSData** outData) {
  zr::internal::AsciiBlocks text(string);
  size_t length = text.length();
  if (!HasWholeBytes(length)) return false;
  DecodedBytes decoded(length);
  UInt8* out = decoded.bytes();
  if (out) {
    // Every block but the last holds whole groups.
    for (size_t position = 0; position < length; position += zr::internal::AsciiBlocks::kBlockSize) {
      size_t count = std::min(length - position, zr::internal::AsciiBlocks::kBlockSize);
      const UInt8* block = text.Block(position, count);
      if (!block || !DecodeText(block, count, out)) return false;
      out += count / 8 * 5;
    }
  }
  *outData = out ? decoded.TakeData() : nil;
  return true;
}

// A kind of OpenSSL I/O object of this file's own, with the callbacks given (NULL for none); made
// once per kind, NULL when OpenSSL cannot make it.
BIO_METHOD* NewMethod(const char* name, int (*read)(BIO*, char*, int), int (*write)(BIO*, const char*, int)) {
  int index = BIO_get_new_index();
  BIO_METHOD* method = index < 0 ? nullptr : BIO_meth_new(index | BIO_TYPE_SOURCE_SINK, name);
  auto create = [](BIO* object) {
    BIO_set_init(object, 1);
    return 1;
  };
  // The filter flushes what it writes to: there is nothing to flush.
  auto control = [](BIO*, int command, long, void*) -> long { return command == BIO_CTRL_FLUSH ? 1 : 0; };
  if (method && (!BIO_meth_set_create(method, create) || !BIO_meth_set_ctrl(method, control) ||
                 (read && !BIO_meth_set_read(method, read)) || (write && !BIO_meth_set_write(method, write)))) {
    BIO_meth_free(method);
    method = nullptr;
  }
  return method;
}

// The Base64 filter's sink: the text, written into one buffer made at once for all of it (4
// characters for every 3 bytes or part of them), never grown, copied or cleared on the way, as a
// memory object would (it writes zeros over each part before it copies the part in).
class TextSink {
 public:
  TextSink(char* bytes, size_t size) : bytes_(bytes), size_(size) {}
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  // A new sink object writing into this buffer, or NULL.
  BIO* NewObject() {
    static BIO_METHOD* method = NewMethod("text buffer", nullptr, Write);
    BIO* object = method ? BIO_new(method) : nullptr;
    if (object) BIO_set_data(object, this);
    return object;
  }

  size_t length() const { return length_; }

 private:
  // Takes all of the bytes, or refuses them all when they would not fit (which the text's length
  // rules out).
  static int Write(BIO* object, const char* in, int count) {
    auto* sink = static_cast<TextSink*>(BIO_get_data(object));
    BIO_clear_retry_flags(object);
    if (count <= 0) return 0;
    if (static_cast<size_t>(count) > sink->size_ - sink->length_) return -1;
    std::memcpy(sink->bytes_ + sink->length_, in, static_cast<size_t>(count));
    sink->length_ += static_cast<size_t>(count);
    return count;
  }

  char* bytes_;
  size_t size_;
  size_t length_ = 0;
};

// The text of a string as the Base64 filter's source: the bytes of the string's ASCII C string,
// that is its characters up to the first NUL character (where strlen would end the C string),
// read from the string a block at a time. A request is always filled while characters remain,
// as a memory object over the C string fills it, so the filter sees the same reads. Whether the
// whole string has an ASCII form (without which there is no C string) is known once it has been
// read to its end.
class TextSource {
 public:
  explicit TextSource(CFStringRef string) : text_(string), end_(text_.length()) {}
  TextSource(const TextSource&) = delete;
  TextSource& operator=(const TextSource&) = delete;

  // A new source object reading this text, or NULL.
  BIO* NewObject() {
    static BIO_METHOD* method = NewMethod("string text", Read, nullptr);
    BIO* object = method ? BIO_new(method) : nullptr;
    if (object) BIO_set_data(object, this);
    return object;
  }

  // The number of characters of the string.
  size_t length() const { return text_.length(); }

  // Whether every character of the string is ASCII; reads what the filter left unread.
  bool WasAscii() {
    for (size_t position = position_; ascii_ && position < text_.length();
         position += zr::internal::AsciiBlocks::kBlockSize) {
      size_t count = std::min(text_.length() - position, zr::internal::AsciiBlocks::kBlockSize);
      ascii_ = text_.Block(position, count) != nullptr;
    }
    return ascii_;
  }

 private:
  // Up to `size` bytes of the text; 0 at its end (no retry: the text is all there). The text is
  // taken from the string a block at a time, in blocks larger than the filter's requests.
  static int Read(BIO* object, char* out, int size) {
    auto* source = static_cast<TextSource*>(BIO_get_data(object));
    BIO_clear_retry_flags(object);
    size_t count = 0;
    while (count < static_cast<size_t>(size) && source->position_ < source->end_) {
      if (source->position_ == source->blockEnd_ && !source->NextBlock()) return 0;
      size_t part = std::min(
          {static_cast<size_t>(size) - count, source->blockEnd_ - source->position_, source->end_ - source->position_});
      std::memcpy(out + count, source->block_ + (source->position_ - source->blockStart_), part);
      count += part;
      source->position_ += part;
    }
    return static_cast<int>(count);
  }

  // Takes the block of characters that starts at the position; false when it holds one outside
  // ASCII (there is then no C string, and the result is empty whatever was read). A NUL character
  // in it ends the text.
  bool NextBlock() {
    size_t length = std::min(text_.length() - position_, zr::internal::AsciiBlocks::kBlockSize);
    block_ = text_.Block(position_, length);
    if (!block_) {
      ascii_ = false;
      end_ = position_;
      return false;
    }
    blockStart_ = position_;
    blockEnd_ = position_ + length;
    if (const void* nul = std::memchr(block_, 0, length))
      end_ = std::min(end_, blockStart_ + static_cast<size_t>(static_cast<const UInt8*>(nul) - block_));
    return true;
  }

  zr::internal::AsciiBlocks text_;
  size_t position_ = 0;
  size_t end_;  // the first NUL character, or the string's length
  bool ascii_ = true;
  // The block of characters at hand: [blockStart_, blockEnd_) of the text.
  const UInt8* block_ = nullptr;
  size_t blockStart_ = 0;
  size_t blockEnd_ = 0;
};

// The ASCII text of a work buffer as an autoreleased string, or nil. A buffer from the heap
// becomes the string's own storage (a one-byte string takes the block as it is): a copy would
// write every character again, into memory as fresh as the buffer's. One on the stack is copied.
NSString* StringOfText(WorkBuffer* buffer, size_t length) {
  void* heap = buffer->release();
  if (!heap) return ns::stringWithCStringLength(reinterpret_cast<const char*>(buffer->bytes()), length);
  CFStringRef string =
      CFStringCreateWithBytesNoCopy(kCFAllocatorDefault, static_cast<const UInt8*>(heap), static_cast<CFIndex>(length),
                                    kCFStringEncodingASCII, false, kCFAllocatorMalloc);
  if (!string) {
    free(heap);
    return nil;
  }
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
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

  size_t done = base32::EncodeWholeGroups(bytes, length, kCharPairs, out);
  out += done / 5 * 8;
  if (done < length) out += base32::EncodeFinalGroup(bytes + done, length - done, canonicalChars, out);
  *out = '\0';
  // The text is ASCII, the same characters in Mac OS Roman.
  return StringOfText(&buffer, encodedLength);
}

NSData* dataWithBase32String(NSString* string) {
  if (!string) return nil;
  // Text made only of the alphabet, the common case, is decoded from the string's characters
  // a block at a time; any other text takes the whole path below, which may still decode it (a
  // NUL character ends the C string, and so the text, early) or refuses it.
  NSData* data = nil;
  if (DecodeAlphabetText(string, &data)) return data;
  if (!ns::canBeConvertedToEncoding(string, NSASCIIStringEncoding)) return nil;
  const char* text = ns::cStringUsingEncoding(string, NSASCIIStringEncoding);
  if (!text) return nil;
  size_t textLength = strlen(text);
  if (!HasWholeBytes(textLength)) return nil;

  DecodedBytes decoded(textLength);
  if (!decoded.bytes() || !DecodeText(reinterpret_cast<const UInt8*>(text), textLength, decoded.bytes())) return nil;
  return decoded.TakeData();
}

NSString* base64String(NSData* self) {
  if (!self) return nil;
  size_t length = ns::length(self);
  // The whole input goes to the filter in one write, whose count is an int.
  if (length > static_cast<size_t>(INT_MAX)) return nil;

  // The text's length is known: the filter writes it into one buffer of that size (see
  // TextSink), rather than into a memory object's.
  size_t textLength = (length + 2) / 3 * 4;
  WorkBuffer text(textLength + 1);
  if (!text.bytes()) return nil;
  TextSink sink(reinterpret_cast<char*>(text.bytes()), textLength);
  BIO* memory = sink.NewObject();
  if (!memory) return nil;
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
  if (written == static_cast<int>(length) && BIO_flush(chain) == 1) result = StringOfText(&text, sink.length());
  BIO_free_all(chain);
  return result;
}

NSData* dataWithBase64String(NSString* string) {
  NSMutableData* data = ns::mutableData();
  if (!data || !string) return data;
  // The filter reads the text from the string itself, as the bytes of its ASCII C string (see
  // TextSource), rather than from a copy of all of it.
  TextSource source(string);
  BIO* memory = source.NewObject();
  if (!memory) return data;
  BIO* base64 = BIO_new(BIO_f_base64());
  if (!base64) {
    BIO_free_all(memory);
    return data;
  }
  BIO_set_flags(base64, BIO_FLAGS_BASE64_NO_NL);
  BIO* chain = BIO_push(base64, memory);

  // Every 4 characters give at most 3 bytes: the data is made that long at once (its zeros come
  // from calloc, whose fresh pages are not written) and the filter reads into it, 512 bytes at a
  // time, so that no block is copied to grow it, nor first into a buffer of its own. The length
  // is set to what was read at the end.
  constexpr size_t kReadSize = 512;
  size_t size = source.length() / 4 * 3 + kReadSize;
  size_t length = 0;
  CFDataSetLength(data, static_cast<CFIndex>(size));
  for (;;) {
    if (length + kReadSize > size) {
      size = 2 * size;
      CFDataSetLength(data, static_cast<CFIndex>(size));
    }
    int count = BIO_read(chain, CFDataGetMutableBytePtr(data) + length, static_cast<int>(kReadSize));
    if (count <= 0) break;
    length += static_cast<size_t>(count);
  }
  CFDataSetLength(data, static_cast<CFIndex>(length));
  BIO_free_all(chain);
  // Text that has no ASCII form cannot be Base64: it decodes to nothing.
  if (!source.WasAscii()) CFDataSetLength(data, 0);
  return data;
}

}  // namespace ZR
