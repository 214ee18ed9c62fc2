// CxxAllocationSeam.cpp: the test programs' global operator new and delete, every replaceable
// form, so that ZRTestingFailCxxAllocation can make the n-th C++ allocation of a thread fail.
// Linked into each test program (never into the libraries): a replacement in the executable
// takes the place of the C++ runtime's, and of the sanitizers' own, in every library loaded.
#include <ZRPlatform/Testing.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

void* Allocate(std::size_t size, std::size_t alignment) noexcept {
  if (!ZRTestingCxxAllocationAllowed()) return nullptr;
  if (size == 0) size = 1;
  if (alignment <= alignof(std::max_align_t)) return std::malloc(size);
  void* block = nullptr;
  return posix_memalign(&block, alignment, size) == 0 ? block : nullptr;
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment) {
  void* block = Allocate(size, alignment);
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size, 0); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size, 0); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept { std::free(block); }
