// MacMemory.h: relocatable memory blocks (handles).
//
// A Handle points to a master pointer, which points to the block itself. Blocks never move
// on their own here, so HLock and HUnlock have nothing to pin; they still report through
// MemError like every other call of this family. MemError gives the result of the calling
// thread's most recent call of this family.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

// A new unlocked block of byteCount bytes (uninitialised), or NULL with MemError() memFullErr
// when the memory cannot be had or byteCount is negative. NewHandle(0) gives a handle whose
// master pointer is a valid (empty) block.
CF_EXPORT Handle NewHandle(Size byteCount);
// The same, with the block's bytes set to zero.
CF_EXPORT Handle NewHandleClear(Size byteCount);
// Frees the block and its master pointer. NULL does nothing (MemError() noErr).
CF_EXPORT void DisposeHandle(Handle h);
// The block's logical size; 0 with MemError() nilHandleErr for a NULL handle.
CF_EXPORT Size GetHandleSize(Handle h);
// Changes the block's logical size, keeping its first bytes; the block may move, so *h must
// be read again afterwards. Fails with MemError() memFullErr (nothing changed) when the memory
// cannot be had or newSize is negative, nilHandleErr for a NULL handle.
CF_EXPORT void SetHandleSize(Handle h, Size newSize);
// Lock and unlock the block in place. Blocks never move unless resized, so these only
// check the handle: MemError() noErr, or nilHandleErr for a NULL handle.
CF_EXPORT void HLock(Handle h);
CF_EXPORT void HUnlock(Handle h);
// The result of the calling thread's most recent call of this family.
CF_EXPORT OSErr MemError(void);

CF_EXTERN_C_END
