// Login.cpp: getlogin as the platform has it: the name the session logged in with, whether or
// not the process has a terminal. The C library answers only for a process with a terminal
// listed in utmp; here the answer comes from the kernel's login user ID of the session
// (/proc/self/loginuid), else from the real user ID, and is looked up in the password database.
// This definition takes the place of the C library's in every program that loads the host.
#include <ZRPlatform/Testing.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "POSIX/Users.h"

namespace {

std::mutex gLoginMutex;
bool gLoginOverridden = false;
std::string gLoginOverride;
bool gLoginOverrideIsNull = false;

// The answer is kept here, as the platform keeps it in static storage.
char gLoginName[256];

bool LoginUID(uid_t* uid) {
  FILE* file = std::fopen("/proc/self/loginuid", "r");
  if (!file) return false;
  unsigned long value = 0;
  bool read = std::fscanf(file, "%lu", &value) == 1;
  std::fclose(file);
  // 4294967295 means the session has no login user (a daemon, a container's first process).
  if (!read || value == 4294967295UL) return false;
  *uid = static_cast<uid_t>(value);
  return true;
}

bool NameOfUID(uid_t uid, char* name, size_t size) {
  std::string found;
  if (!zrp::UserNameOfUID(uid, &found) || found.size() >= size) return false;
  std::strcpy(name, found.c_str());
  return true;
}

}  // namespace

extern "C" {

void ZRTestingSetLoginName(const char* name) {
  std::lock_guard<std::mutex> lock(gLoginMutex);
  gLoginOverridden = true;
  gLoginOverrideIsNull = name == nullptr;
  gLoginOverride = name ? name : "";
}

void ZRTestingResetLoginName(void) {
  std::lock_guard<std::mutex> lock(gLoginMutex);
  gLoginOverridden = false;
}

__attribute__((visibility("default"))) char* getlogin(void) {
  std::lock_guard<std::mutex> lock(gLoginMutex);
  if (gLoginOverridden) {
    if (gLoginOverrideIsNull || gLoginOverride.size() >= sizeof gLoginName) return nullptr;
    std::strcpy(gLoginName, gLoginOverride.c_str());
    return gLoginName;
  }
  uid_t uid;
  if (!LoginUID(&uid)) uid = getuid();
  return NameOfUID(uid, gLoginName, sizeof gLoginName) ? gLoginName : nullptr;
}

}  // extern "C"
