// Debugging.h: the symbolic name and the comment of a status, for messages.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

// The status's symbolic name ("paramErr", "ENOENT"), or "" when the status is unknown.
// POSIX error numbers are known at 100000 + errno. The text is static: never free it.
CF_EXPORT const char* GetMacOSStatusErrorString(OSStatus err);
// The status's comment ("error in user parameter list", "No such file or directory"),
// or "" when the status is unknown. The text is static: never free it.
CF_EXPORT const char* GetMacOSStatusCommentString(OSStatus err);

CF_EXTERN_C_END
