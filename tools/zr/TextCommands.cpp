// TextCommands.cpp: `zr combine [--multiline]` (the counted summary of the lines of standard
// input) and `zr normalize TEXT` (words separated by single spaces).
#include <ZRFramework/ZRFramework.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "Command.h"

namespace zr::tool {
namespace {

CFStringRef MakeString(const std::string& utf8) {
  return CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(utf8.data()), static_cast<CFIndex>(utf8.size()),
                                 kCFStringEncodingUTF8, false);
}

int PrintResult(const char* function, OSStatus status, CFStringRef result) {
  if (status != noErr) return Failure(std::string(function) + " returns " + Utf8(ZRCarbonErrorString(status)));
  std::printf("%s\n", Utf8(result).c_str());
  CFRelease(result);
  return 0;
}

int RunCombine(const Arguments& arguments) {
  bool multiline = false;
  for (const std::string& argument : arguments) {
    if (argument == "--multiline") {
      multiline = true;
    } else {
      return UsageError("usage: zr combine [--multiline] < LINES");
    }
  }

  CFMutableArrayRef strings = CFArrayCreateMutable(NULL, 0, &kCFTypeArrayCallBacks);
  if (!strings) return Failure("CFArrayCreateMutable returns NULL");
  std::string line;
  long number = 0;
  while (std::getline(std::cin, line)) {
    ++number;
    // Lines from Windows editors end in "\r\n": the "\r" is not part of the name.
    if (!line.empty() && line.back() == '\r') line.pop_back();
    CFStringRef string = MakeString(line);
    if (!string) {
      CFRelease(strings);
      return Failure("line " + std::to_string(number) + " is not UTF-8");
    }
    CFArrayAppendValue(strings, string);
    CFRelease(string);
  }

  CFStringRef result = NULL;
  OSStatus status = ZRCopyCombinationStringRefOfStringArrayRef(strings, multiline, &result, true);
  CFRelease(strings);
  return PrintResult("ZRCopyCombinationStringRefOfStringArrayRef", status, result);
}

int RunNormalize(const Arguments& arguments) {
  if (arguments.size() != 1) return UsageError("usage: zr normalize TEXT");
  CFStringRef text = MakeString(arguments[0]);
  if (!text) return UsageError("TEXT is not UTF-8");
  CFStringRef result = NULL;
  OSStatus status = ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(text, &result, true);
  CFRelease(text);
  return PrintResult("ZRCopyStringRefOfStringRefAfterNormalizingWhitespace", status, result);
}

const Command kCombine("combine", "combine [--multiline]",
                       "each distinct line of standard input with its count: \"a (1 of 3), b (2 of 3)\"", RunCombine);
const Command kNormalize("normalize", "normalize TEXT", "TEXT with its words separated by single spaces", RunNormalize);

}  // namespace
}  // namespace zr::tool
