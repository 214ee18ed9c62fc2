// Displays.cpp: the displays of the machine from the DRM devices under <sysfs>/class/drm: every
// connector whose status is "connected" is a display, with or without a running desktop.
#include "CoreGraphics/Displays.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <tuple>

#include "runtime/Sysfs.h"

namespace zrp {
namespace {

namespace fs = std::filesystem;

// Built-in panels: where a laptop's menu bar would be.
bool IsInternalPanel(const std::string& type) { return type == "eDP" || type == "LVDS" || type == "DSI"; }

bool ParseNumber(const std::string& text, unsigned long* value) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  *value = std::strtoul(text.c_str(), nullptr, 10);
  return true;
}

// A card renders with a GPU when its device also offers a render node ("renderD128"); display-only
// devices (simpledrm, a firmware frame buffer) have none.
bool HasRenderNode(const fs::path& drm, unsigned long card) {
  std::error_code error;
  fs::directory_iterator entries(drm / ("card" + std::to_string(card)) / "device" / "drm", error);
  if (error) return false;
  for (const fs::directory_entry& entry : entries) {
    if (entry.path().filename().string().rfind("renderD", 0) == 0) return true;
  }
  return false;
}

struct Candidate {
  DisplayInfo info;
  bool internal = false;
  unsigned long card = 0;
  unsigned long number = 0;  // the kernel's connector id, else the connector's index on its card
};

}  // namespace

std::vector<DisplayInfo> ActiveDisplays() {
  fs::path drm = fs::path(SysfsRoot()) / "class" / "drm";
  std::vector<Candidate> candidates;
  std::error_code error;
  fs::directory_iterator entries(drm, error);
  if (error) return {};
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : entries) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());

  for (const std::string& name : names) {
    // "card<N>-<type>-<k>"; "card<N>" alone and "renderD<M>" are devices, not connectors.
    if (name.rfind("card", 0) != 0) continue;
    size_t dash = name.find('-');
    size_t lastDash = name.rfind('-');
    if (dash == std::string::npos || lastDash == dash) continue;
    Candidate candidate;
    if (!ParseNumber(name.substr(4, dash - 4), &candidate.card)) continue;
    std::string status;
    if (!ReadFirstLine((drm / name / "status").string(), &status) || status != "connected") continue;
    candidate.internal = IsInternalPanel(name.substr(dash + 1, lastDash - dash - 1));
    std::string text;
    unsigned long connectorID = 0;
    if (ReadFirstLine((drm / name / "connector_id").string(), &text) && ParseNumber(text, &connectorID)) {
      candidate.number = connectorID;
    } else {
      // Older kernels do not publish the id: the connector's index among its card's, in name order.
      unsigned long index = 0;
      std::string prefix = name.substr(0, dash + 1);
      for (const std::string& other : names) {
        if (other.rfind(prefix, 0) == 0) ++index;
        if (other == name) break;
      }
      candidate.number = index;
    }
    candidate.info.connector = name;
    candidate.info.id = static_cast<CGDirectDisplayID>(((candidate.card + 1) << 16) | (candidate.number & 0xFFFF));
    std::string mode;
    if (ReadFirstLine((drm / name / "modes").string(), &mode)) {
      size_t x = mode.find('x');
      unsigned long width = 0;
      unsigned long height = 0;
      // "1920x1080", sometimes with an "i" for interlaced modes.
      std::string heightText = x == std::string::npos ? "" : mode.substr(x + 1);
      while (!heightText.empty() && !std::isdigit(static_cast<unsigned char>(heightText.back()))) heightText.pop_back();
      if (x != std::string::npos && ParseNumber(mode.substr(0, x), &width) && ParseNumber(heightText, &height)) {
        candidate.info.width = width;
        candidate.info.height = height;
      }
    }
    candidate.info.accelerated = HasRenderNode(drm, candidate.card);
    candidates.push_back(std::move(candidate));
  }

  std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return std::make_tuple(!a.internal, a.card, a.number) < std::make_tuple(!b.internal, b.card, b.number);
  });
  std::vector<DisplayInfo> displays;
  CGFloat x = 0;
  for (Candidate& candidate : candidates) {
    candidate.info.bounds =
        CGRectMake(x, 0, static_cast<CGFloat>(candidate.info.width), static_cast<CGFloat>(candidate.info.height));
    x += static_cast<CGFloat>(candidate.info.width);
    displays.push_back(std::move(candidate.info));
  }
  return displays;
}

}  // namespace zrp
