// StringImpl.h: the string object (its text one byte a character while every character fits in
// ISO Latin 1, else UTF-16) and the accessors the CFString source files share.
#pragma once

#include <CoreFoundation/CFString.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "runtime/Checks.h"
#include "runtime/Object.h"
#include "runtime/Seams.h"

namespace zrp {

// A collation sort key of an immutable string's whole text, made by one collator configuration
// (a locale and a set of options, numbered process-wide by the comparison code). The key's bytes
// follow the header in the same allocation, ending with ICU's terminating NUL. A string keeps
// the keys of the configurations it was compared under in a list, newest first; a key, once
// published, is neither changed nor freed while its string lives, so readers need no lock.
struct CollationKey {
  const CollationKey* next;
  uint32_t configuration;
  uint32_t length;  // bytes, the terminating NUL included

  const uint8_t* bytes() const { return reinterpret_cast<const uint8_t*>(this + 1); }
  uint8_t* bytes() { return reinterpret_cast<uint8_t*>(this + 1); }
};

// Frees a key made by the comparison code (one block, allocated with operator new).
inline void DestroyCollationKey(const CollationKey* key) { ::operator delete(const_cast<CollationKey*>(key)); }

}  // namespace zrp

namespace zrp {

// The text of a string in one of two forms: ISO Latin 1 bytes, one a character (held as char8_t
// for its unsignedness, not as UTF-8), or UTF-16 units. Text whose characters all fit in a byte
// is kept narrow; the first character that does not fit widens it, once. Short text lives in the
// object itself; longer text in a block of its own from malloc, grown with realloc (large blocks
// move by remapping their pages, not by copying them), or in a block a caller handed over with
// its deallocator. Either form is followed by a NUL unit, so the narrow bytes are a C string
// (cut short by any NUL inside) and the units a NUL-terminated UTF-16 text.
//
// Every change either completes or throws std::bad_alloc and leaves the text as it was.
// Whether every new string keeps its text as UTF-16, whatever the text (the test variant's
// switch that runs the tests on both forms of a string; false in the installed library). Read
// once.
inline bool WideStringsForced() {
  static const bool forced = WideStringsForcedBySeam();
  return forced;
}

class Text {
 public:
  Text() = default;
  ~Text() { release(); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;

  bool wide() const { return wide_; }
  // Narrow and every byte below 0x80, as far as is known (false may be said of ASCII text after
  // some edits; true is always so).
  bool ascii() const { return !wide_ && ascii_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  std::u8string_view narrow() const { return {static_cast<const char8_t*>(data_), size_}; }
  std::u16string_view units() const { return {static_cast<const char16_t*>(data_), size_}; }
  const void* data() const { return data_; }
  // Whether a NUL unit follows the text (not so for bytes taken over from a caller).
  bool terminated() const { return !adopted_; }

  char16_t at(size_t index) const {
    return wide_ ? static_cast<const char16_t*>(data_)[index] : static_cast<const char8_t*>(data_)[index];
  }

  // Calls work with the text as a std::basic_string_view of its unit type (char8_t or char16_t).
  template <class Work>
  decltype(auto) visit(Work&& work) const {
    return wide_ ? work(units()) : work(narrow());
  }

  // The units from `start`, `count` of them, widened to UTF-16.
  void copyUnits(size_t start, size_t count, char16_t* out) const;
  std::u16string toUTF16() const { return toUTF16(0, size_); }
  std::u16string toUTF16(size_t start, size_t count) const;

  // Replaces the whole text. Narrow when every unit fits and strings are not made wide for tests.
  void assign(std::u16string_view units);
  void assignLatin1(const uint8_t* bytes, size_t count, bool ascii);
  // The same for a text just made (empty, nothing allocated), without the checks an existing
  // text needs: the way new strings from bytes are filled.
  void initLatin1(const uint8_t* bytes, size_t count, bool ascii) {
    if (count < kInlineBytes && !WideStringsForced()) {
      std::memcpy(inline_, bytes, count);
      inline_[count] = 0;
      size_ = count;
      ascii_ = ascii;
    } else {
      assignLatin1(bytes, count, ascii);
    }
  }
  // Takes over `bytes` (ISO Latin 1, count of them, with room for nothing after them), freed
  // with free when the text lets them go if `owned`. (Strings made wide for tests copy them.)
  void adoptLatin1(uint8_t* bytes, size_t count, bool ascii, bool owned);
  void assign(const Text& other);

  void append(std::u16string_view units);
  void appendLatin1(const uint8_t* bytes, size_t count, bool ascii);
  void append(const Text& other);  // other may be this text

  // Replaces `count` units at `start` (within the text) with other's text (which may be this).
  void replace(size_t start, size_t count, const Text& other);
  void replace(size_t start, size_t count, std::u16string_view units);
  void erase(size_t start, size_t count);

  // Room for `more` narrow units at the end, to be written by the caller and then counted with
  // grew(); the text must be narrow. For appends that cannot fail half-way (digits, ASCII).
  char8_t* narrowRoom(size_t more) {
    if (capacity_ - size_ < more || adopted_) [[unlikely]]
      reserve(size_ + more, false);
    return static_cast<char8_t*>(data_) + size_;
  }
  void grewNarrow(size_t count, bool ascii) {
    size_ += count;
    static_cast<char8_t*>(data_)[size_] = 0;
    ascii_ = ascii_ && ascii;
  }
  void widen() { widenTo(size_); }

  // Makes room for `capacity` units in total, in the form the text has now or wide.
  void reserve(size_t capacity, bool wide);

 private:
  static constexpr size_t kInlineBytes = 24;

  bool inlineStorage() const { return data_ == inline_; }
  void release();
  // Empties the text into a block for `capacity` units of the given form; the old block is let
  // go only once the new one is had.
  void reset(size_t capacity, bool wide);
  // Whether `pointer` points into the text's block (a text handed to an edit of itself).
  bool overlaps(const void* pointer) const;
  void widenTo(size_t capacity);
  // Grows the block to hold `capacity` units of the current form (and the NUL after them).
  void grow(size_t capacity);

  void* data_ = inline_;
  size_t size_ = 0;
  size_t capacity_ = kInlineBytes - 1;  // units, the NUL not counted
  bool wide_ = false;
  bool ascii_ = true;
  bool adopted_ = false;  // a caller's block
  bool owned_ = false;    // ... to be freed with the text
  alignas(8) unsigned char inline_[kInlineBytes] = {};
};

// True when every unit of the text fits in a byte.
template <class Unit>
inline bool FitsLatin1(std::basic_string_view<Unit> text) {
  if constexpr (sizeof(Unit) == 1) {
    return true;
  } else {
    char16_t high = 0;
    for (char16_t c : text) high |= c;
    if (high < 0x100) return true;
    for (char16_t c : text)
      if (c >= 0x100) return false;
    return true;
  }
}

}  // namespace zrp

struct __CFString final : zrp::Object {
  explicit __CFString(bool isMutable) : Object(zrp::kTypeIDString), mutable_(isMutable) {}
  ~__CFString() override;

