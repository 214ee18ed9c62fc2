// NSApplication.h: the application framework's version number.
#pragma once

#include <CoreFoundation/CFBase.h>

// The version numbers of the framework releases that applications compare against.
#define NSAppKitVersionNumber10_4 824
#define NSAppKitVersionNumber10_5 949
#define NSAppKitVersionNumber10_6 1038

CF_EXTERN_C_BEGIN

// The version of the framework the host provides: 1038.36, the platform's 10.6.8, the same
// release that Gestalt reports (see docs/system.md).
CF_EXPORT double NSAppKitVersionNumber;

CF_EXTERN_C_END
