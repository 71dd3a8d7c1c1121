#include "platform/posix/SyslogLog.h"

#include <pthread.h>
#include <syslog.h>

#include <csignal>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include "base/Utf8.h"

namespace quillet::platform::posix {
namespace {

using LineLength = std::uint64_t;

// The sending thread waits this long to collect lines. Without this delay, each line that arrives
// while the thread is idle would need a system call to wake it.
constexpr std::chrono::milliseconds kGathering{2};

// Reserves memory for the full backlog, so that Write normally does not allocate. The kernel
// allocates pages only when they are written.
std::string EmptyBuffer() {
  std::string buffer;
  buffer.reserve(SyslogLog::kBacklogBytes);
  return buffer;
}

// Starts a thread with all signals blocked: syslog(3) loses a message if a signal interrupts it.
// Returns an empty object if the system cannot start a thread.
template <typename Work>
std::thread StartWithoutSignals(Work work) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread;
  try {
    thread = std::thread(std::move(work));
  } catch (const std::system_error&) {
    // The thread object stays empty.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace

SyslogLog::SyslogLog(Transport transport, std::chrono::milliseconds longestWait)
    : transport_(std::move(transport)), longestWait_(longestWait), waiting_(EmptyBuffer()) {
  // LOG_NDELAY connects now, while descriptors 0 to 2 are in use, so the socket cannot get one of
  // these numbers. LOG_CONS and LOG_PERROR are not set: log lines must not appear on the terminal.
  openlog("quillet", LOG_PID | LOG_NDELAY, LOG_USER);
  sender_ = StartWithoutSignals([this] { SendLines(); });
  if (!sender_.joinable()) stalled_ = true;
}

SyslogLog::~SyslogLog() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wakeSender_.notify_one();
  if (sender_.joinable()) sender_.join();
}

void SyslogLog::SendToSyslog(std::string_view message) {
  syslog(LOG_INFO, "%.*s", static_cast<int>(message.size()), message.data());
}

void SyslogLog::Write(std::string_view line) {
  bool wake = false;
  {
    std::unique_lock lock(mutex_);
    if (!AwaitRoom(lock, line.size())) {
      ++dropped_;
      return;
    }
    try {
      if (dropped_ != 0) Keep("Log messages dropped: " + std::to_string(dropped_));
      dropped_ = 0;
      Keep(line);
    } catch (const std::exception&) {
      return;  // no memory for a line larger than the buffer
    }
    wake = std::exchange(senderIdle_, false);
  }
  if (wake) wakeSender_.notify_one();
}

bool SyslogLog::AwaitRoom(std::unique_lock<std::mutex>& lock, std::size_t size) {
  const auto hasRoom = [&] {
    return waiting_.empty() || waiting_.size() + sizeof(LineLength) + size <= kBacklogBytes;
  };
  while (!hasRoom()) {
    if (stalled_) return false;
    hurry_ = true;
    wakeSender_.notify_one();
    const std::uint64_t before = messagesSent_.load();
    const bool found = roomMade_.wait_for(lock, longestWait_, hasRoom);
    stalled_ = !found && messagesSent_.load() == before;
  }
  return true;
}

void SyslogLog::Keep(std::string_view line) {
  const LineLength length = line.size();
  waiting_.reserve(waiting_.size() + sizeof length + line.size());
  waiting_.append(reinterpret_cast<const char*>(&length), sizeof length);
  waiting_.append(line);
  bytesWritten_ += sizeof length + line.size();
}

bool SyslogLog::Flush(std::chrono::milliseconds limit) {
  if (!sender_.joinable()) return false;
  std::unique_lock lock(mutex_);
  const std::uint64_t goal = bytesWritten_;
  hurry_ = true;
  wakeSender_.notify_one();
  return batchSent_.wait_for(lock, limit, [&] { return bytesSent_ >= goal; });
}

void SyslogLog::SendLines() {
  std::string batch = EmptyBuffer();
  std::unique_lock lock(mutex_);
  while (true) {
    senderIdle_ = waiting_.empty();
    wakeSender_.wait(lock, [this] { return stop_ || !waiting_.empty(); });
    senderIdle_ = false;
    if (waiting_.empty()) return;
    wakeSender_.wait_for(lock, kGathering, [this] { return stop_ || hurry_; });
    hurry_ = false;
    batch.swap(waiting_);
    stalled_ = false;
    lock.unlock();
    roomMade_.notify_all();
    SendBatch(batch);
    const std::size_t sent = batch.size();
    if (sent > kBacklogBytes) batch = EmptyBuffer();  // frees the memory of a huge line
    batch.clear();
    lock.lock();
    bytesSent_ += sent;
    batchSent_.notify_all();
  }
}

void SyslogLog::SendBatch(std::string_view batch) {
  while (!batch.empty()) {
    LineLength length = 0;
    std::memcpy(&length, batch.data(), sizeof length);
    std::string_view line = batch.substr(sizeof length, length);
    batch.remove_prefix(sizeof length + line.size());
    do {
      const std::size_t piece = Utf8Prefix(line, kLongestMessage).size();
      transport_(line.substr(0, piece));
      ++messagesSent_;
      line.remove_prefix(piece);
    } while (!line.empty());
  }
}

}  // namespace quillet::platform::posix
