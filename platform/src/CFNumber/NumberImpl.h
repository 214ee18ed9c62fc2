// NumberImpl.h: the unsigned 64-bit integers that property lists carry beyond CFNumber's types.
#pragma once

#include <CoreFoundation/CFNumber.h>

#include <cstdint>

namespace zrp {

// A new number of the value: an ordinary 64-bit integer up to INT64_MAX, an unsigned one above
// (it converts to signed types saturated, to floating-point types rounded, and prints as the
// unsigned value). NULL when the allocation fails.
CFNumberRef CreateUnsigned64Number(uint64_t value);
// True, with *value set, when the number is an integer above INT64_MAX.
bool NumberGetUnsigned64(CFNumberRef number, uint64_t* value);

}  // namespace zrp
