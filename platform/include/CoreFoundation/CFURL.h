// CFURL.h: URLs of files: made from and turned into POSIX and HFS paths and file references.
//
// HFS paths name a volume first ("Disk:Users:anna:q.txt"). On Linux a volume is a folder under
// /media/<user>/, /media/ or /mnt/ with that name; the root folder "/" is the boot volume, named
// "Linux", and a volume name found nowhere else names it too. Inside a name, HFS's "/" is the
// ":" of a POSIX path and the other way round.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

typedef const struct __CFURL* CFURLRef;

CF_EXTERN_C_BEGIN

typedef CFIndex CFURLPathStyle;
enum { kCFURLPOSIXPathStyle = 0, kCFURLHFSPathStyle = 1, kCFURLWindowsPathStyle = 2 };

CF_EXPORT CFTypeID CFURLGetTypeID(void);

// A file URL for the path in the style (POSIX or HFS; the Windows style gives NULL). A relative
// path is taken relative to the working folder at the time of the call. isDirectory marks a
// folder (its URL ends in "/"). NULL for a NULL or empty path.
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);
// The URL's path in the style, without a trailing separator (but "/" for the root); a relative
// URL gives its relative path. NULL for the Windows style.
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
// The URL with pathComponent appended, which may hold slashes ("Contents/Info.plist"); a folder
// when isDirectory is true. NULL for a NULL URL or component.
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                                         CFStringRef pathComponent, Boolean isDirectory);
// Whether the URL's path ends in "/".
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);
// The absolute POSIX path, NUL-terminated, in maxBufLen bytes; false when it does not fit.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                                   CFIndex maxBufLen);

struct FSRef;
// The file reference of the item the URL names; false when there is none.
CF_EXPORT Boolean CFURLGetFSRef(CFURLRef url, struct FSRef* fsRef);
// A file URL for the item of the reference; NULL when the reference names nothing.
CF_EXPORT CFURLRef CFURLCreateFromFSRef(CFAllocatorRef allocator, const struct FSRef* fsRef);

CF_EXTERN_C_END
