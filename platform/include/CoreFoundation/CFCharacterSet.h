// CFCharacterSet.h: character sets (the type; the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFCharacterSet* CFCharacterSetRef;
