// ZRKeyboardString.cpp: keyboard shortcuts as the menus show them: modifier glyphs, the
// printable form of a character, key equivalents and hot keys, and the character that a
// virtual key code gives on the current keyboard layout.
#include <Carbon/Carbon.h>
#include <ZRFramework/ZRFramework.h>

#include "diagnostics/Frame.h"

namespace {

// The event modifier masks read (the application's key events carry these bits), with their
// glyphs, in the order the glyphs are written.
struct ModifierGlyph {
  UInt32 mask;
  UniChar glyph;
};
const ModifierGlyph kModifierGlyphs[] = {
    {0x00040000, 0x2303},  // Control ⌃
    {0x00080000, 0x2325},  // Option ⌥
    {0x00020000, 0x21E7},  // Shift ⇧
    {0x00100000, 0x2318},  // Command ⌘
};

constexpr UniChar kReturnGlyph = 0x21A9;  // ↩
constexpr UniChar kTabGlyph = 0x21E5;     // ⇥

// The platform's function-key characters: F1 is U+F704, F35 is U+F726.
constexpr UniChar kF1FunctionKey = 0xF704;
constexpr UniChar kF35FunctionKey = 0xF726;

CFStringRef FunctionKeyName(UniChar character) {
  static const CFStringRef kNames[] = {
      CFSTR("F1"),  CFSTR("F2"),  CFSTR("F3"),  CFSTR("F4"),  CFSTR("F5"),  CFSTR("F6"),  CFSTR("F7"),
      CFSTR("F8"),  CFSTR("F9"),  CFSTR("F10"), CFSTR("F11"), CFSTR("F12"), CFSTR("F13"), CFSTR("F14"),
      CFSTR("F15"), CFSTR("F16"), CFSTR("F17"), CFSTR("F18"), CFSTR("F19"), CFSTR("F20"), CFSTR("F21"),
      CFSTR("F22"), CFSTR("F23"), CFSTR("F24"), CFSTR("F25"), CFSTR("F26"), CFSTR("F27"), CFSTR("F28"),
      CFSTR("F29"), CFSTR("F30"), CFSTR("F31"), CFSTR("F32"), CFSTR("F33"), CFSTR("F34"), CFSTR("F35")};
  static_assert(sizeof(kNames) / sizeof(kNames[0]) == kF35FunctionKey - kF1FunctionKey + 1);
  return kNames[character - kF1FunctionKey];
}

constexpr ResType kUnicodeLayoutResourceType = (static_cast<ResType>('u') << 24) | (static_cast<ResType>('c') << 16) |
                                               (static_cast<ResType>('h') << 8) | static_cast<ResType>('r');
constexpr UniCharCount kMaximumKeyLength = 255;

// The one-unit string upper-cased with the current locale; NULL when a step fails.
CFStringRef CreateUppercasedString(const UniChar* characters, CFIndex length) {
  CFMutableStringRef mutableStringRef = CFStringCreateMutable(kCFAllocatorDefault, 0);
  CFLocaleRef localeRef = NULL;
  ZR_CLEANUP {
    ZRDestroyLocaleRef(&localeRef);
    ZRDestroyMutableStringRef(&mutableStringRef);
  };
  if (!mutableStringRef) return NULL;
  CFStringAppendCharacters(mutableStringRef, characters, length);
  localeRef = CFLocaleCopyCurrent();
  CFStringUppercase(mutableStringRef, localeRef);
  return CFStringCreateCopy(kCFAllocatorDefault, mutableStringRef);
}

}  // namespace

