// Files.h: reading a whole file, for the host services that read bundles, settings and the
// system's own files (/proc, /etc); and the two halves of a path.
#pragma once

#include <string>

namespace zrp {

// The file's bytes in *bytes (replaced); false when it cannot be opened or read (a folder
// cannot). Files whose size the kernel does not know beforehand (/proc) are read whole too.
bool ReadWholeFile(const std::string& path, std::string* bytes);

// The path up to its last "/": "/" for an item of the root, "." for a path without a "/".
inline std::string ParentPath(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// The path after its last "/" ("" when it ends in one), or all of it when it has none.
inline std::string LastPathComponent(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace zrp
