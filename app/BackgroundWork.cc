#include "app/BackgroundWork.h"

#include <utility>

namespace quillet {

BackgroundWork::BackgroundWork(platform::MainQueue& queue, std::function<void(bool busy)> showBusy)
    : queue_(queue), showBusy_(std::move(showBusy)) {}

void BackgroundWork::Add(Job job) {
  jobs_.push_back(std::move(job));
  if (thread_.IsEmpty()) StartNext();
}

void BackgroundWork::StartNext() {
  while (!jobs_.empty()) {
    showBusy_(true);
    const Job job = std::move(jobs_.front());
    jobs_.pop_front();
    const bool started = thread_.Start([this, job] {
      queue_.Async([this, finish = job()] {
        finish();
        thread_.Clear();
        StartNext();
      });
    });
    if (started) return;
    job()();
  }
  showBusy_(false);
}

}  // namespace quillet
