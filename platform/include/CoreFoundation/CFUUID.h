// CFUUID.h: universally unique identifiers (the type; the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFUUID* CFUUIDRef;
