// CFStringCompare.cpp: comparison with the platform's option bits (literal, case- and
// diacritic-insensitive, numeric, localized through ICU collation), search, find-and-replace,
// and locale-aware case mapping.
#include <CoreFoundation/CFString.h>
#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "CFLocale/LocaleImpl.h"
#include "CFString/StringImpl.h"

namespace {

// The options that compare characters through a transformed form rather than as they stand.
constexpr CFStringCompareFlags kFoldingOptions =
    kCFCompareCaseInsensitive | kCFCompareNonliteral | kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive;

[[noreturn]] void Halt(const char* function, const char* what) {
  std::fprintf(stderr, "%s: %s\n", function, what);
  std::abort();
}

void CheckRange(const char* function, CFStringRef string, CFRange range) {
  if (range.location < 0 || range.length < 0 ||
      static_cast<size_t>(range.location + range.length) > string->chars.size()) {
    std::fprintf(stderr, "%s: range {%ld, %ld} out of bounds; string length %zu\n", function, range.location,
                 range.length, string->chars.size());
    std::abort();
  }
}

std::u16string_view Slice(CFStringRef string, CFRange range) {
  return zrp::View(string).substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
}

int Sign(int value) { return (value > 0) - (value < 0); }

// A UTF-16 unit moved so that comparing units orders supplementary characters (surrogates)
// after the rest of the BMP, as comparing code points does.
inline char32_t CodePointOrderKey(char16_t unit) {
  if (unit >= 0xD800) return unit >= 0xE000 ? unit - 0x800 : unit + 0x2000;
  return unit;
}

inline bool IsAsciiDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Compares two texts unit by unit (in code point order when asked), runs of ASCII digits as
// the numbers they write when numeric is set; each unit passes through map first. Returns
// -1, 0 or 1.
template <class Map>
int CompareTexts(std::u16string_view a, std::u16string_view b, bool numeric, bool codePointOrder, Map map) {
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (numeric && IsAsciiDigit(a[i]) && IsAsciiDigit(b[j])) {
      size_t startA = i;
      size_t startB = j;
      while (i < a.size() && IsAsciiDigit(a[i])) ++i;
      while (j < b.size() && IsAsciiDigit(b[j])) ++j;
      // Leading zeros do not change a number: skip them, keeping one digit.
      while (startA + 1 < i && a[startA] == u'0') ++startA;
      while (startB + 1 < j && b[startB] == u'0') ++startB;
      size_t lengthA = i - startA;
      size_t lengthB = j - startB;
      if (lengthA != lengthB) return lengthA < lengthB ? -1 : 1;
      for (size_t k = 0; k < lengthA; ++k)
        if (a[startA + k] != b[startB + k]) return a[startA + k] < b[startB + k] ? -1 : 1;
      continue;
    }
    char16_t x = map(a[i]);
    char16_t y = map(b[j]);
    if (x != y) {
      if (codePointOrder) return CodePointOrderKey(x) < CodePointOrderKey(y) ? -1 : 1;
      return x < y ? -1 : 1;
    }
    ++i;
    ++j;
  }
  bool moreA = i < a.size();
  bool moreB = j < b.size();
  return moreA == moreB ? 0 : moreA ? 1 : -1;
}

int CompareTexts(std::u16string_view a, std::u16string_view b, bool numeric, bool codePointOrder) {
  return CompareTexts(a, b, numeric, codePointOrder, [](char16_t c) { return c; });
}

bool IsAscii(std::u16string_view text) {
  for (char16_t c : text)
    if (c >= 0x80) return false;
  return true;
}

const UNormalizer2* Normalizer(bool compatibility) {
  UErrorCode error = U_ZERO_ERROR;
  const UNormalizer2* normalizer = compatibility ? unorm2_getNFKCInstance(&error) : unorm2_getNFDInstance(&error);
  return U_SUCCESS(error) ? normalizer : nullptr;
}