  bool equal(const Object& other) const override;
  CFHashCode hash() const override;
  CFStringRef copyDescription() const override;
  const char* className() const override { return mutable_ ? "__NSCFString" : "__NSCFConstantString"; }

  // The flag first: it fits in the base object's tail padding. Then the sort keys of the text
  // for localized comparison, made on demand. Only immutable strings get them: the text of a
  // mutable one may change under its key. The flag, the keys and the text's length lie
  // together, so that a comparison by keys reads little of a string that a sort meets in no
  // particular order.
  bool mutable_;
  mutable std::atomic<const zrp::CollationKey*> collationKeys{nullptr};
  // The hash of an immutable string's text, once asked for (0: not yet, or a hash that is 0).
  mutable std::atomic<CFHashCode> hashCode{0};
  zrp::Text text;
};

namespace zrp {

// New strings through the allocation seam; NULL when the allocation fails.
CFStringRef CreateString(std::u16string_view chars);
CFStringRef CreateStringLatin1(const uint8_t* bytes, size_t count, bool ascii);
CFStringRef CreateString(const Text& text);
// The one string of this text for the life of the process, as a literal is (CFSTR): never
// freed, retains and releases do nothing, made without the allocation seam. Text that is not
// UTF-8 is read as ISO Latin 1.
CFStringRef InternedString(std::string_view text);
CFMutableStringRef CreateMutableString(std::u16string_view chars);
CFMutableStringRef CreateMutableString(const Text& text);

inline size_t Length(CFStringRef string) { return string->text.size(); }

// The text as UTF-16, for the operations that work on UTF-16 only: a view of a wide string's
// own units, or of a widened copy of a narrow one, held as long as this lives.
class WideView {
 public:
  explicit WideView(CFStringRef string) {
    if (string->text.wide()) {
      view_ = string->text.units();
    } else {
      copy_ = string->text.toUTF16();
      view_ = copy_;
    }
  }
  WideView(const WideView&) = delete;
  WideView& operator=(const WideView&) = delete;
  std::u16string_view view() const { return view_; }
  operator std::u16string_view() const { return view_; }

 private:
  std::u16string copy_;
  std::u16string_view view_;
};

// A copy of the text as UTF-16.
inline std::u16string Chars(CFStringRef string) { return string->text.toUTF16(); }

// Compares two texts unit by unit, whichever their forms: <0, 0 or >0.
int CompareUnits(const Text& a, const Text& b);
bool EqualUnits(const Text& a, const Text& b);
// A hash of the units, the same for equal texts in either form.
CFHashCode HashText(const Text& text);

// Halts, as the platform does, unless the range lies within the string.
inline void CheckRange(const char* function, CFStringRef string, CFRange range) {
  RequireRange(function, range, "string length", string->text.size());
}

// Returns the mutable string, or NULL (with a message on standard error, as the platform
// does) when the string is not mutable.
CFMutableStringRef CheckMutable(CFMutableStringRef string, const char* function);

// Appends one code point as UTF-16: a surrogate pair above U+FFFF, else one unit.
inline void AppendCodePoint(char32_t code, std::u16string* out) {
  if (code >= 0x10000) {
    code -= 0x10000;
    out->push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
  } else {
    out->push_back(static_cast<char16_t>(code));
  }
}

// Strict UTF-8 to UTF-16: false on any malformed sequence, overlong form or surrogate.
bool DecodeUTF8(const char* bytes, size_t length, std::u16string* out);
// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
void EncodeUTF8(std::u16string_view chars, std::string* out);
// The same two as values: DecodeUTF8 keeps what came before a malformed sequence.
std::u16string UTF16Of(std::string_view utf8);
std::string UTF8Of(std::u16string_view chars);
std::string ToUTF8(CFStringRef string);

}  // namespace zrp
