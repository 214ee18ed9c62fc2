// LargeBlocks.h: mapping in, in one call, the pages of a large block that is about to be
// written in full (the strings and data objects made from encoded data, hundreds of megabytes).
#pragma once

#include <cstddef>

namespace zrp {

// Blocks from this size up are worth the call; smaller ones are left as they are.
constexpr size_t kLargeBlockSize = size_t{8} << 20;

// Maps in the pages of the `size` bytes at `block`, a part of a block that the caller is about
// to write in full. A block this large is freshly mapped by the allocator, and faulting its
// pages in one by one as they are first written costs a trap per 4 KiB page, a good part of the
// time of filling the block (on virtual machines, more than the filling itself); one call for
// all of them costs about a third less. Only the whole pages inside the range are mapped in, and
// what they hold is not changed. A kernel that cannot do it (before Linux 5.14) leaves the pages
// to be faulted in as usual. Does nothing for NULL or a range below kLargeBlockSize.
void PopulateLargeBlock(void* block, size_t size);

}  // namespace zrp
