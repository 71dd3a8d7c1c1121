#pragma once

#include <string>
#include <string_view>

#include "base/SystemLog.h"
#include "device/RecordComposer.h"

namespace quillet {

/// Shows what a line will look like: composes one made-up record by the code that makes the real
/// lines. Its settings are its own, to be filled in by whoever wants a sample.
class SampleComposer final : public RecordComposer {
 public:
  SampleComposer();

  /// The line of the sample record as it would be delivered.
  /// @param series300  as a scanner of the 300 series sends and names it, else as an older one does
  std::string Line(bool series300);
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
