// main.cpp: a program that uses the installed ZRFramework: it prints the texts the library gives a
// status and an error number, as its ERROR lines would show them.
#include <ZRFramework/ZRFramework.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

// The string's characters as UTF-8.
std::string Utf8(CFStringRef string) {
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(string, buffer.data(), size, kCFStringEncodingUTF8)) return std::string();
  buffer.resize(std::strlen(buffer.c_str()));
  return buffer;
}

bool Show(const char* call, CFStringRef text, const char* expected) {
  std::string actual = Utf8(text);
  std::printf("%-25s %s\n", call, actual.c_str());
  if (actual == expected) return true;
  std::fprintf(stderr, "expected: %s\n", expected);
  return false;
}

}  // namespace

int main() {
  // The two functions return autoreleased strings: they live until this pool is drained.
  NSAutoreleasePool pool;
  bool ok =
      Show("ZRCarbonErrorString(-50)", ZRCarbonErrorString(paramErr), "-50, paramErr, error in user parameter list");
  ok &= Show("ZRErrnoErrorString(2)", ZRErrnoErrorString(2), "100002, ENOENT, No such file or directory");
  return ok ? 0 : 1;
}
