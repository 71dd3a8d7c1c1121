#include "platform/qt/QtDescriptorWatch.h"

#include <QSocketNotifier>
#include <utility>

namespace quillet::platform::qt {
namespace {

class QtDescriptorWatch final : public DescriptorWatch {
 public:
  QtDescriptorWatch(int descriptor, std::function<void()> ready)
      : notifier_(new QSocketNotifier(descriptor, QSocketNotifier::Read)) {
    QObject::connect(notifier_, &QSocketNotifier::activated, notifier_, std::move(ready));
  }

  ~QtDescriptorWatch() override {
    notifier_->setEnabled(false);
    notifier_->disconnect();
    notifier_->deleteLater();  // this may be inside the notifier's own signal
  }

  QtDescriptorWatch(const QtDescriptorWatch&) = delete;
  QtDescriptorWatch& operator=(const QtDescriptorWatch&) = delete;

 private:
  QSocketNotifier* const notifier_;
};

}  // namespace

std::unique_ptr<DescriptorWatch> QtDescriptorWatcher::Watch(int descriptor,
                                                            std::function<void()> ready) {
  return std::make_unique<QtDescriptorWatch>(descriptor, std::move(ready));
}

}  // namespace quillet::platform::qt
