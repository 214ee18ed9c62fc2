// MacMemory.h: relocatable memory blocks (handles).
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

// Declared with the handle services.

CF_EXTERN_C_END
