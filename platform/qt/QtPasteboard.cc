#include "platform/qt/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QString>
#include <QThread>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>

namespace quillet::platform::qt {
namespace {

// Far more than a main thread needs that shows thousands of lines meanwhile.
constexpr std::chrono::seconds kLongestWait{2};

void SetClipboard(const QString& text) {
  QGuiApplication::clipboard()->setText(text);
}

}  // namespace

bool QtPasteboard::SetString(std::string_view text) {
  const QString string = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
  if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
    SetClipboard(string);
    return true;
  }
  // The work owns the promise: when the queue drops it, the promise is broken and the wait ends.
  // Whoever comes first, the main thread or the end of the wait, decides about the text.
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
  done.wait();  // should the main thread be at it just now
  return true;
}

}  // namespace quillet::platform::qt
