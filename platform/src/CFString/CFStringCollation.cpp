// CFStringCollation.cpp: localized comparison through ICU collation: in the current locale (as
// CFLocaleCopyCurrent has it) or a given one, collators kept per thread, and sort keys that
// immutable strings keep.
#include <CoreFoundation/CFString.h>
#include <unicode/ucol.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "CFLocale/CurrentLocale.h"
#include "CFLocale/LocaleImpl.h"
#include "CFString/CompareImpl.h"
#include "CFString/StringImpl.h"

namespace zrp::compare {

namespace {

// The current locale's collation identifier as this thread last had it, and until when it holds:
// asking for it on every comparison would take a lock and read the environment each time.
class CurrentCollationLocale {
 public:
  const std::string& identifier() {
    if (!zrp::CurrentLocaleStillHolds(stamp_))
      identifier_ = zrp::CurrentLocaleIdentifier(zrp::LocaleCategory::kCollation, &stamp_);
    return identifier_;
  }

 private:
  zrp::CurrentLocaleStamp stamp_;
  std::string identifier_;
};

// Numbers the collator configurations (the locale name a collator was opened with and its
// options) process-wide: collators opened alike by different threads make the same sort keys,
// so a key made by one thread serves them all. 0 is never given out.
uint32_t ConfigurationNumber(const char* locale, CFStringCompareFlags options) {
  static std::mutex mutex;
  // Never freed: threads may still number configurations while the program exits.
  static auto* known = new std::vector<std::pair<std::string, CFStringCompareFlags>>();
  std::lock_guard<std::mutex> lock(mutex);
  for (size_t k = 0; k < known->size(); ++k)
    if ((*known)[k].second == options && (*known)[k].first == locale) return static_cast<uint32_t>(k + 1);
  known->emplace_back(locale, options);
  return static_cast<uint32_t>(known->size());
}

struct Collator {
  std::string locale;
  CFStringCompareFlags options;
  UCollator* collator;
  // Its number among the configurations, or 0 when it is not known to be set up as asked (its
  // sort keys are then not kept).
  uint32_t configuration;
};

// Collators are expensive to open and cheap to use: each thread keeps the ones it has opened,
// one per locale and set of options, for as long as it runs.
class CollatorCache {
 public:
  ~CollatorCache() {
    for (Collator& entry : entries_) ucol_close(entry.collator);
  }

  const Collator* get(const std::string& locale, CFStringCompareFlags options) {
    for (Collator& entry : entries_)
      if (entry.options == options && entry.locale == locale) return &entry;
    const char* name = locale.empty() ? "root" : locale.c_str();
    UErrorCode error = U_ZERO_ERROR;
    UCollator* collator = ucol_open(name, &error);
    if (U_FAILURE(error)) {
      name = "root";
      error = U_ZERO_ERROR;
      collator = ucol_open(name, &error);
      if (U_FAILURE(error)) return nullptr;
    }
    UColAttributeValue strength = UCOL_TERTIARY;
    if (options & kCFCompareCaseInsensitive) strength = UCOL_SECONDARY;
    if (options & kCFCompareDiacriticInsensitive) strength = UCOL_PRIMARY;
    ucol_setAttribute(collator, UCOL_STRENGTH, strength, &error);
    ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, (options & kCFCompareNumerically) ? UCOL_ON : UCOL_OFF, &error);
    // Canonically equivalent texts (composed or not) always sort together.
    ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &error);
    uint32_t configuration = U_SUCCESS(error) ? ConfigurationNumber(name, options) : 0;
    entries_.push_back({locale, options, collator, configuration});
    return &entries_.back();
  }

 private:
  // A deque: the entries handed out stay where they are as more are opened.
  std::deque<Collator> entries_;
};

// A string keeps sort keys for this many configurations at most; past that it is compared
// without keys under the others.
constexpr int kMostKeysPerString = 4;

zrp::CollationKey* MakeKey(const UCollator* collator, uint32_t configuration, std::u16string_view text) {
  if (text.size() > static_cast<size_t>(INT32_MAX)) return nullptr;
  int32_t units = static_cast<int32_t>(text.size());
  uint8_t buffer[256];
  int32_t length = ucol_getSortKey(collator, text.data(), units, buffer, static_cast<int32_t>(sizeof buffer));
  if (length <= 0) return nullptr;
  void* block = ::operator new(sizeof(zrp::CollationKey) + static_cast<size_t>(length), std::nothrow);
  if (!block) return nullptr;
  auto* key = new (block) zrp::CollationKey{nullptr, configuration, static_cast<uint32_t>(length)};
  if (static_cast<size_t>(length) <= sizeof buffer) {
    std::memcpy(key->bytes(), buffer, static_cast<size_t>(length));
  } else if (ucol_getSortKey(collator, text.data(), units, key->bytes(), length) != length) {
    zrp::DestroyCollationKey(key);
    return nullptr;
  }
  return key;
}

