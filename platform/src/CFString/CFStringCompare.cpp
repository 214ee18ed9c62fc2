// CFStringCompare.cpp: comparison with the platform's option bits (literal, case-, diacritic-
// and width-insensitive, numeric, nonliteral), the folded forms that search shares, and the
// entry points of comparison (localized comparison itself is in CFStringCollation.cpp).
#include <CoreFoundation/CFString.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "CFString/CompareImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Characters.h"
#include "runtime/NoThrow.h"

namespace zrp::compare {

namespace {

// A UTF-16 unit moved so that comparing units orders supplementary characters (surrogates)
// after the rest of the BMP, as comparing code points does.
inline char32_t CodePointOrderKey(char16_t unit) {
  if (unit >= 0xD800) return unit >= 0xE000 ? unit - 0x800 : unit + 0x2000;
  return unit;
}

// Compares two texts unit by unit (in code point order when asked), runs of ASCII digits as
// the numbers they write when numeric is set; each unit passes through map first. Returns
// -1, 0 or 1.
template <class Map>
int CompareTexts(std::u16string_view a, std::u16string_view b, bool numeric, bool codePointOrder, Map map) {
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (numeric && zrp::IsAsciiDigit(a[i]) && zrp::IsAsciiDigit(b[j])) {
      size_t startA = i;
      size_t startB = j;
      while (i < a.size() && zrp::IsAsciiDigit(a[i])) ++i;
      while (j < b.size() && zrp::IsAsciiDigit(b[j])) ++j;
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

}  // namespace

int CompareTexts(std::u16string_view a, std::u16string_view b, bool numeric, bool codePointOrder) {
  return CompareTexts(a, b, numeric, codePointOrder, [](char16_t c) { return c; });
}

namespace {

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

}  // namespace

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

namespace {

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

}  // namespace

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

}  // namespace zrp::compare

namespace {

using namespace zrp::compare;

// Compares under the options: localized through collation, else by the folded texts.
int CompareUnderOptions(CFStringRef string1, CFStringRef string2, std::u16string_view a, std::u16string_view b,
                        bool whole1, CFStringCompareFlags options, CFLocaleRef locale, bool currentLocale) {
  if (!(options & kCFCompareLocalized)) return CompareUnlocalized(a, b, options);
  // Sort keys stand for whole strings only.
  return CompareLocalized(whole1 ? string1 : nullptr, string2, a, b, options, locale, currentLocale);
}

// Two texts in unit order, whichever their forms: -1, 0 or 1.
int CompareRanges(const zrp::Text& a, size_t start, size_t count, const zrp::Text& b) {
  if (!a.wide() && !b.wide()) {
    // The commonest case, bytes against bytes.
    size_t common = std::min(count, b.size());
    int result = common ? std::memcmp(a.narrow().data() + start, b.narrow().data(), common) : 0;
    if (result != 0) return Sign(result);
    return count < b.size() ? -1 : count > b.size() ? 1 : 0;
  }
  return a.visit([&](auto x) {
    return b.visit([&](auto y) {
      x = x.substr(start, count);
      size_t common = std::min(x.size(), y.size());
      if constexpr (sizeof(x[0]) == 1 && sizeof(y[0]) == 1) {
        int result = common ? std::memcmp(x.data(), y.data(), common) : 0;
        if (result != 0) return Sign(result);
      } else {
        for (size_t i = 0; i < common; ++i) {
          if (x[i] != y[i]) return x[i] < y[i] ? -1 : 1;
        }
      }
      return x.size() < y.size() ? -1 : x.size() > y.size() ? 1 : 0;
    });
  });
}

// Comparison under options, on UTF-16 copies of one-byte texts; noinline, so that the
// comparison without options does not pay for its frame.
__attribute__((noinline)) int CompareWithOptions(CFStringRef string1, CFStringRef string2, size_t start, size_t count,
                                                 CFStringCompareFlags options, CFLocaleRef locale, bool currentLocale) {
  // Folding and collation build texts and keys aside; when there is no memory for them, the
  // texts are still given an order, unit by unit.
  constexpr int kNoMemory = 2;
  int result = zrp::CatchOutOfMemory<int>(kNoMemory, [&] {
    zrp::WideView wide1(string1);
    zrp::WideView wide2(string2);
    std::u16string_view a = wide1.view().substr(start, count);
    std::u16string_view b = wide2;
    int ordered =
        CompareUnderOptions(string1, string2, a, b, count == string1->text.size(), options, locale, currentLocale);
    // Texts that the options make equal still get an order when one is forced.
    if (ordered == 0 && (options & kCFCompareForcedOrdering) && a != b) ordered = CompareTexts(a, b, false, false);
    return ordered;
  });
  if (result == kNoMemory) result = CompareRanges(string1->text, start, count, string2->text);
  return result;
}

inline CFComparisonResult Compare(CFStringRef string1, CFStringRef string2, CFRange range, CFStringCompareFlags options,
                                  CFLocaleRef locale, bool currentLocale) {
  if (!string1 || !string2) zrp::HaltWith("CFStringCompare", "NULL string");
  zrp::CheckRange("CFStringCompareWithOptionsAndLocale", string1, range);
  auto start = static_cast<size_t>(range.location);
  auto count = static_cast<size_t>(range.length);
  // Without options, unit order, read from the texts as they are.
  if ((options & ~kCFCompareForcedOrdering) == 0)
    return static_cast<CFComparisonResult>(CompareRanges(string1->text, start, count, string2->text));
  return static_cast<CFComparisonResult>(
      CompareWithOptions(string1, string2, start, count, options, locale, currentLocale));
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
  if (!theString1 || !theString2) zrp::HaltWith("CFStringCompare", "NULL string");
  return Compare(theString1, theString2, CFRangeMake(0, static_cast<CFIndex>(theString1->text.size())), compareOptions,
                 nullptr, true);
}

}  // extern "C"
