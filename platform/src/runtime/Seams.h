// Seams.h: the points at which tests observe and steer the host layer. The installed library links
// the inert versions (platform/production/Seams.cpp); the test variant of the library links
// platform/testing/*.cpp instead, which count, fail on request and export the ZRTesting functions
// of <ZRPlatform/Testing.h>. The rest of the host layer is compiled once and shared by both.
#pragma once

#include <CoreFoundation/CFBase.h>

namespace zrp {

// Counts one allocation on the calling thread and answers whether it may go ahead
// (false when a test armed a failure for it).
bool AllocationAllowed();

// While one lives on a thread, the thread's allocations are the program's own (constant strings
// interned on first use, like literals): no seam counts them or makes them fail.
class ProgramAllocations {
 public:
  ProgramAllocations();
  ~ProgramAllocations();
  ProgramAllocations(const ProgramAllocations&) = delete;
  ProgramAllocations& operator=(const ProgramAllocations&) = delete;
};

// Counts one C++ allocation on the calling thread, for blocks the host layer takes from malloc
// in place of a container's (a string's text), and answers whether it may go ahead.
bool CxxAllocationAllowed();

// Whether every new string keeps its text as UTF-16, whatever the text (the test variant's
// switch that runs the tests on both forms of a string).
bool WideStringsForcedBySeam();

// Called when a counted object comes to life and when it is freed (or made immortal).
void ObjectCreated();
void ObjectDestroyed();

// Hands an NSLog message to a test's sink; false when no sink is set and the message goes out as usual.
bool DeliverLogToSink(const char* message);

// A test's replacement for a status's name (wantName) or comment; NULL when there is none.
const char* StatusTextOverride(OSStatus status, bool wantName);

}  // namespace zrp
