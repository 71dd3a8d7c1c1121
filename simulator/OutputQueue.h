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

/// What the scanner still has to send, and when each byte of it leaves the line.
///
/// Pure arithmetic: the present is always handed in. A byte takes ten bit times on the line and may
/// be handed on when its last bit has passed. The line's own clock runs on from byte to byte, so
/// that a caller who comes late hands on more bytes at once and the whole still takes the line's
/// own time.
class OutputQueue {
 public:
  /// `bits_per_second` 0: no line time at all.
  explicit OutputQueue(std::uint64_t bits_per_second);

  /// Queues bytes that begin not before `earliest`, and not before `pause` has passed since the
  /// bytes queued before them have left. Nothing happens for no bytes.
  void Append(Bytes bytes, Time earliest, Duration pause = Duration::zero());

  /// Puts bytes in front of everything that has not left yet, in the middle of an answer too.
  void InsertNow(Bytes bytes, Time now);

  /// Lets nothing leave before `until`; what is queued later waits as well.
  void HoldUntil(Time until);

  /// Loses the next `count` bytes, or as many as there are.
  void Drop(std::size_t count);

  /// Forgets everything that has not left.
  void Clear();

  bool IsEmpty() const { return pieces_.empty(); }
  /// The number of bytes that have not left.
  std::size_t size() const { return size_; }

  /// The bytes that may be handed on now; they stay queued until Consume(). May be only a part of
  /// what is due: ask again after Consume().
  std::span<const std::uint8_t> Due(Time now) const;

  /// The first `count` bytes of what Due() gave have been handed on.
  void Consume(std::size_t count, Time now);

  /// The receiver's buffer is full: the line stands still until now, without making up for it
  /// later.
  void Stall(Time now);

  /// When to look at Due() again: about a millisecond's worth of bytes, or the end of the piece, or
  /// its beginning when there is no line time. Time::max() when the queue is empty.
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
  /// Makes what is left of a head that has begun a piece of its own.
  void SplitHead();

  std::uint64_t bits_per_second_;
  std::deque<Piece> pieces_;
  std::size_t size_ = 0;
  /// When the last byte of the pieces that are gone had left.
  Time line_free_ = Time::min();
};

}  // namespace quillet::simulator