// The transformed form of one code point under the folding options: full-width and
// half-width forms to their ordinary ones, case folded, decomposed, combining marks dropped.
// Characters compare equal under the options exactly when their forms are equal.
void AppendFolded(UChar32 c, CFStringCompareFlags options, std::u16string* out) {
  UChar buffer[32];
  std::u16string pieces;
  zrp::AppendCodePoint(static_cast<char32_t>(c), &pieces);
  if (options & kCFCompareWidthInsensitive) {
    int type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
    if (type == U_DT_WIDE || type == U_DT_NARROW) {
      UErrorCode error = U_ZERO_ERROR;
      int32_t length = unorm2_getRawDecomposition(Normalizer(true), c, buffer, 32, &error);
      if (U_SUCCESS(error) && length > 0) pieces.assign(buffer, buffer + length);
    }
  }
  if (options & kCFCompareCaseInsensitive) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length =
        u_strFoldCase(buffer, 32, pieces.data(), static_cast<int32_t>(pieces.size()), U_FOLD_CASE_DEFAULT, &error);
    if (U_SUCCESS(error)) pieces.assign(buffer, buffer + length);
  }
  if (options & (kCFCompareNonliteral | kCFCompareDiacriticInsensitive)) {
    std::u16string decomposed;
    for (size_t k = 0; k < pieces.size();) {
      UChar32 piece;
      U16_NEXT(pieces.data(), k, pieces.size(), piece);
      UErrorCode error = U_ZERO_ERROR;
      int32_t length = unorm2_getDecomposition(Normalizer(false), piece, buffer, 32, &error);
      if (U_SUCCESS(error) && length > 0) {
        decomposed.append(buffer, buffer + length);
      } else {
        zrp::AppendCodePoint(static_cast<char32_t>(piece), &decomposed);
      }
    }
    pieces = std::move(decomposed);
  }
  if (options & kCFCompareDiacriticInsensitive) {
    for (size_t k = 0; k < pieces.size();) {
      UChar32 piece;
      U16_NEXT(pieces.data(), k, pieces.size(), piece);
      if (u_charType(piece) != U_NON_SPACING_MARK) zrp::AppendCodePoint(static_cast<char32_t>(piece), out);
    }
    return;
  }
  out->append(pieces);
}

// The folded form of a text. When offsets is given it receives, for every unit index of the
// text (and its end), where that unit's folded form starts; the trailing unit of a surrogate
// pair is marked with UINT32_MAX, as no match may start or end there.
void Fold(std::u16string_view text, CFStringCompareFlags options, std::u16string* out, std::vector<uint32_t>* offsets) {
  out->reserve(text.size());
  if (offsets) offsets->assign(text.size() + 1, UINT32_MAX);
  for (size_t i = 0; i < text.size();) {
    size_t start = i;
    UChar32 c;
    U16_NEXT(text.data(), i, text.size(), c);
    if (offsets) (*offsets)[start] = static_cast<uint32_t>(out->size());
    if (c < 0x80 && !(options & kCFCompareWidthInsensitive)) {
      // ASCII needs only case folding.
      out->push_back(static_cast<char16_t>((options & kCFCompareCaseInsensitive) && c >= 'A' && c <= 'Z' ? c + 32 : c));
      continue;
    }
    AppendFolded(c, options, out);
  }
  if (offsets) (*offsets)[text.size()] = static_cast<uint32_t>(out->size());
}

// Composed and decomposed forms of the same text compare equal when kCFCompareNonliteral is
// set: the whole text is brought to its canonical decomposition first.
std::u16string Decomposed(std::u16string_view text) {
  UErrorCode error = U_ZERO_ERROR;
  const UNormalizer2* normalizer = Normalizer(false);
  int32_t length = unorm2_normalize(normalizer, text.data(), static_cast<int32_t>(text.size()), nullptr, 0, &error);
  std::u16string out(static_cast<size_t>(length), u'\0');
  error = U_ZERO_ERROR;
  unorm2_normalize(normalizer, text.data(), static_cast<int32_t>(text.size()), out.data(), length, &error);
  if (U_FAILURE(error)) return std::u16string(text);
  return out;
}

