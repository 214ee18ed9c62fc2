// ZRSystemQueries.cpp: the running system's version, its displays and screens, and its
// processors, as plain values for choosing features and defaults.
#include <AppKit/AppKit.h>
#include <ZRFramework/ZRFramework.h>
#include <mach/mach.h>

#include <cstring>

namespace {

// The first framework release of 10.5: the boundary between Tiger and Leopard.
constexpr double kLeopardAppKitVersionNumber = 900.0;

struct SystemVersion {
  SInt32 major = 0;
  SInt32 minor = 0;
  SInt32 bugFix = 0;
};

// A number whose Gestalt call fails keeps 0; the status itself is not looked at.
SystemVersion ReadSystemVersion() {
  SystemVersion version;
  Gestalt(gestaltSystemVersionMajor, &version.major);
  Gestalt(gestaltSystemVersionMinor, &version.minor);
  Gestalt(gestaltSystemVersionBugFix, &version.bugFix);
  return version;
}

}  // namespace

Boolean ZRSystemIsNewerThanTiger(void) { return NSAppKitVersionNumber >= kLeopardAppKitVersionNumber; }

Boolean ZRSystemIsOlderThanLeopard(void) { return NSAppKitVersionNumber < kLeopardAppKitVersionNumber; }

Boolean ZRSystemVersionIsOlderThanVersion(SInt32 inMajorVersion, SInt32 inMinorVersion, SInt32 inBugFixVersion) {
  SystemVersion system = ReadSystemVersion();
  if (system.major < inMajorVersion) return true;
  if (system.major != inMajorVersion) return false;
  if (system.minor < inMinorVersion) return true;
  if (system.minor != inMinorVersion) return false;
  return system.bugFix < inBugFixVersion;
}

Boolean ZRSystemVersionIsNewerThanVersion(SInt32 inMajorVersion, SInt32 inMinorVersion, SInt32 inBugFixVersion) {
  SystemVersion system = ReadSystemVersion();
  if (system.major > inMajorVersion) return true;
  if (system.major != inMajorVersion) return false;
  if (system.minor > inMinorVersion) return true;
  if (system.minor != inMinorVersion) return false;
  return system.bugFix > inBugFixVersion;
}

Boolean ZRSystemSupportsCoreImage(void) {
  // The answer's low byte, as a Boolean takes it.
  return static_cast<Boolean>(CGDisplayUsesOpenGLAcceleration(CGMainDisplayID()));
}

Boolean ZRSystemHasMultipleScreens(void) {
  NSArray* screens = NSScreen::screens();
  if (!screens) return false;
  return CFArrayGetCount(screens) > 1;
}

UInt32 ZRGetNumberOfProcessors(void) {
  host_basic_info_data_t info;
  std::memset(&info, 0, sizeof info);
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  // The status is not looked at: a failed call leaves the zeroed record, which reads as 1.
  host_info(mach_host_self(), HOST_BASIC_INFO, reinterpret_cast<host_info_t>(&info), &count);
  if (info.logical_cpu <= 0) return 1;
  return static_cast<UInt32>(info.logical_cpu);
}
