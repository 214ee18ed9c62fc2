// LargeBlocks.cpp: mapping in the pages of large blocks before they are written (see
// LargeBlocks.h).
#include "runtime/LargeBlocks.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace zrp {

void PopulateLargeBlock(void* block, size_t size) {
  if (!block || size < kLargeBlockSize) return;
  static const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  uintptr_t start = (reinterpret_cast<uintptr_t>(block) + page - 1) & ~(page - 1);
  uintptr_t end = (reinterpret_cast<uintptr_t>(block) + size) & ~(page - 1);
  // A failure (an older kernel) leaves the pages to the faults of the first writes: nothing to do.
  if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_POPULATE_WRITE);
}

}  // namespace zrp
