// Displays.h: the displays as the kernel's DRM devices show them, read from sysfs, shared by the
// display queries and the screens.
#pragma once

#include <CoreGraphics/CGDirectDisplay.h>

#include <string>
#include <vector>

namespace zrp {

struct DisplayInfo {
  CGDirectDisplayID id = kCGNullDirectDisplay;
  std::string connector;  // "card0-eDP-1"
  size_t width = 0;       // the preferred mode, 0 when the connector lists none
  size_t height = 0;
  bool accelerated = false;
  CGRect bounds = {{0, 0}, {0, 0}};
};

// The connected displays, main first (an internal panel, else device and connector order), each
// placed right of the one before. Empty on a machine without DRM devices or connected displays.
std::vector<DisplayInfo> ActiveDisplays();

}  // namespace zrp
