#pragma once

#include <utility>

namespace quillet {

/// Owns a file descriptor and closes it. Used by one thread at a time.
class UniqueFd {
 public:
  /// Holds no descriptor.
  UniqueFd() = default;

  /// Takes ownership of a descriptor; -1 is none. A standard descriptor (0 to 2) is replaced by a
  /// higher one with close-on-exec set: another part of the program may close descriptor 0 at any
  /// time. If no other descriptor is available, none is held and errno says why.
  explicit UniqueFd(int descriptor);

  ~UniqueFd() { Close(); }
  UniqueFd(UniqueFd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      Close();
      descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
  }

  /// Whether a descriptor is held.
  bool IsOpen() const { return descriptor_ >= 0; }

  /// The descriptor, -1 if none is held.
  int Get() const { return descriptor_; }

  /// Closes the descriptor now.
  /// @return false if the system reports that data written earlier was lost (close(3p)).
  bool Close();

 private:
  int descriptor_ = -1;
};

}  // namespace quillet
