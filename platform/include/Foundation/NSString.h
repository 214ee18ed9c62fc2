// NSString.h: the NSString messages the host layer answers, as C++ free functions named
// after the methods. An NSString* is the CFString object itself (toll-free), so these work on
// any CFStringRef, and the CF functions work on what they return.
#pragma once

#include <Foundation/NSObjCRuntime.h>

#ifdef __cplusplus
namespace ns {

// +[NSString stringWithCString:encoding:]: a new string from NUL-terminated bytes in the
// encoding, autoreleased; nil when the bytes are not valid in it or the encoding is unknown.
CF_EXPORT NSString* stringWithCString(const char* cString, NSStringEncoding encoding);
// +[NSString stringWithCString:length:]: a new string from the first length bytes, taken in
// the default C string encoding (the system encoding), autoreleased; nil when they are not
// valid in it.
CF_EXPORT NSString* stringWithCStringLength(const char* cString, NSUInteger length);

// -[NSString length]: the number of UTF-16 units.
CF_EXPORT NSUInteger length(NSString* string);
// -[NSString canBeConvertedToEncoding:]: whether every character has a form in the encoding.
CF_EXPORT bool canBeConvertedToEncoding(NSString* string, NSStringEncoding encoding);
// -[NSString cStringUsingEncoding:]: the characters in the encoding followed by a NUL, in a
// buffer that lives as long as the current autorelease pool; NULL when the string cannot be
// converted without loss or the encoding is unknown.
CF_EXPORT const char* cStringUsingEncoding(NSString* string, NSStringEncoding encoding);

}  // namespace ns
#endif
