// Gestalt.cpp: the system-version selectors of Gestalt, answered for the platform release whose
// behaviour the host layer provides, and the test seam that makes a selector answer otherwise.
#include <CoreServices/CoreServices.h>
#include <ZRPlatform/Testing.h>

#include <map>
#include <mutex>

namespace {

// Mac OS X 10.6.8: the last release that ran the application's PowerPC build. Every feature
// test an application makes takes its modern path, and none asks for more than it could have
// seen. NSAppKitVersionNumber says the same release.
constexpr SInt32 kMajor = 10;
constexpr SInt32 kMinor = 6;
constexpr SInt32 kBugFix = 8;

struct Override {
  OSErr status;
  SInt32 response;
};

std::mutex gOverridesMutex;
std::map<OSType, Override>& Overrides() {
  static std::map<OSType, Override> overrides;
  return overrides;
}

}  // namespace

OSErr Gestalt(OSType selector, SInt32* response) {
  if (!response) return paramErr;
  {
    std::lock_guard<std::mutex> lock(gOverridesMutex);
    auto found = Overrides().find(selector);
    if (found != Overrides().end()) {
      if (found->second.status == noErr) *response = found->second.response;
      return found->second.status;
    }
  }
  switch (selector) {
    case gestaltSystemVersionMajor:
      *response = kMajor;
      return noErr;
    case gestaltSystemVersionMinor:
      *response = kMinor;
      return noErr;
    case gestaltSystemVersionBugFix:
      *response = kBugFix;
      return noErr;
    case gestaltSystemVersion:
      // Binary-coded decimal with each part capped at 9, as the platform gives it: 0x1068.
      *response =
          ((kMajor / 10) << 12) | ((kMajor % 10) << 8) | ((kMinor > 9 ? 9 : kMinor) << 4) | (kBugFix > 9 ? 9 : kBugFix);
      return noErr;
    default:
      return gestaltUndefSelectorErr;
  }
}

void ZRTestingSetGestaltResponse(OSType selector, OSErr status, SInt32 response) {
  std::lock_guard<std::mutex> lock(gOverridesMutex);
  Overrides()[selector] = Override{status, response};
}

void ZRTestingResetGestalt(void) {
  std::lock_guard<std::mutex> lock(gOverridesMutex);
  Overrides().clear();
}
