#include "download/RecordDownload.h"

#include <algorithm>
#include <charconv>

#include "base/Log.h"

namespace quillet {
namespace {

using Phase = DisplayState::Phase;

constexpr std::int32_t kRecordWait = 10;
constexpr std::int32_t kBurstWait = 100;
constexpr std::uint8_t kErasedSlot = 0xFF;

}  // namespace

RecordDownload::RecordDownload(SystemLog& log, Lumet& session)
    : log_(log), session_(session), composer_(log, session, session) {
  session.setDownload(this);
}

void RecordDownload::Synchronize() {
  Log(log_, "-[Lumet Synchronize]");
  session_.Show(Phase::kPreparing);
  session_.WakeupTavo(true);
  Log(log_, "-[Lumet Synchronize]", " - After wakeup");
  session_.Queue({0x01, 'N'});
  session_.Queue({0x03, '0', 'S', '1'});
  session_.Queue({0x01, static_cast<std::uint8_t>(session_.bBurstSync ? 'P' : 'p')});
}

void RecordDownload::SynchronizeRecord() {
  for (std::int32_t i = 0; i < session_.SyncEndIndex(); ++i) {
    session_.Show(Phase::kRecords);
    RequestRecord(i);
  }
  session_.Show(Phase::kClosing);
  session_.ConsumeHead();
  session_.Queue({0x03, '1', 'S', '0'});
  if (session_.bClearMemory) session_.Queue({0x01, 'E'});
}

// Sends "p", the index in lower-case hexadecimal and "#". If the scanner does not answer, the
// record is skipped.
void RecordDownload::RequestRecord(std::int32_t index) {
  char command[16] = {'p'};
  const auto number = static_cast<std::uint32_t>(index);
  char* end = std::to_chars(command + 1, command + sizeof command - 1, number, 16).ptr;
  *end++ = '#';
  session_.SetCommand({command, static_cast<std::size_t>(end - command)});
  session_.SendCommandAndWait(kRecordWait);
}

void RecordDownload::SynchronizeBurst() {
  Log(log_, "-[Lumet SynchronizeBurst]");
  if (session_.SyncEndIndex() != 0) {
    session_.TakeCommand();
    session_.Show(Phase::kBurst);
    session_.ExpectBurst();
    session_.SendCommandAndWait(kBurstWait);
  } else if (session_.DropQueue()) {
    session_.Queue({0x03, '1', 'S', '0'});
  }
}

void RecordDownload::SynchronizeOneRecord() {
  RequestRecord(session_.SyncStartIndex());
  session_.ConsumeHead();
}

void RecordDownload::SynchronizeBurstData() {
  // Read only once, since a new connection may reset the count during the loop.
  const std::int32_t received = session_.receive().writePtr();
  const std::int32_t end = std::min(received, ReceiveMachine::kBufferSize);
  const bool is300 = session_.bTavo300;
  for (std::int32_t offset = kLengthBytes; offset < end;) {
    const auto step = static_cast<std::int32_t>(is300 ? session_.MakeInteger(offset, 2)
                                                      : session_.MakeInteger(offset, 1) + 1);
    const std::uint32_t symbology = session_.MakeInteger(offset + (is300 ? 2 : 1), 1);
    Log(log_, "-[Lumet SynchronizeBurstData]", "[", received, ":", offset, ":", step, "]");
    // A length of 0 would cause an endless loop. A record that exceeds the buffer is incomplete.
    // All other lengths are accepted.
    if (step == 0 || step > ReceiveMachine::kBufferSize - offset) {
      Log(log_, "-[Lumet SynchronizeBurstData]", ": invalid length, remaining records skipped");
      break;
    }
    if (symbology != kErasedSlot) Deliver(offset);
    offset += step;
  }
  session_.Show(Phase::kClosing);
  // The scanner must be woken again after the long transfer.
  session_.Queue({0x01, 'W'});
  session_.Queue({0x03, '1', 'S', '0'});
}

void RecordDownload::SynchronizeData() {
  Deliver(kLengthBytes);
}

void RecordDownload::Deliver(std::int32_t offset) {
  DecodeRecordText(composer_.Compose(session_.receive().RxBuffer(), offset), line_);
  if (LumetDelegate* owner = session_.delegate()) owner->DisplayBarcode(line_);
}

}  // namespace quillet
