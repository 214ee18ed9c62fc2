// NSObjCRuntime.h: the basic Foundation types. NS objects are the very objects of their
// CF counterparts (toll-free): an NSString* is a CFMutableStringRef, an NSData* a CFMutableDataRef.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef long NSInteger;
typedef unsigned long NSUInteger;

typedef void* id;
#define nil nullptr

typedef struct __CFString NSString;
typedef struct __CFString NSMutableString;
typedef struct __CFData NSData;
typedef struct __CFData NSMutableData;
typedef struct __CFArray NSArray;
typedef struct __CFArray NSMutableArray;
typedef struct __CFDictionary NSDictionary;
typedef struct __CFDictionary NSMutableDictionary;
typedef struct __CFNumber NSNumber;
typedef struct __CFDate NSDate;

typedef NSUInteger NSStringEncoding;
enum {
  NSASCIIStringEncoding = 1,
  NSNEXTSTEPStringEncoding = 2,
  NSUTF8StringEncoding = 4,
  NSISOLatin1StringEncoding = 5,
  NSNonLossyASCIIStringEncoding = 7,
  NSUnicodeStringEncoding = 10,
  NSWindowsCP1252StringEncoding = 12,
  NSMacOSRomanStringEncoding = 30,
  NSUTF16StringEncoding = NSUnicodeStringEncoding
};

CF_EXTERN_C_BEGIN

// The CF encoding of an NSStringEncoding, kCFStringEncodingInvalidId when there is none.
CF_EXPORT CFStringEncoding CFStringConvertNSStringEncodingToEncoding(NSUInteger encoding);
CF_EXPORT NSUInteger CFStringConvertEncodingToNSStringEncoding(CFStringEncoding encoding);

// Writes "YYYY-MM-DD HH:MM:SS.mmm process[pid:tid] message" to standard error and to syslog.
// The format is a CFString format: %@ prints an object's description.
CF_EXPORT void NSLog(NSString* format, ...);
CF_EXPORT void NSLogv(NSString* format, va_list args);

CF_EXTERN_C_END
