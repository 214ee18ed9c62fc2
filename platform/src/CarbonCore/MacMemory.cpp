// MacMemory.cpp: relocatable memory blocks. Each handle is a small record whose first member
// is the master pointer; the Handle given out is the address of that member, so *h is the
// block, as callers of the platform expect, and the record keeps the logical size beside it.
#include <CoreServices/CoreServices.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "runtime/NoThrow.h"
#include "runtime/Object.h"

namespace {

struct HandleRecord {
  Ptr block;  // the master pointer: must stay the first member
  Size size;
};

thread_local OSErr tMemError = noErr;

HandleRecord* RecordOf(Handle h) { return reinterpret_cast<HandleRecord*>(h); }

// malloc of zero bytes may give NULL; an empty block still needs a distinct address.
Ptr AllocateBlock(Size size, bool clear) {
  size_t bytes = size > 0 ? static_cast<size_t>(size) : 1;
  return static_cast<Ptr>(clear ? std::calloc(bytes, 1) : std::malloc(bytes));
}

Handle MakeHandle(Size byteCount, bool clear) {
  // Every handle allocation (and every resize) passes the host's fault-injection seam, so
  // that callers' "returns NULL" paths can be reached in tests.
  if (byteCount < 0 || !zrp::AllocationAllowed()) {
    tMemError = memFullErr;
    return nullptr;
  }
  auto* record = static_cast<HandleRecord*>(std::malloc(sizeof(HandleRecord)));
  if (!record) {
    tMemError = memFullErr;
    return nullptr;
  }
  record->block = AllocateBlock(byteCount, clear);
  if (!record->block) {
    std::free(record);
    tMemError = memFullErr;
    return nullptr;
  }
  record->size = byteCount;
  tMemError = noErr;
  return &record->block;
}

}  // namespace

extern "C" {

Handle NewHandle(Size byteCount) {
  return zrp::CatchOutOfMemory<Handle>(nullptr, [&]() -> Handle { return MakeHandle(byteCount, false); });
}

Handle NewHandleClear(Size byteCount) { return MakeHandle(byteCount, true); }

void DisposeHandle(Handle h) {
  tMemError = noErr;
  if (!h) return;
  HandleRecord* record = RecordOf(h);
  std::free(record->block);
  std::free(record);
}

Size GetHandleSize(Handle h) {
  if (!h || !*h) {
    tMemError = nilHandleErr;
    return 0;
  }
  tMemError = noErr;
  return RecordOf(h)->size;
}

void SetHandleSize(Handle h, Size newSize) {
  if (!h || !*h) {
    tMemError = nilHandleErr;
    return;
  }
  if (newSize < 0 || !zrp::AllocationAllowed()) {
    tMemError = memFullErr;
    return;
  }
  HandleRecord* record = RecordOf(h);
  size_t bytes = newSize > 0 ? static_cast<size_t>(newSize) : 1;
  Ptr block = static_cast<Ptr>(std::realloc(record->block, bytes));
  if (!block) {
    tMemError = memFullErr;
    return;
  }
  record->block = block;
  record->size = newSize;
  tMemError = noErr;
}

void HLock(Handle h) { tMemError = (h && *h) ? OSErr{noErr} : OSErr{nilHandleErr}; }

void HUnlock(Handle h) { tMemError = (h && *h) ? OSErr{noErr} : OSErr{nilHandleErr}; }

OSErr MemError(void) { return tMemError; }

}  // extern "C"
