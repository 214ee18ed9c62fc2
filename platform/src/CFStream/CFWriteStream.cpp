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
#include "runtime/NoThrow.h"
#include "runtime/Object.h"

struct __CFWriteStream final : zrp::Object {
  explicit __CFWriteStream(std::string filePath) : Object(zrp::kTypeIDWriteStream), path(std::move(filePath)) {}
  ~__CFWriteStream() override {
    if (fd >= 0) ::close(fd);
  }
  const char* className() const override { return "__NSCFOutputStream"; }

  void fail(int posixError) {
    status = kCFStreamStatusError;
    error = {kCFStreamErrorDomainPOSIX, static_cast<SInt32>(posixError)};
    if (fd >= 0) ::close(fd);
    fd = -1;
  }

  std::string path;
  int fd = -1;
  CFStreamStatus status = kCFStreamStatusNotOpen;
  CFStreamError error = {0, 0};
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
  if (!fileURL) return nullptr;
  char path[PATH_MAX];
  if (!CFURLGetFileSystemRepresentation(fileURL, true, reinterpret_cast<UInt8*>(path), sizeof path)) return nullptr;
  return zrp::CatchOutOfMemory<CFWriteStreamRef>(nullptr, [&] { return zrp::New<__CFWriteStream>(std::string(path)); });
}

Boolean CFWriteStreamOpen(CFWriteStreamRef stream) {
  if (!stream) return false;
  __CFWriteStream* self = Stream(stream);
  if (self->status != kCFStreamStatusNotOpen) return false;
  // The file is made with the modes the user's umask allows, or emptied when it exists.
  int fd = ::open(self->path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) {
    self->fail(errno);
    return false;
  }
  self->fd = fd;
  self->status = kCFStreamStatusOpen;
  return true;
}

void CFWriteStreamClose(CFWriteStreamRef stream) {
  if (!stream) return;
  __CFWriteStream* self = Stream(stream);
  if (self->fd >= 0) ::close(self->fd);
  self->fd = -1;
  // A stream that was never opened stays as it was; a failed one keeps its error.
  if (self->status != kCFStreamStatusNotOpen && self->status != kCFStreamStatusError)
    self->status = kCFStreamStatusClosed;
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
