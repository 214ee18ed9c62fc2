// AsciiBlocks.h: a string's characters as ASCII bytes, a block at a time, for the decoders. An
// encoded text can be hundreds of megabytes; a C-string copy of all of it would cost the decoder
// more fresh memory than its result, where a block of a few kilobytes is written over and over
// in the processor's cache.
#pragma once

#include <ZRFramework/ZRFramework.h>

#include <cstddef>
#include <cstring>

namespace zr::internal {

class AsciiBlocks {
 public:
  // Characters in a full block: a multiple of 8, 4 and 2, so that a block holds whole groups of
  // Base32, Base64 and hexadecimal text.
  static constexpr size_t kBlockSize = 16384;

  // The string must stay unchanged while the blocks are read.
  explicit AsciiBlocks(CFStringRef string)
      : string_(string),
        length_(static_cast<size_t>(CFStringGetLength(string))),
        lent_(reinterpret_cast<const UInt8*>(CFStringGetCStringPtr(string, kCFStringEncodingASCII))) {}
  AsciiBlocks(const AsciiBlocks&) = delete;
  AsciiBlocks& operator=(const AsciiBlocks&) = delete;

  // The number of characters of the string.
  size_t length() const { return length_; }

  // The `count` characters from `position` (within the string) as bytes: the string's own when it
  // lends them as an ASCII C string, else narrowed into the scratch block (count at most
  // kBlockSize). NULL when one of them is not ASCII.
  const UInt8* Block(size_t position, size_t count) {
    if (lent_) return lent_ + position;
    return Copy(position, count, scratch_) ? scratch_ : nullptr;
  }

  // Copies the `count` characters from `position` as bytes to `out`; false when one of them is
  // not ASCII (the bytes before it are written).
  bool Copy(size_t position, size_t count, UInt8* out) const {
    if (lent_) {
      std::memcpy(out, lent_ + position, count);
      return true;
    }
    CFIndex converted =
        CFStringGetBytes(string_, CFRangeMake(static_cast<CFIndex>(position), static_cast<CFIndex>(count)),
                         kCFStringEncodingASCII, 0, false, out, static_cast<CFIndex>(count), NULL);
    return static_cast<size_t>(converted) == count;
  }

 private:
  CFStringRef string_;
  size_t length_;
  const UInt8* lent_;
  alignas(16) UInt8 scratch_[kBlockSize];
};

}  // namespace zr::internal
