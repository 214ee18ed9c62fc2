// OpenStepPropertyListReader.cpp: reads the old-style (OpenStep) form of property lists.
//
//   { key = value; "quoted key" = ( item, "item two", <0fbd 77> ); }
//
// Strings are quoted ("..." or '...', with C escapes, \U and four hex digits, and octal
// escapes) or unquoted (letters, digits and "_$/:.-"); data is hex digits between "<" and ">";
// arrays are "( , )" with an optional trailing comma; dictionaries "{ key = value; }". Comments
// ("//" to the end of the line, "/* */") count as white space. Every leaf is a string or data:
// the form has no numbers, Booleans or dates. A text of "key = value;" pairs without the braces
// (as strings tables are written) reads as a dictionary. The reader makes one pass over the
// text and nests no deeper than the shared limit.
#include <string>

#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Characters.h"

namespace zrp {
namespace {

class OpenStepReader {
 public:
  OpenStepReader(std::u16string_view text, const PropertyListBuilder& builder, std::string* why)
      : text_(text), builder_(builder), why_(why) {}

  CFTypeRef read() {
    if (!skip()) return nullptr;
    if (position_ == text_.size()) return fail("Encountered unexpected EOF");
    size_t start = position_;
    CFHolder top(value(0));
    if (!top) return nullptr;
    if (!skip()) return nullptr;
    if (position_ == text_.size()) return top.release();
    // A string followed by "=" opens a dictionary written without its braces.
    if (text_[position_] == '=' && CFGetTypeID(top.get()) == CFStringGetTypeID()) {
      position_ = start;
      return entries(0, 0);
    }
    return fail("Junk after plist at line " + std::to_string(line()));
  }

 private:
  CFTypeRef fail(const std::string& why) {
    if (why_->empty()) *why_ = why;
    return nullptr;
  }

  CFTypeRef unexpected() {
    if (position_ >= text_.size()) return fail("Encountered unexpected EOF");
    char16_t c = text_[position_];
    std::string shown;
    if (c >= 0x20 && c < 0x7F) {
      shown = std::string("'") + static_cast<char>(c) + "'";
    } else {
      char buffer[16];
      std::snprintf(buffer, sizeof buffer, "0x%x", static_cast<unsigned>(c));
      shown = buffer;
    }
    return fail("Unexpected character " + shown + " at line " + std::to_string(line()));
  }

  int line() const {
    int lines = 1;
    for (size_t i = 0; i < position_ && i < text_.size(); ++i)
      if (text_[i] == '\n') ++lines;
    return lines;
  }

  // Skips white space and comments; false on a comment that is never closed.
  bool skip() {
    while (position_ < text_.size()) {
      char16_t c = text_[position_];
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v' || c == 0xFEFF) {
        ++position_;
      } else if (c == '/' && position_ + 1 < text_.size() && text_[position_ + 1] == '/') {
        while (position_ < text_.size() && text_[position_] != '\n' && text_[position_] != '\r') ++position_;
      } else if (c == '/' && position_ + 1 < text_.size() && text_[position_ + 1] == '*') {
        size_t end = text_.find(u"*/", position_ + 2);
        if (end == std::u16string_view::npos) {
          position_ = text_.size();
          fail("Unterminated comment");
          return false;
        }
        position_ = end + 2;
      } else {
        break;
      }
    }
    return true;
  }

  CFTypeRef value(int depth) {
    if (!skip()) return nullptr;
    if (position_ >= text_.size()) return unexpected();
    char16_t c = text_[position_];
    if (c == '{' || c == '(') {
      if (depth >= kMaxPropertyListDepth) return fail("Too many nested arrays or dictionaries");
      ++position_;
      return c == '{' ? entries(depth + 1, '}') : items(depth + 1);
    }
    if (c == '<') return data();
    if (c == '"' || c == '\'') return quoted();
    if (IsUnquotedStringCharacter(c)) {
      size_t start = position_;
      while (position_ < text_.size() && IsUnquotedStringCharacter(text_[position_])) ++position_;
      return builder_.string(std::u16string(text_.substr(start, position_ - start)));
    }
    return unexpected();
  }

  CFTypeRef quoted() {
    char16_t quote = text_[position_++];
    std::u16string chars;
    while (position_ < text_.size()) {
      char16_t c = text_[position_++];
      if (c == quote) return builder_.string(std::move(chars));
      if (c != '\\') {
        chars.push_back(c);
        continue;
      }
      if (position_ >= text_.size()) break;
      c = text_[position_++];
      switch (c) {
        case 'a':
          chars.push_back(u'\a');
          break;
        case 'b':
          chars.push_back(u'\b');
          break;
        case 'f':
          chars.push_back(u'\f');
          break;
        case 'n':
          chars.push_back(u'\n');
          break;
        case 'r':
          chars.push_back(u'\r');
          break;
        case 't':
          chars.push_back(u'\t');
          break;
        case 'v':
          chars.push_back(u'\v');
          break;
        case 'U': {
          // Up to four hex digits give one UTF-16 unit.
          char16_t unit = 0;
          for (int i = 0; i < 4 && position_ < text_.size() && HexDigitValue(text_[position_]) >= 0; ++i)
            unit = static_cast<char16_t>(unit * 16 + HexDigitValue(text_[position_++]));
          chars.push_back(unit);
          break;
        }
        default:
          if (c >= '0' && c <= '7') {
            // Up to three octal digits: a byte, taken as Latin-1.
            unsigned byte = c - '0';
            for (int i = 0; i < 2 && position_ < text_.size() && text_[position_] >= '0' && text_[position_] <= '7';
                 ++i)
              byte = byte * 8 + (text_[position_++] - '0');
            chars.push_back(static_cast<char16_t>(byte & 0xFF));
          } else {
            // Any other character stands for itself: \" \' \\ and the rest.
            chars.push_back(c);
          }
      }
    }
    return fail("Unterminated quoted string starting on line " + std::to_string(line()));
  }

