#include "simulator/CommandParser.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace quillet::simulator {
namespace {

struct FixedCommand {
  std::string_view bytes;
  CommandKind kind;
};

/// Every command that consists of the same bytes each time.
constexpr std::array kFixedCommands = std::to_array<FixedCommand>({
    {"W", CommandKind::kWakeUp},
    {"M", CommandKind::kSerialNumber},
    {"V", CommandKind::kFirmware},
    {"GZSG", CommandKind::kAssetNumber},
    {"w0#", CommandKind::kWedgeMode},
    {"w1#", CommandKind::kWedgeMode},
    {"E", CommandKind::kErase},
    {"N", CommandKind::kCountRecords},
    {"GS1", CommandKind::kBeginDownload},
    {"GS0", CommandKind::kEndDownload},
    {"P", CommandKind::kSendAllRecords},
});

constexpr std::size_t kClockCommandSize = 7;
constexpr std::size_t kMostIndexDigits = 8;

std::string_view AsText(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

const FixedCommand* FindFixed(std::string_view bytes) {
  const auto* found = std::find_if(kFixedCommands.begin(), kFixedCommands.end(),
                                   [&](const FixedCommand& each) { return each.bytes == bytes; });
  return found == kFixedCommands.end() ? nullptr : found;
}

bool BeginsFixed(std::string_view bytes) {
  return std::any_of(kFixedCommands.begin(), kFixedCommands.end(), [&](const FixedCommand& each) {
    return each.bytes.substr(0, bytes.size()) == bytes;
  });
}

bool IsIndexDigit(char digit) {
  return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f');
}

/// True for "p", "p1", "p1a", "p1a#": digits without leading zeros, then the end mark.
bool BeginsRecordRequest(std::string_view bytes) {
  if (bytes.front() != 'p') return false;
  std::string_view digits = bytes.substr(1);
  if (!digits.empty() && digits.back() == '#') {
    digits.remove_suffix(1);
    if (digits.empty()) return false;
  }
  const bool leading_zero = digits.size() > 1 && digits.front() == '0';
  return digits.size() <= kMostIndexDigits && !leading_zero &&
         std::all_of(digits.begin(), digits.end(), IsIndexDigit);
}

std::uint32_t ReadIndex(std::string_view request) {
  std::uint32_t index = 0;
  for (const char digit : request.substr(1, request.size() - 2)) {
    index = index * 16 + static_cast<std::uint32_t>(HexDigitValue(digit));
  }
  return index;
}

}  // namespace

CommandParser::Result CommandParser::Feed(std::uint8_t byte) {
  Result result;
  if (!pending_.empty() && !Continues(byte)) {
    result.complaint = "unfinished command " + ToHex(pending_) + " (" + ToReadable(pending_) +
                       ") cut off by byte " + DescribeByte(byte);
    pending_.clear();
  }
  if (pending_.empty()) {
    if (byte == 0) return result;
    if (!Continues(byte)) {
      if (!result.complaint.empty()) result.complaint += "; ";
      result.complaint += "byte " + DescribeByte(byte) + " begins no command";
      return result;
    }
  }
  pending_.push_back(byte);
  if (IsComplete()) result.command = Take();
  return result;
}

Bytes CommandParser::Reset() {
  return std::exchange(pending_, {});
}

bool CommandParser::Continues(std::uint8_t byte) const {
  Bytes bytes = pending_;
  bytes.push_back(byte);
  if (bytes.front() == 'C') return true;
  return BeginsFixed(AsText(bytes)) || BeginsRecordRequest(AsText(bytes));
}

bool CommandParser::IsComplete() const {
  switch (pending_.front()) {
    case 'C':
      return pending_.size() == kClockCommandSize;
    case 'p':
      return pending_.back() == '#';
    default:
      return FindFixed(AsText(pending_)) != nullptr;
  }
}

Command CommandParser::Take() {
  const Bytes bytes = std::exchange(pending_, {});
  const std::string_view text = AsText(bytes);
  Command command;
  command.text = text;
  if (bytes.front() == 'C') {
    command.kind = CommandKind::kSetClock;
    command.text = "C";
    std::copy(bytes.begin() + 1, bytes.end(), command.clock.begin());
  } else if (bytes.front() == 'p') {
    command.kind = CommandKind::kSendOneRecord;
    command.index = ReadIndex(text);
  } else {
    command.kind = FindFixed(text)->kind;
    command.wedge_on = text == "w1#";
  }
  return command;
}

}  // namespace quillet::simulator
