#pragma once

#include <QSocketNotifier>
#include <utility>

#include "platform/DescriptorWatch.h"

namespace quillet::platform::qt {

/// Watches descriptors with Qt's main loop. Main thread only. Needs a QCoreApplication.
class QtDescriptorWatcher final : public DescriptorWatcher {
 public:
  std::unique_ptr<DescriptorWatch> Watch(int descriptor, std::function<void()> ready) override {
    return std::make_unique<NotifierWatch>(descriptor, std::move(ready));
  }

 private:
  class NotifierWatch final : public DescriptorWatch {
   public:
    NotifierWatch(int descriptor, std::function<void()> ready)
        : notifier_(new QSocketNotifier(descriptor, QSocketNotifier::Read)) {
      QObject::connect(notifier_, &QSocketNotifier::activated, notifier_, std::move(ready));
    }
    ~NotifierWatch() override {
      notifier_->setEnabled(false);
      notifier_->disconnect();
      notifier_->deleteLater();  // the notifier may be emitting its signal
    }
    NotifierWatch(const NotifierWatch&) = delete;
    NotifierWatch& operator=(const NotifierWatch&) = delete;

   private:
    QSocketNotifier* const notifier_;
  };
};

}  // namespace quillet::platform::qt
