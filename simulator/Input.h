#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// A table of records or a fault script has an error. what() is "line 3: ..." for its writer.
class InputError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Calls `read` with each line of a text, without its line end. Throws InputError with the number
/// of the line when `read` throws std::invalid_argument.
void ForEachLine(std::string_view text, const std::function<void(std::string_view)>& read);

/// The entry of a table that has this `name`, or null.
template <class Table>
auto FindByName(const Table& table, std::string_view name) {
  const auto* found = std::data(table);
  const auto* const end = found + std::size(table);
  while (found != end && found->name != name) ++found;
  return found == end ? nullptr : found;
}

/// Reads a whole number, decimal or, after 0x, hexadecimal.
/// @return nothing if any part of the text is something else
std::optional<std::uint64_t> ReadNumber(std::string_view text);

/// Reads a number of units of time, such as "2.5", with a decimal point in every locale.
/// @return nothing unless the whole text is a number of zero or more, and for more than 1e6 seconds
std::optional<std::chrono::nanoseconds> ReadDuration(std::string_view text,
                                                     std::chrono::nanoseconds unit);

/// Reads exactly two hexadecimal digits of either case.
std::optional<std::uint8_t> ReadHexByte(std::string_view digits);

/// Reads text with \xNN for any byte, \\ for a backslash, \n, \r, \t. Throws std::invalid_argument,
/// with a message for its writer, for any other escape.
Bytes Unescape(std::string_view text);

/// Reads a symbology byte: a name, or a value 0 to 255, decimal or, after 0x, hexadecimal. Throws
/// std::invalid_argument, with a message for its writer, for anything else.
std::uint8_t ParseSymbologyByte(Model model, std::string_view text);

/// Reads records from a table, one per line: symbology, data, time.
///
///     # what the second shelf holds
///     EAN-13,4006381333931,2026-11-16 09:15:00
///     0x86,"with, comma and ""quotes""",2026-11-16 09:15:04
///     Code 128,tab\x09and nul\x00,2026-11-16 09:15:09
///     erased,,2026-11-16 09:15:12
///
/// The symbology is "erased" or as ParseSymbologyByte() reads it. The data has escapes as
/// Unescape() reads them, and may be in quotation marks, two of which then mean one. Empty lines
/// and lines that begin with '#' are ignored. Throws InputError.
std::vector<ScanRecord> ParseRecords(std::string_view csv, Model model);

}  // namespace quillet::simulator
