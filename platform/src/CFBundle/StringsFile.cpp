// StringsFile.cpp: the reader of localized strings tables, in the platform's text form (in
// UTF-8 or UTF-16) or as an XML or binary property list.
#include "CFBundle/StringsFile.h"

#include <CoreFoundation/CFDictionary.h>

#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Characters.h"
#include "runtime/NoThrow.h"

namespace zrp {
namespace {

// Turns the file's bytes into UTF-16. A byte-order mark decides; without one the text is UTF-8,
// unless its first two bytes have the shape of an ASCII character in UTF-16.
bool DecodeText(std::string_view bytes, std::u16string* text) {
  auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  bool littleEndian;
  size_t start = 0;
  if (bytes.size() >= 2 && byte(0) == 0xFF && byte(1) == 0xFE) {
    littleEndian = true, start = 2;
  } else if (bytes.size() >= 2 && byte(0) == 0xFE && byte(1) == 0xFF) {
    littleEndian = false, start = 2;
  } else if (bytes.size() >= 2 && bytes.size() % 2 == 0 && byte(0) != 0 && byte(0) < 0x80 && byte(1) == 0) {
    littleEndian = true;
  } else if (bytes.size() >= 2 && bytes.size() % 2 == 0 && byte(0) == 0 && byte(1) != 0 && byte(1) < 0x80) {
    littleEndian = false;
  } else {
    if (bytes.size() >= 3 && byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF) bytes.remove_prefix(3);
    return DecodeUTF8(bytes.data(), bytes.size(), text);
  }
  if ((bytes.size() - start) % 2 != 0) return false;
  text->reserve((bytes.size() - start) / 2);
  for (size_t i = start; i < bytes.size(); i += 2) {
    text->push_back(littleEndian ? static_cast<char16_t>(byte(i) | (byte(i + 1) << 8))
                                 : static_cast<char16_t>((byte(i) << 8) | byte(i + 1)));
  }
  return true;
}

bool IsSpace(char16_t c) {
  return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\f' || c == u'\v' || c == 0x2028 || c == 0x2029;
}

// The characters an unquoted string may hold: those of a property list's, and "+".
bool IsWordCharacter(char16_t c) { return zrp::IsUnquotedStringCharacter(c) || c == u'+'; }

class Parser {
 public:
  explicit Parser(std::u16string_view text) : text_(text) {}

  bool Parse(StringsTable* table) {
    if (!SkipSpaceAndComments()) return false;
    bool braced = Peek() == u'{';
    if (braced) ++position_;
    for (;;) {
      if (!SkipSpaceAndComments()) return false;
      if (AtEnd()) return !braced;
      if (braced && Peek() == u'}') {
        ++position_;
        return SkipSpaceAndComments() && AtEnd();
      }
      std::u16string key;
      std::u16string value;
      if (!ReadString(&key) || !SkipSpaceAndComments() || AtEnd()) return false;
      if (Peek() == u'=') {
        ++position_;
        if (!SkipSpaceAndComments() || !ReadString(&value) || !SkipSpaceAndComments() || AtEnd()) return false;
      } else {
        // A key alone stands for itself.
        value = key;
      }
      if (Peek() != u';') return false;
      ++position_;
      (*table)[std::move(key)] = std::move(value);
    }
  }

 private:
  bool AtEnd() const { return position_ >= text_.size(); }
  char16_t Peek() const { return text_[position_]; }

  // False for a comment that is never closed.
  bool SkipSpaceAndComments() {
    while (!AtEnd()) {
      char16_t c = Peek();
      if (IsSpace(c) || c == 0xFEFF) {
        ++position_;
      } else if (c == u'/' && position_ + 1 < text_.size() && text_[position_ + 1] == u'/') {
        while (!AtEnd() && Peek() != u'\n' && Peek() != u'\r') ++position_;
      } else if (c == u'/' && position_ + 1 < text_.size() && text_[position_ + 1] == u'*') {
        size_t close = text_.find(u"*/", position_ + 2);
        if (close == std::u16string_view::npos) return false;
        position_ = close + 2;
      } else {
        break;
      }
    }
    return true;
  }

