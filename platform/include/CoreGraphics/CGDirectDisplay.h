// CGDirectDisplay.h: the displays attached to the machine.
//
// On Linux a display is a connected connector of a DRM device (/sys/class/drm/card<N>-<type>-<k>),
// read without a running desktop; a machine without one (a server) has no displays. See
// docs/system.md for the identifiers, the order and what counts as accelerated.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreGraphics/CGGeometry.h>

typedef uint32_t CGDirectDisplayID;
typedef int32_t CGError;
typedef int boolean_t;

enum { kCGErrorSuccess = 0, kCGErrorFailure = 1000, kCGErrorIllegalArgument = 1001, kCGErrorInvalidConnection = 1002 };

#define kCGNullDirectDisplay ((CGDirectDisplayID)0)

CF_EXTERN_C_BEGIN

// The main display: an internal panel if one is connected, else the first connected display in
// device and connector order; kCGNullDirectDisplay when no display is connected.
CF_EXPORT CGDirectDisplayID CGMainDisplayID(void);
// Up to maxDisplays active displays (main first) into activeDisplays, their number into
// *displayCount; with activeDisplays NULL only the number. kCGErrorIllegalArgument for a NULL
// displayCount.
CF_EXPORT CGError CGGetActiveDisplayList(uint32_t maxDisplays, CGDirectDisplayID* activeDisplays,
                                         uint32_t* displayCount);
// Whether the display's device renders with a GPU (it has a DRM render node); false for an
// unknown display and for display-only devices (a firmware frame buffer, a virtual card).
CF_EXPORT boolean_t CGDisplayUsesOpenGLAcceleration(CGDirectDisplayID display);
// Whether the display is the main display.
CF_EXPORT boolean_t CGDisplayIsMain(CGDirectDisplayID display);
// The display's preferred mode in pixels; 0 for an unknown display or one without modes.
CF_EXPORT size_t CGDisplayPixelsWide(CGDirectDisplayID display);
CF_EXPORT size_t CGDisplayPixelsHigh(CGDirectDisplayID display);
// The display's place in the global display space: displays side by side from the main one at
// the origin, left to right in list order. CGRectZero-like (all 0) for an unknown display.
CF_EXPORT CGRect CGDisplayBounds(CGDirectDisplayID display);

CF_EXTERN_C_END
