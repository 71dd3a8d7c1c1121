#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/SyslogLog.h"
#include "tests/platform/RunProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::platform::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// Stands for the log daemon: keeps the messages, and takes none while it is stalled.
class Receiver {
 public:
  SyslogLog::Transport Transport() {
    return [this](std::string_view message) {
      std::unique_lock lock(mutex_);
      resumed_.wait(lock, [this] { return !stalled_; });
      messages_.emplace_back(message);
    };
  }

  void Stall() {
    const std::lock_guard lock(mutex_);
    stalled_ = true;
  }

  void Resume() {
    {
      const std::lock_guard lock(mutex_);
      stalled_ = false;
    }
    resumed_.notify_all();
  }

  std::vector<std::string> Messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable resumed_;
  bool stalled_ = false;
  std::vector<std::string> messages_;
};

std::string Joined(const std::vector<std::string>& parts) {
  std::string whole;
  for (const std::string& part : parts) whole += part;
  return whole;
}

TEST(SyslogLog, LinesArriveOneByOneInOrder) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  std::vector<std::string> expected;
  for (int i = 0; i < 10'000; ++i) {
    expected.push_back(i % 7 == 0 ? "" : "line " + std::to_string(i));
    log.Write(expected.back());
  }
  ASSERT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.Messages(), expected);
}

TEST(SyslogLog, ALineArrivesSoonWithoutAFlush) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  for (int i = 1; i <= 3; ++i) {
    log.Write("a line");
    for (int wait = 0; wait < 2'000 && std::ssize(receiver.Messages()) < i; ++wait) {
      std::this_thread::sleep_for(milliseconds(1));
    }
    EXPECT_EQ(std::ssize(receiver.Messages()), i);
  }
}

TEST(SyslogLog, EachThreadsLinesKeepTheirOrder) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  constexpr int kThreads = 4;
  constexpr int kLines = 5'000;
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([&log, t] {
      for (int i = 0; i < kLines; ++i) log.Write(std::to_string(t) + ":" + std::to_string(i));
    });
  }
  for (std::thread& writer : writers) writer.join();
  ASSERT_TRUE(log.Flush(seconds(20)));
  std::array<int, kThreads> next{};
  for (const std::string& message : receiver.Messages()) {
    const std::size_t thread = static_cast<std::size_t>(message[0] - '0');
    EXPECT_EQ(message, std::to_string(thread) + ":" + std::to_string(next[thread]++));
  }
  EXPECT_EQ(next, (std::array<int, kThreads>{kLines, kLines, kLines, kLines}));
}

TEST(SyslogLog, ALongLineIsSplitBetweenCharacters) {
  for (std::size_t shift = 0; shift < 4; ++shift) {
    Receiver receiver;
    SyslogLog log(receiver.Transport());
    std::string line(shift, 'x');
    while (line.size() < 5 * SyslogLog::kLongestMessage)
      line += "\xF0\x9F\x93\xA6";  // one character
    log.Write(line);
    log.Write("next");
    ASSERT_TRUE(log.Flush(seconds(20)));
    std::vector<std::string> messages = receiver.Messages();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back(), "next");
    messages.pop_back();
    EXPECT_EQ(Joined(messages), line);
    for (const std::string& message : messages) {
      EXPECT_LE(message.size(), SyslogLog::kLongestMessage);
      EXPECT_NE(static_cast<unsigned char>(message[0]) & 0xC0U, 0x80U);
    }
  }
}

TEST(SyslogLog, BytesThatAreNotTextAreSplitToo) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  const std::string line(3 * SyslogLog::kLongestMessage + 1, '\x80');
  log.Write(line);
  ASSERT_TRUE(log.Flush(seconds(20)));
  const std::vector<std::string> messages = receiver.Messages();
  EXPECT_EQ(Joined(messages), line);
  EXPECT_EQ(messages.size(), 4U);
}

TEST(SyslogLog, ALineOfExactlyTheLongestMessageIsOneMessage) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  log.Write(std::string(SyslogLog::kLongestMessage, 'x'));
  log.Write(std::string(SyslogLog::kLongestMessage + 1, 'x'));
  ASSERT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.Messages().size(), 3U);
}

TEST(SyslogLog, FlushGivesUpOnALogThatStalls) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  EXPECT_TRUE(log.Flush(seconds(20)));
  receiver.Stall();
  log.Write("a line");
  EXPECT_FALSE(log.Flush(milliseconds(50)));
  receiver.Resume();
  EXPECT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.Messages().size(), 1U);
}

