#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include "simulator/ScannerOnLine.h"
#include "simulator/Transcript.h"

namespace quillet::simulator {

class Alarm;

/// A simulated scanner with its own thread, at the other end of a terminal device.
///
///     Options options = Options::Instant();
///     options.device.records = StockTaking(130, Model::kOlder);
///     Simulator scanner(options);
///     scanner.Start();
///     ... open scanner.Path() as a serial port, download the records ...
///     ASSERT_TRUE(scanner.WaitForCommand("GS0"));
///     EXPECT_TRUE(scanner.Report().complaints.empty());
///
/// Any thread may call any function, but Start() and Stop() must not run at the same time.
class Simulator {
 public:
  using Milliseconds = std::chrono::milliseconds;
  static constexpr Milliseconds kPatience{10'000};

  /// Throws the exceptions of the TavoDevice and Transcript constructors.
  explicit Simulator(Options options);
  ~Simulator();

  /// Plugs the scanner in and starts its thread, unless the thread is already running. Path() can
  /// then be opened. Throws std::system_error if the line or the link cannot be created.
  void Start();
  /// Unplugs the scanner and ends its thread. Report() and GetTranscript() remain usable.
  void Stop();

  /// Returns the path to open: the symbolic link if the options name one, otherwise the terminal.
  /// Empty before Start().
  std::string Path() const;
  /// Pulls the cable. When the call returns, the port has hung up and the link has been removed.
  /// If the options name a `deviceNode`, only closes the device.
  void Unplug() {
    Change([this] { scanner_.Unplug(Clock::now()); });
  }
  /// Plugs the cable in. Path() can be opened afterwards. Throws like Start().
  void Plug() {
    Change([this] { scanner_.Plug(Clock::now()); });
  }
  bool IsPlugged() const { return Ask(&ScannerOnLine::IsPlugged); }
  /// Returns true if the computer has the port open. Updated every few milliseconds.
  bool IsPortOpen() const { return Ask(&ScannerOnLine::IsPortOpen); }

  /// Scans a barcode. The frame is sent after any pending answer. Throws std::length_error if the
  /// data is too long.
  void Scan(const ScanRecord& record);
  /// Scans a barcode at the current time of the scanner's clock.
  void Scan(std::uint8_t symbology, std::string_view data);
  /// Adds a fault such as "on P delay 700". Bytes, time and occurrences are counted from now.
  /// Throws like ParseFault().
  void AddFault(std::string_view rule);
  /// Replaces the stored records. Throws std::length_error, and changes nothing, if a record is too
  /// long for the model.
  void SetRecords(std::vector<ScanRecord> records);

  std::vector<ScanRecord> Records() const;
  /// Returns a report of the scanner's input and actions since the first Start().
  DeviceReport Report() const;
  /// The number of times this command was received.
  std::size_t CountOf(std::string_view command) const;
  LineCounters Counters() const { return Ask(&ScannerOnLine::Counters); }
  /// Returns a transcript of all transfers. It contains all bytes that the computer has read so
  /// far.
  const Transcript& GetTranscript() const;

  /// Waits until `condition` is true. The calling thread checks it after each event and every 5 ms.
  /// @return false on time-out.
  bool WaitFor(const std::function<bool()>& condition, Milliseconds timeout = kPatience) const;
  bool WaitForCommand(std::string_view command, std::size_t times = 1,
                      Milliseconds timeout = kPatience) const {
    return WaitFor([&] { return CountOf(command) >= times; }, timeout);
  }
  bool WaitForPort(bool open, Milliseconds timeout = kPatience) const {
    return WaitFor([&] { return IsPortOpen() == open; }, timeout);
  }
  /// Waits until no bytes remain to be sent.
  bool WaitForQuiet(Milliseconds timeout = kPatience) const {
    return WaitFor([&] { return Ask(&ScannerOnLine::IsQuiet); }, timeout);
  }

 private:
  /// Returns a copy of a property of the scanner. If a call of ScannerOnLine::TakeTurn is in
  /// progress, waits for its end.
  template <class Property>
  std::decay_t<std::invoke_result_t<Property, const ScannerOnLine&>> Ask(Property property) const {
    const std::scoped_lock lock(mutex_);
    return std::invoke(property, scanner_);
  }
  void Run();
  void Change(const std::function<void()>& action);

  const Options options_;
  Transcript transcript_;
  std::unique_ptr<Alarm> alarm_;

  mutable std::mutex mutex_;  ///< guards the members below, except thread_
  ScannerOnLine scanner_;
  bool stopping_ = false;
  bool waitingOnLine_ = false;  ///< the thread waits for an event and does not hold the mutex
  int changes_ = 0;             ///< number of pending calls to Change()
  std::uint64_t turns_ = 0;
  mutable std::condition_variable turned_;

  std::thread thread_;
};

}  // namespace quillet::simulator
