// Frame.h: the pieces every fallible function of the library is built from: the ERROR line
// and a scope guard that runs a function's cleanup on every path.
#pragma once

#include <ZRFramework/ZRFramework.h>

#include <new>
#include <stdexcept>
#include <utility>

namespace zr::internal {

// Writes one line "ERROR <message> (<function>,<line>)" with NSLog. The message is made from
// the CFString format and its arguments for this line alone, and released right after it.
void LogError(const char* function, int line, CFStringRef format, ...);

// Runs its function when the scope ends, on every path out of it.
template <class Function>
class ScopeGuard {
 public:
  ScopeGuard(Function function) : function_(std::move(function)) {}
  ~ScopeGuard() { function_(); }
  ScopeGuard(const ScopeGuard&) = delete;
  ScopeGuard& operator=(const ScopeGuard&) = delete;

 private:
  Function function_;
};

// Runs work, the part of an exported function that builds C++ containers, and returns what it
// returns; when a C++ allocation inside fails (std::bad_alloc, or std::length_error for a size no
// container can hold), returns failure instead, so that no exception leaves the library. The
// caller handles failure as the NULL result of the step it stands for: its "returns NULL" ERROR
// line and unknownErr (or NULL), through its one cleanup path.
//
//   CFStringRef sortedRef = CatchOutOfMemory<CFStringRef>(NULL, [&] { return CopySorted(...); });
//   if (!sortedRef) { ZR_LOG_ERROR(inLog, CFSTR("CopySorted returns NULL")); return unknownErr; }
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

}  // namespace zr::internal

// ZR_LOG_ERROR(inLog, CFSTR("format"), arguments...): the ERROR line of the enclosing exported
// function, with its own name and this source line, written only when inLog is true.
#define ZR_LOG_ERROR(inLog, ...)                                          \
  do {                                                                    \
    if (inLog) ::zr::internal::LogError(__func__, __LINE__, __VA_ARGS__); \
  } while (0)

// ZR_CATCH_OUT_OF_MEMORY(inLog, failure): the handler of an exported function whose body builds
// C++ containers, written as a function-try-block:
//
//   OSStatus ZRCopyFoo(..., Boolean inLog) try {
//     ...the body, with its ZR_CLEANUP...
//   } ZR_CATCH_OUT_OF_MEMORY(inLog, unknownErr)
//
// When a C++ allocation fails anywhere in the body, the body's cleanup runs as the exception
// leaves it, then the function writes the ERROR line "operator new returns NULL" (when inLog is
// true) and returns failure (unknownErr, or NULL for a creating function). No exception leaves.
#define ZR_CATCH_OUT_OF_MEMORY(inLog, failure)               \
  catch (const std::bad_alloc&) {                            \
    ZR_LOG_ERROR(inLog, CFSTR("operator new returns NULL")); \
    return failure;                                          \
  }                                                          \
  catch (const std::length_error&) {                         \
    ZR_LOG_ERROR(inLog, CFSTR("operator new returns NULL")); \
    return failure;                                          \
  }

#define ZR_CONCAT_INNER(a, b) a##b
#define ZR_CONCAT(a, b) ZR_CONCAT_INNER(a, b)
// ZR_CLEANUP { ZRDestroyStringRef(&local); free(buffer); };  runs the block when the scope ends.
#define ZR_CLEANUP ::zr::internal::ScopeGuard ZR_CONCAT(zrCleanup, __LINE__) = [&]() noexcept -> void
