// CurrentLocale.cpp: the user's current locale, decided from the "AppleLocale" preference and the
// environment, kept for a second and shared by every thread.
#include "CFLocale/CurrentLocale.h"

#include <CoreFoundation/CFPreferences.h>
#include <ZRPlatform/Testing.h>

#include <mutex>

#include "CFString/StringImpl.h"

namespace zrp {

std::atomic<uint64_t> gLocaleSettingsChanges{1};

namespace {

// The "AppleLocale" preference, when it holds a non-empty string.
std::string ReadLocaleOfPreferences() {
  std::string identifier;
  CFPropertyListRef value = CFPreferencesCopyAppValue(CFSTR("AppleLocale"), kCFPreferencesCurrentApplication);
  if (value) {
    if (CFGetTypeID(value) == CFStringGetTypeID()) identifier = ToUTF8(static_cast<CFStringRef>(value));
    CFRelease(value);
  }
  return identifier;
}

struct Decision {
  std::mutex mutex;
  CurrentLocaleStamp stamp;
  std::string numbers;
  std::string collation;
};

// A thread's copy of a decision. Kept only once both identifiers are copied, so that a failed
// copy leaves no half-kept decision.
struct ThreadDecision {
  CurrentLocaleStamp stamp;
  std::string numbers;
  std::string collation;

  void Keep(const CurrentLocaleStamp& made, const std::string& numbersMade, const std::string& collationMade) {
    stamp = CurrentLocaleStamp();
    numbers = numbersMade;
    collation = collationMade;
    stamp = made;
  }
};

// Never destroyed: threads may still compare strings while the program exits.
Decision& KeptDecision() {
  static auto* decision = new Decision();
  return *decision;
}

}  // namespace

std::string CurrentLocaleIdentifier(LocaleCategory category, CurrentLocaleStamp* stamp) {
  // Each thread keeps the decision it was last given, so that a question asked over and over
  // (a number formatted per call) takes no lock while the decision holds.
  thread_local ThreadDecision mine;
  if (CurrentLocaleStillHolds(mine.stamp)) {
    if (stamp) *stamp = mine.stamp;
    return category == LocaleCategory::kCollation ? mine.collation : mine.numbers;
  }
  Decision& kept = KeptDecision();
  {
    std::lock_guard<std::mutex> lock(kept.mutex);
    if (CurrentLocaleStillHolds(kept.stamp)) {
      mine.Keep(kept.stamp, kept.numbers, kept.collation);
      if (stamp) *stamp = kept.stamp;
      return category == LocaleCategory::kCollation ? kept.collation : kept.numbers;
    }
  }
  // Counted before the settings are read: a change told while they are read makes the next
  // question decide again.
  CurrentLocaleStamp made{gLocaleSettingsChanges.load(std::memory_order_acquire),
                          CoarseMilliseconds() + kCurrentLocaleLifetimeMilliseconds};
  // Read without the lock held: reading preferences takes time and goes through the files.
  std::string preference = ReadLocaleOfPreferences();
  std::string numbers, collation;
  if (!preference.empty()) {
    numbers = collation = CanonicalLocaleIdentifier(preference);
  } else {
    numbers = EnvironmentLocale(LocaleCategory::kNumbers);
    collation = EnvironmentLocale(LocaleCategory::kCollation);
  }
  std::string answer = category == LocaleCategory::kCollation ? collation : numbers;
  mine.Keep(made, numbers, collation);
  {
    std::lock_guard<std::mutex> lock(kept.mutex);
    kept.stamp = made;
    kept.numbers = std::move(numbers);
    kept.collation = std::move(collation);
  }
  if (stamp) *stamp = made;
  return answer;
}

void LocaleSettingsChanged() { gLocaleSettingsChanges.fetch_add(1, std::memory_order_acq_rel); }

}  // namespace zrp

extern "C" void ZRTestingLocaleSettingsChanged(void) { zrp::LocaleSettingsChanged(); }
