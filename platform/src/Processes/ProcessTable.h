// ProcessTable.h: Linux's processes as the Process Manager sees them, read from /proc, shared by
// the Process Manager and Launch Services.
#pragma once

#include <ApplicationServices/Processes.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace zrp {

struct ProcessEntry {
  pid_t pid = 0;
  pid_t parent = 0;
  unsigned long long startTime = 0;  // clock ticks since boot
  unsigned long long cpuTime = 0;    // user and system clock ticks
  std::string command;               // the kernel's short name (comm)
  std::string executable;            // the running executable's path; "" when unreadable
  std::string bundlePath;            // the application bundle holding it; "" when none
};

// The user-space process with the id (kernel threads are left out); false when there is none.
bool ReadProcess(pid_t pid, ProcessEntry* entry);
// The ids of every process, in ascending order.
std::vector<pid_t> ProcessIDs();
// The serial number of a process: {pid, low 32 bits of its start time}.
ProcessSerialNumber SerialNumberOf(const ProcessEntry& entry);
// The process a serial number names (the special numbers resolved); false when it is gone.
bool ResolveSerialNumber(const ProcessSerialNumber& psn, ProcessEntry* entry);
// The application bundle an executable lies in ("<Name>.app/Contents/MacOS/<exe>" or
// "Contents/Linux/"); "" when it lies in none.
std::string ApplicationBundleOfExecutable(const std::string& executable);
// The bundle's "CFBundleSignature" as a four-character code; '????' when it has none that fits.
OSType SignatureOfBundle(const std::string& bundlePath);

}  // namespace zrp
