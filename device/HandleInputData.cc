#include <algorithm>
#include <cstring>

#include "base/Log.h"
#include "device/Lumet.h"
#include "device/ReceiveState.h"

namespace quillet {
namespace {

constexpr std::uint8_t kFrameStart = 0x03;

bool EndsAnswer(std::uint8_t byte) {
  return byte == '!' || byte == '@';
}

}  // namespace

void Lumet::DataFromDevice(const std::uint8_t* bytes, std::int32_t count) {
  Log(log_, "-[Lumet DataFromDevice::]", "[",
      ForeignText(bytes, count > 0 ? static_cast<std::size_t>(count) : 0), ":", count, "]");
  for (std::int32_t i = 0; i < count;) {
    const std::int32_t stored = StoreBody(bytes + i, count - i);
    if (stored == 0) HandleInputData(bytes[i]);
    i += std::max(stored, 1);
  }
}

// Nothing happens in a body before its last byte, so those before that are stored in one go.
std::int32_t Lumet::StoreBody(const std::uint8_t* bytes, std::int32_t count) {
  // The count is read before the state and stored before the bytes are copied: a reset by another
  // thread, which sets the state first, is then undone only when it comes between these lines, as
  // it is when a byte is stored by itself.
  const std::int32_t index = writePtr;
  const std::int32_t receiving = state;
  if (receiving != kFrameBody && receiving != kBurstBody) return 0;
  const std::int32_t end = std::min<std::int32_t>(totallength - 1, kRxBufferSize);
  const std::int32_t run = std::min(count, end - index);
  if (run <= 0) return 0;
  writePtr = index + run;
  std::memcpy(RxBuffer + index, bytes, static_cast<std::size_t>(run));
  cmdArray.RewindIfEmpty();
  return run;
}

void Lumet::HandleInputData(std::uint8_t byte) {
  const std::int32_t index = writePtr;
  if (index < kRxBufferSize) RxBuffer[index] = byte;
  const std::int32_t length = index < kCountLimit ? index + 1 : kCountLimit;
  writePtr = length;

  switch (state) {
    case kPlainAnswer:
      if (length == 1 && byte == kFrameStart) {
        writePtr = 0;
        state = kFrameLength;
      } else if (bCommandDone) {
        writePtr = 0;  // nobody waits for it
      } else if (EndsAnswer(byte)) {
        DeliverAnswer();
      }
      break;

    case kFrameLength:
      if (length == kLengthBytes) {
        totallength = static_cast<std::int32_t>(MakeInteger(0, kLengthBytes));
        state = kFrameBody;
      }
      break;

    case kFrameBody:
      if (length == totallength) {
        if (bCommandDone) {
          state = kUnsolicitedEnd;
        } else {
          DeliverAnswer();
        }
      }
      break;

    case kUnsolicitedEnd:
      if (byte == '@') {
        BufferOffset = kLengthBytes;
        SynchronizeData();
        state = kPlainAnswer;
        writePtr = 0;
      }
      break;

    case kBurstLength:
      if (length == kLengthBytes) {
        totallength = static_cast<std::int32_t>(MakeInteger(0, kLengthBytes));
        state = kBurstBody;
      }
      break;

    case kBurstBody:
      if (length == totallength) DeliverAnswer();
      break;

    default:
      break;
  }

  cmdArray.RewindIfEmpty();
}

void Lumet::DeliverAnswer() {
  HandleCommandData(RxBuffer, writePtr);
}

}  // namespace quillet
