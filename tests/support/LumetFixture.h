#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "device/Lumet.h"
#include "download/RecordDownload.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/RecordingOwner.h"
#include "tests/support/ScriptedLine.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {

/// A session on a scripted line, without threads: the test passes the command thread's turns with
/// Dispatch, and `answer` says what the scanner answers to each command.
class LumetFixture : public ::testing::Test {
 protected:
  LumetFixture() {
    lumet.setDelegate(&owner);
    clock.OnSleep([this](std::size_t) { AnswerAtPoll(); });
  }
  ~LumetFixture() override {
    AwaitCommandThread();
    clock.OnSleep(nullptr);
  }

  /// Waits until no command thread uses this object any more, disconnecting if necessary. A test
  /// whose sleep hook uses its own variables calls this at its end.
  void AwaitCommandThread() {
    if (lumet.bConnected()) lumet.disconnectTavo();
    if (!log.Has("-[Lumet InitTavo]")) return;
    EXPECT_TRUE(WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
  }

  void Receive(std::string_view text) {
    lumet.DataFromDevice(reinterpret_cast<const std::uint8_t*>(text.data()),
                         static_cast<std::int32_t>(text.size()));
  }

  /// Lets the command thread take a number of turns.
  void Dispatch(int turns = 1) {
    for (int turn = 0; turn < turns; ++turn) lumet.DispatchCommand();
  }

  /// Sends a queued command and receives its answer.
  void Exchange(std::string_view text) {
    answer = [text](std::string_view) { return std::string(text); };
    Dispatch();
    answer = nullptr;
  }

  /// Makes the scanner say how many records it holds.
  void Count(int records) {
    lumet.Queue({1, 'N'});
    Exchange(std::string{0, 0, static_cast<char>(records >> 8), static_cast<char>(records), '@'});
  }

  /// Sends a command that is not answered in time, so that its answer is still due afterwards.
  void Await(std::initializer_list<std::uint8_t> entry) {
    lumet.Queue(entry);
    Dispatch();
    line.Sent();
  }
  void AwaitBurst() {
    Count(1);
    Await({1, 'P'});
  }
  void AwaitRecord() {
    Count(1);
    Await({1, 'p'});
  }

  /// The queued bytes, in order.
  std::string Queued() const {
    std::string bytes;
    for (std::int32_t i = lumet.cmdArray().cmdRead(); i < lumet.cmdArray().cmdWrite(); ++i) {
      bytes.push_back(static_cast<char>(lumet.cmdArray().at(static_cast<std::size_t>(i))));
    }
    return bytes;
  }

  /// Answers a command, at its first poll; nothing when it returns an empty text.
  std::function<std::string(std::string_view command)> answer;
  std::vector<std::string> commands;  ///< those that were answered

  RecordingLog& log = Immortal<RecordingLog>();
  FakeClock& clock = Immortal<FakeClock>(1e6);
  ScriptedLine& line = Immortal<ScriptedLine>();
  RecordingOwner& owner = Immortal<RecordingOwner>();
  Lumet& lumet = Immortal<Lumet>(log, clock, line);
  RecordDownload& download = Immortal<RecordDownload>(log, lumet);

 private:
  void AnswerAtPoll() {
    if (!answer || lumet.bCommandDone() || clock.sleeps().back() != std::chrono::milliseconds(100))
      return;
    commands.push_back(line.Sent());
    Receive(answer(commands.back()));
  }
};

}  // namespace quillet::test
