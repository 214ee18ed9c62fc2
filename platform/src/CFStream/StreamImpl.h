// StreamImpl.h: what the read and the write streams over a file share: the file's path, its
// descriptor while open, the stream's status and the POSIX error that ended it.
#pragma once

#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CFURL.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "runtime/NoThrow.h"
#include "runtime/Object.h"

namespace zrp {

struct FileStream : Object {
  FileStream(CFTypeID typeID, std::string filePath) : Object(typeID), path(std::move(filePath)) {}
  ~FileStream() override {
    if (fd >= 0) ::close(fd);
  }

  void fail(int posixError) {
    status = kCFStreamStatusError;
    error = {kCFStreamErrorDomainPOSIX, static_cast<SInt32>(posixError)};
    if (fd >= 0) ::close(fd);
    fd = -1;
  }

  // Opens the file with the flags (and mode, for a file made): a stream opens once.
  bool open(int flags, mode_t mode = 0) {
    if (status != kCFStreamStatusNotOpen) return false;
    int opened = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    if (opened < 0) {
      fail(errno);
      return false;
    }
    fd = opened;
    status = kCFStreamStatusOpen;
    return true;
  }

  void close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
    // A stream that was never opened stays as it was; a failed one keeps its error.
    if (status != kCFStreamStatusNotOpen && status != kCFStreamStatusError) status = kCFStreamStatusClosed;
  }

  std::string path;
  int fd = -1;
  CFStreamStatus status = kCFStreamStatusNotOpen;
  CFStreamError error = {0, 0};
};

// A new stream of the kind on the file the URL names; NULL for a NULL URL, a URL without a
// file-system path, or when the stream cannot be allocated.
template <class Stream>
Stream* NewFileStream(CFURLRef fileURL) {
  if (!fileURL) return nullptr;
  char path[PATH_MAX];
  if (!CFURLGetFileSystemRepresentation(fileURL, true, reinterpret_cast<UInt8*>(path), sizeof path)) return nullptr;
  return CatchOutOfMemory<Stream*>(nullptr, [&] { return New<Stream>(std::string(path)); });
}

}  // namespace zrp
