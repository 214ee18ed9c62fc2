// ZRErrorString.cpp: statuses and POSIX error numbers as text for the messages of ERROR lines.
#include <cstdint>
#include <cstring>

#include "diagnostics/Frame.h"

namespace {

// Where the platform places POSIX error numbers among statuses.
constexpr OSStatus kErrnoStatusBase = 100000;

}  // namespace

extern "C" {

OSStatus ZRCopyCarbonErrorStringRef(OSStatus inStatus, CFStringRef* outStringRef, Boolean inLog) {
  // Never logs, whatever inLog says: the ERROR line itself is built from this text.
  (void)inLog;
  if (outStringRef == NULL) return noErr;

  CFStringRef string = NULL;
  switch (inStatus) {
    case stopErr:
      string =
          CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%i, stopErr, operation was stopped"), inStatus);
      break;
    case superLockedErr:
      string = CFStringCreateWithFormat(kCFAllocatorDefault, NULL,
                                        CFSTR("%i, superLockedErr, item is super-locked using schg bit"), inStatus);
      break;
    case unknownErr:
      string = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%i, unknownErr, unknown error"), inStatus);
      break;
    default: {
      const char* name = GetMacOSStatusErrorString(inStatus);
      const char* comment = GetMacOSStatusCommentString(inStatus);
      if (name == NULL) name = "";
      if (comment == NULL) comment = "";
      int commentLength = static_cast<int>(strlen(comment));
      // One trailing blank of the comment is dropped, and only one.
      if (commentLength > 0 && comment[commentLength - 1] == ' ') --commentLength;
      bool hasName = name[0] != '\0';
      bool hasComment = commentLength > 0;
      if (hasName && hasComment) {
        string = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%i, %s, %.*s"), inStatus, name,
                                          commentLength, comment);
      } else if (hasName) {
        string = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%i, %s"), inStatus, name);
      } else if (hasComment) {
        string =
            CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%i, %.*s"), inStatus, commentLength, comment);
      } else {
        string = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%i"), inStatus);
      }
      break;
    }
  }
  // The slot never ends up NULL: a failed creation leaves the constant empty string.
  *outStringRef = string != NULL ? string : CFSTR("");
  return noErr;
}

NSString* ZRCarbonErrorString(OSStatus inStatus) {
  CFStringRef string = NULL;
  ZRCopyCarbonErrorStringRef(inStatus, &string, true);
  return static_cast<NSString*>(const_cast<void*>(CFAutorelease(string)));
}

// No range check: the sum wraps as the platform's 32-bit arithmetic does, without overflowing.
OSStatus ZRCarbonErrorOfErrno(int inErrno) {
  return static_cast<OSStatus>(static_cast<uint32_t>(inErrno) + static_cast<uint32_t>(kErrnoStatusBase));
}

NSString* ZRErrnoErrorString(int inErrno) { return ZRCarbonErrorString(ZRCarbonErrorOfErrno(inErrno)); }

}  // extern "C"
