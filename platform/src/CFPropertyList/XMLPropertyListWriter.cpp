// XMLPropertyListWriter.cpp: writes the XML form of property lists byte for byte as the
// platform does, so that files move between the two systems without spurious differences.
//
// The platform's layout: one element per line, indented with one tab per level; dictionary
// keys in ascending order; empty containers as "<dict/>" and "<array/>"; "&", "<" and ">"
// escaped in text; reals with 17 significant digits ("0.0", "nan", "+infinity", "-infinity"
// for the special values); dates in UTC to the whole second; data as Base64 lines below the
// "<data>" tag at the same indentation, the tabs counting eight columns each against a
// line width of 76 (with at most eight tabs).
#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "CFNumber/NumberImpl.h"
#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"

namespace zrp {
namespace {

constexpr char kHeader[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr char kFooter[] = "</plist>\n";

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

void AppendEscaped(CFStringRef string, std::string* out) {
  std::string utf8;
  EncodeUTF8(WideView(string), &utf8);
  for (char c : utf8) {
    switch (c) {
      case '&':
        *out += "&amp;";
        break;
      case '<':
        *out += "&lt;";
        break;
      case '>':
        *out += "&gt;";
        break;
      default:
        out->push_back(c);
    }
  }
}

void AppendBase64Lines(const uint8_t* bytes, size_t length, int depth, std::string* out) {
  int tabs = std::min(depth, 8);
  size_t width = 76 - 8 * static_cast<size_t>(tabs);
  std::string encoded;
  encoded.reserve((length + 2) / 3 * 4);
  for (size_t i = 0; i < length; i += 3) {
    uint32_t group = static_cast<uint32_t>(bytes[i]) << 16;
    if (i + 1 < length) group |= static_cast<uint32_t>(bytes[i + 1]) << 8;
    if (i + 2 < length) group |= bytes[i + 2];
    encoded.push_back(kBase64Alphabet[(group >> 18) & 0x3F]);
    encoded.push_back(kBase64Alphabet[(group >> 12) & 0x3F]);
    encoded.push_back(i + 1 < length ? kBase64Alphabet[(group >> 6) & 0x3F] : '=');
    encoded.push_back(i + 2 < length ? kBase64Alphabet[group & 0x3F] : '=');
  }
  for (size_t start = 0; start < encoded.size(); start += width) {
    out->append(static_cast<size_t>(tabs), '\t');
    out->append(encoded, start, width);
    out->push_back('\n');
  }
}

std::string FormatReal(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
  if (value == 0) return "0.0";
  // printf's %.17g, independent of the C locale's decimal separator.
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 17);
  return std::string(buffer, result.ptr);
}

class XMLWriter {
 public:
  explicit XMLWriter(std::string* out) : out_(out) {}

  bool write(CFTypeRef object, int depth) {
    if (!object) return false;
    CFTypeID type = CFGetTypeID(object);
    indent(depth);
    if (type == CFStringGetTypeID()) {
      *out_ += "<string>";
      AppendEscaped(static_cast<CFStringRef>(object), out_);
      *out_ += "</string>\n";
    } else if (type == CFBooleanGetTypeID()) {
      *out_ += CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "<true/>\n" : "<false/>\n";
    } else if (type == CFNumberGetTypeID()) {
      auto number = static_cast<CFNumberRef>(object);
      if (CFNumberIsFloatType(number)) {
        double value = 0;
        CFNumberGetValue(number, kCFNumberFloat64Type, &value);
        *out_ += "<real>" + FormatReal(value) + "</real>\n";
      } else {
        int64_t value = 0;
        uint64_t unsignedValue = 0;
        char buffer[32];
        if (NumberGetUnsigned64(number, &unsignedValue)) {
          std::snprintf(buffer, sizeof buffer, "%" PRIu64, unsignedValue);
        } else {
          CFNumberGetValue(number, kCFNumberSInt64Type, &value);
          std::snprintf(buffer, sizeof buffer, "%" PRId64, value);
        }
        *out_ += "<integer>" + std::string(buffer) + "</integer>\n";
      }
    } else if (type == CFDateGetTypeID()) {
      int64_t year;
      int month, day, hour, minute, second;
      GregorianFromAbsoluteTime(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)), &year, &month, &day, &hour,
                                &minute, &second);
      char buffer[64];
      std::snprintf(buffer, sizeof buffer, "<date>%04" PRId64 "-%02d-%02dT%02d:%02d:%02dZ</date>\n", year, month, day,
                    hour, minute, second);
      *out_ += buffer;
    } else if (type == CFDataGetTypeID()) {
      auto data = static_cast<CFDataRef>(object);
      *out_ += "<data>\n";
      AppendBase64Lines(CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data)), depth, out_);
      indent(depth);
      *out_ += "</data>\n";
    } else if (type == CFArrayGetTypeID()) {
      return array(static_cast<CFArrayRef>(object), depth);
    } else if (type == CFDictionaryGetTypeID()) {
      return dictionary(static_cast<CFDictionaryRef>(object), depth);
    } else {
      return false;
    }
    return true;
  }

 private:
  void indent(int depth) { out_->append(static_cast<size_t>(depth), '\t'); }

  // Enters a container; false when it is one of its own ancestors or nests too deep.
  bool enter(CFTypeRef container) {
    if (std::find(ancestors_.begin(), ancestors_.end(), container) != ancestors_.end()) return false;
    if (static_cast<int>(ancestors_.size()) >= kMaxPropertyListDepth) return false;
    ancestors_.push_back(container);
    return true;
  }

  bool array(CFArrayRef array, int depth) {
    CFIndex count = CFArrayGetCount(array);
    if (count == 0) {
      *out_ += "<array/>\n";
      return true;
    }
    if (!enter(array)) return false;
    *out_ += "<array>\n";
    for (CFIndex i = 0; i < count; ++i)
      if (!write(CFArrayGetValueAtIndex(array, i), depth + 1)) return false;
    indent(depth);
    *out_ += "</array>\n";
    ancestors_.pop_back();
    return true;
  }

  bool dictionary(CFDictionaryRef dictionary, int depth) {
    CFIndex count = CFDictionaryGetCount(dictionary);
    if (count == 0) {
      *out_ += "<dict/>\n";
      return true;
    }
    if (!enter(dictionary)) return false;
    std::vector<const void*> keys(static_cast<size_t>(count));
    std::vector<const void*> values(static_cast<size_t>(count));
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::vector<size_t> order(keys.size());
    for (size_t i = 0; i < order.size(); ++i) {
      order[i] = i;
      if (!keys[i] || CFGetTypeID(keys[i]) != CFStringGetTypeID()) return false;
    }
    std::sort(order.begin(), order.end(), [&keys](size_t a, size_t b) {
      return CompareUnits(static_cast<CFStringRef>(keys[a])->text, static_cast<CFStringRef>(keys[b])->text) < 0;
    });
    *out_ += "<dict>\n";
    for (size_t i : order) {
      indent(depth + 1);
      *out_ += "<key>";
      AppendEscaped(static_cast<CFStringRef>(keys[i]), out_);
      *out_ += "</key>\n";
      if (!write(values[i], depth + 1)) return false;
    }
    indent(depth);
    *out_ += "</dict>\n";
    ancestors_.pop_back();
    return true;
  }

  std::string* out_;
  std::vector<CFTypeRef> ancestors_;
};

}  // namespace

bool WriteXMLPropertyList(CFPropertyListRef plist, std::string* out) {
  *out += kHeader;
  XMLWriter writer(out);
  if (!writer.write(plist, 0)) return false;
  *out += kFooter;
  return true;
}

}  // namespace zrp
