#pragma once

#include <cstdint>
#include <span>

#include "base/Word.h"

namespace quillet {

/// The part of the received data that is expected next.
enum ReceiveState : std::int32_t {
  kPlainAnswer = 0,      ///< a plain answer, or the start of a frame
  kFrameLength = 10,     ///< the length of a frame, which follows the byte 0x03
  kFrameBody = 11,       ///< the rest of a frame
  kUnsolicitedEnd = 12,  ///< the '@' after a frame that no command requested
  kBurstLength = 30,     ///< the length of a burst; no 0x03 precedes it
  kBurstBody = 31,       ///< the rest of a burst
};

/// Size in bytes of the length field of a frame or burst. The length includes this field. The first
/// record follows the field.
inline constexpr std::int32_t kLengthBytes = 3;

/// Assembles received bytes into units: answers, frames, bursts and unsolicited records. Does no
/// I/O, logging or waiting.
class ReceiveMachine {
 public:
  static constexpr std::int32_t kBufferSize = 4194304;  ///< maximum size of a stored unit in bytes

  /// The kind of unit that the last byte completed.
  enum class Event {
    kNone,         ///< the unit is not complete
    kAnswer,       ///< a plain answer, including its '!' or '@'
    kFrame,        ///< a frame that answers a command
    kBurst,        ///< a burst
    kUnsolicited,  ///< a record that no command requested
  };

  /// Result of Take.
  struct Step {
    std::size_t taken;  ///< the number of bytes processed
    Event event;        ///< the event caused by the last of these bytes
  };

  /// @param commandDone  1 if no command is waiting for an answer; must outlive this object
  explicit ReceiveMachine(const Word<std::uint8_t>& commandDone) : commandDone_(commandDone) {}

  /// Processes bytes up to and including the byte that causes an event. The completed unit stays in
  /// RxBuffer until the next call. Call Reset after an event, except after kUnsolicited. Read
  /// thread.
  Step Take(std::span<const std::uint8_t> bytes);

  /// Treats the next byte as the start of a unit. Any thread.
  void Reset();

  /// Treats the next byte as the start of a burst. Command thread, before sending "P".
  void ExpectBurst() { state_ = kBurstLength; }

  std::int32_t state() const { return state_; }        ///< a ReceiveState
  std::int32_t writePtr() const { return writePtr_; }  ///< number of bytes in the current unit
  std::int32_t totallength() const { return totallength_; }  ///< length of the frame or burst

  /// The buffer with the current unit, kBufferSize bytes. Read thread.
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
