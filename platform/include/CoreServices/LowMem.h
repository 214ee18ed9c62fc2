// LowMem.h: the keyboard type.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

// The physical keyboard type of the current layout's XKB model: 40 (third-party ANSI) for
// 101/104-key models, 42 (JIS) for Japanese models, 41 (third-party ISO) otherwise.
CF_EXPORT UInt8 LMGetKbdType(void);

CF_EXTERN_C_END
