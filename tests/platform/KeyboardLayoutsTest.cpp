// KeyboardLayoutsTest.cpp: the keyboard host services: where the current layout comes from,
// its properties and resources, UCKeyTranslate over the compiled layouts (modifiers, dead keys,
// display, options, errors), KeyTranslate over an old-style table, and the key-code table.
#include <Carbon/Carbon.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <stdlib.h>

#include <set>
#include <string>

#include "Keyboard/KeyCodes.h"
#include "Keyboard/KeyboardLayouts.h"
#include "TestSupport.h"

namespace {

using zrp::keyboard::LayoutNames;

const char* const kVariables[] = {"XKB_DEFAULT_RULES", "XKB_DEFAULT_MODEL", "XKB_DEFAULT_LAYOUT", "XKB_DEFAULT_VARIANT",
                                  "XKB_DEFAULT_OPTIONS"};

// The system's configuration is read from fixture files in a folder of the test's own.
class KeyboardLayoutsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("KeyboardLayoutsTest");
    ASSERT_FALSE(folder_.empty());
    defaultKeyboard_ = folder_ + "/keyboard";
    xorgKeyboard_ = folder_ + "/00-keyboard.conf";
    ZRTestingSetKeyboardConfigurationFiles(defaultKeyboard_.c_str(), xorgKeyboard_.c_str());
    for (const char* name : kVariables) unsetenv(name);
    setenv("XKB_DEFAULT_LAYOUT", "us", 1);
  }
  void TearDown() override {
    for (const char* name : kVariables) unsetenv(name);
    ZRTestingPresentKeyboardLayout(-1, 0, NULL, NULL, 0, NULL, 0);
    ZRTestingSetKeyboardConfigurationFiles(NULL, NULL);
    zrtest::RemoveFolder(folder_);
  }

  static KeyboardLayoutRef Current() {
    KeyboardLayoutRef layout = NULL;
    EXPECT_EQ(KLGetCurrentKeyboardLayout(&layout), noErr);
    return layout;
  }
  static std::string Name(KeyboardLayoutRef layout) {
    const void* name = NULL;
    EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLName, &name), noErr);
    return zrtest::Utf8(name);
  }
  static const UCKeyboardLayout* Data(KeyboardLayoutRef layout) {
    const void* data = NULL;
    EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLuchrData, &data), noErr);
    return static_cast<const UCKeyboardLayout*>(data);
  }
  // The characters of one key event; "status N" on failure.
  static std::u16string Translate(const UCKeyboardLayout* data, UInt16 key, UInt16 action, UInt32 modifiers,
                                  UInt32* deadKeyState, OptionBits options = 0, UniCharCount maximum = 8) {
    UniChar buffer[8] = {};
    UniCharCount length = 99;
    OSStatus status =
        UCKeyTranslate(data, key, action, modifiers, LMGetKbdType(), options, deadKeyState, maximum, &length, buffer);
    if (status != noErr) return u"status " + std::u16string(1, static_cast<char16_t>('0' + (-status) % 10));
    return std::u16string(reinterpret_cast<char16_t*>(buffer), length);
  }
  static std::u16string Down(const UCKeyboardLayout* data, UInt16 key, UInt32 modifiers, UInt32* state) {
    return Translate(data, key, kUCKeyActionDown, modifiers, state);
  }

  std::string folder_, defaultKeyboard_, xorgKeyboard_;
};

// ---- Where the layout comes from ---------------------------------------------------------------

TEST_F(KeyboardLayoutsTest, EnvironmentComesFirst) {
  ASSERT_TRUE(zrtest::WriteFile(defaultKeyboard_, "XKBLAYOUT=\"fr\"\n"));
  setenv("XKB_DEFAULT_LAYOUT", "de", 1);
  setenv("XKB_DEFAULT_VARIANT", "nodeadkeys", 1);
  LayoutNames names = zrp::keyboard::CurrentLayoutNames();
  EXPECT_EQ(names.layout, "de");
  EXPECT_EQ(names.variant, "nodeadkeys");
  EXPECT_EQ(Name(Current()), "de(nodeadkeys)");
  // Any one variable is enough to leave the system's configuration aside.
  unsetenv("XKB_DEFAULT_LAYOUT");
  unsetenv("XKB_DEFAULT_VARIANT");
  setenv("XKB_DEFAULT_MODEL", "pc104", 1);
  EXPECT_EQ(Name(Current()), "us");
  EXPECT_EQ(LMGetKbdType(), 40);
}

