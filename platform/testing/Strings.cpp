// Strings.cpp (test variant only): the switch that makes every new string keep its text as UTF-16,
// so that the same tests run on both forms of a string. ZR_TESTING_WIDE_STRINGS=1 in the
// environment of a test program turns it on; the strings read it once, at the first string.
#include <cstdlib>
#include <cstring>

#include "runtime/Seams.h"

namespace zrp {

bool WideStringsForcedBySeam() {
  const char* value = std::getenv("ZR_TESTING_WIDE_STRINGS");
  return value && std::strcmp(value, "1") == 0;
}

}  // namespace zrp
