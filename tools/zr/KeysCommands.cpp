// KeysCommands.cpp: `zr keys`: keyboard shortcuts as the menus show them, for a character, a
// virtual key code on the current keyboard layout, or a hot key.
#include <ZRFramework/ZRFramework.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "Command.h"

namespace zr::tool {
namespace {

const char* const kUsage =
    "usage: zr keys char CHARACTER [--modifiers cmd,opt,ctrl,shift]\n"
    "       zr keys code KEYCODE [--modifiers cmd,opt,ctrl,shift]\n"
    "       zr keys hotkey KEYCODE --modifiers cmd,opt,ctrl,shift";

// "--modifiers cmd,opt,ctrl,shift" as event modifier flags; false for an unknown name.
bool TakeModifiers(Arguments* arguments, UInt32* flags, bool* present) {
  std::string text;
  if (!TakeOption(arguments, "--modifiers", &text, present)) return false;
  *flags = 0;
  if (!*present) return true;
  static const struct {
    const char* name;
    UInt32 mask;
  } kNames[] = {{"cmd", 0x00100000}, {"command", 0x00100000}, {"opt", 0x00080000},     {"option", 0x00080000},
                {"alt", 0x00080000}, {"ctrl", 0x00040000},    {"control", 0x00040000}, {"shift", 0x00020000}};
  std::istringstream names(text);
  std::string name;
  while (std::getline(names, name, ',')) {
    bool known = false;
    for (const auto& entry : kNames) {
      if (name == entry.name) {
        *flags |= entry.mask;
        known = true;
      }
    }
    if (!known && !name.empty()) return false;
  }
  return true;
}

// One UTF-16 unit from the argument: a single character ("p", "ä", "⌘"), "U+F704", or one of the
// names return, tab and space.
bool ParseCharacter(const std::string& text, UniChar* character) {
  if (text == "return") return *character = 0x0D, true;
  if (text == "tab") return *character = 0x09, true;
  if (text == "space") return *character = 0x20, true;
  if (text.size() > 2 && (text[0] == 'U' || text[0] == 'u') && text[1] == '+') {
    char* end = nullptr;
    unsigned long value = std::strtoul(text.c_str() + 2, &end, 16);
    if (*end != '\0' || value > 0xFFFF) return false;
    *character = static_cast<UniChar>(value);
    return true;
  }
  CFStringRef string = CFStringCreateWithCString(NULL, text.c_str(), kCFStringEncodingUTF8);
  if (!string) return false;
  bool one = CFStringGetLength(string) == 1;
  if (one) *character = CFStringGetCharacterAtIndex(string, 0);
  CFRelease(string);
  return one;
}

// A key code in decimal or with 0x in hexadecimal.
bool ParseKeyCode(const std::string& text, UInt32* keyCode) {
  if (text.empty() || text[0] == '-') return false;
  char* end = nullptr;
  unsigned long long value = std::strtoull(text.c_str(), &end, 0);
  if (*end != '\0' || value > 0xFFFFFFFFull) return false;
  *keyCode = static_cast<UInt32>(value);
  return true;
}

int Print(const char* function, OSStatus status, CFStringRef result) {
  if (status != noErr) return Failure(std::string(function) + " returns " + Utf8(ZRCarbonErrorString(status)));
  std::printf("%s\n", Utf8(result).c_str());
  CFRelease(result);
  return 0;
}

int RunKeys(const Arguments& given) {
  Arguments arguments = given;
  UInt32 flags = 0;
  bool present = false;
  if (!TakeModifiers(&arguments, &flags, &present) || arguments.size() != 2) return UsageError(kUsage);
  NSAutoreleasePool pool;
  const std::string& form = arguments[0];
  CFStringRef result = NULL;
  if (form == "char") {
    UniChar character = 0;
    if (!ParseCharacter(arguments[1], &character)) return UsageError("not one character: '" + arguments[1] + "'");
    OSStatus status = ZRCopyPrintableStringRefOfKeyEquivalent(character, flags, &result, true);
    return Print("ZRCopyPrintableStringRefOfKeyEquivalent", status, result);
  }
  if (form == "code" || form == "hotkey") {
    if (form == "hotkey" && !present) return UsageError(kUsage);
    UInt32 keyCode = 0;
    if (!ParseKeyCode(arguments[1], &keyCode)) return UsageError("not a key code: '" + arguments[1] + "'");
    OSStatus status = ZRCopyPrintableStringRefOfHotKey(keyCode, flags, &result, true);
    return Print("ZRCopyPrintableStringRefOfHotKey", status, result);
  }
  return UsageError(kUsage);
}

const Command kKeys("keys", "keys char|code|hotkey KEY [--modifiers M,...]",
                    "a keyboard shortcut as menus show it, in the current layout", RunKeys);

}  // namespace
}  // namespace zr::tool
