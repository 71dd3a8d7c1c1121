#include "platform/qt/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QThread>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

// Enough even while the main thread displays thousands of lines.
constexpr std::chrono::seconds kLongestWait{2};

void SetClipboard(const QString& text) {
  QGuiApplication::clipboard()->setText(text);
}

}  // namespace

bool QtPasteboard::SetString(std::string_view text) {
  const QString string = ToQString(text);
  if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
    SetClipboard(string);
    return true;
  }
  // The queued work owns the promise. If the queue drops the work, the promise is broken and the
  // wait ends. `decided` is set by the main thread or at the end of the wait, whichever comes
  // first.
  auto promise = std::make_shared<std::promise<void>>();
  auto decided = std::make_shared<std::atomic<bool>>(false);
  const std::future<void> done = promise->get_future();
  queue_.Async([string, decided, promise = std::move(promise)] {
    if (decided->exchange(true)) return;
    SetClipboard(string);
    promise->set_value();
  });
  done.wait_for(kLongestWait);
  if (!decided->exchange(true)) return false;
  done.wait();  // the main thread may be setting the text now
  return true;
}

}  // namespace quillet::platform::qt
