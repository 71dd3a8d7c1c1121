#pragma once

#include <string>

#include "program/Program.h"
#include "simulator/Simulator.h"

namespace quillet::simulator {

/// Waits for the end of the run, checks the file, saves a picture of the window in `folder`, and
/// leaves the process: with 0 only if every record arrived exactly. The arguments must outlive it.
/// @param device  the scanner's settings
void CheckWhenFinished(Program& program, const Simulator& scanner, const DeviceSettings& device,
                       const std::string& folder);

}  // namespace quillet::simulator
