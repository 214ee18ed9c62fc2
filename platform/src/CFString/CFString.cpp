// CFString.cpp: the string object itself: constant strings, creation from UTF-16,
// copies, substrings, character access, and the editing operations of mutable strings.
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "CFString/StringImpl.h"
#include "runtime/Characters.h"
#include "runtime/Checks.h"
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
    ReportImmutable(function, "string", string);
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
    char32_t code;
    size_t sequence = DecodeUTF8Sequence(p, static_cast<size_t>(end - p), &code);
    if (sequence == 0) return false;
    AppendCodePoint(code, out);
    p += sequence;
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

std::u16string UTF16Of(std::string_view utf8) {
  std::u16string chars;
  DecodeUTF8(utf8.data(), utf8.size(), &chars);
  return chars;
}

std::string UTF8Of(std::u16string_view chars) {
  std::string utf8;
  EncodeUTF8(chars, &utf8);
  return utf8;
}

std::string ToUTF8(CFStringRef string) {
  std::string out;
  if (string) EncodeUTF8(string->chars, &out);
  return out;
}

}  // namespace zrp

namespace zrp {

CFStringRef InternedString(std::string_view text) {
  // Part of the program, like the literals it mostly stands for: no test seam fails it.
  ProgramAllocations programOwn;
  static std::mutex mutex;
  // Never freed: the strings live as long as the process.
  static auto* table = new std::unordered_map<std::string, CFStringRef>();
  std::string key(text);
  std::lock_guard<std::mutex> lock(mutex);
  auto found = table->find(key);
  if (found != table->end()) return found->second;
  std::u16string chars;
  if (!DecodeUTF8(text.data(), text.size(), &chars)) {
    // Text that is not UTF-8 is read as ISO Latin 1 rather than lost.
    chars.clear();
    for (char c : text) chars.push_back(static_cast<unsigned char>(c));
  }
  // Interned strings bypass the allocation seam: like literals, they are part of the program,
  // not of a test.
  auto* string = new __CFString(std::move(chars), false);
  string->makeImmortal();
  table->emplace(std::move(key), string);
  return string;
}

}  // namespace zrp

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
  // A literal has no way to fail on the platform, and its callers none to see a failure: the
  // process stops when there is no memory left to make one.
  CFStringRef string = nullptr;
  try {
    string = zrp::InternedString(cStr);
  } catch (const std::bad_alloc&) {
    zrp::HaltWith("CFSTR", "out of memory");
  }
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
    zrp::CheckRange("CFStringCreateWithSubstring", str, range);
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
    zrp::HaltOnRange("CFStringGetCharacterAtIndex", CFRangeMake(idx, 1), "string length", theString->chars.size());
  return theString->chars[static_cast<size_t>(idx)];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
  zrp::CheckRange("CFStringGetCharacters", theString, range);
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
    zrp::CheckRange("CFStringInsert", str, CFRangeMake(idx, 0));
    std::u16string inserted = insertedStr->chars;
    str->chars.insert(static_cast<size_t>(idx), inserted);
  });
}

void CFStringDelete(CFMutableStringRef theString, CFRange range) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringDelete")) return;
    zrp::CheckRange("CFStringDelete", theString, range);
    theString->chars.erase(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
  });
}

void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringReplace") || !replacement) return;
    zrp::CheckRange("CFStringReplace", theString, range);
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
