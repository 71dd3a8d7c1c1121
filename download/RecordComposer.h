#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "base/SystemLog.h"
#include "device/ScannerIdentity.h"
#include "device/Settings.h"

namespace quillet {

/// Composes the line of a record: reads the record's fields from received bytes and joins them as
/// the settings say. docs/protocol.md has the layout of records. Lengths are trusted as received;
/// bytes outside the buffer count as 0, and a line that is too long is cut.
///
/// One thread at a time composes: the read thread, or the main thread for a sample. The settings
/// may change at any time.
class RecordComposer {
 public:
  static constexpr std::int32_t kBarcodeBufferSize = 10240;  ///< bytes of a line with its NUL

  /// The received data.
  using Bytes = std::span<const std::uint8_t>;

  /// @param log       outlives this object, as do `settings` and `identity`
  /// @param settings  which fields, in which order, with which delimiters
  /// @param identity  the scanner's serial number and record layout
  RecordComposer(SystemLog& log, const Settings& settings, const ScannerIdentity& identity)
      : log_(log), settings_(settings), identity_(identity) {}
  RecordComposer(const RecordComposer&) = delete;
  RecordComposer& operator=(const RecordComposer&) = delete;

  /// Composes the record at `offset` of the data.
  /// @return the line, valid until the next call.
  std::string_view Compose(Bytes buffer, std::int32_t offset);

  // --- Steps of Compose. They read at BufferOffset and append at BarcodeBufferOffset. -----------

  void GetBarcodeLength(Bytes buffer);  ///< reads BarcodeLength; 0 or less means no data
  void GetBarcodeData(Bytes buffer);    ///< appends the data unchanged

  /// Appends name, data and time in the order `dataorder`, nothing for an unknown order.
  void GetDataByOrder(Bytes buffer);

  /// Appends the symbology's name, if wanted.
  /// @param code    symbology code, remapped for the older layout
  /// @param before  the delimiter comes before the name, else after it
  void GetBarcodeTypeEx(Bytes, std::int32_t code, bool before);

  /// Appends the serial number from kHiddenSerialCharacters on, if wanted.
  void AttachSerialNumberEx(Bytes);

  /// Appends "[year/month/day:hour:minute:second]", if wanted.
  /// @param date    packed date of the record
  /// @param time    packed time of the record
  /// @param before  the delimiter comes before the time, else after it
  void AttachTimestampEx(Bytes, std::uint16_t date, std::uint16_t time, bool before);

  void GetDataDelimiter();         ///< appends the delimiter `datadelimiter`
  void GetRecordDelimiter(Bytes);  ///< appends the delimiter `recorddelimiter`

  // --- Single fields. Compose does not use them. ------------------------------------------------

  void GetBarcodeType(Bytes buffer);   ///< reads the symbology byte; appends its name, if wanted
  void AttachSerialNumber(Bytes);      ///< appends the whole serial number
  void AttachTimestamp(Bytes buffer);  ///< reads and appends the time, without leading zeros

  std::int32_t BufferOffset = 0;         ///< position in the data
  std::int32_t BarcodeLength = 0;        ///< data bytes of the record
  std::int32_t BarcodeBufferOffset = 0;  ///< bytes of the line so far

  /// The line so far.
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

/// Converts a composed line to UTF-8. Valid UTF-8, and so ASCII, stays as it is. In any other line
/// each byte above 0x7F becomes the Latin-1 character of its value, so that nothing is lost.
/// @param bytes  the composed line
/// @param text   receives the text; its memory is reused from call to call
void DecodeRecordText(std::string_view bytes, std::string& text);

}  // namespace quillet
