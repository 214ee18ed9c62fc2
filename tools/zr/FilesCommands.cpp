// FilesCommands.cpp: `zr xattr list|get|set|delete` (values stored as the library stores them:
// XML property lists, raw bytes for data), `zr path tilde|expand|from-hfs`, `zr support-folder`
// and `zr language`.
#include <ZRFramework/ZRFramework.h>
#include <sys/xattr.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Command.h"

namespace zr::tool {
namespace {

const char kXattrUsage[] =
    "usage: zr xattr list FILE | get FILE NAME [--type T] | set FILE NAME VALUE [--type T] | delete FILE NAME\n"
    "       T: string (default), int, double, bool, plist (VALUE is an XML property list), data (VALUE is\n"
    "       the bytes; - reads them from standard input); get prints data as raw bytes";

CFStringRef CreateString(const std::string& text) {
  return CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size()),
                                 kCFStringEncodingUTF8, false);
}

std::string ReadStandardInput() {
  std::string bytes;
  char block[65536];
  size_t count;
  while ((count = std::fread(block, 1, sizeof block, stdin)) > 0) bytes.append(block, count);
  return bytes;
}

// A value read back, printed as text: strings as they are, numbers and Booleans as their values,
// any other property list as its XML document.
int PrintPropertyList(CFPropertyListRef value) {
  CFTypeID type = CFGetTypeID(value);
  if (type == CFStringGetTypeID()) {
    std::printf("%s\n", Utf8(value).c_str());
  } else if (type == CFBooleanGetTypeID()) {
    std::printf("%s\n", value == kCFBooleanTrue ? "true" : "false");
  } else if (type == CFNumberGetTypeID()) {
    CFStringRef text = CFStringCreateWithFormat(NULL, NULL, CFSTR("%@"), value);
    std::printf("%s\n", Utf8(text).c_str());
    if (text) CFRelease(text);
  } else {
    CFDataRef xml = CFPropertyListCreateXMLData(NULL, value);
    if (!xml) return Failure("the value has no XML form");
    std::fwrite(CFDataGetBytePtr(xml), 1, static_cast<size_t>(CFDataGetLength(xml)), stdout);
    CFRelease(xml);
  }
  return 0;
}

int Missing(const std::string& name) { return Failure("no attribute '" + name + "'"); }

int XattrList(const std::string& file) {
  ssize_t size = listxattr(file.c_str(), NULL, 0, XATTR_NOFOLLOW);
  if (size < 0) return Failure(file + ": " + std::strerror(errno));
  std::string names(static_cast<size_t>(size), '\0');
  size = listxattr(file.c_str(), names.data(), names.size(), XATTR_NOFOLLOW);
  if (size < 0) return Failure(file + ": " + std::strerror(errno));
  for (size_t start = 0; start < static_cast<size_t>(size);) {
    std::string name(names.c_str() + start);
    std::printf("%s\n", name.c_str());
    start += name.size() + 1;
  }
  return 0;
}

int XattrGet(const std::string& file, const std::string& name, const std::string& type) {
  const char* path = file.c_str();
  const char* attribute = name.c_str();
  OSStatus status;
  if (type == "data") {
    CFDataRef data = NULL;
    status = ZRCopyExtendedAttributeDataRefOfPathBuffer(path, attribute, &data, true);
    if (status == errFSAttributeNotFound) return Missing(name);
    if (status != noErr) return Failure("cannot read '" + name + "'");
    std::fwrite(CFDataGetBytePtr(data), 1, static_cast<size_t>(CFDataGetLength(data)), stdout);
    CFRelease(data);
    return 0;
  }
  CFTypeRef value = NULL;
  if (type == "plist") {
    status = ZRCopyExtendedAttributePropertyListRefOfPathBuffer(path, attribute, &value, true);
  } else if (type == "string") {
    status =
        ZRCopyExtendedAttributeStringRefOfPathBuffer(path, attribute, reinterpret_cast<CFStringRef*>(&value), true);
  } else if (type == "int" || type == "double") {
    status =
        ZRCopyExtendedAttributeNumberRefOfPathBuffer(path, attribute, reinterpret_cast<CFNumberRef*>(&value), true);
  } else if (type == "bool") {
    status =
        ZRCopyExtendedAttributeBooleanRefOfPathBuffer(path, attribute, reinterpret_cast<CFBooleanRef*>(&value), true);
  } else {
    return UsageError(kXattrUsage);
  }
  if (status == errFSAttributeNotFound) return Missing(name);
  if (status != noErr) return Failure("cannot read '" + name + "' as " + type);
  int result = 0;
  if (type == "int") {
    long long number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongLongType, &number);
    std::printf("%lld\n", number);
  } else if (type == "double") {
    double number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &number);
    std::printf("%.17g\n", number);
  } else {
    result = PrintPropertyList(value);
  }
  CFRelease(value);
  return result;
}

