// CFString.cpp: the string object itself: constant strings, creation from UTF-16,
// copies, substrings, character access, and the editing operations of mutable strings.
// The text's two forms are in StringText.cpp.
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "CFString/AsciiText.h"
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

bool __CFString::equal(const Object& other) const {
  return zrp::EqualUnits(text, static_cast<const __CFString&>(other).text);
}

// An immutable string's hash is kept: strings are hashed over and over as keys of dictionaries
// and members of sets.
CFHashCode __CFString::hash() const {
  if (mutable_) return zrp::HashText(text);
  CFHashCode code = hashCode.load(std::memory_order_relaxed);
  if (code == 0) {
    code = zrp::HashText(text);
    hashCode.store(code, std::memory_order_relaxed);
  }
  return code;
}

CFStringRef __CFString::copyDescription() const { return CFStringCreateCopy(nullptr, this); }

namespace zrp {

CFStringRef CreateString(std::u16string_view chars) {
  return Finished(New<__CFString>(false), [&](__CFString* string) { string->text.assign(chars); });
}

CFStringRef CreateStringLatin1(const uint8_t* bytes, size_t count, bool ascii) {
  return Finished(New<__CFString>(false), [&](__CFString* string) { string->text.initLatin1(bytes, count, ascii); });
}

CFStringRef CreateString(const Text& text) {
  return Finished(New<__CFString>(false), [&](__CFString* string) { string->text.assign(text); });
}

CFMutableStringRef CreateMutableString(std::u16string_view chars) {
  return Finished(New<__CFString>(true), [&](__CFString* string) { string->text.assign(chars); });
}

CFMutableStringRef CreateMutableString(const Text& text) {
  return Finished(New<__CFString>(true), [&](__CFString* string) { string->text.assign(text); });
}

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
  if (string) EncodeUTF8(WideView(string), &out);
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
  // Interned strings bypass the allocation seam: like literals, they are part of the program,
  // not of a test.
  auto* string = new __CFString(false);
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  std::u16string chars;
  if (IsAscii(bytes, text.size())) {
    string->text.assignLatin1(bytes, text.size(), true);
  } else if (DecodeUTF8(text.data(), text.size(), &chars)) {
    string->text.assign(chars);
  } else {
    // Text that is not UTF-8 is read as ISO Latin 1 rather than lost.
    string->text.assignLatin1(bytes, text.size(), false);
  }
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
    return CreateString(std::u16string_view(reinterpret_cast<const char16_t*>(chars), static_cast<size_t>(numChars)));
  });
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef str, CFRange range) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (!str) return nullptr;
    zrp::CheckRange("CFStringCreateWithSubstring", str, range);
    auto start = static_cast<size_t>(range.location);
    auto count = static_cast<size_t>(range.length);
    if (!str->text.wide())
      return zrp::CreateStringLatin1(reinterpret_cast<const uint8_t*>(str->text.narrow().data()) + start, count,
                                     str->text.ascii());
    return CreateString(str->text.units().substr(start, count));
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
    return CreateString(theString->text);
  });
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
  return zrp::CatchOutOfMemory<CFMutableStringRef>(
      nullptr, [&]() -> CFMutableStringRef { return CreateMutableString(std::u16string_view()); });
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef theString) {
  return zrp::CatchOutOfMemory<CFMutableStringRef>(nullptr, [&]() -> CFMutableStringRef {
    if (!theString) return nullptr;
    return CreateMutableString(theString->text);
  });
}

CFIndex CFStringGetLength(CFStringRef theString) { return static_cast<CFIndex>(theString->text.size()); }

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
  if (idx < 0 || static_cast<size_t>(idx) >= theString->text.size())
    zrp::HaltOnRange("CFStringGetCharacterAtIndex", CFRangeMake(idx, 1), "string length", theString->text.size());
  return theString->text.at(static_cast<size_t>(idx));
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
  zrp::CheckRange("CFStringGetCharacters", theString, range);
  if (range.length > 0)
    theString->text.copyUnits(static_cast<size_t>(range.location), static_cast<size_t>(range.length),
                              reinterpret_cast<char16_t*>(buffer));
}

// Only a string that holds UTF-16 has its characters at hand; for the others NULL, which the
// platform allows whenever no pointer is at hand.
const UniChar* CFStringGetCharactersPtr(CFStringRef theString) {
  if (!theString->text.wide()) return nullptr;
  return reinterpret_cast<const UniChar*>(theString->text.units().data());
}

namespace {

// Whether `part` stands at the start (or the end) of `whole`, unit by unit, whichever their forms.
bool StandsAt(const zrp::Text& whole, const zrp::Text& part, bool atEnd) {
  if (part.size() > whole.size()) return false;
  size_t offset = atEnd ? whole.size() - part.size() : 0;
  return whole.visit([&](auto a) {
    return part.visit([&](auto b) {
      for (size_t i = 0; i < b.size(); ++i) {
        if (a[offset + i] != b[i]) return false;
      }
      return true;
    });
  });
}

}  // namespace

// An empty prefix or suffix is not found, as on the platform (which searches for it, anchored).
Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
  return !prefix->text.empty() && StandsAt(theString->text, prefix->text, false);
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
  return !suffix->text.empty() && StandsAt(theString->text, suffix->text, true);
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringAppend") || !appendedString) return;
    // (The text copes with an append of itself.)
    theString->text.append(appendedString->text);
  });
}

void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringAppendCharacters") || numChars <= 0) return;
    theString->text.append(
        std::u16string_view(reinterpret_cast<const char16_t*>(chars), static_cast<size_t>(numChars)));
  });
}

void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(str, "CFStringInsert") || !insertedStr) return;
    zrp::CheckRange("CFStringInsert", str, CFRangeMake(idx, 0));
    str->text.replace(static_cast<size_t>(idx), 0, insertedStr->text);
  });
}

void CFStringDelete(CFMutableStringRef theString, CFRange range) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringDelete")) return;
    zrp::CheckRange("CFStringDelete", theString, range);
    theString->text.erase(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
  });
}

void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringReplace") || !replacement) return;
    zrp::CheckRange("CFStringReplace", theString, range);
    theString->text.replace(static_cast<size_t>(range.location), static_cast<size_t>(range.length), replacement->text);
  });
}

void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringReplaceAll") || !replacement) return;
    theString->text.assign(replacement->text);
  });
}

}  // extern "C"
