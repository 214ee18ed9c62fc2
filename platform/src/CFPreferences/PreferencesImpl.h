// PreferencesImpl.h: where preferences live on Linux and which application is the current one,
// shared by the preferences source files.
#pragma once

#include <CoreFoundation/CFBundle.h>

#include <string>

// The functions tests reach directly are visible outside the library.
#define ZRP_TESTABLE __attribute__((visibility("default")))

namespace zrp {

// The folder that holds one property-list file per domain: $XDG_CONFIG_HOME when it is an
// absolute path, else ~/.config. Empty when no home folder can be found.
ZRP_TESTABLE std::string PreferencesDirectory();

// The identifier of the running application: the CFBundleIdentifier of the main bundle
// (CFBundleGetMainBundle), else the executable's file name. Worked out once per process.
ZRP_TESTABLE std::string CurrentApplicationIdentifier();

// The identifier for an executable at path, by the same rule: the CFBundleIdentifier of the
// bundle that CFBundleGetMainBundle would find for it (the folder holding "Contents/MacOS/" or
// "Contents/Linux/", whatever its name, else the executable's own folder) if that is a non-empty
// string; otherwise the executable's file name.
ZRP_TESTABLE std::string ApplicationIdentifierForExecutable(const std::string& path);

// The file of a domain: "<PreferencesDirectory()>/<identifier>.plist". Empty when the folder is
// unknown or the identifier could name something outside it.
ZRP_TESTABLE std::string DomainPath(const std::string& identifier);

// The value of the key that the application's domain, else the global domain, holds, as
// CFPreferencesCopyAppValue finds it but without the values it makes up for keys no domain sets;
// NULL when neither holds the key. May throw std::bad_alloc.
CFPropertyListRef CopyStoredAppValue(CFStringRef key, CFStringRef applicationID);

// Drops every domain read or changed in memory, changes not yet synchronized included, as if
// the process had just started; for tests that rewrite domain files behind the host's back.
ZRP_TESTABLE void ForgetPreferencesInMemory();

}  // namespace zrp
