// NSAutoreleasePool.cpp: per-thread stacks of autorelease pools and CFAutorelease.
#include <Foundation/NSAutoreleasePool.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "runtime/NoThrow.h"
#include "runtime/Object.h"

namespace {

// One thread's pools: the objects in the order they were added, and for each open pool
// the index of its first object.
struct PoolStack {
  std::vector<CFTypeRef> objects;
  std::vector<size_t> marks;

  ~PoolStack() {
    // A thread that ends with pools still open drains them, innermost first.
    while (!marks.empty()) drainTo(marks.size() - 1);
  }

  // Releases the objects of the pools at levels >= level and pops them. Releasing an
  // object may autorelease others into the same pools; they are released too.
  void drainTo(size_t level) {
    size_t mark = marks[level];
    while (objects.size() > mark) {
      CFTypeRef object = objects.back();
      objects.pop_back();
      CFRelease(object);
    }
    marks.resize(level);
  }
};

PoolStack& ThreadPools() {
  thread_local PoolStack stack;
  return stack;
}

}  // namespace

NSAutoreleasePool::NSAutoreleasePool() {
  PoolStack& stack = ThreadPools();
  stackMark_ = reinterpret_cast<void*>(static_cast<uintptr_t>(stack.marks.size()));
  stack.marks.push_back(stack.objects.size());
}

NSAutoreleasePool::~NSAutoreleasePool() {
  if (!drained_) drain();
}

void NSAutoreleasePool::drain() {
  if (drained_) return;
  drained_ = true;
  PoolStack& stack = ThreadPools();
  size_t level = static_cast<size_t>(reinterpret_cast<uintptr_t>(stackMark_));
  // An outer pool that was drained first has already drained this one.
  if (level < stack.marks.size()) stack.drainTo(level);
}

void NSAutoreleasePool::addObject(CFTypeRef object) { CFAutorelease(object); }

extern "C" CFTypeRef CFAutorelease(CFTypeRef cf) {
  // NULL is a programming error, as for CFRetain.
  if (!cf) zrp::Halt("CFAutorelease()");
  PoolStack& stack = ThreadPools();
  if (stack.marks.empty()) {
    std::fprintf(stderr, "*** Object %p autoreleased with no pool in place - just leaking\n", cf);
    return cf;
  }
  // Without memory for one more entry the object is leaked, as without a pool.
  zrp::CatchOutOfMemory([&] { stack.objects.push_back(cf); });
  return cf;
}