  CFTypeRef data() {
    ++position_;
    std::vector<uint8_t> bytes;
    int high = -1;
    while (true) {
      if (!skip()) return nullptr;
      if (position_ >= text_.size()) return unexpected();
      char16_t c = text_[position_];
      if (c == '>') break;
      int nibble = HexDigitValue(c);
      if (nibble < 0) return fail("Malformed data byte group at line " + std::to_string(line()) + "; invalid hex");
      ++position_;
      if (high < 0) {
        high = nibble;
      } else {
        bytes.push_back(static_cast<uint8_t>(high * 16 + nibble));
        high = -1;
      }
    }
    if (high >= 0) return fail("Malformed data byte group at line " + std::to_string(line()) + "; uneven length");
    ++position_;
    return builder_.data(bytes.data(), bytes.size());
  }

  CFTypeRef items(int depth) {
    std::vector<CFHolder> values;
    while (true) {
      if (!skip()) return nullptr;
      if (position_ < text_.size() && text_[position_] == ')') break;
      CFHolder item(value(depth));
      if (!item) return nullptr;
      values.push_back(std::move(item));
      if (!skip()) return nullptr;
      if (position_ < text_.size() && text_[position_] == ',') {
        ++position_;
        continue;
      }
      if (position_ < text_.size() && text_[position_] == ')') break;
      if (position_ >= text_.size()) return unexpected();
      return fail("Missing ',' or ')' in array at line " + std::to_string(line()));
    }
    ++position_;
    return builder_.array(&values);
  }

  // "key = value;" pairs up to the closing character (0: the end of the text).
  CFTypeRef entries(int depth, char16_t close) {
    std::vector<CFHolder> keys;
    std::vector<CFHolder> values;
    while (true) {
      if (!skip()) return nullptr;
      if (close == 0 ? position_ == text_.size() : position_ < text_.size() && text_[position_] == close) break;
      CFHolder key(value(depth));
      if (!key) return nullptr;
      if (CFGetTypeID(key.get()) != CFStringGetTypeID())
        return fail("Dictionary key is not a string at line " + std::to_string(line()));
      if (builder_.mutableLeaves()) {
        // Keys stay immutable whatever the options, as in the other forms.
        key = CFHolder(CreateString(Chars(static_cast<CFStringRef>(key.get()))));
        if (!key) return nullptr;
      }
      if (!skip()) return nullptr;
      if (position_ >= text_.size() || text_[position_] != '=')
        return fail("Missing '=' in dictionary at line " + std::to_string(line()));
      ++position_;
      CFHolder item(value(depth));
      if (!item) return nullptr;
      if (!skip()) return nullptr;
      if (position_ >= text_.size() || text_[position_] != ';')
        return fail("Missing ';' in dictionary at line " + std::to_string(line()));
      ++position_;
      keys.push_back(std::move(key));
      values.push_back(std::move(item));
    }
    if (close != 0) ++position_;
    return builder_.dictionary(&keys, &values);
  }

  std::u16string_view text_;
  const PropertyListBuilder& builder_;
  std::string* why_;
  size_t position_ = 0;
};

}  // namespace

CFPropertyListRef ReadOpenStepPropertyList(const uint8_t* bytes, size_t length, const PropertyListBuilder& builder,
                                           std::string* why) {
  // The text is UTF-8 (a byte order mark is skipped as white space); UTF-16 with its byte order
  // mark is read as well.
  std::u16string text;
  if (length >= 2 && ((bytes[0] == 0xFE && bytes[1] == 0xFF) || (bytes[0] == 0xFF && bytes[1] == 0xFE))) {
    bool big = bytes[0] == 0xFE;
    text.reserve(length / 2);
    for (size_t i = 2; i + 1 < length; i += 2)
      text.push_back(static_cast<char16_t>(big ? bytes[i] << 8 | bytes[i + 1] : bytes[i + 1] << 8 | bytes[i]));
  } else if (!DecodeUTF8(reinterpret_cast<const char*>(bytes), length, &text)) {
    *why = "Property list is not valid UTF-8 text";
    return nullptr;
  }
  OpenStepReader reader(text, builder, why);
  CFTypeRef result = reader.read();
  if (!result && why->empty()) *why = "Out of memory while reading the property list";
  return result;
}

}  // namespace zrp
