#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// `count` records of one working day of stock-taking, 2026-11-16: shelf by shelf a label, then
/// articles and cartons with correct check digits, some scanned several times, at increasing times.
/// A 300-series scanner also read some matrix codes.
///
/// The same arguments give the same records everywhere; `randomState` selects another day.
std::vector<ScanRecord> StockTaking(std::size_t count, Model model, std::uint64_t randomState = 1);

/// `count` records from the edges of what can be stored: every symbology byte but the erased one in
/// turn, the first, the last and other moments, no data, the most data, and bytes with a meaning on
/// the line (0x03 0x0A 0x0D 0x11 0x13 0x21 0x40 0x00 0xFF). At most one record in eight has more
/// than 300 bytes. The same arguments give the same records everywhere.
std::vector<ScanRecord> ExtremeRecords(std::size_t count, Model model,
                                       std::uint64_t randomState = 1);

/// The check digit '0' to '9' that follows these digits in EAN, UPC and ITF-14 codes.
char CheckDigit(std::string_view digits);

}  // namespace quillet::simulator
