#pragma once

#include <cstdint>
#include <span>

#include "base/Word.h"

namespace quillet {

/// What the receive path is in the middle of.
enum ReceiveState : std::int32_t {
  kPlainAnswer = 0,      ///< a plain answer, or nothing
  kFrameLength = 10,     ///< the length after a frame's 0x03
  kFrameBody = 11,       ///< the rest of a frame
  kUnsolicitedEnd = 12,  ///< a complete frame that no command requested; its '@' is missing
  kBurstLength = 30,     ///< the length of a burst, which does not begin with 0x03
  kBurstBody = 31,       ///< the rest of a burst
};

/// Size of the length of a frame or burst, in bytes. The length counts itself; the first record
/// follows it.
inline constexpr std::int32_t kLengthBytes = 3;

/// Assembles received bytes into answers, frames, bursts and unsolicited records. It has no side
/// effects outside its fields: no I/O, no log, no waiting.
///
/// The read thread feeds it. Other threads reset it, and the command thread announces a burst.
class ReceiveMachine {
 public:
  static constexpr std::int32_t kBufferSize = 4194304;  ///< bytes of the largest unit that is kept

  /// What the last byte completed.
  enum class Event {
    kNone,         ///< nothing yet
    kAnswer,       ///< a plain answer with its '!' or '@'
    kFrame,        ///< a frame that a command waits for
    kBurst,        ///< a burst
    kUnsolicited,  ///< a record that no command requested
  };

  /// Result of Take.
  struct Step {
    std::size_t taken;  ///< bytes used; the last of them caused the event
    Event event;        ///< what it completed
  };

  /// @param commandDone  1 while no command waits for an answer; outlives this object
  explicit ReceiveMachine(const Word<std::uint8_t>& commandDone) : commandDone_(commandDone) {}

  /// Takes bytes up to the first event. The unit stays in RxBuffer() until the caller has handled
  /// the event and called Reset; after kUnsolicited the machine has reset itself. Bytes after the
  /// event are left to the next call. `commandDone` and the state are read again for each byte.
  Step Take(std::span<const std::uint8_t> bytes);

  /// Goes back to waiting for the first byte of a unit. Any thread.
  void Reset();

  /// Makes the next byte the first of a burst. Command thread, before it sends "P".
  void ExpectBurst() { state_ = kBurstLength; }

  std::int32_t state() const { return state_; }              ///< a ReceiveState
  std::int32_t writePtr() const { return writePtr_; }        ///< bytes received of the present unit
  std::int32_t totallength() const { return totallength_; }  ///< announced by the frame or burst

  /// The present unit, kBufferSize bytes. Read thread.
  std::span<const std::uint8_t> RxBuffer() const { return rxBuffer_; }

 private:
  std::size_t StoreBody(std::span<const std::uint8_t> bytes);
  Event TakeByte(std::uint8_t byte);
  void TakeLength(std::int32_t length, ReceiveState next);

  const Word<std::uint8_t>& commandDone_;
  Word<std::int32_t> state_ = kPlainAnswer;
  Word<std::int32_t> writePtr_ = 0;
  Word<std::int32_t> totallength_ = 0;
  std::uint8_t rxBuffer_[kBufferSize] = {};
};

}  // namespace quillet
