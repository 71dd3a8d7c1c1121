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

/// A session in memory without threads or waits: commands are sent and answers received on the
/// caller's thread. Unlike a session with threads, it can be destroyed.
class ScriptedSession {
  NoClock clock_;
  ScriptedLine line_;

 public:
  explicit ScriptedSession(SystemLog& log, LumetDelegate* owner = nullptr)
      : lumet(log, clock_, line_), download(log, lumet) {
    lumet.setDelegate(owner);
  }

  /// The answer to "N" (request for the number of records) from a scanner with one record.
  static constexpr std::string_view kCountAnswer{"\0\0\0\1@", 5};

  Lumet lumet;
  RecordDownload download;

  void Receive(std::span<const std::uint8_t> bytes) {
    lumet.DataFromDevice(bytes.data(), static_cast<std::int32_t>(bytes.size()));
  }
  void Receive(std::string_view text) {
    Receive({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }

  /// Sends a command, unless an earlier command is still waiting for its answer.
  void Send(std::initializer_list<std::uint8_t> entry) {
    lumet.Queue(entry);
    lumet.DispatchCommand();
  }

  /// Requests a burst from a scanner with one record. The caller passes the answer to Receive.
  void SendBurst() {
    SendCount();
    Send({1, 'P'});
  }

  /// Requests a record from a scanner with one record. The caller passes the answer to Receive.
  void SendRecord() {
    SendCount();
    Send({1, 'p'});
  }

  /// Sends the wake-up for the commands queued after a burst. The wake-up is not answered, so the
  /// commands are dropped.
  void DropQueue() { lumet.DispatchCommand(); }

 private:
  void SendCount() {
    Send({1, 'N'});
    Receive(kCountAnswer);
  }
};

}  // namespace quillet::test
