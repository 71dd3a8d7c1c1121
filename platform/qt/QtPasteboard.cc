#include "platform/qt/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QString>
#include <QThread>
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

void QtPasteboard::SetString(std::string_view text) {
  const QString string = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
  if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
    SetClipboard(string);
    return;
  }
  // The work owns the promise: when the queue drops it, the promise is broken and the wait ends.
  auto promise = std::make_shared<std::promise<void>>();
  const std::future<void> done = promise->get_future();
  queue_.Async([string, promise = std::move(promise)] {
    SetClipboard(string);
    promise->set_value();
  });
  done.wait_for(kLongestWait);
}

}  // namespace quillet::platform::qt