int XattrSet(const std::string& file, const std::string& name, const std::string& text, const std::string& type) {
  const char* path = file.c_str();
  const char* attribute = name.c_str();
  OSStatus status;
  if (type == "string") {
    CFStringRef string = CreateString(text);
    if (!string) return Failure("the value is not UTF-8 text");
    status = ZRSetExtendedAttributeStringRefOfPathBuffer(path, attribute, string, true);
    CFRelease(string);
  } else if (type == "int") {
    long long number;
    if (!ParseInteger(text, &number) || number < INT_MIN || number > INT_MAX) {
      return UsageError("not an int: '" + text + "'");
    }
    status = ZRSetExtendedAttributeIntegerOfPathBuffer(path, attribute, static_cast<int>(number), true);
  } else if (type == "double") {
    double number;
    if (!ParseDouble(text, &number)) return UsageError("not a number: '" + text + "'");
    status = ZRSetExtendedAttributeDoubleOfPathBuffer(path, attribute, number, true);
  } else if (type == "bool") {
    bool yes = text == "true" || text == "yes" || text == "1";
    if (!yes && text != "false" && text != "no" && text != "0") return UsageError("not a bool: '" + text + "'");
    status = ZRSetExtendedAttributeBoolOfPathBuffer(path, attribute, yes, true);
  } else if (type == "plist" || type == "data") {
    std::string bytes = text == "-" ? ReadStandardInput() : text;
    CFDataRef data =
        CFDataCreate(NULL, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
    if (!data) return Failure("out of memory");
    if (type == "data") {
      status = ZRSetExtendedAttributeDataRefOfPathBuffer(path, attribute, data, true);
    } else {
      CFPropertyListRef list = CFPropertyListCreateFromXMLData(NULL, data, kCFPropertyListImmutable, NULL);
      if (!list) {
        CFRelease(data);
        return Failure("the value is not a property list");
      }
      status = ZRSetExtendedAttributePropertyListRefOfPathBuffer(path, attribute, list, true);
      CFRelease(list);
    }
    CFRelease(data);
  } else {
    return UsageError(kXattrUsage);
  }
  return status == noErr ? 0 : Failure("cannot write '" + name + "'");
}

int RunXattr(const Arguments& given) {
  Arguments arguments = given;
  std::string type;
  bool typed = false;
  if (!TakeOption(&arguments, "--type", &type, &typed)) return UsageError(kXattrUsage);
  if (arguments.empty()) return UsageError(kXattrUsage);
  const std::string& action = arguments[0];
  if (action == "list" && arguments.size() == 2 && !typed) return XattrList(arguments[1]);
  if (action == "get" && arguments.size() == 3) return XattrGet(arguments[1], arguments[2], typed ? type : "plist");
  if (action == "set" && arguments.size() == 4) {
    return XattrSet(arguments[1], arguments[2], arguments[3], typed ? type : "string");
  }
  if (action == "delete" && arguments.size() == 3 && !typed) {
    if (removexattr(arguments[1].c_str(), arguments[2].c_str(), XATTR_NOFOLLOW) == 0) return 0;
    if (errno == ENOATTR) return Missing(arguments[2]);
    return Failure(arguments[1] + ": " + std::strerror(errno));
  }
  return UsageError(kXattrUsage);
}

const char kPathUsage[] = "usage: zr path tilde PATH | expand TILDEPATH | from-hfs HFSPATH";

int RunPath(const Arguments& arguments) {
  if (arguments.size() != 2) return UsageError(kPathUsage);
  const std::string& action = arguments[0];
  CFStringRef result = NULL;
  OSStatus status;
  if (action == "tilde") {
    status = ZRCopyTildedPathStringRefOfPathBuffer(arguments[1].c_str(), &result, true);
  } else if (action == "expand" || action == "from-hfs") {
    CFStringRef input = CreateString(arguments[1]);
    if (!input) return Failure("the path is not UTF-8 text");
    status = action == "expand" ? ZRCopyPathStringRefOfTildedPathStringRef(input, &result, true)
                                : ZRCopyPathStringRefOfHFSPathStringRef(input, &result, true);
    CFRelease(input);
  } else {
    return UsageError(kPathUsage);
  }
  if (status != noErr) return Failure("cannot convert '" + arguments[1] + "'");
  std::printf("%s\n", Utf8(result).c_str());
  CFRelease(result);
  return 0;
}

int RunSupportFolder(const Arguments& arguments) {
  if (!arguments.empty()) return UsageError("usage: zr support-folder");
  char* buffer = NULL;
  if (ZRCopySupportPathBuffer(&buffer, true) != noErr) return Failure("cannot find or make the support folder");
  std::printf("%s\n", buffer);
  free(buffer);
  return 0;
}

// The user's language as the library reads it ("AppleLanguages", else the locale environment):
// the short language, a tab and the localization folder that goes with it, "de\tGerman" or
// "en\tEnglish".
int RunLanguage(const Arguments& arguments) {
  if (!arguments.empty()) return UsageError("usage: zr language");
  CFStringRef language = NULL;
  if (ZRCopyShortLanguageStringRef(&language, true) != noErr) return Failure("cannot read the user's languages");
  std::printf("%s\t%s\n", Utf8(language).c_str(), ZRGetApplicationLanguageType() ? "German" : "English");
  CFRelease(language);
  return 0;
}

const Command kXattr("xattr", "xattr list|get|set|delete FILE [NAME [VALUE]] [--type T]",
                     "typed values in a file's extended attributes, as the library stores them", RunXattr);
const Command kPath("path", "path tilde|expand|from-hfs PATH", "a path as a tilde path, expanded, or from an HFS path",
                    RunPath);
const Command kSupportFolder("support-folder", "support-folder", "the application's support folder, made on first use",
                             RunSupportFolder);
const Command kLanguage("language", "language",
                        "the user's language and its localization, tab-separated: en English or de German",
                        RunLanguage);

}  // namespace
}  // namespace zr::tool
