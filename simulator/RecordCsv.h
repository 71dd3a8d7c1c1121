#pragma once

#include <string_view>
#include <vector>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// Reads records from a table, one per line: symbology, data, time.
///
///     # what the second shelf holds
///     EAN-13,4006381333931,2026-11-16 09:15:00
///     0x86,"with, comma and ""quotes""",2026-11-16 09:15:04
///     Code 128,tab\x09and nul\x00,2026-11-16 09:15:09
///     erased,,2026-11-16 09:15:12
///
/// The symbology is a name of the model (see Symbologies.h), the byte's value 0 to 255, decimal or
/// hexadecimal behind 0x, or "erased". The data may stand in quotation marks, two of which then
/// mean one, and has escapes as Unescape() reads them. Empty lines and lines that begin with '#'
/// are left out. Throws InputError with the number of the line.
std::vector<ScanRecord> ParseRecords(std::string_view csv, Model model);

}  // namespace quillet::simulator
