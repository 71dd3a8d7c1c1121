#pragma once

#include <chrono>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Bytes.h"

namespace quillet::simulator {

/// The direction of an entry.
enum class Direction {
  kReceived,  ///< from the computer to the scanner; '<' in the file
  kSent,      ///< from the scanner to the computer; '>' in the file
  kEvent,     ///< a line event, such as a hang-up; '#' in the file
};

/// Bytes of one transfer, or an event.
struct TranscriptEntry {
  std::chrono::steady_clock::time_point time;
  Direction direction = Direction::kEvent;
  Bytes bytes;  ///< the transferred bytes, or the text of an event
};

/// Records everything sent and received, with time stamps. Any thread.
class Transcript {
 public:
  /// Throws std::system_error if the file cannot be created.
  /// @param keep  whether entries are kept in memory
  /// @param file  path of a file that receives all entries; replaces an existing file; "": no file
  explicit Transcript(bool keep = true, const std::string& file = "");

  /// Adds bytes that were transferred at `time`. Does nothing if `bytes` is empty.
  void Add(std::chrono::steady_clock::time_point time, Direction direction, Bytes bytes);
  /// Adds an event.
  void AddEvent(std::chrono::steady_clock::time_point time, std::string_view text) {
    Add(time, Direction::kEvent, ToBytes(text));
  }
  /// Returns a copy of the entries kept in memory, oldest first.
  std::vector<TranscriptEntry> Entries() const;

 private:
  const bool keep_;
  const std::chrono::steady_clock::time_point start_;
  mutable std::mutex mutex_;
  std::vector<TranscriptEntry> entries_;
  std::ofstream file_;
};

/// Formats an entry as a line of the file, without a line end: the seconds since `start`, the
/// direction character, the bytes in hexadecimal (except for events) and the text.
std::string FormatLine(const TranscriptEntry& entry, std::chrono::steady_clock::time_point start);

}  // namespace quillet::simulator
