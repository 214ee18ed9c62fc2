// NSScreen.h: the screens, one per active display (CGGetActiveDisplayList), the main display's
// first. The NSScreen class's methods are functions in the namespace NSScreen, over screen objects
// that are host objects like any other (CFRetain, CFRelease, CFEqual, %@ work on them).
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreGraphics/CGDirectDisplay.h>
#include <Foundation/NSObjCRuntime.h>

typedef const struct __NSScreen* NSScreenRef;
typedef CGRect NSRect;

#ifdef __cplusplus
namespace NSScreen {

// The type identifier of screen objects.
__attribute__((visibility("default"))) CFTypeID typeID();

// +[NSScreen screens]: an array of every screen, autoreleased (it needs an autorelease pool);
// empty on a machine without displays; nil only when the objects cannot be made.
__attribute__((visibility("default"))) NSArray* screens();
// +[NSScreen mainScreen]: the first of screens(), autoreleased; nil when there is none.
__attribute__((visibility("default"))) NSScreenRef mainScreen();

// -[NSScreen frame]: the display's bounds (CGDisplayBounds) when the screen was made.
__attribute__((visibility("default"))) NSRect frame(NSScreenRef screen);
// -[NSScreen deviceDescription]: "NSScreenNumber" (the display identifier) and "NSDeviceSize"
// ({width, height} as an array of two numbers), lent by the screen.
__attribute__((visibility("default"))) NSDictionary* deviceDescription(NSScreenRef screen);

}  // namespace NSScreen
#endif
