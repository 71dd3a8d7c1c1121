#include "simulator/CommandParser.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "simulator/Bytes.h"
#include "simulator/Input.h"

namespace quillet::simulator {
namespace {

struct FixedCommand {
  std::string_view name;
  CommandKind kind;
};

/// The commands without parameters.
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

/// Returns true if the bytes are the beginning of a request such as "p1a#". The number has no
/// leading zeros.
bool BeginsRecordRequest(std::string_view bytes) {
  if (bytes.front() != 'p') return false;
  std::string_view digits = bytes.substr(1);
  if (digits.ends_with('#')) {
    digits.remove_suffix(1);
    if (digits.empty()) return false;
  }
  return digits.size() <= kMostIndexDigits && (digits.size() < 2 || digits.front() != '0') &&
         digits.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string Describe(char byte) {
  const Bytes bytes = ToBytes({&byte, 1});
  const bool printable = byte == '.' || ToReadable(bytes) != ".";
  return "byte 0x" + ToHex(bytes) + (printable ? " '" + ToReadable(bytes) + "'" : "");
}

}  // namespace

CommandParser::Result CommandParser::Feed(std::uint8_t byte) {
  Result result;
  const auto letter = static_cast<char>(byte);
  if (!pending_.empty() && !Continues(letter)) {
    const Bytes unfinished = ToBytes(pending_);
    result.complaint = "incomplete command " + ToHex(unfinished) + " (" + ToReadable(unfinished) +
                       ") before " + Describe(letter);
    pending_.clear();
  }
  if (pending_.empty()) {
    if (byte == 0) return result;
    if (!Continues(letter)) {
      if (!result.complaint.empty()) result.complaint += "; ";
      result.complaint += Describe(letter) + " is not the start of a command";
      return result;
    }
  }
  pending_ += letter;
  if (IsComplete()) result.command = Take();
  return result;
}

bool CommandParser::Continues(char byte) const {
  const std::string bytes = pending_ + byte;
  return bytes.front() == 'C' || BeginsRecordRequest(bytes) ||
         std::any_of(kFixedCommands.begin(), kFixedCommands.end(),
                     [&](const FixedCommand& each) { return each.name.starts_with(bytes); });
}

bool CommandParser::IsComplete() const {
  if (pending_.front() == 'C') return pending_.size() == kClockCommandSize;
  if (pending_.front() == 'p') return pending_.back() == '#';
  return FindByName(kFixedCommands, pending_) != nullptr;
}

Command CommandParser::Take() {
  Command command;
  command.text = std::exchange(pending_, {});
  if (command.text.front() == 'C') {
    command.kind = CommandKind::kSetClock;
    std::copy_n(command.text.begin() + 1, command.clock.size(), command.clock.begin());
    command.text.resize(1);
  } else if (command.text.front() == 'p') {
    command.kind = CommandKind::kSendOneRecord;
    const char* const digits = command.text.data() + 1;
    std::from_chars(digits, command.text.data() + command.text.size() - 1, command.index, 16);
  } else {
    command.kind = FindByName(kFixedCommands, command.text)->kind;
  }
  return command;
}

}  // namespace quillet::simulator
