#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "device/ScannerIdentity.h"
#include "device/Settings.h"

namespace quillet {

/// The first line of a records file.
inline constexpr std::string_view kArchiveHeader = "quillet-archive 1";

/// Returns `text` with '%', control characters, and a leading or trailing space replaced by '%' and
/// two hexadecimal digits.
std::string EscapedText(std::string_view text);
/// Reverses EscapedText. Invalid escapes are kept.
std::string UnescapedText(std::string_view text);

/// Metadata of a records file. A string is empty if the file does not contain it.
struct RecordsFileHead {
  std::string time;                    ///< local time when the file was opened: YYYY-MM-DD hh:mm:ss
  std::string serial;                  ///< serial number of the scanner
  std::string file;                    ///< path of the output file, if it was written
  std::string target;                  ///< output file or application chosen in the settings
  std::int32_t destination = kToView;  ///< value of Settings::destination
  std::int64_t records = 0;            ///< number of records, excluding erased records
  bool whole = false;                  ///< the file has no incomplete entry
  bool ended = false;                  ///< the run ended without interruption; false for live scans
  bool complete = false;               ///< all records of the scanner were received
  bool erased = false;                 ///< the scanner confirmed the erase
};

/// Receives a stored record. All calls for a file pass the same `scanner` and `settings` objects.
/// Their values may change between calls.
/// @param scanner   the scanner that sent the record
/// @param settings  the settings in effect when the record arrived
/// @param record    the record as received
using ArchivedRecord = std::function<void(const ScannerIdentity& scanner, const Settings& settings,
                                          std::span<const std::uint8_t> record)>;

/// Reads a records file. An incomplete last entry is ignored.
/// @param contents  contents of the file
/// @param record    called for each record that is not erased, in the order of arrival
/// @return no value if `contents` is not a records file
std::optional<RecordsFileHead> ReadRecordsFile(std::string_view contents,
                                               const ArchivedRecord& record = nullptr);

/// Reads a records file and composes its lines.
/// @param contents  contents of the file
/// @param settings  format of the lines; null: the settings in effect when each record arrived
/// @param line      called for each line, in UTF-8
/// @return no value if `contents` is not a records file
std::optional<RecordsFileHead> ReadRecordsFileLines(
    std::string_view contents, const Settings* settings,
    const std::function<void(const std::string& line)>& line);

}  // namespace quillet
