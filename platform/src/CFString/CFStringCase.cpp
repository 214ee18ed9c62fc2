// CFStringCase.cpp: locale-aware case mapping of mutable strings through ICU.
#include <CoreFoundation/CFString.h>
#include <unicode/ustring.h>

#include <string>
#include <utility>

#include "CFLocale/LocaleImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"

namespace {

void MapCase(CFMutableStringRef string, CFLocaleRef locale, bool upper, const char* function) {
  if (!zrp::CheckMutable(string, function)) return;
  if (string->text.empty()) return;
  zrp::WideView wide(string);
  std::u16string_view chars = wide;
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
  string->text.assign(mapped);
}

}  // namespace

extern "C" {

void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale) {
  zrp::CatchOutOfMemory([&] { MapCase(theString, locale, true, "CFStringUppercase"); });
}

void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale) {
  zrp::CatchOutOfMemory([&] { MapCase(theString, locale, false, "CFStringLowercase"); });
}

}  // extern "C"
