// Resources.h: keyboard-layout resources by type and identifier.
//
// The resources are those of the keyboard layouts the process has used: 'uchr' and 'KCHR' data
// under the layout's identifier (kKLIdentifier). The handles belong to the resource map: callers
// read them and never dispose of them.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef SInt16 ResID;

// The resource's data, or NULL with ResError() resNotFound.
CF_EXPORT Handle GetResource(ResType theType, ResID theID);
// The result of the calling thread's most recent GetResource.
CF_EXPORT OSErr ResError(void);

CF_EXTERN_C_END
