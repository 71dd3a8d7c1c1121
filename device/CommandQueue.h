#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>

namespace quillet {

/// The commands to be sent, in a linear buffer. Any thread appends entries; the command thread
/// reads them. If a byte arrives from the scanner while the queue is empty, the buffer is reused
/// from its beginning.
///
/// The queue has no lock. All indices are packed into one atomic word, so every operation is
/// atomic. An operation may wait while another thread copies an entry into the buffer.
class CommandQueue {
 public:
  static constexpr std::size_t kSize = 256;  ///< capacity in bytes

  /// The state of the queue. While entries are being copied, `claimed` is greater than `cmdWrite`
  /// and the buffer cannot be restarted. A restart changes `generation`, which makes older indices
  /// invalid.
  struct Indices {
    std::uint64_t cmdRead : 10;     ///< index of the next entry to send
    std::uint64_t cmdWrite : 10;    ///< index after the last completely copied entry
    std::uint64_t claimed : 10;     ///< index after the last entry, which may still be incomplete
    std::uint64_t generation : 17;  ///< number of restarts
    std::uint64_t connection : 17;  ///< number of connections
  };

  /// A copy of the entry at the head of the queue.
  struct Entry {
    std::uint8_t first = 0;                        ///< the length byte, or a wake-up's argument
    std::uint8_t type = 0;                         ///< the byte after `first`: the command's type
    std::array<std::uint8_t, kSize> command = {};  ///< the command bytes
    std::size_t commandLength = 0;                 ///< the number of command bytes
    Indices indices{};                             ///< the indices at the time of the copy
  };

  /// Appends an entry. Any thread.
  /// @param entry  the length byte and the command bytes; for a wake-up, its argument and 'W'
  /// @return false if the buffer has no room; the queue is then unchanged.
  bool Append(std::span<const std::uint8_t> entry);
  /// Appends an entry given as a list of bytes. Any thread.
  bool Append(std::initializer_list<std::uint8_t> entry) {
    return Append(std::span(entry.begin(), entry.size()));
  }

  /// Returns the entry at the head, or no value if the queue is empty. Command thread.
  std::optional<Entry> Head() const;

  /// Removes the entry at the head. Command thread.
  /// @param entry  the entry that Head returned
  /// @return false, without effect, if the queue has been reset since the call to Head
  bool Consume(const Entry& entry);

  /// Returns true if an entry that Head returned is still in the queue. Command thread.
  bool Contains(const Entry& entry) const {
    const Indices now = indices_.load();
    return now.generation == entry.indices.generation && now.cmdRead == entry.indices.cmdRead;
  }

  /// Returns true if the queue contains a command of this type. Any thread.
  bool Holds(std::uint8_t type) const;

  /// If the queue is empty, restarts it at the beginning of the buffer. Any thread.
  void RewindIfEmpty();

  /// Drops all entries. Any thread.
  void Reset() { Restart(std::nullopt, 0); }

  /// Drops all entries and begins a new connection. Any thread.
  void StartConnection() { Restart(std::nullopt, 1); }

  /// Drops all entries, unless a new connection has begun since Head returned `entry`. Any thread.
  /// @return false if a new connection has begun; its entries are kept.
  bool ResetConnectionOf(const Entry& entry) {
    return Restart(std::uint64_t{entry.indices.connection}, 0);
  }

  /// Index of the next entry to send.
  std::int32_t cmdRead() const { return static_cast<std::int32_t>(indices_.load().cmdRead); }
  /// Index of the next free byte; equal to cmdRead if the queue is empty.
  std::int32_t cmdWrite() const { return static_cast<std::int32_t>(indices_.load().cmdWrite); }

  /// Returns the byte at an index of the buffer.
  std::uint8_t at(std::size_t index) const { return cmdArray_[index].load(); }

 private:
  bool Restart(std::optional<std::uint64_t> only, std::uint32_t newConnections);

  std::array<std::atomic<std::uint8_t>, kSize> cmdArray_{};
  std::atomic<Indices> indices_{Indices{}};
  static_assert(std::atomic<Indices>::is_always_lock_free);
};

}  // namespace quillet
