#include "platform/qt/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QThread>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>

#include "platform/qt/Text.h"
#include "platform/qt/X11Clipboard.h"

namespace quillet::platform::qt {
namespace {

// Enough even while the main thread displays thousands of lines.
constexpr std::chrono::seconds kLongestWait{2};

bool SetClipboard(const QString& text) {
  QGuiApplication::clipboard()->setText(text);
  return OwnsClipboard();
}

}  // namespace

bool QtPasteboard::SetString(std::string_view text) {
  const QString string = ToQString(text);
  if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
    return SetClipboard(string);
  }
  // The queued work owns the promise. If the queue drops the work, the promise is broken and the
  // wait ends. `decided` is set by the main thread or at the end of the wait, whichever comes
  // first.
  auto promise = std::make_shared<std::promise<bool>>();
  auto decided = std::make_shared<std::atomic<bool>>(false);
  std::future<bool> done = promise->get_future();
  queue_.Async([string, decided, promise = std::move(promise)]() mutable {
    AfterCurrentTime([string, decided, promise = std::move(promise)] {
      if (decided->exchange(true)) return;
      promise->set_value(SetClipboard(string));
    });
  });
  done.wait_for(kLongestWait);
  if (!decided->exchange(true)) return false;
  return done.get();  // the main thread may be setting the text now
}

void QtPasteboard::Keep() {
  SaveClipboard();
}

}  // namespace quillet::platform::qt
