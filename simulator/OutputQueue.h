#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>

#include "simulator/Bytes.h"

namespace quillet::simulator {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Duration = Clock::duration;

/// The bytes that the scanner still has to send, and the time at which each of them is due.
///
/// Has no clock: the caller passes the current time. A byte takes ten bit times and is due after
/// its last bit. If the caller is late, several bytes are due at the same time.
class OutputQueue {
 public:
  /// @param bitsPerSecond  speed of the line; 0: bytes take no time
  explicit OutputQueue(std::uint64_t bitsPerSecond) : bitsPerSecond_(bitsPerSecond) {}

  /// Queues bytes. Sending begins at `earliest` or later, and at least `pause` after the bytes that
  /// are already queued.
  void Append(Bytes bytes, Time earliest, Duration pause = Duration::zero());
  /// Inserts bytes before all unsent bytes, even in the middle of an answer.
  void InsertNow(Bytes bytes, Time now);
  /// Delays all unsent bytes at least until `until`.
  void HoldUntil(Time until);
  /// Drops the next `count` bytes, or all if fewer are queued.
  void Drop(std::size_t count);
  /// Drops all unsent bytes.
  void Clear();
  bool IsEmpty() const { return pieces_.empty(); }
  /// Returns the first due bytes. Later bytes may also be due. All bytes stay queued until
  /// Consume() is called.
  std::span<const std::uint8_t> Due(Time now) const;
  /// Removes the first `count` of the bytes that Due() returned.
  void Consume(std::size_t count, Time now);
  /// Delays the remaining bytes, because the receiver's buffer was full until now.
  void Stall(Time now);
  /// Returns the time at which to call Due() next: when about 1 ms worth of bytes is due. Returns
  /// Time::max() if the queue is empty.
  Time NextDue() const;

 private:
  struct Piece {
    Bytes bytes;
    std::size_t sent = 0;
    Time earliest;
    Duration pause;
  };

  Time StartOf(const Piece& piece) const;
  Duration LineTime(std::size_t bytes) const;
  /// Removes the sent bytes of the first piece.
  void SplitHead();

  std::uint64_t bitsPerSecond_;
  std::deque<Piece> pieces_;
  Time lineFree_ = Time::min();  ///< the line is busy or held until this time
};

}  // namespace quillet::simulator
