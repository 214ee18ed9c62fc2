// LaunchServices.cpp: Launch Services over application bundles in folders: finding an
// application by signature, identifier or name, and starting its executable detached from the
// caller in a session of its own.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <CoreServices/LaunchServices.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "CFBundle/BundleImpl.h"
#include "Processes/ProcessTable.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

// The folders searched for applications, the user's before the system's.
std::vector<std::string> ApplicationFolders() {
  std::vector<std::string> folders;
  if (const char* list = std::getenv("ZR_APPLICATION_FOLDERS")) {
    std::string text(list);
    size_t start = 0;
    while (start <= text.size()) {
      size_t end = text.find(':', start);
      if (end == std::string::npos) end = text.size();
      if (end > start) folders.push_back(text.substr(start, end - start));
      start = end + 1;
    }
    return folders;
  }
  const char* home = std::getenv("HOME");
  if (home && *home) folders.push_back(std::string(home) + "/Applications");
  folders.push_back("/usr/local/Applications");
  folders.push_back("/Applications");
  return folders;
}

// The "*.app" folders and the other (visible) folders directly inside folder, each in name order.
void ListFolder(const fs::path& folder, std::vector<fs::path>* bundles, std::vector<fs::path>* others) {
  std::error_code error;
  fs::directory_iterator entries(folder, error);
  if (error) return;
  for (const fs::directory_entry& entry : entries) {
    std::error_code kindError;
    if (!entry.is_directory(kindError)) continue;
    std::string name = entry.path().filename().string();
    if (entry.path().extension() == ".app") {
      bundles->push_back(entry.path());
    } else if (others && !name.empty() && name[0] != '.') {
      others->push_back(entry.path());
    }
  }
  std::sort(bundles->begin(), bundles->end());
  if (others) std::sort(others->begin(), others->end());
}

// Every application bundle of the folders, in search order: a folder's own bundles, then those
// of its subfolders.
std::vector<fs::path> ApplicationBundles() {
  std::vector<fs::path> found;
  for (const std::string& folder : ApplicationFolders()) {
    std::vector<fs::path> bundles, subfolders;
    ListFolder(folder, &bundles, &subfolders);
    found.insert(found.end(), bundles.begin(), bundles.end());
    for (const fs::path& subfolder : subfolders) {
      std::vector<fs::path> nested;
      ListFolder(subfolder, &nested, nullptr);
      found.insert(found.end(), nested.begin(), nested.end());
    }
  }
  return found;
}

bool SameText(CFStringRef a, const std::string& utf8) {
  CFStringRef b = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                          static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
  if (!b) throw std::bad_alloc();
  bool same = CFStringCompare(a, b, kCFCompareCaseInsensitive) == kCFCompareEqualTo;
  CFRelease(b);
  return same;
}

bool Matches(const fs::path& bundlePath, OSType creator, CFStringRef bundleID, CFStringRef name) {
  if (name) {
    std::string folderName = bundlePath.filename().string();
    if (!SameText(name, folderName) && !SameText(name, bundlePath.stem().string())) return false;
  }
  if (creator != kLSUnknownCreator && zrp::SignatureOfBundle(bundlePath.string()) != creator) return false;
  if (bundleID) {
    CFBundleRef bundle = zrp::CreateBundleWithPath(bundlePath.string());
    if (!bundle) throw std::bad_alloc();
    CFStringRef identifier = CFBundleGetIdentifier(bundle);
    bool same = identifier && CFStringCompare(identifier, bundleID, kCFCompareCaseInsensitive) == kCFCompareEqualTo;
    CFRelease(bundle);
    if (!same) return false;
  }
  return true;
}

std::string StringValue(CFStringRef string) {
  CFIndex length = CFStringGetLength(string);
  CFIndex size = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
  std::string text(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(string, text.data(), size, kCFStringEncodingUTF8)) return std::string();
  text.resize(std::strlen(text.c_str()));
  return text;
}

