#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "simulator/Options.h"

namespace quillet::simulator {

class Alarm;
class ScannerOnLine;

/// A simulated scanner that lives on a thread of its own behind a terminal device.
///
///     Options options = Options::Instant();
///     options.device.records = StockTaking(130, Model::kOlder);
///     Simulator scanner(options);
///     scanner.Start();
///     ... open scanner.path() as a serial port, talk to it ...
///     ASSERT_TRUE(scanner.WaitForCommand("GS0"));
///     EXPECT_TRUE(scanner.complaints().empty());
///
/// Every operation may be called from any thread, except that Start() and Stop() are for one thread
/// at a time. All results are copies.
class Simulator {
 public:
  using Milliseconds = std::chrono::milliseconds;
  static constexpr Milliseconds kPatience{10'000};

  /// Throws std::length_error when a record is too long for the model, std::system_error when the
  /// transcript's file cannot be written.
  explicit Simulator(Options options);
  /// Stops it.
  ~Simulator();
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  /// Plugs it in and starts its thread; faults count from the first time. When this returns, path()
  /// can be opened. Throws std::system_error when the line or the link cannot be made. Does nothing
  /// when started.
  void Start();
  /// Unplugs it and ends its thread. Does nothing when stopped. What it has seen can still be
  /// asked.
  void Stop();

  /// The path to open: the link if there is one, else the line itself. "" before the first Start().
  std::string path() const;
  /// The terminal device itself; a different one after each Plug().
  std::string line_path() const;

  /// Pulls the cable at once: when this returns, the port has hung up and the link is gone. A
  /// device node is only closed: its far end learns of it as the device's driver has it.
  void Unplug();
  /// Puts the cable in: when this returns, path() can be opened. Throws as Start().
  void Plug();
  bool IsPlugged() const;
  /// Whether the computer has the port open; noticed within a few milliseconds.
  bool IsPortOpen() const;

  /// Somebody scans a barcode: its frame comes unasked, after the answer under way. Throws
  /// std::length_error when the data is too long.
  void Scan(const ScanRecord& record);
  /// The same with the time of the scanner's own clock.
  void Scan(std::uint8_t symbology, std::string_view data);

  /// Arms one more fault, counted from now, as "on P delay 700" (see FaultHelp()). Throws
  /// InputError.
  void AddFault(std::string_view rule);

  std::vector<ScanRecord> records() const;
  /// Throws std::length_error, and changes nothing, when a record is too long for the model.
  void SetRecords(std::vector<ScanRecord> records);

  /// Every command received, in order: {"W", "M", "V", "w1#", "C", "W", "N", "GS1", "P", "W"}.
  std::vector<std::string> commands_seen() const;
  /// How often this command was received.
  std::size_t CountOf(std::string_view command) const;
  /// Everything received that is not a valid command. Empty is what a test wants to see.
  std::vector<std::string> complaints() const;
  /// What was valid and yet remarkable, such as a request for a record that is not there.
  std::vector<std::string> notes() const;

  std::size_t erase_count() const;
  /// The moment that the last clock command set; nothing before the first.
  std::optional<CalendarTime> clock_set_to() const;
  /// What the scanner's clock shows now.
  CalendarTime clock() const;

  /// Bytes sent and received since plugging in.
  std::uint64_t sent_bytes() const;
  std::uint64_t received_bytes() const;
  /// Bytes sent while the computer had its port closed, since the start.
  std::uint64_t lost_bytes() const;
  /// What passed on the line; all that the computer has read is in it.
  const Transcript& transcript() const;

  /// Waits until the condition holds; it is asked on the calling thread whenever something has
  /// happened, and every few milliseconds. False when the time is over before.
  bool WaitFor(const std::function<bool()>& condition, Milliseconds timeout = kPatience) const;
  /// Waits until this command was received so many times since the start.
  bool WaitForCommand(std::string_view command, std::size_t times = 1,
                      Milliseconds timeout = kPatience) const;
  /// Waits until the computer has opened, or closed, the port.
  bool WaitForPort(bool open, Milliseconds timeout = kPatience) const;
  /// Waits until nothing is left to be sent.
  bool WaitForQuiet(Milliseconds timeout = kPatience) const;

 private:
  void Run();
  /// Carries the action out while the thread is not waiting on the line, and has it take a turn.
  void Change(const std::function<void()>& action);

  const Options options_;
  Transcript transcript_;
  std::unique_ptr<Alarm> alarm_;

  mutable std::mutex mutex_;  ///< guards what follows
  std::unique_ptr<ScannerOnLine> scanner_;
  bool stopping_ = false;
  bool waiting_on_line_ = false;  ///< the thread is waiting for the line, without the mutex
  int changes_ = 0;               ///< callers of Change() that the thread lets go first
  std::uint64_t turns_ = 0;
  mutable std::condition_variable turned_;

  std::thread thread_;
};

}  // namespace quillet::simulator
