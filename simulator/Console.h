#pragma once

#include <string>
#include <string_view>

#include "simulator/Simulator.h"

namespace quillet::simulator {

/// What came of one line of standard input.
struct ConsoleReply {
  std::string text;  ///< to be printed, one or more lines without the last line end; "" for nothing
  bool quit = false;
};

/// Carries out one line that somebody typed; never throws for what it says.
ConsoleReply RunConsoleLine(std::string_view line, Simulator& simulator, Model model);

/// The description of the lines, as --help shows it.
std::string_view ConsoleHelp();

}  // namespace quillet::simulator
