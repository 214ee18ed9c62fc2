// Seams.cpp: the seams of the installed host layer. Nothing is counted, nothing fails on request,
// and nothing is redirected: every seam answers as if no test were looking.
#include "runtime/Seams.h"

namespace zrp {

bool AllocationAllowed() { return true; }

ProgramAllocations::ProgramAllocations() = default;

ProgramAllocations::~ProgramAllocations() = default;

bool CxxAllocationAllowed() { return true; }

bool WideStringsForcedBySeam() { return false; }

void ObjectCreated() {}

void ObjectDestroyed() {}

bool DeliverLogToSink(const char*) { return false; }

const char* StatusTextOverride(OSStatus, bool) { return nullptr; }

}  // namespace zrp
