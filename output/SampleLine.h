#pragma once

#include <string>
#include <string_view>

#include "device/ScannerIdentity.h"
#include "device/Settings.h"
#include "download/RecordComposer.h"

namespace quillet {

/// Composes the line of a made-up record with the code that composes real lines. It has settings of
/// its own, to be filled in by the caller.
class SampleComposer final : public Settings {
 public:
  SampleComposer();

  /// The line of the sample record, as it would be delivered.
  /// @param series300  as from a 300-series scanner, else as from an older one
  std::string Line(bool series300);

 private:
  ScannerIdentity identity_;
  RecordComposer composer_;
};

/// Spells a text so that every character in it can be seen: a tab as →, a space as ␣, a carriage
/// return with a line feed behind it as ⏎, either alone as ← or ↓.
/// @param text  UTF-8
std::string VisibleSpelling(std::string_view text);

/// Spells a line in the same way as it appears where it is typed key by key: a line feed is the
/// Return key, ⏎, and characters without a key, as a carriage return, are left out.
/// @param text  ASCII
std::string TypedSpelling(std::string_view text);

}  // namespace quillet
