#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "base/SystemLog.h"

namespace quillet::platform::posix {

/// Writes to the system log using syslog(3): identity "quillet" with the process ID, facility user,
/// priority info.
///
/// A separate thread sends the lines in order, because syslog(3) can block. Without a log daemon,
/// lines are dropped silently.
class SyslogLog final : public SystemLog {
 public:
  /// Maximum length of a message in bytes. Longer lines are split between UTF-8 characters. Common
  /// daemons truncate messages at 8,192 bytes, including the header.
  static constexpr std::size_t kLongestMessage = 8000;

  /// Maximum number of bytes waiting for the sending thread. The thread can hold another batch of
  /// this size. Write waits for space. A line larger than this is accepted if no other line is
  /// waiting.
  static constexpr std::size_t kBacklogBytes = std::size_t{4} * 1024 * 1024;

  /// Sends one message of at most kLongestMessage bytes. Called on the sending thread.
  using Transport = std::function<void(std::string_view message)>;

  /// If the log accepts no message for this long, lines are dropped and counted until the log
  /// accepts messages again.
  static constexpr std::chrono::seconds kLongestWait{5};

  /// Starts the sending thread. If the system cannot start it, no line is sent.
  /// @param transport    function that sends a message; replaced in tests
  /// @param longestWait  see kLongestWait; replaced in tests
  explicit SyslogLog(Transport transport = SendToSyslog,
                     std::chrono::milliseconds longestWait = kLongestWait);

  /// Sends all queued lines, without a time limit.
  ~SyslogLog() override;

  SyslogLog(const SyslogLog&) = delete;
  SyslogLog& operator=(const SyslogLog&) = delete;

  /// See SystemLog. Any thread.
  void Write(std::string_view line) override;

  /// Waits until all lines written before this call have been sent. Any thread.
  /// @param limit  time-out
  /// @return false if the time-out expired or there is no sending thread
  bool Flush(std::chrono::milliseconds limit);

 private:
  static void SendToSyslog(std::string_view message);

  void SendLines();
  void SendBatch(std::string_view batch);
  // Waits until the backlog has space for `size` bytes; returns false if the log has stalled.
  bool AwaitRoom(std::unique_lock<std::mutex>& lock, std::size_t size);
  void Keep(std::string_view line);

  const Transport transport_;
  const std::chrono::milliseconds longestWait_;
  std::atomic<std::uint64_t> messagesSent_ = 0;

  std::mutex mutex_;
  std::condition_variable wakeSender_;
  std::condition_variable roomMade_;
  std::condition_variable batchSent_;
  std::string waiting_;  // unsent lines, each preceded by its length
  std::uint64_t bytesWritten_ = 0;
  std::uint64_t bytesSent_ = 0;
  std::uint64_t dropped_ = 0;  // number of lines dropped since the last accepted line
  bool stalled_ = false;       // Write timed out, and the thread has not fetched lines since
  bool senderIdle_ = false;
  bool hurry_ = false;  // the sending thread must send at once, without collecting more lines
  bool stop_ = false;

  std::thread sender_;
};

}  // namespace quillet::platform::posix