OSStatus ZRCopyPrintableStringRefOfCharacter(UniChar inCharacter, CFStringRef* outStringRef, Boolean inLog) {
  if (!outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("outStringRef: %p"), outStringRef);
    return paramErr;
  }

  // The slot is overwritten whatever it held.
  if (inCharacter == kReturnCharCode) {
    *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%C"), kReturnGlyph);
  } else if (inCharacter == kTabCharCode) {
    *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%C"), kTabGlyph);
  } else if (inCharacter == kSpaceCharCode) {
    *outStringRef = CFBundleCopyLocalizedString(CFBundleGetMainBundle(), CFSTR("Key_Space"), CFSTR("Key_Space"), NULL);
  } else if (inCharacter >= kF1FunctionKey && inCharacter <= kF35FunctionKey) {
    *outStringRef = FunctionKeyName(inCharacter);
  } else {
    *outStringRef = CreateUppercasedString(&inCharacter, 1);
  }

  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("*outStringRef is NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyPrintableStringRefOfModifierFlags(UInt32 inModifierFlags, CFStringRef* outStringRef, Boolean inLog) {
  if (!outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("outStringRef: %p"), outStringRef);
    return paramErr;
  }

  UniChar glyphs[4];
  int count = 0;
  for (const ModifierGlyph& modifier : kModifierGlyphs) {
    if (ZRBitIsSet(inModifierFlags, modifier.mask)) glyphs[count++] = modifier.glyph;
  }

  switch (count) {
    case 0:
      *outStringRef = CFSTR("");
      break;
    case 1:
      *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%C"), glyphs[0]);
      break;
    case 2:
      *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%C%C"), glyphs[0], glyphs[1]);
      break;
    case 3:
      *outStringRef =
          CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%C%C%C"), glyphs[0], glyphs[1], glyphs[2]);
      break;
    default:
      *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%C%C%C%C"), glyphs[0], glyphs[1],
                                               glyphs[2], glyphs[3]);
      break;
  }

  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("*outStringRef is NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyPrintableStringRefOfKeyEquivalent(UniChar inCharacter, UInt32 inModifierFlags, CFStringRef* outStringRef,
                                                 Boolean inLog) {
  CFStringRef characterStringRef = NULL;
  CFStringRef modifierStringRef = NULL;
  ZR_CLEANUP {
    ZRDestroyStringRef(&modifierStringRef);
    ZRDestroyStringRef(&characterStringRef);
  };

  if (!outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("outStringRef: %p"), outStringRef);
    return paramErr;
  }

  OSStatus status = ZRCopyPrintableStringRefOfCharacter(inCharacter, &characterStringRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyPrintableStringRefOfCharacter returns %i"), static_cast<int>(status));
    return status;
  }

  status = ZRCopyPrintableStringRefOfModifierFlags(inModifierFlags, &modifierStringRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyPrintableStringRefOfModifierFlags returns %i"), static_cast<int>(status));
    return status;
  }

  *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%@%@"),
                                           modifierStringRef ? modifierStringRef : CFSTR(""),
                                           characterStringRef ? characterStringRef : CFSTR(""));
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateWithFormat returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRGetCharacterOfKeyCode(UInt32 inKeyCode, UniChar* outCharacter, Boolean inLog) {
  if (!outCharacter) {
    ZR_LOG_ERROR(inLog, CFSTR("outCharacter: %p"), outCharacter);
    return paramErr;
  }

  UInt16 keyCode = static_cast<UInt16>(inKeyCode & 0xFFFF);
  KeyboardLayoutRef layout = NULL;
  OSStatus status = KLGetCurrentKeyboardLayout(&layout);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("KLGetCurrentKeyboardLayout returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  KeyboardLayoutKind kind = 0;
  status = KLGetKeyboardLayoutProperty(layout, kKLKind, reinterpret_cast<const void**>(&kind));
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("KLGetKeyboardLayoutProperty returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  if (kind == kKLKCHRKind) {
    // The older 8-bit table. A layout whose table cannot be had leaves the character as it was
    // and still succeeds, on purpose; the string steps below fail silently too.
    const void* table = NULL;
    if (KLGetKeyboardLayoutProperty(layout, kKLKCHRData, &table) != noErr) return noErr;
    UInt32 deadKeyState = 0;
    UInt32 result = KeyTranslate(table, keyCode, &deadKeyState);
    if (deadKeyState != 0) result = KeyTranslate(table, keyCode, &deadKeyState);

    UInt8 byte = static_cast<UInt8>(result & 0xFF);
    CFStringRef byteStringRef =
        CFStringCreateWithBytes(kCFAllocatorDefault, &byte, 1, kCFStringEncodingMacRoman, false);
    CFStringRef upperStringRef = NULL;
    ZR_CLEANUP {
      ZRDestroyStringRef(&upperStringRef);
      ZRDestroyStringRef(&byteStringRef);
    };
    if (!byteStringRef) return noErr;
    UniChar character = CFStringGetCharacterAtIndex(byteStringRef, 0);
    upperStringRef = CreateUppercasedString(&character, 1);
    if (upperStringRef && CFStringGetLength(upperStringRef) > 0)
      *outCharacter = CFStringGetCharacterAtIndex(upperStringRef, 0);
    return noErr;
  }

  // A Unicode layout: its data is the 'uchr' resource of the keyboard script's layout.
  long script = GetScriptManagerVariable(smKeyScript);
  long identifier = GetScriptVariable(static_cast<short>(script), smScriptKeys);
  Handle layoutHandle = GetResource(kUnicodeLayoutResourceType, static_cast<ResID>(identifier));
  if (!layoutHandle) {
    ZR_LOG_ERROR(inLog, CFSTR("layout is NULL"));
    return unknownErr;
  }

  UniChar buffer[kMaximumKeyLength] = {0};
  UniCharCount length = 0;
  UInt32 deadKeyState = 0;
  status = UCKeyTranslate(reinterpret_cast<const UCKeyboardLayout*>(*layoutHandle), keyCode, kUCKeyActionDisplay, 0,
                          LMGetKbdType(), 0, &deadKeyState, kMaximumKeyLength, &length, buffer);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("UCKeyTranslate returns %@ for 0x%X"), ZRCarbonErrorString(status),
                 static_cast<unsigned int>(keyCode));
    return status;
  }
  // Not upper-cased on this path, by design.
  *outCharacter = buffer[0];
  return noErr;
}

OSStatus ZRCopyPrintableStringRefOfHotKey(UInt32 inKeyCode, UInt32 inModifierFlags, CFStringRef* outStringRef,
                                          Boolean inLog) {
  if (!outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("outStringRef: %p"), outStringRef);
    return paramErr;
  }

  UniChar character = 0;
  OSStatus status = ZRGetCharacterOfKeyCode(inKeyCode, &character, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRGetCharacterOfKeyCode returns %i"), static_cast<int>(status));
    return status;
  }

  status = ZRCopyPrintableStringRefOfKeyEquivalent(character, inModifierFlags, outStringRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyPrintableStringRefOfKeyEquivalent returns %i"), static_cast<int>(status));
    return status;
  }
  return noErr;
}