// The executable of the bundle: "CFBundleExecutable" (else the bundle's own name) in
// Contents/MacOS/, else in Contents/Linux/; "" when there is none.
std::string ExecutableOfBundle(const fs::path& bundlePath) {
  std::string name = bundlePath.stem().string();
  CFBundleRef bundle = zrp::CreateBundleWithPath(bundlePath.string());
  if (!bundle) throw std::bad_alloc();
  CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleExecutable"));
  if (value && CFGetTypeID(value) == CFStringGetTypeID()) name = StringValue(static_cast<CFStringRef>(value));
  CFRelease(bundle);
  if (name.empty() || name.find('/') != std::string::npos) return std::string();
  for (const char* folder : {"MacOS", "Linux"}) {
    fs::path candidate = bundlePath / "Contents" / folder / name;
    std::error_code error;
    if (fs::is_regular_file(candidate, error)) return candidate.string();
  }
  return std::string();
}

// The running process of the bundle with the lowest process id; false when none runs.
bool RunningInstance(const std::string& bundlePath, ProcessSerialNumber* psn) {
  for (pid_t pid : zrp::ProcessIDs()) {
    zrp::ProcessEntry entry;
    if (zrp::ReadProcess(pid, &entry) && entry.bundlePath == bundlePath) {
      *psn = zrp::SerialNumberOf(entry);
      return true;
    }
  }
  return false;
}

// Launch Services' status for an error number of starting the application: the file manager's
// statuses do not apply here.
OSStatus LaunchStatusOfErrno(int error) {
  switch (error) {
    case ENOENT:
    case EACCES:
    case ENOEXEC:
    case ENOTDIR:
    case ELOOP:
    case EISDIR:
      return kLSNoExecutableErr;
    case ENOMEM:
    case EAGAIN:
      return memFullErr;
    default:
      return kLSUnknownErr;
  }
}

// The launched program's arguments (the executable's path first) and environment (the caller's,
// with the parameters' entries put in). False for a value that is not a string.
bool LaunchArguments(const LSApplicationParameters& params, const std::string& executable,
                     std::vector<std::string>* arguments, std::vector<std::string>* environment) {
  arguments->push_back(executable);
  if (params.argv) {
    for (CFIndex i = 0, count = CFArrayGetCount(params.argv); i < count; ++i) {
      CFTypeRef value = CFArrayGetValueAtIndex(params.argv, i);
      if (!value || CFGetTypeID(value) != CFStringGetTypeID()) return false;
      arguments->push_back(StringValue(static_cast<CFStringRef>(value)));
    }
  }
  std::vector<std::string> added;
  if (params.environment) {
    CFIndex count = CFDictionaryGetCount(params.environment);
    std::vector<const void*> keys(static_cast<size_t>(count)), values(static_cast<size_t>(count));
    CFDictionaryGetKeysAndValues(params.environment, keys.data(), values.data());
    for (CFIndex i = 0; i < count; ++i) {
      CFTypeRef key = keys[static_cast<size_t>(i)], value = values[static_cast<size_t>(i)];
      if (!key || !value || CFGetTypeID(key) != CFStringGetTypeID() || CFGetTypeID(value) != CFStringGetTypeID()) {
        return false;
      }
      added.push_back(StringValue(static_cast<CFStringRef>(key)) + "=" + StringValue(static_cast<CFStringRef>(value)));
    }
  }
  for (char** variable = environ; variable && *variable; ++variable) {
    std::string entry(*variable);
    std::string name = entry.substr(0, entry.find('='));
    bool replaced = std::any_of(added.begin(), added.end(), [&](const std::string& item) {
      return item.compare(0, name.size() + 1, name + "=") == 0;
    });
    if (!replaced) environment->push_back(entry);
  }
  environment->insert(environment->end(), added.begin(), added.end());
  return true;
}

