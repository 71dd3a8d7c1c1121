#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "base/SystemLog.h"
#include "device/ScannerIdentity.h"
#include "device/Settings.h"

namespace quillet {

/// Composes the line of a received record from the fields that the settings select. Record layouts
/// are in docs/protocol.md. Received lengths are not checked: bytes outside the buffer are read as
/// 0, and long lines are truncated.
///
/// For use by one thread at a time. The settings may change at any time.
class RecordComposer {
 public:
  /// Maximum length of a line in bytes, including the NUL.
  static constexpr std::int32_t kBarcodeBufferSize = 10240;

  /// Received bytes.
  using Bytes = std::span<const std::uint8_t>;

  /// @param log       must outlive this object, like `settings` and `identity`
  /// @param settings  the selected fields, their order and the delimiters
  /// @param identity  the scanner's serial number and record layout
  RecordComposer(SystemLog& log, const Settings& settings, const ScannerIdentity& identity)
      : log_(log), settings_(settings), identity_(identity) {}
  RecordComposer(const RecordComposer&) = delete;
  RecordComposer& operator=(const RecordComposer&) = delete;

  /// Returns true if lines composed with this value of `dataorder` contain the data.
  static bool IncludesData(std::int32_t dataorder);

  /// Composes the line of the record at `offset`.
  /// @return the line, not converted to UTF-8; valid until the next call.
  std::string_view Compose(Bytes buffer, std::int32_t offset);

  // --- Steps of Compose: each reads at BufferOffset and appends at BarcodeBufferOffset ---
  void GetBarcodeLength(Bytes buffer);  ///< reads BarcodeLength (negative in some bad records)
  void GetBarcodeData(Bytes buffer);    ///< appends the data unchanged

  /// Appends symbology name, data and time in the order that `dataorder` selects. Appends nothing
  /// if `dataorder` is out of range.
  void GetDataByOrder(Bytes buffer);

  /// Appends the symbology name if `bAttachType` is set.
  /// @param code    symbology code; for older scanners, the result of RemapOlderCode
  /// @param before  true: delimiter before the name; false: after it
  void GetBarcodeTypeEx(Bytes, std::int32_t code, bool before);

  /// Appends the displayed part of the serial number if `bAttachSerial` is set.
  void AttachSerialNumberEx(Bytes);

  /// Appends "[year/month/day:hour:minute:second]" if `bAttachTimestamp` is set.
  /// @param date    packed date of the record
  /// @param time    packed time of the record
  /// @param before  true: delimiter before the time; false: after it
  void AttachTimestampEx(Bytes, std::uint16_t date, std::uint16_t time, bool before);

  void GetDataDelimiter();         ///< appends the delimiter `datadelimiter`
  void GetRecordDelimiter(Bytes);  ///< appends the delimiter `recorddelimiter`

  // --- Single fields, not used by Compose ---
  void GetBarcodeType(Bytes buffer);   ///< appends the symbology name if `bAttachType` is set
  void AttachSerialNumber(Bytes);      ///< appends the complete serial number
  void AttachTimestamp(Bytes buffer);  ///< appends the time without leading zeros

  std::int32_t BufferOffset = 0;         ///< index of the next received byte to read
  std::int32_t BarcodeLength = 0;        ///< length of the record's data in bytes
  std::int32_t BarcodeBufferOffset = 0;  ///< length of the line in bytes

  /// The line composed so far.
  std::string_view BarcodeBuffer() const {
    return {barcodeBuffer_, static_cast<std::size_t>(BarcodeBufferOffset)};
  }

 private:
  void Append(std::string_view text);
  void AppendDelimiter(std::string_view delimiter);

  SystemLog& log_;
  const Settings& settings_;
  const ScannerIdentity& identity_;
  char barcodeBuffer_[kBarcodeBufferSize] = {};
};

/// Converts a composed line to UTF-8. A line that is not valid UTF-8 is treated as Latin-1.
/// @param bytes  the composed line
/// @param text   receives the text; its memory is reused
void DecodeRecordText(std::string_view bytes, std::string& text);

}  // namespace quillet
