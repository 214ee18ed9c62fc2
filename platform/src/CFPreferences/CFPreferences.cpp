// CFPreferences.cpp: application preferences. Each domain is one property-list file,
// "$XDG_CONFIG_HOME/<identifier>.plist" (XML or binary when read, XML when written), and the global
// domain is ".GlobalPreferences.plist" beside them, searched after the application's own domain.
//
// A domain is read once and kept in memory; values set by this process wait there, beside what
// the file held, until a synchronize. A synchronize takes an advisory lock on a lock file beside
// the domain, reads the file again, applies only this process's changed and removed keys, and
// replaces the file atomically; so processes that set different keys keep each other's, and a
// crash at any point leaves the old file or the new one. A synchronize with nothing to write
// reads the file again if another process replaced it, as reads do at most a second late. A file that cannot be parsed
// reads as empty and is moved aside to "<file>.corrupt" before the first write replaces it.
//
// "AppleLanguages", which the platform's global domain always holds, reads as the languages of the
// locale environment when no domain sets it.
#include <CoreFoundation/CFBundle.h>
#include <CoreFoundation/CFPreferences.h>
#include <CoreFoundation/CFPropertyList.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "CFBundle/BundleImpl.h"
#include "CFLocale/CurrentLocale.h"
#include "CFLocale/Languages.h"
#include "CFPreferences/PreferencesImpl.h"
#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"
#include "POSIX/Users.h"
#include "runtime/Files.h"

namespace zrp {
namespace {

constexpr char kGlobalDomain[] = ".GlobalPreferences";

bool IsAbsolute(const char* path) { return path && path[0] == '/'; }

// What tells one version of a file from the next.
struct FileStamp {
  bool exists = false;
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};

  static FileStamp Of(const struct stat& info) { return {true, info.st_dev, info.st_ino, info.st_size, info.st_mtim}; }
  bool operator==(const FileStamp& other) const {
    if (exists != other.exists) return false;
    return !exists || (device == other.device && inode == other.inode && size == other.size &&
                       modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec);
  }
};

// What a domain file holds.
enum class FileState {
  kMissing,     // no file: an empty domain
  kDictionary,  // a property list whose root is a dictionary
  kCorrupt,     // a regular file that holds no such property list: read as empty, kept aside on write
  kUnreadable,  // it could not be read (not a regular file, too large, an I/O error)
};

struct FileContents {
  FileState state = FileState::kMissing;
  FileStamp stamp;
  CFHolder dictionary;  // for kDictionary
};

// Reads a whole regular file of at most the property-list size limit; false otherwise.
bool ReadWhole(int fd, const struct stat& info, std::string* out) {
  if (!S_ISREG(info.st_mode) || info.st_size < 0 || static_cast<size_t>(info.st_size) > kMaxPropertyListBytes)
    return false;
  out->resize(static_cast<size_t>(info.st_size));
  size_t done = 0;
  while (done < out->size()) {
    ssize_t got = read(fd, out->data() + done, out->size() - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  out->resize(done);
  return true;
}

FileContents ReadDomainFile(const std::string& path) {
  FileContents contents;
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    contents.state = errno == ENOENT ? FileState::kMissing : FileState::kUnreadable;
    return contents;
  }
  struct stat info;
  std::string bytes;
  // The stamp is that of what was actually read, should the file change meanwhile.
  if (fstat(fd, &info) != 0 || !ReadWhole(fd, info, &bytes)) {
    close(fd);
    contents.state = FileState::kUnreadable;
    return contents;
  }
  close(fd);
  contents.stamp = FileStamp::Of(info);
  contents.dictionary = CFHolder(CreateDictionaryFromPropertyListBytes(bytes));
  contents.state = contents.dictionary ? FileState::kDictionary : FileState::kCorrupt;
  return contents;
}

// The stamp of the file at path now; a missing file has the stamp of no file.
bool CurrentStamp(const std::string& path, FileStamp* stamp) {
  struct stat info;
  if (stat(path.c_str(), &info) == 0) {
    *stamp = FileStamp::Of(info);
    return true;
  }
  *stamp = FileStamp();
  return errno == ENOENT;
}

bool WriteAll(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t wrote = write(fd, bytes.data() + done, bytes.size() - done);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) return false;
    done += static_cast<size_t>(wrote);
  }
  return true;
}

