#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
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
  kEvent,     ///< something happened to the line; '#' in the file
};

/// Bytes that passed at once.
struct TranscriptEntry {
  std::chrono::steady_clock::time_point time;
  Direction direction = Direction::kEvent;
  /// The bytes; for an event, its text.
  Bytes bytes;
};

/// Everything that passed on the line, with time stamps. Any thread.
class Transcript {
 public:
  /// @param keep  whether entries are kept in memory
  /// @param file  the file that all entries are written to, "" for none; an existing file is
  ///              replaced. Throws std::system_error if it cannot be written.
  explicit Transcript(bool keep = true, const std::string& file = "");

  /// Adds bytes that passed at this time. Does nothing for no bytes.
  void Add(std::chrono::steady_clock::time_point time, Direction direction, Bytes bytes);

  /// Adds an event in words.
  void AddEvent(std::chrono::steady_clock::time_point time, std::string_view text);

  /// A copy of what is kept, oldest first.
  std::vector<TranscriptEntry> Entries() const;

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  const bool keep_;
  const std::chrono::steady_clock::time_point start_;
  mutable std::mutex mutex_;
  std::vector<TranscriptEntry> entries_;
  std::unique_ptr<std::FILE, CloseFile> file_;
};

/// One line of the transcript's file, without its line end: seconds since `start` with six
/// decimals, the direction's sign, the bytes in hexadecimal (not for an event), and as text.
std::string FormatLine(const TranscriptEntry& entry, std::chrono::steady_clock::time_point start);

}  // namespace quillet::simulator
