#pragma once

#include <string>

#include "program/Program.h"
#include "simulator/Simulator.h"

namespace quillet::simulator {

/// Returns at once. When the synchronization has finished, checks the file, saves a screenshot of
/// the window to `folder` and ends the program. The exit status is 0 only if every step succeeded.
/// The arguments must stay valid until the program exits.
/// @param device  the scanner's settings
void CheckWhenFinished(Program& program, const Simulator& scanner, const DeviceSettings& device,
                       const std::string& folder);

}  // namespace quillet::simulator
