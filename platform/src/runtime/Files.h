// Files.h: reading a whole file, for the host services that read bundles, settings and the
// system's own files (/proc, /etc).
#pragma once

#include <string>

namespace zrp {

// The file's bytes in *bytes (replaced); false when it cannot be opened or read (a folder
// cannot). Files whose size the kernel does not know beforehand (/proc) are read whole too.
bool ReadWholeFile(const std::string& path, std::string* bytes);

}  // namespace zrp
