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

TEST(SyslogLog, ALongLineIsSplitBetweenCharacters) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  const std::string whole(SyslogLog::kLongestMessage, 'x');
  const std::string cut = whole.substr(1);  // a character of two bytes does not fit
  for (const std::string& line : {whole, whole + "y", cut + "\xC3\xA9", "\x80" + whole}) {
    log.Write(line);
  }
  ASSERT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.Messages(),
            (std::vector<std::string>{whole, whole, "y", cut, "\xC3\xA9", "\x80" + cut, "x"}));
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

TEST(SyslogLog, AStalledLogDelaysNoWriterAndCountsLostLines) {
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
  EXPECT_EQ(messages[kept], std::to_string(lines - kept) + " lines were dropped");
  EXPECT_EQ(messages[kept + 1], "the first one that finds room again");
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
