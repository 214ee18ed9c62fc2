// NSLog.cpp: NSLog writes one line "YYYY-MM-DD HH:MM:SS.mmm process[pid:tid] message" to
// standard error and to syslog (unless a test captures it).
#include <Foundation/NSObjCRuntime.h>
#include <errno.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"
#include "runtime/Seams.h"

namespace {

std::string Prefix() {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  struct tm local;
  localtime_r(&now.tv_sec, &local);
  char stamp[32];
  strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  char prefix[256];
  std::snprintf(prefix, sizeof prefix, "%s.%03ld %s[%ld:%ld] ", stamp, now.tv_nsec / 1000000L,
                program_invocation_short_name, static_cast<long>(getpid()), static_cast<long>(syscall(SYS_gettid)));
  return prefix;
}

}  // namespace

extern "C" {

void NSLogv(NSString* format, va_list args) {
  zrp::CatchOutOfMemory([&] {
    if (!format) return;
    CFStringRef message = CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, args);
    std::string text = message ? zrp::ToUTF8(message) : std::string();
    if (message) CFRelease(message);

    if (zrp::DeliverLogToSink(text.c_str())) return;
    std::string line = Prefix() + text;
    if (line.empty() || line.back() != '\n') line.push_back('\n');
    // One write, so that lines from several threads do not interleave.
    ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
    (void)ignored;
    syslog(LOG_USER | LOG_WARNING, "%s", text.c_str());
  });
}

void NSLog(NSString* format, ...) {
  va_list args;
  va_start(args, format);
  NSLogv(format, args);
  va_end(args);
}

}  // extern "C"
