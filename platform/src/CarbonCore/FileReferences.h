// FileReferences.h: the host's FSRef records (a path in the process's table plus the item's
// identity) and the file manager's statuses for error numbers, shared by the file and folder
// calls and by URLs.
#pragma once

#include <CoreServices/CoreServices.h>

#include <string>

namespace zrp {

// The file manager's status for an error number of a file-system call.
OSStatus StatusOfErrno(int number);

// Fills ref for the item at the absolute path (lstat when noFollow, else stat); the path is
// kept as given. *isDirectory, when given, tells whether the item is a folder.
OSStatus MakeFSRef(const std::string& path, bool noFollow, FSRef* ref, Boolean* isDirectory);

// The path that ref was made for, when it still names the same item: noErr, else the status.
OSStatus PathOfFSRef(const FSRef* ref, std::string* path);

}  // namespace zrp