bool SyncFolder(const std::string& folder) {
  int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  bool ok = fsync(fd) == 0;
  close(fd);
  return ok;
}

// Makes the folder and those above it that are missing, each with mode 0700.
bool MakeFolders(const std::string& folder) {
  struct stat info;
  if (stat(folder.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
  if (errno != ENOENT) return false;
  std::string parent = zrp::ParentPath(folder);
  if (parent != folder && !MakeFolders(parent)) return false;
  return mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

// Replaces the file at path with bytes: a temporary file in the same folder, written and flushed
// to disk, renamed over it, and the folder flushed, so that the file is always whole. The new
// file's stamp goes to *stamp.
bool ReplaceFile(const std::string& path, const std::string& bytes, FileStamp* stamp) {
  std::string temporary = path + ".XXXXXX";
  int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info;
  bool ok = fchmod(fd, 0600) == 0 && WriteAll(fd, bytes) && fsync(fd) == 0 && fstat(fd, &info) == 0;
  ok = close(fd) == 0 && ok;
  if (ok && rename(temporary.c_str(), path.c_str()) == 0) {
    *stamp = FileStamp::Of(info);
    // The rename is done; a failure to flush the folder leaves either file whole, so it does not
    // undo the write.
    SyncFolder(zrp::ParentPath(path));
    return true;
  }
  unlink(temporary.c_str());
  return false;
}

// Holds an exclusive advisory lock on "<domain file>.lock" while alive.
class DomainLock {
 public:
  explicit DomainLock(const std::string& path) {
    fd_ = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0) return;
    while (flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) {
        close(fd_);
        fd_ = -1;
        return;
      }
    }
  }
  ~DomainLock() {
    if (fd_ >= 0) close(fd_);  // closing the only descriptor releases the lock
  }
  DomainLock(const DomainLock&) = delete;
  DomainLock& operator=(const DomainLock&) = delete;
  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

CFMutableDictionaryRef NewDictionary(CFDictionaryRef from) {
  return from ? CFDictionaryCreateMutableCopy(nullptr, 0, from)
              : CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

// Applies this process's changes: kCFNull marks a removed key.
void ApplyChanges(CFDictionaryRef changes, CFMutableDictionaryRef target) {
  CFDictionaryApplyFunction(
      changes,
      [](const void* key, const void* value, void* context) {
        auto* dictionary = static_cast<CFMutableDictionaryRef>(context);
        if (value == kCFNull) {
          CFDictionaryRemoveValue(dictionary, key);
        } else {
          CFDictionarySetValue(dictionary, key, value);
        }
      },
      target);
}

// One domain file and what this process has done to it.
struct Domain {
  explicit Domain(std::string filePath) : path(std::move(filePath)) {}

  const std::string path;
  std::mutex mutex;
  // Everything below is guarded by mutex.
  bool loaded = false;
  FileContents file;  // the file as last read or written
  // What reads see: the file's values with the changes applied. While there are no changes it is
  // the file's own dictionary (or NULL for none), shared rather than copied.
  CFDictionaryRef view = nullptr;
  bool viewIsCopy = false;
  CFMutableDictionaryRef changes = nullptr;         // keys set (value) or removed (kCFNull) since the last write
  std::chrono::steady_clock::time_point checkedAt;  // when the file was last compared with the disk

  bool hasChanges() const { return changes && CFDictionaryGetCount(changes) > 0; }

  // Reads the file if it has not been read yet; false when memory runs out.
  bool load() {
    if (loaded) return true;
    return replaceFile(ReadDomainFile(path));
  }

  // Takes new file contents: the view is built again from them with the changes on top.
  bool replaceFile(FileContents contents) {
    auto fileDictionary =
        static_cast<CFDictionaryRef>(contents.state == FileState::kDictionary ? contents.dictionary.get() : nullptr);
    CFDictionaryRef newView = nullptr;
    if (hasChanges()) {
      CFMutableDictionaryRef copy = NewDictionary(fileDictionary);
      if (!copy) return false;
      ApplyChanges(changes, copy);
      newView = copy;
    } else if (fileDictionary) {
      newView = static_cast<CFDictionaryRef>(CFRetain(fileDictionary));
    }
    if (view) CFRelease(view);
    view = newView;
    viewIsCopy = hasChanges();
    file = std::move(contents);
    loaded = true;
    checkedAt = std::chrono::steady_clock::now();
    return true;
  }

  // Reads the file again when another process replaced it; false when it cannot be read.
  bool refresh() {
    checkedAt = std::chrono::steady_clock::now();
    FileStamp now;
    if (CurrentStamp(path, &now) && now == file.stamp) return true;
    FileContents contents = ReadDomainFile(path);
    if (contents.state == FileState::kUnreadable) return false;
    return replaceFile(std::move(contents));
  }

  // The value under key, lent; other processes' changes are taken up at most a second late.
  CFTypeRef value(CFStringRef key) {
    if (!load()) return nullptr;
    if (std::chrono::steady_clock::now() - checkedAt >= std::chrono::seconds(1)) refresh();
    return view ? CFDictionaryGetValue(view, key) : nullptr;
  }

  void set(CFStringRef key, CFTypeRef value) {
    if (!load()) return;
    if (!changes) {
      changes = NewDictionary(nullptr);
      if (!changes) return;
    }
    if (!viewIsCopy) {
      CFMutableDictionaryRef copy = NewDictionary(view);
      if (!copy) return;
      if (view) CFRelease(view);
      view = copy;
      viewIsCopy = true;
    }
    auto* mutableView = static_cast<CFMutableDictionaryRef>(const_cast<void*>(static_cast<const void*>(view)));
    if (value) {
      CFDictionarySetValue(changes, key, value);
      CFDictionarySetValue(mutableView, key, value);
    } else {
      CFDictionarySetValue(changes, key, kCFNull);
      CFDictionaryRemoveValue(mutableView, key);
    }
  }

  bool synchronize() {
    if (!load()) return false;
    // Nothing of ours to write: take up what other processes wrote meanwhile.
    if (!hasChanges()) return refresh();
    return writeChanges();
  }

  bool writeChanges() {
    if (!MakeFolders(zrp::ParentPath(path))) return false;
    DomainLock lock(path);
    if (!lock.held()) return false;

    // What the file holds now, under the lock: what other processes wrote since this one read it.
    FileContents current;
    FileStamp now;
    if (CurrentStamp(path, &now) && now == file.stamp && file.state != FileState::kUnreadable) {
      current.state = file.state;
      current.stamp = file.stamp;
      if (file.dictionary) current.dictionary = CFHolder(CFRetain(file.dictionary.get()));
    } else {
      current = ReadDomainFile(path);
    }
    // Writing over a file that could not be read would lose what it holds.
    if (current.state == FileState::kUnreadable) return false;

    CFHolder merged(NewDictionary(static_cast<CFDictionaryRef>(current.dictionary.get())));
    if (!merged) return false;
    auto* mergedDictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(merged.get()));
    ApplyChanges(changes, mergedDictionary);

    if (current.state == FileState::kDictionary && CFEqual(merged.get(), current.dictionary.get())) {
      // The file already holds every change: nothing to write.
      CFDictionaryRemoveAllValues(changes);
      return replaceFile(std::move(current));
    }

    std::string bytes;
    if (!WriteXMLPropertyList(merged.get(), &bytes)) return false;
    if (current.state == FileState::kCorrupt) {
      // Kept for the user rather than silently replaced.
      if (rename(path.c_str(), (path + ".corrupt").c_str()) != 0) return false;
    }
    FileContents written;
    if (!ReplaceFile(path, bytes, &written.stamp)) return false;
    written.state = FileState::kDictionary;
    written.dictionary = std::move(merged);
    CFDictionaryRemoveAllValues(changes);
    return replaceFile(std::move(written));
  }
};

// Domains by file path. Never destroyed: preferences may be used while other static objects are
// torn down.
std::mutex gDomainsMutex;
std::unordered_map<std::string, std::unique_ptr<Domain>>& Domains() {
  static auto* domains = new std::unordered_map<std::string, std::unique_ptr<Domain>>();
  return *domains;
}

// The domain for a file; NULL for an empty path.
Domain* DomainAt(const std::string& path) {
  if (path.empty()) return nullptr;
  std::lock_guard<std::mutex> lock(gDomainsMutex);
  auto& domains = Domains();
  auto found = domains.find(path);
  if (found != domains.end()) return found->second.get();
  return domains.emplace(path, std::make_unique<Domain>(path)).first->second.get();
}

// The current application's and the global domain for the environment they were last looked up
// in, so that the frequent reads of the current application skip building their paths. The folder
// depends only on XDG_CONFIG_HOME and HOME.
struct CurrentDomains {
  std::mutex mutex;
  bool valid = false;
  bool configSet = false;
  bool homeSet = false;
  std::string config;
  std::string home;
  Domain* application = nullptr;
  Domain* global = nullptr;

  static bool Same(bool set, const std::string& kept, const char* now) { return now ? set && kept == now : !set; }
  bool matches(const char* configNow, const char* homeNow) const {
    return valid && Same(configSet, config, configNow) && Same(homeSet, home, homeNow);
  }
};

// The domain an application identifier names: its own, the global one for
// kCFPreferencesAnyApplication. NULL when it has no file (no home folder, a bad identifier).
Domain* ResolveDomain(CFStringRef applicationID, bool* isGlobal) {
  *isGlobal = applicationID == kCFPreferencesAnyApplication || CFEqual(applicationID, kCFPreferencesAnyApplication);
  bool isCurrent = !*isGlobal && (applicationID == kCFPreferencesCurrentApplication ||
                                  CFEqual(applicationID, kCFPreferencesCurrentApplication));
  if (*isGlobal || isCurrent) {
    static CurrentDomains* current = new CurrentDomains();
    const char* configNow = std::getenv("XDG_CONFIG_HOME");
    const char* homeNow = std::getenv("HOME");
    std::lock_guard<std::mutex> lock(current->mutex);
    if (!current->matches(configNow, homeNow)) {
      current->configSet = configNow != nullptr;
      current->config = configNow ? configNow : "";
      current->homeSet = homeNow != nullptr;
      current->home = homeNow ? homeNow : "";
      current->application = DomainAt(DomainPath(CurrentApplicationIdentifier()));
      current->global = DomainAt(DomainPath(kGlobalDomain));
      // Another folder holds other settings, the locale's among them.
      LocaleSettingsChanged();
      // Looked up again next time when either is missing (no home folder, no identifier yet).
      current->valid = current->application && current->global;
    }
    return *isGlobal ? current->global : current->application;
  }
  return DomainAt(DomainPath(ToUTF8(applicationID)));
}

Domain* GlobalDomain() {
  bool isGlobal;
  return ResolveDomain(kCFPreferencesAnyApplication, &isGlobal);
}

CFTypeRef CopyDomainValue(Domain* domain, CFStringRef key) {
  if (!domain) return nullptr;
  std::lock_guard<std::mutex> lock(domain->mutex);
  if (!domain->load()) return nullptr;
  CFTypeRef value = domain->value(key);
  return value ? CFRetain(value) : nullptr;
}

// The user's languages as the environment gives them, as an array of strings; NULL without memory.
CFArrayRef CopyEnvironmentLanguages() {
  std::vector<std::string> languages = EnvironmentLanguages();
  std::vector<CFTypeRef> strings;
  strings.reserve(languages.size());
  for (const std::string& language : languages) {
    CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(language.data()),
                                                 static_cast<CFIndex>(language.size()), kCFStringEncodingUTF8, false);
    if (!string) break;
    strings.push_back(string);
  }
  CFArrayRef array =
      strings.size() == languages.size()
          ? CFArrayCreate(nullptr, strings.data(), static_cast<CFIndex>(strings.size()), &kCFTypeArrayCallBacks)
          : nullptr;
  for (CFTypeRef string : strings) CFRelease(string);
  return array;
}

}  // namespace