int CompareUnlocalized(std::u16string_view a, std::u16string_view b, CFStringCompareFlags options) {
  bool numeric = options & kCFCompareNumerically;
  CFStringCompareFlags folding = options & kFoldingOptions;
  if (folding == 0) return CompareTexts(a, b, numeric, false);
  if (folding == kCFCompareCaseInsensitive && !numeric) {
    UErrorCode error = U_ZERO_ERROR;
    int result = u_strCaseCompare(a.data(), static_cast<int32_t>(a.size()), b.data(), static_cast<int32_t>(b.size()),
                                  U_FOLD_CASE_DEFAULT | U_COMPARE_CODE_POINT_ORDER, &error);
    if (U_SUCCESS(error)) return Sign(result);
  }
  if (IsAscii(a) && IsAscii(b)) {
    // ASCII text has no marks, no compatibility forms and only simple case pairs: the folded
    // form is the text with A-Z lowered, made on the fly.
    if (!(folding & kCFCompareCaseInsensitive)) return CompareTexts(a, b, numeric, true);
    return CompareTexts(a, b, numeric, true,
                        [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; });
  }
  std::u16string decomposedA;
  std::u16string decomposedB;
  if (options & kCFCompareNonliteral) {
    decomposedA = Decomposed(a);
    decomposedB = Decomposed(b);
    a = decomposedA;
    b = decomposedB;
  }
  std::u16string foldedA;
  std::u16string foldedB;
  Fold(a, folding, &foldedA, nullptr);
  Fold(b, folding, &foldedB, nullptr);
  return CompareTexts(foldedA, foldedB, numeric, true);
}

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

// The calling thread's state, reached through plain variables in the initial TLS block: a
// thread_local object with a destructor costs a call into the dynamic linker on every access
// from a shared library, more than the rest of a comparison by sort keys.
[[gnu::tls_model("initial-exec")]] thread_local ThreadState* gThreadState = nullptr;
[[gnu::tls_model("initial-exec")]] thread_local bool gThreadStateGone = false;

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

