// HostInfo.cpp: host_info(HOST_BASIC_INFO) from what Linux says about the processors and memory:
// sysconf for the configured and online processors and the memory, sched_getaffinity for the
// processors this process may run on now, the CPU topology in sysfs for the cores among them.
#include <ZRPlatform/Testing.h>
#include <mach/mach.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "runtime/Sysfs.h"

namespace {

// Any value but MACH_PORT_NULL would do; this one is what the platform usually hands out.
constexpr host_t kHostPort = 0x103;

std::atomic<bool> gOverridden{false};
std::atomic<kern_return_t> gOverrideStatus{KERN_SUCCESS};
std::atomic<integer_t> gOverrideLogical{0};

// The cores (package, core) among the processors in the set, from the CPU topology; when the
// topology cannot be read, every processor counts as a core of its own.
integer_t CoreCount(const cpu_set_t& set, int processors) {
  std::set<std::pair<std::string, std::string>> cores;
  std::string root = zrp::SysfsRoot() + "/devices/system/cpu/cpu";
  int counted = 0;
  for (int cpu = 0; cpu < CPU_SETSIZE && counted < processors; ++cpu) {
    if (!CPU_ISSET(cpu, &set)) continue;
    ++counted;
    std::string package;
    std::string core;
    std::string topology = root + std::to_string(cpu) + "/topology/";
    if (!zrp::ReadFirstLine(topology + "physical_package_id", &package) ||
        !zrp::ReadFirstLine(topology + "core_id", &core)) {
      package = "cpu";
      core = std::to_string(cpu);
    }
    cores.emplace(package, core);
  }
  return static_cast<integer_t>(cores.size());
}

}  // namespace

host_t mach_host_self(void) { return kHostPort; }

kern_return_t host_info(host_t host, host_flavor_t flavor, host_info_t host_info_out,
                        mach_msg_type_number_t* host_info_outCnt) {
  if (host != kHostPort) return KERN_INVALID_HOST;
  if (flavor != HOST_BASIC_INFO || !host_info_out || !host_info_outCnt) return KERN_INVALID_ARGUMENT;
  if (*host_info_outCnt < HOST_BASIC_INFO_OLD_COUNT) return KERN_FAILURE;
  if (gOverridden && gOverrideStatus != KERN_SUCCESS) return gOverrideStatus;

  host_basic_info_data_t info;
  std::memset(&info, 0, sizeof info);
  long configured = sysconf(_SC_NPROCESSORS_CONF);
  long online = sysconf(_SC_NPROCESSORS_ONLN);
  long pages = sysconf(_SC_PHYS_PAGES);
  long pageSize = sysconf(_SC_PAGESIZE);
  info.max_cpus = static_cast<integer_t>(configured > 0 ? configured : 1);
  info.avail_cpus = static_cast<integer_t>(online > 0 ? online : 1);
  uint64_t memory = pages > 0 && pageSize > 0 ? static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageSize) : 0;
  info.max_mem = memory;
  // The old field holds at most 2 GB, as on the platform; max_mem has the whole figure.
  info.memory_size = static_cast<natural_t>(memory > 0x80000000ull ? 0x80000000ull : memory);
#if defined(__x86_64__)
  info.cpu_type = CPU_TYPE_X86_64;
  info.cpu_subtype = CPU_SUBTYPE_X86_64_ALL;
#elif defined(__aarch64__)
  info.cpu_type = CPU_TYPE_ARM64;
  info.cpu_subtype = CPU_SUBTYPE_ARM64_ALL;
#else
  info.cpu_type = CPU_TYPE_ANY;
  info.cpu_subtype = CPU_SUBTYPE_MULTIPLE;
#endif

  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  int logical = 0;
  if (sched_getaffinity(0, sizeof allowed, &allowed) == 0) logical = CPU_COUNT(&allowed);
  if (logical <= 0) {
    // Without an answer, every online processor counts as allowed.
    CPU_ZERO(&allowed);
    for (int cpu = 0; cpu < info.avail_cpus && cpu < CPU_SETSIZE; ++cpu) CPU_SET(cpu, &allowed);
    logical = info.avail_cpus;
  }
  cpu_set_t all;
  CPU_ZERO(&all);
  for (int cpu = 0; cpu < info.max_cpus && cpu < CPU_SETSIZE; ++cpu) CPU_SET(cpu, &all);
  info.logical_cpu = logical;
  info.logical_cpu_max = info.max_cpus;
  info.physical_cpu = CoreCount(allowed, logical);
  info.physical_cpu_max = CoreCount(all, info.max_cpus);
  info.cpu_threadtype = info.physical_cpu_max < info.logical_cpu_max ? CPU_THREADTYPE_INTEL_HTT : CPU_THREADTYPE_NONE;
  if (gOverridden) info.logical_cpu = gOverrideLogical;

  mach_msg_type_number_t count =
      *host_info_outCnt >= HOST_BASIC_INFO_COUNT ? HOST_BASIC_INFO_COUNT : HOST_BASIC_INFO_OLD_COUNT;
  std::memcpy(host_info_out, &info, count * sizeof(integer_t));
  *host_info_outCnt = count;
  return KERN_SUCCESS;
}

void ZRTestingSetHostInfo(int status, int logicalCPU) {
  gOverrideStatus = status;
  gOverrideLogical = logicalCPU;
  gOverridden = true;
}

void ZRTestingResetHostInfo(void) { gOverridden = false; }
