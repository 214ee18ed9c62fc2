// CFStringCompare.cpp: comparison with the platform's option bits (literal, case- and
// diacritic-insensitive, numeric, localized through ICU collation), search, find-and-replace,
// and locale-aware case mapping.
#include <CoreFoundation/CFString.h>
#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
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

void AppendCodePoint(UChar32 c, std::u16string* out) {
  if (c >= 0x10000) {
    out->push_back(static_cast<char16_t>(U16_LEAD(c)));
    out->push_back(static_cast<char16_t>(U16_TRAIL(c)));
  } else {
    out->push_back(static_cast<char16_t>(c));
  }
}

// The transformed form of one code point under the folding options: full-width and
// half-width forms to their ordinary ones, case folded, decomposed, combining marks dropped.
// Characters compare equal under the options exactly when their forms are equal.
void AppendFolded(UChar32 c, CFStringCompareFlags options, std::u16string* out) {
  UChar buffer[32];
  std::u16string pieces;
  AppendCodePoint(c, &pieces);
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
        AppendCodePoint(piece, &decomposed);
      }
    }
    pieces = std::move(decomposed);
  }
  if (options & kCFCompareDiacriticInsensitive) {
    for (size_t k = 0; k < pieces.size();) {
      UChar32 piece;
      U16_NEXT(pieces.data(), k, pieces.size(), piece);
      if (u_charType(piece) != U_NON_SPACING_MARK) AppendCodePoint(piece, out);
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

// The ICU locale of the user's collation order: LC_ALL, LC_COLLATE, then LANG, as the C
// library reads them; "C" and "POSIX" (and no setting) sort as English.
std::string CollationLocaleFromEnvironment() {
  for (const char* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
    const char* value = std::getenv(name);
    if (!value || !*value) continue;
    std::string locale(value);
    locale = locale.substr(0, locale.find_first_of(".@"));
    if (locale.empty() || locale == "C" || locale == "POSIX") return "en";
    return locale;
  }
  return "en";
}

// Collators are expensive to open and cheap to use: each thread keeps the ones it has opened,
// one per locale and set of options, for as long as it runs.
class CollatorCache {
 public:
  ~CollatorCache() {
    for (Entry& entry : entries_) ucol_close(entry.collator);
  }

  UCollator* get(const std::string& locale, CFStringCompareFlags options) {
    for (Entry& entry : entries_)
      if (entry.options == options && entry.locale == locale) return entry.collator;
    UErrorCode error = U_ZERO_ERROR;
    UCollator* collator = ucol_open(locale.empty() ? "root" : locale.c_str(), &error);
    if (U_FAILURE(error)) {
      error = U_ZERO_ERROR;
      collator = ucol_open("root", &error);
      if (U_FAILURE(error)) return nullptr;
    }
    UColAttributeValue strength = UCOL_TERTIARY;
    if (options & kCFCompareCaseInsensitive) strength = UCOL_SECONDARY;
    if (options & kCFCompareDiacriticInsensitive) strength = UCOL_PRIMARY;
    ucol_setAttribute(collator, UCOL_STRENGTH, strength, &error);
    ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, (options & kCFCompareNumerically) ? UCOL_ON : UCOL_OFF, &error);
    // Canonically equivalent texts (composed or not) always sort together.
    ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &error);
    entries_.push_back({locale, options, collator});
    return collator;
  }

 private:
  struct Entry {
    std::string locale;
    CFStringCompareFlags options;
    UCollator* collator;
  };
  std::vector<Entry> entries_;
};

int CompareLocalized(std::u16string_view a, std::u16string_view b, CFStringCompareFlags options,
                     const std::string& locale) {
  thread_local CollatorCache cache;
  CFStringCompareFlags collatorOptions =
      options & (kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive | kCFCompareNumerically);
  UCollator* collator = cache.get(locale, collatorOptions);
  if (!collator) return CompareUnlocalized(a, b, options);
  UCollationResult result =
      ucol_strcoll(collator, a.data(), static_cast<int32_t>(a.size()), b.data(), static_cast<int32_t>(b.size()));
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
    std::string identifier = locale ? locale->identifier : currentLocale ? CollationLocaleFromEnvironment() : "root";
    result = CompareLocalized(a, b, options, identifier);
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
