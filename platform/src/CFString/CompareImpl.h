// CompareImpl.h: what comparison, collation and search of strings share: the folding options,
// range checks, texts compared unit by unit and the folded forms of texts.
#pragma once

#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFString.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "CFString/StringImpl.h"

namespace zrp::compare {

// The options that compare characters through a transformed form rather than as they stand.
constexpr CFStringCompareFlags kFoldingOptions =
    kCFCompareCaseInsensitive | kCFCompareNonliteral | kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive;

inline std::u16string_view Slice(std::u16string_view text, CFRange range) {
  return text.substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
}

inline int Sign(int value) { return (value > 0) - (value < 0); }

// Compares two texts unit by unit, runs of ASCII digits as numbers when numeric is set;
// returns -1, 0 or 1.
int CompareTexts(std::u16string_view a, std::u16string_view b, bool numeric, bool codePointOrder);

// The folded form of a text. When offsets is given it receives, for every unit index of the
// text (and its end), where that unit's folded form starts; the trailing unit of a surrogate
// pair is marked with UINT32_MAX, as no match may start or end there.
void Fold(std::u16string_view text, CFStringCompareFlags options, std::u16string* out, std::vector<uint32_t>* offsets);

// Compares two texts under the options without a locale; returns -1, 0 or 1.
int CompareUnlocalized(std::u16string_view a, std::u16string_view b, CFStringCompareFlags options);

// Compares two texts with the collation of locale, or of the user's current locale when
// currentLocale is set, or of the root locale. whole is the first string when a is the whole of
// its text (else NULL), string2 the second: immutable strings are compared by sort keys they
// keep. Returns -1, 0 or 1.
int CompareLocalized(CFStringRef whole, CFStringRef string2, std::u16string_view a, std::u16string_view b,
                     CFStringCompareFlags options, CFLocaleRef locale, bool currentLocale);

}  // namespace zrp::compare
