// CFBundle.h: bundles: the application's main bundle, its information property list, its
// localized strings and its resource files.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

typedef struct __CFBundle* CFBundleRef;

CF_EXTERN_C_BEGIN

// Keys of the information property list.
CF_EXPORT const CFStringRef kCFBundleInfoDictionaryVersionKey;
CF_EXPORT const CFStringRef kCFBundleExecutableKey;
CF_EXPORT const CFStringRef kCFBundleIdentifierKey;
CF_EXPORT const CFStringRef kCFBundleVersionKey;
CF_EXPORT const CFStringRef kCFBundleDevelopmentRegionKey;
CF_EXPORT const CFStringRef kCFBundleNameKey;
CF_EXPORT const CFStringRef kCFBundleLocalizationsKey;

CF_EXPORT CFTypeID CFBundleGetTypeID(void);

// The bundle of the running application: the folder whose "Contents/MacOS/" (or
// "Contents/Linux/") holds the executable, else the executable's own folder as a flat bundle.
// The bundle lives as long as the process; NULL only when the executable cannot be found.
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);

// A folder URL of the bundle's own folder; NULL when memory runs out.
CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);

// The bundle's information property list ("Contents/Info.plist", or "Info.plist" in a flat
// bundle); an empty dictionary when it has none. The bundle keeps ownership.
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
// The value of a key of the information property list, localized by the bundle's
// "InfoPlist.strings" when that table has the key. The bundle keeps ownership; NULL when absent.
CF_EXPORT CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);
// "CFBundleIdentifier" of the information property list, or NULL.
CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);
// "CFBundleDevelopmentRegion" of the information property list, or NULL.
CF_EXPORT CFStringRef CFBundleGetDevelopmentRegion(CFBundleRef bundle);

// The names of the bundle's localization folders, without ".lproj" ("English", "de").
CF_EXPORT CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle);
// Of the localizations given, those to use for the user's languages: the best match first.
CF_EXPORT CFArrayRef CFBundleCopyPreferredLocalizationsFromArray(CFArrayRef locArray);

// The URL of the resource file resourceName (with ".resourceType" after it when the type is
// neither NULL nor empty) in the folder subDirName (NULL or empty: none) of the bundle's
// resources: first the resources folder itself, then its localization folders, the best match for
// the user's languages first. NULL when no such file or folder exists.
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef resourceName, CFStringRef resourceType,
                                           CFStringRef subDirName);
// The same in the resources folder, then the folder of the one localization localizationName
// only. The old names and the codes find each other's folders: "English" finds "en.lproj" and
// "de" finds "German.lproj".
CF_EXPORT CFURLRef CFBundleCopyResourceURLForLocalization(CFBundleRef bundle, CFStringRef resourceName,
                                                          CFStringRef resourceType, CFStringRef subDirName,
                                                          CFStringRef localizationName);

// The text of key in the strings table tableName (NULL: "Localizable") of the localization that
// best matches the user's languages. When the table lacks the key: value (retained) if it is
// neither NULL nor empty, else key. NULL only when key is NULL or memory runs out.
CF_EXPORT CFStringRef CFBundleCopyLocalizedString(CFBundleRef bundle, CFStringRef key, CFStringRef value,
                                                  CFStringRef tableName);

CF_EXTERN_C_END

#define CFCopyLocalizedString(key, comment) CFBundleCopyLocalizedString(CFBundleGetMainBundle(), (key), (key), NULL)
#define CFCopyLocalizedStringFromTable(key, tbl, comment) \
  CFBundleCopyLocalizedString(CFBundleGetMainBundle(), (key), (key), (tbl))
#define CFCopyLocalizedStringFromTableInBundle(key, tbl, bundle, comment) \
  CFBundleCopyLocalizedString((bundle), (key), (key), (tbl))
#define CFCopyLocalizedStringWithDefaultValue(key, tbl, bundle, value, comment) \
  CFBundleCopyLocalizedString((bundle), (key), (value), (tbl))
