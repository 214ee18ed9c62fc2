// CFReadStream.cpp: read streams over files (a POSIX file descriptor, opened once, read until its
// end, closed), and property lists read from a stream.
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CFString.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "CFPropertyList/PropertyListImpl.h"
#include "CFStream/StreamImpl.h"
#include "runtime/NoThrow.h"

struct __CFReadStream final : zrp::FileStream {
  explicit __CFReadStream(std::string filePath) : FileStream(zrp::kTypeIDReadStream, std::move(filePath)) {}
  const char* className() const override { return "__NSCFInputStream"; }
};

namespace {

__CFReadStream* Stream(CFReadStreamRef stream) { return static_cast<__CFReadStream*>(stream); }

enum class StreamReadResult { kRead, kNotOpen, kFailed };

// Appends up to `length` bytes (0: all) of the stream to `bytes`.
StreamReadResult ReadAll(CFReadStreamRef stream, CFIndex length, std::vector<uint8_t>* bytes) {
  CFStreamStatus status = CFReadStreamGetStatus(stream);
  if (status != kCFStreamStatusOpen && status != kCFStreamStatusReading && status != kCFStreamStatusAtEnd)
    return StreamReadResult::kNotOpen;
  constexpr size_t kBlock = 64 * 1024;
  for (;;) {
    size_t want = kBlock;
    if (length > 0) {
      size_t left = static_cast<size_t>(length) - bytes->size();
      if (left == 0) break;
      if (left < want) want = left;
    }
    if (bytes->size() + want > zrp::kMaxPropertyListBytes + 1) return StreamReadResult::kFailed;
    size_t at = bytes->size();
    bytes->resize(at + want);
    CFIndex got = CFReadStreamRead(stream, bytes->data() + at, static_cast<CFIndex>(want));
    if (got < 0) return StreamReadResult::kFailed;
    bytes->resize(at + static_cast<size_t>(got));
    if (got == 0) break;
  }
  return StreamReadResult::kRead;
}

CFPropertyListRef ReadFromStream(CFReadStreamRef stream, CFIndex streamLength, CFOptionFlags options,
                                 CFPropertyListFormat* format, CFErrorRef* error) {
  if (!stream || streamLength < 0) {
    zrp::Fail(error, kCFPropertyListReadStreamError, "Cannot read a property list from a NULL stream");
    return nullptr;
  }
  return zrp::CatchOutOfMemory<CFPropertyListRef>(nullptr, [&]() -> CFPropertyListRef {
    std::vector<uint8_t> bytes;
    switch (ReadAll(stream, streamLength, &bytes)) {
      case StreamReadResult::kNotOpen:
        zrp::Fail(error, kCFPropertyListReadStreamError, "The stream is not open");
        return nullptr;
      case StreamReadResult::kFailed:
        zrp::Fail(error, kCFPropertyListReadStreamError, "The stream could not be read");
        return nullptr;
      case StreamReadResult::kRead:
        break;
    }
    if (bytes.empty()) {
      zrp::Fail(error, kCFPropertyListReadCorruptError, "Cannot parse a NULL or zero-length data");
      return nullptr;
    }
    if (bytes.size() > zrp::kMaxPropertyListBytes) {
      zrp::Fail(error, kCFPropertyListReadCorruptError, "Property list data is larger than 256 MB");
      return nullptr;
    }
    return zrp::ReadPropertyList(bytes.data(), bytes.size(), options, format, error);
  });
}

}  // namespace

extern "C" {

CFTypeID CFReadStreamGetTypeID(void) { return zrp::kTypeIDReadStream; }

CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL) {
  return zrp::NewFileStream<__CFReadStream>(fileURL);
}

Boolean CFReadStreamOpen(CFReadStreamRef stream) { return stream && Stream(stream)->open(O_RDONLY); }

void CFReadStreamClose(CFReadStreamRef stream) {
  if (stream) Stream(stream)->close();
}

CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex bufferLength) {
  if (!stream || !buffer || bufferLength < 0) return -1;
  __CFReadStream* self = Stream(stream);
  if (self->status == kCFStreamStatusAtEnd) return 0;
  if (self->status != kCFStreamStatusOpen) return -1;
  if (bufferLength == 0) return 0;
  for (;;) {
    ssize_t got = ::read(self->fd, buffer, static_cast<size_t>(bufferLength));
    if (got > 0) return static_cast<CFIndex>(got);
    if (got == 0) {
      self->status = kCFStreamStatusAtEnd;
      return 0;
    }
    if (errno == EINTR) continue;
    self->fail(errno);
    return -1;
  }
}

CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream) {
  return stream ? Stream(stream)->status : static_cast<CFStreamStatus>(kCFStreamStatusError);
}

CFStreamError CFReadStreamGetError(CFReadStreamRef stream) {
  if (!stream) return {0, 0};
  return Stream(stream)->error;
}

CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef, CFReadStreamRef stream, CFIndex streamLength,
                                                 CFOptionFlags options, CFPropertyListFormat* format,
                                                 CFErrorRef* error) {
  if (error) *error = nullptr;
  return ReadFromStream(stream, streamLength, options, format, error);
}

CFPropertyListRef CFPropertyListCreateFromStream(CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength,
                                                 CFOptionFlags mutabilityOption, CFPropertyListFormat* format,
                                                 CFStringRef* errorString) {
  if (errorString) *errorString = nullptr;
  CFPropertyListRef result = ReadFromStream(stream, streamLength, mutabilityOption, format, nullptr);
  // The platform explains a refusal in a new string that the caller releases.
  if (!result && errorString)
    *errorString =
        CFStringCreateWithCString(allocator, "Unable to read a property list from the stream", kCFStringEncodingUTF8);
  return result;
}

}  // extern "C"
