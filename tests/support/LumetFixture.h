#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "device/Lumet.h"
#include "download/RecordDownload.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingArchive.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/RecordingOwner.h"
#include "tests/support/ScriptedLine.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {

/// A session on a scripted line, without threads. Dispatch does the work of the command thread, and
/// `answer` returns the scanner's answer to each command.
class LumetFixture : public ::testing::Test {
 protected:
  LumetFixture() {
    lumet.recorddelimiter = 0;
    lumet.setDelegate(&owner);
    lumet.setArchive(&archive);
    clock.OnSleep([this] { AnswerAtPoll(); });
  }
  ~LumetFixture() override {
    AwaitCommandThread();
    clock.OnSleep(nullptr);
    clock.Stop();
  }

  /// Disconnects and waits until the command thread has ended. A test whose sleep hook uses local
  /// variables must call this before it returns.
  void AwaitCommandThread() {
    if (lumet.bConnected()) lumet.disconnectTavo();
    if (!log.Has("-[Lumet InitTavo]")) return;
    EXPECT_TRUE(WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
  }

  /// A stored record with the data "ABCD".
  static inline const std::string kRecord =
      "\x09\x06"
      "ABCD\x31\x47\x41\x09";

  /// Returns a burst of these records (up to 252 bytes). Prefix it with 0x03 to form a frame.
  static std::string Framed(const std::string& records = kRecord) {
    return std::string{0, 0, static_cast<char>(records.size() + 3)} + records;
  }

  void Receive(std::string_view text) {
    lumet.DataFromDevice(reinterpret_cast<const std::uint8_t*>(text.data()),
                         static_cast<std::int32_t>(text.size()));
  }

  /// Runs `turns` iterations of the command thread's loop.
  void Dispatch(int turns = 1) {
    for (int turn = 0; turn < turns; ++turn) lumet.DispatchCommand();
  }

  /// Sends a queued command and receives `text` as its answer.
  void Exchange(std::string_view text) {
    answer = [text](std::string_view) { return std::string(text); };
    Dispatch();
    answer = nullptr;
  }

  /// Returns the scanner's answer to "N": the number of records.
  static std::string CountAnswer(int records) {
    return {0, 0, static_cast<char>(records >> 8), static_cast<char>(records), '@'};
  }

  /// Requests and receives the number of records.
  void Count(int records) {
    lumet.Queue({1, 'N'});
    Exchange(CountAnswer(records));
  }

  /// Requests a burst or a record and lets the command time out. The session still accepts a late
  /// answer.
  void AwaitBurst() { Await('P'); }
  void AwaitRecord() { Await('p'); }

  /// The bytes in the command queue.
  std::string Queued() const {
    std::string bytes;
    for (std::int32_t i = lumet.cmdArray().cmdRead(); i < lumet.cmdArray().cmdWrite(); ++i) {
      bytes.push_back(static_cast<char>(lumet.cmdArray().at(static_cast<std::size_t>(i))));
    }
    return bytes;
  }

  /// Returns the scanner's answer to a command, or an empty string if it does not answer. The
  /// session receives the answer at its first poll after the command.
  std::function<std::string(std::string_view command)> answer;
  std::vector<std::string> commands;  ///< the commands passed to `answer`, in order

  RecordingLog& log = Immortal<RecordingLog>();
  FakeClock& clock = Immortal<FakeClock>(1e6);
  ScriptedLine& line = Immortal<ScriptedLine>();
  RecordingOwner& owner = Immortal<RecordingOwner>();
  RecordingArchive& archive = Immortal<RecordingArchive>();
  Lumet& lumet = Immortal<Lumet>(log, clock, line);
  RecordDownload& download = Immortal<RecordDownload>(log, lumet);

 private:
  void Await(std::uint8_t command) {
    Count(1);
    lumet.Queue({1, command});
    Dispatch();
    line.Sent();
  }

  void AnswerAtPoll() {
    if (!answer || lumet.bCommandDone() || clock.sleeps().back() != std::chrono::milliseconds(100))
      return;
    commands.push_back(line.Sent());
    Receive(answer(commands.back()));
  }
};

}  // namespace quillet::test
