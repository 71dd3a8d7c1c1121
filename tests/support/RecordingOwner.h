#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "device/Lumet.h"

namespace quillet::test {

/// Owner of a session that keeps its calls: "done:1", "finished", or the record.
class RecordingOwner final : public LumetDelegate {
 public:
  void TavoInitializationDone(bool connected) override { Add(connected ? "done:1" : "done:0"); }
  void DisplayBarcode(const std::string& record) override {
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back(record);
      records_.push_back(record);
    }
    if (const auto hook = onRecord) hook();
  }
  void SynchronizeFinished() override {
    Add("finished");
    if (onFinished) onFinished();
  }

  std::function<void()> onRecord;    ///< called with each record
  std::function<void()> onFinished;  ///< called at the end of a download

  void Clear() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
    records_.clear();
  }

  std::vector<std::string> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  std::vector<std::string> records() const {
    const std::lock_guard lock(mutex_);
    return records_;
  }
  std::size_t Count(std::string_view call) const {
    std::size_t count = 0;
    for (const auto& made : calls()) count += made == call ? 1 : 0;
    return count;
  }

 private:
  void Add(std::string call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::vector<std::string> records_;
};

}  // namespace quillet::test
