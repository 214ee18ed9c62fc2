// BundleImpl.h: the bundle object: where its parts lie on disk, its information property list
// and its localized strings tables, each read once.
#pragma once

#include <CoreFoundation/CFBundle.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CFBundle/StringsFile.h"
#include "runtime/Object.h"

#ifndef ZRP_TESTABLE
// The functions tests reach directly are visible outside the library.
#define ZRP_TESTABLE __attribute__((visibility("default")))
#endif

struct __CFBundle final : zrp::Object {
  // path: the bundle folder. Its parts are found in the platform's layout ("Contents/Info.plist",
  // "Contents/Resources/") when it has a "Contents" folder, else in the folder itself.
  explicit __CFBundle(std::string path);
  ~__CFBundle() override;

  bool equal(const Object& other) const override { return path == static_cast<const __CFBundle&>(other).path; }
  CFHashCode hash() const override { return std::hash<std::string>()(path); }
  CFStringRef copyDescription() const override;

  // The bundle folder, its information property list file and its resources folder.
  std::string path;
  std::string infoPlistPath;
  std::string resourcesPath;

  // Guards everything below, which is filled on first use.
  std::mutex mutex;
  CFDictionaryRef infoDictionary = nullptr;
  bool localizationsListed = false;
  std::vector<std::string> localizations;
  // Strings tables by file path; NULL for a file that does not exist.
  std::map<std::string, std::shared_ptr<const zrp::StringsTable>> tables;
  // Localized values of the information property list, kept so they can be lent.
  std::map<std::u16string, CFStringRef> localizedInfoValues;
};

namespace zrp {

// A bundle for the folder at path (which need not exist), through the allocation seam.
ZRP_TESTABLE CFBundleRef CreateBundleWithPath(const std::string& path);

// The bundle folder for an executable: the folder holding "Contents/MacOS/<name>" or
// "Contents/Linux/<name>", else the executable's own folder.
ZRP_TESTABLE std::string BundlePathOfExecutable(const std::string& executablePath);

// The localization to use among those available for the user's languages (most preferred first):
// for each language in turn, the localization of that very language ("de-DE" is "de_DE", "de" is
// "de" or "German"), else one of its bare language, else one of the same language with another
// region. When no language matches: the development region, else English, else the first one
// available. Empty when none is available.
ZRP_TESTABLE std::string ChooseLocalization(const std::vector<std::string>& available,
                                            const std::vector<std::string>& languages,
                                            const std::string& developmentRegion);
// Where the localizations the bundle would use stand in `available`, given the one chosen: the
// chosen one, then every other name of the same localization ("en" and "English", "en_GB" and
// "en-GB"), then, when the chosen one names a region or script, its bare language ("en_GB" then
// "en"), each group in the order of `available`. Empty when nothing was chosen.
ZRP_TESTABLE std::vector<size_t> PreferredLocalizationOrder(const std::vector<std::string>& available,
                                                            const std::string& chosen);

}  // namespace zrp
