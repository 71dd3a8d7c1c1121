#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "device/ByteField.h"
#include "device/Settings.h"
#include "device/Word.h"
#include "platform/SystemLog.h"

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
  static constexpr std::int32_t kBarcodeBufferSize = 10240;

  explicit RecordComposer(platform::SystemLog& log) : log_(log) {}
  RecordComposer(const RecordComposer&) = delete;
  RecordComposer& operator=(const RecordComposer&) = delete;

  /// The received data; a position outside it reads as 0.
  using Bytes = std::span<const std::uint8_t>;

  // --- Record fields (download/RecordFields.cc) -------------------------------------------------

  void GetBarcodeLength(Bytes buffer);
  void GetBarcodeData(Bytes buffer);
  void GetBarcodeTypeEx(Bytes buffer, std::int32_t code, bool before);
  void AttachSerialNumberEx(Bytes buffer);
  void AttachTimestampEx(Bytes buffer, std::uint16_t date, std::uint16_t time, bool before);
  void GetBarcodeType(Bytes buffer);
  void AttachSerialNumber(Bytes buffer);
  void AttachTimestamp(Bytes buffer);

  // --- Composition (download/Composition.cc) ----------------------------------------------------

  /// Composes the record at BufferOffset into BarcodeBuffer, its length in BarcodeBufferOffset.
  void ComposeRecord(Bytes buffer);

  void GetDataByOrder(Bytes buffer);
  void GetDataDelimiter();
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
  SerialNumberField SerialNo{"0000000000"};

 protected:
  ~RecordComposer() = default;  // never through a base

  platform::SystemLog& log_;

 private:
  void Append(std::uint8_t byte);
  void AppendText(std::string_view text);
};

}  // namespace quillet
