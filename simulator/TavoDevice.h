#pragma once

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

/// What a scanner is made with.
struct DeviceSettings {
  Model model = Model::kOlder;
  /// Answer to M. A genuine serial number has ten characters.
  std::string serial = "2104005771";
  /// Answer to V. When absent, a text of ten characters that suits the model.
  std::optional<std::string> firmware;
  /// Answer to GZSG.
  std::string asset = "STOCKROOM-04";
  /// Ends every plain answer: '@', or '!' as some firmware has it.
  char terminator = '@';
  /// What is stored; more can be scanned later.
  std::vector<ScanRecord> records;
  /// Whether a live scan is stored besides being sent.
  bool store_live_scans = true;
  /// What the scanner's clock shows when it is made.
  CalendarTime clock;
};

/// The firmware text of a scanner of this model that was told no other.
std::string DefaultFirmware(Model model);

/// The scanner itself: bytes in, answers out. It has no line, no threads and no clock but the one
/// it is given, and it knows nothing about who talks to it.
///
/// Not for use by two threads at a time.
class TavoDevice {
 public:
  /// Time since any fixed moment, never going back.
  using TimeSource = std::function<std::chrono::nanoseconds()>;

  /// The scanner's clock advances with `time_source`. Throws std::length_error when a record's data
  /// is too long for the model.
  TavoDevice(DeviceSettings settings, TimeSource time_source);

  /// Takes the next byte from the line; returns the command that it completed, which is listed in
  /// commands_seen() from then on. What is wrong goes to complaints().
  std::optional<Command> Receive(std::uint8_t byte);

  /// Carries the command out and returns the answer; nothing when the scanner does not answer,
  /// which is the case for the index of a record that it does not have.
  std::optional<Bytes> Execute(const Command& command);

  /// Receive() and Execute() for each of the bytes: all the answers, one behind the other.
  Bytes Exchange(const Bytes& bytes);

  /// The trigger is pressed: stores the record if the settings say so, and returns the frame that
  /// the scanner sends unasked. Throws std::length_error, and does nothing, when the record's data
  /// is too long.
  Bytes Scan(const ScanRecord& record);

  /// The cable is pulled, or the computer closes the port: an unfinished command is forgotten.
  void ForgetUnfinishedCommand();

  const std::vector<ScanRecord>& records() const { return settings_.records; }
  /// Replaces what is stored. Throws std::length_error, and does nothing, when a record's data is
  /// too long for the model.
  void SetRecords(std::vector<ScanRecord> records);

  const DeviceSettings& settings() const { return settings_; }
  /// The answer to V, without its terminator.
  std::string firmware() const;
  /// What the scanner's clock shows now.
  CalendarTime clock() const;
  /// The moment that the last clock command set; nothing before the first.
  std::optional<CalendarTime> clock_set_to() const { return clock_set_to_; }
  /// How often the memory was erased.
  std::size_t erase_count() const { return erase_count_; }
  /// What the last w command said; false before the first.
  bool wedge_mode() const { return wedge_mode_; }

  /// Every command that arrived, in order, as in Command::text.
  const std::vector<std::string>& commands_seen() const { return commands_seen_; }
  /// Everything received that is not a valid command, in words, in order. After the first
  /// kMostComplaints there is one more entry that says so, and no further ones.
  const std::vector<std::string>& complaints() const { return complaints_; }
  /// What was valid and yet remarkable: a record asked for that is not there, a command left
  /// unfinished when the port was closed. Limited like complaints().
  const std::vector<std::string>& notes() const { return notes_; }

  static constexpr std::size_t kMostComplaints = 1000;

 private:
  Bytes PlainAnswer(std::string_view text) const;
  Bytes CountAnswer() const;
  Bytes AllRecordsAnswer();
  std::optional<Bytes> OneRecordAnswer(std::uint32_t index);
  void SetClock(const std::array<std::uint8_t, 6>& fields);

  DeviceSettings settings_;
  TimeSource time_source_;
  CommandParser parser_;
  CalendarTime clock_base_;
  std::chrono::nanoseconds clock_base_at_;
  std::optional<CalendarTime> clock_set_to_;
  std::size_t erase_count_ = 0;
  std::size_t bytes_received_ = 0;
  bool wedge_mode_ = false;
  std::vector<std::string> commands_seen_;
  std::vector<std::string> complaints_;
  std::vector<std::string> notes_;
};

}  // namespace quillet::simulator