TEST_F(KeyboardLayoutsTest, SystemConfigurationThenX11ThenUS) {
  unsetenv("XKB_DEFAULT_LAYOUT");
  EXPECT_EQ(Name(Current()), "us");  // neither file exists
  ASSERT_TRUE(zrtest::WriteFile(xorgKeyboard_,
                                "# Written by systemd-localed\nSection \"InputClass\"\n"
                                "        Identifier \"system-keyboard\"\n        MatchIsKeyboard \"on\"\n"
                                "        Option \"XkbLayout\" \"fr\"\n        Option \"XkbModel\" \"pc105\"\n"
                                "EndSection\n"));
  EXPECT_EQ(Name(Current()), "fr");
  ASSERT_TRUE(zrtest::WriteFile(defaultKeyboard_,
                                "# KEYBOARD CONFIGURATION FILE\n\nXKBMODEL=\"jp106\"\nXKBLAYOUT='de'\n"
                                "XKBVARIANT=\"\"\nXKBOPTIONS=\"\"\n\nBACKSPACE=\"guess\"\n"));
  EXPECT_EQ(Name(Current()), "de");  // a change of the file is noticed at once
  EXPECT_EQ(LMGetKbdType(), 42);
  ASSERT_TRUE(zrtest::WriteFile(defaultKeyboard_, "BACKSPACE=\"guess\"\n"));
  EXPECT_EQ(Name(Current()), "fr");  // a file without a layout passes on to the next
}

TEST_F(KeyboardLayoutsTest, ParsesTheConfigurationFiles) {
  LayoutNames names;
  EXPECT_TRUE(zrp::keyboard::ParseDefaultKeyboard(
      "  # comment\nexport XKBLAYOUT=\"de,us\"\nXKBVARIANT=nodeadkeys\nXKBOPTIONS=\"grp:alt_shift_toggle\"\n", &names));
  EXPECT_EQ(names.layout, "de,us");
  EXPECT_EQ(names.variant, "nodeadkeys");
  EXPECT_EQ(names.options, "grp:alt_shift_toggle");
  names = LayoutNames();
  EXPECT_FALSE(zrp::keyboard::ParseDefaultKeyboard("#XKBLAYOUT=\"de\"\nXKBLAYOUT=\"\"\n", &names));
  names = LayoutNames();
  EXPECT_TRUE(zrp::keyboard::ParseXorgKeyboard(
      "Section \"InputClass\"\n  option \"xkblayout\" \"ch\"\n  Option \"XkbVariant\" \"fr\"\n"
      "  # Option \"XkbModel\" \"pc104\"\n  Option \"XkbOptions\"\nEndSection\n",
      &names));
  EXPECT_EQ(names.layout, "ch");
  EXPECT_EQ(names.variant, "fr");
  EXPECT_EQ(names.model, "");
  names = LayoutNames();
  EXPECT_FALSE(zrp::keyboard::ParseXorgKeyboard("Section \"InputClass\"\nEndSection\n", &names));
}

TEST_F(KeyboardLayoutsTest, EachLayoutIsCompiledOnceAndKeepsItsIdentity) {
  KeyboardLayoutRef us = Current();
  setenv("XKB_DEFAULT_LAYOUT", "de", 1);
  KeyboardLayoutRef de = Current();
  EXPECT_NE(us, de);
  setenv("XKB_DEFAULT_LAYOUT", "us", 1);
  EXPECT_EQ(Current(), us);
  SInt32 usIdentifier = 0, deIdentifier = 0;
  EXPECT_EQ(KLGetKeyboardLayoutProperty(us, kKLIdentifier, reinterpret_cast<const void**>(&usIdentifier)), noErr);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(de, kKLIdentifier, reinterpret_cast<const void**>(&deIdentifier)), noErr);
  EXPECT_NE(usIdentifier, deIdentifier);
  EXPECT_EQ(GetScriptVariable(GetScriptManagerVariable(smKeyScript), smScriptKeys), usIdentifier);
}

