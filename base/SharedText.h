#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <utility>

namespace quillet {

/// A text that one thread replaces while others read it. A value is published whole and never
/// changes or goes away afterwards, so a reader may keep the reference that it got. A value that
/// was held before is published again instead of being stored a second time: memory grows with the
/// number of different values only.
class SharedText {
 public:
  /// @param initial  the text at first
  explicit SharedText(std::string_view initial = {}) { Set(initial); }
  SharedText(const SharedText&) = delete;
  SharedText& operator=(const SharedText&) = delete;

  ~SharedText() {
    for (Value* value = newest_.load(); value != nullptr;)
      delete std::exchange(value, value->older);
  }

  /// The present text. Any thread; the reference stays valid as long as this object.
  const std::string& Get() const noexcept { return current_.load(std::memory_order_acquire)->text; }

  /// Replaces the text. Any thread.
  void Set(std::string_view text) {
    Value* head = newest_.load(std::memory_order_acquire);
    for (Value* value = head; value != nullptr; value = value->older) {
      if (value->text == text) {
        current_.store(value, std::memory_order_release);
        return;
      }
    }
    auto* value = new Value{std::string(text), head};
    while (!newest_.compare_exchange_weak(value->older, value, std::memory_order_acq_rel)) {
    }
    current_.store(value, std::memory_order_release);
  }

 private:
  struct Value {
    const std::string text;
    Value* older;
  };

  std::atomic<Value*> newest_{nullptr};
  std::atomic<const Value*> current_{nullptr};
};

}  // namespace quillet