CFPropertyListRef CopyStoredAppValue(CFStringRef key, CFStringRef applicationID) {
  bool isGlobal;
  Domain* domain = ResolveDomain(applicationID, &isGlobal);
  if (CFTypeRef value = CopyDomainValue(domain, key)) return value;
  return isGlobal ? nullptr : CopyDomainValue(GlobalDomain(), key);
}

void ForgetPreferencesInMemory() {
  std::lock_guard<std::mutex> lock(gDomainsMutex);
  for (auto& entry : Domains()) {
    Domain& domain = *entry.second;
    std::lock_guard<std::mutex> domainLock(domain.mutex);
    if (domain.view) CFRelease(domain.view);
    if (domain.changes) CFRelease(domain.changes);
    domain.view = nullptr;
    domain.viewIsCopy = false;
    domain.changes = nullptr;
    domain.file = FileContents();
    domain.loaded = false;
  }
}

std::string PreferencesDirectory() {
  // A relative XDG_CONFIG_HOME is invalid and ignored, as the base directory rules say.
  const char* configured = std::getenv("XDG_CONFIG_HOME");
  if (IsAbsolute(configured)) return configured;
  std::string home;
  return HomeFolder(&home) ? home + "/.config" : std::string();
}

namespace {

// The identifier for an executable, by the main bundle's rule: the CFBundleIdentifier of the
// information property list of the bundle it lies in. False when that file exists but could not
// be read or parsed this time (memory may have run out): the answer is then the executable's name
// and must not be kept. The bundle object is a local one, so no bundle keeps the parsed file.
bool IdentifierOfExecutable(const std::string& path, std::string* identifier) {
  *identifier = zrp::LastPathComponent(path);
  __CFBundle bundle(BundlePathOfExecutable(path));
  std::string bytes;
  int fd = open(bundle.infoPlistPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT || errno == ENOTDIR;
  struct stat info;
  bool read = fstat(fd, &info) == 0 && ReadWhole(fd, info, &bytes);
  close(fd);
  if (!read) return false;
  CFHolder plist(CreateDictionaryFromPropertyListBytes(bytes));
  if (!plist) return false;
  CFTypeRef value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(plist.get()), kCFBundleIdentifierKey);
  if (value && CFGetTypeID(value) == CFStringGetTypeID()) {
    std::string text = ToUTF8(static_cast<CFStringRef>(value));
    if (!text.empty()) *identifier = text;
  }
  return true;
}

}  // namespace

