#include "platform/qt/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QThread>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <utility>

#include "platform/qt/Text.h"
#include "platform/qt/X11Clipboard.h"

namespace quillet::platform::qt {
namespace {

// Longest wait for the main thread, which may be displaying thousands of lines.
constexpr std::chrono::seconds kLongestWait{2};

/// @param onRead  see OnClipboardRead
bool SetClipboard(const QString& text, std::function<void()> onRead) {
  QGuiApplication::clipboard()->setText(text);
  OnClipboardRead(std::move(onRead));
  return OwnsClipboard();
}

}  // namespace

bool QtPasteboard::SetString(std::string_view text) {
  const QString string = ToQString(text);
  if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
    return SetClipboard(string, nullptr);
  }
  const std::lock_guard lock(setting_);
  AwaitReader();
  auto read = std::make_shared<std::promise<void>>();
  std::future<void> wasRead = read->get_future();
  // The queued work owns the promise. If the queue drops the work, the promise is broken and the
  // wait ends. `decided` is set by the main thread or at the end of the wait, whichever comes
  // first.
  auto promise = std::make_shared<std::promise<bool>>();
  auto decided = std::make_shared<std::atomic<bool>>(false);
  std::future<bool> done = promise->get_future();
  queue_.Async([string, decided, read, promise = std::move(promise)]() mutable {
    AfterCurrentTime([string, decided, read, promise = std::move(promise)] {
      if (decided->exchange(true)) return;
      promise->set_value(SetClipboard(string, [read] { read->set_value(); }));
    });
  });
  done.wait_for(kLongestWait);
  if (!decided->exchange(true)) return false;
  if (!done.get()) return false;  // waits if the main thread is setting the text
  read_ = std::move(wasRead);
  set_ = std::chrono::steady_clock::now();
  return true;
}

// Waits until the latest text has been read. Does not wait if the previous text was not read in
// time, because the program with focus may never read the clipboard.
void QtPasteboard::AwaitReader() {
  if (!read_.valid()) return;
  const auto limit = readsInTime_ ? longestRead_ : std::chrono::milliseconds(0);
  readsInTime_ = read_.wait_until(set_ + limit) == std::future_status::ready;
}

void QtPasteboard::Keep() {
  SaveClipboard();
}

}  // namespace quillet::platform::qt
