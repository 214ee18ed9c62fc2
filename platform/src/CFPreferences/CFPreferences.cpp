// CFPreferences.cpp: reading application preferences. Each domain is one property-list file,
// "$XDG_CONFIG_HOME/<identifier>.plist" (XML or binary), and the global domain is
// ".GlobalPreferences.plist" beside them, searched after the application's own domain.
// Files are kept parsed in memory and read again only when they change on disk.
#include <CoreFoundation/CFPreferences.h>
#include <CoreFoundation/CFPropertyList.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "CFPreferences/PreferencesImpl.h"
#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"

namespace zrp {
namespace {

constexpr char kGlobalDomain[] = ".GlobalPreferences";

bool IsAbsolute(const char* path) { return path && path[0] == '/'; }

std::string HomeDirectory() {
  const char* home = std::getenv("HOME");
  if (IsAbsolute(home)) return home;
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && IsAbsolute(found->pw_dir))
    return found->pw_dir;
  return std::string();
}

// Reads a whole regular file of at most the property-list size limit; false otherwise.
bool ReadFile(int fd, const struct stat& info, std::string* out) {
  if (!S_ISREG(info.st_mode) || info.st_size < 0 || static_cast<size_t>(info.st_size) > kMaxPropertyListBytes)
    return false;
  out->resize(static_cast<size_t>(info.st_size));
  size_t done = 0;
  while (done < out->size()) {
    ssize_t got = read(fd, out->data() + done, out->size() - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  out->resize(done);
  return true;
}

// The dictionary in a property-list file, or NULL.
CFDictionaryRef CopyFileDictionary(int fd, const struct stat& info) {
  std::string bytes;
  if (!ReadFile(fd, info, &bytes)) return nullptr;
  return CreateDictionaryFromPropertyListBytes(bytes);
}

// What tells one version of a file from the next.
struct FileStamp {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};

  static FileStamp Of(const struct stat& info) { return {info.st_dev, info.st_ino, info.st_size, info.st_mtim}; }
  bool operator==(const FileStamp& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

struct CachedDomain {
  FileStamp stamp;
  CFDictionaryRef dictionary = nullptr;  // NULL: the file holds no dictionary
};

std::mutex gCacheMutex;

std::unordered_map<std::string, CachedDomain>& Cache() {
  // Never destroyed: preferences may be read while other static objects are torn down.
  static auto* cache = new std::unordered_map<std::string, CachedDomain>();
  return *cache;
}

CFDictionaryRef RetainOrNull(CFDictionaryRef dictionary) {
  return dictionary ? static_cast<CFDictionaryRef>(CFRetain(dictionary)) : nullptr;
}

}  // namespace

std::string PreferencesDirectory() {
  // A relative XDG_CONFIG_HOME is invalid and ignored, as the base directory rules say.
  const char* configured = std::getenv("XDG_CONFIG_HOME");
  if (IsAbsolute(configured)) return configured;
  std::string home = HomeDirectory();
  return home.empty() ? home : home + "/.config";
}

std::string ApplicationIdentifierForExecutable(const std::string& path) {
  size_t slash = path.rfind('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (slash == std::string::npos) return name;
  std::string folder = path.substr(0, slash);  // .../<Name>.app/Contents/MacOS
  size_t folderSlash = folder.rfind('/');
  if (folderSlash == std::string::npos) return name;
  std::string folderName = folder.substr(folderSlash + 1);
  std::string contents = folder.substr(0, folderSlash);  // .../<Name>.app/Contents
  const std::string kContents = "/Contents";
  const std::string kApp = ".app";
  if ((folderName != "MacOS" && folderName != "Linux") || contents.size() < kContents.size() + kApp.size() ||
      contents.compare(contents.size() - kContents.size(), kContents.size(), kContents) != 0 ||
      contents.compare(contents.size() - kContents.size() - kApp.size(), kApp.size(), kApp) != 0)
    return name;
  std::string infoPath = contents + "/Info.plist";
  int fd = open(infoPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return name;
  struct stat info;
  CFDictionaryRef plist = fstat(fd, &info) == 0 ? CopyFileDictionary(fd, info) : nullptr;
  close(fd);
  if (!plist) return name;
  std::string identifier;
  CFTypeRef value = CFDictionaryGetValue(plist, CFSTR("CFBundleIdentifier"));
  if (value && CFGetTypeID(value) == CFStringGetTypeID()) identifier = ToUTF8(static_cast<CFStringRef>(value));
  CFRelease(plist);
  return identifier.empty() ? name : identifier;
}

std::string CurrentApplicationIdentifier() {
  static const std::string identifier = [] {
    std::vector<char> buffer(4096);
    ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (length <= 0 || static_cast<size_t>(length) >= buffer.size()) return std::string();
    return ApplicationIdentifierForExecutable(std::string(buffer.data(), static_cast<size_t>(length)));
  }();
  return identifier;
}

std::string DomainPath(const std::string& identifier) {
  if (identifier.empty() || identifier == "." || identifier == ".." ||
      identifier.find_first_of(std::string("/\0", 2)) != std::string::npos)
    return std::string();
  std::string directory = PreferencesDirectory();
  if (directory.empty()) return directory;
  return directory + "/" + identifier + ".plist";
}

CFDictionaryRef CopyDomainDictionary(const std::string& path) {
  if (path.empty()) return nullptr;
  std::lock_guard<std::mutex> lock(gCacheMutex);
  auto& cache = Cache();
  struct stat info;
  if (stat(path.c_str(), &info) != 0) {
    auto found = cache.find(path);
    if (found != cache.end()) {
      if (found->second.dictionary) CFRelease(found->second.dictionary);
      cache.erase(found);
    }
    return nullptr;
  }
  auto found = cache.find(path);
  if (found != cache.end() && found->second.stamp == FileStamp::Of(info)) return RetainOrNull(found->second.dictionary);

  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  CFDictionaryRef dictionary = nullptr;
  // The stamp of what was actually read, should the file have changed since the stat.
  if (fstat(fd, &info) == 0) dictionary = CopyFileDictionary(fd, info);
  close(fd);
  CachedDomain& entry = cache[path];
  if (entry.dictionary) CFRelease(entry.dictionary);
  entry.stamp = FileStamp::Of(info);
  entry.dictionary = dictionary;
  return RetainOrNull(entry.dictionary);
}

}  // namespace zrp

extern "C" {

const CFStringRef kCFPreferencesAnyApplication = CFSTR("kCFPreferencesAnyApplication");
const CFStringRef kCFPreferencesCurrentApplication = CFSTR("kCFPreferencesCurrentApplication");
const CFStringRef kCFPreferencesAnyHost = CFSTR("kCFPreferencesAnyHost");
const CFStringRef kCFPreferencesCurrentHost = CFSTR("kCFPreferencesCurrentHost");
const CFStringRef kCFPreferencesAnyUser = CFSTR("kCFPreferencesAnyUser");
const CFStringRef kCFPreferencesCurrentUser = CFSTR("kCFPreferencesCurrentUser");

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID) {
  if (!key || !applicationID) return nullptr;
  std::vector<std::string> domains;
  if (CFEqual(applicationID, kCFPreferencesCurrentApplication)) {
    domains.push_back(zrp::CurrentApplicationIdentifier());
  } else if (!CFEqual(applicationID, kCFPreferencesAnyApplication)) {
    domains.push_back(zrp::ToUTF8(applicationID));
  }
  domains.push_back(zrp::kGlobalDomain);
  for (const std::string& identifier : domains) {
    CFDictionaryRef dictionary = zrp::CopyDomainDictionary(zrp::DomainPath(identifier));
    if (!dictionary) continue;
    CFTypeRef value = CFDictionaryGetValue(dictionary, key);
    if (value) CFRetain(value);
    CFRelease(dictionary);
    if (value) return value;
  }
  return nullptr;
}

}  // extern "C"
