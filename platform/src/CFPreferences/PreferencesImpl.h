// PreferencesImpl.h: where preferences live on Linux and which application is the current one,
// shared by the preferences source files.
#pragma once

#include <CoreFoundation/CFDictionary.h>

#include <string>

// The functions tests reach directly are visible outside the library.
#define ZRP_TESTABLE __attribute__((visibility("default")))

namespace zrp {

// The folder that holds one property-list file per domain: $XDG_CONFIG_HOME when it is an
// absolute path, else ~/.config. Empty when no home folder can be found.
ZRP_TESTABLE std::string PreferencesDirectory();

// The identifier of the running application: the CFBundleIdentifier of the bundle its
// executable lies in, else the executable's file name. Worked out once per process.
ZRP_TESTABLE std::string CurrentApplicationIdentifier();

// The identifier for an executable at path: when it sits in "<Name>.app/Contents/MacOS/" or
// "<Name>.app/Contents/Linux/", the CFBundleIdentifier of "<Name>.app/Contents/Info.plist" (either
// property-list form) if that is a non-empty string; otherwise the executable's file name.
ZRP_TESTABLE std::string ApplicationIdentifierForExecutable(const std::string& path);

// The file of a domain: "<PreferencesDirectory()>/<identifier>.plist". Empty when the folder is
// unknown or the identifier could name something outside it.
ZRP_TESTABLE std::string DomainPath(const std::string& identifier);

// The dictionary stored in a domain file, read again whenever the file changes (another inode,
// size or modification time); NULL when the file is missing or holds no dictionary. Returns a
// new reference. Thread-safe.
CFDictionaryRef CopyDomainDictionary(const std::string& path);

}  // namespace zrp
