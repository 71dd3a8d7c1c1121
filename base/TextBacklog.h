#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

namespace quillet {

/// Distinguishes records, which are in the archive, from the program's messages.
enum class TextKind {
  kMessage,  ///< never dropped
  kRecord,   ///< may be dropped
};

/// Texts to be displayed, in order. If the records exceed kMostRecordText, the oldest
/// records are dropped. For use by one thread at a time.
class TextBacklog {
 public:
  /// Limit for the total size of the queued records in bytes. May be exceeded by at most one chunk.
  /// 100,000 records of 160 bytes fit.
  static constexpr std::size_t kMostRecordText = std::size_t{16} * 1024 * 1024;

  /// Consecutive texts of the same kind. A chunk contains whole records.
  struct Chunk {
    TextKind kind = TextKind::kMessage;  ///< kind of all texts in the chunk
    std::string text = {};               ///< UTF-8
  };

  void Add(std::string_view text, TextKind kind);  ///< appends text
  bool IsEmpty() const { return chunks_.empty(); }
  Chunk TakeFirst();  ///< removes the first chunk and returns it; requires !IsEmpty()
  void Clear();       ///< removes all text

  /// Returns whether records have been dropped since the last Clear.
  bool HasDropped() const { return hasDropped_; }

 private:
  void DropOldestRecords();

  std::deque<Chunk> chunks_;
  std::size_t recordText_ = 0;  // size of all records in bytes
  bool hasDropped_ = false;
};

}  // namespace quillet
