// ProcessManager.cpp: GetNextProcess, GetProcessInformation and their kin over /proc.
#include <ApplicationServices/Processes.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <sstream>

#include "CFBundle/BundleImpl.h"
#include "Processes/ProcessTable.h"
#include "runtime/Files.h"

namespace zrp {
namespace {

// The kernel marks its own threads with this flag in the stat line's flags field.
constexpr unsigned long kKernelThreadFlag = 0x00200000;

}  // namespace

bool ReadProcess(pid_t pid, ProcessEntry* entry) {
  if (pid <= 0) return false;
  std::string base = "/proc/" + std::to_string(pid);
  std::string stat;
  if (!zrp::ReadWholeFile(base + "/stat", &stat)) return false;
  // "pid (comm) state ppid ...": the name may hold blanks and parentheses, so it ends at the last ")".
  size_t open = stat.find('(');
  size_t close = stat.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open) return false;
  std::istringstream fields(stat.substr(close + 2));
  std::vector<std::string> values;
  std::string value;
  while (fields >> value) values.push_back(value);
  // values[0] is field 3 (state); field n is values[n - 3].
  if (values.size() < 20) return false;
  unsigned long flags = std::strtoul(values[9 - 3].c_str(), nullptr, 10);
  if (flags & kKernelThreadFlag) return false;
  ProcessEntry read;
  read.pid = pid;
  read.command = stat.substr(open + 1, close - open - 1);
  read.parent = static_cast<pid_t>(std::strtol(values[4 - 3].c_str(), nullptr, 10));
  read.cpuTime =
      std::strtoull(values[14 - 3].c_str(), nullptr, 10) + std::strtoull(values[15 - 3].c_str(), nullptr, 10);
  read.startTime = std::strtoull(values[22 - 3].c_str(), nullptr, 10);
  std::error_code error;
  std::filesystem::path executable = std::filesystem::read_symlink(base + "/exe", error);
  if (!error) {
    read.executable = executable.string();
    // A replaced executable reads "<path> (deleted)"; its bundle is still where it was.
    const std::string deleted = " (deleted)";
    if (read.executable.size() > deleted.size() &&
        read.executable.compare(read.executable.size() - deleted.size(), deleted.size(), deleted) == 0) {
      read.executable.resize(read.executable.size() - deleted.size());
    }
    read.bundlePath = ApplicationBundleOfExecutable(read.executable);
  }
  *entry = std::move(read);
  return true;
}

std::vector<pid_t> ProcessIDs() {
  std::vector<pid_t> ids;
  std::error_code error;
  std::filesystem::directory_iterator entries("/proc", error);
  if (error) return ids;
  for (const std::filesystem::directory_entry& entry : entries) {
    std::string name = entry.path().filename().string();
    if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
    ids.push_back(static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10)));
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

ProcessSerialNumber SerialNumberOf(const ProcessEntry& entry) {
  return ProcessSerialNumber{static_cast<UInt32>(entry.pid), static_cast<UInt32>(entry.startTime & 0xFFFFFFFFu)};
}

bool ResolveSerialNumber(const ProcessSerialNumber& psn, ProcessEntry* entry) {
  if (psn.highLongOfPSN == 0) {
    if (psn.lowLongOfPSN == kCurrentProcess) return ReadProcess(getpid(), entry);
    if (psn.lowLongOfPSN == kSystemProcess) return ReadProcess(1, entry);
    return false;
  }
  if (psn.highLongOfPSN > static_cast<UInt32>(INT_MAX)) return false;
  ProcessEntry read;
  if (!ReadProcess(static_cast<pid_t>(psn.highLongOfPSN), &read)) return false;
  // The same id with another start time is a later process.
  if (SerialNumberOf(read).lowLongOfPSN != psn.lowLongOfPSN) return false;
  *entry = std::move(read);
  return true;
}

std::string ApplicationBundleOfExecutable(const std::string& executable) {
  std::filesystem::path path(executable);
  std::filesystem::path folder = path.parent_path();      // .../Contents/MacOS
  std::filesystem::path contents = folder.parent_path();  // .../Contents
  std::filesystem::path bundle = contents.parent_path();  // .../<Name>.app
  std::string kind = folder.filename().string();
  if ((kind != "MacOS" && kind != "Linux") || contents.filename() != "Contents" || bundle.extension() != ".app") {
    return std::string();
  }
  return bundle.string();
}

