// CFBundle.cpp: bundles on Linux: the main bundle found from the running executable, the
// information property list, the localization that matches the user's languages, localized
// strings read from the bundle's strings tables, and the URLs of resource files.
#include <CoreFoundation/CFBundle.h>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>

#include "CFBundle/BundleImpl.h"
#include "CFLocale/Languages.h"
#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Files.h"
#include "runtime/NoThrow.h"

namespace {

bool IsDirectory(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Lends a string from the information property list.
CFStringRef InfoString(CFBundleRef bundle, CFStringRef key) {
  CFDictionaryRef info = CFBundleGetInfoDictionary(bundle);
  if (!info) return nullptr;
  CFTypeRef value = CFDictionaryGetValue(info, key);
  return value && CFGetTypeID(value) == CFStringGetTypeID() ? static_cast<CFStringRef>(value) : nullptr;
}

// The names of the bundle's "<name>.lproj" folders, listed once.
const std::vector<std::string>& Localizations(CFBundleRef bundle) {
  std::lock_guard<std::mutex> lock(bundle->mutex);
  if (!bundle->localizationsListed) {
    bundle->localizationsListed = true;
    if (DIR* folder = opendir(bundle->resourcesPath.c_str())) {
      while (dirent* entry = readdir(folder)) {
        std::string name = entry->d_name;
        if (name.size() > 6 && name.ends_with(".lproj") && IsDirectory(bundle->resourcesPath + "/" + name)) {
          bundle->localizations.push_back(name.substr(0, name.size() - 6));
        }
      }
      closedir(folder);
      // Directory order is arbitrary; a fixed order makes the choice among equals repeatable.
      std::sort(bundle->localizations.begin(), bundle->localizations.end());
    }
  }
  return bundle->localizations;
}

// The folders whose strings tables are consulted, best first: the localizations the user's
// languages choose (a regional one followed by its bare language), then the development
// region's and English, then the resources folder itself for tables
// that are not localized. The first of them that holds the table is the one read.
std::vector<std::string> TableFolders(CFBundleRef bundle) {
  const std::vector<std::string>& available = Localizations(bundle);
  std::string developmentRegion;
  if (CFStringRef region = CFBundleGetDevelopmentRegion(bundle)) developmentRegion = zrp::ToUTF8(region);
  std::vector<std::string> folders;
  auto add = [&](const std::string& localization) {
    if (localization.empty()) return;
    std::string folder = bundle->resourcesPath + "/" + localization + ".lproj";
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(folder);
  };
  std::string chosen = zrp::ChooseLocalization(available, zrp::PreferredLanguages(), developmentRegion);
  for (size_t i : zrp::PreferredLocalizationOrder(available, chosen)) add(available[i]);
  if (!developmentRegion.empty()) add(zrp::ChooseLocalization(available, {developmentRegion}, ""));
  add(zrp::ChooseLocalization(available, {"en"}, ""));
  folders.push_back(bundle->resourcesPath);
  return folders;
}

// The table of the given name from the first folder that holds it, read once; NULL when no
// folder holds it.
std::shared_ptr<const zrp::StringsTable> FindTable(CFBundleRef bundle, const std::string& tableName) {
  for (const std::string& folder : TableFolders(bundle)) {
    std::string path = folder + "/" + tableName + ".strings";
    {
      std::lock_guard<std::mutex> lock(bundle->mutex);
      auto found = bundle->tables.find(path);
      if (found != bundle->tables.end()) {
        if (found->second) return found->second;
        continue;
      }
    }
    std::shared_ptr<zrp::StringsTable> table;
    std::string bytes;
    if (zrp::ReadWholeFile(path, &bytes)) {
      table = std::make_shared<zrp::StringsTable>();
      // A malformed file counts as an empty table, as on the platform.
      zrp::ParseStringsFile(bytes, table.get());
    }
    std::lock_guard<std::mutex> lock(bundle->mutex);
    auto inserted = bundle->tables.emplace(path, table).first;
    if (inserted->second) return inserted->second;
  }
  return nullptr;
}

// The path of resource "<name>[.<type>]" under "<folder>[/<subfolder>]"; empty for an empty name.
std::string ResourcePath(const std::string& folder, CFStringRef name, CFStringRef type, CFStringRef subfolder) {
  if (!name || CFStringGetLength(name) == 0) return std::string();
  std::string file = zrp::ToUTF8(name);
  if (type && CFStringGetLength(type) > 0) {
    std::string extension = zrp::ToUTF8(type);
    if (extension.front() != '.') file += '.';
    file += extension;
  }
  std::string path = folder;
  if (subfolder && CFStringGetLength(subfolder) > 0) path += "/" + zrp::ToUTF8(subfolder);
  return path + "/" + file;
}

// A file URL for the item at path, marked as a folder when it is one (or links to one).
CFURLRef URLOfItem(const std::string& path) {
  struct stat info;
  bool isDirectory = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
  CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(path.data()),
                                               static_cast<CFIndex>(path.size()), kCFStringEncodingUTF8, false);
  if (!string) return nullptr;
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, string, kCFURLPOSIXPathStyle, isDirectory);
  CFRelease(string);
  return url;
}