// Compiling a layout fills C++ containers: a failing allocation gives memFullErr (the
// layout is then compiled on a later call), never an exception.
TEST_F(KeyboardLayoutsTest, AFailedAllocationWhileCompilingIsMemFullErr) {
  setenv("XKB_DEFAULT_LAYOUT", "it", 1);
  bool failed = false;
  bool done = false;
  // Every one of the first allocations, then every seventh: a compilation makes some 800.
  for (long n = 1; n <= 100000 && !done; n += n < 64 ? 1 : 7) {
    ZRTestingFailCxxAllocation(n);
    KeyboardLayoutRef layout = NULL;
    OSStatus status = KLGetCurrentKeyboardLayout(&layout);
    done = ZRTestingCxxFailurePending();
    ZRTestingFailCxxAllocation(0);
    if (status == noErr) {
      EXPECT_TRUE(done) << "allocation " << n;
      EXPECT_EQ(Name(layout), "it") << "allocation " << n;
      done = true;
    } else {
      ASSERT_EQ(status, memFullErr) << "allocation " << n;
      EXPECT_EQ(layout, nullptr);
      failed = true;
    }
  }
  EXPECT_TRUE(failed);
  EXPECT_TRUE(done);
}

TEST_F(KeyboardLayoutsTest, UnknownLayoutCannotBeHad) {
  setenv("XKB_DEFAULT_LAYOUT", "zz-no-such-layout", 1);
  KeyboardLayoutRef layout = NULL;
  EXPECT_EQ(KLGetCurrentKeyboardLayout(&layout), resNotFound);
  EXPECT_EQ(layout, nullptr);
  EXPECT_EQ(GetScriptVariable(smRoman, smScriptKeys), 0);
  EXPECT_EQ(KLGetCurrentKeyboardLayout(NULL), paramErr);
}

// ---- Properties and resources ------------------------------------------------------------------

TEST_F(KeyboardLayoutsTest, Properties) {
  KeyboardLayoutRef layout = Current();
  UInt32 kind = 99;
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLKind, reinterpret_cast<const void**>(&kind)), noErr);
  EXPECT_EQ(kind, static_cast<UInt32>(kKLuchrKind));
  const void* value = NULL;
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLKCHRData, &value), resNotFound);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLIcon, &value), paramErr);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLLanguageCode, &value), paramErr);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, 99, &value), paramErr);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(NULL, kKLKind, &value), paramErr);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLKind, NULL), paramErr);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLLocalizedName, &value), noErr);
  EXPECT_EQ(zrtest::Utf8(value), "us");
  EXPECT_EQ(Data(layout)->keyLayoutHeaderFormat, kUCKeyLayoutHeaderFormat);
}

TEST_F(KeyboardLayoutsTest, ResourcesByIdentifier) {
  KeyboardLayoutRef layout = Current();
  SInt32 identifier = 0;
  KLGetKeyboardLayoutProperty(layout, kKLIdentifier, reinterpret_cast<const void**>(&identifier));
  Handle uchr = GetResource('u' << 24 | 'c' << 16 | 'h' << 8 | 'r', static_cast<ResID>(identifier));
  ASSERT_NE(uchr, nullptr);
  EXPECT_EQ(ResError(), noErr);
  EXPECT_EQ(reinterpret_cast<const void*>(*uchr), static_cast<const void*>(Data(layout)));
  EXPECT_EQ(GetResource('K' << 24 | 'C' << 16 | 'H' << 8 | 'R', static_cast<ResID>(identifier)), nullptr);
  EXPECT_EQ(ResError(), resNotFound);
  EXPECT_EQ(GetResource('u' << 24 | 'c' << 16 | 'h' << 8 | 'r', 1), nullptr);
  EXPECT_EQ(ResError(), resNotFound);
}

TEST_F(KeyboardLayoutsTest, ScriptVariables) {
  EXPECT_EQ(GetScriptManagerVariable(smKeyScript), smRoman);
  EXPECT_EQ(GetScriptManagerVariable(smSysScript), smRoman);
  EXPECT_EQ(GetScriptManagerVariable(-1), 0);
  EXPECT_EQ(GetScriptVariable(smRoman, 0), 0);
  EXPECT_EQ(GetScriptVariable(1, smScriptKeys), 0);
}

TEST_F(KeyboardLayoutsTest, KeyboardTypeFollowsTheModel) {
  EXPECT_EQ(LMGetKbdType(), 41);  // pc105 by default: ISO
  setenv("XKB_DEFAULT_MODEL", "pc104", 1);
  EXPECT_EQ(LMGetKbdType(), 40);
  setenv("XKB_DEFAULT_MODEL", "jp106", 1);
  setenv("XKB_DEFAULT_LAYOUT", "jp", 1);
  EXPECT_EQ(LMGetKbdType(), 42);
}

