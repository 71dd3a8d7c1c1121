#pragma once

#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>

#include "device/Lumet.h"
#include "download/RecordDownload.h"
#include "tests/support/NoClock.h"
#include "tests/support/ScriptedLine.h"

namespace quillet::test {

/// A session without threads, waits or system: commands are sent and answers received on the
/// caller's thread. May be destroyed, since nothing else uses it.
class ScriptedSession {
  NoClock clock_;
  ScriptedLine line_;

 public:
  explicit ScriptedSession(SystemLog& log, LumetDelegate* owner = nullptr)
      : lumet(log, clock_, line_), download(log, lumet) {
    lumet.setDelegate(owner);
  }

  /// The answer of a scanner of one record to "N".
  static constexpr std::string_view kCountAnswer{"\0\0\0\1@", 5};

  Lumet lumet;
  RecordDownload download;

  void Receive(std::span<const std::uint8_t> bytes) {
    lumet.DataFromDevice(bytes.data(), static_cast<std::int32_t>(bytes.size()));
  }
  void Receive(std::string_view text) {
    Receive({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }

  /// Sends a command whose answer is due afterwards, unless one is due already.
  void Send(std::initializer_list<std::uint8_t> entry) {
    lumet.Queue(entry);
    lumet.DispatchCommand();
  }

  /// Makes a burst due from a scanner of one record.
  void SendBurst() {
    SendCount();
    Send({1, 'P'});
  }

  /// Makes a record due from a scanner of one record.
  void SendRecord() {
    SendCount();
    Send({1, 'p'});
  }

  /// Drops what is queued after a burst: its wake-up is not answered.
  void DropQueue() { lumet.DispatchCommand(); }

 private:
  void SendCount() {
    Send({1, 'N'});
    Receive(kCountAnswer);
  }
};

}  // namespace quillet::test