  bool ReadString(std::u16string* out) {
    if (AtEnd()) return false;
    char16_t quote = Peek();
    if (quote != u'"' && quote != u'\'') {
      size_t start = position_;
      while (!AtEnd() && IsWordCharacter(Peek())) ++position_;
      if (position_ == start) return false;
      out->assign(text_.substr(start, position_ - start));
      return true;
    }
    ++position_;
    while (!AtEnd()) {
      char16_t c = text_[position_++];
      if (c == quote) return true;
      if (c != u'\\') {
        out->push_back(c);
        continue;
      }
      if (AtEnd()) return false;
      c = text_[position_++];
      // The letters of C's control escapes, and the characters they stand for.
      constexpr std::u16string_view kControlLetters = u"abfnrtv";
      constexpr std::u16string_view kControls = u"\a\b\f\n\r\t\v";
      if (size_t control = kControlLetters.find(c); control != std::u16string_view::npos) {
        out->push_back(kControls[control]);
        continue;
      }
      switch (c) {
        case u'U':
        case u'u': {
          // One to four hex digits name one UTF-16 unit; a character beyond the first plane is
          // written as its two surrogates, each escaped.
          int digits = 0;
          char16_t unit = 0;
          while (digits < 4 && !AtEnd() && zrp::HexDigitValue(Peek()) >= 0) {
            unit = static_cast<char16_t>((unit << 4) | zrp::HexDigitValue(text_[position_++]));
            ++digits;
          }
          if (digits == 0) return false;
          out->push_back(unit);
          break;
        }
        default:
          if (c >= u'0' && c <= u'7') {
            // Up to three octal digits give the character of that code.
            char16_t code = c - u'0';
            for (int digits = 1; digits < 3 && !AtEnd() && Peek() >= u'0' && Peek() <= u'7'; ++digits) {
              code = static_cast<char16_t>(code * 8 + (text_[position_++] - u'0'));
            }
            out->push_back(code);
          } else {
            // \" \' \\ and any other escaped character stand for themselves.
            out->push_back(c);
          }
      }
    }
    return false;
  }

  std::u16string_view text_;
  size_t position_ = 0;
};

bool LooksLikeXML(std::u16string_view text) {
  size_t start = 0;
  while (start < text.size() && (IsSpace(text[start]) || text[start] == 0xFEFF)) ++start;
  text.remove_prefix(start);
  return text.starts_with(u"<?xml") || text.starts_with(u"<!DOCTYPE") || text.starts_with(u"<plist");
}

// A strings table written as a property list: a dictionary whose string values are the texts.
bool ParsePropertyList(std::string_view bytes, StringsTable* table) {
  CFDictionaryRef dictionary = CreateDictionaryFromPropertyListBytes(bytes);
  if (!dictionary) return false;
  zrp::ReleaseAtEnd release(dictionary);
  CFDictionaryApplyFunction(
      dictionary,
      [](const void* key, const void* value, void* context) {
        if (CFGetTypeID(key) != CFStringGetTypeID() || CFGetTypeID(value) != CFStringGetTypeID()) return;
        (*static_cast<StringsTable*>(context))[Chars(static_cast<CFStringRef>(key))] =
            Chars(static_cast<CFStringRef>(value));
      },
      table);
  return true;
}

}  // namespace

bool ParseStringsFile(std::string_view bytes, StringsTable* table) {
  table->clear();
  bool ok;
  if (bytes.starts_with("bplist")) {
    ok = ParsePropertyList(bytes, table);
  } else {
    std::u16string text;
    ok = DecodeText(bytes, &text);
    if (ok) ok = LooksLikeXML(text) ? ParsePropertyList(bytes, table) : Parser(text).Parse(table);
  }
  if (!ok) table->clear();
  return ok;
}

}  // namespace zrp
