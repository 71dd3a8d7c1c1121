#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Bytes.h"

namespace quillet::simulator {

/// Who said it.
enum class Direction {
  kReceived,  ///< from the computer to the scanner; '<' in the file
  kSent,      ///< from the scanner to the computer; '>' in the file
  kEvent,     ///< nobody: something happened to the line; '#' in the file
};

/// What passed at once.
struct TranscriptEntry {
  std::chrono::steady_clock::time_point time;
  Direction direction = Direction::kEvent;
  /// The bytes; for an event, its text.
  Bytes bytes;
};

/// Everything that passed on the line, with time stamps. Every operation may be called from any
/// thread.
class Transcript {
 public:
  static constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

  /// Keeps at most the last `limit` bytes in memory, in whole entries (0: none). When `file` is not
  /// empty, also writes everything there, whatever the limit; an existing file is replaced. Throws
  /// std::system_error when that file cannot be written.
  explicit Transcript(std::size_t limit = kUnlimited, const std::string& file = "");

  /// Adds bytes that passed at this time; nothing happens for no bytes.
  void Add(std::chrono::steady_clock::time_point time, Direction direction, Bytes bytes);

  /// Adds an event in words.
  void AddEvent(std::chrono::steady_clock::time_point time, std::string_view text);

  /// A copy of what is kept, oldest first.
  std::vector<TranscriptEntry> Entries() const;

  /// All bytes of one direction that are kept, joined.
  Bytes All(Direction direction) const;

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void Write(const TranscriptEntry& entry);

  const std::size_t limit_;
  const std::chrono::steady_clock::time_point start_;
  mutable std::mutex mutex_;
  std::deque<TranscriptEntry> entries_;
  std::size_t kept_ = 0;
  std::unique_ptr<std::FILE, CloseFile> file_;
};

/// One line of the transcript's file, without its line end: seconds since `start` with six
/// decimals, the direction's sign, the bytes in hexadecimal, and as text. For an event only its
/// text.
std::string FormatLine(const TranscriptEntry& entry, std::chrono::steady_clock::time_point start);

}  // namespace quillet::simulator
