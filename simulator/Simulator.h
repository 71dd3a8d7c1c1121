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
#include <vector>

#include "simulator/ScannerOnLine.h"
#include "simulator/Transcript.h"

namespace quillet::simulator {

class Alarm;

/// A simulated scanner on its own thread, at the other end of a terminal device.
///
///     Options options = Options::Instant();
///     options.device.records = StockTaking(130, Model::kOlder);
///     Simulator scanner(options);
///     scanner.Start();
///     ... open scanner.Path() as a serial port, talk to it ...
///     ASSERT_TRUE(scanner.WaitForCommand("GS0"));
///     EXPECT_TRUE(scanner.Report().complaints.empty());
///
/// Any thread may call all operations, but only one at a time Start() and Stop(). Results are
/// copies.
class Simulator {
 public:
  using Milliseconds = std::chrono::milliseconds;
  static constexpr Milliseconds kPatience{10'000};

  /// Throws as TavoDevice and Transcript.
  explicit Simulator(Options options);
  ~Simulator();

  /// Plugs it in and starts its thread. Path() can be opened afterwards. Does nothing if it is
  /// started. Throws std::system_error if the line or the link cannot be created.
  void Start();
  /// Unplugs it and ends its thread. What it has seen stays available.
  void Stop();

  /// The path to open: the link if there is one, else the line itself. "" before the first Start().
  std::string Path() const;
  /// Pulls the cable: on return the port has hung up and the link is removed. A device node is only
  /// closed.
  void Unplug();
  /// Plugs the cable in; Path() can be opened afterwards. Throws as Start().
  void Plug();
  bool IsPlugged() const;
  /// Whether the computer has the port open; noticed within a few milliseconds.
  bool IsPortOpen() const;

  /// A barcode is scanned: its frame is sent unasked, after the pending answer. Throws
  /// std::length_error if the data is too long.
  void Scan(const ScanRecord& record);
  /// The same with the time of the scanner's clock.
  void Scan(std::uint8_t symbology, std::string_view data);
  /// Adds a fault, counted from now, such as "on P delay 700". Throws as ParseFault().
  void AddFault(std::string_view rule);
  /// Throws std::length_error, and changes nothing, if a record is too long for the model.
  void SetRecords(std::vector<ScanRecord> records);

  std::vector<ScanRecord> Records() const;
  /// What the scanner has received and done since the first Start().
  DeviceReport Report() const;
  /// How often this command was received.
  std::size_t CountOf(std::string_view command) const;

  LineCounters Counters() const;
  /// What passed on the line, including everything that the computer has read.
  const Transcript& GetTranscript() const;

  /// Waits until the condition holds. The calling thread checks it after each event and every few
  /// milliseconds. @return false on time-out
  bool WaitFor(const std::function<bool()>& condition, Milliseconds timeout = kPatience) const;
  bool WaitForCommand(std::string_view command, std::size_t times = 1,
                      Milliseconds timeout = kPatience) const;
  bool WaitForPort(bool open, Milliseconds timeout = kPatience) const;
  /// Waits until nothing is left to be sent.
  bool WaitForQuiet(Milliseconds timeout = kPatience) const;

 private:
  template <class Question>
  auto Ask(Question question) const;
  void Run();
  void Change(const std::function<void()>& action);

  const Options options_;
  Transcript transcript_;
  std::unique_ptr<Alarm> alarm_;

  mutable std::mutex mutex_;  ///< guards what follows
  ScannerOnLine scanner_;
  bool stopping_ = false;
  bool waitingOnLine_ = false;  ///< the thread waits for the line, without the mutex
  int changes_ = 0;             ///< callers of Change() that the thread lets go first
  std::uint64_t turns_ = 0;
  mutable std::condition_variable turned_;

  std::thread thread_;
};

}  // namespace quillet::simulator
