// CFURL.h: object references to resources (the type; the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFURL* CFURLRef;