// Compares two texts with the collator of the locale and options. The texts are the whole of
// string1 (or NULL when only part of it is compared) and string2: when both strings are
// immutable, they are compared by the sort keys they keep, which is much faster than collating
// the texts again each time a string meets another in a sort.
int CompareLocalized(ThreadState& state, CFStringRef string1, CFStringRef string2, std::u16string_view a,
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

CFComparisonResult Compare(CFStringRef string1, CFStringRef string2, CFRange range, CFStringCompareFlags options,
                           CFLocaleRef locale, bool currentLocale) {
  if (!string1 || !string2) Halt("CFStringCompare", "NULL string");
  CheckRange("CFStringCompareWithOptionsAndLocale", string1, range);
  std::u16string_view a = Slice(string1, range);
  std::u16string_view b = zrp::View(string2);
  int result;
  if (options & kCFCompareLocalized) {
    // Sort keys stand for whole strings only.
    CFStringRef whole = range.location == 0 && a.size() == string1->chars.size() ? string1 : nullptr;
    if (ThreadState* state = CurrentThreadState()) [[likely]] {
      result = CompareLocalized(*state, whole, string2, a, b, options, locale, currentLocale);
    } else {
      ThreadState passing;
      result = CompareLocalized(passing, whole, string2, a, b, options, locale, currentLocale);
    }
  } else {
    result = CompareUnlocalized(a, b, options);
  }
  // Texts that the options make equal still get an order when one is forced.
  if (result == 0 && (options & kCFCompareForcedOrdering) && a != b) result = CompareTexts(a, b, false, false);
  return result;
}

// Finds a text in a range of another under the search options; positions are relative to the
// range. Built once, it serves every search in the range (find-and-replace makes many).
class Searcher {
 public:
  Searcher(std::u16string_view text, std::u16string_view needle, CFStringCompareFlags options)
      : text_(text), needle_(needle), folding_(options & kFoldingOptions) {
    if (folding_) {
      Fold(text_, folding_, &foldedText_, &offsets_);
      Fold(needle_, folding_, &foldedNeedle_, nullptr);
    }
  }

  // The first match that starts at or after from and ends at or before to.
  bool findForward(size_t from, size_t to, bool anchored, size_t* start, size_t* end) const {
    if (empty()) return false;
    if (!folding_ && !anchored) {
      size_t found = text_.substr(0, to).find(needle_, from);
      if (found == std::u16string_view::npos) return false;
      *start = found;
      *end = found + needle_.size();
      return true;
    }
    for (size_t i = from; i < to; ++i) {
      if (matchAt(i, to, start, end)) return true;
      if (anchored) return false;
    }
    return false;
  }

  // The last match that lies within [from, to); anchored, it must end at to.
  bool findBackward(size_t from, size_t to, bool anchored, size_t* start, size_t* end) const {
    if (empty()) return false;
    for (size_t i = to; i > from;) {
      --i;
      if (matchAt(i, to, start, end) && (!anchored || *end == to)) return true;
    }
    return false;
  }

 private:
  // Nothing is found of an empty text, nor of one that the options reduce to nothing (a lone
  // combining mark when diacritics are ignored).
  bool empty() const { return needle_.empty() || (folding_ && foldedNeedle_.empty()); }

  bool matchAt(size_t i, size_t limit, size_t* start, size_t* end) const {
    if (!folding_) {
      if (limit - i < needle_.size() || text_.compare(i, needle_.size(), needle_) != 0) return false;
      *start = i;
      *end = i + needle_.size();
      return true;
    }
    uint32_t at = offsets_[i];
    if (at == UINT32_MAX) return false;  // inside a surrogate pair
    // A character that folds to nothing (a dropped mark) does not begin a match.
    size_t next = i + 1;
    while (next < offsets_.size() && offsets_[next] == UINT32_MAX) ++next;
    if (offsets_[next] == at) return false;
    if (foldedText_.size() - at < foldedNeedle_.size() ||
        foldedText_.compare(at, foldedNeedle_.size(), foldedNeedle_) != 0)
      return false;
    // The match must end where a character's folded form ends; characters that fold to
    // nothing right after it (combining marks) belong to it.
    uint32_t stop = at + static_cast<uint32_t>(foldedNeedle_.size());
    size_t found = SIZE_MAX;
    for (size_t j = next; j <= limit; ++j) {
      if (offsets_[j] == UINT32_MAX) continue;
      if (offsets_[j] > stop) break;
      if (offsets_[j] == stop) found = j;
    }
    if (found == SIZE_MAX) return false;
    *start = i;
    *end = found;
    return true;
  }

  std::u16string_view text_;
  std::u16string_view needle_;
  CFStringCompareFlags folding_;
  std::u16string foldedText_;
  std::u16string foldedNeedle_;
  std::vector<uint32_t> offsets_;
};

void MapCase(CFMutableStringRef string, CFLocaleRef locale, bool upper, const char* function) {
  if (!zrp::CheckMutable(string, function)) return;
  std::u16string& chars = string->chars;
  if (chars.empty()) return;
  // The locale's own rules (Turkish dotted i, Lithuanian accents ...); without a locale the
  // language-independent mapping of the root locale.
  const char* identifier = locale ? locale->identifier.c_str() : "";
  auto map = upper ? u_strToUpper : u_strToLower;
  UErrorCode error = U_ZERO_ERROR;
  int32_t length = map(nullptr, 0, chars.data(), static_cast<int32_t>(chars.size()), identifier, &error);
  if (error != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(error)) return;
  std::u16string mapped(static_cast<size_t>(length), u'\0');
  error = U_ZERO_ERROR;
  map(mapped.data(), length, chars.data(), static_cast<int32_t>(chars.size()), identifier, &error);
  if (U_FAILURE(error)) return;
  chars = std::move(mapped);
}

}  // namespace

