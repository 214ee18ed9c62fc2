// TestSupport.h: helpers shared by the test suites: log capture, strings, leak checks.
#pragma once

#include <ZRFramework/ZRFramework.h>
#include <ZRPlatform/Testing.h>

#include <string>
#include <vector>

namespace zrtest {

// Captures every NSLog message (the text without the date and process prefix) while alive.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

 private:
  static void Sink(const char* message, void* context);
  std::vector<std::string> lines_;
};

// The string's characters as UTF-8; "<NULL>" for NULL.
std::string Utf8(CFTypeRef string);

// A new string from UTF-8 text (the caller releases it).
CFStringRef MakeString(const std::string& utf8);

// The ERROR line that ZR_LOG_ERROR writes: "ERROR <message> (<function>,<line>)" without the line
// number, for comparisons that must not depend on where in the source the check stands.
std::string WithoutLine(const std::string& errorLine);

}  // namespace zrtest
