// Files.h: file references (FSRef), catalog names (HFSUniStr255) and the file-manager calls
// that make, read and create them.
//
// An FSRef here holds the item's device and inode numbers and an index into the process's table
// of the paths it was made from; it stays good while that path names the same item (a renamed
// or replaced item gives fnfErr, a ref never made gives nsvErr).
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

// A catalog name: up to 255 UTF-16 units, not terminated. A "/" in a name is the ":" that
// POSIX paths show, and the other way round.
struct HFSUniStr255 {
  UInt16 length;
  UniChar unicode[255];
};
typedef struct HFSUniStr255 HFSUniStr255;
typedef const HFSUniStr255* ConstHFSUniStr255Param;

struct FSRef {
  UInt8 hidden[80];
};
typedef struct FSRef FSRef;
typedef FSRef* FSRefPtr;

typedef struct FSSpec FSSpec;  // the older file specification: never filled here
typedef FSSpec* FSSpecPtr;

typedef UInt32 FSCatalogInfoBitmap;
enum { kFSCatInfoNone = 0x00000000, kFSCatInfoNodeFlags = 0x00000002, kFSCatInfoDataSizes = 0x00004000 };
enum { kFSNodeIsDirectoryMask = 0x0010 };

// The part of the catalog information this host fills: the item's kind and its data size.
struct FSCatalogInfo {
  UInt16 nodeFlags;
  UInt64 dataLogicalSize;
  UInt64 dataPhysicalSize;
};
typedef struct FSCatalogInfo FSCatalogInfo;

enum { kFSPathMakeRefDefaultOptions = 0, kFSPathMakeRefDoNotFollowLeafSymlink = 0x01 };

// Statuses of the file manager beyond those of MacErrors.h.
enum { pathTooLongErr = -2110, errFSBadFSRef = -1401, dskFulErr = -34, wPrErr = -44, afpAccessDenied = -5000 };

// The reference of an existing item named by a UTF-8 POSIX path (a relative one counts from the
// working folder); *isDirectory (when given) tells whether it is a folder. fnfErr when nothing is
// there, dirNFErr when a folder on the way is missing or not a folder. A leaf symbolic link is
// followed unless kFSPathMakeRefDoNotFollowLeafSymlink is given.
CF_EXPORT OSStatus FSPathMakeRef(const UInt8* path, FSRef* ref, Boolean* isDirectory);
CF_EXPORT OSStatus FSPathMakeRefWithOptions(const UInt8* path, OptionBits options, FSRef* ref, Boolean* isDirectory);
// The item's absolute POSIX path, UTF-8 and NUL-terminated, in maxPathSize bytes at most
// (pathTooLongErr when it does not fit).
CF_EXPORT OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 maxPathSize);
// The item's name (outName), its parent folder (parentRef) and, in catalogInfo, what whichInfo
// asks for of kFSCatInfoNodeFlags and kFSCatInfoDataSizes (other bits: paramErr). fsSpec is
// never filled (paramErr when given). The root folder's name is the boot volume's name.
CF_EXPORT OSStatus FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap whichInfo, FSCatalogInfo* catalogInfo,
                                    HFSUniStr255* outName, FSSpecPtr fsSpec, FSRef* parentRef);
// Makes the folder nameLength units long named name in parentRef, with the default permissions
// (0777 less the process's umask). dupFNErr when something of that name is there; bdNamErr for
// an empty name, "." or ".."; catalogInfo must be NULL or whichInfo kFSCatInfoNone.
CF_EXPORT OSStatus FSCreateDirectoryUnicode(const FSRef* parentRef, UniCharCount nameLength, const UniChar* name,
                                            FSCatalogInfoBitmap whichInfo, const FSCatalogInfo* catalogInfo,
                                            FSRef* newRef, FSSpecPtr newSpec, UInt32* newDirID);
// A new string of the name's units; NULL for a NULL name.
CF_EXPORT CFStringRef FSCreateStringFromHFSUniStr(CFAllocatorRef alloc, const HFSUniStr255* uniStr);
// The name's units from a string of at most 255 units (else paramErr).
CF_EXPORT OSStatus FSGetHFSUniStrFromString(CFStringRef theString, HFSUniStr255* uniStr);
// True when both name the same item.
CF_EXPORT OSStatus FSCompareFSRefs(const FSRef* ref1, const FSRef* ref2);

CF_EXTERN_C_END
