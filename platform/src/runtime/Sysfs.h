// Sysfs.h: where the host reads the kernel's device tree (/sys), with the test seam that moves it
// to a fixture tree, and the one-line reads the display and processor queries make.
#pragma once

#include <string>

namespace zrp {

// "/sys", or the folder a test set with ZRTestingSetSysfsRoot.
std::string SysfsRoot();

// The file's first line without its line break; false when it cannot be read.
bool ReadFirstLine(const std::string& path, std::string* line);

}  // namespace zrp
