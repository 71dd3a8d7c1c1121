#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <utility>

namespace quillet {

/// A string that one thread replaces while other threads read it. Every value is kept unchanged
/// until the object is destroyed, so readers may keep references. Equal values are stored only
/// once: memory use grows with the number of different values.
class SharedText {
 public:
  /// @param initial  the initial text
  explicit SharedText(std::string_view initial = {}) { Set(initial); }
  SharedText(const SharedText&) = delete;
  SharedText& operator=(const SharedText&) = delete;
  ~SharedText() {
    for (Value* value = newest_.load(); value != nullptr;)
      delete std::exchange(value, value->older);
  }

  /// Returns the current text. The reference is valid for the lifetime of this object. Any thread.
  const std::string& Get() const noexcept { return current_.load(std::memory_order_acquire)->text; }

  /// Replaces the text. Any thread.
  void Set(std::string_view text) {
    Value* head = newest_.load(std::memory_order_acquire);
    Value* value = head;
    while (value != nullptr && value->text != text) value = value->older;
    if (value == nullptr) {
      value = new Value{std::string(text), head};
      while (!newest_.compare_exchange_weak(value->older, value, std::memory_order_acq_rel)) {
      }
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
