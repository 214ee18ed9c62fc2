// StringsFileFuzz.cpp: feeds arbitrary bytes to the reader of localized strings tables (text in
// UTF-8 or UTF-16, or a property list) and checks what it promises: a refused file leaves an
// empty table, a file that is read again gives the same table, and nothing made along the way
// outlives the call.
#include <ZRPlatform/Testing.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "CFBundle/StringsFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  long live = ZRTestingLiveObjectCount();
  std::string_view text(reinterpret_cast<const char*>(bytes), size);
  zrp::StringsTable table;
  table[u"left over"] = u"from before";
  bool ok = zrp::ParseStringsFile(text, &table);
  if (!ok && !table.empty()) __builtin_trap();
  zrp::StringsTable again;
  if (zrp::ParseStringsFile(text, &again) != ok || again != table) __builtin_trap();
  if (ZRTestingLiveObjectCount() != live) __builtin_trap();
  return 0;
}
