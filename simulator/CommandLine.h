#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Options.h"

namespace quillet::simulator {

/// The program was called in a way it does not understand; what() says how, for the caller.
class UsageError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// What the program was called with.
struct CommandLine {
  bool help = false;
  Options options;
};

/// Reads the arguments (without the program's name) and the files they name. Throws UsageError for
/// arguments that make no sense, std::system_error for a file that cannot be read, and
/// std::runtime_error, beginning with the file's name and line, for one that cannot be understood.
CommandLine ReadCommandLine(const std::vector<std::string>& arguments);

/// What --help prints.
std::string HelpText();

}  // namespace quillet::simulator
