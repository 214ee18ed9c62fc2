// StringImpl.h: the string object (UTF-16 inside) shared by the CFString source files.
#pragma once

#include <CoreFoundation/CFString.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>

#include "runtime/Checks.h"
#include "runtime/Object.h"

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

struct __CFString final : zrp::Object {
  __CFString(std::u16string text, bool isMutable)
      : Object(zrp::kTypeIDString), mutable_(isMutable), chars(std::move(text)) {}
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
  std::u16string chars;
};

namespace zrp {

// New strings through the allocation seam; NULL when the allocation fails.
CFStringRef CreateString(std::u16string chars);
// The one string of this text for the life of the process, as a literal is (CFSTR): never
// freed, retains and releases do nothing, made without the allocation seam. Text that is not
// UTF-8 is read as ISO Latin 1.
CFStringRef InternedString(std::string_view text);
CFMutableStringRef CreateMutableString(std::u16string chars);

inline const std::u16string& Chars(CFStringRef string) { return string->chars; }
inline std::u16string_view View(CFStringRef string) { return string->chars; }

// Halts, as the platform does, unless the range lies within the string.
inline void CheckRange(const char* function, CFStringRef string, CFRange range) {
  RequireRange(function, range, "string length", string->chars.size());
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
