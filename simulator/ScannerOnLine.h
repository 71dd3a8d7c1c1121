#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "simulator/Endpoint.h"
#include "simulator/FaultInjector.h"
#include "simulator/Options.h"
#include "simulator/OutputQueue.h"
#include "simulator/PathLink.h"
#include "simulator/TavoDevice.h"
#include "simulator/Transcript.h"

namespace quillet::simulator {

/// The scanner, its line and its faults together, one turn at a time. Who calls it has to wait
/// between the turns as Wait() says. Not for use by two threads at a time.
class ScannerOnLine {
 public:
  /// What to wait for until the next turn.
  struct Waiting {
    int descriptor = -1;  ///< -1: only for the time
    short events = 0;     ///< as for poll(2)
    Time until = Time::max();
  };

  /// `transcript` must live as long. Throws std::length_error as TavoDevice does.
  ScannerOnLine(const Options& options, Transcript& transcript);

  /// Plugs the cable in; the first time the faults of the options are armed too. Throws as Plug().
  void Begin(Time now);

  /// Plugs the cable in: makes the line and the link. Throws std::system_error when that fails.
  /// Does nothing when it is in.
  void Plug(Time now);

  /// Pulls the cable: the computer sees a hang-up, and nothing that was not yet sent is. Does
  /// nothing when it is out.
  void Unplug(Time now);

  /// Somebody scans a barcode: its frame comes after the answer under way. Throws std::length_error
  /// as TavoDevice::Scan().
  void Scan(const ScanRecord& record, Time now);

  /// From now on the fault may happen, as FaultInjector::Arm().
  void AddFault(Fault fault, Time now);

  /// Does everything whose time has come: takes what was received, answers, lets faults happen.
  void TakeTurn(Time now);

  Waiting Wait(Time now) const;

  TavoDevice& device() { return device_; }
  const TavoDevice& device() const { return device_; }
  bool is_plugged() const { return plugged_; }
  bool is_port_open() const { return port_open_; }
  /// Whether the scanner has nothing more to send.
  bool is_quiet() const { return output_.IsEmpty() && !cutting_; }
  /// Bytes since plugging in.
  const LineCounters& counters() const { return counters_; }
  /// Bytes that were sent while the computer had its port closed, since the start.
  std::uint64_t lost_bytes() const { return lost_bytes_; }
  std::string line_path() const { return endpoint_->path(); }

 private:
  struct Cut {
    Time deadline;
    std::optional<std::chrono::nanoseconds> replug;
  };

  bool ServesNode() const { return !options_.device_node.empty(); }
  void PlugIfPossible(Time now);
  void ScanIfPossible(const Fault& fault, Time now);
  void OpenAgain(Time now);
  void ReceiveAll(Time now);
  void ReceiveByte(std::uint8_t byte, Time now);
  void Answer(const Command& command, Time now);
  void QueueAnswer(const AnswerPlan& plan, Time begin);
  void FollowPort(Time now);
  void SendDue(Time now);
  bool SendSome(std::span<const std::uint8_t> bytes, Time now);
  void LetFaultsHappen(Time now);
  void LetHappen(const Fault& fault, Time now);
  void BeginCut(std::optional<std::chrono::nanoseconds> replug, Time now);
  void FinishCut(Time now);
  void HangUp(Time now, std::string_view reason);
  void PullOut(Time now, std::string_view reason);

  const Options options_;
  Transcript& transcript_;
  TavoDevice device_;
  std::unique_ptr<Endpoint> endpoint_;
  PathLink link_;
  OutputQueue output_;
  FaultInjector faults_;
  LineCounters counters_;
  std::uint64_t lost_bytes_ = 0;
  bool begun_ = false;
  bool plugged_ = false;
  bool port_open_ = false;
  bool receiver_full_ = false;
  std::optional<Cut> cutting_;
  std::optional<Time> replug_at_;
};

}  // namespace quillet::simulator
