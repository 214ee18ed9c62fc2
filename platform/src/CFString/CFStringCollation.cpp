// CFStringCollation.cpp: localized comparison through ICU collation: the user's collation
// locale, collators kept per thread, and sort keys that immutable strings keep.
#include <CoreFoundation/CFString.h>
#include <unicode/ucol.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <iterator>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "CFLocale/LocaleImpl.h"
#include "CFString/CompareImpl.h"
#include "CFString/StringImpl.h"

namespace zrp::compare {

namespace {

// The collation locale named by the environment, and what it was worked out from.
class CollationEnvironment {
 public:
  // The ICU locale of the user's collation order: LC_ALL, LC_COLLATE, then LANG, the first
  // that is set and not empty; "C" and "POSIX" (and no setting) sort as English.
  //
  // A program may change its environment between two comparisons, and every change through
  // setenv, unsetenv or putenv replaces, adds or removes an entry of the environment's array.
  // So the locale is worked out again only when the array's entries differ from those it was
  // worked out from, or when the text of one of the three entries read has been rewritten in
  // place; comparing the entries costs less than looking the three names up. (An unrelated
  // entry whose text is rewritten in place into one of the three names goes unseen.)
  const std::string& locale() {
    char** entries = environ;
    if (!valid_ || entries != array_ || !SameEntries(entries) || !SameValues()) Read(entries);
    return locale_;
  }

 private:
  static constexpr std::string_view kNames[] = {"LC_ALL=", "LC_COLLATE=", "LANG="};
  static constexpr size_t kCount = std::size(kNames);

  static bool StartsWith(const char* text, std::string_view prefix) {
    for (char c : prefix)
      if (*text++ != c) return false;
    return true;
  }

  // Stops at the first difference, so it never reads past the end of a shorter array.
  bool SameEntries(char** entries) const {
    if (!entries) return entries_.empty();  // no environment at all (clearenv)
    const char* const* expected = entries_.data();
    size_t count = entries_.size();
#pragma GCC unroll 4
    for (size_t i = 0; i < count; ++i)
      if (entries[i] != expected[i]) return false;
    entries += count;
    return *entries == nullptr;
  }

  bool SameValues() const {
    for (size_t k = 0; k < kCount; ++k)
      if (found_[k] && std::strcmp(found_[k], values_[k].c_str()) != 0) return false;
    return true;
  }

  void Read(char** entries) {
    array_ = entries;
    entries_.clear();
    for (size_t k = 0; k < kCount; ++k) found_[k] = nullptr;
    for (char** entry = entries; entry && *entry; ++entry) {
      const char* text = *entry;
      entries_.push_back(text);
      // The first entry of each name counts, as for getenv.
      for (size_t k = 0; k < kCount; ++k)
        if (!found_[k] && StartsWith(text, kNames[k])) found_[k] = text + kNames[k].size();
    }
    locale_ = "en";
    bool chosen = false;
    for (size_t k = 0; k < kCount; ++k) {
      values_[k] = found_[k] ? found_[k] : "";
      if (chosen || values_[k].empty()) continue;
      chosen = true;
      std::string_view name(values_[k]);
      name = name.substr(0, name.find_first_of(".@"));
      if (!name.empty() && name != "C" && name != "POSIX") locale_ = name;
    }
    valid_ = true;
  }

  bool valid_ = false;
  char** array_ = nullptr;
  std::vector<const char*> entries_;
  // Where the value of each name was found (NULL when it was not set), and its text then.
  const char* found_[kCount] = {};
  std::string values_[kCount];
  std::string locale_;
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
    if (!made) made = MakeKey(collator.collator, collator.configuration, zrp::View(string));
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
  CollationEnvironment environment;
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
  const std::string& identifier = locale ? locale->identifier : currentLocale ? state.environment.locale() : kRoot;
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
