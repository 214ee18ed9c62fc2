// CFWriteStream.cpp: write streams over files (a POSIX file descriptor, created or emptied when
// the stream opens, written in pieces, closed), and property lists written to a stream.
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CFString.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "CFError/ErrorImpl.h"
#include "CFPropertyList/PropertyListImpl.h"
#include "CFStream/StreamImpl.h"
#include "runtime/NoThrow.h"

struct __CFWriteStream final : zrp::FileStream {
  explicit __CFWriteStream(std::string filePath) : FileStream(zrp::kTypeIDWriteStream, std::move(filePath)) {}
  const char* className() const override { return "__NSCFOutputStream"; }
};

namespace {

__CFWriteStream* Stream(CFWriteStreamRef stream) { return static_cast<__CFWriteStream*>(stream); }

// A new property-list error (code kCFPropertyListWriteStreamError) with the stream's own error
// under "NSUnderlyingError" when it has one.
CFErrorRef CreateStreamWriteError(CFWriteStreamRef stream, const char* debugDescription) {
  CFErrorRef underlying = CFWriteStreamCopyError(stream);
  CFStringRef text = CFStringCreateWithCString(nullptr, debugDescription, kCFStringEncodingUTF8);
  CFErrorRef error = nullptr;
  if (text) {
    const void* keys[] = {CFSTR("NSDebugDescription"), kCFErrorUnderlyingErrorKey};
    const void* values[] = {text, underlying};
    error = CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainCocoa, kCFPropertyListWriteStreamError, keys,
                                                   values, underlying ? 2 : 1);
    CFRelease(text);
  }
  if (underlying) CFRelease(underlying);
  return error;
}

// Writes the property list's bytes in the format to the stream, in as many pieces as the stream
// takes: the count written, or 0 with the reason in *error (when given).
CFIndex WriteToStream(CFPropertyListRef propertyList, CFWriteStreamRef stream, CFPropertyListFormat format,
                      CFErrorRef* error) {
  return zrp::CatchOutOfMemory<CFIndex>(0, [&]() -> CFIndex {
    std::string bytes;
    if (!zrp::WritePropertyList(propertyList, format, &bytes, error)) return 0;
    if (!stream) {
      zrp::Fail(error, kCFPropertyListWriteStreamError, "Cannot write a property list to a NULL stream");
      return 0;
    }
    size_t done = 0;
    while (done < bytes.size()) {
      CFIndex wrote = CFWriteStreamWrite(stream, reinterpret_cast<const UInt8*>(bytes.data()) + done,
                                         static_cast<CFIndex>(bytes.size() - done));
      if (wrote == 0) {
        zrp::Fail(error, kCFPropertyListWriteStreamError,
                  "Property list writing could not be completed because stream is full.");
        return 0;
      }
      if (wrote < 0) {
        if (error && !*error)
          *error = CreateStreamWriteError(
              stream, "Property list writing could not be completed because the stream had an unknown error.");
        return 0;
      }
      done += static_cast<size_t>(wrote);
    }
    return static_cast<CFIndex>(done);
  });
}

}  // namespace

extern "C" {

CFTypeID CFWriteStreamGetTypeID(void) { return zrp::kTypeIDWriteStream; }

CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL) {
  return zrp::NewFileStream<__CFWriteStream>(fileURL);
}

Boolean CFWriteStreamOpen(CFWriteStreamRef stream) {
  // The file is made with the modes the user's umask allows, or emptied when it exists.
  return stream && Stream(stream)->open(O_WRONLY | O_CREAT | O_TRUNC, 0666);
}

void CFWriteStreamClose(CFWriteStreamRef stream) {
  if (stream) Stream(stream)->close();
}

CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8* buffer, CFIndex bufferLength) {
  if (!stream || (!buffer && bufferLength > 0) || bufferLength < 0) return -1;
  __CFWriteStream* self = Stream(stream);
  if (self->status != kCFStreamStatusOpen) return -1;
  if (bufferLength == 0) return 0;
  for (;;) {
    ssize_t wrote = ::write(self->fd, buffer, static_cast<size_t>(bufferLength));
    if (wrote >= 0) return static_cast<CFIndex>(wrote);
    if (errno == EINTR) continue;
    self->fail(errno);
    return -1;
  }
}

Boolean CFWriteStreamCanAcceptBytes(CFWriteStreamRef stream) {
  return stream && Stream(stream)->status == kCFStreamStatusOpen;
}

CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream) {
  return stream ? Stream(stream)->status : static_cast<CFStreamStatus>(kCFStreamStatusError);
}

CFStreamError CFWriteStreamGetError(CFWriteStreamRef stream) {
  if (!stream) return {0, 0};
  return Stream(stream)->error;
}

CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream) {
  if (!stream || Stream(stream)->status != kCFStreamStatusError) return nullptr;
  return CFErrorCreate(nullptr, kCFErrorDomainPOSIX, Stream(stream)->error.error, nullptr);
}

CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream, CFPropertyListFormat format,
                            CFOptionFlags, CFErrorRef* error) {
  if (error) *error = nullptr;
  return WriteToStream(propertyList, stream, format, error);
}

CFIndex CFPropertyListWriteToStream(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                    CFPropertyListFormat format, CFStringRef* errorString) {
  if (errorString) *errorString = nullptr;
  CFErrorRef error = nullptr;
  CFIndex written = WriteToStream(propertyList, stream, format, &error);
  // The older call explains a failure in a new string that the caller releases.
  if (written == 0 && errorString) *errorString = error ? CFErrorCopyDescription(error) : nullptr;
  if (error) CFRelease(error);
  return written;
}

}  // extern "C"
