// PreferencesCommands.cpp: `zr defaults` reads, writes and deletes preferences of any domain the
// way the platform's `defaults` tool does, printing values as old-style property-list text.
#include <ZRFramework/ZRFramework.h>
#include <time.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"

namespace zr::tool {
namespace {

// "NSGlobalDomain" and "-g" name the global domain, as for `defaults`.
CFStringRef CopyDomainName(const std::string& name) {
  if (name == "NSGlobalDomain" || name == "-g" || name == "-globalDomain")
    return static_cast<CFStringRef>(CFRetain(kCFPreferencesAnyApplication));
  return CFStringCreateWithCString(nullptr, name.c_str(), kCFStringEncodingUTF8);
}

std::string Indent(int level) { return std::string(static_cast<size_t>(level) * 4, ' '); }

// Strings print bare when they are plain words, else quoted with escapes.
std::string QuotedIfNeeded(const std::string& text) {
  bool plain = !text.empty();
  for (unsigned char c : text)
    if (!(std::isalnum(c) || c == '_' || c == '.' || c == '$' || c == '/')) plain = false;
  if (plain) return text;
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') quoted.push_back('\\');
    if (c == '\n') {
      quoted += "\\n";
      continue;
    }
    quoted.push_back(c);
  }
  return quoted + "\"";
}

void Print(CFTypeRef value, int level, std::string* out);

void PrintDictionary(CFDictionaryRef dictionary, int level, std::string* out) {
  CFIndex count = CFDictionaryGetCount(dictionary);
  std::vector<const void*> keys(static_cast<size_t>(count)), values(static_cast<size_t>(count));
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  // Keys in a fixed order, so that the output can be compared.
  std::vector<std::pair<std::string, const void*>> entries;
  for (CFIndex i = 0; i < count; ++i)
    entries.emplace_back(Utf8(keys[static_cast<size_t>(i)]), values[static_cast<size_t>(i)]);
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  *out += "{\n";
  for (const auto& [key, value] : entries) {
    *out += Indent(level + 1) + QuotedIfNeeded(key) + " = ";
    CFTypeID type = CFGetTypeID(value);
    if (type == CFDictionaryGetTypeID() || type == CFArrayGetTypeID()) *out += Indent(level + 1);
    Print(value, level + 1, out);
    *out += ";\n";
  }
  *out += Indent(level) + "}";
}

void PrintArray(CFArrayRef array, int level, std::string* out) {
  *out += "(\n";
  for (CFIndex i = 0, count = CFArrayGetCount(array); i < count; ++i) {
    *out += Indent(level + 1);
    Print(CFArrayGetValueAtIndex(array, i), level + 1, out);
    *out += i + 1 < count ? ",\n" : "\n";
  }
  *out += Indent(level) + ")";
}

void Print(CFTypeRef value, int level, std::string* out) {
  CFTypeID type = CFGetTypeID(value);
  if (type == CFDictionaryGetTypeID()) return PrintDictionary(static_cast<CFDictionaryRef>(value), level, out);
  if (type == CFArrayGetTypeID()) return PrintArray(static_cast<CFArrayRef>(value), level, out);
  if (type == CFStringGetTypeID()) {
    *out += QuotedIfNeeded(Utf8(value));
  } else if (type == CFBooleanGetTypeID()) {
    *out += CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "1" : "0";
  } else if (type == CFNumberGetTypeID()) {
    CFNumberRef number = static_cast<CFNumberRef>(value);
    char text[64];
    if (CFNumberIsFloatType(number)) {
      double d = 0;
      CFNumberGetValue(number, kCFNumberDoubleType, &d);
      std::snprintf(text, sizeof text, "%.17g", d);
      // The shortest text that reads back as the same double.
      for (int digits = 1; digits <= 17; ++digits) {
        char shorter[64];
        std::snprintf(shorter, sizeof shorter, "%.*g", digits, d);
        if (std::strtod(shorter, nullptr) == d) {
          std::strcpy(text, shorter);
          break;
        }
      }
    } else {
      long long n = 0;
      CFNumberGetValue(number, kCFNumberLongLongType, &n);
      std::snprintf(text, sizeof text, "%lld", n);
    }
    *out += text;
  } else if (type == CFDateGetTypeID()) {
    time_t seconds =
        static_cast<time_t>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)) + kCFAbsoluteTimeIntervalSince1970);
    struct tm parts;
    gmtime_r(&seconds, &parts);
    char text[64];
    strftime(text, sizeof text, "\"%Y-%m-%d %H:%M:%S +0000\"", &parts);
    *out += text;
  } else if (type == CFDataGetTypeID()) {
    CFDataRef data = static_cast<CFDataRef>(value);
    const UInt8* bytes = CFDataGetBytePtr(data);
    *out += "<";
    for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%02x", bytes[i]);
      if (i > 0 && i % 4 == 0) *out += " ";
      *out += hex;
    }
    *out += ">";
  } else {
    *out += Utf8(CFCopyDescription(value));
  }
}

