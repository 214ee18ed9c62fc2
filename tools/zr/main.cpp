// main.cpp: the zr tool's entry point: the help, dispatch to the registered subcommands,
// and the small argument helpers they share.
#include <ZRFramework/ZRFramework.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Command.h"

namespace zr::tool {
namespace {

std::vector<const Command*>& Registry() {
  static std::vector<const Command*> commands;
  return commands;
}

void PrintHelp(FILE* out) {
  std::fprintf(out, "usage: zr COMMAND [ARGUMENTS]\n\nThe ZRFramework library on the command line.\n\nCommands:\n");
  for (const Command* command : Registry()) std::fprintf(out, "  %-44s %s\n", command->usage, command->summary);
  std::fprintf(out, "\n  zr --help                                    this text\n");
}

}  // namespace

Command::Command(const char* commandName, const char* commandUsage, const char* commandSummary, Handler commandHandler)
    : name(commandName), usage(commandUsage), summary(commandSummary), handler(commandHandler) {
  Registry().push_back(this);
}

const std::vector<const Command*>& Commands() { return Registry(); }

int UsageError(const std::string& message) {
  std::fprintf(stderr, "zr: %s\n", message.c_str());
  return 2;
}

int Failure(const std::string& message) {
  std::fprintf(stderr, "zr: %s\n", message.c_str());
  return 1;
}

bool ParseInteger(const std::string& text, long long* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long long parsed = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0') return false;
  *value = parsed;
  return true;
}

bool ParseUnsigned(const std::string& text, unsigned long long* value) {
  if (text.empty() || text[0] == '-') return false;
  char* end = nullptr;
  errno = 0;
  unsigned long long parsed = std::strtoull(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0') return false;
  *value = parsed;
  return true;
}

bool ParseDouble(const std::string& text, double* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  double parsed = std::strtod(text.c_str(), &end);
  if (errno == ERANGE || *end != '\0') return false;
  *value = parsed;
  return true;
}

bool TakeOption(Arguments* arguments, const std::string& name, std::string* value, bool* present) {
  *present = false;
  for (size_t i = 0; i < arguments->size(); ++i) {
    if ((*arguments)[i] != name) continue;
    if (i + 1 >= arguments->size()) return false;
    *value = (*arguments)[i + 1];
    *present = true;
    arguments->erase(arguments->begin() + static_cast<long>(i), arguments->begin() + static_cast<long>(i) + 2);
    return true;
  }
  return true;
}

std::string Utf8(const void* cfString) {
  if (!cfString) return std::string();
  CFStringRef string = static_cast<CFStringRef>(cfString);
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(string, buffer.data(), size, kCFStringEncodingUTF8)) return std::string();
  buffer.resize(std::strlen(buffer.c_str()));
  return buffer;
}

}  // namespace zr::tool

int main(int argc, char** argv) {
  using namespace zr::tool;
  NSAutoreleasePool pool;
  if (argc < 2) {
    PrintHelp(stderr);
    return 2;
  }
  std::string name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") {
    PrintHelp(stdout);
    return 0;
  }
  for (const Command* command : Commands()) {
    if (name == command->name) return command->handler(Arguments(argv + 2, argv + argc));
  }
  return UsageError("unknown command '" + name + "' (see zr --help)");
}
