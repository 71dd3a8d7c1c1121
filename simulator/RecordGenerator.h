#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// Generates the records of one day of stock-taking, 2026-11-16, in chronological order. Each
/// shelf label is followed by articles and cartons with valid check digits. Some articles are
/// repeated.
/// The 300 series also scans matrix codes. Each value of `randomState` produces different records.
///
/// The result depends only on the arguments and is the same on every platform.
std::vector<ScanRecord> StockTaking(std::size_t count, Model model, std::uint64_t randomState = 1);

/// Generates records with extreme contents: every symbology byte except kErasedSlot, extreme times,
/// empty and very long data, and bytes with a special meaning in the protocol. At most one record
/// in eight has more than 300 bytes. The result depends only on the arguments and is the same on
/// every platform.
std::vector<ScanRecord> ExtremeRecords(std::size_t count, Model model,
                                       std::uint64_t randomState = 1);

/// Returns the check digit, '0' to '9', of an EAN, UPC or ITF-14 code.
char CheckDigit(std::string_view digits);

}  // namespace quillet::simulator
