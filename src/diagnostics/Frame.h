// Frame.h: the pieces every fallible function of the library is built from: the ERROR line
// and a scope guard that runs a function's cleanup on every path.
#pragma once

#include <ZRFramework/ZRFramework.h>

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

}  // namespace zr::internal

// ZR_LOG_ERROR(inLog, CFSTR("format"), arguments...): the ERROR line of the enclosing exported
// function, with its own name and this source line, written only when inLog is true.
#define ZR_LOG_ERROR(inLog, ...)                                          \
  do {                                                                    \
    if (inLog) ::zr::internal::LogError(__func__, __LINE__, __VA_ARGS__); \
  } while (0)

#define ZR_CONCAT_INNER(a, b) a##b
#define ZR_CONCAT(a, b) ZR_CONCAT_INNER(a, b)
// ZR_CLEANUP { ZRDestroyStringRef(&local); free(buffer); };  runs the block when the scope ends.
#define ZR_CLEANUP ::zr::internal::ScopeGuard ZR_CONCAT(zrCleanup, __LINE__) = [&]() noexcept -> void