// Starts the executable in a new session, as the child of a short-lived intermediate process so
// that it is nobody's child here: the caller neither waits for it nor is signalled when it ends.
// Standard input, output and error are /dev/null; signals start with their defaults, unblocked.
OSStatus SpawnDetached(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                       pid_t* outPid) {
  std::vector<char*> argv, envp;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  for (const std::string& variable : environment) envp.push_back(const_cast<char*>(variable.c_str()));
  envp.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  if (posix_spawn_file_actions_init(&actions) != 0) return memFullErr;
  if (posix_spawnattr_init(&attributes) != 0) {
    posix_spawn_file_actions_destroy(&actions);
    return memFullErr;
  }
  int fds[2] = {-1, -1};
  OSStatus status = noErr;
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  if (posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0) != 0 ||
      posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0) != 0 ||
      posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0) != 0 ||
      posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) != 0 ||
      posix_spawnattr_setsigmask(&attributes, &none) != 0 || posix_spawnattr_setsigdefault(&attributes, &all) != 0) {
    status = memFullErr;
  } else if (pipe2(fds, O_CLOEXEC) != 0) {
    status = LaunchStatusOfErrno(errno);
  } else {
    pid_t intermediate = fork();
    if (intermediate == 0) {
      // Only async-signal-safe work here, and posix_spawn, which allocates nothing.
      pid_t child = -1;
      int result = posix_spawn(&child, argv[0], &actions, &attributes, argv.data(), envp.data());
      long message[2] = {result, static_cast<long>(child)};
      ssize_t written = write(fds[1], message, sizeof message);
      _exit(written == static_cast<ssize_t>(sizeof message) ? 0 : 1);
    }
    int forkError = errno;
    close(fds[1]);
    if (intermediate < 0) {
      status = LaunchStatusOfErrno(forkError);
    } else {
      long message[2] = {0, 0};
      size_t got = 0;
      while (got < sizeof message) {
        ssize_t n = read(fds[0], reinterpret_cast<char*>(message) + got, sizeof message - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += static_cast<size_t>(n);
      }
      while (waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
      }
      if (got != sizeof message) {
        status = kLSUnknownErr;
      } else if (message[0] != 0) {
        status = LaunchStatusOfErrno(static_cast<int>(message[0]));
      } else {
        *outPid = static_cast<pid_t>(message[1]);
      }
    }
    close(fds[0]);
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return status;
}

}  // namespace

OSStatus LSFindApplicationForInfo(OSType inCreator, CFStringRef inBundleID, CFStringRef inName, FSRef* outAppRef,
                                  CFURLRef* outAppURL) {
  if (inCreator == kLSUnknownCreator && !inBundleID && !inName) return paramErr;
  if (!outAppRef && !outAppURL) return paramErr;
  try {
    for (const fs::path& bundlePath : ApplicationBundles()) {
      if (!Matches(bundlePath, inCreator, inBundleID, inName)) continue;
      std::string path = bundlePath.string();
      if (outAppRef) {
        OSStatus status = FSPathMakeRef(reinterpret_cast<const UInt8*>(path.c_str()), outAppRef, nullptr);
        if (status != noErr) return status;
      }
      if (outAppURL) {
        CFStringRef pathString =
            CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(path.data()),
                                    static_cast<CFIndex>(path.size()), kCFStringEncodingUTF8, false);
        if (!pathString) return memFullErr;
        *outAppURL = CFURLCreateWithFileSystemPath(nullptr, pathString, kCFURLPOSIXPathStyle, true);
        CFRelease(pathString);
        if (!*outAppURL) return memFullErr;
      }
      return noErr;
    }
    return kLSApplicationNotFoundErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

OSStatus LSOpenApplication(const LSApplicationParameters* appParams, ProcessSerialNumber* outPSN) {
  if (!appParams || appParams->version != 0 || !appParams->application || appParams->initialEvent) return paramErr;
  try {
    UInt8 path[PATH_MAX];
    OSStatus status = FSRefMakePath(appParams->application, path, sizeof path);
    if (status != noErr) return status;
    std::error_code error;
    fs::path bundlePath = fs::canonical(reinterpret_cast<const char*>(path), error);
    if (error) return fnfErr;
    if (bundlePath.extension() != ".app" || !fs::is_directory(bundlePath, error)) return kLSNotAnApplicationErr;
    std::string executable = ExecutableOfBundle(bundlePath);
    if (executable.empty()) return kLSNoExecutableErr;

    ProcessSerialNumber psn = {0, kNoProcess};
    if (!(appParams->flags & kLSLaunchNewInstance) && RunningInstance(bundlePath.string(), &psn)) {
      if (outPSN) *outPSN = psn;
      return noErr;
    }
    std::vector<std::string> arguments, environment;
    if (!LaunchArguments(*appParams, executable, &arguments, &environment)) return paramErr;
    pid_t pid = -1;
    status = SpawnDetached(arguments, environment, &pid);
    if (status != noErr) return status;
    // An application that has already ended (and been reaped) has no number left to report.
    zrp::ProcessEntry entry;
    if (zrp::ReadProcess(pid, &entry)) psn = zrp::SerialNumberOf(entry);
    if (outPSN) *outPSN = psn;
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}
