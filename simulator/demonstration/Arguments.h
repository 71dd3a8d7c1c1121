#pragma once

#include <string>
#include <vector>

#include "simulator/CommandLine.h"

namespace quillet::simulator {

/// What the demonstration was called with.
struct Arguments {
  bool help = false;
  bool unattended = false;  ///< run by itself, check the file, save a picture, end
  bool burst = true;        ///< all records in one transfer
  bool autoSync = false;    ///< synchronize as soon as the scanner is connected
  std::string folder;       ///< where the data folder is made; absolute
  CommandLine scanner;      ///< everything that is about the scanner
};

/// Reads the arguments, without the program's name. Throws UsageError.
Arguments ReadArguments(const std::vector<std::string>& arguments);

/// What --help prints.
std::string DemonstrationHelp();

}  // namespace quillet::simulator
