// UnicodeUtilities.cpp: UCCompareTextDefault over ICU's root collation. The options map onto
// the collator's strength and attributes:
//   no case or diacritic option       tertiary strength (case and accents count)
//   kUCCollateCaseInsensitiveMask     secondary strength (accents still count)
//   kUCCollateDiacritInsensitiveMask  primary strength, with the case level on unless case is
//                                     ignored too
//   kUCCollatePunctuationSignificantMask  punctuation and spaces non-ignorable (else shifted:
//                                     ignored at every level compared)
//   kUCCollateDigitsAsNumberMask      numeric collation
//   kUCCollateWidthInsensitiveMask    full-width and half-width forms folded before comparing,
//                                     since ICU keeps width at the same level as case
// Canonically equivalent texts (precomposed or not) always compare equal, as ICU's collation
// guarantees; kUCCollateComposeInsensitiveMask therefore changes nothing.
#include <CoreServices/CoreServices.h>
#include <unicode/normalizer2.h>
#include <unicode/ucol.h>
#include <unicode/unistr.h>

#include <map>
#include <memory>
#include <new>

namespace {

struct CollatorCloser {
  void operator()(UCollator* collator) const { ucol_close(collator); }
};
using Collator = std::unique_ptr<UCollator, CollatorCloser>;

// One collator per thread and option set: a collator must not be used by two threads at once,
// and setting its attributes on every call would cost more than the comparison.
UCollator* CollatorFor(UCCollateOptions options) {
  thread_local std::map<UCCollateOptions, Collator> collators;
  auto found = collators.find(options);
  if (found != collators.end()) return found->second.get();
  UErrorCode error = U_ZERO_ERROR;
  Collator collator(ucol_open("", &error));
  if (U_FAILURE(error)) return nullptr;
  bool caseless = options & kUCCollateCaseInsensitiveMask;
  bool accentless = options & kUCCollateDiacritInsensitiveMask;
  UColAttributeValue strength = accentless ? UCOL_PRIMARY : caseless ? UCOL_SECONDARY : UCOL_TERTIARY;
  ucol_setStrength(collator.get(), strength);
  ucol_setAttribute(collator.get(), UCOL_CASE_LEVEL, (accentless && !caseless) ? UCOL_ON : UCOL_OFF, &error);
  ucol_setAttribute(collator.get(), UCOL_ALTERNATE_HANDLING,
                    (options & kUCCollatePunctuationSignificantMask) ? UCOL_NON_IGNORABLE : UCOL_SHIFTED, &error);
  ucol_setAttribute(collator.get(), UCOL_NUMERIC_COLLATION,
                    (options & kUCCollateDigitsAsNumberMask) ? UCOL_ON : UCOL_OFF, &error);
  ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &error);
  if (U_FAILURE(error)) return nullptr;
  UCollator* result = collator.get();
  collators.emplace(options, std::move(collator));
  return result;
}

bool IsWidthForm(UChar32 c) { return c == 0x3000 || (c >= 0xFF00 && c <= 0xFFEF); }

// The text with its full-width and half-width forms replaced by their ordinary ones (their
// compatibility decomposition), everything else unchanged.
bool FoldWidth(const icu::UnicodeString& text, icu::UnicodeString* out) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Normalizer2* nfkc = icu::Normalizer2::getNFKCInstance(error);
  if (U_FAILURE(error)) return false;
  out->remove();
  for (int32_t i = 0; i < text.length();) {
    UChar32 c = text.char32At(i);
    if (IsWidthForm(c)) {
      icu::UnicodeString folded = nfkc->normalize(icu::UnicodeString(c), error);
      if (U_FAILURE(error)) return false;
      out->append(folded);
    } else {
      out->append(c);
    }
    i += U16_LENGTH(c);
  }
  return true;
}

}  // namespace

extern "C" {

OSStatus UCCompareTextDefault(UCCollateOptions options, const UniChar* text1Ptr, UniCharCount text1Length,
                              const UniChar* text2Ptr, UniCharCount text2Length, Boolean* equivalent, SInt32* order) {
  if ((!text1Ptr && text1Length) || (!text2Ptr && text2Length) || (!equivalent && !order) || text1Length > INT32_MAX ||
      text2Length > INT32_MAX) {
    return paramErr;
  }
  try {
    UCollator* collator = CollatorFor(options & ~kUCCollateTypeMask);
    if (!collator) return memFullErr;
    icu::UnicodeString text1(false, reinterpret_cast<const UChar*>(text1Ptr), static_cast<int32_t>(text1Length));
    icu::UnicodeString text2(false, reinterpret_cast<const UChar*>(text2Ptr), static_cast<int32_t>(text2Length));
    if (options & kUCCollateWidthInsensitiveMask) {
      icu::UnicodeString folded1, folded2;
      if (!FoldWidth(text1, &folded1) || !FoldWidth(text2, &folded2)) return memFullErr;
      text1 = folded1;
      text2 = folded2;
    }
    UCollationResult result =
        ucol_strcoll(collator, text1.getBuffer(), text1.length(), text2.getBuffer(), text2.length());
    if (equivalent) *equivalent = result == UCOL_EQUAL;
    if (order) *order = result == UCOL_LESS ? -1 : result == UCOL_GREATER ? 1 : 0;
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

}  // extern "C"
