#pragma once

#include <string>
#include <string_view>

#include "device/ScannerIdentity.h"
#include "device/Settings.h"
#include "download/RecordComposer.h"

namespace quillet {

/// Composes the line of a sample record, using the same code as for received records. Set the
/// inherited settings before composing.
class SampleComposer final : public Settings {
 public:
  SampleComposer();

  /// Returns the line of the sample record in UTF-8.
  /// @param series300  true: record of a 300-series scanner; false: record of an older scanner
  std::string Line(bool series300);

 private:
  ScannerIdentity identity_{.SerialNo = SerialNumberField("2104005771")};
  RecordComposer composer_;
};

/// Returns `text` with symbols for its invisible characters: → for tab, ␣ for space, ⏎ for CR LF,
/// ← for CR, ↓ for LF.
/// @param text  UTF-8
std::string VisibleSpelling(std::string_view text);

/// Returns a line as it is typed, with symbols for the invisible characters. A line feed is shown
/// as ⏎ (the Return key). Characters without a key, such as a carriage return, are omitted.
/// @param text  ASCII
std::string TypedSpelling(std::string_view text);

}  // namespace quillet
