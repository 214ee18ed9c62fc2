// CFDate.cpp: absolute time (seconds since 2001-01-01 00:00:00 UTC) from the system clock,
// and date objects, which hold one absolute time and print as NSDate does.
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFString.h>
#include <ZRPlatform/Testing.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "CFString/StringImpl.h"
#include "runtime/Object.h"

struct __CFDate final : zrp::Object {
  explicit __CFDate(CFAbsoluteTime at) : Object(zrp::kTypeIDDate), time(at) {}

  bool equal(const Object& other) const override { return time == static_cast<const __CFDate&>(other).time; }
  CFHashCode hash() const override;
  CFStringRef copyDescription() const override;
  const char* className() const override { return "__NSDate"; }

  CFAbsoluteTime time;
};

extern "C" {
const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;
}

CFHashCode __CFDate::hash() const {
  // Whole seconds hash as integers, so that 0.0 and -0.0, which are equal, hash alike.
  if (std::trunc(time) == time && std::fabs(time) < 9.2e18) return static_cast<CFHashCode>(static_cast<int64_t>(time));
  uint64_t bits;
  std::memcpy(&bits, &time, sizeof bits);
  return static_cast<CFHashCode>(bits);
}

CFStringRef __CFDate::copyDescription() const {
  // NSDate's description: the time in UTC to the second, "2001-01-01 00:00:00 +0000".
  double seconds = std::floor(time + kCFAbsoluteTimeIntervalSince1970);
  char text[64];
  struct tm parts;
  time_t unixTime = static_cast<time_t>(seconds);
  if (std::isfinite(seconds) && std::fabs(seconds) < 6.7e16 && gmtime_r(&unixTime, &parts)) {
    std::snprintf(text, sizeof text, "%04lld-%02d-%02d %02d:%02d:%02d +0000",
                  static_cast<long long>(parts.tm_year) + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                  parts.tm_min, parts.tm_sec);
  } else {
    // Beyond what the calendar functions cover: the absolute time itself.
    std::snprintf(text, sizeof text, "%g", time);
  }
  std::string ascii(text);
  return zrp::CreateString(std::u16string(ascii.begin(), ascii.end()));
}

extern "C" {

namespace {
// A time that tests pinned the clock to; read before the system clock on every call.
std::atomic<bool> gClockPinned{false};
std::atomic<double> gPinnedTime{0.0};
}  // namespace

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
  if (gClockPinned.load(std::memory_order_acquire)) return gPinnedTime.load(std::memory_order_relaxed);
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  // Whole seconds are subtracted as integers first, so that the nanoseconds keep their
  // precision in the double.
  return static_cast<double>(static_cast<int64_t>(now.tv_sec) - 978307200) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void ZRTestingSetCurrentAbsoluteTime(const CFAbsoluteTime* time) {
  if (time) gPinnedTime.store(*time, std::memory_order_relaxed);
  gClockPinned.store(time != NULL, std::memory_order_release);
}

CFTypeID CFDateGetTypeID(void) { return zrp::kTypeIDDate; }

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) { return zrp::New<__CFDate>(at); }

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) { return theDate->time; }

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate) {
  return theDate->time - otherDate->time;
}

CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void*) {
  if (theDate->time < otherDate->time) return kCFCompareLessThan;
  if (theDate->time > otherDate->time) return kCFCompareGreaterThan;
  return kCFCompareEqualTo;
}

}  // extern "C"
