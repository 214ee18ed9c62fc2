// Gestalt.h: the Gestalt selectors of the system version.
//
// The host answers for the platform release whose behaviour it provides (see docs/system.md), not
// for the Linux kernel or distribution: applications ask Gestalt to choose between code paths.
#pragma once

#include <CoreFoundation/CFBase.h>

// Four-character selectors, written as their values.
enum {
  gestaltSystemVersion = 0x73797376,       // 'sysv': the version as BCD, 0x1068 for 10.6.8
  gestaltSystemVersionMajor = 0x73797331,  // 'sys1'
  gestaltSystemVersionMinor = 0x73797332,  // 'sys2'
  gestaltSystemVersionBugFix = 0x73797333  // 'sys3'
};

CF_EXTERN_C_BEGIN

// Stores the answer for selector in *response and returns noErr; gestaltUndefSelectorErr for a
// selector the host does not know (response untouched), paramErr for a NULL response.
CF_EXPORT OSErr Gestalt(OSType selector, SInt32* response);

CF_EXTERN_C_END
