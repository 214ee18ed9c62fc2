// ZRSupportFolder.cpp: the application's own folder inside the user's Application Support
// folder, found or made on first request.
#include <ZRFramework/ZRFramework.h>

#include <cstdlib>
#include <cstring>

#include "diagnostics/Frame.h"

namespace {

// The application folder's name, 7 UTF-16 units, and the same in bytes with its NUL.
const UniChar kApplicationFolderName[] = {'K', 'o', 'r', 'v', 'a', 'n', 'e'};
const char kApplicationFolderNameBuffer[] = "Korvane";
constexpr size_t kSupportPathBufferSize = 1024;

}  // namespace

OSStatus ZRCopySupportPathBuffer(char** outBuffer, Boolean inLog) {
  OSStatus status = noErr;
  // Every failure frees the buffer in the slot and empties the slot.
  ZR_CLEANUP {
    if (status != noErr && outBuffer) {
      free(*outBuffer);
      *outBuffer = NULL;
    }
  };

  if (!outBuffer || *outBuffer) {
    // A buffer found in the slot is freed and the slot emptied (by the cleanup), even here.
    ZR_LOG_ERROR(inLog, CFSTR("outBuffer: %p"), outBuffer);
    return status = paramErr;
  }

  *outBuffer = static_cast<char*>(calloc(kSupportPathBufferSize, 1));
  if (!*outBuffer) {
    ZR_LOG_ERROR(inLog, CFSTR("calloc returns NULL"));
    return status = unknownErr;
  }

  FSRef folder;
  status = FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &folder);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("FSFindFolder returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  // The path is asked for with room kept for "/Korvane" and its NUL, so the name always fits.
  status = FSRefMakePath(&folder, reinterpret_cast<UInt8*>(*outBuffer),
                         kSupportPathBufferSize - sizeof kApplicationFolderNameBuffer);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("FSRefMakePath returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  // The name goes right after a final "/", else after a "/" of its own.
  size_t length = strlen(*outBuffer);
  if (length == 0 || (*outBuffer)[length - 1] != '/') (*outBuffer)[length++] = '/';
  memcpy(*outBuffer + length, kApplicationFolderNameBuffer, sizeof kApplicationFolderNameBuffer);

  // An existing item of that name is taken as it is, folder or not.
  FSRef item;
  if (FSPathMakeRefWithOptions(reinterpret_cast<const UInt8*>(*outBuffer), kFSPathMakeRefDoNotFollowLeafSymlink, &item,
                               NULL) == noErr) {
    return status = noErr;
  }

  status = FSCreateDirectoryUnicode(&folder, 7, kApplicationFolderName, kFSCatInfoNone, NULL, &item, NULL, NULL);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("FSCreateDirectoryUnicode returns %@"), ZRCarbonErrorString(status));
  }
  return status;
}
