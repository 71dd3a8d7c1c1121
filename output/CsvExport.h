#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/SystemLog.h"
#include "device/ScannerIdentity.h"
#include "device/Settings.h"
#include "download/RecordComposer.h"

namespace quillet {

/// Builds a CSV file (RFC 4180) from stored records, for spreadsheets:
///
/// - UTF-8 with a byte-order mark. Without the mark, Excel reads the file in the code page of the
///   system.
/// - All fields except quantities are quoted, which marks them as text. Leading zeros are kept.
/// - The time is written as "2026-11-16 14:07:09", the ISO form that spreadsheets recognize.
/// - An apostrophe is inserted before a value that a spreadsheet could run as a formula.
class CsvExport {
 public:
  /// @param rowPerBarcode  true: one row per barcode, with its quantity; false: one row per record
  explicit CsvExport(bool rowPerBarcode);

  /// Adds a record. For use as an ArchivedRecord.
  /// @param scanner  the scanner that sent the record
  /// @param record   the record as received
  void Add(const ScannerIdentity& scanner, std::span<const std::uint8_t> record);

  std::string Contents() const;  ///< the contents of the file

 private:
  using Barcode = std::pair<std::string, std::string>;  // symbology and data

  const bool rowPerBarcode_;
  NoLog log_;
  Settings fields_;
  const ScannerIdentity* scanner_ = nullptr;  // used by composer_
  std::optional<RecordComposer> composer_;
  std::string rows_;
  std::vector<const Barcode*> order_;  // sorted by first scan
  std::map<Barcode, std::int64_t> quantities_;
};

}  // namespace quillet
