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
/// - All fields except quantities are quoted. Spreadsheets can import quoted fields as text.
/// - The time is written as "2026-11-16 14:07:09", an ISO format that spreadsheets recognize.
/// - An apostrophe is inserted before a value that a spreadsheet could evaluate as a formula.
/// - On request, an apostrophe is also inserted before each barcode and serial number. Spreadsheet
///   programs that open the file without an import dialog ignore the quotes: 0012 becomes 12, and
///   a number of more than 15 digits is rounded.
class CsvExport {
 public:
  /// @param rowPerBarcode  true: one row per barcode, with its quantity; false: one row per record
  /// @param apostrophes    whether to put an apostrophe before each barcode and serial number
  CsvExport(bool rowPerBarcode, bool apostrophes);

  /// Adds a record. For use as an ArchivedRecord.
  /// @param scanner  the scanner that sent the record
  /// @param record   the record as received
  void Add(const ScannerIdentity& scanner, std::span<const std::uint8_t> record);

  std::string Contents() const;  ///< the contents of the file

 private:
  using Barcode = std::pair<std::string, std::string>;  // symbology and data

  std::string Number(const std::string& text) const;

  const bool rowPerBarcode_;
  const bool apostrophes_;
  NoLog log_;
  Settings fields_;
  const ScannerIdentity* scanner_ = nullptr;  // the scanner that composer_ was created for
  std::optional<RecordComposer> composer_;
  std::string rows_;
  std::vector<const Barcode*> order_;  // barcodes in the order of their first scans
  std::map<Barcode, std::int64_t> quantities_;
};

}  // namespace quillet
