// LaunchServices.h: finding application bundles and launching them.
//
// Applications are "<Name>.app" bundle folders found in the application folders, the user's
// before the system's: $HOME/Applications, /usr/local/Applications, /Applications, each with one
// level of plain subfolders (such as Utilities). ZR_APPLICATION_FOLDERS, a list of folders
// separated by ':', replaces that list. A launched application runs its bundle's executable
// (Contents/MacOS/ or Contents/Linux/) detached from the caller, in a session of its own; see
// docs/system.md.
#pragma once

#include <ApplicationServices/Processes.h>
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>
#include <CoreServices/AE.h>
#include <CoreServices/Files.h>

CF_EXTERN_C_BEGIN

enum { kLSUnknownCreator = 0 };

enum {
  kLSUnknownErr = -10810,
  kLSNotAnApplicationErr = -10811,
  kLSNoExecutableErr = -10827,
  kLSMultipleSessionsNotSupportedErr = -10829
};

typedef OptionBits LSLaunchFlags;
enum {
  kLSLaunchDefaults = 0x00000001,
  kLSLaunchAndPrint = 0x00000002,
  kLSLaunchAndDisplayErrors = 0x00000040,
  kLSLaunchInhibitBGOnly = 0x00000080,
  kLSLaunchDontAddToRecents = 0x00000100,
  kLSLaunchDontSwitch = 0x00000200,
  kLSLaunchNoParams = 0x00000800,
  kLSLaunchAsync = 0x00010000,
  kLSLaunchStartClassic = 0x00020000,
  kLSLaunchInClassic = 0x00040000,
  kLSLaunchNewInstance = 0x00080000,
  kLSLaunchAndHide = 0x00100000,
  kLSLaunchAndHideOthers = 0x00200000,
  kLSLaunchHasUntrustedContents = 0x00400000
};

struct LSApplicationParameters {
  CFIndex version;  // 0
  LSLaunchFlags flags;
  const FSRef* application;
  void* asyncLaunchRefCon;
  CFDictionaryRef environment;  // added to the caller's environment; NULL for none
  CFArrayRef argv;              // strings after the executable's path; NULL for none
  AppleEvent* initialEvent;     // must be NULL: Linux applications take no Apple events
};
typedef struct LSApplicationParameters LSApplicationParameters;

// The first application bundle in the application folders whose "CFBundleSignature" is inCreator
// (unless kLSUnknownCreator), whose "CFBundleIdentifier" is inBundleID (unless NULL; compared
// without regard to case) and whose folder name is inName (unless NULL; with or without ".app").
// paramErr when no criterion or no result is given; kLSApplicationNotFoundErr when none matches.
CF_EXPORT OSStatus LSFindApplicationForInfo(OSType inCreator, CFStringRef inBundleID, CFStringRef inName,
                                            FSRef* outAppRef, CFURLRef* outAppURL);

// Starts the application bundle appParams->application and puts its serial number in *outPSN
// (when not NULL). An instance of the bundle already running is not started again (its number is
// reported) unless kLSLaunchNewInstance is given. paramErr for bad parameters,
// kLSNotAnApplicationErr for a folder that is no application bundle, kLSNoExecutableErr when its
// executable is missing or cannot run.
CF_EXPORT OSStatus LSOpenApplication(const LSApplicationParameters* appParams, ProcessSerialNumber* outPSN);

CF_EXTERN_C_END
