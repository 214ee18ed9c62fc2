// CFError.h: error objects: a domain, a code and a dictionary of further information, with the
// texts an application shows for them.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef struct __CFError* CFErrorRef;

// The domains of error codes.
CF_EXPORT const CFStringRef kCFErrorDomainPOSIX;     // "NSPOSIXErrorDomain": errno values
CF_EXPORT const CFStringRef kCFErrorDomainOSStatus;  // "NSOSStatusErrorDomain": OSStatus values
CF_EXPORT const CFStringRef kCFErrorDomainMach;      // "NSMachErrorDomain"
CF_EXPORT const CFStringRef kCFErrorDomainCocoa;     // "NSCocoaErrorDomain": Foundation's codes

// Keys of the user information dictionary.
CF_EXPORT const CFStringRef kCFErrorLocalizedDescriptionKey;         // "NSLocalizedDescription"
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureReasonKey;       // "NSLocalizedFailureReason"
CF_EXPORT const CFStringRef kCFErrorLocalizedRecoverySuggestionKey;  // "NSLocalizedRecoverySuggestion"
CF_EXPORT const CFStringRef kCFErrorDescriptionKey;                  // "NSDescription"
CF_EXPORT const CFStringRef kCFErrorUnderlyingErrorKey;              // "NSUnderlyingError"
CF_EXPORT const CFStringRef kCFErrorURLKey;                          // "NSURL"
CF_EXPORT const CFStringRef kCFErrorFilePathKey;                     // "NSFilePath"

CF_EXPORT CFTypeID CFErrorGetTypeID(void);
// A new error; userInfo (may be NULL) is copied. NULL when domain is NULL or the allocation fails.
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFStringRef domain, CFIndex code,
                                   CFDictionaryRef userInfo);
// A new error whose user information holds the numberOfUserInfoValues keys and values given.
CF_EXPORT CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFStringRef domain, CFIndex code,
                                                            const void* const* userInfoKeys,
                                                            const void* const* userInfoValues,
                                                            CFIndex numberOfUserInfoValues);
CF_EXPORT CFStringRef CFErrorGetDomain(CFErrorRef err);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err);
// The user information (an empty dictionary when none was given); the caller releases it.
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err);
// The text to show: the localized description from the user information when there is one;
// else the known text of the domain and code, or "The operation couldn’t be completed. (<domain>
// error <code>.)" followed by the failure reason when one is given. Never NULL for an error.
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef err);
// The failure reason and the recovery suggestion from the user information; NULL when absent.
CF_EXPORT CFStringRef CFErrorCopyFailureReason(CFErrorRef err);
CF_EXPORT CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err);

CF_EXTERN_C_END
