#include "device/ReceiveMachine.h"

#include <algorithm>
#include <cstring>

#include "device/ReceivedBytes.h"

namespace quillet {
namespace {

constexpr std::uint8_t kFrameStart = 0x03;

// Larger than any 24-bit length. Limits the byte count of an answer that never ends.
constexpr std::int32_t kCountLimit = 1 << 24;

bool EndsAnswer(std::uint8_t byte) {
  return byte == '!' || byte == '@';
}

}  // namespace

ReceiveMachine::Step ReceiveMachine::Take(std::span<const std::uint8_t> bytes) {
  std::size_t taken = 0;
  while (taken < bytes.size()) {
    taken += StoreBody(bytes.subspan(taken));
    if (taken == bytes.size()) break;
    const Event event = TakeByte(bytes[taken++]);
    if (event != Event::kNone) return {taken, event};
  }
  return {taken, Event::kNone};
}

// Copies body bytes in bulk, except the last one, which completes the body.
std::size_t ReceiveMachine::StoreBody(std::span<const std::uint8_t> bytes) {
  // Another thread may call Reset, which writes the state before the count. This function reads the
  // count before the state, and writes the count before it copies the bytes. It can therefore
  // overwrite the effect of a Reset only where TakeByte would overwrite it too.
  const std::int32_t index = writePtr_;
  const std::int32_t receiving = state_;
  if (receiving != kFrameBody && receiving != kBurstBody) return 0;
  const std::int32_t end = std::min<std::int32_t>(totallength_ - 1, kBufferSize);
  if (index >= end) return 0;
  const std::size_t count = std::min(bytes.size(), static_cast<std::size_t>(end - index));
  writePtr_ = index + static_cast<std::int32_t>(count);
  std::memcpy(rxBuffer_ + index, bytes.data(), count);
  return count;
}

ReceiveMachine::Event ReceiveMachine::TakeByte(std::uint8_t byte) {
  const std::int32_t index = writePtr_;
  if (index < kBufferSize) rxBuffer_[index] = byte;
  const std::int32_t length = std::min(index + 1, kCountLimit);
  writePtr_ = length;

  switch (state_) {
    case kPlainAnswer:
      if (length == 1 && byte == kFrameStart) {
        writePtr_ = 0;
        state_ = kFrameLength;
      } else if (commandDone_) {
        writePtr_ = 0;  // drops the byte, since no command is waiting for an answer
      } else if (EndsAnswer(byte)) {
        return Event::kAnswer;
      }
      break;
    case kFrameLength:
      TakeLength(length, kFrameBody);
      break;
    case kFrameBody:
      if (length != totallength_) break;
      if (!commandDone_) return Event::kFrame;
      state_ = kUnsolicitedEnd;
      break;
    case kUnsolicitedEnd:
      if (byte != '@') break;
      // Resets before the delivery, because the command thread may call ExpectBurst during the
      // delivery, which can take seconds.
      Reset();
      return Event::kUnsolicited;
    case kBurstLength:
      TakeLength(length, kBurstBody);
      break;
    case kBurstBody:
      if (length == totallength_) return Event::kBurst;
      break;
    default:
      break;
  }
  return Event::kNone;
}

void ReceiveMachine::TakeLength(std::int32_t length, ReceiveState next) {
  if (length != kLengthBytes) return;
  totallength_ = static_cast<std::int32_t>(NumberAt(rxBuffer_, 0, kLengthBytes));
  state_ = next;
}

void ReceiveMachine::Reset() {
  state_ = kPlainAnswer;
  writePtr_ = 0;
}

}  // namespace quillet
