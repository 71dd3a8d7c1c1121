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

/// Thrown for an invalid table of records or fault script. what() begins with the line number, for
/// example "line 3: ".
class InputError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Calls `read` with each line, without the line end. If `read` throws std::invalid_argument,
/// throws InputError with the line number.
void ForEachLine(std::string_view text, const std::function<void(std::string_view)>& read);

/// Returns a pointer to the table entry with this `name`, or null.
template <class Table>
auto FindByName(const Table& table, std::string_view name) {
  const auto* found = std::data(table);
  const auto* const end = found + std::size(table);
  while (found != end && found->name != name) ++found;
  return found == end ? nullptr : found;
}

/// Parses an unsigned integer: decimal, or hexadecimal with the prefix "0x". Returns std::nullopt
/// for other text.
std::optional<std::uint64_t> ReadNumber(std::string_view text);

/// Parses a duration such as "2.5", independent of the locale.
/// @param text  the number of units, zero or more; the duration is at most 1e6 s
/// @param unit  the length of one unit
/// @return the duration, or std::nullopt if `text` is not a valid duration
std::optional<std::chrono::nanoseconds> ReadDuration(std::string_view text,
                                                     std::chrono::nanoseconds unit);

/// Parses exactly two hexadecimal digits.
std::optional<std::uint8_t> ReadHexByte(std::string_view digits);

/// Replaces the escapes \xNN, \\, \n, \r and \t. Throws std::invalid_argument, with a message for
/// the user, for other escapes.
Bytes Unescape(std::string_view text);

/// Parses a symbology byte: the name of one of this model's symbologies, or a number up to 255 in
/// the format of ReadNumber(). If the text is neither, throws std::invalid_argument with a message
/// for the user.
std::uint8_t ParseSymbologyByte(Model model, std::string_view text);

/// Parses a table of records, one per line:
///
///     # second shelf
///     EAN-13,4006381333931,2026-11-16 09:15:00
///     0x86,"with, comma and ""quotes""",2026-11-16 09:15:04
///     Code 128,tab\x09and nul\x00,2026-11-16 09:15:09
///     erased,,2026-11-16 09:15:12
///
/// The fields are the symbology ("erased" or as in ParseSymbologyByte()), the data, with escapes as
/// in Unescape() and optional quotation marks, and the time. Empty lines and lines that begin with
/// '#' are ignored. Throws InputError.
std::vector<ScanRecord> ParseRecords(std::string_view csv, Model model);

}  // namespace quillet::simulator
