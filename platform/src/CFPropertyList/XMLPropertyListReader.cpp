// XMLPropertyListReader.cpp: reads the XML form of property lists (plist 1.0) with pugixml.
//
// The document is parsed without entity expansion of any kind: pugixml never expands entities
// declared in a DOCTYPE, a DOCTYPE that carries an internal subset is refused outright, and
// character references are decoded here, where any reference other than the five predefined
// entities and numeric ones makes the whole list malformed.
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Characters.h"

namespace zrp {
namespace {

// XML's white space.
constexpr std::string_view kXMLSpaces = " \t\n\r";

bool IsBlank(std::string_view text) { return Trim(text, kXMLSpaces).empty(); }

// Decodes one character reference, the text between '&' and ';'.
bool DecodeReference(std::string_view name, std::u16string* out) {
  if (name == "amp") {
    out->push_back(u'&');
  } else if (name == "lt") {
    out->push_back(u'<');
  } else if (name == "gt") {
    out->push_back(u'>');
  } else if (name == "apos") {
    out->push_back(u'\'');
  } else if (name == "quot") {
    out->push_back(u'"');
  } else if (name.size() >= 2 && name[0] == '#') {
    int base = 10;
    name.remove_prefix(1);
    if (name[0] == 'x') {
      base = 16;
      name.remove_prefix(1);
    }
    if (name.empty() || name.size() > 8) return false;
    uint32_t code = 0;
    auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), code, base);
    if (error != std::errc() || end != name.data() + name.size()) return false;
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    AppendCodePoint(code, out);
  } else {
    return false;
  }
  return true;
}

// Character data as it stands in the document, with its references decoded.
bool DecodeCharacterData(std::string_view raw, std::u16string* out) {
  while (!raw.empty()) {
    size_t ampersand = raw.find('&');
    std::string_view plain = raw.substr(0, ampersand);
    if (!DecodeUTF8(plain.data(), plain.size(), out)) return false;
    if (ampersand == std::string_view::npos) break;
    raw.remove_prefix(ampersand + 1);
    size_t semicolon = raw.find(';');
    if (semicolon == std::string_view::npos || semicolon > 10) return false;
    if (!DecodeReference(raw.substr(0, semicolon), out)) return false;
    raw.remove_prefix(semicolon + 1);
  }
  return true;
}

// The text content of an element that may hold only text (character data and CDATA sections).
bool ElementText(pugi::xml_node element, std::u16string* out) {
  for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
    switch (child.type()) {
      case pugi::node_pcdata:
        if (!DecodeCharacterData(child.value(), out)) return false;
        break;
      case pugi::node_cdata: {
        std::string_view raw = child.value();
        if (!DecodeUTF8(raw.data(), raw.size(), out)) return false;
        break;
      }
      case pugi::node_element:
        return false;
      default:
        break;
    }
  }
  return true;
}

// The text of an element whose content is ASCII by nature (numbers, dates, Base64).
bool ElementASCII(pugi::xml_node element, std::string* out) {
  std::u16string text;
  if (!ElementText(element, &text)) return false;
  out->reserve(text.size());
  for (char16_t c : text) {
    if (c >= 0x80) return false;
    out->push_back(static_cast<char>(c));
  }
  return true;
}

// An element that stands for a value by itself (true, false) may hold nothing but whitespace.
bool IsEmptyElement(pugi::xml_node element) {
  for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
    if (child.type() == pugi::node_element || child.type() == pugi::node_cdata) return false;
    if (child.type() == pugi::node_pcdata && !IsBlank(child.value())) return false;
  }
  return true;
}

bool ParseInteger(std::string_view text, bool* negative, uint64_t* magnitude) {
  text = Trim(text, kXMLSpaces);
  *negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    *negative = text[0] == '-';
    text.remove_prefix(1);
  }
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty()) return false;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *magnitude, base);
  return error == std::errc() && end == text.data() + text.size();
}

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lower[i]) return false;
  }
  return true;
}