// The domain's own keys and values (not the global ones beneath it); NULL when it has none.
CFDictionaryRef CopyDomain(CFStringRef domain) {
  CFArrayRef keys = CFPreferencesCopyKeyList(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  if (!keys) return nullptr;
  CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
  for (CFIndex i = 0; dictionary && i < CFArrayGetCount(keys); ++i) {
    CFStringRef key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
    if (CFPropertyListRef value = CFPreferencesCopyAppValue(key, domain)) {
      CFDictionarySetValue(dictionary, key, value);
      CFRelease(value);
    }
  }
  CFRelease(keys);
  return dictionary;
}

int PrintValue(CFTypeRef value) {
  std::string out;
  Print(value, 0, &out);
  std::printf("%s\n", out.c_str());
  return 0;
}

int ReadDomain(const std::string& name, const std::string* key) {
  CFStringRef domain = CopyDomainName(name);
  CFDictionaryRef dictionary = domain ? CopyDomain(domain) : nullptr;
  if (domain) CFRelease(domain);
  if (!dictionary) return Failure("Domain " + name + " does not exist");
  int status = 0;
  if (!key) {
    status = PrintValue(dictionary);
  } else {
    CFStringRef keyString = CFStringCreateWithCString(nullptr, key->c_str(), kCFStringEncodingUTF8);
    CFTypeRef value = keyString ? CFDictionaryGetValue(dictionary, keyString) : nullptr;
    if (keyString) CFRelease(keyString);
    status =
        value ? PrintValue(value) : Failure("The domain/default pair of (" + name + ", " + *key + ") does not exist");
  }
  CFRelease(dictionary);
  return status;
}

int RunRead(const Arguments& arguments) {
  if (arguments.size() > 2) return UsageError("usage: zr defaults read [DOMAIN [KEY]]");
  if (arguments.size() == 2) return ReadDomain(arguments[0], &arguments[1]);
  if (arguments.size() == 1) return ReadDomain(arguments[0], nullptr);
  // Every domain, each under its name.
  CFArrayRef names = CFPreferencesCopyApplicationList(kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  CFMutableDictionaryRef all = ZRCreateMutableDictionaryRef();
  if (CFDictionaryRef global = CopyDomain(kCFPreferencesAnyApplication)) {
    CFDictionarySetValue(all, CFSTR("NSGlobalDomain"), global);
    CFRelease(global);
  }
  for (CFIndex i = 0; names && i < CFArrayGetCount(names); ++i) {
    CFStringRef name = static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, i));
    if (CFDictionaryRef domain = CopyDomain(name)) {
      CFDictionarySetValue(all, name, domain);
      CFRelease(domain);
    }
  }
  if (names) CFRelease(names);
  PrintValue(all);
  CFRelease(all);
  return 0;
}

