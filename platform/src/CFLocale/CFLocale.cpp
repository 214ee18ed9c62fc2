// CFLocale.cpp: locale objects: the current locale from the user's settings, locales made from
// identifiers, the system locale, and the user's preferred languages as an array.
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFPreferences.h>

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "CFLocale/CurrentLocale.h"
#include "CFLocale/Languages.h"
#include "CFLocale/LocaleImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"
#include "runtime/Seams.h"

namespace {

// The one locale object of an identifier that has been current, made on first use: identifiers
// are few, and a current locale is asked for over and over (a number formatted per call).
CFLocaleRef CurrentLocaleOf(const std::string& identifier) {
  static std::mutex mutex;
  static auto* locales = new std::unordered_map<std::string, CFLocaleRef>();
  std::lock_guard<std::mutex> lock(mutex);
  auto found = locales->find(identifier);
  if (found != locales->end()) return found->second;
  auto* locale = new __CFLocale(identifier);
  locale->makeImmortal();
  try {
    locales->emplace(identifier, locale);
  } catch (...) {
    delete locale;
    throw;
  }
  return locale;
}

}  // namespace

extern "C" {

CFTypeID CFLocaleGetTypeID(void) { return zrp::kTypeIDLocale; }

CFLocaleRef CFLocaleGetSystem(void) {
  static CFLocaleRef system = [] {
    auto* locale = new __CFLocale(std::string());
    locale->makeImmortal();
    return locale;
  }();
  return system;
}

CFLocaleRef CFLocaleCopyCurrent(void) {
  return zrp::CatchOutOfMemory<CFLocaleRef>(nullptr, [&]() -> CFLocaleRef {
    // The platform keeps its current locale object and hands it out again while the user's
    // settings stand; each thread keeps the one it was last given, and the current locale is
    // one object per identifier, made once and never freed. Handing it out counts as making
    // one, so that the failures of callers that make a locale can still be reached.
    thread_local CFLocaleRef kept = nullptr;
    thread_local zrp::CurrentLocaleStamp stamp;
    if (!kept || !zrp::CurrentLocaleStillHolds(stamp)) {
      zrp::CurrentLocaleStamp made;
      kept = CurrentLocaleOf(zrp::CurrentLocaleIdentifier(zrp::LocaleCategory::kNumbers, &made));
      stamp = made;
    }
    if (!zrp::AllocationAllowed()) return nullptr;
    return kept;
  });
}

CFLocaleRef CFLocaleCreate(CFAllocatorRef, CFLocaleIdentifier localeIdentifier) {
  return zrp::CatchOutOfMemory<CFLocaleRef>(nullptr, [&]() -> CFLocaleRef {
    if (!localeIdentifier) return nullptr;
    return zrp::New<__CFLocale>(zrp::CanonicalLocaleIdentifier(zrp::ToUTF8(localeIdentifier)));
  });
}

CFLocaleRef CFLocaleCreateCopy(CFAllocatorRef, CFLocaleRef locale) {
  if (!locale) return nullptr;
  // Locales never change, so a copy is the same object.
  return static_cast<CFLocaleRef>(CFRetain(locale));
}

CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale) {
  if (!locale) return nullptr;
  // A locale holds only its ICU identifier; the string lent is the process's one string of it.
  return zrp::InternedString(locale->identifier);
}

CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromString(CFAllocatorRef, CFStringRef localeIdentifier) {
  if (!localeIdentifier) return nullptr;
  std::string canonical = zrp::CanonicalLocaleIdentifier(zrp::ToUTF8(localeIdentifier));
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(canonical.data()),
                                 static_cast<CFIndex>(canonical.size()), kCFStringEncodingUTF8, false);
}

CFLocaleIdentifier CFLocaleCreateCanonicalLanguageIdentifierFromString(CFAllocatorRef, CFStringRef localeIdentifier) {
  if (!localeIdentifier) return nullptr;
  std::string canonical = zrp::CanonicalLanguageIdentifier(zrp::ToUTF8(localeIdentifier));
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(canonical.data()),
                                 static_cast<CFIndex>(canonical.size()), kCFStringEncodingUTF8, false);
}

CFArrayRef CFLocaleCopyPreferredLanguages(void) {
  return zrp::CatchOutOfMemory<CFArrayRef>(nullptr, [&]() -> CFArrayRef {
    std::vector<CFTypeRef> strings;
    bool complete = true;
    for (const std::string& language : zrp::PreferredLanguages()) {
      CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(language.data()),
                                                   static_cast<CFIndex>(language.size()), kCFStringEncodingUTF8, false);
      if (!string) {
        complete = false;
        break;
      }
      strings.push_back(string);
    }
    CFArrayRef array =
        complete ? CFArrayCreate(nullptr, strings.data(), static_cast<CFIndex>(strings.size()), &kCFTypeArrayCallBacks)
                 : nullptr;
    for (CFTypeRef string : strings) CFRelease(string);
    return array;
  });
}

}  // extern "C"
