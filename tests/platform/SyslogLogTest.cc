#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/SyslogLog.h"
#include "tests/platform/RunProgram.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// A log daemon that can be stalled.
struct Receiver {
  SyslogLog::Transport Transport() {
    return [this](std::string_view message) {
      stalled.wait(true);
      messages.Write(message);
    };
  }
  void Resume() {
    stalled = false;
    stalled.notify_all();
  }

  std::atomic<bool> stalled = false;
  test::RecordingLog messages;
};

TEST(SyslogLog, SendsLinesEvenWithoutAFlush) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  for (std::size_t i = 1; i <= 3; ++i) {
    log.Write("a line");
    EXPECT_TRUE(test::WaitFor([&] { return receiver.messages.Count("a line") == i; }, seconds(2)));
  }
}

TEST(SyslogLog, SplitsALongLineBetweenCharacters) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  const std::string whole(SyslogLog::kLongestMessage, 'x');
  const std::string cut = whole.substr(1);  // leaves room for 1 byte, not for a 2-byte character
  for (const std::string& line : {whole, whole + "y", cut + "\xC3\xA9", "\x80" + whole}) {
    log.Write(line);
  }
  ASSERT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.messages.lines(),
            (std::vector<std::string>{whole, whole, "y", cut, "\xC3\xA9", "\x80" + cut, "x"}));
}

TEST(SyslogLog, FlushTimesOutIfTheLogStalls) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  EXPECT_TRUE(log.Flush(seconds(20)));
  receiver.stalled = true;
  log.Write("a line");
  EXPECT_FALSE(log.Flush(milliseconds(50)));
  receiver.Resume();
  EXPECT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.messages.lines().size(), 1U);
}

constexpr std::size_t kLineBytes = 1'000;
constexpr std::size_t kLines = 4 * SyslogLog::kBacklogBytes / kLineBytes;
constexpr std::size_t kRoom = SyslogLog::kBacklogBytes / (kLineBytes + 8);

TEST(SyslogLog, FullBacklogBlocksWritersWithoutLosingLines) {
  Receiver receiver;
  SyslogLog log(receiver.Transport());
  receiver.stalled = true;
  std::atomic<std::size_t> written = 0;
  std::thread writer([&] {
    for (; written < kLines; ++written) log.Write(std::string(kLineBytes, 'x'));
  });
  EXPECT_TRUE(test::WaitFor([&] { return written >= kRoom; }));
  std::this_thread::sleep_for(milliseconds(200));  // gives the writer time to exceed the limit
  EXPECT_LE(written, 2 * kRoom);
  receiver.Resume();
  writer.join();
  ASSERT_TRUE(log.Flush(seconds(20)));
  EXPECT_EQ(receiver.messages.lines().size(), kLines);
}

TEST(SyslogLog, CountsLinesLostWhileTheLogStalls) {
  Receiver receiver;
  SyslogLog log(receiver.Transport(), milliseconds(50));
  receiver.stalled = true;
  for (std::size_t i = 0; i < kLines; ++i) log.Write(std::string(kLineBytes, 'x'));
  receiver.Resume();
  ASSERT_TRUE(log.Flush(seconds(20)));
  log.Write("the first line after the stall");
  ASSERT_TRUE(log.Flush(seconds(20)));
  const std::vector<std::string> messages = receiver.messages.lines();
  const std::size_t kept = messages.size() - 2;
  EXPECT_LT(kept, kLines);
  EXPECT_GE(kept, kRoom);
  EXPECT_EQ(messages[kept], "Log messages dropped: " + std::to_string(kLines - kept));
  EXPECT_EQ(messages[kept + 1], "the first line after the stall");
}

TEST(SyslogLog, SendsPendingLinesWhenDestroyed) {
  Receiver receiver;
  {
    SyslogLog log(receiver.Transport());
    for (int i = 0; i < 1'000; ++i) log.Write("a line");
  }
  EXPECT_EQ(receiver.messages.Count("a line"), 1'000U);
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
    const timeval limit{.tv_sec = 20, .tv_usec = 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
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

TEST(SyslogLog, WritesToDevLogUnderTheProgramName) {
  if (!test::OwnNamespaceWorks()) GTEST_SKIP() << "/dev/log cannot be replaced here";
  const test::TemporaryFolder folder;
  const LogSocket socket(folder / "log");
  constexpr int kCount = 3'000;
  test::ProgramResult result;
  std::thread program([&] {
    result = test::RunProgram(
        test::InOwnNamespace({"--dev", "/dev", "--bind", folder / "log", "/dev/log"},
                             {PLATFORM_HELPER, "log", std::to_string(kCount)}));
  });
  // Priority 14 is facility 1 (user), level 6 (info): RFC 3164, section 4.1.1.
  for (int i = 0; i < kCount; ++i) {
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

TEST(SyslogLog, DropsLinesImmediatelyIfNoLogDaemonIsRunning) {
  if (!test::OwnNamespaceWorks()) GTEST_SKIP() << "/dev/log cannot be removed here";
  const auto start = std::chrono::steady_clock::now();
  const test::ProgramResult result =
      test::RunProgram(test::InOwnNamespace({"--dev", "/dev"}, {PLATFORM_HELPER, "log", "5000"}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(4));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output + result.errors, "");
}

}  // namespace
}  // namespace quillet::platform::posix
