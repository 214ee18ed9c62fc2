// KeyboardLayouts.h: the current keyboard layout and its properties.
//
// On Linux the current layout is the XKB keymap that the XKB_DEFAULT_* variables name, else
// the system's keyboard configuration, else "us" (see docs/keyboard.md). Each layout is compiled
// once; the layout returned is looked up again on every call, so a change is noticed at once.
// Layout references stay valid for the life of the process.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef struct OpaqueKeyboardLayoutRef* KeyboardLayoutRef;
typedef UInt32 KeyboardLayoutPropertyTag;
typedef UInt32 KeyboardLayoutKind;
typedef SInt32 KeyboardLayoutIdentifier;

// Property tags and the type each gives through oValue. Integer properties are written as a
// 32-bit value at oValue itself: pass the address of a UInt32 or SInt32 cast to const void**.
enum {
  kKLKCHRData = 0,         // const void*: the 'KCHR' data (layouts of the older kind)
  kKLuchrData = 1,         // const UCKeyboardLayout*: the 'uchr' data (Unicode layouts)
  kKLIdentifier = 2,       // KeyboardLayoutIdentifier
  kKLIcon = 3,             // not available: paramErr
  kKLLocalizedName = 4,    // CFStringRef, not retained
  kKLName = 5,             // CFStringRef, not retained: the XKB layout, "de" or "de(nodeadkeys)"
  kKLGroupIdentifier = 6,  // SInt32 script code
  kKLKind = 7,             // KeyboardLayoutKind
  kKLLanguageCode = 9      // not available: paramErr
};

// Layout kinds.
enum { kKLKCHRuchrKind = 0, kKLKCHRKind = 1, kKLuchrKind = 2 };

// The current layout. resNotFound when the layout named by the configuration cannot be compiled
// (an unknown layout or variant); paramErr for a NULL argument.
CF_EXPORT OSStatus KLGetCurrentKeyboardLayout(KeyboardLayoutRef* oKeyboardLayout);
// One property of a layout. paramErr for a NULL argument or an unknown tag; resNotFound for data
// the layout does not have (the 'KCHR' data of a Unicode layout, the 'uchr' data of an older one).
CF_EXPORT OSStatus KLGetKeyboardLayoutProperty(KeyboardLayoutRef iKeyboardLayout,
                                               KeyboardLayoutPropertyTag iPropertyTag, const void** oValue);

CF_EXTERN_C_END
