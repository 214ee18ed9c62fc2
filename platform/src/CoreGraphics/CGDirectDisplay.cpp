// CGDirectDisplay.cpp: the display queries over the displays sysfs shows. Nothing is cached:
// displays come and go, and each query reads a handful of small files.
#include <CoreGraphics/CGDirectDisplay.h>

#include <algorithm>
#include <new>

#include "CoreGraphics/Displays.h"

namespace {

// The display with the identifier; false when none has it (or reading failed for want of memory).
bool FindDisplay(CGDirectDisplayID display, zrp::DisplayInfo* found) {
  if (display == kCGNullDirectDisplay) return false;
  try {
    for (const zrp::DisplayInfo& info : zrp::ActiveDisplays()) {
      if (info.id == display) {
        *found = info;
        return true;
      }
    }
  } catch (const std::bad_alloc&) {
  }
  return false;
}

}  // namespace

CGDirectDisplayID CGMainDisplayID(void) {
  try {
    std::vector<zrp::DisplayInfo> displays = zrp::ActiveDisplays();
    return displays.empty() ? kCGNullDirectDisplay : displays.front().id;
  } catch (const std::bad_alloc&) {
    return kCGNullDirectDisplay;
  }
}

CGError CGGetActiveDisplayList(uint32_t maxDisplays, CGDirectDisplayID* activeDisplays, uint32_t* displayCount) {
  if (!displayCount) return kCGErrorIllegalArgument;
  try {
    std::vector<zrp::DisplayInfo> displays = zrp::ActiveDisplays();
    if (!activeDisplays) {
      *displayCount = static_cast<uint32_t>(displays.size());
      return kCGErrorSuccess;
    }
    uint32_t count = std::min<uint32_t>(maxDisplays, static_cast<uint32_t>(displays.size()));
    for (uint32_t i = 0; i < count; ++i) activeDisplays[i] = displays[i].id;
    *displayCount = count;
    return kCGErrorSuccess;
  } catch (const std::bad_alloc&) {
    return kCGErrorFailure;
  }
}

boolean_t CGDisplayUsesOpenGLAcceleration(CGDirectDisplayID display) {
  zrp::DisplayInfo info;
  return FindDisplay(display, &info) && info.accelerated;
}

boolean_t CGDisplayIsMain(CGDirectDisplayID display) {
  return display != kCGNullDirectDisplay && display == CGMainDisplayID();
}

size_t CGDisplayPixelsWide(CGDirectDisplayID display) {
  zrp::DisplayInfo info;
  return FindDisplay(display, &info) ? info.width : 0;
}

size_t CGDisplayPixelsHigh(CGDirectDisplayID display) {
  zrp::DisplayInfo info;
  return FindDisplay(display, &info) ? info.height : 0;
}

CGRect CGDisplayBounds(CGDirectDisplayID display) {
  zrp::DisplayInfo info;
  return FindDisplay(display, &info) ? info.bounds : CGRectMake(0, 0, 0, 0);
}
