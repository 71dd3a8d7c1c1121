#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/Endpoint.h"
#include "simulator/Fault.h"
#include "simulator/OutputQueue.h"
#include "simulator/TavoDevice.h"
#include "simulator/Transcript.h"

namespace quillet::simulator {

/// The properties of a simulated scanner. The defaults are those of a real scanner.
struct Options {
  DeviceSettings device;

  std::uint64_t speed = 115200;  ///< bit/s, ten bits per byte; 0: bytes take no time
  /// Time from the last byte of a command to the first byte of its answer.
  std::chrono::nanoseconds latency = std::chrono::milliseconds(2);
  std::vector<Fault> faults;  ///< see ParseFaults()

  std::string linkPath;    ///< path of a link to the line; exists while plugged in; "": none
  std::string deviceNode;  ///< path of a terminal device to use; "": creates a pseudo-terminal
  TerminalMode terminalMode = TerminalMode::kRaw;  ///< initial mode of a new pseudo-terminal

  bool keepTranscript = true;  ///< keep the transcript in memory
  std::string transcriptFile;  ///< path of the transcript; "": none

  /// Returns the options of a scanner without delays, for tests that do not depend on time.
  static Options Instant(Model model = Model::kOlder) {
    Options options;
    options.device.model = model;
    options.speed = 0;
    options.latency = std::chrono::nanoseconds{0};
    return options;
  }
};

/// The scanner with its line and faults. The caller alternately calls TakeTurn() and waits for the
/// events and time that Wait() returns. Used by one thread at a time.
class ScannerOnLine {
 public:
  /// The events and the time that end the wait before the next turn.
  struct Waiting {
    int descriptor = -1;  ///< descriptor for poll(2); -1: none
    short events = 0;     ///< events for poll(2)
    Time until = Time::max();
  };

  /// `options` and `transcript` must outlive the object. Throws std::length_error like TavoDevice.
  ScannerOnLine(const Options& options, Transcript& transcript);

  /// Plugs the cable in, unless it is already plugged in. Creates the line and the link. The first
  /// call arms the faults given in the options. Throws std::system_error on failure.
  void Plug(Time now);
  /// Pulls the cable, if it is plugged in. The computer sees a hang-up, and unsent bytes are lost.
  void Unplug(Time now);
  /// Scans a barcode. The frame is sent after any pending answer. Throws the same exceptions as
  /// TavoDevice::Scan().
  void Scan(const ScanRecord& record, Time now) { output_.Append(device_.Scan(record), now); }
  /// Adds a fault. See FaultInjector::Arm().
  void AddFault(Fault fault, Time now) { faults_.Arm(std::move(fault), counters_, now); }
  /// Performs the steps that are due: receives, answers, sends and triggers faults.
  void TakeTurn(Time now);
  Waiting Wait(Time now) const;

  TavoDevice& Device() { return device_; }
  const TavoDevice& Device() const { return device_; }
  bool IsPlugged() const { return plugged_; }
  bool IsPortOpen() const { return portOpen_; }
  /// Returns true if no bytes remain to be sent.
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
  void TriggerFaults(Time now);
  void Trigger(const Fault& fault, Time now);
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
