// Collection.cpp: the descriptions of collection elements: nested arrays and dictionaries
// indented, strings quoted and escaped as NSArray and NSDictionary print them.
#include "CFCollections/Collection.h"

#include <CoreFoundation/CFString.h>

#include <cstdio>
#include <string_view>

#include "CFString/StringImpl.h"
#include "runtime/Characters.h"
#include "runtime/NoThrow.h"

namespace zrp {
namespace {

// A string prints bare when it is a plain word, else in double quotes with the quote, the
// backslash and control characters escaped and every character beyond ASCII as \Uxxxx.
void AppendStringElement(const std::u16string& chars, std::u16string* out) {
  bool bare = !chars.empty();
  for (char16_t c : chars) {
    if (!IsUnquotedStringCharacter(c)) {
      bare = false;
      break;
    }
  }
  if (bare) {
    out->append(chars);
    return;
  }
  // The characters written as a backslash and a letter, and those letters.
  constexpr std::u16string_view kEscaped = u"\"\\\n\t\r";
  constexpr std::u16string_view kEscapeLetters = u"\"\\ntr";
  out->push_back(u'"');
  for (char16_t c : chars) {
    if (size_t escaped = kEscaped.find(c); escaped != std::u16string_view::npos) {
      out->push_back(u'\\');
      out->push_back(kEscapeLetters[escaped]);
    } else if (c >= 0x20 && c < 0x7F) {
      out->push_back(c);
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\U%04x", static_cast<unsigned>(c));
      for (const char* p = escape; *p; ++p) out->push_back(static_cast<char16_t>(*p));
    }
  }
  out->push_back(u'"');
}

void AppendASCII(const char* text, std::u16string* out) {
  for (const char* p = text; *p; ++p) out->push_back(static_cast<char16_t>(static_cast<unsigned char>(*p)));
}

}  // namespace

CFStringRef Collection::copyDescription() const {
  std::u16string text;
  appendDescription(0, &text);
  return CreateString(std::move(text));
}

void AppendIndent(int level, std::u16string* out) { out->append(static_cast<size_t>(level) * 4, u' '); }

void AppendElementDescription(const void* value, CFStringRef (*copyDescription)(const void*), int level,
                              std::u16string* out) {
  if (copyDescription == &CFCopyDescription && value) {
    CFTypeID type = CFGetTypeID(value);
    if (type == kTypeIDArray || type == kTypeIDDictionary) {
      static_cast<const Collection*>(AsObject(value))->appendDescription(level, out);
      return;
    }
    if (type == kTypeIDString) {
      AppendStringElement(Chars(static_cast<CFStringRef>(value)), out);
      return;
    }
  }
  CFStringRef text = copyDescription ? copyDescription(value) : nullptr;
  if (text) {
    ReleaseAtEnd release(text);
    out->append(WideView(text).view());
    return;
  }
  // Values without a description callback, or whose description could not be made, print
  // as their address.
  char address[32];
  std::snprintf(address, sizeof address, "<%p>", value);
  AppendASCII(address, out);
}

}  // namespace zrp
