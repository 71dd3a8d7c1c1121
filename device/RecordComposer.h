#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "base/SystemLog.h"
#include "base/Word.h"
#include "device/ByteField.h"
#include "device/Settings.h"

namespace quillet {

/// Makes the line of a record: takes the record's fields out of received bytes and puts them
/// together as the settings, which are its own, say. The session is one and makes the real lines;
/// the settings window has another for its sample, so that the two cannot differ.
///
/// Its operations stand in download/RecordFields.cc and download/Composition.cc. They log under the
/// session's name, whose operations they are.
///
/// One thread at a time composes: for the session it is the read thread. The settings may change
/// meanwhile; the fields without a Word belong to the composing thread.
class RecordComposer : public Settings {
 public:
  static constexpr std::int32_t kBarcodeBufferSize = 10240;  ///< bytes of a line with its NUL

  /// @param log  outlives this object
  explicit RecordComposer(SystemLog& log) : log_(log) {}
  RecordComposer(const RecordComposer&) = delete;
  RecordComposer& operator=(const RecordComposer&) = delete;

  /// The received data; a position outside it reads as 0.
  using Bytes = std::span<const std::uint8_t>;

  // --- Record fields (download/RecordFields.cc) -------------------------------------------------

  // They read at BufferOffset and append at BarcodeBufferOffset. The layout of a record stands in
  // docs/protocol.md. Lengths are trusted as they come, and nothing is read or written outside the
  // buffers.

  /// Reads the record's length into BarcodeLength, 0 or less for a record without data, and goes on
  /// to the symbology byte.
  void GetBarcodeLength(Bytes buffer);

  /// Appends BarcodeLength bytes of data as they are and goes past them; what a line has no room
  /// for is left out.
  void GetBarcodeData(Bytes buffer);

  /// Appends the symbology's name with a delimiter, if names are wanted.
  /// @param buffer  not used
  /// @param code    the symbology's number, an older one remapped
  /// @param before  the delimiter stands in front, else behind
  void GetBarcodeTypeEx(Bytes buffer, std::int32_t code, bool before);

  /// Appends the serial number from kHiddenSerialCharacters on, if it is wanted, with a delimiter
  /// in front where it is last and behind where it is first.
  void AttachSerialNumberEx(Bytes buffer);

  /// Appends "[year/month/day:hour:minute:second]" with a delimiter, if times are wanted.
  /// @param buffer  not used
  /// @param date    as packed in the record
  /// @param time    as packed in the record
  /// @param before  the delimiter stands in front, else behind
  void AttachTimestampEx(Bytes buffer, std::uint16_t date, std::uint16_t time, bool before);

  // One field by itself; composing a line uses none of these.

  /// Reads the symbology byte and, if names are wanted, appends its name and a delimiter.
  void GetBarcodeType(Bytes buffer);

  /// Appends the whole serial number, wanted or not.
  void AttachSerialNumber(Bytes buffer);

  /// Appends a delimiter and the moment at BufferOffset, its numbers without leading zeros, wanted
  /// or not, and goes past it.
  void AttachTimestamp(Bytes buffer);

  // --- Composition (download/Composition.cc) ----------------------------------------------------

  /// Composes the record at BufferOffset into BarcodeBuffer, its length in BarcodeBufferOffset.
  void ComposeRecord(Bytes buffer);

  /// Appends name, data and time in the order `dataorder`, each with its delimiter if it is wanted;
  /// nothing for an order that does not exist. BufferOffset is at the symbology byte.
  void GetDataByOrder(Bytes buffer);

  /// Appends what stands between fields, by `datadelimiter`.
  void GetDataDelimiter();

  /// Appends what ends a line, by `recorddelimiter`. The buffer is not used.
  void GetRecordDelimiter(Bytes buffer);

  /// The line composed last.
  std::string_view ComposedLine() const {
    return {reinterpret_cast<const char*>(BarcodeBuffer),
            static_cast<std::size_t>(BarcodeBufferOffset)};
  }

  // --- Fields -----------------------------------------------------------------------------------

  std::int32_t BufferOffset = 0;         ///< where in the data the record being formatted is
  std::int32_t BarcodeLength = 0;        ///< data bytes of the record being formatted
  std::int32_t BarcodeBufferOffset = 0;  ///< bytes composed so far
  Word<std::uint8_t> bTavo300 = 0;       ///< the record has the 300-series layout
  std::uint8_t BarcodeBuffer[kBarcodeBufferSize] = {};  ///< the line being composed
  SerialNumberField SerialNo{"0000000000"};             ///< the scanner's whole serial number

 protected:
  ~RecordComposer() = default;  // never through a base

  SystemLog& log_;  ///< where the operations are told of

 private:
  void Append(std::uint8_t byte);
  void AppendText(std::string_view text);
};

}  // namespace quillet
