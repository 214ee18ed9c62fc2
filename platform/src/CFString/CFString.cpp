// CFString.cpp: the string object itself: constant strings, creation from UTF-16,
// copies, substrings, character access, and the editing operations of mutable strings.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>

#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"

using zrp::CreateMutableString;
using zrp::CreateString;

__CFString::~__CFString() {
  const zrp::CollationKey* key = collationKeys.load(std::memory_order_acquire);
  while (key) {
    const zrp::CollationKey* next = key->next;
    zrp::DestroyCollationKey(key);
    key = next;
  }
}

bool __CFString::equal(const Object& other) const { return chars == static_cast<const __CFString&>(other).chars; }

CFHashCode __CFString::hash() const { return std::hash<std::u16string_view>()(chars); }

CFStringRef __CFString::copyDescription() const { return CFStringCreateCopy(nullptr, this); }

namespace zrp {

CFStringRef CreateString(std::u16string chars) { return New<__CFString>(std::move(chars), false); }

CFMutableStringRef CreateMutableString(std::u16string chars) { return New<__CFString>(std::move(chars), true); }

CFMutableStringRef CheckMutable(CFMutableStringRef string, const char* function) {
  if (string && !string->mutable_) {
    std::fprintf(stderr, "%s: attempt to mutate immutable string %p\n", function, static_cast<const void*>(string));
    return nullptr;
  }
  return string;
}

bool DecodeUTF8(const char* bytes, size_t length, std::u16string* out) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  const unsigned char* end = p + length;
  out->reserve(out->size() + length);
  while (p < end) {
    unsigned char c = *p;
    if (c < 0x80) {
      out->push_back(c);
      ++p;
      continue;
    }
    int extra;
    char32_t code;
    char32_t minimum;
    if ((c & 0xE0) == 0xC0) {
      extra = 1, code = c & 0x1F, minimum = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
      extra = 2, code = c & 0x0F, minimum = 0x800;
    } else if ((c & 0xF8) == 0xF0) {
      extra = 3, code = c & 0x07, minimum = 0x10000;
    } else {
      return false;
    }
    if (end - p <= extra) return false;
    for (int i = 1; i <= extra; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
      code = (code << 6) | (p[i] & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    AppendCodePoint(code, out);
    p += extra + 1;
  }
  return true;
}

void EncodeUTF8(std::u16string_view chars, std::string* out) {
  out->reserve(out->size() + chars.size());
  for (size_t i = 0; i < chars.size(); ++i) {
    char32_t code = chars[i];
    if (code >= 0xD800 && code <= 0xDBFF && i + 1 < chars.size() && chars[i + 1] >= 0xDC00 && chars[i + 1] <= 0xDFFF) {
      code = 0x10000 + ((code - 0xD800) << 10) + (chars[i + 1] - 0xDC00);
      ++i;
    } else if (code >= 0xD800 && code <= 0xDFFF) {
      code = 0xFFFD;
    }
    if (code < 0x80) {
      out->push_back(static_cast<char>(code));
    } else if (code < 0x800) {
      out->push_back(static_cast<char>(0xC0 | (code >> 6)));
      out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
      out->push_back(static_cast<char>(0xE0 | (code >> 12)));
      out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
      out->push_back(static_cast<char>(0xF0 | (code >> 18)));
      out->push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
  }
}

std::string ToUTF8(CFStringRef string) {
  std::string out;
  if (string) EncodeUTF8(string->chars, &out);
  return out;
}

}  // namespace zrp

namespace {

std::mutex gConstantMutex;

std::unordered_map<std::string, CFStringRef>& ConstantTable() {
  static auto* table = new std::unordered_map<std::string, CFStringRef>();
  return *table;
}

CFStringRef InternConstant(const char* cStr) {
  std::lock_guard<std::mutex> lock(gConstantMutex);
  auto& table = ConstantTable();
  auto found = table.find(cStr);
  if (found != table.end()) return found->second;
  std::u16string chars;
  size_t length = std::strlen(cStr);
  if (!zrp::DecodeUTF8(cStr, length, &chars)) {
    // Literals that are not UTF-8 are read as ISO Latin 1 rather than lost.
    chars.clear();
    for (size_t i = 0; i < length; ++i) chars.push_back(static_cast<unsigned char>(cStr[i]));
  }
  // Constant strings bypass the allocation seam: they are part of the program, not of a test.
  auto* string = new __CFString(std::move(chars), false);
  string->makeImmortal();
  table.emplace(cStr, string);
  return string;
}

bool IsRangeValid(CFStringRef string, CFRange range) {
  return range.location >= 0 && range.length >= 0 &&
         static_cast<size_t>(range.location + range.length) <= string->chars.size();
}

void HaltOnRange(const char* function, CFRange range, CFStringRef string) {
  std::fprintf(stderr, "%s: range {%ld, %ld} out of bounds; string length %zu\n", function, range.location,
               range.length, string ? string->chars.size() : 0);
  std::abort();
}

}  // namespace

extern "C" {

CFTypeID CFStringGetTypeID(void) { return zrp::kTypeIDString; }

CFStringRef __CFStringMakeConstantString(const char* cStr) {
  // Literals keep their address: a small per-thread cache by address avoids the lock on
  // the hot paths that pass the same literal over and over.
  struct CacheEntry {
    const char* literal;
    CFStringRef string;
  };
  thread_local CacheEntry cache[64] = {};
  CacheEntry& entry = cache[(reinterpret_cast<uintptr_t>(cStr) >> 3) & 63];
  if (entry.literal == cStr) return entry.string;
  CFStringRef string = InternConstant(cStr);
  entry = {cStr, string};
  return string;
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* chars, CFIndex numChars) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (numChars < 0 || (numChars > 0 && !chars)) return nullptr;
    return CreateString(std::u16string(reinterpret_cast<const char16_t*>(chars), static_cast<size_t>(numChars)));
  });
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef str, CFRange range) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (!str) return nullptr;
    if (!IsRangeValid(str, range)) HaltOnRange("CFStringCreateWithSubstring", range, str);
    return CreateString(str->chars.substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length)));
  });
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (!theString) return nullptr;
    // An immutable string is its own copy, as on the platform.
    if (!theString->mutable_) {
      if (!zrp::AllocationAllowed()) return nullptr;
      return static_cast<CFStringRef>(CFRetain(theString));
    }
    return CreateString(theString->chars);
  });
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
  return zrp::CatchOutOfMemory<CFMutableStringRef>(
      nullptr, [&]() -> CFMutableStringRef { return CreateMutableString(std::u16string()); });
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef theString) {
  return zrp::CatchOutOfMemory<CFMutableStringRef>(nullptr, [&]() -> CFMutableStringRef {
    if (!theString) return nullptr;
    return CreateMutableString(theString->chars);
  });
}