bool ParseBool(const std::string& text, bool* value) {
  if (text == "yes" || text == "YES" || text == "true" || text == "TRUE" || text == "1") return *value = true;
  if (text == "no" || text == "NO" || text == "false" || text == "FALSE" || text == "0") return !(*value = false);
  return false;
}

CFStringRef NewString(const std::string& text) {
  return CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
}

// "2024-01-31 12:00:00 +0000", "2024-01-31T12:00:00Z" or "2024-01-31": UTC.
CFDateRef NewDate(const std::string& text) {
  struct tm parts = {};
  const char* end = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S +0000", &parts);
  if (!end || *end) {
    parts = {};
    end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  }
  if (!end || *end) {
    parts = {};
    end = strptime(text.c_str(), "%Y-%m-%d", &parts);
  }
  if (!end || *end) return nullptr;
  return CFDateCreate(nullptr, static_cast<double>(timegm(&parts)) - kCFAbsoluteTimeIntervalSince1970);
}

// The value the arguments describe, as `defaults write` takes them; NULL with *error set when
// they describe none.
CFPropertyListRef NewValue(const Arguments& words, std::string* error) {
  const std::string& kind = words[0];
  auto one = [&](const char* what) -> const std::string* {
    if (words.size() != 2) {
      *error = std::string("-") + what + " takes one value";
      return nullptr;
    }
    return &words[1];
  };
  if (kind == "-string") {
    const std::string* text = one("string");
    return text ? NewString(*text) : nullptr;
  }
  if (kind == "-int" || kind == "-integer") {
    const std::string* text = one("int");
    long long n = 0;
    if (!text) return nullptr;
    if (!ParseInteger(*text, &n)) return *error = "not an integer: '" + *text + "'", nullptr;
    return CFNumberCreate(nullptr, kCFNumberLongLongType, &n);
  }
  if (kind == "-float") {
    const std::string* text = one("float");
    double d = 0;
    if (!text) return nullptr;
    if (!ParseDouble(*text, &d)) return *error = "not a number: '" + *text + "'", nullptr;
    return CFNumberCreate(nullptr, kCFNumberDoubleType, &d);
  }
  if (kind == "-bool" || kind == "-boolean") {
    const std::string* text = one("bool");
    bool b = false;
    if (!text) return nullptr;
    if (!ParseBool(*text, &b)) return *error = "not a Boolean: '" + *text + "'", nullptr;
    return CFRetain(b ? kCFBooleanTrue : kCFBooleanFalse);
  }
  if (kind == "-date") {
    const std::string* text = one("date");
    if (!text) return nullptr;
    CFDateRef date = NewDate(*text);
    if (!date) *error = "not a date (YYYY-MM-DD HH:MM:SS +0000): '" + *text + "'";
    return date;
  }
  if (kind == "-data") {
    const std::string* text = one("data");
    if (!text) return nullptr;
    if (text->size() % 2 != 0 || text->find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
      return *error = "not hexadecimal bytes: '" + *text + "'", nullptr;
    std::string bytes;
    for (size_t i = 0; i < text->size(); i += 2)
      bytes.push_back(static_cast<char>(std::stoi(text->substr(i, 2), nullptr, 16)));
    return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  }
  if (kind == "-array") {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (size_t i = 1; array && i < words.size(); ++i) {
      CFStringRef item = NewString(words[i]);
      if (item) CFArrayAppendValue(array, item), CFRelease(item);
    }
    return array;
  }
  if (kind == "-dict") {
    if (words.size() % 2 != 1) return *error = "-dict takes pairs of key and value", nullptr;
    CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
    for (size_t i = 1; dictionary && i + 1 < words.size(); i += 2) {
      CFStringRef key = NewString(words[i]);
      CFStringRef value = NewString(words[i + 1]);
      if (key && value) CFDictionarySetValue(dictionary, key, value);
      if (key) CFRelease(key);
      if (value) CFRelease(value);
    }
    return dictionary;
  }
  if (words.size() == 1 && (kind.empty() || kind[0] != '-')) return NewString(kind);
  *error = "unknown value type '" + kind + "'";
  return nullptr;
}

int RunWrite(const Arguments& arguments) {
  if (arguments.size() < 3) return UsageError("usage: zr defaults write DOMAIN KEY [-TYPE] VALUE...");
  std::string error = "cannot make the value";
  CFPropertyListRef value = NewValue(Arguments(arguments.begin() + 2, arguments.end()), &error);
  if (!value) return UsageError(error);
  CFStringRef domain = CopyDomainName(arguments[0]);
  CFStringRef key = NewString(arguments[1]);
  bool written = false;
  if (domain && key) {
    CFPreferencesSetAppValue(key, value, domain);
    written = CFPreferencesAppSynchronize(domain);
  }
  if (key) CFRelease(key);
  if (domain) CFRelease(domain);
  CFRelease(value);
  return written ? 0 : Failure("could not write the domain " + arguments[0]);
}

int RunDelete(const Arguments& arguments) {
  if (arguments.empty() || arguments.size() > 2) return UsageError("usage: zr defaults delete DOMAIN [KEY]");
  CFStringRef domain = CopyDomainName(arguments[0]);
  CFArrayRef keys =
      domain ? CFPreferencesCopyKeyList(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost) : nullptr;
  int status = 0;
  if (!keys) {
    status = Failure("Domain " + arguments[0] + " not found.");
  } else if (arguments.size() == 2) {
    CFStringRef key = NewString(arguments[1]);
    if (key && CFArrayContainsValue(keys, CFRangeMake(0, CFArrayGetCount(keys)), key)) {
      CFPreferencesSetAppValue(key, nullptr, domain);
      if (!CFPreferencesAppSynchronize(domain)) status = Failure("could not write the domain " + arguments[0]);
    } else {
      status = Failure("Domain (" + arguments[0] + ") not found.\nDefaults have not been changed.");
    }
    if (key) CFRelease(key);
  } else {
    for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i)
      CFPreferencesSetAppValue(static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i)), nullptr, domain);
    if (!CFPreferencesAppSynchronize(domain)) status = Failure("could not write the domain " + arguments[0]);
  }
  if (keys) CFRelease(keys);
  if (domain) CFRelease(domain);
  return status;
}

