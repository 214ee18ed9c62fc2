// Checks.h: what the host does when a caller breaks a function's contract (a range outside the
// object, a NULL where an object is required): like the platform, it says so on standard error
// and stops the program. Shared by the collections and the strings.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <cstddef>

namespace zrp {

// Whether the range lies within 0 ..< count; an empty range may start at count. Safe for any
// location and length (no sum that could overflow).
inline bool RangeWithin(CFRange range, size_t count) {
  return range.location >= 0 && range.length >= 0 && static_cast<size_t>(range.location) <= count &&
         static_cast<size_t>(range.length) <= count - static_cast<size_t>(range.location);
}

// Prints "<function>: range {<location>, <length>} out of bounds; <measure> <count>" (measure
// such as "string length" or "array count") and stops the program.
[[noreturn]] void HaltOnRange(const char* function, CFRange range, const char* measure, size_t count);

// Halts as HaltOnRange does unless the range lies within 0 ..< count.
inline void RequireRange(const char* function, CFRange range, const char* measure, size_t count) {
  if (!RangeWithin(range, count)) HaltOnRange(function, range, measure, count);
}

// Prints "<function>: <what>" and stops the program.
[[noreturn]] void HaltWith(const char* function, const char* what);

// Prints "<function>: attempt to mutate immutable <kind> <address>"; the caller then leaves the
// object alone, as the platform does.
void ReportImmutable(const char* function, const char* kind, const void* object);

}  // namespace zrp
