#pragma once

#include <atomic>

namespace quillet {

/// A value shared by several threads without a lock, for use like a plain field. A thread that
/// reads a value also sees everything written before that value was stored. Operator += is
/// deliberately missing, because it would not be atomic.
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