TEST_F(KeyboardLayoutsTest, PresentedLayoutReplacesTheCurrentOne) {
  const UInt8 kchr[4] = {0, 2, 0, 0};
  ZRTestingPresentKeyboardLayout(kKLKCHRKind, 77, "presented", kchr, sizeof(kchr), NULL, 0);
  KeyboardLayoutRef layout = Current();
  EXPECT_EQ(Name(layout), "presented");
  const void* data = NULL;
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLKCHRData, &data), noErr);
  EXPECT_EQ(memcmp(data, kchr, sizeof(kchr)), 0);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLuchrData, &data), resNotFound);
  EXPECT_NE(GetResource('K' << 24 | 'C' << 16 | 'H' << 8 | 'R', 77), nullptr);
  ZRTestingFailKeyboardLayoutProperty(kKLName, -1);
  EXPECT_EQ(KLGetKeyboardLayoutProperty(layout, kKLName, &data), -1);
  ZRTestingFailKeyboardLayoutProperty(kKLName, noErr);
  ZRTestingPresentKeyboardLayout(-1, 0, NULL, NULL, 0, NULL, 0);
  EXPECT_EQ(Name(Current()), "us");
}

// ---- UCKeyTranslate --------------------------------------------------------------------------

TEST_F(KeyboardLayoutsTest, ModifierTables) {
  setenv("XKB_DEFAULT_LAYOUT", "de", 1);
  const UCKeyboardLayout* data = Data(Current());
  UInt32 state = 0;
  EXPECT_EQ(Down(data, kVK_ANSI_Z, 0, &state), u"y");
  EXPECT_EQ(Down(data, kVK_ANSI_Z, shiftKey >> 8, &state), u"Y");
  EXPECT_EQ(Down(data, kVK_ANSI_Z, rightShiftKey >> 8, &state), u"Y");
  EXPECT_EQ(Down(data, kVK_ANSI_Z, alphaLock >> 8, &state), u"Y");
  EXPECT_EQ(Down(data, kVK_ANSI_Q, optionKey >> 8, &state), u"@");  // AltGr
  EXPECT_EQ(Down(data, kVK_ANSI_E, optionKey >> 8, &state), u"€");
  EXPECT_EQ(Down(data, kVK_ANSI_A, controlKey >> 8, &state), u"\x01");
  EXPECT_EQ(Down(data, kVK_ANSI_A, cmdKey >> 8, &state), u"a");
  EXPECT_EQ(Down(data, kVK_ANSI_1, shiftKey >> 8, &state), u"!");
  EXPECT_EQ(Down(data, kVK_ANSI_KeypadMultiply, 0, &state), u"*");
  EXPECT_EQ(Down(data, kVK_UpArrow, shiftKey >> 8, &state), u"\x1E");
  EXPECT_EQ(Down(data, kVK_F5, 0, &state), u"\x10");
  EXPECT_EQ(Down(data, kVK_ForwardDelete, 0, &state), u"\x7F");
  EXPECT_EQ(Down(data, kVK_Shift, 0, &state), u"");
  EXPECT_EQ(Down(data, 0x7F, 0, &state), u"");   // no such key
  EXPECT_EQ(Down(data, 0x400, 0, &state), u"");  // beyond the tables
  EXPECT_EQ(state, 0u);
}

TEST_F(KeyboardLayoutsTest, DeadKeys) {
  setenv("XKB_DEFAULT_LAYOUT", "de", 1);
  const UCKeyboardLayout* data = Data(Current());
  UInt32 state = 0;
  EXPECT_EQ(Down(data, kVK_ANSI_Equal, 0, &state), u"");  // the acute accent waits
  EXPECT_NE(state, 0u);
  EXPECT_EQ(Down(data, kVK_ANSI_E, 0, &state), u"é");
  EXPECT_EQ(state, 0u);
  Down(data, kVK_ANSI_Equal, 0, &state);
  EXPECT_EQ(Down(data, kVK_ANSI_E, shiftKey >> 8, &state), u"É");
  Down(data, kVK_ANSI_Equal, 0, &state);
  EXPECT_EQ(Down(data, kVK_Space, 0, &state), u"´");
  Down(data, kVK_ANSI_Equal, 0, &state);
  EXPECT_EQ(Down(data, kVK_ANSI_Equal, 0, &state), u"´");  // twice: the accent
  Down(data, kVK_ANSI_Equal, 0, &state);
  EXPECT_EQ(Down(data, kVK_ANSI_X, 0, &state), u"´x");  // no completion: the accent, then the key
  Down(data, kVK_ANSI_Grave, 0, &state);                // circumflex
  EXPECT_EQ(Down(data, kVK_ANSI_O, 0, &state), u"ô");
  Down(data, kVK_ANSI_Grave, 0, &state);
  UInt32 circumflex = state;
  EXPECT_EQ(Down(data, kVK_ANSI_Equal, 0, &state), u"^");  // another dead key ends this one
  EXPECT_NE(state, circumflex);
  EXPECT_EQ(Down(data, kVK_ANSI_A, 0, &state), u"á");
  EXPECT_EQ(state, 0u);
}

