#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "device/Lumet.h"

namespace quillet::test {

/// A session owner that records the calls it receives. Any thread may use it.
class RecordingOwner final : public LumetDelegate {
 public:
  void TavoInitializationDone(bool connected) override { Add(connected ? "done:1" : "done:0"); }
  void AwaitDelivery() override {
    if (onAwait) onAwait();
  }
  void DisplayBarcode(const std::string& record) override {
    Add(record);
    if (const auto hook = onRecord) hook();
  }
  void SynchronizeFinished() override {
    Add("finished");
    if (onFinished) onFinished();
  }

  std::function<void()> onAwait;     ///< called by AwaitDelivery
  std::function<void()> onRecord;    ///< called after each record
  std::function<void()> onFinished;  ///< called at the end of a download

  void Clear() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
  }
  /// All calls in order: "done:1" or "done:0" (TavoInitializationDone), the record, or "finished".
  std::vector<std::string> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  std::vector<std::string> records() const {
    auto records = calls();
    std::erase_if(records, [](const std::string& call) {
      return call.starts_with("done:") || call == "finished";
    });
    return records;
  }

 private:
  void Add(std::string call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
};

}  // namespace quillet::test
