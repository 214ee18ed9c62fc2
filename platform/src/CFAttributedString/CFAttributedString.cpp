// CFAttributedString.cpp: immutable attributed strings whose whole text is one run of
// attributes, which is all that strings made with CFAttributedStringCreate ever hold.
#include <CoreFoundation/CFAttributedString.h>

#include <cstdio>

#include "runtime/NoThrow.h"
#include "runtime/Object.h"

struct __CFAttributedString final : zrp::Object {
  // Takes ownership of both references.
  __CFAttributedString(CFStringRef theString, CFDictionaryRef theAttributes)
      : Object(zrp::kTypeIDAttributedString), string(theString), attributes(theAttributes) {}
  ~__CFAttributedString() override {
    CFRelease(string);
    CFRelease(attributes);
  }

  bool equal(const Object& other) const override {
    const auto& that = static_cast<const __CFAttributedString&>(other);
    return CFEqual(string, that.string) && CFEqual(attributes, that.attributes);
  }
  CFHashCode hash() const override { return CFHash(string); }
  // As the platform prints one: the text, then the attributes of its run.
  CFStringRef copyDescription() const override {
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@%@"), string, attributes);
  }

  CFStringRef string;
  CFDictionaryRef attributes;
};

namespace {

bool CheckIndex(CFAttributedStringRef aStr, CFIndex loc, const char* function) {
  if (loc >= 0 && loc < CFStringGetLength(aStr->string)) return true;
  std::fprintf(stderr, "%s: index %ld out of bounds; string length %ld\n", function, loc,
               CFStringGetLength(aStr->string));
  return false;
}

}  // namespace

extern "C" {

CFTypeID CFAttributedStringGetTypeID(void) { return zrp::kTypeIDAttributedString; }

CFAttributedStringRef CFAttributedStringCreate(CFAllocatorRef, CFStringRef str, CFDictionaryRef attributes) {
  return zrp::CatchOutOfMemory<CFAttributedStringRef>(nullptr, [&]() -> CFAttributedStringRef {
    if (!str) return nullptr;
    CFStringRef string = CFStringCreateCopy(nullptr, str);
    if (!string) return nullptr;
    CFDictionaryRef copy = attributes ? CFDictionaryCreateCopy(nullptr, attributes)
                                      : CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                           &kCFTypeDictionaryValueCallBacks);
    if (!copy) {
      CFRelease(string);
      return nullptr;
    }
    CFAttributedStringRef attributed = zrp::New<__CFAttributedString>(string, copy);
    if (!attributed) {
      CFRelease(string);
      CFRelease(copy);
    }
    return attributed;
  });
}

CFAttributedStringRef CFAttributedStringCreateCopy(CFAllocatorRef, CFAttributedStringRef aStr) {
  if (!aStr) return nullptr;
  // Attributed strings made here never change, so a copy is the same object.
  return static_cast<CFAttributedStringRef>(CFRetain(aStr));
}

CFStringRef CFAttributedStringGetString(CFAttributedStringRef aStr) { return aStr ? aStr->string : nullptr; }

CFIndex CFAttributedStringGetLength(CFAttributedStringRef aStr) { return aStr ? CFStringGetLength(aStr->string) : 0; }

CFDictionaryRef CFAttributedStringGetAttributes(CFAttributedStringRef aStr, CFIndex loc, CFRange* effectiveRange) {
  if (!aStr || !CheckIndex(aStr, loc, "CFAttributedStringGetAttributes")) return nullptr;
  if (effectiveRange) *effectiveRange = CFRangeMake(0, CFStringGetLength(aStr->string));
  return aStr->attributes;
}

CFTypeRef CFAttributedStringGetAttribute(CFAttributedStringRef aStr, CFIndex loc, CFStringRef attrName,
                                         CFRange* effectiveRange) {
  if (!aStr || !attrName || !CheckIndex(aStr, loc, "CFAttributedStringGetAttribute")) return nullptr;
  if (effectiveRange) *effectiveRange = CFRangeMake(0, CFStringGetLength(aStr->string));
  return CFDictionaryGetValue(aStr->attributes, attrName);
}

}  // extern "C"
