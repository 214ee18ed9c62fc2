// ZRKeyboardStringTest.cpp: printable characters, modifier glyphs, key equivalents, key codes and
// hot keys on the us, de and fr layouts in English and German, the older 8-bit layouts, and every
// failure path.
#include <Carbon/Carbon.h>
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::Pointer;
using zrtest::UseLocale;
using zrtest::Utf8;
using zrtest::WithoutLines;

constexpr UInt32 kControl = 0x00040000;
constexpr UInt32 kOption = 0x00080000;
constexpr UInt32 kShift = 0x00020000;
constexpr UInt32 kCommand = 0x00100000;
constexpr UInt32 kCapsLock = 0x00010000;

std::string CarbonText(OSStatus status) { return Utf8(ZRCarbonErrorString(status)); }

// Each test runs in English with a layout named by XKB_DEFAULT_LAYOUT; the system's keyboard
// configuration is never read (its files point at nothing).
class ZRKeyboardStringTest : public zrtest::PrivatePreferencesTest {
 protected:
  void SetUp() override {
    PrivatePreferencesTest::SetUp();
    ZRTestingSetKeyboardConfigurationFiles("/nonexistent/keyboard", "/nonexistent/00-keyboard.conf");
    for (const char* name : {"XKB_DEFAULT_RULES", "XKB_DEFAULT_MODEL", "XKB_DEFAULT_VARIANT", "XKB_DEFAULT_OPTIONS"})
      unsetenv(name);
    UseLayout("us");
  }
  void TearDown() override {
    ZRTestingPresentKeyboardLayout(-1, 0, NULL, NULL, 0, NULL, 0);
    ZRTestingFailKeyboardLayoutProperty(0, noErr);
    ZRTestingFailAllocation(0);
    unsetenv("XKB_DEFAULT_LAYOUT");
    ZRTestingSetKeyboardConfigurationFiles(NULL, NULL);
    PrivatePreferencesTest::TearDown();
  }

  static void UseLayout(const char* layout) { setenv("XKB_DEFAULT_LAYOUT", layout, 1); }

  static std::string Printable(UniChar character) {
    CFStringRef string = NULL;
    OSStatus status = ZRCopyPrintableStringRefOfCharacter(character, &string, true);
    if (status != noErr) return "status " + std::to_string(status);
    std::string text = Utf8(string);
    CFRelease(string);
    return text;
  }
  static std::string Modifiers(UInt32 flags) {
    CFStringRef string = NULL;
    OSStatus status = ZRCopyPrintableStringRefOfModifierFlags(flags, &string, true);
    if (status != noErr) return "status " + std::to_string(status);
    std::string text = Utf8(string);
    CFRelease(string);
    return text;
  }
  static std::string Equivalent(UniChar character, UInt32 flags) {
    CFStringRef string = NULL;
    OSStatus status = ZRCopyPrintableStringRefOfKeyEquivalent(character, flags, &string, true);
    if (status != noErr) return "status " + std::to_string(status);
    std::string text = Utf8(string);
    CFRelease(string);
    return text;
  }
  static std::string HotKey(UInt32 keyCode, UInt32 flags) {
    CFStringRef string = NULL;
    OSStatus status = ZRCopyPrintableStringRefOfHotKey(keyCode, flags, &string, true);
    if (status != noErr) return "status " + std::to_string(status);
    std::string text = Utf8(string);
    CFRelease(string);
    return text;
  }
  static UniChar Character(UInt32 keyCode) {
    UniChar character = 0xFFFF;
    EXPECT_EQ(ZRGetCharacterOfKeyCode(keyCode, &character, true), noErr) << keyCode;
    return character;
  }

  NSAutoreleasePool pool_;
};

// ---- Characters -------------------------------------------------------------------------------

