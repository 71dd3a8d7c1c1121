#pragma once

#include <string>

#include "device/Lumet.h"
#include "device/ReceiveState.h"
#include "output/TextEncoding.h"
#include "platform/SerialLine.h"
#include "tests/fuzz/Fuzz.h"

namespace quillet::fuzz {

/// No device opens.
class NoLine final : public platform::SerialLine {
 public:
  std::int32_t Open(const char*, Access, const platform::LineSettings&) override { return -1; }
  std::int32_t Read(std::int32_t, std::span<std::uint8_t>) override { return 0; }
  void Write(std::int32_t, std::uint8_t) override {}
  void Close(std::int32_t) override {}
};

/// The session of a fuzzer: one for the whole process, as new for every input.
class FuzzedSession final : public LumetDelegate {
  StrictLog log_;
  StandingClock clock_;
  NoLine line_;

 public:
  static FuzzedSession& AsNew() {
    static auto& session = *new FuzzedSession;
    session.Reset();
    return session;
  }

  Lumet lumet{log_, clock_, line_};

  void Feed(std::span<const std::uint8_t> bytes) {
    lumet.DataFromDevice(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    const std::int32_t received = lumet.writePtr;
    Require(received >= 0, "no count is negative");
    if (received > dirty_) dirty_ = received;
    Require(lumet.cmdArray.cmdRead() <= lumet.cmdArray.cmdWrite(),
            "the queue's head is not behind");
  }

  /// As if a command had been sent that waits for its answer.
  void Await(char type) {
    lumet.commandType = type;
    if (type == 'P') lumet.state = kBurstLength;
    lumet.bCommandDone = 0;
  }

  void TavoInitializationDone(bool) override {}
  void SynchronizeFinished() override {}
  void DisplayBarcode(const std::string& record) override {
    Require(RepairUtf8(record) == record, "a line is UTF-8");
    Require(
        lumet.BarcodeBufferOffset >= 0 && lumet.BarcodeBufferOffset <= Lumet::kBarcodeBufferSize,
        "a line stays within its buffer");
  }

 private:
  FuzzedSession() { lumet.setDelegate(this); }

  // All that an input can have changed. Of the large buffer only what was received.
  void Reset() {
    std::fill_n(lumet.RxBuffer, std::min(dirty_ + 1, Lumet::kRxBufferSize), std::uint8_t{0});
    dirty_ = 0;
    lumet.state = kPlainAnswer;
    lumet.writePtr = 0;
    lumet.totallength = 0;
    lumet.SyncEndIndex = 0;
    lumet.commandType = 0;
    lumet.bCommandDone = 1;
    lumet.BufferOffset = 0;
    lumet.BarcodeBufferOffset = 0;
    lumet.bTavo300 = false;
    lumet.cmdArray.Reset();
    lumet.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>("2104005771"), 10);
  }

  std::int32_t dirty_ = 0;
};

}  // namespace quillet::fuzz
