// CurrentLocale.h: the one place that decides the user's current locale, for locale objects,
// number formatting and localized comparison alike, and how a caller on a fast path keeps it.
#pragma once

#include <time.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "CFLocale/Languages.h"

namespace zrp {

// How long a decision stands before the user's settings are read again.
inline constexpr int64_t kCurrentLocaleLifetimeMilliseconds = 1000;

// Counts the changes of the user's locale settings this process has been told of.
extern std::atomic<uint64_t> gLocaleSettingsChanges;

// The moment a kept decision stops being current: the count of changes it was made under, and
// when it expires on the coarse monotonic clock.
struct CurrentLocaleStamp {
  uint64_t changes = 0;
  int64_t expiresAt = 0;
};

// Milliseconds on the coarse monotonic clock: a few nanoseconds to read, a few milliseconds fine.
inline int64_t CoarseMilliseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Whether a decision kept with this stamp is still the current one.
inline bool CurrentLocaleStillHolds(const CurrentLocaleStamp& stamp) {
  return stamp.expiresAt != 0 && stamp.changes == gLocaleSettingsChanges.load(std::memory_order_acquire) &&
         CoarseMilliseconds() < stamp.expiresAt;
}

// The ICU identifier of the user's current locale for a category: the "AppleLocale" preference
// when it holds a non-empty string (it decides every category, as on the platform), else the
// environment (EnvironmentLocale). The platform keeps the current locale and does not follow
// every change of the user's settings at once: the decision is made again once it is a second
// old, and at once after LocaleSettingsChanged. `stamp`, when given, receives how long the
// answer holds. Thread-safe.
ZRP_TESTABLE std::string CurrentLocaleIdentifier(LocaleCategory category, CurrentLocaleStamp* stamp = nullptr);

// Tells that the user's locale settings may have changed (a preference was set or synchronized):
// the next question decides the current locale again.
ZRP_TESTABLE void LocaleSettingsChanged();

}  // namespace zrp