TEST_F(ZRKeyboardStringTest, CharactersAreUpperCased) {
  EXPECT_EQ(Printable('p'), "P");
  EXPECT_EQ(Printable('P'), "P");
  EXPECT_EQ(Printable('1'), "1");
  EXPECT_EQ(Printable(0x00E4), "Ä");
  EXPECT_EQ(Printable(0x00DF), "SS");  // full case mapping: ß has no one-letter capital
  EXPECT_EQ(Printable(','), ",");
}

TEST_F(ZRKeyboardStringTest, ReturnAndTabHaveGlyphs) {
  EXPECT_EQ(Printable(0x000D), "↩");
  EXPECT_EQ(Printable(0x0009), "⇥");
  EXPECT_EQ(Printable(0x0003), "\x03");  // the keypad's enter has no glyph
}

TEST_F(ZRKeyboardStringTest, SpaceIsLocalized) {
  EXPECT_EQ(Printable(' '), "Space");
  UseLocale("de_DE.UTF-8");
  EXPECT_EQ(Printable(' '), "Leertaste");
}

TEST_F(ZRKeyboardStringTest, FunctionKeyCharactersAreNamed) {
  EXPECT_EQ(Printable(0xF704), "F1");
  EXPECT_EQ(Printable(0xF70F), "F12");
  EXPECT_EQ(Printable(0xF717), "F20");
  EXPECT_EQ(Printable(0xF726), "F35");
  for (int i = 0; i <= 0xF726 - 0xF704; ++i)
    EXPECT_EQ(Printable(static_cast<UniChar>(0xF704 + i)), "F" + std::to_string(i + 1));
}

TEST_F(ZRKeyboardStringTest, OtherKeysPrintAsTheirOwnCharacter) {
  EXPECT_EQ(Printable(0xF727), "\xEF\x9C\xA7");  // U+F727
  EXPECT_EQ(Printable(0xF703), "\xEF\x9C\x83");  // U+F703, the right arrow
  EXPECT_EQ(Printable(0x001B), "\x1B");          // escape
  EXPECT_EQ(Printable(0x007F), "\x7F");          // delete
}

TEST_F(ZRKeyboardStringTest, CharacterOverwritesAFullSlot) {
  CFStringRef kept = zrtest::MakeString("kept");
  CFStringRef slot = kept;
  EXPECT_EQ(ZRCopyPrintableStringRefOfCharacter('x', &slot, true), noErr);
  EXPECT_EQ(Utf8(slot), "X");
  CFRelease(slot);
  CFRelease(kept);
}

TEST_F(ZRKeyboardStringTest, CharacterFailures) {
  for (Boolean inLog : {false, true}) {
    LogCapture log;
    EXPECT_EQ(ZRCopyPrintableStringRefOfCharacter('x', NULL, inLog), paramErr);
    CFStringRef slot = NULL;
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyPrintableStringRefOfCharacter('x', &slot, inLog), unknownErr);
    EXPECT_EQ(slot, nullptr);
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyPrintableStringRefOfCharacter(0x0D, &slot, inLog), unknownErr);
    EXPECT_EQ(slot, nullptr);
    std::vector<std::string> expected;
    if (inLog) {
      expected = {zrtest::ErrorLine("ZRCopyPrintableStringRefOfCharacter", "outStringRef: 0x0"),
                  zrtest::ErrorLine("ZRCopyPrintableStringRefOfCharacter", "*outStringRef is NULL"),
                  zrtest::ErrorLine("ZRCopyPrintableStringRefOfCharacter", "*outStringRef is NULL")};
    }
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

// ---- Modifier flags ---------------------------------------------------------------------------

TEST_F(ZRKeyboardStringTest, ModifierGlyphsInFixedOrder) {
  EXPECT_EQ(Modifiers(0), "");
  EXPECT_EQ(Modifiers(kControl), "⌃");
  EXPECT_EQ(Modifiers(kOption), "⌥");
  EXPECT_EQ(Modifiers(kShift), "⇧");
  EXPECT_EQ(Modifiers(kCommand), "⌘");
  EXPECT_EQ(Modifiers(kCommand | kOption), "⌥⌘");
  EXPECT_EQ(Modifiers(kCommand | kShift), "⇧⌘");
  EXPECT_EQ(Modifiers(kCommand | kShift | kControl), "⌃⇧⌘");
  EXPECT_EQ(Modifiers(kControl | kOption | kShift | kCommand), "⌃⌥⇧⌘");
}

