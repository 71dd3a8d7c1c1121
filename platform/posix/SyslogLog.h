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

/// The system log through syslog(3): identity "quillet" with the process number, facility user,
/// priority info.
///
/// Sending takes microseconds and can stall, so lines are collected in memory and a thread sends
/// them in order. Without a log daemon they are dropped, without waiting and without a message.
class SyslogLog final : public SystemLog {
 public:
  /// The most bytes of one message; a longer line is sent as several, none cut within a UTF-8
  /// sequence. Widespread daemons cut messages at 8,192 bytes, header included.
  static constexpr std::size_t kLongestMessage = 8000;

  /// The most bytes that wait for the sending thread, which itself holds up to as many again. A
  /// writer waits for room; a line larger than all of it is accepted when nothing else waits. If
  /// the log accepts nothing for the longest wait, lines are left out and counted until it does.
  static constexpr std::size_t kBacklogBytes = std::size_t{4} * 1024 * 1024;

  /// Sends one message of at most kLongestMessage bytes. Called on this object's thread.
  using Transport = std::function<void(std::string_view message)>;

  /// How long a log may take nothing before lines are left out.
  static constexpr std::chrono::seconds kLongestWait{5};

  /// Starts the sending thread.
  /// @param transport     what sends; the default is syslog(3). Tests hand in their own.
  /// @param longestWait  the same as kLongestWait, for tests
  explicit SyslogLog(Transport transport = SendToSyslog,
                     std::chrono::milliseconds longestWait = kLongestWait);

  /// Sends what is left, however long that takes.
  ~SyslogLog() override;

  SyslogLog(const SyslogLog&) = delete;
  SyslogLog& operator=(const SyslogLog&) = delete;

  /// Any thread.
  void Write(std::string_view line) override;

  /// Waits until every line written before this call has been handed to the log. Any thread.
  /// @param limit  the longest time to wait
  /// @return false when the limit came first
  bool Flush(std::chrono::milliseconds limit);

 private:
  static void SendToSyslog(std::string_view message);

  void SendLines();
  void SendBatch(std::string_view batch);
  /// Waits until a line of this size may be kept; not, when the log has stalled.
  bool AwaitRoom(std::unique_lock<std::mutex>& lock, std::size_t size);
  void Keep(std::string_view line);

  const Transport transport_;
  const std::chrono::milliseconds longestWait_;
  std::atomic<std::uint64_t> messagesSent_ = 0;

  std::mutex mutex_;
  std::condition_variable wakeSender_;
  std::condition_variable roomMade_;
  std::condition_variable batchSent_;
  std::string waiting_;  ///< lines not yet taken up, each behind its length
  std::uint64_t bytesWritten_ = 0;
  std::uint64_t bytesSent_ = 0;
  std::uint64_t leftOut_ = 0;  ///< lines since the last one that found room
  bool stalled_ = false;       ///< a writer has waited in vain since the sender last took lines up
  bool senderIdle_ = false;
  bool hurry_ = false;  ///< somebody waits for the sender
  bool stop_ = false;

  std::thread sender_;
};

}  // namespace quillet::platform::posix
