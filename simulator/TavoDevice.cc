#include "simulator/TavoDevice.h"

#include <utility>

namespace quillet::simulator {
namespace {

constexpr std::uint8_t kFrameStart = 0x03;
constexpr std::uint8_t kFrameEnd = '@';
constexpr std::size_t kFrameLengthSize = 3;
constexpr std::size_t kLongestFrame = 0xFFFFFF;

/// The three length bytes, which count themselves, and what they announce.
Bytes WithFrameLength(const Bytes& content) {
  Bytes frame;
  frame.reserve(kFrameLengthSize + content.size());
  AppendBigEndian(frame, static_cast<std::uint32_t>(kFrameLengthSize + content.size()), 3);
  Append(frame, content);
  return frame;
}

Bytes RecordFrame(const Bytes& record) {
  Bytes frame{kFrameStart};
  Append(frame, WithFrameLength(record));
  return frame;
}

/// Encode() throws for a record that is too long; better now than in the middle of an answer.
void CheckSizes(const std::vector<ScanRecord>& records, Model model) {
  for (const ScanRecord& record : records) {
    if (record.data.size() > MaxDataSize(model)) Encode(record, model);
  }
}

void AddLimited(std::vector<std::string>& list, std::string text) {
  if (list.size() < TavoDevice::kMostComplaints) {
    list.push_back(std::move(text));
  } else if (list.size() == TavoDevice::kMostComplaints) {
    list.push_back("there is more, not listed");
  }
}

}  // namespace

std::string DefaultFirmware(Model model) {
  return model == Model::kOlder ? "0.00.41000" : "1.00.42010";
}

TavoDevice::TavoDevice(DeviceSettings settings, TimeSource time_source)
    : settings_(std::move(settings)),
      time_source_(std::move(time_source)),
      clock_base_(settings_.clock),
      clock_base_at_(time_source_()) {
  CheckSizes(settings_.records, settings_.model);
}

std::optional<Command> TavoDevice::Receive(std::uint8_t byte) {
  bytes_received_ += 1;
  CommandParser::Result result = parser_.Feed(byte);
  if (!result.complaint.empty()) {
    AddLimited(complaints_,
               "byte " + std::to_string(bytes_received_) + " received: " + result.complaint);
  }
  if (result.command) commands_seen_.push_back(result.command->text);
  return std::move(result.command);
}

std::optional<Bytes> TavoDevice::Execute(const Command& command) {
  switch (command.kind) {
    case CommandKind::kWakeUp:
    case CommandKind::kBeginDownload:
    case CommandKind::kEndDownload:
      return PlainAnswer("");
    case CommandKind::kSerialNumber:
      return PlainAnswer(settings_.serial);
    case CommandKind::kFirmware:
      return PlainAnswer(firmware());
    case CommandKind::kAssetNumber:
      return PlainAnswer(settings_.asset);
    case CommandKind::kWedgeMode:
      wedge_mode_ = command.wedge_on;
      return PlainAnswer("");
    case CommandKind::kSetClock:
      SetClock(command.clock);
      return PlainAnswer("");
    case CommandKind::kErase:
      settings_.records.clear();
      erase_count_ += 1;
      return PlainAnswer("");
    case CommandKind::kCountRecords:
      return CountAnswer();
    case CommandKind::kSendAllRecords:
      return AllRecordsAnswer();
    case CommandKind::kSendOneRecord:
      return OneRecordAnswer(command.index);
  }
  return std::nullopt;
}

Bytes TavoDevice::Exchange(const Bytes& bytes) {
  Bytes answers;
  for (const std::uint8_t byte : bytes) {
    const auto command = Receive(byte);
    if (!command) continue;
    if (const auto answer = Execute(*command)) Append(answers, *answer);
  }
  return answers;
}

Bytes TavoDevice::Scan(const ScanRecord& record) {
  Bytes frame = RecordFrame(Encode(record, settings_.model));
  frame.push_back(kFrameEnd);
  if (settings_.store_live_scans) settings_.records.push_back(record);
  return frame;
}

void TavoDevice::SetRecords(std::vector<ScanRecord> records) {
  CheckSizes(records, settings_.model);
  settings_.records = std::move(records);
}

void TavoDevice::ForgetUnfinishedCommand() {
  const Bytes unfinished = parser_.Reset();
  if (!unfinished.empty()) {
    AddLimited(notes_, "the line was cut within the command " + ToHex(unfinished));
  }
}

std::string TavoDevice::firmware() const {
  return settings_.firmware.value_or(DefaultFirmware(settings_.model));
}

CalendarTime TavoDevice::clock() const {
  const auto elapsed = std::chrono::floor<std::chrono::seconds>(time_source_() - clock_base_at_);
  return AddSeconds(clock_base_, elapsed.count());
}

Bytes TavoDevice::PlainAnswer(std::string_view text) const {
  Bytes answer = ToBytes(text);
  answer.push_back(static_cast<std::uint8_t>(settings_.terminator));
  return answer;
}

Bytes TavoDevice::CountAnswer() const {
  Bytes answer;
  AppendBigEndian(answer, static_cast<std::uint32_t>(settings_.records.size()), 4);
  answer.push_back(static_cast<std::uint8_t>(settings_.terminator));
  return answer;
}

Bytes TavoDevice::AllRecordsAnswer() {
  Bytes content;
  for (std::size_t index = 0; index < settings_.records.size(); ++index) {
    const Bytes record = Encode(settings_.records[index], settings_.model);
    // A frame's length has 24 bits. What does not fit stays in the scanner, as whole records.
    if (kFrameLengthSize + content.size() + record.size() > kLongestFrame) {
      AddLimited(notes_, "records from number " + std::to_string(index) +
                             " on do not fit into the answer to P");
      break;
    }
    Append(content, record);
  }
  return WithFrameLength(content);
}

std::optional<Bytes> TavoDevice::OneRecordAnswer(std::uint32_t index) {
  if (index >= settings_.records.size()) {
    AddLimited(notes_, "record " + std::to_string(index) + " was asked for; there are " +
                           std::to_string(settings_.records.size()));
    return std::nullopt;
  }
  return RecordFrame(Encode(settings_.records[index], settings_.model));
}

void TavoDevice::SetClock(const std::array<std::uint8_t, 6>& fields) {
  const CalendarTime time{2000 + fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
  if (!IsValid(time)) {
    AddLimited(complaints_, "the clock command holds no valid date and time: " +
                                ToHex({fields.begin(), fields.end()}));
    return;
  }
  clock_base_ = time;
  clock_base_at_ = time_source_();
  clock_set_to_ = time;
}

}  // namespace quillet::simulator