TEST_F(ZRKeyboardStringTest, OtherModifierBitsAreIgnored) {
  EXPECT_EQ(Modifiers(kCapsLock), "");
  EXPECT_EQ(Modifiers(0x00200000 | 0x00800000 | 0x0000FFFF), "");  // numeric pad, function key, device bits
  EXPECT_EQ(Modifiers(0xFFFFFFFFu), "⌃⌥⇧⌘");
}

TEST_F(ZRKeyboardStringTest, ModifierFailures) {
  for (Boolean inLog : {false, true}) {
    LogCapture log;
    EXPECT_EQ(ZRCopyPrintableStringRefOfModifierFlags(kCommand, NULL, inLog), paramErr);
    CFStringRef full = CFSTR("full");
    EXPECT_EQ(ZRCopyPrintableStringRefOfModifierFlags(kCommand, &full, inLog), paramErr);
    EXPECT_EQ(Utf8(full), "full");
    CFStringRef slot = NULL;
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyPrintableStringRefOfModifierFlags(kCommand, &slot, inLog), unknownErr);
    EXPECT_EQ(slot, nullptr);
    std::vector<std::string> expected;
    if (inLog) {
      expected = {zrtest::ErrorLine("ZRCopyPrintableStringRefOfModifierFlags", "outStringRef: 0x0"),
                  zrtest::ErrorLine("ZRCopyPrintableStringRefOfModifierFlags", "outStringRef: " + Pointer(&full)),
                  zrtest::ErrorLine("ZRCopyPrintableStringRefOfModifierFlags", "*outStringRef is NULL")};
    }
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

// ---- Key equivalents --------------------------------------------------------------------------

TEST_F(ZRKeyboardStringTest, KeyEquivalents) {
  EXPECT_EQ(Equivalent('p', kControl | kOption | kCommand), "⌃⌥⌘P");
  EXPECT_EQ(Equivalent('p', 0), "P");
  EXPECT_EQ(Equivalent(0x0D, kCommand), "⌘↩");
  EXPECT_EQ(Equivalent(0x09, 0), "⇥");
  EXPECT_EQ(Equivalent(0xF70F, kShift | kCommand), "⇧⌘F12");
  EXPECT_EQ(Equivalent(' ', kControl), "⌃Space");
  UseLocale("de_DE.UTF-8");
  EXPECT_EQ(Equivalent(' ', kControl), "⌃Leertaste");
}

TEST_F(ZRKeyboardStringTest, KeyEquivalentFailures) {
  for (Boolean inLog : {false, true}) {
    LogCapture log;
    EXPECT_EQ(ZRCopyPrintableStringRefOfKeyEquivalent('p', kCommand, NULL, inLog), paramErr);
    CFStringRef full = CFSTR("full");
    EXPECT_EQ(ZRCopyPrintableStringRefOfKeyEquivalent('p', kCommand, &full, inLog), paramErr);
    CFStringRef slot = NULL;
    // The character's own string, then (F1 needs none) the glyphs', then the joined one.
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyPrintableStringRefOfKeyEquivalent('p', kCommand, &slot, inLog), unknownErr);
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyPrintableStringRefOfKeyEquivalent(0xF704, kCommand, &slot, inLog), unknownErr);
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyPrintableStringRefOfKeyEquivalent(0xF704, 0, &slot, inLog), unknownErr);
    EXPECT_EQ(slot, nullptr);
    std::vector<std::string> expected;
    if (inLog) {
      const char* self = "ZRCopyPrintableStringRefOfKeyEquivalent";
      expected = {zrtest::ErrorLine(self, "outStringRef: 0x0"),
                  zrtest::ErrorLine(self, "outStringRef: " + Pointer(&full)),
                  zrtest::ErrorLine("ZRCopyPrintableStringRefOfCharacter", "*outStringRef is NULL"),
                  zrtest::ErrorLine(self, "ZRCopyPrintableStringRefOfCharacter returns -2223"),
                  zrtest::ErrorLine("ZRCopyPrintableStringRefOfModifierFlags", "*outStringRef is NULL"),
                  zrtest::ErrorLine(self, "ZRCopyPrintableStringRefOfModifierFlags returns -2223"),
                  zrtest::ErrorLine(self, "CFStringCreateWithFormat returns NULL")};
    }
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

