#include "simulator/TavoDevice.h"

#include <utility>

namespace quillet::simulator {
namespace {

constexpr std::uint8_t kFrameStart = 0x03;
constexpr std::uint8_t kFrameEnd = '@';
constexpr std::size_t kFrameLengthSize = 3;
constexpr std::size_t kLongestFrame = 0xFFFFFF;

/// Returns the lead bytes, three length bytes and the content. The length includes the length
/// bytes.
Bytes Frame(Bytes lead, const Bytes& content) {
  AppendBigEndian(lead, kFrameLengthSize + content.size(), kFrameLengthSize);
  Append(lead, content);
  return lead;
}

/// Throws std::length_error, like Encode(), if a record is too long.
void CheckSizes(const std::vector<ScanRecord>& records, Model model) {
  for (const ScanRecord& record : records) {
    if (record.data.size() > MaxDataSize(model)) Encode(record, model);
  }
}

void AddLimited(std::vector<std::string>& list, std::string text) {
  if (list.size() > kMostComplaints) return;
  if (list.size() == kMostComplaints) text = "further problems are not listed";
  list.push_back(std::move(text));
}

}  // namespace

TavoDevice::TavoDevice(DeviceSettings settings, TimeSource timeSource)
    : settings_(std::move(settings)),
      timeSource_(std::move(timeSource)),
      clockBase_(settings_.clock),
      clockBaseAt_(timeSource_()) {
  CheckSizes(settings_.records, settings_.model);
  if (!settings_.firmware) {
    settings_.firmware = settings_.model == Model::kOlder ? "0.00.41000" : "1.00.42010";
  }
}

std::optional<Command> TavoDevice::Receive(std::uint8_t byte) {
  bytesReceived_ += 1;
  CommandParser::Result result = parser_.Feed(byte);
  if (!result.complaint.empty()) {
    AddLimited(report_.complaints,
               "byte " + std::to_string(bytesReceived_) + " received: " + result.complaint);
  }
  if (result.command) report_.commandsSeen.push_back(result.command->text);
  return std::move(result.command);
}

std::optional<Bytes> TavoDevice::Execute(const Command& command) {
  Bytes answer;
  switch (command.kind) {
    case CommandKind::kWakeUp:
    case CommandKind::kWedgeMode:
    case CommandKind::kBeginDownload:
    case CommandKind::kEndDownload:
      break;
    case CommandKind::kSerialNumber:
      answer = ToBytes(settings_.serial);
      break;
    case CommandKind::kFirmware:
      answer = ToBytes(*settings_.firmware);
      break;
    case CommandKind::kAssetNumber:
      answer = ToBytes(settings_.asset);
      break;
    case CommandKind::kSetClock:
      SetClock(command.clock);
      break;
    case CommandKind::kErase:
      settings_.records.clear();
      report_.eraseCount += 1;
      break;
    case CommandKind::kCountRecords:
      AppendBigEndian(answer, settings_.records.size(), 4);
      break;
    case CommandKind::kSendAllRecords:
      return AllRecordsAnswer();
    case CommandKind::kSendOneRecord:
      return OneRecordAnswer(command.index);
  }
  answer.push_back(static_cast<std::uint8_t>(settings_.terminator));
  return answer;
}

Bytes TavoDevice::Scan(const ScanRecord& record) {
  Bytes frame = Frame({kFrameStart}, Encode(record, settings_.model));
  frame.push_back(kFrameEnd);
  if (settings_.storeLiveScans) settings_.records.push_back(record);
  return frame;
}

void TavoDevice::SetRecords(std::vector<ScanRecord> records) {
  CheckSizes(records, settings_.model);
  settings_.records = std::move(records);
}

void TavoDevice::ForgetUnfinishedCommand() {
  const std::string unfinished = parser_.Reset();
  if (!unfinished.empty()) {
    AddLimited(report_.notes,
               "the port was closed during the command " + ToHex(ToBytes(unfinished)));
  }
}

CalendarTime TavoDevice::ClockNow() const {
  const auto elapsed = std::chrono::floor<std::chrono::seconds>(timeSource_() - clockBaseAt_);
  return AddSeconds(clockBase_, elapsed.count());
}

Bytes TavoDevice::AllRecordsAnswer() {
  Bytes content;
  for (std::size_t index = 0; index < settings_.records.size(); ++index) {
    const Bytes record = Encode(settings_.records[index], settings_.model);
    // The length field of a frame has 24 bits. Records that do not fit are not sent.
    if (kFrameLengthSize + content.size() + record.size() > kLongestFrame) {
      AddLimited(report_.notes, "record " + std::to_string(index) +
                                    " and all later records do not fit in the answer to P");
      break;
    }
    Append(content, record);
  }
  return Frame({}, content);
}

std::optional<Bytes> TavoDevice::OneRecordAnswer(std::uint32_t index) {
  if (index >= settings_.records.size()) {
    AddLimited(report_.notes, "record " + std::to_string(index) + " was requested, but only " +
                                  std::to_string(settings_.records.size()) + " are stored");
    return std::nullopt;
  }
  return Frame({kFrameStart}, Encode(settings_.records[index], settings_.model));
}

void TavoDevice::SetClock(const std::array<std::uint8_t, 6>& fields) {
  const CalendarTime time{2000 + fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
  if (!IsValid(time)) {
    AddLimited(report_.complaints, "the clock command has an invalid date or time: " +
                                       ToHex({fields.begin(), fields.end()}));
    return;
  }
  clockBase_ = time;
  clockBaseAt_ = timeSource_();
  report_.clockSetTo = time;
}

}  // namespace quillet::simulator
