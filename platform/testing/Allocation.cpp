// Allocation.cpp (test variant only): the allocation counter and one-shot failure behind every
// object creation and handle allocation of the host layer, the library's malloc and calloc calls
// routed through it (the test variant of ZRFramework is linked with --wrap=malloc,--wrap=calloc),
// the count of live objects, and the countdown that the test programs' operator new consults.
#include <ZRPlatform/Testing.h>

#include <atomic>
#include <cstdlib>

#include "runtime/Seams.h"

namespace {

std::atomic<long> gLiveObjects{0};
thread_local long tAllocationCount = 0;
thread_local long tFailCountdown = 0;
thread_local long tCxxFailCountdown = 0;
thread_local int tProgramAllocations = 0;

}  // namespace

namespace zrp {

ProgramAllocations::ProgramAllocations() { ++tProgramAllocations; }

ProgramAllocations::~ProgramAllocations() { --tProgramAllocations; }

bool AllocationAllowed() {
  if (tProgramAllocations > 0) return true;
  ++tAllocationCount;
  if (tFailCountdown > 0 && --tFailCountdown == 0) return false;
  return true;
}

bool CxxAllocationAllowed() { return ZRTestingCxxAllocationAllowed(); }

void ObjectCreated() { gLiveObjects.fetch_add(1, std::memory_order_relaxed); }

void ObjectDestroyed() { gLiveObjects.fetch_sub(1, std::memory_order_relaxed); }

}  // namespace zrp

extern "C" {

void ZRTestingFailAllocation(long n) { tFailCountdown = n > 0 ? n : 0; }

Boolean ZRTestingFailurePending(void) { return tFailCountdown > 0; }

long ZRTestingAllocationCount(void) { return tAllocationCount; }

void ZRTestingResetAllocationCount(void) { tAllocationCount = 0; }

long ZRTestingLiveObjectCount(void) { return gLiveObjects.load(std::memory_order_relaxed); }

// The library's own allocations come here, so that tests can make them fail like any object creation.
__attribute__((visibility("default"))) void* __wrap_malloc(size_t size) {
  if (!zrp::AllocationAllowed()) return nullptr;
  return std::malloc(size);
}

__attribute__((visibility("default"))) void* __wrap_calloc(size_t count, size_t size) {
  if (!zrp::AllocationAllowed()) return nullptr;
  return std::calloc(count, size);
}

// The test programs' operator new asks here: C++ allocations have a countdown of their own, so
// that a test can make a container throw without also failing the malloc it stands beside.
void ZRTestingFailCxxAllocation(long n) { tCxxFailCountdown = n > 0 ? n : 0; }

Boolean ZRTestingCxxFailurePending(void) { return tCxxFailCountdown > 0; }

Boolean ZRTestingCxxAllocationAllowed(void) {
  if (tProgramAllocations > 0) return true;
  return !(tCxxFailCountdown > 0 && --tCxxFailCountdown == 0);
}

}  // extern "C"
