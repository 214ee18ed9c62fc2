// Languages.cpp: the user's locale and languages as Linux gives them (environment and the
// "AppleLanguages" preference), and canonical locale and language identifiers.
#include "CFLocale/Languages.h"

#include <CoreFoundation/CFPreferences.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "CFPreferences/PreferencesImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Characters.h"

namespace zrp {
namespace {

// The platform's bundles still carry localizations named by the language's English name; these
// are the names it knows, with the codes they stand for.
struct OldName {
  const char* name;
  const char* code;
};
constexpr OldName kOldNames[] = {
    {"English", "en"},        {"French", "fr"},    {"German", "de"},    {"Italian", "it"},    {"Dutch", "nl"},
    {"Swedish", "sv"},        {"Spanish", "es"},   {"Danish", "da"},    {"Portuguese", "pt"}, {"Norwegian", "nb"},
    {"Hebrew", "he"},         {"Japanese", "ja"},  {"Arabic", "ar"},    {"Finnish", "fi"},    {"Greek", "el"},
    {"Icelandic", "is"},      {"Maltese", "mt"},   {"Turkish", "tr"},   {"Croatian", "hr"},   {"TradChinese", "zh_TW"},
    {"SimpChinese", "zh_CN"}, {"Urdu", "ur"},      {"Hindi", "hi"},     {"Thai", "th"},       {"Korean", "ko"},
    {"Lithuanian", "lt"},     {"Polish", "pl"},    {"Hungarian", "hu"}, {"Estonian", "et"},   {"Latvian", "lv"},
    {"Faroese", "fo"},        {"Farsi", "fa"},     {"Russian", "ru"},   {"Czech", "cs"},      {"Slovak", "sk"},
    {"Ukrainian", "uk"},      {"Romanian", "ro"},  {"Catalan", "ca"},   {"Vietnamese", "vi"}, {"Indonesian", "id"},
    {"Malay", "ms"},          {"Slovenian", "sl"}, {"Serbian", "sr"},   {"Bulgarian", "bg"},
};

// The blanks around the parts of locale names and language lists.
constexpr std::string_view kBlanks = " \t";

const char* NonEmptyEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value && *value ? value : nullptr;
}

void AddOnce(std::vector<std::string>* list, std::string item) {
  if (std::find(list->begin(), list->end(), item) == list->end()) list->push_back(std::move(item));
}

}  // namespace

const char* LanguageCodeOfOldName(std::string_view name) {
  for (const OldName& entry : kOldNames) {
    if (name == entry.name) return entry.code;
  }
  return nullptr;
}

const char* OldNameOfLanguageCode(std::string_view code) {
  for (const OldName& entry : kOldNames) {
    if (code == entry.code) return entry.name;
  }
  return nullptr;
}

std::string CanonicalLocaleIdentifier(std::string_view identifier) {
  identifier = Trim(identifier, kBlanks);
  if (const char* code = LanguageCodeOfOldName(identifier)) return code;
  std::string_view base = identifier;
  std::string_view keywords;
  if (size_t at = identifier.find('@'); at != std::string_view::npos) {
    base = identifier.substr(0, at);
    // "@calendar=..." are ICU keywords and stay; "@euro" is a POSIX modifier and goes.
    if (identifier.find('=', at) != std::string_view::npos) keywords = identifier.substr(at);
  }
  if (size_t dot = base.find('.'); dot != std::string_view::npos) base = base.substr(0, dot);
  std::string input(base);
  input.append(keywords);
  char buffer[ULOC_FULLNAME_CAPACITY + ULOC_KEYWORD_AND_VALUES_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = uloc_canonicalize(input.c_str(), buffer, sizeof(buffer), &status);
  if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) {
    std::replace(input.begin(), input.end(), '-', '_');
    return input;
  }
  return std::string(buffer, static_cast<size_t>(length));
}

std::string CanonicalLanguageIdentifier(std::string_view identifier) {
  std::string canonical = CanonicalLocaleIdentifier(identifier);
  size_t end = std::min(canonical.find('@'), canonical.size());
  std::replace(canonical.begin(), canonical.begin() + static_cast<std::ptrdiff_t>(end), '_', '-');
  return canonical;
}

std::string LocaleOfPosixName(std::string_view name) {
  name = Trim(name, kBlanks);
  std::string_view base = name.substr(0, std::min(name.find_first_of(".@"), name.size()));
  if (base.empty() || base == "C" || base == "POSIX") return "en";
  return CanonicalLocaleIdentifier(base);
}

std::string EnvironmentLocale(LocaleCategory category) {
  const char* own = category == LocaleCategory::kCollation ? "LC_COLLATE" : "LC_NUMERIC";
  for (const char* variable : {"LC_ALL", own, "LANG"}) {
    if (const char* value = NonEmptyEnvironment(variable)) return LocaleOfPosixName(value);
  }
  return "en";
}

std::vector<std::string> EnvironmentLanguages() {
  std::vector<std::string> languages;
  const char* value = nullptr;
  for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
    if ((value = NonEmptyEnvironment(variable))) break;
  }
  std::string_view list = value ? value : "";
  while (!list.empty()) {
    size_t colon = std::min(list.find(':'), list.size());
    std::string_view name = Trim(list.substr(0, colon), kBlanks);
    list.remove_prefix(std::min(colon + 1, list.size()));
    if (name.empty()) continue;
    std::string locale = LocaleOfPosixName(name);
    // "de_DE" gives "de-DE" and then "de", so that a localization of the bare language matches too.
    std::string language = CanonicalLanguageIdentifier(locale);
    std::string bare = language.substr(0, std::min(language.find('-'), language.size()));
    AddOnce(&languages, language);
    AddOnce(&languages, bare);
  }
  if (languages.empty()) languages.push_back("en");
  return languages;
}

std::vector<std::string> PreferredLanguages() {
  std::vector<std::string> languages;
  // The stored value only: without one (or without memory to read one) the environment's
  // languages follow, as plain strings.
  CFPropertyListRef value = nullptr;
  try {
    value = CopyStoredAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication);
  } catch (const std::bad_alloc&) {
  }
  if (value) {
    // The value is released however the reading ends; out of memory included.
    struct Release {
      CFPropertyListRef value;
      ~Release() { CFRelease(value); }
    } release{value};
    if (CFGetTypeID(value) == CFArrayGetTypeID()) {
      CFArrayRef array = static_cast<CFArrayRef>(value);
      for (CFIndex i = 0, count = CFArrayGetCount(array); i < count; ++i) {
        CFTypeRef item = CFArrayGetValueAtIndex(array, i);
        if (item && CFGetTypeID(item) == CFStringGetTypeID()) {
          std::string language = ToUTF8(static_cast<CFStringRef>(item));
          if (!language.empty()) AddOnce(&languages, std::move(language));
        }
      }
    }
  }
  if (languages.empty()) languages = EnvironmentLanguages();
  return languages;
}

}  // namespace zrp
