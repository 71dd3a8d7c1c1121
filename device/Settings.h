#pragma once

#include <cstdint>

#include "base/SharedText.h"
#include "base/Word.h"

namespace quillet {

/// Values of the setting `destination`. Any other value means the active application.
inline constexpr std::int32_t kToFile = 0;
inline constexpr std::int32_t kToView = 1;               ///< the main view
inline constexpr std::int32_t kToActiveApplication = 2;  ///< the application with keyboard focus
inline constexpr std::int32_t kToNamedApplication = 3;   ///< the application `appname`

/// The user's settings. The main thread writes them; the read thread may read them at any time.
/// Flags are 0 or 1. A number outside its range selects nothing; for `destination`, it means the
/// active application.
struct Settings {
  Word<std::uint8_t> bAttachType = 0;        ///< add the symbology name
  Word<std::uint8_t> bAttachSerial = 0;      ///< add the scanner's serial number
  Word<std::uint8_t> bAttachTimestamp = 0;   ///< add the time of the scan
  Word<std::int32_t> datadelimiter = 4;      ///< 0 none, 1 tab, 2 space, 3 comma, 4 semicolon
  Word<std::int32_t> recorddelimiter = 4;    ///< 0 none, 1 LF, 2 CR, 3 tab, 4 CR LF
  Word<std::int32_t> sn_position = 1;        ///< serial number: 0 first, 1 last
  Word<std::int32_t> dataorder = 0;          ///< order of name, data and time, 0 to 5
  Word<std::uint8_t> bBurstSync = 1;         ///< download all records in one transfer
  Word<std::uint8_t> bSyncClock = 1;         ///< set the scanner's clock when it connects
  Word<std::uint8_t> bClearMemory = 0;       ///< erase the scanner after a download
  Word<std::uint8_t> bAutoSync = 0;          ///< download when the scanner connects
  Word<std::uint8_t> bAppendData = 0;        ///< append to the output file instead of replacing it
  Word<std::uint8_t> bNonEnglish = 0;        ///< paste lines instead of typing them
  Word<std::int32_t> destination = kToView;  ///< where records are delivered
  // The initial texts are replaced with stored or default paths before their first use.
  SharedText filename{"sn_timestamp.txt"};       ///< path of the output file
  SharedText appname{"/Applications/TextEdit"};  ///< path of the application
};

}  // namespace quillet
