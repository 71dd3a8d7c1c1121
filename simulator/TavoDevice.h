#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/CommandParser.h"
#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// The properties of a scanner without its line.
struct DeviceSettings {
  Model model = Model::kOlder;
  /// Answer to M. A genuine serial number has ten characters.
  std::string serial = "2104005771";
  /// Answer to V. If absent, a text of ten characters that suits the model.
  std::optional<std::string> firmware;
  /// Answer to GZSG.
  std::string asset = "STOCKROOM-04";
  /// Ends every plain answer: '@', or '!' as in some firmware.
  char terminator = '@';
  /// What is stored at first.
  std::vector<ScanRecord> records;
  /// Whether a live scan is also stored.
  bool storeLiveScans = true;
  /// What the scanner's clock shows at first.
  CalendarTime clock = kFirstMoment;
};

/// The number of complaints, and of notes, that a scanner lists. One more says that there are more.
inline constexpr std::size_t kMostComplaints = 1000;

/// What a scanner has received and done.
struct DeviceReport {
  /// Every command that arrived, in order, as in Command::text.
  std::vector<std::string> commandsSeen;
  /// Everything received that is not a valid command, in words, in order.
  std::vector<std::string> complaints;
  /// Valid but remarkable: a request for a record that does not exist, a command left unfinished
  /// when the port was closed.
  std::vector<std::string> notes;
  /// How often the memory was erased.
  std::size_t eraseCount = 0;
  /// The moment that the last clock command set; nothing before the first.
  std::optional<CalendarTime> clockSetTo;
};

/// The scanner itself: bytes in, answers out. It has no line, no threads and no clock except the
/// one that it is given, and knows nothing of its peer. Used by one thread at a time.
class TavoDevice {
 public:
  /// Time since any fixed moment; it never decreases.
  using TimeSource = std::function<std::chrono::nanoseconds()>;

  /// The scanner's clock advances with `timeSource`. Throws std::length_error if a record's data
  /// is too long for the model.
  TavoDevice(DeviceSettings settings, TimeSource timeSource);

  /// Reads the next byte from the line; returns the command that it completed.
  std::optional<Command> Receive(std::uint8_t byte);

  /// Carries the command out and returns the answer. A request for a record that does not exist has
  /// no answer.
  std::optional<Bytes> Execute(const Command& command);

  /// The trigger is pressed: stores the record if the settings say so, and returns the frame that
  /// the scanner sends unasked. Throws std::length_error, and does nothing, if the record's data is
  /// too long.
  Bytes Scan(const ScanRecord& record);

  /// The cable is pulled, or the computer closes the port.
  void ForgetUnfinishedCommand();

  const std::vector<ScanRecord>& Records() const { return settings_.records; }
  /// Replaces what is stored. Throws std::length_error, and does nothing, if a record's data is too
  /// long for the model.
  void SetRecords(std::vector<ScanRecord> records);

  /// What the scanner's clock shows now.
  CalendarTime ClockNow() const;
  const DeviceReport& Report() const { return report_; }

 private:
  Bytes AllRecordsAnswer();
  std::optional<Bytes> OneRecordAnswer(std::uint32_t index);
  void SetClock(const std::array<std::uint8_t, 6>& fields);

  DeviceSettings settings_;
  TimeSource timeSource_;
  CommandParser parser_;
  CalendarTime clockBase_;
  std::chrono::nanoseconds clockBaseAt_;
  std::size_t bytesReceived_ = 0;
  DeviceReport report_;
};

}  // namespace quillet::simulator
