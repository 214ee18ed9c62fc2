// CFStream.h: read and write streams over files: open, read or write in pieces, status and the
// POSIX error of a failed open, read or write, close.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

typedef struct __CFReadStream* CFReadStreamRef;
typedef struct __CFWriteStream* CFWriteStreamRef;

typedef CFIndex CFStreamStatus;
enum {
  kCFStreamStatusNotOpen = 0,
  kCFStreamStatusOpening,
  kCFStreamStatusOpen,
  kCFStreamStatusReading,
  kCFStreamStatusWriting,
  kCFStreamStatusAtEnd,
  kCFStreamStatusClosed,
  kCFStreamStatusError
};

typedef CFIndex CFStreamErrorDomain;
enum { kCFStreamErrorDomainCustom = -1, kCFStreamErrorDomainPOSIX = 1, kCFStreamErrorDomainMacOSStatus = 2 };

typedef struct {
  CFIndex domain;
  SInt32 error;
} CFStreamError;

CF_EXPORT CFTypeID CFReadStreamGetTypeID(void);
// A stream that reads the file the URL names; NULL for a NULL URL, a URL without a file-system
// path, or when the stream cannot be allocated. The file is opened only by CFReadStreamOpen.
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);
// Opens the file: true and status kCFStreamStatusOpen, or false with status kCFStreamStatusError
// and the POSIX error in CFReadStreamGetError. A stream opens once: false when it is not new.
CF_EXPORT Boolean CFReadStreamOpen(CFReadStreamRef stream);
// Closes the file (status kCFStreamStatusClosed); nothing more can be read.
CF_EXPORT void CFReadStreamClose(CFReadStreamRef stream);
// Reads up to bufferLength bytes: the count read, 0 at the end of the file (status
// kCFStreamStatusAtEnd), -1 on an error or when the stream is not open.
CF_EXPORT CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex bufferLength);
CF_EXPORT CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream);
// The error that put the stream into kCFStreamStatusError; {0, 0} when there is none.
CF_EXPORT CFStreamError CFReadStreamGetError(CFReadStreamRef stream);

CF_EXPORT CFTypeID CFWriteStreamGetTypeID(void);
// A stream that writes the file the URL names; NULL for a NULL URL, a URL without a file-system
// path, or when the stream cannot be allocated. The file is made (mode 0666 less the umask), or
// emptied when it exists, only by CFWriteStreamOpen.
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);
// Opens the file: true and status kCFStreamStatusOpen, or false with status kCFStreamStatusError
// and the POSIX error in CFWriteStreamGetError. A stream opens once: false when it is not new.
CF_EXPORT Boolean CFWriteStreamOpen(CFWriteStreamRef stream);
// Closes the file (status kCFStreamStatusClosed); nothing more can be written.
CF_EXPORT void CFWriteStreamClose(CFWriteStreamRef stream);
// Writes up to bufferLength bytes: the count written (possibly fewer), -1 on an error (status
// kCFStreamStatusError, the POSIX error kept) or when the stream is not open; 0 for no bytes.
CF_EXPORT CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8* buffer, CFIndex bufferLength);
// True while the stream is open: a file always takes more bytes.
CF_EXPORT Boolean CFWriteStreamCanAcceptBytes(CFWriteStreamRef stream);
CF_EXPORT CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream);
// The error that put the stream into kCFStreamStatusError; {0, 0} when there is none.
CF_EXPORT CFStreamError CFWriteStreamGetError(CFWriteStreamRef stream);
// The same as a new error in kCFErrorDomainPOSIX (the caller releases it); NULL when there is none.
CF_EXPORT CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream);

CF_EXTERN_C_END
