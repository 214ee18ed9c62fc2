// Metadata.h: metadata queries and items (the types; the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct __MDQuery* MDQueryRef;
typedef struct __MDItem* MDItemRef;
