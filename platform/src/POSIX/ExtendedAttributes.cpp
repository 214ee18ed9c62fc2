// ExtendedAttributes.cpp: the platform's getxattr/setxattr/removexattr/listxattr over Linux's
// own calls: the l* forms for XATTR_NOFOLLOW, "user." in front of names without a namespace.
#include <ZRPlatform/Testing.h>
#include <sys/xattr.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <vector>

// The C library's calls, under names of their own: the plain names belong to the platform's
// forms declared in <sys/xattr.h>.
extern "C" {
ssize_t LinuxGetxattr(const char* path, const char* name, void* value, size_t size) __asm__("getxattr");
ssize_t LinuxLgetxattr(const char* path, const char* name, void* value, size_t size) __asm__("lgetxattr");
int LinuxSetxattr(const char* path, const char* name, const void* value, size_t size, int flags) __asm__("setxattr");
int LinuxLsetxattr(const char* path, const char* name, const void* value, size_t size, int flags) __asm__("lsetxattr");
int LinuxRemovexattr(const char* path, const char* name) __asm__("removexattr");
int LinuxLremovexattr(const char* path, const char* name) __asm__("lremovexattr");
ssize_t LinuxListxattr(const char* path, char* list, size_t size) __asm__("listxattr");
ssize_t LinuxLlistxattr(const char* path, char* list, size_t size) __asm__("llistxattr");
}

namespace {

// Linux's own flag values for setxattr.
constexpr int kLinuxCreate = 1;
constexpr int kLinuxReplace = 2;

std::atomic<ZRTestingAttributeReadHook> gReadHook{nullptr};
std::atomic<void*> gReadHookContext{nullptr};

constexpr char kUserPrefix[] = "user.";
constexpr size_t kUserPrefixLength = sizeof(kUserPrefix) - 1;

bool HasNamespace(const char* name) {
  for (const char* space : {"user.", "trusted.", "security.", "system."}) {
    if (std::strncmp(name, space, std::strlen(space)) == 0) return true;
  }
  return false;
}

// The name as Linux knows it; false (errno set) when it cannot be made.
bool LinuxName(const char* name, std::string* out) {
  if (!name) {
    errno = EFAULT;
    return false;
  }
  try {
    if (HasNamespace(name)) {
      out->assign(name);
    } else {
      out->assign(kUserPrefix);
      out->append(name);
    }
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return false;
  }
  return true;
}

// Checks the arguments every call shares; false with errno EINVAL when one is out of range.
bool ValidOptions(uint32_t position, int options, int allowed) {
  if (position != 0 || (options & ~allowed) != 0) {
    errno = EINVAL;
    return false;
  }
  return true;
}

}  // namespace

extern "C" {

void ZRTestingSetAttributeReadHook(ZRTestingAttributeReadHook hook, void* context) {
  gReadHookContext = context;
  gReadHook = hook;
}

ssize_t getxattr(const char* path, const char* name, void* value, size_t size, uint32_t position, int options) {
  if (ZRTestingAttributeReadHook hook = gReadHook) hook(path, name, gReadHookContext);
  if (!ValidOptions(position, options, XATTR_NOFOLLOW)) return -1;
  std::string linuxName;
  if (!LinuxName(name, &linuxName)) return -1;
  // A NULL value asks for the size, whatever size says.
  if (!value) size = 0;
  return (options & XATTR_NOFOLLOW) ? LinuxLgetxattr(path, linuxName.c_str(), value, size)
                                    : LinuxGetxattr(path, linuxName.c_str(), value, size);
}

int setxattr(const char* path, const char* name, const void* value, size_t size, uint32_t position, int options) {
  if (!ValidOptions(position, options, XATTR_NOFOLLOW | XATTR_CREATE | XATTR_REPLACE)) return -1;
  if ((options & XATTR_CREATE) && (options & XATTR_REPLACE)) {
    errno = EINVAL;
    return -1;
  }
  std::string linuxName;
  if (!LinuxName(name, &linuxName)) return -1;
  int flags = ((options & XATTR_CREATE) ? kLinuxCreate : 0) | ((options & XATTR_REPLACE) ? kLinuxReplace : 0);
  return (options & XATTR_NOFOLLOW) ? LinuxLsetxattr(path, linuxName.c_str(), value, size, flags)
                                    : LinuxSetxattr(path, linuxName.c_str(), value, size, flags);
}

int removexattr(const char* path, const char* name, int options) {
  if (!ValidOptions(0, options, XATTR_NOFOLLOW)) return -1;
  std::string linuxName;
  if (!LinuxName(name, &linuxName)) return -1;
  return (options & XATTR_NOFOLLOW) ? LinuxLremovexattr(path, linuxName.c_str())
                                    : LinuxRemovexattr(path, linuxName.c_str());
}

ssize_t listxattr(const char* path, char* namebuff, size_t size, int options) {
  if (!ValidOptions(0, options, XATTR_NOFOLLOW)) return -1;
  auto list = [&](char* buffer, size_t length) {
    return (options & XATTR_NOFOLLOW) ? LinuxLlistxattr(path, buffer, length) : LinuxListxattr(path, buffer, length);
  };
  try {
    // Linux's list is longer than ours by the prefixes taken off, so it is read whole first;
    // a list that grows between the size query and the read is asked for again.
    std::vector<char> names;
    ssize_t length;
    for (;;) {
      length = list(nullptr, 0);
      if (length < 0) return -1;
      names.resize(static_cast<size_t>(length));
      length = list(names.data(), names.size());
      if (length >= 0) break;
      if (errno != ERANGE) return -1;
    }
    std::string result;
    for (size_t start = 0; start < static_cast<size_t>(length);) {
      const char* entry = names.data() + start;
      size_t entryLength = strnlen(entry, static_cast<size_t>(length) - start);
      if (entryLength >= kUserPrefixLength && std::strncmp(entry, kUserPrefix, kUserPrefixLength) == 0) {
        result.append(entry + kUserPrefixLength, entryLength - kUserPrefixLength);
      } else {
        result.append(entry, entryLength);
      }
      result.push_back('\0');
      start += entryLength + 1;
    }
    if (!namebuff || size == 0) return static_cast<ssize_t>(result.size());
    if (result.size() > size) {
      errno = ERANGE;
      return -1;
    }
    std::memcpy(namebuff, result.data(), result.size());
    return static_cast<ssize_t>(result.size());
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return -1;
  }
}

}  // extern "C"
