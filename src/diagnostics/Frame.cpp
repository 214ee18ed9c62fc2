// Frame.cpp: the ERROR line that every fallible function writes when its caller asks.
#include "diagnostics/Frame.h"

namespace zr::internal {

void LogError(const char* function, int line, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  // The message object exists for this one line and is released right after it.
  CFStringRef message = CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, format, arguments);
  va_end(arguments);
  NSLog(const_cast<NSString*>(CFSTR("ERROR %@ (%s,%i)")), message, function, line);
  if (message) CFRelease(message);
}

}  // namespace zr::internal
