// Folders.cpp: FSFindFolder for the user's folders, which on Linux are the XDG base
// directories: each comes from its variable when that holds an absolute path, else from the
// usual place under the home folder.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <string>

#include "CarbonCore/FileReferences.h"
#include "POSIX/Users.h"

namespace {

// The folder for a type of the user domain; false for a type this host has no folder for.
bool UserFolder(OSType folderType, std::string* path, OSStatus* status) {
  const char* variable;
  const char* fallback;
  switch (folderType) {
    case kApplicationSupportFolderType:
      variable = "XDG_DATA_HOME";
      fallback = "/.local/share";
      break;
    case kPreferencesFolderType:
      variable = "XDG_CONFIG_HOME";
      fallback = "/.config";
      break;
    case kCachedDataFolderType:
      variable = "XDG_CACHE_HOME";
      fallback = "/.cache";
      break;
    default:
      *status = fnfErr;
      return false;
  }
  // A relative value is to be ignored, as the XDG rules say.
  const char* value = getenv(variable);
  if (value && value[0] == '/') {
    *path = value;
  } else {
    std::string home;
    if (!zrp::HomeFolder(&home)) {
      *status = fnfErr;
      return false;
    }
    *path = home + fallback;
  }
  while (path->size() > 1 && path->back() == '/') path->pop_back();
  return true;
}

// Makes the folder and the missing ones above it, each with mode 0700.
int MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    std::string prefix = slash == std::string::npos ? path : path.substr(0, slash);
    if (mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) return errno;
    if (slash == std::string::npos) return 0;
  }
}

}  // namespace

extern "C" {

OSErr FSFindFolder(FSVolumeRefNum vRefNum, OSType folderType, Boolean createFolder, FSRef* foundRef) {
  if (!foundRef) return paramErr;
  if (vRefNum != kUserDomain && vRefNum != kOnAppropriateDisk) return fnfErr;
  try {
    std::string path;
    OSStatus status = noErr;
    if (!UserFolder(folderType, &path, &status)) return static_cast<OSErr>(status);
    Boolean isDirectory = false;
    status = zrp::MakeFSRef(path, false, foundRef, &isDirectory);
    if (status == fnfErr && createFolder) {
      int error = MakeFolders(path);
      if (error != 0) return static_cast<OSErr>(zrp::StatusOfErrno(error));
      status = zrp::MakeFSRef(path, false, foundRef, &isDirectory);
    }
    if (status == noErr && !isDirectory) status = dirNFErr;
    return static_cast<OSErr>(status);
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

}  // extern "C"
