// CFPreferences.h: application preferences, one property-list file per domain.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

CF_EXPORT const CFStringRef kCFPreferencesAnyApplication;
CF_EXPORT const CFStringRef kCFPreferencesCurrentApplication;
CF_EXPORT const CFStringRef kCFPreferencesAnyHost;
CF_EXPORT const CFStringRef kCFPreferencesCurrentHost;
CF_EXPORT const CFStringRef kCFPreferencesAnyUser;
CF_EXPORT const CFStringRef kCFPreferencesCurrentUser;

// applicationID: kCFPreferencesCurrentApplication (the main bundle's identifier), another
// application's identifier, or kCFPreferencesAnyApplication (the global domain, which lies beneath
// every application's own).

// The value of key in the application's domain, else in the global domain; NULL when absent.
// Values other processes wrote are seen after the next CFPreferencesAppSynchronize, or at most a
// second after they were written.
CF_EXPORT CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID);
// Sets key in the application's domain, in memory until the next synchronize; a NULL value removes
// the key. A value that is not a property list is ignored.
CF_EXPORT void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID);
// Writes the keys this process changed into the domain's file, merged with what other processes
// wrote there, and reads back what they changed. False when the file could not be written (the
// changes stay in memory for the next try) or read.
CF_EXPORT Boolean CFPreferencesAppSynchronize(CFStringRef applicationID);
// The keys of the application's own domain (not the global one beneath it); NULL when it has
// none. Only kCFPreferencesCurrentUser with kCFPreferencesAnyHost is kept on this system: other
// users and hosts have no keys.
CF_EXPORT CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName, CFStringRef hostName);

// The identifiers of the domains that have a file (the global domain not among them), in no
// particular order; NULL for another user or host than kCFPreferencesCurrentUser and
// kCFPreferencesAnyHost.
CF_EXPORT CFArrayRef CFPreferencesCopyApplicationList(CFStringRef userName, CFStringRef hostName);

CF_EXTERN_C_END
