// SystemCommands.cpp: `zr system` (what the host reports and what Linux really is: kernel,
// distribution, processors, displays and screens), `zr apps running|find|launch` and
// `zr power sleep|shutdown|restart|logout`.
#include <AppKit/AppKit.h>
#include <ZRFramework/ZRFramework.h>
#include <mach/mach.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "Command.h"

namespace zr::tool {
namespace {

std::string CodeText(OSType code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    char c = static_cast<char>((code >> shift) & 0xFF);
    text += (c >= 0x20 && c < 0x7F) ? c : '?';
  }
  return text;
}

bool ParseSignature(const std::string& text, OSType* signature) {
  if (text.size() != 4) return false;
  OSType code = 0;
  for (unsigned char c : text) {
    if (c < 0x20 || c >= 0x7F) return false;
    code = (code << 8) | c;
  }
  *signature = code;
  return true;
}

std::string StatusText(OSStatus status) { return Utf8(ZRCarbonErrorString(status)); }

// A field of /etc/os-release (its quotes removed), or "".
std::string OsRelease(const std::string& key) {
  std::ifstream file("/etc/os-release");
  std::string line;
  while (std::getline(file, line)) {
    if (line.compare(0, key.size() + 1, key + "=") != 0) continue;
    std::string value = line.substr(key.size() + 1);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    return value;
  }
  return std::string();
}

void PrintDisplays() {
  uint32_t count = 0;
  CGDirectDisplayID displays[32];
  if (CGGetActiveDisplayList(32, displays, &count) != kCGErrorSuccess) count = 0;
  std::printf("Displays: %u\n", count);
  for (uint32_t i = 0; i < count; ++i) {
    std::printf("  display %u: %zux%zu%s%s\n", displays[i], CGDisplayPixelsWide(displays[i]),
                CGDisplayPixelsHigh(displays[i]), CGDisplayIsMain(displays[i]) ? ", main" : "",
                CGDisplayUsesOpenGLAcceleration(displays[i]) ? ", accelerated" : "");
  }
  NSArray* screens = NSScreen::screens();
  CFIndex screenCount = screens ? CFArrayGetCount(reinterpret_cast<CFArrayRef>(screens)) : 0;
  std::printf("Screens: %ld\n", static_cast<long>(screenCount));
  for (CFIndex i = 0; i < screenCount; ++i) {
    NSRect frame =
        NSScreen::frame(static_cast<NSScreenRef>(CFArrayGetValueAtIndex(reinterpret_cast<CFArrayRef>(screens), i)));
    std::printf("  screen %ld: %gx%g at (%g, %g)\n", static_cast<long>(i + 1), frame.size.width, frame.size.height,
                frame.origin.x, frame.origin.y);
  }
}

int RunSystem(const Arguments& arguments) {
  if (!arguments.empty()) return UsageError("usage: zr system");
  SInt32 major = 0, minor = 0, bugFix = 0;
  Gestalt(gestaltSystemVersionMajor, &major);
  Gestalt(gestaltSystemVersionMinor, &minor);
  Gestalt(gestaltSystemVersionBugFix, &bugFix);
  std::printf("Version: %d.%d.%d (AppKit %.2f)\n", static_cast<int>(major), static_cast<int>(minor),
              static_cast<int>(bugFix), NSAppKitVersionNumber);
  struct utsname names;
  if (uname(&names) == 0) std::printf("Kernel: %s %s %s\n", names.sysname, names.release, names.machine);
  std::string distribution = OsRelease("PRETTY_NAME");
  if (distribution.empty()) distribution = OsRelease("NAME");
  std::printf("Distribution: %s\n", distribution.empty() ? "unknown" : distribution.c_str());
  host_basic_info_data_t info;
  mach_msg_type_number_t infoCount = HOST_BASIC_INFO_COUNT;
  if (host_info(mach_host_self(), HOST_BASIC_INFO, reinterpret_cast<host_info_t>(&info), &infoCount) == KERN_SUCCESS) {
    std::printf("Processors: %d usable of %d logical, %d cores\n", info.logical_cpu, info.logical_cpu_max,
                info.physical_cpu_max);
  }
  PrintDisplays();
  return 0;
}

// One line per application: its process id, signature and name.
int RunAppsRunning(const Arguments& arguments) {
  OSType wanted = 0;
  if (arguments.size() > 1) return UsageError("usage: zr apps running [SIGNATURE]");
  if (arguments.size() == 1 && !ParseSignature(arguments[0], &wanted))
    return UsageError("not a signature (four characters): '" + arguments[0] + "'");
  int found = 0;
  ProcessSerialNumber psn = {0, kNoProcess};
  while (GetNextProcess(&psn) == noErr) {
    unsigned char name[32] = {};
    ProcessInfoRec info = {};
    info.processInfoLength = sizeof info;
    info.processName = name;
    pid_t pid = -1;
    if (GetProcessInformation(&psn, &info) != noErr || GetProcessPID(&psn, &pid) != noErr) continue;
    if (arguments.empty() ? info.processType != kProcessTypeApplication : info.processSignature != wanted) continue;
    std::printf("%d %s %.*s\n", static_cast<int>(pid), CodeText(info.processSignature).c_str(), name[0],
                reinterpret_cast<const char*>(name + 1));
    ++found;
  }
  // As pgrep does: a signature no process carries is a failure.
  return arguments.empty() || found > 0 ? 0 : 1;
}

int RunAppsFind(const Arguments& arguments) {
  OSType signature = 0;
  if (arguments.size() != 1) return UsageError("usage: zr apps find SIGNATURE");
  if (!ParseSignature(arguments[0], &signature))
    return UsageError("not a signature (four characters): '" + arguments[0] + "'");
  FSRef ref;
  OSStatus status = LSFindApplicationForInfo(signature, nullptr, nullptr, &ref, nullptr);
  UInt8 path[4096];
  if (status == noErr) status = FSRefMakePath(&ref, path, sizeof path);
  if (status != noErr) return Failure("no application '" + arguments[0] + "': " + StatusText(status));
  std::printf("%s\n", reinterpret_cast<const char*>(path));
  return 0;
}

int RunAppsLaunch(const Arguments& arguments) {
  OSType signature = 0;
  if (arguments.size() != 1) return UsageError("usage: zr apps launch SIGNATURE");
  if (!ParseSignature(arguments[0], &signature))
    return UsageError("not a signature (four characters): '" + arguments[0] + "'");
  ProcessSerialNumber psn = {0, kNoProcess};
  OSStatus status = ZRLaunchApplicationWithSignatureIfNecessary(signature, &psn, false);
  if (status != noErr) return Failure("cannot launch '" + arguments[0] + "': " + StatusText(status));
  pid_t pid = -1;
  if (GetProcessPID(&psn, &pid) == noErr) {
    std::printf("%d\n", static_cast<int>(pid));
  } else {
    std::printf("launched, already ended\n");
  }
  return 0;
}

int RunApps(const Arguments& arguments) {
  if (arguments.empty()) return UsageError("usage: zr apps running [SIGNATURE] | find SIGNATURE | launch SIGNATURE");
  Arguments rest(arguments.begin() + 1, arguments.end());
  if (arguments[0] == "running") return RunAppsRunning(rest);
  if (arguments[0] == "find") return RunAppsFind(rest);
  if (arguments[0] == "launch") return RunAppsLaunch(rest);
  return UsageError("unknown apps command: '" + arguments[0] + "'");
}

struct PowerAction {
  const char* name;
  const char* question;
  OSStatus (*send)(Boolean inLog);
};

const PowerAction kPowerActions[] = {
    {"sleep", "Put the computer to sleep?", ZRSleepComputer},
    {"shutdown", "Shut the computer down?", ZRShutdownComputer},
    {"restart", "Restart the computer?", ZRRestartComputer},
    {"logout", "Log out now, without saving anything?", ZRLogoutComputer},
};

int RunPower(const Arguments& arguments) {
  Arguments words = arguments;
  bool yes = false;
  for (auto it = words.begin(); it != words.end();) {
    if (*it == "--yes") {
      yes = true;
      it = words.erase(it);
    } else {
      ++it;
    }
  }
  if (words.size() != 1) return UsageError("usage: zr power sleep|shutdown|restart|logout [--yes]");
  const PowerAction* action = nullptr;
  for (const PowerAction& candidate : kPowerActions) {
    if (words[0] == candidate.name) action = &candidate;
  }
  if (!action) return UsageError("unknown power command: '" + words[0] + "'");
  if (!yes) {
    // Nobody at a terminal can confirm: a script must say --yes.
    if (!isatty(STDIN_FILENO))
      return UsageError(std::string("power ") + action->name + " needs --yes without a terminal");
    std::printf("%s [y/N] ", action->question);
    std::fflush(stdout);
    std::string answer;
    if (!std::getline(std::cin, answer) || (answer != "y" && answer != "Y" && answer != "yes")) {
      std::printf("Cancelled.\n");
      return 1;
    }
  }
  // A refused request shows only as the library's ERROR line; the status tells of failures to
  // make the request.
  OSStatus status = action->send(true);
  if (status != noErr) return Failure(std::string("power ") + action->name + ": " + StatusText(status));
  return 0;
}

const Command kSystem("system", "system", "the system version, kernel, distribution, processors, displays, screens",
                      RunSystem);
const Command kApps("apps", "apps running [SIG] | find SIG | launch SIG",
                    "applications by four-character signature: running, installed, launched", RunApps);
const Command kPower("power", "power sleep|shutdown|restart|logout [--yes]",
                     "ask the system to sleep, shut down, restart or log out", RunPower);

}  // namespace
}  // namespace zr::tool
