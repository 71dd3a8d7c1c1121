#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Endpoint.h"
#include "simulator/Fault.h"
#include "simulator/OutputQueue.h"
#include "simulator/TavoDevice.h"
#include "simulator/Transcript.h"

namespace quillet::simulator {

/// The properties of a simulated scanner. The defaults are those of a real one.
struct Options {
  /// The scanner: model, identity, stored records, clock.
  DeviceSettings device;

  /// Bit/s on the line, ten per byte; 0: the line takes no time.
  std::uint64_t speed = 115200;
  /// From the last byte of a command to the first of its answer.
  std::chrono::nanoseconds latency = std::chrono::milliseconds(2);

  /// What goes wrong; see ParseFaults().
  std::vector<Fault> faults;

  /// A symbolic link that leads to the line while it is plugged in; "": none.
  std::string linkPath;
  /// An existing terminal device to serve instead of a new pseudo-terminal; "": none.
  std::string deviceNode;
  /// How the computer's end of a new pseudo-terminal is set.
  TerminalMode terminalMode = TerminalMode::kRaw;

  /// Whether the transcript is kept in memory.
  bool keepTranscript = true;
  /// The file that the transcript is written to; "": none.
  std::string transcriptFile;

  /// A scanner without latency on a line that takes no time, for tests that are not about time.
  static Options Instant(Model model = Model::kOlder) {
    Options options;
    options.device.model = model;
    options.speed = 0;
    options.latency = std::chrono::nanoseconds{0};
    return options;
  }
};

/// The scanner, its line and its faults together, one turn at a time. Between the turns the caller
/// waits as Wait() says. Used by one thread at a time.
class ScannerOnLine {
 public:
  /// What to wait for until the next turn.
  struct Waiting {
    int descriptor = -1;  ///< -1: only for the time
    short events = 0;     ///< as for poll(2)
    Time until = Time::max();
  };

  /// `options` and `transcript` must outlive the object. Throws std::length_error as TavoDevice.
  ScannerOnLine(const Options& options, Transcript& transcript);

  /// Plugs the cable in: creates the line and the link, the first time adds the faults of the
  /// options. Does nothing if it is plugged in. Throws std::system_error on failure.
  void Plug(Time now);

  /// Pulls the cable: the computer sees a hang-up, and unsent bytes are lost. Does nothing if it is
  /// unplugged.
  void Unplug(Time now);

  /// A barcode is scanned: its frame follows the pending answer. Throws as TavoDevice::Scan().
  void Scan(const ScanRecord& record, Time now);

  /// Adds a fault as FaultInjector::Arm().
  void AddFault(Fault fault, Time now);

  /// Does everything that is due: reads what was received, answers, lets faults happen.
  void TakeTurn(Time now);

  Waiting Wait(Time now) const;

  TavoDevice& Device() { return device_; }
  const TavoDevice& Device() const { return device_; }
  bool IsPlugged() const { return plugged_; }
  bool IsPortOpen() const { return portOpen_; }
  /// Whether the scanner has nothing more to send.
  bool IsQuiet() const { return output_.IsEmpty() && !cutting_; }
  const LineCounters& Counters() const { return counters_; }
  const std::string& LinePath() const { return endpoint_->Path(); }

 private:
  struct Cut {
    Time deadline;
    std::optional<std::chrono::nanoseconds> replug;
  };

  bool HasLine() const { return endpoint_->Descriptor() >= 0; }
  void ReceiveAll(Time now);
  void ReceiveByte(std::uint8_t byte, Time now);
  void Answer(const Command& command, Time now);
  void QueueAnswer(const AnswerPlan& plan, Time begin);
  void FollowPort(Time now);
  void SendDue(Time now);
  bool SendSome(std::span<const std::uint8_t> bytes, Time now);
  void LetFaultsHappen(Time now);
  void LetHappen(const Fault& fault, Time now);
  void Attempt(std::string_view failure, Time now, const std::function<void()>& action);
  void BeginCut(std::optional<std::chrono::nanoseconds> replug, Time now);
  void FinishCut(Time now);
  void HangUp(Time now, std::string_view reason);
  void PullOut(Time now, std::string_view reason);

  const Options& options_;
  Transcript& transcript_;
  TavoDevice device_;
  std::unique_ptr<Endpoint> endpoint_;
  PathLink link_;
  OutputQueue output_;
  FaultInjector faults_;
  LineCounters counters_;
  bool begun_ = false;
  bool plugged_ = false;
  bool portOpen_ = false;
  bool receiverFull_ = false;
  std::optional<Cut> cutting_;
  std::optional<Time> replugAt_;
};

}  // namespace quillet::simulator
