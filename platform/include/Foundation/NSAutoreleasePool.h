// NSAutoreleasePool.h: autorelease pools, a stack per thread. An object sent autorelease
// (CFAutorelease) is released when the innermost pool of its thread is drained.
#pragma once

#include <Foundation/NSObjCRuntime.h>

#ifdef __cplusplus
class __attribute__((visibility("default"))) NSAutoreleasePool {
 public:
  // Pushes a new pool on the calling thread's stack.
  NSAutoreleasePool();
  // Drains the pool if drain() has not been called yet.
  ~NSAutoreleasePool();
  NSAutoreleasePool(const NSAutoreleasePool&) = delete;
  NSAutoreleasePool& operator=(const NSAutoreleasePool&) = delete;

  // Releases every object the pool holds (and the pools pushed after it, first),
  // then pops it. Must be called on the thread that made the pool.
  void drain();

  // Adds an object to the calling thread's innermost pool; the same as CFAutorelease.
  static void addObject(CFTypeRef object);

 private:
  void* stackMark_;
  bool drained_ = false;
};
#endif
