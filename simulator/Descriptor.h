#pragma once

#include <span>

#include "simulator/Endpoint.h"

namespace quillet::simulator {

/// Owns one file descriptor, and closes it.
class Descriptor {
 public:
  Descriptor() = default;
  /// Takes a descriptor, or -1. One of the numbers 0 to 2 is exchanged for a higher one: those
  /// belong to the standard streams, and a program that closes them must not close a scanner's
  /// line. Throws std::system_error, naming `what`, for -1, with the errno of the call that
  /// returned it.
  Descriptor(int number, const char* what);
  ~Descriptor() { Reset(); }
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  void Reset();

 private:
  int number_ = -1;
};

/// read(2) and write(2) on a descriptor that does not block, as Endpoint has them.
Endpoint::Transfer ReadNow(int descriptor, std::span<std::uint8_t> buffer);
Endpoint::Transfer WriteNow(int descriptor, std::span<const std::uint8_t> bytes);

/// Sets a terminal raw, as cfmakeraw does, and when `bits_per_second` is a speed that the system
/// knows, to that speed. A failure is not reported: what cannot be set stays as it is.
void SetRaw(int descriptor, std::uint64_t bits_per_second);

/// The events of poll(2) that hold for the descriptor at this moment.
short PollNow(int descriptor, short events);

}  // namespace quillet::simulator
