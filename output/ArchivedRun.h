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

/// Returns `text` with '%', control characters, and leading and trailing spaces replaced by '%' and
/// two hexadecimal digits.
std::string EscapedText(std::string_view text);
/// Reverses EscapedText. Invalid escapes are kept.
std::string UnescapedText(std::string_view text);

/// The contents of a records file, except its records. Texts are empty if the file does not contain
/// them.
struct ArchivedRun {
  std::string time;    ///< local time when the file was opened: YYYY-MM-DD hh:mm:ss
  std::string serial;  ///< serial number of the scanner
  std::string file;    ///< path of the output file, if it was written
  std::string target;  ///< path of the output file or the application in the settings
  std::int32_t destination = kToView;  ///< as in Settings
  std::int64_t records = 0;            ///< number of records, without erased ones
  bool whole = false;                  ///< the file has no incomplete entry
  bool ended = false;                  ///< false for live scans and for a run that was interrupted
  bool complete = false;               ///< all records of the scanner were received
  bool erased = false;                 ///< the scanner confirmed that it was erased
};

/// Receives a stored record. `scanner` and `settings` are the same objects for all records of a
/// file, with changing values.
/// @param scanner   the scanner that sent the record
/// @param settings  the choices in effect when the record arrived
/// @param record    the record as received
using ArchivedRecord = std::function<void(const ScannerIdentity& scanner, const Settings& settings,
                                          std::span<const std::uint8_t> record)>;

/// Reads a records file. An incomplete last entry is ignored.
/// @param contents  contents of the file
/// @param record    called for each record that is not erased, in the order of arrival
/// @return no value if `contents` is not a records file
std::optional<ArchivedRun> ReadArchivedRun(std::string_view contents,
                                           const ArchivedRecord& record = nullptr);

/// Reads a records file and composes its lines.
/// @param contents  contents of the file
/// @param settings  the fields of the lines; null: the choices in effect when each record arrived
/// @param line      called for each line, in UTF-8
/// @return no value if `contents` is no records file
std::optional<ArchivedRun> ReadArchivedLines(
    std::string_view contents, const Settings* settings,
    const std::function<void(const std::string& line)>& line);

}  // namespace quillet
