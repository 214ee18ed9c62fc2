// Sysfs.cpp: the root of the kernel's device tree and its test seam.
#include "runtime/Sysfs.h"

#include <ZRPlatform/Testing.h>

#include <fstream>
#include <mutex>

namespace {

std::mutex gRootMutex;
std::string& Root() {
  static std::string root = "/sys";
  return root;
}

}  // namespace

namespace zrp {

std::string SysfsRoot() {
  std::lock_guard<std::mutex> lock(gRootMutex);
  return Root();
}

bool ReadFirstLine(const std::string& path, std::string* line) {
  std::ifstream file(path);
  if (!file) return false;
  std::string text;
  std::getline(file, text);
  if (file.bad()) return false;
  *line = text;
  return true;
}

}  // namespace zrp

void ZRTestingSetSysfsRoot(const char* path) {
  std::lock_guard<std::mutex> lock(gRootMutex);
  Root() = path ? path : "/sys";
}
