#pragma once

#include <string>

#include "output/TextEncoding.h"
#include "platform/SerialLine.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/ScriptedSession.h"

namespace quillet::fuzz {

/// A new session for each input.
class FuzzedSession final : public LumetDelegate {
  StrictLog log_;
  test::ScriptedSession session_{log_, this};

 public:
  FuzzedSession() {
    session_.lumet.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>("2104005771"), 10);
  }

  Lumet& lumet = session_.lumet;

  void Feed(std::span<const std::uint8_t> bytes) {
    session_.Receive(bytes);
    Require(lumet.receive().writePtr() >= 0, "no count is negative");
    Require(lumet.cmdArray().cmdRead() <= lumet.cmdArray().cmdWrite(),
            "the queue's head is not after its end");
  }

  /// Makes the answer to a command due, unless one is due already.
  void Send(char type) {
    // Without a known number of records, their download would have no end.
    const bool oneRecord = lumet.SyncEndIndex() == 1;
    if (type == 'P' && !oneRecord) return session_.SendBurst();
    if (type == 'p' && !oneRecord) return;
    session_.Send({1, static_cast<std::uint8_t>(type)});
  }

  void TavoInitializationDone(bool) override {}
  void SynchronizeFinished() override {}
  void DisplayBarcode(const std::string& record) override {
    Require(RepairUtf8(record) == record, "a line is UTF-8");
    Require(session_.download.BarcodeBuffer().size() < RecordComposer::kBarcodeBufferSize,
            "a line stays within its buffer");
  }
};

}  // namespace quillet::fuzz