TEST_F(KeyboardLayoutsTest, DisplayUpAndNoDeadKeys) {
  setenv("XKB_DEFAULT_LAYOUT", "de", 1);
  const UCKeyboardLayout* data = Data(Current());
  UInt32 state = 0;
  EXPECT_EQ(Translate(data, kVK_ANSI_Equal, kUCKeyActionDisplay, 0, &state), u"´");
  EXPECT_EQ(state, 0u);
  Down(data, kVK_ANSI_Equal, 0, &state);
  UInt32 pending = state;
  EXPECT_EQ(Translate(data, kVK_ANSI_E, kUCKeyActionDisplay, 0, &state), u"e");  // the state is left alone
  EXPECT_EQ(state, pending);
  EXPECT_EQ(Translate(data, kVK_ANSI_E, kUCKeyActionUp, 0, &state), u"");
  EXPECT_EQ(state, pending);
  EXPECT_EQ(Translate(data, kVK_ANSI_E, kUCKeyActionAutoKey, 0, &state), u"é");
  EXPECT_EQ(Translate(data, kVK_ANSI_Equal, kUCKeyActionDown, 0, &state, kUCKeyTranslateNoDeadKeysMask), u"´");
  EXPECT_EQ(state, 0u);
}

TEST_F(KeyboardLayoutsTest, TranslationErrors) {
  const UCKeyboardLayout* data = Data(Current());
  UInt32 state = 0;
  UniChar buffer[4];
  UniCharCount length = 0;
  EXPECT_EQ(UCKeyTranslate(NULL, 0, 0, 0, 0, 0, &state, 4, &length, buffer), paramErr);
  EXPECT_EQ(UCKeyTranslate(data, 0, 0, 0, 0, 0, NULL, 4, &length, buffer), paramErr);
  EXPECT_EQ(UCKeyTranslate(data, 0, 0, 0, 0, 0, &state, 4, NULL, buffer), paramErr);
  EXPECT_EQ(UCKeyTranslate(data, 0, 0, 0, 0, 0, &state, 4, &length, NULL), paramErr);
  EXPECT_EQ(UCKeyTranslate(data, 0, 4, 0, 0, 0, &state, 4, &length, buffer), paramErr);
  length = 9;
  EXPECT_EQ(UCKeyTranslate(data, kVK_ANSI_A, kUCKeyActionDown, 0, 0, 0, &state, 0, &length, NULL),
            kUCOutputBufferTooSmall);
  EXPECT_EQ(length, 0u);
  const UInt32 broken[16] = {0x0BAD};
  EXPECT_EQ(
      UCKeyTranslate(reinterpret_cast<const UCKeyboardLayout*>(broken), 0, 0, 0, 0, 0, &state, 4, &length, buffer),
      paramErr);
}

// ---- KeyTranslate ------------------------------------------------------------------------------

