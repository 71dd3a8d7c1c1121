#include <algorithm>
#include <charconv>

#include "base/Log.h"
#include "device/Lumet.h"
#include "device/ReceiveState.h"

namespace quillet {
namespace {

constexpr std::int32_t kRecordWait = 10;
constexpr std::int32_t kBurstWait = 100;
constexpr std::uint8_t kErasedSlot = 0xFF;

// "p", the index in lower-case hexadecimal, "#".
class RecordCommand {
 public:
  explicit RecordCommand(std::int32_t index) {
    text_[0] = 'p';
    char* end =
        std::to_chars(text_ + 1, text_ + sizeof text_ - 1, static_cast<std::uint32_t>(index), 16)
            .ptr;
    *end++ = '#';
    length_ = static_cast<std::size_t>(end - text_);
  }
  operator std::string_view() const { return {text_, length_}; }

 private:
  char text_[16];
  std::size_t length_;
};

}  // namespace

void Lumet::Synchronize() {
  Log(log_, "-[Lumet Synchronize]");
  WakeupTavo(true);
  Log(log_, "-[Lumet Synchronize]", " - After wakeup");
  Queue({0x01, 'N'});
  Queue({0x03, '0', 'S', '1'});
  Queue({0x01, static_cast<std::uint8_t>(bBurstSync ? 'P' : 'p')});
}

void Lumet::SynchronizeRecord() {
  for (std::int32_t i = 0; i < SyncEndIndex; ++i) {
    SetCommand(RecordCommand(i));
    bCommandDone = 0;
    SendCommandAndWait(kRecordWait);  // a record that is not answered is left out
  }
  ConsumeHead();
  Queue({0x03, '1', 'S', '0'});
  if (bClearMemory) Queue({0x01, 'E'});
}

void Lumet::SynchronizeBurst() {
  Log(log_, "-[Lumet SynchronizeBurst]");
  if (SyncEndIndex != 0) {
    TakeCommand();
    bCommandDone = 0;
    state = kBurstLength;
    SendCommandAndWait(kBurstWait);
  } else {
    cmdArray.Reset();
    Queue({0x03, '1', 'S', '0'});
  }
}

void Lumet::SynchronizeOneRecord() {
  SetCommand(RecordCommand(SyncStartIndex));
  bCommandDone = 0;
  SendCommandAndWait(kRecordWait);
  ConsumeHead();
}

void Lumet::SynchronizeBurstData() {
  // All of them are here, whatever a new connection does to the count meanwhile.
  const std::int32_t received = writePtr;
  const std::int32_t end = std::min(received, kRxBufferSize);
  for (std::int32_t offset = kLengthBytes; offset < end;) {
    const std::int32_t step =
        static_cast<std::int32_t>(bTavo300 ? MakeInteger(offset, 2) : MakeInteger(offset, 1) + 1);
    const std::uint32_t symbology = MakeInteger(offset + (bTavo300 ? 2 : 1), 1);
    Log(log_, "-[Lumet SynchronizeBurstData]", "[", received, ":", offset, ":", step, "]");
    // A record without any length cannot be stepped over, and one that runs out of the buffer is
    // not what was scanned: the walk ends there. Otherwise lengths are trusted as they come.
    if (step == 0 || step > kRxBufferSize - offset) {
      Log(log_, "-[Lumet SynchronizeBurstData]", ": the rest is left out");
      break;
    }
    BufferOffset = offset;
    if (symbology != kErasedSlot) SynchronizeData();
    offset += step;
  }
  // The scanner is woken again after the long transfer, before the closing command.
  Queue({0x01, 'W'});
  Queue({0x03, '1', 'S', '0'});
}

}  // namespace quillet
