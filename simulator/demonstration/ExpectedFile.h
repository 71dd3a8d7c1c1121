#pragma once

#include <string>
#include <vector>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// What the program should write for these records with its first-run settings: symbology, data,
/// time and serial number, separated by commas, each record on a line of its own.
/// @param serial  the scanner's whole serial number
std::string ExpectedFile(const std::vector<ScanRecord>& records, Model model,
                         const std::string& serial);

}  // namespace quillet::simulator
