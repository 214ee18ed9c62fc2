// CFLocale.cpp: locale objects: the current locale from the user's settings, locales made from
// identifiers, the system locale, and the user's preferred languages as an array.
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFPreferences.h>

#include <string>
#include <vector>

#include "CFLocale/CurrentLocale.h"
#include "CFLocale/Languages.h"
#include "CFLocale/LocaleImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"

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
    return zrp::New<__CFLocale>(zrp::CurrentLocaleIdentifier(zrp::LocaleCategory::kNumbers));
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