extern "C" {

CFComparisonResult CFStringCompareWithOptionsAndLocale(CFStringRef theString1, CFStringRef theString2,
                                                       CFRange rangeToCompare, CFStringCompareFlags compareOptions,
                                                       CFLocaleRef locale) {
  // Without a locale, a localized comparison follows the canonical (root) order.
  return Compare(theString1, theString2, rangeToCompare, compareOptions, locale, false);
}

CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1, CFStringRef theString2, CFRange rangeToCompare,
                                              CFStringCompareFlags compareOptions) {
  // kCFCompareLocalized here means the user's locale.
  return Compare(theString1, theString2, rangeToCompare, compareOptions, nullptr, true);
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
  if (!theString1 || !theString2) Halt("CFStringCompare", "NULL string");
  return Compare(theString1, theString2, CFRangeMake(0, static_cast<CFIndex>(theString1->chars.size())), compareOptions,
                 nullptr, true);
}

Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind, CFRange rangeToSearch,
                                CFStringCompareFlags searchOptions, CFRange* result) {
  if (!theString || !stringToFind) Halt("CFStringFindWithOptions", "NULL string");
  CheckRange("CFStringFindWithOptions", theString, rangeToSearch);
  std::u16string needle = stringToFind->chars;
  Searcher searcher(Slice(theString, rangeToSearch), needle, searchOptions);
  size_t length = static_cast<size_t>(rangeToSearch.length);
  bool anchored = searchOptions & kCFCompareAnchored;
  size_t start = 0;
  size_t end = 0;
  bool found = (searchOptions & kCFCompareBackwards) ? searcher.findBackward(0, length, anchored, &start, &end)
                                                     : searcher.findForward(0, length, anchored, &start, &end);
  if (found && result)
    *result = CFRangeMake(rangeToSearch.location + static_cast<CFIndex>(start), static_cast<CFIndex>(end - start));
  return found;
}

CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind, CFStringCompareFlags compareOptions) {
  CFRange result;
  if (!theString) Halt("CFStringFind", "NULL string");
  if (CFStringFindWithOptions(theString, stringToFind, CFRangeMake(0, static_cast<CFIndex>(theString->chars.size())),
                              compareOptions, &result))
    return result;
  return CFRangeMake(kCFNotFound, 0);
}

CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind, CFStringRef replacementString,
                               CFRange rangeToSearch, CFStringCompareFlags compareOptions) {
  if (!zrp::CheckMutable(theString, "CFStringFindAndReplace")) return 0;
  if (!theString || !stringToFind || !replacementString) Halt("CFStringFindAndReplace", "NULL string");
  CheckRange("CFStringFindAndReplace", theString, rangeToSearch);
  // Copies: either argument may be the very string being changed.
  std::u16string needle = stringToFind->chars;
  std::u16string replacement = replacementString->chars;
  std::u16string original = theString->chars;
  std::u16string_view range = std::u16string_view(original).substr(static_cast<size_t>(rangeToSearch.location),
                                                                   static_cast<size_t>(rangeToSearch.length));
  Searcher searcher(range, needle, compareOptions);
  bool anchored = compareOptions & kCFCompareAnchored;
  // Every occurrence in the range, none overlapping, found from the end when searching
  // backwards; an anchored search replaces the one at the range's start (or end).
  std::vector<std::pair<size_t, size_t>> matches;
  size_t start = 0;
  size_t end = 0;
  if (compareOptions & kCFCompareBackwards) {
    size_t to = range.size();
    while (searcher.findBackward(0, to, anchored, &start, &end)) {
      matches.emplace_back(start, end);
      if (anchored || start == 0) break;
      to = start;
    }
    std::reverse(matches.begin(), matches.end());
  } else {
    size_t from = 0;
    while (from < range.size() && searcher.findForward(from, range.size(), anchored, &start, &end)) {
      matches.emplace_back(start, end);
      if (anchored) break;
      from = end > start ? end : start + 1;
    }
  }
  if (matches.empty()) return 0;
  std::u16string result(original, 0, static_cast<size_t>(rangeToSearch.location));
  size_t copied = 0;
  for (const auto& [matchStart, matchEnd] : matches) {
    result.append(range.substr(copied, matchStart - copied));
    result.append(replacement);
    copied = matchEnd;
  }
  result.append(range.substr(copied));
  result.append(
      std::u16string_view(original).substr(static_cast<size_t>(rangeToSearch.location + rangeToSearch.length)));
  theString->chars = std::move(result);
  return static_cast<CFIndex>(matches.size());
}

void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale) {
  MapCase(theString, locale, true, "CFStringUppercase");
}

void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale) {
  MapCase(theString, locale, false, "CFStringLowercase");
}

}  // extern "C"