TEST_F(ZRKeyboardStringTest, KeyEquivalentLeaksNothingWhereverAnAllocationFails) {
  long live = ZRTestingLiveObjectCount();
  for (long n = 1; n <= 6; ++n) {
    CFStringRef slot = NULL;
    ZRTestingFailAllocation(n);
    OSStatus status = ZRCopyPrintableStringRefOfKeyEquivalent('p', kControl | kCommand, &slot, false);
    bool failed = !ZRTestingFailurePending();
    ZRTestingFailAllocation(0);
    if (status == noErr) {
      EXPECT_EQ(Utf8(slot), "⌃⌘P");
      CFRelease(slot);
    } else {
      EXPECT_TRUE(failed);
      EXPECT_EQ(slot, nullptr);
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
  }
}

// ---- Key codes and hot keys on XKB layouts -----------------------------------------------------

TEST_F(ZRKeyboardStringTest, CharactersOfKeyCodesOnUS) {
  EXPECT_EQ(Character(kVK_ANSI_A), u'a');  // not upper-cased on a Unicode layout
  EXPECT_EQ(Character(kVK_ANSI_Z), u'z');
  EXPECT_EQ(Character(kVK_ANSI_Y), u'y');
  EXPECT_EQ(Character(kVK_ANSI_Q), u'q');
  EXPECT_EQ(Character(kVK_ANSI_1), u'1');
  EXPECT_EQ(Character(kVK_ANSI_Equal), u'=');
  EXPECT_EQ(Character(kVK_ANSI_Grave), u'`');
  EXPECT_EQ(Character(kVK_Space), u' ');
  EXPECT_EQ(Character(kVK_Return), 0x0D);
  EXPECT_EQ(Character(kVK_F1), 0x10);
  EXPECT_EQ(Character(kVK_LeftArrow), 0x1C);
  EXPECT_EQ(Character(kVK_ANSI_Keypad7), u'7');
  EXPECT_EQ(Character(0x7F), 0);        // no key: nothing
  EXPECT_EQ(Character(0x10000), u'a');  // only the low 16 bits count
}

TEST_F(ZRKeyboardStringTest, CharactersOfKeyCodesOnGerman) {
  UseLayout("de");
  EXPECT_EQ(Character(kVK_ANSI_Z), u'y');  // QWERTZ: Y and Z swap places
  EXPECT_EQ(Character(kVK_ANSI_Y), u'z');
  EXPECT_EQ(Character(kVK_ANSI_LeftBracket), 0x00FC);  // ü
  EXPECT_EQ(Character(kVK_ANSI_Semicolon), 0x00F6);    // ö
  EXPECT_EQ(Character(kVK_ANSI_Quote), 0x00E4);        // ä
  EXPECT_EQ(Character(kVK_ANSI_Minus), 0x00DF);        // ß
  EXPECT_EQ(Character(kVK_ANSI_Equal), 0x00B4);        // the acute dead key shows its accent
  EXPECT_EQ(Character(kVK_ANSI_Grave), u'^');          // the circumflex dead key
}

TEST_F(ZRKeyboardStringTest, CharactersOfKeyCodesOnFrench) {
  UseLayout("fr");
  EXPECT_EQ(Character(kVK_ANSI_A), u'q');  // AZERTY
  EXPECT_EQ(Character(kVK_ANSI_Q), u'a');
  EXPECT_EQ(Character(kVK_ANSI_W), u'z');
  EXPECT_EQ(Character(kVK_ANSI_Z), u'w');
  EXPECT_EQ(Character(kVK_ANSI_Semicolon), u'm');
  EXPECT_EQ(Character(kVK_ANSI_1), u'&');
  EXPECT_EQ(Character(kVK_ANSI_2), 0x00E9);  // é
  EXPECT_EQ(Character(kVK_ANSI_LeftBracket), u'^');
}

TEST_F(ZRKeyboardStringTest, HotKeysInEveryLayout) {
  EXPECT_EQ(HotKey(kVK_ANSI_Z, kCommand), "⌘Z");
  EXPECT_EQ(HotKey(kVK_ANSI_P, kControl | kOption | kCommand), "⌃⌥⌘P");
  EXPECT_EQ(HotKey(kVK_Return, kCommand), "⌘↩");
  EXPECT_EQ(HotKey(kVK_Tab, 0), "⇥");
  EXPECT_EQ(HotKey(kVK_Space, kControl), "⌃Space");
  UseLayout("de");
  EXPECT_EQ(HotKey(kVK_ANSI_Z, kCommand), "⌘Y");
  EXPECT_EQ(HotKey(kVK_ANSI_Y, kShift | kCommand), "⇧⌘Z");
  EXPECT_EQ(HotKey(kVK_ANSI_LeftBracket, kOption), "⌥Ü");
  EXPECT_EQ(HotKey(kVK_ANSI_Equal, kCommand), "⌘´");
  UseLayout("fr");
  EXPECT_EQ(HotKey(kVK_ANSI_Q, kCommand), "⌘A");
  EXPECT_EQ(HotKey(kVK_ANSI_2, kCommand), "⌘É");
  EXPECT_EQ(HotKey(kVK_ANSI_W, kCommand), "⌘Z");
}

TEST_F(ZRKeyboardStringTest, HotKeysInGerman) {
  UseLocale("de_DE.UTF-8");
  UseLayout("de");
  EXPECT_EQ(HotKey(kVK_Space, kControl | kOption), "⌃⌥Leertaste");
  EXPECT_EQ(HotKey(kVK_ANSI_Z, kCommand), "⌘Y");
  UseLayout("fr");
  EXPECT_EQ(HotKey(kVK_Space, kCommand), "⌘Leertaste");
  EXPECT_EQ(HotKey(kVK_ANSI_A, kCommand), "⌘Q");
}

TEST_F(ZRKeyboardStringTest, VariantsAreLayoutsOfTheirOwn) {
  UseLayout("de");
  setenv("XKB_DEFAULT_VARIANT", "nodeadkeys", 1);
  EXPECT_EQ(Character(kVK_ANSI_Equal), 0x00B4);  // the accent itself now, still ´
  EXPECT_EQ(Character(kVK_ANSI_Z), u'y');
  unsetenv("XKB_DEFAULT_VARIANT");
}

TEST_F(ZRKeyboardStringTest, KeyCodeFailures) {
  for (Boolean inLog : {false, true}) {
    LogCapture log;
    EXPECT_EQ(ZRGetCharacterOfKeyCode(0, NULL, inLog), paramErr);
    UseLayout("zz-no-such-layout");
    UniChar character = 0x1234;
    EXPECT_EQ(ZRGetCharacterOfKeyCode(0, &character, inLog), resNotFound);
    EXPECT_EQ(character, 0x1234);
    UseLayout("us");
    ZRTestingFailKeyboardLayoutProperty(kKLKind, paramErr);
    EXPECT_EQ(ZRGetCharacterOfKeyCode(0, &character, inLog), paramErr);
    ZRTestingFailKeyboardLayoutProperty(kKLKind, noErr);
    std::vector<std::string> expected;
    if (inLog) {
      const char* self = "ZRGetCharacterOfKeyCode";
      expected = {zrtest::ErrorLine(self, "outCharacter: 0x0"),
                  zrtest::ErrorLine(self, "KLGetCurrentKeyboardLayout returns " + CarbonText(resNotFound)),
                  zrtest::ErrorLine(self, "KLGetKeyboardLayoutProperty returns " + CarbonText(paramErr))};
    }
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

TEST_F(ZRKeyboardStringTest, UnicodeLayoutWithoutData) {
  ZRTestingPresentKeyboardLayout(kKLuchrKind, 1234, "empty", NULL, 0, NULL, 0);
  for (Boolean inLog : {false, true}) {
    LogCapture log;
    UniChar character = 0x1234;
    EXPECT_EQ(ZRGetCharacterOfKeyCode(0, &character, inLog), unknownErr);
    EXPECT_EQ(character, 0x1234);
    std::vector<std::string> expected;
    if (inLog) expected = {zrtest::ErrorLine("ZRGetCharacterOfKeyCode", "layout is NULL")};
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

TEST_F(ZRKeyboardStringTest, UnicodeLayoutThatCannotTranslate) {
  // Data whose header is not that of a Unicode layout.
  const UInt32 broken[16] = {0x0BAD};
  ZRTestingPresentKeyboardLayout(kKLuchrKind, 1235, "broken", NULL, 0, broken, sizeof(broken));
  for (Boolean inLog : {false, true}) {
    LogCapture log;
    UniChar character = 0x1234;
    EXPECT_EQ(ZRGetCharacterOfKeyCode(0x10006, &character, inLog), paramErr);
    std::vector<std::string> expected;
    if (inLog)
      expected = {
          zrtest::ErrorLine("ZRGetCharacterOfKeyCode", "UCKeyTranslate returns " + CarbonText(paramErr) + " for 0x6")};
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

TEST_F(ZRKeyboardStringTest, HotKeyFailures) {
  for (Boolean inLog : {false, true}) {
    LogCapture log;
    EXPECT_EQ(ZRCopyPrintableStringRefOfHotKey(0, kCommand, NULL, inLog), paramErr);
    CFStringRef full = CFSTR("full");
    EXPECT_EQ(ZRCopyPrintableStringRefOfHotKey(0, kCommand, &full, inLog), paramErr);
    CFStringRef slot = NULL;
    UseLayout("zz-no-such-layout");
    EXPECT_EQ(ZRCopyPrintableStringRefOfHotKey(0, kCommand, &slot, inLog), resNotFound);
    UseLayout("us");
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyPrintableStringRefOfHotKey(kVK_ANSI_A, kCommand, &slot, inLog), unknownErr);
    EXPECT_EQ(slot, nullptr);
    std::vector<std::string> expected;
    if (inLog) {
      const char* self = "ZRCopyPrintableStringRefOfHotKey";
      expected = {
          zrtest::ErrorLine(self, "outStringRef: 0x0"),
          zrtest::ErrorLine(self, "outStringRef: " + Pointer(&full)),
          zrtest::ErrorLine("ZRGetCharacterOfKeyCode", "KLGetCurrentKeyboardLayout returns " + CarbonText(resNotFound)),
          zrtest::ErrorLine(self, "ZRGetCharacterOfKeyCode returns -192"),
          zrtest::ErrorLine("ZRCopyPrintableStringRefOfCharacter", "*outStringRef is NULL"),
          zrtest::ErrorLine("ZRCopyPrintableStringRefOfKeyEquivalent",
                            "ZRCopyPrintableStringRefOfCharacter returns -2223"),
          zrtest::ErrorLine(self, "ZRCopyPrintableStringRefOfKeyEquivalent returns -2223")};
    }
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

// ---- Layouts of the older 8-bit kind ------------------------------------------------------------

// A 'KCHR' resource (big-endian): table 0 without modifiers, table 1 with Shift; key 0 gives 'a',
// key 6 'z', key 41 the Mac OS Roman 0x8A (ä), key 24 is a dead acute (0xAB) in table 0 whose
// completions turn 'e' into 0x8E (é), and key 14 gives 'e'.
std::vector<UInt8> OldStyleLayout() {
  std::vector<UInt8> data;
  auto put16 = [&](UInt16 value) {
    data.push_back(static_cast<UInt8>(value >> 8));
    data.push_back(static_cast<UInt8>(value));
  };
  put16(2);  // version
  for (int modifiers = 0; modifiers < 256; ++modifiers) data.push_back((modifiers & (shiftKey >> 8)) ? 1 : 0);
  put16(2);
  for (int table = 0; table < 2; ++table) {
    UInt8 keys[128] = {};
    keys[kVK_ANSI_A] = table ? 'A' : 'a';
    keys[kVK_ANSI_Z] = table ? 'Z' : 'z';
    keys[kVK_ANSI_E] = table ? 'E' : 'e';
    keys[kVK_ANSI_Quote] = table ? 0x80 : 0x8A;
    keys[kVK_ANSI_Equal] = 0xAB;
    data.insert(data.end(), keys, keys + 128);
  }
  put16(1);           // one dead key
  data.push_back(0);  // table 0
  data.push_back(kVK_ANSI_Equal);
  put16(2);  // completions
  data.push_back('e');
  data.push_back(0x8E);
  data.push_back(' ');
  data.push_back(0xAB);
  data.push_back(0);  // no match: the accent itself
  data.push_back(0xAB);
  return data;
}

TEST_F(ZRKeyboardStringTest, OldStyleLayoutsAreUpperCased) {
  std::vector<UInt8> layout = OldStyleLayout();
  ZRTestingPresentKeyboardLayout(kKLKCHRKind, 1236, "old", layout.data(), layout.size(), NULL, 0);
  EXPECT_EQ(Character(kVK_ANSI_A), u'A');
  EXPECT_EQ(Character(kVK_ANSI_Z), u'Z');
  EXPECT_EQ(Character(kVK_ANSI_Quote), 0x00C4);                            // Mac OS Roman 0x8A is ä, upper-cased Ä
  EXPECT_EQ(Character(kVK_ANSI_Equal), 0x00B4);                            // the dead key twice: its no-match accent ´
  EXPECT_EQ(Character(kVK_ANSI_A | static_cast<UInt32>(shiftKey)), u'A');  // the modifier byte picks the Shift table
  EXPECT_EQ(Character(kVK_ANSI_Quote | static_cast<UInt32>(shiftKey)), 0x00C4);  // Mac OS Roman 0x80 is Ä
  EXPECT_EQ(Character(kVK_ANSI_B), 0);                                           // a key without a character
  EXPECT_EQ(HotKey(kVK_ANSI_A, kCommand), "⌘A");
}

TEST_F(ZRKeyboardStringTest, OldStyleLayoutWithoutItsTableSucceedsSilently) {
  ZRTestingPresentKeyboardLayout(kKLKCHRKind, 1237, "old without table", NULL, 0, NULL, 0);
  LogCapture log;
  UniChar character = 0x1234;
  EXPECT_EQ(ZRGetCharacterOfKeyCode(kVK_ANSI_A, &character, true), noErr);
  EXPECT_EQ(character, 0x1234);
  CFStringRef string = NULL;
  EXPECT_EQ(ZRCopyPrintableStringRefOfHotKey(kVK_ANSI_A, kCommand, &string, true), noErr);
  EXPECT_EQ(zrtest::Units(string), std::u16string(u"⌘") + char16_t(0));  // the key equivalent of U+0000
  CFRelease(string);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRKeyboardStringTest, LayoutOfBothKindsUsesItsUnicodeData) {
  // A layout of both kinds goes the Unicode way: with its 'uchr' data missing, that fails.
  std::vector<UInt8> layout = OldStyleLayout();
  ZRTestingPresentKeyboardLayout(kKLKCHRuchrKind, 1238, "both", layout.data(), layout.size(), NULL, 0);
  UniChar character = 0x1234;
  EXPECT_EQ(ZRGetCharacterOfKeyCode(kVK_ANSI_A, &character, false), unknownErr);
}

}  // namespace
