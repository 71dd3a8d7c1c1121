#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/ScannerOnLine.h"

namespace quillet::simulator {

/// Thrown for invalid arguments. what() describes the error to the user.
class UsageError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// The parsed arguments of tavo-simulator.
struct CommandLine {
  bool help = false;
  Options options;
};

/// Reads the arguments (without the program name) and the files that they name. Throws UsageError
/// for invalid arguments, std::system_error for an unreadable file, and std::runtime_error, with
/// the file name and line, for an invalid file.
CommandLine ReadCommandLine(const std::vector<std::string>& arguments);

/// The output of --help.
std::string HelpText();

/// The part of HelpText() about the commands on standard input.
extern const std::string_view kConsoleHelp;

}  // namespace quillet::simulator