std::string ApplicationIdentifierForExecutable(const std::string& path) {
  std::string identifier;
  IdentifierOfExecutable(path, &identifier);
  return identifier;
}

std::string CurrentApplicationIdentifier() {
  static std::mutex mutex;
  static std::string* kept = nullptr;
  std::lock_guard<std::mutex> lock(mutex);
  if (kept) return *kept;
  std::vector<char> buffer(4096);
  ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length <= 0 || static_cast<size_t>(length) >= buffer.size()) return std::string();
  std::string identifier;
  if (!IdentifierOfExecutable(std::string(buffer.data(), static_cast<size_t>(length)), &identifier)) {
    // Not kept, and no domain this time rather than the wrong one.
    return std::string();
  }
  kept = new std::string(identifier);
  return *kept;
}

std::string DomainPath(const std::string& identifier) {
  if (identifier.empty() || identifier == "." || identifier == ".." ||
      identifier.find_first_of(std::string("/\0", 2)) != std::string::npos)
    return std::string();
  std::string directory = PreferencesDirectory();
  if (directory.empty()) return directory;
  return directory + "/" + identifier + ".plist";
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
  try {
    if (CFPropertyListRef value = zrp::CopyStoredAppValue(key, applicationID)) return value;
    return CFEqual(key, CFSTR("AppleLanguages")) ? zrp::CopyEnvironmentLanguages() : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID) {
  if (!key || !applicationID) return;
  // Only what a property-list file can hold is kept; anything else could never be written.
  if (value && !CFPropertyListIsValid(value, kCFPropertyListXMLFormat_v1_0)) return;
  try {
    bool isGlobal;
    zrp::Domain* domain = zrp::ResolveDomain(applicationID, &isGlobal);
    if (!domain) return;
    {
      std::lock_guard<std::mutex> lock(domain->mutex);
      domain->set(key, value);
    }
    // The current locale reads the preferences ("AppleLocale").
    zrp::LocaleSettingsChanged();
  } catch (const std::bad_alloc&) {
  }
}

Boolean CFPreferencesAppSynchronize(CFStringRef applicationID) {
  if (!applicationID) return false;
  try {
    bool isGlobal;
    zrp::Domain* domain = zrp::ResolveDomain(applicationID, &isGlobal);
    if (!domain) return false;
    zrp::LocaleSettingsChanged();
    std::lock_guard<std::mutex> lock(domain->mutex);
    return domain->synchronize();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName, CFStringRef hostName) {
  if (!applicationID || !userName || !hostName) return nullptr;
  // Only the current user's preferences for any host are kept on this system.
  if (!CFEqual(userName, kCFPreferencesCurrentUser) || !CFEqual(hostName, kCFPreferencesAnyHost)) return nullptr;
  try {
    bool isGlobal;
    zrp::Domain* domain = zrp::ResolveDomain(applicationID, &isGlobal);
    if (!domain) return nullptr;
    std::lock_guard<std::mutex> lock(domain->mutex);
    if (!domain->load()) return nullptr;
    CFIndex count = domain->view ? CFDictionaryGetCount(domain->view) : 0;
    if (count == 0) return nullptr;
    std::vector<const void*> keys(static_cast<size_t>(count));
    CFDictionaryGetKeysAndValues(domain->view, keys.data(), nullptr);
    return CFArrayCreate(nullptr, keys.data(), count, &kCFTypeArrayCallBacks);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CFArrayRef CFPreferencesCopyApplicationList(CFStringRef userName, CFStringRef hostName) {
  if (!userName || !hostName) return nullptr;
  if (!CFEqual(userName, kCFPreferencesCurrentUser) || !CFEqual(hostName, kCFPreferencesAnyHost)) return nullptr;
  try {
    std::vector<CFTypeRef> names;
    std::string folder = zrp::PreferencesDirectory();
    if (DIR* directory = folder.empty() ? nullptr : opendir(folder.c_str())) {
      while (dirent* entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name.size() <= 6 || !name.ends_with(".plist") || name == std::string(zrp::kGlobalDomain) + ".plist")
          continue;
        name.resize(name.size() - 6);
        if (CFStringRef string =
                CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(name.data()),
                                        static_cast<CFIndex>(name.size()), kCFStringEncodingUTF8, false))
          names.push_back(string);
      }
      closedir(directory);
    }
    CFArrayRef array = CFArrayCreate(nullptr, names.data(), static_cast<CFIndex>(names.size()), &kCFTypeArrayCallBacks);
    for (CFTypeRef name : names) CFRelease(name);
    return array;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // extern "C"
