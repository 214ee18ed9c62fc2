// TemporaryHome.h: a home and a preferences folder of the test program's own, made before main
// runs, so that no preferences call of any kind can see the real folders. A test program includes
// it once and reaches the folders through Home().
#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace zrtest {

struct TemporaryHome {
  TemporaryHome() {
    char pattern[] = "/tmp/ZRPreferencesHome.XXXXXX";
    const char* made = mkdtemp(pattern);
    if (!made) std::abort();
    root = made;
    config = root + "/config";
    std::filesystem::create_directories(config);
    setenv("HOME", root.c_str(), 1);
    setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  }
  ~TemporaryHome() {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
  std::string root;
  std::string config;
};

inline TemporaryHome& Home() {
  static TemporaryHome home;
  return home;
}

// Made during static initialization, before any test can call into the preferences.
inline const TemporaryHome& kHomeMadeEarly = Home();

}  // namespace zrtest
