// Languages.h: how the host reads the user's locale and languages, and the canonical forms of
// locale and language identifiers, shared by locales, bundles and preferences.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#ifndef ZRP_TESTABLE
// The functions tests reach directly are visible outside the library.
#define ZRP_TESTABLE __attribute__((visibility("default")))
#endif

namespace zrp {

// The code of one of the platform's old English localization names ("English" gives "en",
// "German" "de", "Japanese" "ja"), or NULL when the name is not one of them.
ZRP_TESTABLE const char* LanguageCodeOfOldName(std::string_view name);
// The old English name of a language code ("de" gives "German"), or NULL when there is none.
ZRP_TESTABLE const char* OldNameOfLanguageCode(std::string_view code);

// The ICU form of a locale identifier: old names become codes, a POSIX name loses its charset
// and modifier ("de_DE.UTF-8@euro" gives "de_DE"), separators become "_" and the parts take
// their usual case ("en-us" gives "en_US"). ICU keywords ("@calendar=...") are kept.
ZRP_TESTABLE std::string CanonicalLocaleIdentifier(std::string_view identifier);
// The same with "-" between the parts, the form of the platform's language lists ("de-DE").
ZRP_TESTABLE std::string CanonicalLanguageIdentifier(std::string_view identifier);

// The locale that a POSIX locale name gives ("de_DE.UTF-8" gives "de_DE"); "C", "POSIX" and
// the empty name give "en".
ZRP_TESTABLE std::string LocaleOfPosixName(std::string_view name);
// What a current locale is read for: numbers and everything else a locale object says, or the
// order of text in localized comparison.
enum class LocaleCategory { kNumbers, kCollation };

// The first of LC_ALL, the category's own variable (LC_NUMERIC, LC_COLLATE) and LANG that is set
// and not empty, as a locale ("en" when none).
ZRP_TESTABLE std::string EnvironmentLocale(LocaleCategory category = LocaleCategory::kNumbers);

// The user's languages as the environment gives them, read as GLib reads them: the first of
// LANGUAGE (a colon-separated list), LC_ALL, LC_MESSAGES and LANG that is set and not empty;
// each "ll_CC.charset@mod" gives "ll-CC" then "ll", "C" and "POSIX" give "en". Never empty.
ZRP_TESTABLE std::vector<std::string> EnvironmentLanguages();
// The "AppleLanguages" preference when it holds at least one string, else EnvironmentLanguages().
ZRP_TESTABLE std::vector<std::string> PreferredLanguages();

}  // namespace zrp
