// Folders.h: finding the user's standard folders.
//
// On Linux the user's folders are those of the XDG base directories: Application Support is
// $XDG_DATA_HOME (default ~/.local/share), Preferences is $XDG_CONFIG_HOME (default ~/.config),
// Caches is $XDG_CACHE_HOME (default ~/.cache); folders that FSFindFolder creates get mode 0700.
#pragma once

#include <CoreServices/Files.h>

CF_EXTERN_C_BEGIN

typedef SInt16 FSVolumeRefNum;
enum {
  kOnSystemDisk = -32768,
  kOnAppropriateDisk = -32767,
  kSystemDomain = -32766,
  kLocalDomain = -32765,
  kNetworkDomain = -32764,
  kUserDomain = -32763
};
enum { kCreateFolder = true, kDontCreateFolder = false };
enum {
  kApplicationSupportFolderType = 0x61737570,  // 'asup'
  kPreferencesFolderType = 0x70726566,         // 'pref'
  kCachedDataFolderType = 0x63616368           // 'cach'
};

// The folder of folderType in the domain vRefNum. Only the user domain (kUserDomain, and
// kOnAppropriateDisk, which means it for these types) has folders here; any other domain or type
// gives fnfErr. A missing folder is made (with the folders above it) when createFolder is true,
// else fnfErr.
CF_EXPORT OSErr FSFindFolder(FSVolumeRefNum vRefNum, OSType folderType, Boolean createFolder, FSRef* foundRef);

CF_EXTERN_C_END
