// KeyboardLayouts.h: where the current keyboard layout comes from (inside the host layer and
// its tests).
#pragma once

#include <string>

#ifndef ZRP_TESTABLE
#define ZRP_TESTABLE __attribute__((visibility("default")))
#endif

namespace zrp::keyboard {

// An XKB layout by its rules, model, layout, variant and options ("RMLVO"); empty parts take
// xkbcommon's defaults (evdev, pc105, us, none, none).
struct LayoutNames {
  std::string rules, model, layout, variant, options;
  bool operator==(const LayoutNames&) const = default;
};

// The names of the current layout: the XKB_DEFAULT_* variables when any of them is set, else the
// system's keyboard configuration (/etc/default/keyboard, then the X11 configuration that
// systemd-localed keeps), else "us".
ZRP_TESTABLE LayoutNames CurrentLayoutNames();

// The XKB names in the text of /etc/default/keyboard (XKBMODEL="pc105" ...) and of an X11
// configuration section (Option "XkbLayout" "de" ...). False when the text names no layout.
ZRP_TESTABLE bool ParseDefaultKeyboard(const std::string& text, LayoutNames* names);
ZRP_TESTABLE bool ParseXorgKeyboard(const std::string& text, LayoutNames* names);

}  // namespace zrp::keyboard
