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

/// The bytes that the scanner still has to send, and when each of them leaves the line.
///
/// Pure arithmetic: the caller passes the present time. A byte takes ten bit times on the line and
/// is due when its last bit has passed. The line runs on from byte to byte: a late caller gets more
/// bytes at once, and the whole still takes the line's time.
class OutputQueue {
 public:
  /// @param bitsPerSecond  0: no line time at all
  explicit OutputQueue(std::uint64_t bitsPerSecond);

  /// Queues bytes that begin no earlier than `earliest`, and no earlier than `pause` after the
  /// bytes queued before them have left. Does nothing for no bytes.
  void Append(Bytes bytes, Time earliest, Duration pause = Duration::zero());

  /// Puts bytes before everything that has not left yet, in the middle of an answer too.
  void InsertNow(Bytes bytes, Time now);

  /// Nothing leaves before `until`; what is queued later waits as well.
  void HoldUntil(Time until);

  /// Loses the next `count` bytes, or as many as there are.
  void Drop(std::size_t count);

  /// Forgets everything that has not left.
  void Clear();

  bool IsEmpty() const { return pieces_.empty(); }

  /// Bytes that are due now; they stay queued until Consume(). There may be more after Consume().
  std::span<const std::uint8_t> Due(Time now) const;

  /// Removes the first `count` of the bytes that Due() returned.
  void Consume(std::size_t count, Time now);

  /// The receiver's buffer is full: the line has stood still until now, and does not catch up.
  void Stall(Time now);

  /// When to call Due() again: after about a millisecond's worth of bytes, at the end of the piece,
  /// or, without line time, at its beginning. Time::max() if the queue is empty.
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
  /// Makes the rest of a piece that has begun a separate piece.
  void SplitHead();

  std::uint64_t bitsPerSecond_;
  std::deque<Piece> pieces_;
  /// When the last byte of the removed pieces left.
  Time lineFree_ = Time::min();
};

}  // namespace quillet::simulator
