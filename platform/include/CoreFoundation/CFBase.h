// CFBase.h: the object runtime: base types, reference counting, type identifiers,
// equality, hashing, descriptions, autorelease, allocators and CFNull.
#pragma once

#include <MacTypes.h>
#include <stdarg.h>
#include <stddef.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern __attribute__((visibility("default")))
#define CF_FORMAT_FUNCTION(F, A)

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

CF_EXTERN_C_BEGIN

typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;

typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef CFTypeRef CFPropertyListRef;
typedef const struct __CFAllocator* CFAllocatorRef;

typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;

static inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
  CFRange range = {location, length};
  return range;
}

typedef CFIndex CFComparisonResult;
enum { kCFCompareLessThan = -1L, kCFCompareEqualTo = 0, kCFCompareGreaterThan = 1 };

typedef CFComparisonResult (*CFComparatorFunction)(const void* val1, const void* val2, void* context);

enum { kCFNotFound = -1 };

// Allocators are accepted for compatibility; every object is allocated by the runtime itself.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;

CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
CF_EXPORT void CFRelease(CFTypeRef cf);
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
// Adds the object to the innermost autorelease pool of the calling thread and returns it.
CF_EXPORT CFTypeRef CFAutorelease(CFTypeRef cf);

typedef const struct __CFNull* CFNullRef;
CF_EXPORT const CFNullRef kCFNull;
CF_EXPORT CFTypeID CFNullGetTypeID(void);

CF_EXTERN_C_END
