// InfoCommands.cpp: `zr info KEY [BUNDLE]`, a string of an application's information property
// list: zr's own (read anew from its bundle's "Contents/Info.plist"), or the bundle's at BUNDLE.
#include <ZRFramework/ZRFramework.h>

#include <cstdio>
#include <string>

#include "Command.h"

namespace zr::tool {
namespace {

CFStringRef NewString(const std::string& utf8) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                 static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

int Info(const Arguments& arguments) {
  if (arguments.empty() || arguments.size() > 2) return UsageError("usage: zr info KEY [BUNDLE]");
  CFStringRef key = NewString(arguments[0]);
  if (!key) return Failure("the key is not UTF-8");
  CFStringRef value = nullptr;
  std::string where;
  if (arguments.size() == 1) {
    where = "zr's information property list";
    if (ZRCopyStringRefOfInfoPlistKey(key, false, &value) != noErr) value = nullptr;
  } else {
    std::string path = arguments[1] + "/Contents/Info.plist";
    where = path;
    CFStringRef pathString = NewString(path);
    CFDictionaryRef plist = pathString ? ZRCreateDictionaryRefWithContentsOfPathStringRef(pathString, false) : nullptr;
    ZRDestroyStringRef(&pathString);
    if (!plist) {
      CFRelease(key);
      return Failure("cannot read a property list from " + path);
    }
    // The root's type is checked here: the loader returns whatever the file holds.
    if (ZRTypeRefIsDictionaryRef(plist)) {
      CFStringRef found = ZRGetStringRefOfDictionaryRef(plist, key);
      if (found) value = CFStringCreateCopy(nullptr, found);
    }
    CFRelease(plist);
  }
  CFRelease(key);
  if (!value) return Failure("no string under " + arguments[0] + " in " + where);
  std::printf("%s\n", Utf8(value).c_str());
  CFRelease(value);
  return 0;
}

const Command kInfo("info", "info KEY [BUNDLE]", "a string of zr's (or BUNDLE's) Info.plist", Info);

}  // namespace
}  // namespace zr::tool
