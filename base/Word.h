#pragma once

#include <atomic>

namespace quillet {

/// One word that several threads touch: read and written whole, and visible to the others without
/// delay. It reads like a plain field. What is written before a store is seen by a thread that has
/// read the stored value. There is deliberately no += : a read and a write are two steps.
template <class T>
class Word {
 public:
  constexpr Word() noexcept = default;
  /// A word that holds `value` at first.
  constexpr Word(T value) noexcept : value_(value) {}
  Word(const Word&) = delete;
  Word& operator=(const Word&) = delete;

  /// Reads it, with what was written before the store of that value.
  operator T() const noexcept { return value_.load(std::memory_order_acquire); }
  /// Stores `value` and returns it.
  T operator=(T value) noexcept {
    value_.store(value, std::memory_order_release);
    return value;
  }

 private:
  static_assert(std::atomic<T>::is_always_lock_free);
  std::atomic<T> value_{T{}};
};

}  // namespace quillet
