#include "platform/qt/QtMainQueue.h"

#include <unistd.h>

#include <QCoreApplication>
#include <array>
#include <chrono>
#include <utility>

#include "base/Retry.h"

namespace quillet::platform::qt {
namespace {

using std::chrono::steady_clock;

// Time limit per turn of the main loop. This slice, the slice of QtTextView and a repaint together
// fit into one frame of a 60 Hz screen.
constexpr auto kSlice = std::chrono::milliseconds(5);

}  // namespace

QtMainQueue::QtMainQueue() : wakeUp_(QSocketNotifier::Read) {
  Pipe wakeUp = MakePipe("main queue");
  wakeUpReader_ = std::move(wakeUp.reader);
  wakeUpWriter_ = std::move(wakeUp.writer);
  wakeUp_.setSocket(wakeUpReader_.Get());
  wakeUp_.setEnabled(true);
  // The slices run from a timer, not from the descriptor. A main loop may handle descriptors before
  // timers, and some desktops repaint from a timer. A descriptor that is always ready would then
  // block repainting.
  sliceTimer_.setInterval(0);
  QObject::connect(&wakeUp_, &QSocketNotifier::activated, [this] { HandleWakeUp(); });
  QObject::connect(&sliceTimer_, &QTimer::timeout, [this] { RunSlice(); });
  QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &sliceTimer_,
                   [this] { Close(); });
}

QtMainQueue::~QtMainQueue() {
  wakeUp_.setEnabled(false);
}

void QtMainQueue::Async(std::function<void()> work) {
  bool wakeUp = false;
  {
    const std::scoped_lock lock(mutex_);
    if (closed_) return;
    queued_.push_back(std::move(work));
    wakeUp = !std::exchange(wakeUpSent_, true);
  }
  if (!wakeUp) return;
  const char byte = 0;
  // The pipe cannot be full: the next byte is written only after this one has been read.
  RetryOnSignal([&] { return write(wakeUpWriter_.Get(), &byte, 1); });
}

void QtMainQueue::HandleWakeUp() {
  std::array<char, 16> bytes{};
  RetryOnSignal([&] { return read(wakeUpReader_.Get(), bytes.data(), bytes.size()); });
  sliceTimer_.start();
}

void QtMainQueue::RunSlice() {
  // The timer is stopped, and no wake-up is sent until the queue is empty. If the work runs a
  // nested loop, that loop therefore runs no other work.
  sliceTimer_.stop();
  const auto deadline = steady_clock::now() + kSlice;
  bool more = TakeQueued();
  while (more) {
    const auto work = std::move(running_.front());
    running_.pop_front();
    work();
    more = TakeQueued();
    if (steady_clock::now() >= deadline) break;
  }
  if (more) sliceTimer_.start();
}

/// Refills running_ if it is empty. Returns false if running_ stays empty.
bool QtMainQueue::TakeQueued() {
  if (!running_.empty()) return true;
  const std::scoped_lock lock(mutex_);
  if (queued_.empty()) {
    wakeUpSent_ = false;
    return false;
  }
  running_.swap(queued_);
  return true;
}

void QtMainQueue::Close() {
  sliceTimer_.stop();
  Entries dropped;
  {
    const std::scoped_lock lock(mutex_);
    closed_ = true;
    dropped.swap(queued_);
  }
  running_.clear();
}

}  // namespace quillet::platform::qt