// The sort key of an immutable string's text under a configuration: the one the string keeps,
// or a new one that it keeps from now on. NULL when no key can be had.
const zrp::CollationKey* KeyOf(CFStringRef string, const Collator& collator) {
  const zrp::CollationKey* head = string->collationKeys.load(std::memory_order_acquire);
  zrp::CollationKey* made = nullptr;
  for (;;) {
    int count = 0;
    for (const zrp::CollationKey* key = head; key; key = key->next, ++count) {
      if (key->configuration != collator.configuration) continue;
      if (made) zrp::DestroyCollationKey(made);
      return key;
    }
    if (count >= kMostKeysPerString) break;
    if (!made) made = MakeKey(collator.collator, collator.configuration, zrp::WideView(string));
    if (!made) return nullptr;
    made->next = head;
    // Another thread may publish a key at the same time: the list is looked at again then.
    if (string->collationKeys.compare_exchange_weak(head, made, std::memory_order_release, std::memory_order_acquire))
      return made;
  }
  if (made) zrp::DestroyCollationKey(made);
  return nullptr;
}

// Sort keys compare byte by byte as their texts compare under the collator that made them.
// Each ends with the only NUL it holds, so the shorter one of two that agree up to its end
// sorts first.
int CompareKeys(const zrp::CollationKey* a, const zrp::CollationKey* b) {
  int result = std::memcmp(a->bytes(), b->bytes(), std::min(a->length, b->length));
  if (result != 0) return Sign(result);
  return a->length == b->length ? 0 : a->length < b->length ? -1 : 1;
}

// What a thread keeps for localized comparison.
struct ThreadState {
  ~ThreadState();
  CurrentCollationLocale current;
  CollatorCache collators;
};

// The calling thread's state, reached through plain variables: a thread_local object with a
// destructor is reached through a guard and a wrapper on every access, plain data is not. The
// default TLS model keeps the library loadable with dlopen (no room is taken in the static TLS
// block, which cannot grow once the process runs).
thread_local ThreadState* gThreadState = nullptr;
thread_local bool gThreadStateGone = false;

ThreadState::~ThreadState() {
  gThreadState = nullptr;
  gThreadStateGone = true;
}

// NULL once the thread's state has been destroyed: the thread is ending, and a destructor of
// another thread_local object still compares strings.
ThreadState* CurrentThreadState() {
  if (ThreadState* state = gThreadState) return state;
  if (gThreadStateGone) return nullptr;
  thread_local ThreadState state;  // destroyed when the thread ends
  gThreadState = &state;
  return &state;
}

int CompareWithCollator(ThreadState& state, CFStringRef string1, CFStringRef string2, std::u16string_view a,
                        std::u16string_view b, CFStringCompareFlags options, CFLocaleRef locale, bool currentLocale) {
  static const std::string kRoot = "root";
  const std::string& identifier = locale ? locale->identifier : currentLocale ? state.current.identifier() : kRoot;
  CFStringCompareFlags collatorOptions =
      options & (kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive | kCFCompareNumerically);
  const Collator* collator = state.collators.get(identifier, collatorOptions);
  if (!collator) return CompareUnlocalized(a, b, options);
  if (string1 == string2) return 0;
  if (string1 && collator->configuration != 0 && !string1->mutable_ && !string2->mutable_) {
    const zrp::CollationKey* key1 = KeyOf(string1, *collator);
    const zrp::CollationKey* key2 = key1 ? KeyOf(string2, *collator) : nullptr;
    if (key2) return CompareKeys(key1, key2);
  }
  UCollationResult result = ucol_strcoll(collator->collator, a.data(), static_cast<int32_t>(a.size()), b.data(),
                                         static_cast<int32_t>(b.size()));
  return result == UCOL_LESS ? -1 : result == UCOL_GREATER ? 1 : 0;
}

}  // namespace

int CompareLocalized(CFStringRef whole, CFStringRef string2, std::u16string_view a, std::u16string_view b,
                     CFStringCompareFlags options, CFLocaleRef locale, bool currentLocale) {
  if (ThreadState* state = CurrentThreadState()) [[likely]]
    return CompareWithCollator(*state, whole, string2, a, b, options, locale, currentLocale);
  ThreadState passing;
  return CompareWithCollator(passing, whole, string2, a, b, options, locale, currentLocale);
}

}  // namespace zrp::compare
