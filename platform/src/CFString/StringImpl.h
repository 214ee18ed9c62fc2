// StringImpl.h: the string object (UTF-16 inside) shared by the CFString source files.
#pragma once

#include <CoreFoundation/CFString.h>

#include <string>
#include <string_view>

#include "runtime/Object.h"

struct __CFString final : zrp::Object {
  __CFString(std::u16string text, bool isMutable) : Object(zrp::kTypeIDString), chars(std::move(text)), mutable_(isMutable) {}

  bool equal(const Object& other) const override;
  CFHashCode hash() const override;
  CFStringRef copyDescription() const override;
  const char* className() const override { return mutable_ ? "__NSCFString" : "__NSCFConstantString"; }

  std::u16string chars;
  bool mutable_;
};

namespace zrp {

// New strings through the allocation seam; NULL when the allocation fails.
CFStringRef CreateString(std::u16string chars);
CFMutableStringRef CreateMutableString(std::u16string chars);

inline const std::u16string& Chars(CFStringRef string) { return string->chars; }
inline std::u16string_view View(CFStringRef string) { return string->chars; }

// Returns the mutable string, or NULL (with a message on standard error, as the platform
// does) when the string is not mutable.
CFMutableStringRef CheckMutable(CFMutableStringRef string, const char* function);

// Strict UTF-8 to UTF-16: false on any malformed sequence, overlong form or surrogate.
bool DecodeUTF8(const char* bytes, size_t length, std::u16string* out);
// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
void EncodeUTF8(std::u16string_view chars, std::string* out);
std::string ToUTF8(CFStringRef string);

}  // namespace zrp
