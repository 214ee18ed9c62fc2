// DiagnosticsCommands.cpp: `zr error STATUS` and `zr errno NUMBER`: statuses and POSIX error
// numbers as the text the library's ERROR lines print.
#include <ZRFramework/ZRFramework.h>

#include <climits>
#include <cstdio>

#include "Command.h"

namespace zr::tool {
namespace {

int PrintText(NSString* text) {
  std::printf("%s\n", Utf8(text).c_str());
  return 0;
}

int RunError(const Arguments& arguments) {
  long long status = 0;
  if (arguments.size() != 1) return UsageError("usage: zr error STATUS");
  if (!ParseInteger(arguments[0], &status) || status < INT32_MIN || status > INT32_MAX)
    return UsageError("not a status (a 32-bit integer): '" + arguments[0] + "'");
  return PrintText(ZRCarbonErrorString(static_cast<OSStatus>(status)));
}

int RunErrno(const Arguments& arguments) {
  long long number = 0;
  if (arguments.size() != 1) return UsageError("usage: zr errno NUMBER");
  if (!ParseInteger(arguments[0], &number) || number < INT_MIN || number > INT_MAX)
    return UsageError("not an error number: '" + arguments[0] + "'");
  return PrintText(ZRErrnoErrorString(static_cast<int>(number)));
}

const Command kError("error", "error STATUS", "a status as text: number, name, comment", RunError);
const Command kErrno("errno", "errno NUMBER", "a POSIX error number as a status text (100000 + NUMBER)", RunErrno);

}  // namespace
}  // namespace zr::tool
