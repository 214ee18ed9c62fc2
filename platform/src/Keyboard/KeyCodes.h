// KeyCodes.h: the platform's virtual key codes as Linux evdev key codes.
#pragma once

#include <Carbon/Events.h>

#include <cstdint>

#ifndef ZRP_TESTABLE
#define ZRP_TESTABLE __attribute__((visibility("default")))
#endif

namespace zrp::keyboard {

struct KeyCodeEntry {
  uint16_t virtualKey;  // kVK_...
  uint16_t evdev;       // KEY_... of <linux/input-event-codes.h>
  // The character the platform's layouts give this key whatever the layout (arrows, function
  // keys, Return ...); 0xFFFF when the character comes from the layout.
  uint16_t fixedCharacter;
};

// Every virtual key code that has an evdev counterpart, in order of virtual key code.
ZRP_TESTABLE const KeyCodeEntry* KeyCodeTable(int* count);
// The entry of a virtual key code; nullptr when it has none.
ZRP_TESTABLE const KeyCodeEntry* FindKeyCode(uint16_t virtualKey);

}  // namespace zrp::keyboard
