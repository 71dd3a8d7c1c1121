#include "download/RecordDownload.h"

#include <algorithm>
#include <charconv>

#include "base/Log.h"
#include "device/RecordArchive.h"
#include "download/StoredRecords.h"

namespace quillet {
namespace {

using Phase = DisplayState::Phase;

constexpr std::int32_t kRecordWait = 10;
constexpr std::int32_t kBurstWait = 100;

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
  if (LumetDelegate* owner = session_.delegate()) owner->AwaitDelivery();
  for (std::int32_t i = 0; i < session_.SyncEndIndex(); ++i) {
    session_.Show(Phase::kRecords);
    session_.counts().RecordRequested();
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
  // The count is read only once, because a new connection may reset it during the loop.
  const std::int32_t received = session_.receive().writePtr();
  const std::int32_t end = std::min(received, ReceiveMachine::kBufferSize);
  RecordArchive* const archive = session_.archive();
  const auto buffer = session_.receive().RxBuffer();
  if (archive && end > kLengthBytes) {
    archive->KeepBurst(buffer.subspan(kLengthBytes, static_cast<std::size_t>(end - kLengthBytes)));
  }
  DownloadCounts& counts = session_.counts();
  counts.BurstArchived(CountBurstRecords(buffer, kLengthBytes, end, session_.bTavo300));
  const std::int32_t walked = ForEachBurstRecord(
      buffer, kLengthBytes, end, session_.bTavo300,
      [&](std::int32_t offset, std::int32_t step, bool usable) {
        Log(log_, "-[Lumet SynchronizeBurstData]", "[", received, ":", offset, ":", step, "]");
        if (!usable) return;
        counts.BurstRecordDelivered();  // before Deliver, which counts the record as delivered
        Deliver(offset);
      });
  if (walked < end) {
    Log(log_, "-[Lumet SynchronizeBurstData]", ": invalid length, remaining records skipped");
  }
  // An answer without records may be shorter than the length field.
  if (archive) archive->BurstDelivered(walked == std::max(received, kLengthBytes));
  session_.Show(Phase::kClosing);
  // The scanner must be woken again after the long transfer.
  session_.Queue({0x01, 'W'});
  session_.Queue({0x03, '1', 'S', '0'});
}

void RecordDownload::SynchronizeData() {
  // Keeps all bytes that the composer may read, because the frame's length or the record's length
  // may be wrong.
  const std::int32_t frame = session_.receive().totallength() - kLengthBytes;
  const auto records = session_.receive().RxBuffer().subspan(kLengthBytes);
  KeepFrame(std::max(frame, RecordLength(records, 0, session_.bTavo300)));
  Deliver(kLengthBytes);
}

// The layout is unknown until the scanner has sent its firmware version, so both layouts are tried.
void RecordDownload::KeepMisplacedRecord() {
  constexpr std::int32_t kShortestRecord = 6;
  const std::int32_t frame = session_.receive().totallength() - kLengthBytes;
  const auto records = session_.receive().RxBuffer().subspan(kLengthBytes);
  const bool isRecord =
      RecordLength(records, 0, false) == frame || RecordLength(records, 0, true) == frame;
  if (isRecord && frame >= kShortestRecord) KeepFrame(frame);
}

void RecordDownload::KeepFrame(std::int32_t length) {
  const auto records = session_.receive().RxBuffer().subspan(kLengthBytes);
  if (RecordArchive* const archive = session_.archive()) {
    archive->KeepRecord(records.first(std::min(static_cast<std::size_t>(length), records.size())));
  }
  session_.counts().RecordArchived();
}

void RecordDownload::Deliver(std::int32_t offset) {
  DecodeRecordText(composer_.Compose(session_.receive().RxBuffer(), offset), line_);
  if (LumetDelegate* owner = session_.delegate()) owner->DisplayBarcode(line_);
}

}  // namespace quillet
