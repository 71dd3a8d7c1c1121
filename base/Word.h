#pragma once

#include <atomic>

namespace quillet {

/// A value that several threads share without a lock. Used like a plain field, but without +=,
/// which would not be atomic. A thread that reads a value also sees everything written before that
/// value was stored.
template <class T>
class Word {
 public:
  constexpr Word() noexcept = default;
  /// @param value  the initial value
  constexpr Word(T value) noexcept : value_(value) {}
  Word(const Word&) = delete;
  Word& operator=(const Word&) = delete;

  /// Reads the value (acquire).
  operator T() const noexcept { return value_.load(std::memory_order_acquire); }
  /// Stores `value` (release) and returns it.
  T operator=(T value) noexcept {
    value_.store(value, std::memory_order_release);
    return value;
  }

 private:
  static_assert(std::atomic<T>::is_always_lock_free);
  std::atomic<T> value_{T{}};
};

}  // namespace quillet