// The first of the folders that holds the resource, as a URL; NULL when none does. As on the
// platform, which lists the folders' entries, a symbolic link counts even when its target is gone.
CFURLRef FindResource(const std::vector<std::string>& folders, CFStringRef name, CFStringRef type,
                      CFStringRef subfolder) {
  for (const std::string& folder : folders) {
    std::string path = ResourcePath(folder, name, type, subfolder);
    if (path.empty()) return nullptr;
    struct stat info;
    if (lstat(path.c_str(), &info) == 0) return URLOfItem(path);
  }
  return nullptr;
}

// Compares two localization names as languages: "German", "de" and "de-DE" all have the
// language "de"; "de_DE" and "de-DE" are the same localization.
struct LanguageParts {
  std::string full;      // "de-DE"
  std::string language;  // "de"
};

LanguageParts PartsOf(const std::string& name) {
  LanguageParts parts;
  parts.full = zrp::CanonicalLanguageIdentifier(name);
  parts.language = parts.full.substr(0, std::min(parts.full.find('-'), parts.full.size()));
  return parts;
}

}  // namespace

__CFBundle::__CFBundle(std::string bundlePath) : Object(zrp::kTypeIDBundle), path(std::move(bundlePath)) {
  std::string contents = path + "/Contents";
  if (IsDirectory(contents)) {
    infoPlistPath = contents + "/Info.plist";
    resourcesPath = contents + "/Resources";
  } else {
    infoPlistPath = path + "/Info.plist";
    resourcesPath = path;
  }
}

__CFBundle::~__CFBundle() {
  if (infoDictionary) CFRelease(infoDictionary);
  for (auto& entry : localizedInfoValues) CFRelease(entry.second);
}

CFStringRef __CFBundle::copyDescription() const {
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("CFBundle %p <%s> (%s)"), static_cast<const void*>(this),
                                  path.c_str(), this == CFBundleGetMainBundle() ? "executable, loaded" : "not loaded");
}

namespace zrp {

CFBundleRef CreateBundleWithPath(const std::string& path) { return New<__CFBundle>(path); }

std::string BundlePathOfExecutable(const std::string& executablePath) {
  std::string folder = ParentPath(executablePath);
  std::string name = LastPathComponent(folder);
  if (name == "MacOS" || name == "Linux") {
    std::string contents = ParentPath(folder);
    if (LastPathComponent(contents) == "Contents") return ParentPath(contents);
  }
  return folder;
}

std::string ChooseLocalization(const std::vector<std::string>& available, const std::vector<std::string>& languages,
                               const std::string& developmentRegion) {
  if (available.empty()) return std::string();
  std::vector<LanguageParts> parts;
  for (const std::string& name : available) parts.push_back(PartsOf(name));
  auto match = [&](const std::string& wanted) -> const std::string* {
    LanguageParts want = PartsOf(wanted);
    if (want.language.empty()) return nullptr;
    for (size_t i = 0; i < parts.size(); ++i)
      if (parts[i].full == want.full) return &available[i];
    for (size_t i = 0; i < parts.size(); ++i)
      if (parts[i].full == want.language) return &available[i];
    for (size_t i = 0; i < parts.size(); ++i)
      if (parts[i].language == want.language) return &available[i];
    return nullptr;
  };
  for (const std::string& language : languages) {
    if (const std::string* found = match(language)) return *found;
  }
  if (!developmentRegion.empty()) {
    if (const std::string* found = match(developmentRegion)) return *found;
  }
  if (const std::string* found = match("en")) return *found;
  return available.front();
}

std::vector<size_t> PreferredLocalizationOrder(const std::vector<std::string>& available, const std::string& chosen) {
  std::vector<size_t> order;
  if (chosen.empty()) return order;
  LanguageParts want = PartsOf(chosen);
  auto take = [&](auto&& fits) {
    for (size_t i = 0; i < available.size(); ++i)
      if (std::find(order.begin(), order.end(), i) == order.end() && fits(i)) order.push_back(i);
  };
  // The localization chosen, then the names that mean the same localization ("en" and
  // "English", "en_GB" and "en-GB"), then, for a regional one, its bare language as the fallback
  // the strings come from when the regional table lacks them.
  take([&](size_t i) { return available[i] == chosen; });
  take([&](size_t i) { return PartsOf(available[i]).full == want.full; });
  if (want.full != want.language) take([&](size_t i) { return PartsOf(available[i]).full == want.language; });
  return order;
}

}  // namespace zrp

