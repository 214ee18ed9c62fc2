// Debugging.cpp: the symbolic name and comment of a status (GetMacOSStatusErrorString,
// GetMacOSStatusCommentString): the platform's own statuses from a table, POSIX error numbers
// (placed at 100000 + errno in the status space) from the C library's own names and texts.
#include <CoreServices/Debugging.h>
#include <CoreServices/MacErrors.h>
#include <string.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "runtime/NoThrow.h"
#include "runtime/Seams.h"

namespace {

struct StatusText {
  OSStatus status;
  const char* name;
  const char* comment;
};

// The platform's statuses with the names and comments its headers give them, ordered by value so
// that a lookup is a binary search. Where the platform has several names for one value (abortErr and
// iIOAbortErr, say) the first one it lists is kept. -2221, -2222 and -2223 are deliberately absent:
// the library prints those three from fixed texts of its own, and a second spelling here would only
// invite the two to disagree.
constexpr StatusText kStatusTexts[] = {
    {-25340, "kUCOutputBufferTooSmall", "Output buffer too small for Unicode string result"},
    {-10829, "kLSMultipleSessionsNotSupportedErr", "The app cannot run simultaneously in two different sessions"},
    {-10828, "kLSNoClassicEnvironmentErr", "The Classic environment was required but is not available"},
    {-10827, "kLSNoExecutableErr", "The executable is missing"},
    {-10826, "kLSNoLaunchPermissionErr", "User doesn't have permission to launch the app (managed networks)"},
    {-10825, "kLSIncompatibleSystemVersionErr", "The app cannot run on the current OS version"},
    {-10824, "kLSNoRegistrationInfoErr", "The item contains no registration info"},
    {-10823, "kLSCannotSetInfoErr", "The extension visibility on this item cannot be changed"},
    {-10822, "kLSServerCommunicationErr", "The server process (registration and recent items) is not available"},
    {-10821, "kLSAppDoesNotSupportSchemeWarning", "Not used in 10.2 and later"},
    {-10820, "kLSAppDoesNotClaimTypeErr",
     "One or more documents are of types (and/or one or more URLs are of schemes) not supported by the target "
     "application (sandboxed callers only)"},
    {-10819, "kLSNotRegisteredErr", "Not used in 10.3 and later"},
    {-10818, "kLSLaunchInProgressErr", "E.g. launching an already launching application"},
    {-10817, "kLSDataErr", "Not used in 10.4 and later"},
    {-10816, "kLSDataTooOldErr", "Not used in 10.3 and later"},
    {-10815, "kLSUnknownTypeErr", "Don't know anything about the type of the item"},
    {-10814, "kLSApplicationNotFoundErr", "E.g. no application claims the file"},
    {-10813, "kLSDataUnavailableErr", "E.g. no kind string"},
    {-10812, "kLSNotInitializedErr", "Not used in 10.2 and later"},
    {-10811, "kLSNotAnApplicationErr", "Item needs to be an application, but is not"},
    {-10810, "kLSUnknownErr", "Unexpected internal error"},
    {-10666, "kLSGarbageCollectionUnsupportedErr", "Objective-C garbage collection is no longer supported"},
    {-10665, "kLSNoRosettaEnvironmentErr", "PowerPC apps are no longer supported"},
    {-10664, "kLSIncompatibleApplicationVersionErr", "The app is incompatible with the current OS"},
    {-10663, "kLSAttributeNotSettableErr", "The attribute is not settable"},
    {-10662, "kLSAttributeNotFoundErr", "An item attribute value could not be found with the specified name"},
    {-10661, "kLSExecutableIncorrectFormat", "No compatible executable was found"},
    {-10660, "kLSAppInTrashErr", "The app cannot be run when inside a Trash folder"},
    {-10004, "errAEPrivilegeError", "A privileged operation failed."},
    {-10000, "errAEEventFailed", "Apple event handler failed."},
    {-5553, "gestaltLocationErr", "gestalt function ptr wasn't in sysheap"},
    {-5552, "gestaltDupSelectorErr", "tried to add an entry that already existed"},
    {-5551, "gestaltUndefSelectorErr", "undefined selector was passed to Gestalt"},
    {-5550, "gestaltUnknownErr", "value returned if Gestalt doesn't know the answer"},
    {-1856, "handlerNotFoundErr", "handler not found"},
    {-1741, "errAEBufferTooSmall", "buffer for AEFlattenDesc too small"},
    {-1740, "errAEBuildSyntaxError", "AEBuildDesc and friends detected a syntax error"},
    {-1739, "errAEDescIsNull", "attempting to perform an invalid operation on a null descriptor"},
    {-1736, "errAEDuplicateHandler", "attempt to install handler in table for identical class and id (1.1 or greater)"},
    {-1735, "errAEEventFiltered", "event has been filtered, and should not be propogated (1.1 or greater)"},
    {-1728, "errAENoSuchObject",
     "e.g.,: specifier asked for the 3rd, but there are only 2. Basically, this indicates a run-time resolution "
     "error."},
    {-1717, "errAEHandlerNotFound",
     "no handler in the dispatch tables fits the parameters to AEGetEventHandler or AEGetCoercionHandler"},
    {-1716, "errAEUnknownAddressType", "the target address type is not known"},
    {-1715, "errAEParamMissed", "a required parameter was not accessed"},
    {-1713, "errAENoUserInteraction", "no user interaction is allowed"},
    {-1712, "errAETimeout", "the AppleEvent timed out"},
    {-1711, "errAEWaitCanceled", "in AESend, the user cancelled out of wait loop for reply or receipt"},
    {-1710, "errAEUnknownSendMode", "mode wasn't NoReply, WaitReply, or QueueReply or Interaction level is unknown"},
    {-1709, "errAEReplyNotValid", "AEResetTimer was passed an invalid reply parameter"},
    {-1708, "errAEEventNotHandled", "the AppleEvent was not handled by any handler"},
    {-1707, "errAENotAppleEvent", "the event is not in AppleEvent format"},
    {-1706, "errAENewerVersion", "need newer version of the AppleEvent manager"},
    {-1705, "errAEBadListItem", "the specified list item does not exist"},
    {-1704, "errAENotAEDesc", ""},
    {-1703, "errAEWrongDataType", ""},
    {-1702, "errAECorruptData", ""},
    {-1701, "errAEDescNotFound", ""},
    {-1700, "errAECoercionFail", "bad parameter data or unable to coerce the data supplied"},
    {-1429, "errFSNotEnoughSpaceForOperation", "There is not enough disk space to perform the requested operation"},
    {-1428, "errFSPropertyNotValid", "The requested property is not valid (has not been set yet)"},
    {-1427, "errFSAttributeNotFound", "The requested attribute does not exist"},
    {-1426, "errFSOperationNotSupported", "The attempted operation is not supported"},
    {-1425, "errFSQuotaExceeded", "The user's quota of disk blocks has been exhausted."},
    {-1424, "errFSIteratorNotSupported", "The iterator's flags or container are not supported by this call"},
    {-1423, "errFSIteratorNotFound", "Passed FSIterator is not an open iterator"},
    {-1422, "errFSBadIteratorFlags", "Flags passed to FSOpenIterator are bad"},
    {-1421, "errFSForkExists", "Named fork already exists."},
    {-1420, "errFSRefsDifferent", "FSCompareFSRefs; refs are for different objects"},
    {-1419, "errFSBadSearchParams", "Something wrong with CatalogSearch searchParams"},
    {-1418, "errFSBadItemCount", "maximumItems was zero"},
    {-1417, "errFSNoMoreItems", "Iteration ran out of items to return"},
    {-1413, "errFSBadAllocFlags", "Invalid bits set in allocationFlags"},
    {-1412, "errFSBadPosMode", "Newline bits set in positionMode"},
    {-1411, "errFSMissingName", "A Unicode name parameter was NULL or nameLength parameter was zero"},
    {-1410, "errFSNameTooLong", "File/fork name is too long to create/rename"},
    {-1409, "errFSForkNotFound", "Named fork does not exist"},
    {-1407, "errFSNotAFolder", "Expected a folder, got a file"},
    {-1406, "errFSMissingCatInfo", "A CatalogInfo parameter was NULL"},
    {-1405, "errFSBadInfoBitmap", "A CatalogInfoBitmap or VolumeInfoBitmap has reserved or invalid bits set"},
    {-1404, "errFSBadForkRef", "A ForkRefNum parameter was bad"},
    {-1403, "errFSBadBuffer", "A buffer parameter was bad"},
    {-1402, "errFSBadForkName", "Fork name parameter is bad"},
    {-1401, "errFSBadFSRef", "FSRef parameter is bad"},
    {-1400, "errFSUnknownCall", "selector is not recognized by this filesystem"},
    {-1311, "volVMBusyErr", "can't eject because volume is in use by VM"},
    {-1310, "fsDataTooBigErr", "file or volume is too big for system"},
    {-1309, "fileBoundsErr", "file's EOF, offset, mark or size is too big"},
    {-1308, "notARemountErr", "when _Mount allows only remounts and doesn't get one"},
    {-1307, "badFidErr", "file id is dangling or doesn't match with the file number"},
    {-1306, "sameFileErr", "can't exchange a file with itself"},
    {-1305, "desktopDamagedErr", "desktop database files are corrupted"},
    {-1304, "catChangedErr", "the catalog has been modified"},
    {-1303, "diffVolErr", "files on different volumes"},
    {-1302, "notAFileErr", "directory specified"},
    {-1301, "fidExists", "file id already exists"},
    {-1300, "fidNotFound", "no file thread exists."},
    {-610, "noUserInteractionAllowed", "no user interaction allowed"},
    {-609, "connectionInvalid", ""},
    {-608, "noOutstandingHLE", ""},
    {-607, "bufferIsSmall", "error returns from Post and Accept"},
    {-606, "appIsDaemon", "app is BG-only, and launch flags disallow this"},
    {-605, "appMemFullErr", "application SIZE not big enough for launch"},
    {-604, "hardwareConfigErr", "hardware configuration not correct for call"},
    {-603, "protocolErr", "app made module calls in improper order"},
    {-602, "appModeErr", "memory mode is 32-bit, but app not 32-bit clean"},
    {-601, "memFragErr", "not enough room to launch app w/special requirements"},
    {-600, "procNotFound", "no eligible process with specified descriptor"},
    {-199, "mapReadErr", "map inconsistent with operation"},
    {-198, "resAttrErr", "attribute inconsistent with operation"},
    {-197, "rmvRefFailed", "RmveReference failed"},
    {-196, "rmvResFailed", "RmveResource failed"},
    {-195, "addRefFailed", "AddReference failed"},
    {-194, "addResFailed", "AddResource failed"},
    {-193, "resFNotFound", "Resource file not found"},
    {-192, "resNotFound", "Resource not found"},
    {-190, "inputOutOfBounds", "Offset of Count out of bounds"},
    {-189, "writingPastEnd", "Writing past end of file"},
    {-188, "resourceInMemory", "Resource already in memory"},
    {-128, "userCanceledErr", ""},
    {-124, "volGoneErr", "Server volume has been disconnected."},
    {-123, "wrgVolTypErr", "Wrong volume type error [operation not supported for MFS]"},
    {-122, "badMovErr", "Move into offspring error"},
    {-121, "tmwdoErr", "No free WDCB available"},
    {-120, "dirNFErr", "Directory not found"},
    {-117, "memLockedErr", "trying to move a locked block (MoveHHi)"},
    {-116, "memSCErr", "Size Check failed"},
    {-115, "memBCErr", "Block Check failed"},
    {-114, "memPCErr", "Pointer Check failed"},
    {-113, "memAZErr", "Address in zone check failed"},
    {-112, "memPurErr", "trying to purge a locked or non-purgeable block"},
    {-111, "memWZErr", "WhichZone failed (applied to free block)"},
    {-110, "memAdrErr", "address was odd; or out of range"},
    {-109, "nilHandleErr", "Master Pointer was NIL in HandleZone or other"},
    {-108, "memFullErr", "Not enough room in heap zone"},
    {-99, "memROZWarn", "soft error in ROZ"},
    {-61, "wrPermErr", "write permissions error"},
    {-60, "badMDBErr", "bad master directory block"},
    {-59, "fsRnErr", "file system internal error:during rename the old entry was deleted but could not be restored."},
    {-58, "extFSErr", "volume in question belongs to an external fs"},
    {-57, "noMacDskErr", "not a mac diskette (sig bytes are wrong)"},
    {-56, "nsDrvErr", "no such drive (tried to mount a bad drive num)"},
    {-55, "volOnLinErr", "drive volume already on-line at MountVol"},
    {-54, "permErr", "permissions error (on file open)"},
    {-53, "volOffLinErr", "volume not on line error (was Ejected)"},
    {-52, "gfpErr", "get file position error"},
    {-51, "rfNumErr", "refnum error"},
    {-50, "paramErr", "error in user parameter list"},
    {-49, "opWrErr", "file already open with with write permission"},
    {-48, "dupFNErr", "duplicate filename (rename)"},
    {-47, "fBsyErr", "File is busy (delete)"},
    {-46, "vLckdErr", "volume is locked"},
    {-45, "fLckdErr", "file is locked"},
    {-44, "wPrErr", "diskette is write protected."},
    {-43, "fnfErr", "File not found"},
    {-42, "tmfoErr", "too many files open"},
    {-41, "mFulErr", "memory full (open) or file won't fit (load)"},
    {-40, "posErr", "tried to position to before start of file (r/w)"},
    {-39, "eofErr", "End of file"},
    {-38, "fnOpnErr", "File not open"},
    {-37, "bdNamErr", "bad file name passed to routine; there may be no bad names in the final system!"},
    {-36, "ioErr", "I/O error (bummers)"},
    {-35, "nsvErr", "no such volume"},
    {-34, "dskFulErr", "disk full"},
    {-33, "dirFulErr", "Directory full"},
    {-27, "abortErr", "IO call aborted by KillIO"},
    {-4, "unimpErr", "unimplemented core routine"},
    {0, "noErr", "no error"},
};

constexpr bool IsStrictlyIncreasing() {
  for (size_t i = 1; i < std::size(kStatusTexts); ++i) {
    if (kStatusTexts[i - 1].status >= kStatusTexts[i].status) return false;
  }
  return true;
}
static_assert(IsStrictlyIncreasing(), "kStatusTexts must be ordered by value, each value once");

constexpr bool IsNamed(OSStatus status) {
  for (const StatusText& entry : kStatusTexts) {
    if (entry.status == status) return true;
  }
  return false;
}
// Every status that the host's headers declare has its text here.
static_assert(IsNamed(noErr) && IsNamed(paramErr) && IsNamed(memFullErr) && IsNamed(nilHandleErr) &&
              IsNamed(memWZErr) && IsNamed(fnfErr) && IsNamed(ioErr) && IsNamed(eofErr) && IsNamed(permErr) &&
              IsNamed(dupFNErr) && IsNamed(dirNFErr) && IsNamed(nsvErr) && IsNamed(bdNamErr) && IsNamed(wrPermErr) &&
              IsNamed(errFSAttributeNotFound) && IsNamed(procNotFound) && IsNamed(errAEEventNotHandled) &&
              IsNamed(errAETimeout) && IsNamed(kLSApplicationNotFoundErr) && IsNamed(connectionInvalid) &&
              IsNamed(gestaltUndefSelectorErr) && IsNamed(errAEEventFailed) && IsNamed(errAEPrivilegeError));

// The platform places POSIX error numbers at this base in its status space.
constexpr OSStatus kErrnoBase = 100000;

const StatusText* FindStatus(OSStatus err) {
  const StatusText* end = std::end(kStatusTexts);
  const StatusText* found = std::lower_bound(
      std::begin(kStatusTexts), end, err, [](const StatusText& entry, OSStatus value) { return entry.status < value; });
  return (found != end && found->status == err) ? found : nullptr;
}

// The error number that a status stands for, or 0 when it is not one. errno 0 is success, not an error,
// so 100000 itself is no error number (the C library "names" it "0", which is no symbolic name).
int ErrnoOfStatus(OSStatus err) { return err > kErrnoBase ? static_cast<int>(err - kErrnoBase) : 0; }

}  // namespace

const char* GetMacOSStatusErrorString(OSStatus err) {
  return zrp::CatchOutOfMemory<const char*>("", [&]() -> const char* {
    if (const char* text = zrp::StatusTextOverride(err, true)) return text;
    if (const StatusText* entry = FindStatus(err)) return entry->name;
    if (int number = ErrnoOfStatus(err)) {
      // NULL for numbers the C library does not know; its names are static, as promised to callers.
      if (const char* name = strerrorname_np(number)) return name;
    }
    return "";
  });
}

const char* GetMacOSStatusCommentString(OSStatus err) {
  return zrp::CatchOutOfMemory<const char*>("", [&]() -> const char* {
    if (const char* text = zrp::StatusTextOverride(err, false)) return text;
    if (const StatusText* entry = FindStatus(err)) return entry->comment;
    if (int number = ErrnoOfStatus(err)) {
      // strerrordesc_np, unlike strerror, neither translates nor formats "Unknown error N": the text is
      // the C library's own static one, or NULL.
      if (const char* text = strerrordesc_np(number)) return text;
    }
    return "";
  });
}