int RunDomains(const Arguments& arguments) {
  if (!arguments.empty()) return UsageError("usage: zr defaults domains");
  CFArrayRef names = CFPreferencesCopyApplicationList(kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  std::vector<std::string> texts;
  for (CFIndex i = 0; names && i < CFArrayGetCount(names); ++i) texts.push_back(Utf8(CFArrayGetValueAtIndex(names, i)));
  if (names) CFRelease(names);
  std::sort(texts.begin(), texts.end());
  std::string line;
  for (const std::string& text : texts) line += (line.empty() ? "" : ", ") + text;
  std::printf("%s\n", line.c_str());
  return 0;
}

int RunDefaults(const Arguments& arguments) {
  if (arguments.empty()) return UsageError("usage: zr defaults read|write|delete|domains ...");
  Arguments rest(arguments.begin() + 1, arguments.end());
  if (arguments[0] == "read") return RunRead(rest);
  if (arguments[0] == "write") return RunWrite(rest);
  if (arguments[0] == "delete") return RunDelete(rest);
  if (arguments[0] == "domains") return RunDomains(rest);
  return UsageError("unknown defaults command '" + arguments[0] + "'");
}

const Command kDefaults("defaults",
                        "defaults read [DOMAIN [KEY]] | write DOMAIN KEY [-TYPE] VALUE | delete DOMAIN [KEY] | domains",
                        "read, write and delete preferences (NSGlobalDomain: the global domain)", RunDefaults);

}  // namespace
}  // namespace zr::tool
