// FormatCommands.cpp: `zr size`, `zr number` and `zr remaining`: byte counts, numbers and
// remaining times as the text the library shows a user, in the current locale.
#include <ZRFramework/ZRFramework.h>
#include <strings.h>

#include <climits>
#include <cstdio>

#include "Command.h"

namespace zr::tool {
namespace {

int PrintResult(const char* function, OSStatus status, CFStringRef result) {
  if (status != noErr) return Failure(std::string(function) + " returns " + Utf8(ZRCarbonErrorString(status)));
  std::printf("%s\n", Utf8(result).c_str());
  CFRelease(result);
  return 0;
}

// "--decimals D": any 32-bit integer; values outside 0 to 3 reach the library, which has its own
// rule for them.
bool TakeDecimals(Arguments* arguments, SInt32* decimals) {
  std::string text;
  bool present = false;
  if (!TakeOption(arguments, "--decimals", &text, &present)) return false;
  long long value = 0;
  if (!present) return true;
  if (!ParseInteger(text, &value) || value < INT32_MIN || value > INT32_MAX) return false;
  *decimals = static_cast<SInt32>(value);
  return true;
}

// "--unit U": auto, B, KB, MB, GB, or the selector number itself.
bool TakeUnit(Arguments* arguments, SInt32* unit) {
  std::string text;
  bool present = false;
  if (!TakeOption(arguments, "--unit", &text, &present)) return false;
  if (!present) return true;
  static const struct {
    const char* name;
    SInt32 selector;
  } kUnits[] = {{"auto", 0}, {"B", 2}, {"bytes", 2}, {"KB", 3}, {"MB", 4}, {"GB", 5}};
  for (const auto& entry : kUnits) {
    if (strcasecmp(text.c_str(), entry.name) == 0) {
      *unit = entry.selector;
      return true;
    }
  }
  long long value = 0;
  if (!ParseInteger(text, &value) || value < INT32_MIN || value > INT32_MAX) return false;
  *unit = static_cast<SInt32>(value);
  return true;
}

int RunSize(const Arguments& given) {
  const char* usage = "usage: zr size BYTES [--unit auto|B|KB|MB|GB|0-5] [--decimals D]";
  Arguments arguments = given;
  SInt32 unit = 0;
  SInt32 decimals = 0;
  if (!TakeUnit(&arguments, &unit) || !TakeDecimals(&arguments, &decimals) || arguments.size() != 1)
    return UsageError(usage);
  unsigned long long bytes = 0;
  if (!ParseUnsigned(arguments[0], &bytes)) return UsageError("not a byte count: '" + arguments[0] + "'");
  CFStringRef result = NULL;
  OSStatus status = ZRCopySizeStringRef(bytes, unit, decimals, &result, true);
  return PrintResult("ZRCopySizeStringRef", status, result);
}

int RunNumber(const Arguments& given) {
  Arguments arguments = given;
  SInt32 decimals = 0;
  if (!TakeDecimals(&arguments, &decimals) || arguments.size() != 1)
    return UsageError("usage: zr number VALUE [--decimals D]");
  CFStringRef result = NULL;
  OSStatus status;
  // Whole numbers are formatted as 64-bit integers, so that large ones keep every digit.
  long long integer = 0;
  double real = 0;
  if (ParseInteger(arguments[0], &integer)) {
    SInt64 value = integer;
    status = ZRCopyLocalizedNumberStringRef(&value, kCFNumberSInt64Type, decimals, &result, true);
  } else if (ParseDouble(arguments[0], &real)) {
    status = ZRCopyLocalizedNumberStringRef(&real, kCFNumberDoubleType, decimals, &result, true);
  } else {
    return UsageError("not a number: '" + arguments[0] + "'");
  }
  return PrintResult("ZRCopyLocalizedNumberStringRef", status, result);
}

int RunRemaining(const Arguments& arguments) {
  if (arguments.size() != 1) return UsageError("usage: zr remaining SECONDS");
  double seconds = 0;
  if (!ParseDouble(arguments[0], &seconds)) return UsageError("not a number of seconds: '" + arguments[0] + "'");
  CFStringRef result = NULL;
  OSStatus status = ZRCopyRemainingTimeStringRef(seconds, &result, true);
  return PrintResult("ZRCopyRemainingTimeStringRef", status, result);
}

const Command kSize("size", "size BYTES [--unit U] [--decimals D]", "a byte count as B, KB, MB or GB text", RunSize);
const Command kNumber("number", "number VALUE [--decimals D]", "a number grouped, with 0 to 3 decimals", RunNumber);
const Command kRemaining("remaining", "remaining SECONDS", "the remaining-time phrase for an estimate in seconds",
                         RunRemaining);

}  // namespace
}  // namespace zr::tool
