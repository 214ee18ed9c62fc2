// KeyCodes.cpp: the one table from the platform's virtual key codes (Events.h) to Linux evdev
// key codes (linux/input-event-codes.h).
//
// Source of the pairs: both sides name the physical key by its USB HID usage (keyboard page 7);
// the table joins them through the W3C UI Events "KeyboardEvent code" names, which list the
// macOS virtual key and the evdev code of every key. The key left of "1" on ISO keyboards is
// kVK_ANSI_Grave (Backquote, KEY_GRAVE); the extra key beside left Shift is kVK_ISO_Section
// (IntlBackslash, KEY_102ND). Help sits where PC keyboards have Insert; the keypad's Clear where
// they have Num Lock; Eisu and Kana are the Lang2 and Lang1 keys.
#include "Keyboard/KeyCodes.h"

#include <linux/input-event-codes.h>

namespace zrp::keyboard {
namespace {

constexpr uint16_t kFromLayout = 0xFFFF;

// Sorted by virtual key code.
const KeyCodeEntry kKeyCodes[] = {
    {kVK_ANSI_A, KEY_A, kFromLayout},
    {kVK_ANSI_S, KEY_S, kFromLayout},
    {kVK_ANSI_D, KEY_D, kFromLayout},
    {kVK_ANSI_F, KEY_F, kFromLayout},
    {kVK_ANSI_H, KEY_H, kFromLayout},
    {kVK_ANSI_G, KEY_G, kFromLayout},
    {kVK_ANSI_Z, KEY_Z, kFromLayout},
    {kVK_ANSI_X, KEY_X, kFromLayout},
    {kVK_ANSI_C, KEY_C, kFromLayout},
    {kVK_ANSI_V, KEY_V, kFromLayout},
    {kVK_ISO_Section, KEY_102ND, kFromLayout},
    {kVK_ANSI_B, KEY_B, kFromLayout},
    {kVK_ANSI_Q, KEY_Q, kFromLayout},
    {kVK_ANSI_W, KEY_W, kFromLayout},
    {kVK_ANSI_E, KEY_E, kFromLayout},
    {kVK_ANSI_R, KEY_R, kFromLayout},
    {kVK_ANSI_Y, KEY_Y, kFromLayout},
    {kVK_ANSI_T, KEY_T, kFromLayout},
    {kVK_ANSI_1, KEY_1, kFromLayout},
    {kVK_ANSI_2, KEY_2, kFromLayout},
    {kVK_ANSI_3, KEY_3, kFromLayout},
    {kVK_ANSI_4, KEY_4, kFromLayout},
    {kVK_ANSI_6, KEY_6, kFromLayout},
    {kVK_ANSI_5, KEY_5, kFromLayout},
    {kVK_ANSI_Equal, KEY_EQUAL, kFromLayout},
    {kVK_ANSI_9, KEY_9, kFromLayout},
    {kVK_ANSI_7, KEY_7, kFromLayout},
    {kVK_ANSI_Minus, KEY_MINUS, kFromLayout},
    {kVK_ANSI_8, KEY_8, kFromLayout},
    {kVK_ANSI_0, KEY_0, kFromLayout},
    {kVK_ANSI_RightBracket, KEY_RIGHTBRACE, kFromLayout},
    {kVK_ANSI_O, KEY_O, kFromLayout},
    {kVK_ANSI_U, KEY_U, kFromLayout},
    {kVK_ANSI_LeftBracket, KEY_LEFTBRACE, kFromLayout},
    {kVK_ANSI_I, KEY_I, kFromLayout},
    {kVK_ANSI_P, KEY_P, kFromLayout},
    {kVK_Return, KEY_ENTER, kReturnCharCode},
    {kVK_ANSI_L, KEY_L, kFromLayout},
    {kVK_ANSI_J, KEY_J, kFromLayout},
    {kVK_ANSI_Quote, KEY_APOSTROPHE, kFromLayout},
    {kVK_ANSI_K, KEY_K, kFromLayout},
    {kVK_ANSI_Semicolon, KEY_SEMICOLON, kFromLayout},
    {kVK_ANSI_Backslash, KEY_BACKSLASH, kFromLayout},
    {kVK_ANSI_Comma, KEY_COMMA, kFromLayout},
    {kVK_ANSI_Slash, KEY_SLASH, kFromLayout},
    {kVK_ANSI_N, KEY_N, kFromLayout},
    {kVK_ANSI_M, KEY_M, kFromLayout},
    {kVK_ANSI_Period, KEY_DOT, kFromLayout},
    {kVK_Tab, KEY_TAB, kTabCharCode},
    {kVK_Space, KEY_SPACE, kFromLayout},
    {kVK_ANSI_Grave, KEY_GRAVE, kFromLayout},
    {kVK_Delete, KEY_BACKSPACE, kBackspaceCharCode},
    {kVK_Escape, KEY_ESC, kEscapeCharCode},
    {kVK_RightCommand, KEY_RIGHTMETA, kFromLayout},
    {kVK_Command, KEY_LEFTMETA, kFromLayout},
    {kVK_Shift, KEY_LEFTSHIFT, kFromLayout},
    {kVK_CapsLock, KEY_CAPSLOCK, kFromLayout},
    {kVK_Option, KEY_LEFTALT, kFromLayout},
    {kVK_Control, KEY_LEFTCTRL, kFromLayout},
    {kVK_RightShift, KEY_RIGHTSHIFT, kFromLayout},
    {kVK_RightOption, KEY_RIGHTALT, kFromLayout},
    {kVK_RightControl, KEY_RIGHTCTRL, kFromLayout},
    {kVK_Function, KEY_FN, kFromLayout},
    {kVK_F17, KEY_F17, kFunctionKeyCharCode},
    {kVK_ANSI_KeypadDecimal, KEY_KPDOT, kFromLayout},
    {kVK_ANSI_KeypadMultiply, KEY_KPASTERISK, kFromLayout},
    {kVK_ANSI_KeypadPlus, KEY_KPPLUS, kFromLayout},
    {kVK_ANSI_KeypadClear, KEY_NUMLOCK, kClearCharCode},
    {kVK_VolumeUp, KEY_VOLUMEUP, kFromLayout},
    {kVK_VolumeDown, KEY_VOLUMEDOWN, kFromLayout},
    {kVK_Mute, KEY_MUTE, kFromLayout},
    {kVK_ANSI_KeypadDivide, KEY_KPSLASH, kFromLayout},
    {kVK_ANSI_KeypadEnter, KEY_KPENTER, kEnterCharCode},
    {kVK_ANSI_KeypadMinus, KEY_KPMINUS, kFromLayout},
    {kVK_F18, KEY_F18, kFunctionKeyCharCode},
    {kVK_F19, KEY_F19, kFunctionKeyCharCode},
    {kVK_ANSI_KeypadEquals, KEY_KPEQUAL, kFromLayout},
    {kVK_ANSI_Keypad0, KEY_KP0, kFromLayout},
    {kVK_ANSI_Keypad1, KEY_KP1, kFromLayout},
    {kVK_ANSI_Keypad2, KEY_KP2, kFromLayout},
    {kVK_ANSI_Keypad3, KEY_KP3, kFromLayout},
    {kVK_ANSI_Keypad4, KEY_KP4, kFromLayout},
    {kVK_ANSI_Keypad5, KEY_KP5, kFromLayout},
    {kVK_ANSI_Keypad6, KEY_KP6, kFromLayout},
    {kVK_ANSI_Keypad7, KEY_KP7, kFromLayout},
    {kVK_F20, KEY_F20, kFunctionKeyCharCode},
    {kVK_ANSI_Keypad8, KEY_KP8, kFromLayout},
    {kVK_ANSI_Keypad9, KEY_KP9, kFromLayout},
    {kVK_JIS_Yen, KEY_YEN, kFromLayout},
    {kVK_JIS_Underscore, KEY_RO, kFromLayout},
    {kVK_JIS_KeypadComma, KEY_KPJPCOMMA, kFromLayout},
    {kVK_F5, KEY_F5, kFunctionKeyCharCode},
    {kVK_F6, KEY_F6, kFunctionKeyCharCode},
    {kVK_F7, KEY_F7, kFunctionKeyCharCode},
    {kVK_F3, KEY_F3, kFunctionKeyCharCode},
    {kVK_F8, KEY_F8, kFunctionKeyCharCode},
    {kVK_F9, KEY_F9, kFunctionKeyCharCode},
    {kVK_JIS_Eisu, KEY_HANJA, kFromLayout},
    {kVK_F11, KEY_F11, kFunctionKeyCharCode},
    {kVK_JIS_Kana, KEY_HANGEUL, kFromLayout},
    {kVK_F13, KEY_F13, kFunctionKeyCharCode},
    {kVK_F16, KEY_F16, kFunctionKeyCharCode},
    {kVK_F14, KEY_F14, kFunctionKeyCharCode},
    {kVK_F10, KEY_F10, kFunctionKeyCharCode},
    {kVK_ContextualMenu, KEY_COMPOSE, kFromLayout},
    {kVK_F12, KEY_F12, kFunctionKeyCharCode},
    {kVK_F15, KEY_F15, kFunctionKeyCharCode},
    {kVK_Help, KEY_INSERT, kHelpCharCode},
    {kVK_Home, KEY_HOME, kHomeCharCode},
    {kVK_PageUp, KEY_PAGEUP, kPageUpCharCode},
    {kVK_ForwardDelete, KEY_DELETE, kDeleteCharCode},
    {kVK_F4, KEY_F4, kFunctionKeyCharCode},
    {kVK_End, KEY_END, kEndCharCode},
    {kVK_F2, KEY_F2, kFunctionKeyCharCode},
    {kVK_PageDown, KEY_PAGEDOWN, kPageDownCharCode},
    {kVK_F1, KEY_F1, kFunctionKeyCharCode},
    {kVK_LeftArrow, KEY_LEFT, kLeftArrowCharCode},
    {kVK_RightArrow, KEY_RIGHT, kRightArrowCharCode},
    {kVK_DownArrow, KEY_DOWN, kDownArrowCharCode},
    {kVK_UpArrow, KEY_UP, kUpArrowCharCode},
};

// The direct index: virtual key codes run from 0 to 0x7E.
struct Index {
  const KeyCodeEntry* entries[128] = {};
  Index() {
    for (const KeyCodeEntry& entry : kKeyCodes) entries[entry.virtualKey] = &entry;
  }
};

}  // namespace

const KeyCodeEntry* KeyCodeTable(int* count) {
  *count = static_cast<int>(sizeof(kKeyCodes) / sizeof(kKeyCodes[0]));
  return kKeyCodes;
}

const KeyCodeEntry* FindKeyCode(uint16_t virtualKey) {
  static const Index index;
  return virtualKey < 128 ? index.entries[virtualKey] : nullptr;
}

}  // namespace zrp::keyboard
