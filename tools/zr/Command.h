// Command.h: the subcommand registry of the zr tool. Each family's file registers its
// subcommands with a static Command object; main.cpp dispatches and prints the help.
#pragma once

#include <string>
#include <vector>

namespace zr::tool {

using Arguments = std::vector<std::string>;

// Runs one subcommand with the arguments after its name; returns the process exit status.
using Handler = int (*)(const Arguments& arguments);

struct Command {
  Command(const char* name, const char* usage, const char* summary, Handler handler);
  const char* name;
  const char* usage;    // e.g. "size BYTES [--unit U] [--decimals D]"
  const char* summary;  // one line for --help
  Handler handler;
};

const std::vector<const Command*>& Commands();

// Prints "zr: <message>" on standard error and returns the usage exit status (2).
int UsageError(const std::string& message);
// Prints "zr: <message>" on standard error and returns the failure exit status (1).
int Failure(const std::string& message);

// Parses a whole decimal integer or floating-point argument; false when it is not one.
bool ParseInteger(const std::string& text, long long* value);
bool ParseUnsigned(const std::string& text, unsigned long long* value);
bool ParseDouble(const std::string& text, double* value);

// Takes "--name VALUE" out of the arguments when present; false when the option is given
// without a value.
bool TakeOption(Arguments* arguments, const std::string& name, std::string* value, bool* present);

// The string's characters as UTF-8 (empty for NULL).
std::string Utf8(const void* cfString);

}  // namespace zr::tool