bool ParseReal(std::string_view text, double* value) {
  text = Trim(text, kXMLSpaces);
  bool negative = false;
  std::string_view unsignedText = text;
  if (!unsignedText.empty() && (unsignedText[0] == '-' || unsignedText[0] == '+')) {
    negative = unsignedText[0] == '-';
    unsignedText.remove_prefix(1);
  }
  if (EqualsIgnoringCase(unsignedText, "nan")) {
    *value = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  if (EqualsIgnoringCase(unsignedText, "inf") || EqualsIgnoringCase(unsignedText, "infinity")) {
    *value = negative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
    return true;
  }
  if (unsignedText.empty() || unsignedText[0] == '-' || unsignedText[0] == '+') return false;
  double magnitude = 0;
  auto [end, error] = std::from_chars(unsignedText.data(), unsignedText.data() + unsignedText.size(), magnitude,
                                      std::chars_format::general);
  if (end != unsignedText.data() + unsignedText.size()) return false;
  // Out of range: from_chars leaves the value alone; the platform reads such text as
  // infinity or zero, as strtod does.
  if (error == std::errc::result_out_of_range) {
    std::string copy(unsignedText);
    magnitude = std::strtod(copy.c_str(), nullptr);
  } else if (error != std::errc()) {
    return false;
  }
  *value = negative ? -magnitude : magnitude;
  return true;
}

// Reads a fixed number of decimal digits (a sign allowed for the year only).
bool TakeNumber(std::string_view* text, size_t digits, int64_t* value) {
  if (text->size() < digits) return false;
  int64_t result = 0;
  for (size_t i = 0; i < digits; ++i) {
    char c = (*text)[i];
    if (c < '0' || c > '9') return false;
    result = result * 10 + (c - '0');
  }
  text->remove_prefix(digits);
  *value = result;
  return true;
}

bool TakeChar(std::string_view* text, char c) {
  if (text->empty() || text->front() != c) return false;
  text->remove_prefix(1);
  return true;
}

// "YYYY-MM-DDTHH:MM:SSZ", in UTC.
bool ParseDate(std::string_view text, CFAbsoluteTime* at) {
  text = Trim(text, kXMLSpaces);
  bool negativeYear = TakeChar(&text, '-');
  size_t yearDigits = 0;
  while (yearDigits < text.size() && text[yearDigits] >= '0' && text[yearDigits] <= '9') ++yearDigits;
  if (yearDigits < 1 || yearDigits > 9) return false;
  int64_t year, month, day, hour, minute, second;
  if (!TakeNumber(&text, yearDigits, &year) || !TakeChar(&text, '-') || !TakeNumber(&text, 2, &month) ||
      !TakeChar(&text, '-') || !TakeNumber(&text, 2, &day) || !TakeChar(&text, 'T') || !TakeNumber(&text, 2, &hour) ||
      !TakeChar(&text, ':') || !TakeNumber(&text, 2, &minute) || !TakeChar(&text, ':') ||
      !TakeNumber(&text, 2, &second) || !TakeChar(&text, 'Z') || !text.empty())
    return false;
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60) return false;
  *at = AbsoluteTimeFromGregorian(negativeYear ? -year : year, static_cast<int>(month), static_cast<int>(day),
                                  static_cast<int>(hour), static_cast<int>(minute), static_cast<int>(second));
  return true;
}

class XMLReader {
 public:
  explicit XMLReader(const PropertyListBuilder& builder) : builder_(builder) {}

  CFTypeRef object(pugi::xml_node element, int depth) {
    std::string_view name = element.name();
    if (name == "dict") return dictionary(element, depth);
    if (name == "array") return array(element, depth);
    if (name == "string") {
      std::u16string text;
      if (!ElementText(element, &text)) return nullptr;
      return builder_.string(std::move(text));
    }
    if (name == "data") {
      std::string text;
      std::vector<uint8_t> bytes;
      if (!ElementASCII(element, &text) || !DecodeBase64(text, &bytes)) return nullptr;
      return builder_.data(bytes.data(), bytes.size());
    }
    if (name == "date") {
      std::string text;
      CFAbsoluteTime at;
      if (!ElementASCII(element, &text) || !ParseDate(text, &at)) return nullptr;
      return builder_.date(at);
    }
    if (name == "integer") {
      std::string text;
      bool negative;
      uint64_t magnitude;
      if (!ElementASCII(element, &text) || !ParseInteger(text, &negative, &magnitude)) return nullptr;
      if (!negative) return builder_.unsignedInteger(magnitude);
      constexpr uint64_t kMostNegative = static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + 1;
      if (magnitude > kMostNegative) return nullptr;
      return builder_.integer(magnitude == kMostNegative ? std::numeric_limits<int64_t>::min()
                                                         : -static_cast<int64_t>(magnitude));
    }
    if (name == "real") {
      std::string text;
      double value;
      if (!ElementASCII(element, &text) || !ParseReal(text, &value)) return nullptr;
      return builder_.real(value);
    }
    if (name == "true" || name == "false") {
      if (!IsEmptyElement(element)) return nullptr;
      return CFRetain(name == "true" ? kCFBooleanTrue : kCFBooleanFalse);
    }
    return nullptr;
  }

