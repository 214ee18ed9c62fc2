// LocaleImpl.h: the locale object, shared by the services that read a locale's identifier
// (case mapping, localized comparison, number formatting).
#pragma once

#include <CoreFoundation/CFLocale.h>

#include <string>

#include "runtime/Object.h"

struct __CFLocale final : zrp::Object {
  explicit __CFLocale(std::string icuIdentifier) : Object(zrp::kTypeIDLocale), identifier(std::move(icuIdentifier)) {}

  bool equal(const Object& other) const override {
    return identifier == static_cast<const __CFLocale&>(other).identifier;
  }
  CFHashCode hash() const override { return std::hash<std::string>()(identifier); }

  // The ICU locale identifier ("en_US", "de_DE", "de"), the form ICU services take directly.
  std::string identifier;
};
