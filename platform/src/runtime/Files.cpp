// Files.cpp: reading a whole file.
#include "runtime/Files.h"

#include <cstdio>

namespace zrp {

bool ReadWholeFile(const std::string& path, std::string* bytes) {
  std::FILE* file = std::fopen(path.c_str(), "rbe");
  if (!file) return false;
  std::string read;
  char buffer[16384];
  size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) read.append(buffer, count);
  bool ok = !std::ferror(file);
  std::fclose(file);
  if (ok) *bytes = std::move(read);
  return ok;
}

}  // namespace zrp
