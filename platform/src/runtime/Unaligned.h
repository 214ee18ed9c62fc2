// Unaligned.h: reading a value of a type from memory that need not be aligned for the type (a
// caller's value pointer, a field inside a keyboard layout's bytes), without undefined behavior.
#pragma once

#include <cstring>
#include <type_traits>

namespace zrp {

// The value of type T whose bytes start at p.
template <class T>
T LoadUnaligned(const void* p) {
  static_assert(std::is_trivially_copyable_v<T>);
  T value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

}  // namespace zrp
