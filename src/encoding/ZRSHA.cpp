// ZRSHA.cpp: the SHA-1 digest of a file, from libcrypto's SHA1_Init, SHA1_Update and
// SHA1_Final (OpenSSL 3 marks these deprecated in favour of EVP; they are the interface this
// function is defined by, so the warning is silenced for this file only).
#define OPENSSL_SUPPRESS_DEPRECATED
#include <ZRFramework/ZRFramework.h>
#include <errno.h>
#include <fcntl.h>
#include <openssl/sha.h>
#include <unistd.h>

#include <cstdlib>

#include "diagnostics/Frame.h"

namespace {

// The file is read in blocks of this size into one heap block per call.
constexpr size_t kReadBlockSize = 4096;

}  // namespace

// Reports failure only through the ERROR line and an empty slot: the status is always noErr.
// A read error part-way through the file ends the hashing: the partial digest would pass for
// the digest of a shorter file, so none is made, and the line "read returns %@ for '%s'" says
// why. A read interrupted by a signal is not an error and is simply repeated.
OSStatus ZRCopySHADataRefOfPathStringRef(CFStringRef inPathStringRef, Boolean inLog, CFDataRef* outDataRef) {
  char* pathBuffer = NULL;
  unsigned char* readBlock = NULL;
  int file = -1;
  ZR_CLEANUP {
    if (file != -1) close(file);
    free(readBlock);
    free(pathBuffer);
  };

  if (!inPathStringRef || !outDataRef || *outDataRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inPathStringRef: %p, outDataRef: %p"), inPathStringRef, outDataRef);
    return noErr;
  }

  OSStatus status = ZRCopyCBufferOfStringRef(inPathStringRef, kCFStringEncodingUTF8, &pathBuffer, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyCBufferOfStringRef returns %i for '%@'"), static_cast<int>(status),
                 inPathStringRef);
    return noErr;
  }

  readBlock = static_cast<unsigned char*>(malloc(kReadBlockSize));
  if (!readBlock) {
    ZR_LOG_ERROR(inLog, CFSTR("malloc returns NULL"));
    return noErr;
  }

  file = open(pathBuffer, O_RDONLY);
  if (file == -1) {
    int error = errno;
    ZR_LOG_ERROR(inLog, CFSTR("open returns %@ for '%s'"), ZRErrnoErrorString(error), pathBuffer);
    return noErr;
  }

  SHA_CTX context;
  SHA1_Init(&context);
  for (;;) {
    ssize_t count = read(file, readBlock, kReadBlockSize);
    if (count == 0) break;
    if (count < 0) {
      int error = errno;
      if (error == EINTR) continue;
      ZR_LOG_ERROR(inLog, CFSTR("read returns %@ for '%s'"), ZRErrnoErrorString(error), pathBuffer);
      return noErr;
    }
    SHA1_Update(&context, readBlock, static_cast<size_t>(count));
  }

  unsigned char digest[SHA_DIGEST_LENGTH];
  SHA1_Final(digest, &context);
  *outDataRef = CFDataCreate(kCFAllocatorDefault, digest, SHA_DIGEST_LENGTH);
  if (!*outDataRef) ZR_LOG_ERROR(inLog, CFSTR("CFDataCreate returns NULL"));
  return noErr;
}
