// CFLocale.h: locales: the user's current locale, locales made from identifiers, the system
// (root) locale, and the user's preferred languages.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>

typedef const struct __CFLocale* CFLocaleRef;
// A locale identifier in the ICU form: "en", "en_US", "de_DE", "zh_Hans_CN".
typedef CFStringRef CFLocaleIdentifier;

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID CFLocaleGetTypeID(void);

// The root locale, whose identifier is the empty string. Never released.
CF_EXPORT CFLocaleRef CFLocaleGetSystem(void);

// A new locale for the user's settings: the "AppleLocale" preference when it is set, else the
// locale of the environment (LC_ALL, LC_NUMERIC, LANG; "C" and "POSIX" read as "en").
// NULL only when the object cannot be made.
CF_EXPORT CFLocaleRef CFLocaleCopyCurrent(void);

// A locale for the identifier, canonicalized first ("de-DE" gives "de_DE", "German" gives "de").
// NULL for a NULL identifier or when the object cannot be made.
CF_EXPORT CFLocaleRef CFLocaleCreate(CFAllocatorRef allocator, CFLocaleIdentifier localeIdentifier);
CF_EXPORT CFLocaleRef CFLocaleCreateCopy(CFAllocatorRef allocator, CFLocaleRef locale);

// The locale's canonical identifier; the locale keeps ownership.
CF_EXPORT CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);

// The canonical form of a locale identifier ("en-US" and "en_US.UTF-8" give "en_US", the old
// English names "English", "German" ... give "en", "de" ...). NULL for NULL.
CF_EXPORT CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromString(CFAllocatorRef allocator,
                                                                               CFStringRef localeIdentifier);
// The canonical form of a language identifier, with "-" between its parts ("en_US" gives "en-US").
CF_EXPORT CFLocaleIdentifier CFLocaleCreateCanonicalLanguageIdentifierFromString(CFAllocatorRef allocator,
                                                                                 CFStringRef localeIdentifier);

// The user's languages, most preferred first ("de-DE", "de", "en"): the "AppleLanguages"
// preference when it is set, else the environment (LANGUAGE, LC_ALL, LC_MESSAGES, LANG).
CF_EXPORT CFArrayRef CFLocaleCopyPreferredLanguages(void);

CF_EXTERN_C_END
