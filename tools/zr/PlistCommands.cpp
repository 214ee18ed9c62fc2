// PlistCommands.cpp: `zr plist print|convert|lint`, the platform's plutil verbs over property
// lists in any of the three forms (XML, binary, old-style).
//
//   zr plist print FILE                                  what plutil -p prints
//   zr plist convert -format xml1|binary1 FILE [-o OUT]  rewrites FILE (or writes OUT), silent
//   zr plist lint FILE...                                "FILE: OK", or "FILE: <reason>" and status 1
#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Command.h"

namespace zr::tool {
namespace {

bool ReadFile(const std::string& path, std::string* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

// The property list in the file (a new reference), or NULL with the reason in *why.
CFPropertyListRef ReadPropertyListFile(const std::string& path, std::string* why) {
  std::string bytes;
  if (!ReadFile(path, &bytes)) {
    *why = "file does not exist or is not readable or is not a regular file";
    return nullptr;
  }
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  if (!data) {
    *why = "out of memory";
    return nullptr;
  }
  CFErrorRef error = nullptr;
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, &error);
  CFRelease(data);
  if (!plist) {
    *why = "property list could not be read";
    if (error) {
      CFDictionaryRef info = CFErrorCopyUserInfo(error);
      CFTypeRef debug = CFDictionaryGetValue(info, CFSTR("NSDebugDescription"));
      if (debug) *why = Utf8(debug);
      CFRelease(info);
      CFRelease(error);
    }
  }
  return plist;
}

void Indent(int level, std::string* out) { out->append(2 * static_cast<size_t>(level), ' '); }

// CFData's own description of bytes: all of them up to 24, else the first 16 and the last 8.
std::string DataText(CFDataRef data) {
  const UInt8* bytes = CFDataGetBytePtr(data);
  auto length = static_cast<size_t>(CFDataGetLength(data));
  auto hex = [bytes](size_t from, size_t to) {
    std::string text;
    for (size_t i = from; i < to; ++i) {
      char pair[3];
      std::snprintf(pair, sizeof pair, "%02x", bytes[i]);
      if (i > from && (i - from) % 4 == 0) text += ' ';
      text += pair;
    }
    return text;
  };
  std::string body = length <= 24 ? hex(0, length) : hex(0, 16) + " ... " + hex(length - 8, length);
  return "{length = " + std::to_string(length) + ", bytes = 0x" + body + "}";
}

std::string RealText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char buffer[64];
  // The shortest text that reads back as the value.
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(buffer, sizeof buffer, "%.*g", precision, value);
    if (std::strtod(buffer, nullptr) == value) break;
  }
  return buffer;
}

void Print(CFTypeRef object, int level, std::string* out) {
  CFTypeID type = CFGetTypeID(object);
  if (type == CFDictionaryGetTypeID()) {
    auto dictionary = static_cast<CFDictionaryRef>(object);
    auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::vector<std::pair<std::string, const void*>> entries;
    for (size_t i = 0; i < count; ++i) entries.emplace_back(Utf8(keys[i]), values[i]);
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    *out += "{\n";
    for (const auto& [key, value] : entries) {
      Indent(level + 1, out);
      *out += "\"" + key + "\" => ";
      Print(value, level + 1, out);
    }
    Indent(level, out);
    *out += "}\n";
  } else if (type == CFArrayGetTypeID()) {
    auto array = static_cast<CFArrayRef>(object);
    *out += "[\n";
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      Indent(level + 1, out);
      *out += std::to_string(i) + " => ";
      Print(CFArrayGetValueAtIndex(array, i), level + 1, out);
    }
    Indent(level, out);
    *out += "]\n";
  } else if (type == CFStringGetTypeID()) {
    *out += "\"" + Utf8(object) + "\"\n";
  } else if (type == CFBooleanGetTypeID()) {
    *out += CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "true\n" : "false\n";
  } else if (type == CFNumberGetTypeID()) {
    auto number = static_cast<CFNumberRef>(object);
    if (CFNumberIsFloatType(number)) {
      double value = 0;
      CFNumberGetValue(number, kCFNumberFloat64Type, &value);
      *out += RealText(value) + "\n";
    } else {
      // The number's own description prints unsigned 64-bit values as such.
      CFStringRef text = CFCopyDescription(number);
      *out += Utf8(text) + "\n";
      if (text) CFRelease(text);
    }
  } else if (type == CFDateGetTypeID()) {
    time_t seconds = static_cast<time_t>(std::floor(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)))) + 978307200;
    struct tm utc;
    gmtime_r(&seconds, &utc);
    char buffer[64];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S +0000", &utc);
    *out += std::string(buffer) + "\n";
  } else if (type == CFDataGetTypeID()) {
    *out += DataText(static_cast<CFDataRef>(object)) + "\n";
  } else {
    *out += "?\n";
  }
}