TEST_F(KeyboardLayoutsTest, OldStyleTranslation) {
  // Version, modifier map (Shift picks table 1), two tables, one dead key on key 24 of table 0.
  std::vector<UInt8> data = {0, 2};
  for (int modifiers = 0; modifiers < 256; ++modifiers) data.push_back((modifiers & 0x02) ? 1 : 0);
  data.insert(data.end(), {0, 2});
  for (int table = 0; table < 2; ++table) {
    UInt8 keys[128] = {};
    keys[0] = table ? 'A' : 'a';
    keys[14] = table ? 'E' : 'e';
    keys[24] = 0xAB;
    data.insert(data.end(), keys, keys + 128);
  }
  data.insert(data.end(), {0, 1, 0, 24, 0, 1, 'e', 0x8E, 0, 0xAB});
  UInt32 state = 0;
  EXPECT_EQ(KeyTranslate(data.data(), 0, &state), static_cast<UInt32>('a'));
  EXPECT_EQ(KeyTranslate(data.data(), 0 | 0x0200, &state), static_cast<UInt32>('A'));
  EXPECT_EQ(KeyTranslate(data.data(), 0 | 0x80, &state), 0u);  // key up
  EXPECT_EQ(KeyTranslate(data.data(), 24, &state), 0u);
  EXPECT_NE(state, 0u);
  EXPECT_EQ(KeyTranslate(data.data(), 14, &state), 0x8Eu);  // é
  EXPECT_EQ(state, 0u);
  KeyTranslate(data.data(), 24, &state);
  EXPECT_EQ(KeyTranslate(data.data(), 0, &state), (0xABu << 16) | 'a');  // no completion: two characters
  EXPECT_EQ(KeyTranslate(data.data(), 24 | 0x0200, &state), 0xABu);      // the dead key is in table 0 only
  EXPECT_EQ(KeyTranslate(NULL, 0, &state), 0u);
  EXPECT_EQ(KeyTranslate(data.data(), 0, NULL), 0u);
}

// ---- The key-code table ------------------------------------------------------------------------

TEST_F(KeyboardLayoutsTest, KeyCodeTableIsOneToOne) {
  int count = 0;
  const zrp::keyboard::KeyCodeEntry* entries = zrp::keyboard::KeyCodeTable(&count);
  std::set<int> virtualKeys, evdevCodes;
  for (int i = 0; i < count; ++i) {
    EXPECT_TRUE(virtualKeys.insert(entries[i].virtualKey).second) << entries[i].virtualKey;
    EXPECT_TRUE(evdevCodes.insert(entries[i].evdev).second) << entries[i].evdev;
    EXPECT_EQ(zrp::keyboard::FindKeyCode(entries[i].virtualKey), &entries[i]);
    if (i > 0) {
      EXPECT_LT(entries[i - 1].virtualKey, entries[i].virtualKey);
    }
  }
  const int functionKeys[] = {kVK_F1,  kVK_F2,  kVK_F3,  kVK_F4,  kVK_F5,  kVK_F6,  kVK_F7,  kVK_F8,  kVK_F9,  kVK_F10,
                              kVK_F11, kVK_F12, kVK_F13, kVK_F14, kVK_F15, kVK_F16, kVK_F17, kVK_F18, kVK_F19, kVK_F20};
  const int evdevFunctionKeys[] = {KEY_F1,  KEY_F2,  KEY_F3,  KEY_F4,  KEY_F5,  KEY_F6,  KEY_F7,
                                   KEY_F8,  KEY_F9,  KEY_F10, KEY_F11, KEY_F12, KEY_F13, KEY_F14,
                                   KEY_F15, KEY_F16, KEY_F17, KEY_F18, KEY_F19, KEY_F20};
  for (int i = 0; i < 20; ++i) {
    const auto* entry = zrp::keyboard::FindKeyCode(static_cast<uint16_t>(functionKeys[i]));
    ASSERT_NE(entry, nullptr) << i;
    EXPECT_EQ(entry->evdev, evdevFunctionKeys[i]);
    EXPECT_EQ(entry->fixedCharacter, kFunctionKeyCharCode);
  }
  EXPECT_EQ(zrp::keyboard::FindKeyCode(kVK_ISO_Section)->evdev, KEY_102ND);
  EXPECT_EQ(zrp::keyboard::FindKeyCode(kVK_ANSI_Grave)->evdev, KEY_GRAVE);
  EXPECT_EQ(zrp::keyboard::FindKeyCode(kVK_JIS_Yen)->evdev, KEY_YEN);
  EXPECT_EQ(zrp::keyboard::FindKeyCode(kVK_JIS_Underscore)->evdev, KEY_RO);
  EXPECT_EQ(zrp::keyboard::FindKeyCode(kVK_ANSI_KeypadEnter)->evdev, KEY_KPENTER);
  EXPECT_EQ(zrp::keyboard::FindKeyCode(kVK_UpArrow)->evdev, KEY_UP);
  EXPECT_EQ(zrp::keyboard::FindKeyCode(0x34), nullptr);
  EXPECT_EQ(zrp::keyboard::FindKeyCode(0x80), nullptr);
}

}  // namespace
