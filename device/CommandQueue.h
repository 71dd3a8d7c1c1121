#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>

namespace quillet {

/// The commands that wait to be sent: a linear buffer of whole entries, appended by any thread and
/// taken by the command thread alone. It starts again at its beginning whenever it has run empty
/// and the scanner sends a byte.
///
/// An append, a rewind and a reset may meet. All of them go through one word that holds the
/// indices, so each happens wholly before or after the others, and an entry becomes visible only
/// when all its bytes stand. Nobody holds a lock; the one thing waited for is that a writer who
/// came first finishes copying its few bytes.
class CommandQueue {
 public:
  static constexpr std::size_t kSize = 256;  ///< bytes that it holds

  /// The entry at the head as it stood when it was looked at.
  struct Entry {
    std::uint8_t first = 0;                        ///< its length byte (of a wake-up: its argument)
    std::uint8_t type = 0;                         ///< the byte behind it: the command's type
    std::array<std::uint8_t, kSize> command = {};  ///< the command bytes
    std::size_t commandLength = 0;                 ///< how many
    std::uint64_t indices = 0;                     ///< where it stood, for Consume
  };

  /// Appends a whole entry. Any thread.
  /// @param entry  the length byte and the command bytes; for a wake-up its argument and 'W'
  /// @return false when it does not fit behind the entries that wait: nothing is appended then.
  bool Append(std::span<const std::uint8_t> entry);
  /// The same, for an entry that is written down.
  bool Append(std::initializer_list<std::uint8_t> entry) {
    return Append(std::span(entry.begin(), entry.size()));
  }

  /// The entry at the head, or nothing when the queue is empty. Command thread.
  std::optional<Entry> Head() const;

  /// Takes the entry off the queue. Command thread.
  /// @return false when the queue was reset since `entry` was looked at; it is gone already then,
  ///         and what has been appended meanwhile stays.
  bool Consume(const Entry& entry);

  /// Goes back to the beginning of the buffer if no entry waits. Any thread; costs one load when
  /// there is nothing to do.
  void RewindIfEmpty();

  /// Drops every entry. Any thread.
  void Reset();

  /// Drops every entry and begins a new connection. Any thread.
  void StartConnection();

  /// Drops every entry, unless a new connection has begun since `entry` was read. Any thread.
  /// @return false if a new connection has begun; its entries stay.
  bool ResetConnectionOf(const Entry& entry);

  std::int32_t cmdRead() const;   ///< index of the next entry to send
  std::int32_t cmdWrite() const;  ///< index of the next free byte; equal to cmdRead when empty

  /// The byte at an index of the buffer, for looking at what was queued.
  std::uint8_t at(std::size_t index) const { return cmdArray_[index].load(); }

 private:
  struct Indices;
  bool Replace(Indices& expected, Indices desired);
  bool Restart(std::optional<std::uint64_t> only, std::uint32_t newConnections);
  Entry EntryAt(std::size_t start, std::size_t end) const;

  std::array<std::atomic<std::uint8_t>, kSize> cmdArray_{};
  std::atomic<std::uint64_t> indices_{0};
};

}  // namespace quillet