CFIndex CFStringGetLength(CFStringRef theString) { return static_cast<CFIndex>(theString->chars.size()); }

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
  if (idx < 0 || static_cast<size_t>(idx) >= theString->chars.size())
    HaltOnRange("CFStringGetCharacterAtIndex", CFRangeMake(idx, 1), theString);
  return theString->chars[static_cast<size_t>(idx)];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
  if (!IsRangeValid(theString, range)) HaltOnRange("CFStringGetCharacters", range, theString);
  if (range.length > 0)
    std::memcpy(buffer, theString->chars.data() + range.location, static_cast<size_t>(range.length) * sizeof(UniChar));
}

const UniChar* CFStringGetCharactersPtr(CFStringRef theString) {
  return reinterpret_cast<const UniChar*>(theString->chars.c_str());
}

// An empty prefix or suffix is not found, as on the platform (which searches for it, anchored).
Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
  return !prefix->chars.empty() && zrp::View(theString).starts_with(zrp::View(prefix));
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
  return !suffix->chars.empty() && zrp::View(theString).ends_with(zrp::View(suffix));
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringAppend") || !appendedString) return;
    if (appendedString == theString) {
      std::u16string copy = appendedString->chars;
      theString->chars += copy;
    } else {
      theString->chars += appendedString->chars;
    }
  });
}

void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringAppendCharacters") || numChars <= 0) return;
    theString->chars.append(reinterpret_cast<const char16_t*>(chars), static_cast<size_t>(numChars));
  });
}

void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(str, "CFStringInsert") || !insertedStr) return;
    if (idx < 0 || static_cast<size_t>(idx) > str->chars.size())
      HaltOnRange("CFStringInsert", CFRangeMake(idx, 0), str);
    std::u16string inserted = insertedStr->chars;
    str->chars.insert(static_cast<size_t>(idx), inserted);
  });
}

void CFStringDelete(CFMutableStringRef theString, CFRange range) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringDelete")) return;
    if (!IsRangeValid(theString, range)) HaltOnRange("CFStringDelete", range, theString);
    theString->chars.erase(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
  });
}

void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringReplace") || !replacement) return;
    if (!IsRangeValid(theString, range)) HaltOnRange("CFStringReplace", range, theString);
    std::u16string text = replacement->chars;
    theString->chars.replace(static_cast<size_t>(range.location), static_cast<size_t>(range.length), text);
  });
}

void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement) {
  if (!zrp::CheckMutable(theString, "CFStringReplaceAll") || !replacement) return;
  std::u16string text = replacement->chars;
  theString->chars = std::move(text);
}

}  // extern "C"
