// NoThrow.h: the C boundary of the host layer. No exported function lets a C++ exception out:
// where one builds C++ containers, a container that cannot allocate becomes the function's
// documented failure (NULL, false, 0, or nothing done).
#pragma once

#include <CoreFoundation/CFBase.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

namespace zrp {

// Runs work and returns what it returns; when a C++ allocation inside fails (std::bad_alloc, or
// std::length_error for a size no container can hold), returns failure instead. Containers that
// work filled are destroyed on the way out, so nothing is leaked.
//
//   CFStringRef CFStringCreateFoo(...) {
//     if (!argument) return nullptr;
//     return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&] { ...; return zrp::CreateString(...); });
//   }
template <class Result, class Work>
Result CatchOutOfMemory(Result failure, Work&& work) noexcept {
  try {
    return std::forward<Work>(work)();
  } catch (const std::bad_alloc&) {
    return failure;
  } catch (const std::length_error&) {
    return failure;
  }
}

// The same for work that returns nothing: on a failed allocation it simply stops. Work that
// changes an object in place builds the new contents aside and moves them in last, so that the
// object is left as it was.
template <class Work>
void CatchOutOfMemory(Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
}

// Finishes a newly made object with work (filling it); when work throws, releases the object
// before the exception goes on, so that a failed creation leaves nothing behind.
template <class Object, class Work>
Object* Finished(Object* object, Work&& work) {
  if (!object) return object;
  try {
    std::forward<Work>(work)(object);
  } catch (...) {
    CFRelease(object);
    throw;
  }
  return object;
}

// Releases an object when the scope ends, on every path out of it, an exception included.
class ReleaseAtEnd {
 public:
  explicit ReleaseAtEnd(CFTypeRef object) : object_(object) {}
  ~ReleaseAtEnd() {
    if (object_) CFRelease(object_);
  }
  ReleaseAtEnd(const ReleaseAtEnd&) = delete;
  ReleaseAtEnd& operator=(const ReleaseAtEnd&) = delete;

 private:
  CFTypeRef object_;
};

// Makes sure one more element fits without allocating, growing geometrically as push_back
// does: done before a value is retained for the container, a failed allocation then leaves
// nothing retained.
template <class Vector>
void MakeRoomForOne(Vector* vector) {
  if (vector->size() == vector->capacity()) vector->reserve(std::max<size_t>(8, vector->capacity() * 2));
}

}  // namespace zrp
