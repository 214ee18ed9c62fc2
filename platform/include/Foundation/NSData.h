// NSData.h: the NSData and NSMutableData messages the host layer answers, as C++ free
// functions named after the methods. An NSData* is the CFData object itself (toll-free), so
// these work on any CFDataRef, and the CF functions work on what they return.
#pragma once

#include <Foundation/NSObjCRuntime.h>

#ifdef __cplusplus
namespace ns {

// -[NSData bytes]: the data's bytes (valid while the data lives and is not changed).
CF_EXPORT const void* bytes(NSData* data);
// -[NSData length]: the number of bytes.
CF_EXPORT NSUInteger length(NSData* data);

// +[NSData dataWithBytes:length:]: a new immutable data object holding a copy of the bytes,
// autoreleased; nil when it cannot be made.
CF_EXPORT NSData* dataWithBytes(const void* bytes, NSUInteger length);
// +[NSData dataWithBytesNoCopy:length:]: a new immutable data object that takes the bytes, which
// must come from malloc, as its own and frees them when it goes; autoreleased. nil when it cannot
// be made, and the bytes then stay the caller's.
CF_EXPORT NSData* dataWithBytesNoCopy(void* bytes, NSUInteger length);
// +[NSData data]: a new empty immutable data object, autoreleased; nil when it cannot be made.
CF_EXPORT NSData* data();

// +[NSMutableData data]: a new empty mutable data object, autoreleased; nil when it cannot
// be made.
CF_EXPORT NSMutableData* mutableData();
// -[NSMutableData appendBytes:length:]: appends a copy of the bytes.
CF_EXPORT void appendBytes(NSMutableData* data, const void* bytes, NSUInteger length);

}  // namespace ns
#endif