TEST(SyslogLog, AWriterWaitsWhenTheBacklogIsFullAndNothingIsLost) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  receiver.Stall();
  const std::string line(1'000, 'x');
  // What the sender has taken up and what waits for it, and as much again.
  const std::size_t lines = 4 * SyslogLog::kBacklogBytes / line.size();
  std::atomic<std::size_t> written = 0;
  std::thread writer([&] {
    for (std::size_t i = 0; i < lines; ++i) {
      log.Write(line);
      ++written;
    }
  });
  const std::size_t room = SyslogLog::kBacklogBytes / (line.size() + 8);
  for (int wait = 0; wait < 2'000 && written < room; ++wait) {
    std::this_thread::sleep_for(milliseconds(10));
  }
  std::this_thread::sleep_for(milliseconds(200));  // time to come further than it may
  EXPECT_GE(written, room);
  EXPECT_LE(written, 2 * room);
  receiver.Resume();
  writer.join();
  ASSERT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.Messages().size(), lines);
}

TEST(SyslogLog, ALogThatHasStalledHoldsNobodyUpForLongAndIsToldWhatItMissed) {
  Receiver receiver;
  SyslogLog log(receiver.Transport(), milliseconds(50));
  receiver.Stall();
  const std::string line(1'000, 'x');
  const std::size_t lines = 4 * SyslogLog::kBacklogBytes / line.size();
  for (std::size_t i = 0; i < lines; ++i) log.Write(line);
  receiver.Resume();
  ASSERT_TRUE(log.Flush(seconds(20)));
  log.Write("the first one that finds room again");
  ASSERT_TRUE(log.Flush(seconds(20)));
  const std::vector<std::string> messages = receiver.Messages();
  const std::size_t kept = messages.size() - 2;
  EXPECT_LT(kept, lines);
  EXPECT_GE(kept, SyslogLog::kBacklogBytes / (line.size() + 8));
  EXPECT_EQ(messages[kept], std::to_string(lines - kept) + " lines were left out");
  EXPECT_EQ(messages[kept + 1], "the first one that finds room again");
}

TEST(SyslogLog, ALineLargerThanTheBacklogArrivesWhole) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  const std::string line(2 * SyslogLog::kBacklogBytes + 17, 'x');
  log.Write("before");
  log.Write(line);
  log.Write(line);
  log.Write("after");
  ASSERT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(Joined(receiver.Messages()), "before" + line + line + "after");
}

TEST(SyslogLog, WhatIsLeftIsSentAtTheEnd) {
  Receiver receiver;
  {
    SyslogLog log(receiver.Transport());
    for (int i = 0; i < 1'000; ++i) log.Write("a line");
  }
  EXPECT_EQ(receiver.Messages().size(), 1'000U);
}

/// A log daemon's socket.
class LogSocket {
 public:
  explicit LogSocket(const std::string& path)
      : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      std::abort();
    const timeval patience{.tv_sec = 20, .tv_usec = 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }
  ~LogSocket() { close(socket_); }
  LogSocket(const LogSocket&) = delete;
  LogSocket& operator=(const LogSocket&) = delete;

  std::string Receive() const {
    std::array<char, 1'000> message{};
    const ssize_t length = recv(socket_, message.data(), message.size(), 0);
    return {message.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
  }

 private:
  int socket_;
};

TEST(SyslogLog, ReachesTheSystemsLogUnderTheProgramsName) {
  if (!test::OwnNamespaceWorks()) GTEST_SKIP() << "no /dev/log can be put in place here";
  const test::TemporaryFolder folder;
  const LogSocket socket(folder / "log");
  constexpr int kLines = 3'000;
  test::ProgramResult result;
  std::thread program([&] {
    result = test::RunProgram(
        test::InOwnNamespace({"--dev", "/dev", "--bind", folder / "log", "/dev/log"},
                             {PLATFORM_HELPER, "log", std::to_string(kLines)}));
  });
  // Priority 14 is facility user (1), level info (6): RFC 3164, section 4.1.1.
  for (int i = 0; i < kLines; ++i) {
    const std::string message = socket.Receive();
    ASSERT_TRUE(message.starts_with("<14>")) << message;
    const std::size_t name = message.find(" quillet[");
    const std::size_t text = message.find("]: ");
    ASSERT_TRUE(name < text && text != std::string::npos) << message;
    EXPECT_EQ(message.substr(text + 3), "line " + std::to_string(i) + " of 100% %s%n");
  }
  program.join();
  EXPECT_EQ(result.status, 0) << result.errors;
}

TEST(SyslogLog, WithoutALogNothingIsSaidAndNothingWaits) {
  if (!test::OwnNamespaceWorks()) GTEST_SKIP() << "/dev/log cannot be taken away here";
  const auto start = std::chrono::steady_clock::now();
  const test::ProgramResult result =
      test::RunProgram(test::InOwnNamespace({"--dev", "/dev"}, {PLATFORM_HELPER, "log", "5000"}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(4));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output + result.errors, "");
}

}  // namespace
}  // namespace quillet::platform::posix
