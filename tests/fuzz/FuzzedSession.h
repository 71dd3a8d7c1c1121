#pragma once

#include <string>

#include "output/TextEncoding.h"
#include "platform/SerialLine.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/ScriptedSession.h"

namespace quillet::fuzz {

/// A session with a scripted scanner. Checks each composed line and the receive state.
class FuzzedSession final : public LumetDelegate {
  StrictLog log_;
  test::ScriptedSession session_{log_, this};

 public:
  FuzzedSession() {
    session_.Send({1, 'M'});
    session_.Receive("2104005771@");
  }

  /// Sends the firmware version of a scanner with this record layout.
  void SendVersion(bool series300) {
    session_.Send({1, 'V'});
    session_.Receive(series300 ? "0.00.42000@" : "0.00.41000@");
  }

  Lumet& lumet = session_.lumet;

  void Feed(std::span<const std::uint8_t> bytes) {
    session_.Receive(bytes);
    Require(lumet.receive().writePtr() >= 0, "writePtr is not negative");
    Require(lumet.cmdArray().cmdRead() <= lumet.cmdArray().cmdWrite(),
            "the read index is not past the write index");
  }

  /// Sends a command, unless the session is waiting for an answer.
  void Send(char type) {
    // A download takes too long if the scanner has reported many records.
    const bool oneRecord = lumet.SyncEndIndex() == 1;
    if (type == 'P' && !oneRecord) return session_.SendBurst();
    if (type == 'p' && !oneRecord) return;
    session_.Send({1, static_cast<std::uint8_t>(type)});
  }

  void TavoInitializationDone(bool) override {}
  void SynchronizeFinished() override {}
  void DisplayBarcode(const std::string& record) override {
    Require(RepairUtf8(record) == record, "each line is UTF-8");
    Require(session_.download.BarcodeBuffer().size() < RecordComposer::kBarcodeBufferSize,
            "each line fits into its buffer");
  }
};

}  // namespace quillet::fuzz