extern "C" {

const CFStringRef kCFBundleInfoDictionaryVersionKey = CFSTR("CFBundleInfoDictionaryVersion");
const CFStringRef kCFBundleExecutableKey = CFSTR("CFBundleExecutable");
const CFStringRef kCFBundleIdentifierKey = CFSTR("CFBundleIdentifier");
const CFStringRef kCFBundleVersionKey = CFSTR("CFBundleVersion");
const CFStringRef kCFBundleDevelopmentRegionKey = CFSTR("CFBundleDevelopmentRegion");
const CFStringRef kCFBundleNameKey = CFSTR("CFBundleName");
const CFStringRef kCFBundleLocalizationsKey = CFSTR("CFBundleLocalizations");

CFTypeID CFBundleGetTypeID(void) { return zrp::kTypeIDBundle; }

CFBundleRef CFBundleGetMainBundle(void) {
  return zrp::CatchOutOfMemory<CFBundleRef>(nullptr, [&]() -> CFBundleRef {
    static CFBundleRef mainBundle = []() -> CFBundleRef {
      char buffer[PATH_MAX];
      ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
      if (length <= 0) return nullptr;
      // The main bundle is part of the process, not of any test, so it bypasses the allocation seam.
      auto* bundle = new __CFBundle(zrp::BundlePathOfExecutable(std::string(buffer, static_cast<size_t>(length))));
      bundle->makeImmortal();
      return bundle;
    }();
    return mainBundle;
  });
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) {
  if (!bundle) return nullptr;
  CFStringRef path = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bundle->path.data()),
                                             static_cast<CFIndex>(bundle->path.size()), kCFStringEncodingUTF8, false);
  if (!path) return nullptr;
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, true);
  CFRelease(path);
  return url;
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle) {
  if (!bundle) return nullptr;
  {
    std::lock_guard<std::mutex> lock(bundle->mutex);
    if (bundle->infoDictionary) return bundle->infoDictionary;
  }
  CFDictionaryRef info = nullptr;
  std::string bytes;
  if (zrp::ReadWholeFile(bundle->infoPlistPath, &bytes)) info = zrp::CreateDictionaryFromPropertyListBytes(bytes);
  // A bundle without a readable information property list has an empty one. A file that could
  // not be read into memory this time is tried again on the next call.
  if (!info && access(bundle->infoPlistPath.c_str(), F_OK) != 0) {
    info = CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                              &kCFTypeDictionaryValueCallBacks);
  }
  if (!info) return nullptr;
  std::lock_guard<std::mutex> lock(bundle->mutex);
  if (bundle->infoDictionary) {
    // Another thread read it first.
    CFRelease(info);
  } else {
    bundle->infoDictionary = info;
  }
  return bundle->infoDictionary;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key) {
  if (!bundle || !key) return nullptr;
  CFDictionaryRef info = CFBundleGetInfoDictionary(bundle);
  CFTypeRef value = info ? CFDictionaryGetValue(info, key) : nullptr;
  std::shared_ptr<const zrp::StringsTable> table = FindTable(bundle, "InfoPlist");
  if (!table) return value;
  auto found = table->find(zrp::Chars(key));
  if (found == table->end()) return value;
  std::lock_guard<std::mutex> lock(bundle->mutex);
  std::u16string entry = zrp::Chars(key);
  entry.push_back(u'\0');
  entry += found->second;
  auto kept = bundle->localizedInfoValues.find(entry);
  if (kept != bundle->localizedInfoValues.end()) return kept->second;
  CFStringRef localized = zrp::CreateString(found->second);
  if (!localized) return value;
  bundle->localizedInfoValues.emplace(std::move(entry), localized);
  return localized;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle) {
  if (!bundle) return nullptr;
  return InfoString(bundle, kCFBundleIdentifierKey);
}

CFStringRef CFBundleGetDevelopmentRegion(CFBundleRef bundle) {
  if (!bundle) return nullptr;
  return InfoString(bundle, kCFBundleDevelopmentRegionKey);
}

CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle) {
  if (!bundle) return nullptr;
  std::vector<CFTypeRef> names;
  bool complete = true;
  for (const std::string& name : Localizations(bundle)) {
    CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(name.data()),
                                                 static_cast<CFIndex>(name.size()), kCFStringEncodingUTF8, false);
    if (!string) {
      complete = false;
      break;
    }
    names.push_back(string);
  }
  CFArrayRef array =
      complete ? CFArrayCreate(nullptr, names.data(), static_cast<CFIndex>(names.size()), &kCFTypeArrayCallBacks)
               : nullptr;
  for (CFTypeRef name : names) CFRelease(name);
  return array;
}

CFArrayRef CFBundleCopyPreferredLocalizationsFromArray(CFArrayRef locArray) {
  return zrp::CatchOutOfMemory<CFArrayRef>(nullptr, [&]() -> CFArrayRef {
    if (!locArray) return nullptr;
    std::vector<std::string> available;
    std::vector<CFTypeRef> originals;
    for (CFIndex i = 0, count = CFArrayGetCount(locArray); i < count; ++i) {
      CFTypeRef item = CFArrayGetValueAtIndex(locArray, i);
      if (!item || CFGetTypeID(item) != CFStringGetTypeID()) continue;
      available.push_back(zrp::ToUTF8(static_cast<CFStringRef>(item)));
      originals.push_back(item);
    }
    std::string developmentRegion;
    if (CFBundleRef main = CFBundleGetMainBundle()) {
      if (CFStringRef region = CFBundleGetDevelopmentRegion(main)) developmentRegion = zrp::ToUTF8(region);
    }
    std::vector<size_t> order = zrp::PreferredLocalizationOrder(
        available, zrp::ChooseLocalization(available, zrp::PreferredLanguages(), developmentRegion));
    std::vector<CFTypeRef> result;
    for (size_t i : order) result.push_back(originals[i]);
    return CFArrayCreate(nullptr, result.data(), static_cast<CFIndex>(result.size()), &kCFTypeArrayCallBacks);
  });
}

CFStringRef CFBundleCopyLocalizedString(CFBundleRef bundle, CFStringRef key, CFStringRef value, CFStringRef tableName) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    // Without a key there is nothing to look up: the value, else the empty string.
    if (!key) return static_cast<CFStringRef>(CFRetain(value ? value : CFSTR("")));
    if (bundle) {
      std::string table = tableName && CFStringGetLength(tableName) > 0 ? zrp::ToUTF8(tableName) : "Localizable";
      if (std::shared_ptr<const zrp::StringsTable> strings = FindTable(bundle, table)) {
        auto found = strings->find(zrp::Chars(key));
        if (found != strings->end()) return zrp::CreateString(found->second);
      }
    }
    CFStringRef fallback = value && CFStringGetLength(value) > 0 ? value : key;
    return static_cast<CFStringRef>(CFRetain(fallback));
  });
}

CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef resourceName, CFStringRef resourceType,
                                 CFStringRef subDirName) {
  if (!bundle || !resourceName) return nullptr;
  try {
    // The resources folder itself, then the localizations the strings tables would be read from,
    // then every other localization in name order.
    std::vector<std::string> folders{bundle->resourcesPath};
    for (const std::string& folder : TableFolders(bundle)) {
      if (folder != bundle->resourcesPath) folders.push_back(folder);
    }
    for (const std::string& localization : Localizations(bundle)) {
      std::string folder = bundle->resourcesPath + "/" + localization + ".lproj";
      if (std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(folder);
    }
    return FindResource(folders, resourceName, resourceType, subDirName);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CFURLRef CFBundleCopyResourceURLForLocalization(CFBundleRef bundle, CFStringRef resourceName, CFStringRef resourceType,
                                                CFStringRef subDirName, CFStringRef localizationName) {
  if (!bundle || !resourceName) return nullptr;
  try {
    std::vector<std::string> folders{bundle->resourcesPath};
    if (localizationName && CFStringGetLength(localizationName) > 0) {
      // The folder of that very name first, then one whose name means the same language and
      // region: "English" and "en", "German" and "de".
      std::string wanted = zrp::ToUTF8(localizationName);
      folders.push_back(bundle->resourcesPath + "/" + wanted + ".lproj");
      std::string canonical = zrp::CanonicalLanguageIdentifier(wanted);
      for (const std::string& localization : Localizations(bundle)) {
        if (localization != wanted && zrp::CanonicalLanguageIdentifier(localization) == canonical) {
          folders.push_back(bundle->resourcesPath + "/" + localization + ".lproj");
        }
      }
    }
    return FindResource(folders, resourceName, resourceType, subDirName);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // extern "C"
