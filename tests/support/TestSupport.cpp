// TestSupport.cpp: helpers shared by the test suites.
#include "TestSupport.h"

#include <regex>

namespace zrtest {

LogCapture::LogCapture() { ZRTestingSetLogSink(&LogCapture::Sink, this); }

LogCapture::~LogCapture() { ZRTestingSetLogSink(nullptr, nullptr); }

void LogCapture::Sink(const char* message, void* context) {
  static_cast<LogCapture*>(context)->lines_.emplace_back(message);
}

std::string Utf8(CFTypeRef string) {
  if (!string) return "<NULL>";
  CFStringRef text = static_cast<CFStringRef>(string);
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) return "<unconvertible>";
  buffer.resize(std::char_traits<char>::length(buffer.c_str()));
  return buffer;
}

CFStringRef MakeString(const std::string& utf8) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()), static_cast<CFIndex>(utf8.size()),
                                 kCFStringEncodingUTF8, false);
}

std::string WithoutLine(const std::string& errorLine) {
  static const std::regex kLine(",[0-9]+\\)$");
  return std::regex_replace(errorLine, kLine, ")");
}

}  // namespace zrtest
