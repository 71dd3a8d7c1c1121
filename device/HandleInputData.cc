#include "device/Log.h"
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
  for (std::int32_t i = 0; i < count; ++i) HandleInputData(bytes[i]);
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
