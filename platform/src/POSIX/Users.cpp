// Users.cpp: the home folder and user names from the environment and the password database.
#include "POSIX/Users.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <vector>

namespace zrp {
namespace {

// Calls f with the user ID's entry, in a buffer grown until the entry fits; false when there
// is no entry, or no memory for it.
template <typename Use>
bool WithEntry(uid_t uid, Use use) {
  try {
    long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(hint > 0 ? static_cast<size_t>(hint) : 4096);
    for (;;) {
      struct passwd entry;
      struct passwd* found = nullptr;
      int error = getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found);
      if (error == ERANGE && buffer.size() < (1u << 20)) {
        buffer.resize(buffer.size() * 2);
        continue;
      }
      return error == 0 && found && use(*found);
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace

bool HomeFolder(std::string* home) {
  try {
    const char* variable = std::getenv("HOME");
    if (variable && variable[0] == '/') {
      *home = variable;
      return true;
    }
    return WithEntry(getuid(), [home](const struct passwd& entry) {
      if (!entry.pw_dir || entry.pw_dir[0] != '/') return false;
      *home = entry.pw_dir;
      return true;
    });
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool UserNameOfUID(uid_t uid, std::string* name) {
  return WithEntry(uid, [name](const struct passwd& entry) {
    if (!entry.pw_name) return false;
    *name = entry.pw_name;
    return true;
  });
}

}  // namespace zrp
