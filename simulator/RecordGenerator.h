#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// `count` records as one working day of stock-taking leaves them in a scanner: shelf by shelf a
/// label, then articles and cartons with right check digits, some of them scanned several times, at
/// increasing times of 2026-11-16. A 300-series scanner also read some matrix codes.
///
/// The same arguments give the same records everywhere; `random_state` tells one day from another.
std::vector<ScanRecord> StockTaking(std::size_t count, Model model, std::uint64_t random_state = 1);

/// `count` records from the edges of what can be stored: every symbology byte but the erased one in
/// turn, the first and last moments and all between, no data, the most there can be, and data made
/// of bytes that mean something elsewhere on the line (0x03 0x0A 0x0D 0x11 0x13 0x21 0x40 0x00
/// 0xFF). At most one record in eight has more than 300 bytes. The same arguments give the same
/// records everywhere.
std::vector<ScanRecord> ExtremeRecords(std::size_t count, Model model,
                                       std::uint64_t random_state = 1);

/// The check digit '0' to '9' that belongs behind these digits in EAN, UPC and ITF-14 codes.
char CheckDigit(std::string_view digits);

}  // namespace quillet::simulator