int PrintCommand(const Arguments& arguments) {
  if (arguments.size() != 1) return UsageError("usage: zr plist print FILE");
  std::string why;
  CFPropertyListRef plist = ReadPropertyListFile(arguments[0], &why);
  if (!plist) return Failure(arguments[0] + ": " + why);
  std::string out;
  Print(plist, 0, &out);
  CFRelease(plist);
  std::fwrite(out.data(), 1, out.size(), stdout);
  return 0;
}

int ConvertCommand(const Arguments& given) {
  Arguments arguments = given;
  std::string formatName;
  std::string output;
  bool hasFormat = false;
  bool hasOutput = false;
  if (!TakeOption(&arguments, "-format", &formatName, &hasFormat) ||
      !TakeOption(&arguments, "-o", &output, &hasOutput) || !hasFormat || arguments.size() != 1 ||
      (formatName != "xml1" && formatName != "binary1"))
    return UsageError("usage: zr plist convert -format xml1|binary1 FILE [-o OUT]");
  const std::string& input = arguments[0];
  std::string why;
  CFPropertyListRef plist = ReadPropertyListFile(input, &why);
  if (!plist) return Failure(input + ": " + why);
  CFPropertyListFormat format = formatName == "xml1" ? kCFPropertyListXMLFormat_v1_0 : kCFPropertyListBinaryFormat_v1_0;
  CFDataRef data = CFPropertyListCreateData(nullptr, plist, format, 0, nullptr);
  CFRelease(plist);
  if (!data) return Failure(input + ": the property list cannot be written as " + formatName);
  std::string target = hasOutput ? output : input;
  FILE* file = target == "-" ? stdout : std::fopen(target.c_str(), "wb");
  bool written = false;
  if (file) {
    auto length = static_cast<size_t>(CFDataGetLength(data));
    written = std::fwrite(CFDataGetBytePtr(data), 1, length, file) == length;
    if (file != stdout) written = std::fclose(file) == 0 && written;
  }
  CFRelease(data);
  if (!written) return Failure(target + ": cannot be written");
  return 0;
}

int LintCommand(const Arguments& arguments) {
  if (arguments.empty()) return UsageError("usage: zr plist lint FILE...");
  int status = 0;
  for (const std::string& path : arguments) {
    std::string why;
    CFPropertyListRef plist = ReadPropertyListFile(path, &why);
    if (plist) {
      std::printf("%s: OK\n", path.c_str());
      CFRelease(plist);
    } else {
      std::printf("%s: %s\n", path.c_str(), why.c_str());
      status = 1;
    }
  }
  return status;
}

int PlistCommand(const Arguments& arguments) {
  if (!arguments.empty()) {
    Arguments rest(arguments.begin() + 1, arguments.end());
    if (arguments[0] == "print") return PrintCommand(rest);
    if (arguments[0] == "convert") return ConvertCommand(rest);
    if (arguments[0] == "lint") return LintCommand(rest);
  }
  return UsageError("usage: zr plist print FILE | convert -format xml1|binary1 FILE [-o OUT] | lint FILE...");
}

const Command kPlist("plist", "plist print FILE | convert -format xml1|binary1 FILE [-o OUT] | lint FILE...",
                     "print, convert or check a property list (XML, binary or old-style), as plutil does",
                     PlistCommand);

}  // namespace
}  // namespace zr::tool
