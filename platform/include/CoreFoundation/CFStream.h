// CFStream.h: read streams (the type; the library only holds and releases them here).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct __CFReadStream* CFReadStreamRef;
