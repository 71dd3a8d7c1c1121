#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/ScannerOnLine.h"

namespace quillet::simulator {

/// Invalid arguments; what() says which, for the caller.
class UsageError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// The program's arguments.
struct CommandLine {
  bool help = false;
  Options options;
};

/// Reads the arguments (without the program's name) and the files that they name. Throws UsageError
/// for invalid arguments, std::system_error for a file that cannot be read, and std::runtime_error,
/// beginning with the file's name and line, for a file with an error.
CommandLine ReadCommandLine(const std::vector<std::string>& arguments);

/// The output of --help.
std::string HelpText();

/// The part of it about standard input.
extern const std::string_view kConsoleHelp;

}  // namespace quillet::simulator