 private:
  // The element children of a container, which may hold nothing else but whitespace.
  static bool ContainerElements(pugi::xml_node container, std::vector<pugi::xml_node>* elements) {
    for (pugi::xml_node child = container.first_child(); child; child = child.next_sibling()) {
      switch (child.type()) {
        case pugi::node_element:
          elements->push_back(child);
          break;
        case pugi::node_pcdata:
          if (!IsBlank(child.value())) return false;
          break;
        case pugi::node_cdata:
          return false;
        default:
          break;
      }
    }
    return true;
  }

  CFTypeRef array(pugi::xml_node element, int depth) {
    if (depth >= kMaxPropertyListDepth) return nullptr;
    std::vector<pugi::xml_node> elements;
    if (!ContainerElements(element, &elements)) return nullptr;
    std::vector<CFHolder> values;
    values.reserve(elements.size());
    for (pugi::xml_node child : elements) {
      CFHolder value(object(child, depth + 1));
      if (!value) return nullptr;
      values.push_back(std::move(value));
    }
    return builder_.array(&values);
  }

  CFTypeRef dictionary(pugi::xml_node element, int depth) {
    if (depth >= kMaxPropertyListDepth) return nullptr;
    std::vector<pugi::xml_node> elements;
    if (!ContainerElements(element, &elements) || elements.size() % 2 != 0) return nullptr;
    std::vector<CFHolder> keys;
    std::vector<CFHolder> values;
    keys.reserve(elements.size() / 2);
    values.reserve(elements.size() / 2);
    for (size_t i = 0; i < elements.size(); i += 2) {
      if (std::strcmp(elements[i].name(), "key") != 0) return nullptr;
      std::u16string text;
      if (!ElementText(elements[i], &text)) return nullptr;
      // Keys are immutable whatever the options: a dictionary copies or retains its keys.
      CFHolder key(CreateString(std::move(text)));
      if (!key) return nullptr;
      CFHolder value(object(elements[i + 1], depth + 1));
      if (!value) return nullptr;
      keys.push_back(std::move(key));
      values.push_back(std::move(value));
    }
    return builder_.dictionary(&keys, &values);
  }

  const PropertyListBuilder& builder_;
};

// The one element a container node holds, next to nothing but whitespace, comments and
// processing instructions; a null node when there is not exactly one.
pugi::xml_node SoleElement(pugi::xml_node parent) {
  pugi::xml_node found;
  for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
    switch (child.type()) {
      case pugi::node_element:
        if (found) return pugi::xml_node();
        found = child;
        break;
      case pugi::node_pcdata:
        if (!IsBlank(child.value())) return pugi::xml_node();
        break;
      case pugi::node_cdata:
        return pugi::xml_node();
      case pugi::node_doctype:
        // An internal subset is where entities would be declared: refuse it rather than
        // parse around it.
        if (std::strchr(child.value(), '[')) return pugi::xml_node();
        break;
      default:
        break;
    }
  }
  return found;
}

}  // namespace

CFPropertyListRef ReadXMLPropertyList(const uint8_t* bytes, size_t length, const PropertyListBuilder& builder) {
  // No parse_escapes: references are decoded (and unknown ones refused) by the reader itself.
  constexpr unsigned kOptions =
      pugi::parse_cdata | pugi::parse_eol | pugi::parse_ws_pcdata | pugi::parse_doctype | pugi::parse_declaration;
  pugi::xml_document document;
  pugi::xml_parse_result parsed = document.load_buffer(bytes, length, kOptions, pugi::encoding_auto);
  if (!parsed) return nullptr;
  pugi::xml_node root = SoleElement(document);
  if (!root) return nullptr;
  if (std::strcmp(root.name(), "plist") == 0) {
    root = SoleElement(root);
    if (!root) return nullptr;
  }
  XMLReader reader(builder);
  return reader.object(root, 0);
}

}  // namespace zrp