OSType SignatureOfBundle(const std::string& bundlePath) {
  OSType signature = kUnknownProcessSignature;
  CFBundleRef bundle = CreateBundleWithPath(bundlePath);
  if (!bundle) return signature;
  CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleSignature"));
  char code[8] = {};
  // Exactly four characters of one byte each: the platform's four-character code.
  if (value && CFGetTypeID(value) == CFStringGetTypeID() && CFStringGetLength(static_cast<CFStringRef>(value)) == 4 &&
      CFStringGetCString(static_cast<CFStringRef>(value), code, sizeof code, kCFStringEncodingMacRoman)) {
    signature = (static_cast<OSType>(static_cast<UInt8>(code[0])) << 24) |
                (static_cast<OSType>(static_cast<UInt8>(code[1])) << 16) |
                (static_cast<OSType>(static_cast<UInt8>(code[2])) << 8) |
                static_cast<OSType>(static_cast<UInt8>(code[3]));
  }
  CFRelease(bundle);
  return signature;
}

}  // namespace zrp

namespace {

// Ticks of 1/60 s, the Process Manager's unit, from the kernel's clock ticks.
UInt32 Ticks(unsigned long long clockTicks) {
  long perSecond = sysconf(_SC_CLK_TCK);
  if (perSecond <= 0) perSecond = 100;
  return static_cast<UInt32>(clockTicks * 60 / static_cast<unsigned long long>(perSecond));
}

}  // namespace

OSErr GetNextProcess(ProcessSerialNumber* PSN) {
  if (!PSN) return paramErr;
  if (PSN->highLongOfPSN == 0 && PSN->lowLongOfPSN != kNoProcess) return paramErr;
  try {
    pid_t after = static_cast<pid_t>(PSN->highLongOfPSN);
    for (pid_t pid : zrp::ProcessIDs()) {
      if (pid <= after) continue;
      zrp::ProcessEntry entry;
      if (!zrp::ReadProcess(pid, &entry)) continue;
      *PSN = zrp::SerialNumberOf(entry);
      return noErr;
    }
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  *PSN = ProcessSerialNumber{0, kNoProcess};
  return procNotFound;
}

OSErr GetProcessInformation(const ProcessSerialNumber* PSN, ProcessInfoRec* info) {
  if (!PSN || !info || info->processInfoLength < offsetof(ProcessInfoRec, processAppRef)) return paramErr;
  try {
    zrp::ProcessEntry entry;
    if (!zrp::ResolveSerialNumber(*PSN, &entry)) return procNotFound;
    bool application = !entry.bundlePath.empty();
    info->processNumber = zrp::SerialNumberOf(entry);
    info->processType = static_cast<UInt32>(application ? kProcessTypeApplication : kUnknownProcessSignature);
    info->processSignature =
        application ? zrp::SignatureOfBundle(entry.bundlePath) : static_cast<OSType>(kUnknownProcessSignature);
    info->processMode = 0;
    info->processLocation = nullptr;
    info->processSize = 0;
    info->processFreeMem = 0;
    zrp::ProcessEntry parent;
    info->processLauncher =
        zrp::ReadProcess(entry.parent, &parent) ? zrp::SerialNumberOf(parent) : ProcessSerialNumber{0, kNoProcess};
    info->processLaunchDate = Ticks(entry.startTime);
    info->processActiveTime = Ticks(entry.cpuTime);
    if (info->processName) {
      // An application is named by its bundle ("Mail" for Mail.app), anything else by its command.
      std::string name = application ? std::filesystem::path(entry.bundlePath).stem().string() : entry.command;
      size_t length = std::min<size_t>(name.size(), 31);
      info->processName[0] = static_cast<unsigned char>(length);
      std::memcpy(info->processName + 1, name.data(), length);
    }
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  return noErr;
}

OSErr GetCurrentProcess(ProcessSerialNumber* PSN) {
  if (!PSN) return paramErr;
  zrp::ProcessEntry entry;
  try {
    if (!zrp::ReadProcess(getpid(), &entry)) return procNotFound;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  *PSN = zrp::SerialNumberOf(entry);
  return noErr;
}

OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) {
  if (!psn || !pid) return paramErr;
  zrp::ProcessEntry entry;
  try {
    if (!zrp::ResolveSerialNumber(*psn, &entry)) return procNotFound;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  *pid = entry.pid;
  return noErr;
}

OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* psn) {
  if (!psn) return paramErr;
  zrp::ProcessEntry entry;
  try {
    if (!zrp::ReadProcess(pid, &entry)) return procNotFound;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  *psn = zrp::SerialNumberOf(entry);
  return noErr;
}

OSErr SameProcess(const ProcessSerialNumber* PSN1, const ProcessSerialNumber* PSN2, Boolean* result) {
  if (!PSN1 || !PSN2 || !result) return paramErr;
  zrp::ProcessEntry first;
  zrp::ProcessEntry second;
  try {
    if (!zrp::ResolveSerialNumber(*PSN1, &first) || !zrp::ResolveSerialNumber(*PSN2, &second)) return procNotFound;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  *result = first.pid == second.pid && first.startTime == second.startTime;
  return noErr;
}
