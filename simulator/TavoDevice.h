#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulator/CommandParser.h"
#include "simulator/ScanRecord.h"

namespace quillet::simulator {

/// The properties of a scanner, excluding its serial line.
struct DeviceSettings {
  Model model = Model::kOlder;
  std::string serial = "2104005771";    ///< answer to M, ten characters in real scanners
  std::optional<std::string> firmware;  ///< answer to V; none: a default for the model
  std::string asset = "STOCKROOM-04";   ///< answer to GZSG
  char terminator = '@';                ///< last character of plain answers; some firmware uses '!'
  std::vector<ScanRecord> records;      ///< the stored records
  bool storeLiveScans = true;
  CalendarTime clock = kFirstMoment;  ///< initial time of the scanner's clock
};

/// The maximum number of complaints in a report. The same limit applies to notes. A single entry
/// replaces all further complaints or notes.
inline constexpr std::size_t kMostComplaints = 1000;

/// A report of a scanner's input and actions.
struct DeviceReport {
  std::vector<std::string> commandsSeen;  ///< all received commands, as in Command::text
  std::vector<std::string> complaints;    ///< descriptions of all invalid input
  /// Descriptions of valid but unusual input: requests for records that do not exist, and commands
  /// left unfinished when the port was closed.
  std::vector<std::string> notes;
  std::size_t eraseCount = 0;
  std::optional<CalendarTime> clockSetTo;  ///< time set by the last clock command
};

/// The scanner without its line: processes received bytes and returns answers. Used by one thread
/// at a time.
class TavoDevice {
 public:
  /// Returns the time since a fixed point. Never decreases.
  using TimeSource = std::function<std::chrono::nanoseconds()>;

  /// The scanner's clock advances with `timeSource`. Throws std::length_error if a record is too
  /// long for the model.
  TavoDevice(DeviceSettings settings, TimeSource timeSource);

  /// Processes the next received byte. Returns the command that it completed.
  std::optional<Command> Receive(std::uint8_t byte);
  /// Executes a command and returns the answer. Returns std::nullopt if the requested record does
  /// not exist.
  std::optional<Bytes> Execute(const Command& command);
  /// Scans a barcode. Returns the frame to send. Also stores the record if `storeLiveScans` is set.
  /// Throws std::length_error, and stores nothing, if the data is too long.
  Bytes Scan(const ScanRecord& record);
  /// Drops an incomplete command. Called when the cable is pulled or the computer closes the port.
  void ForgetUnfinishedCommand();

  const std::vector<ScanRecord>& Records() const { return settings_.records; }
  /// Replaces the stored records. Throws std::length_error, and changes nothing, if a record is too
  /// long for the model.
  void SetRecords(std::vector<ScanRecord> records);

  /// The current time of the scanner's clock.
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
