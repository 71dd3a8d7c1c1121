#pragma once

#include <utility>

namespace quillet {

/// Owns a file descriptor and closes it. For use by one thread at a time.
class UniqueFd {
 public:
  /// Owns no descriptor.
  UniqueFd() = default;

  /// Takes ownership of a descriptor; -1 means none. A standard descriptor (0 to 2) is replaced by
  /// a higher one with close-on-exec set, since another part of the program may close descriptor 0
  /// at any time. If the replacement fails, the object owns no descriptor and errno is set.
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

  bool IsOpen() const { return descriptor_ >= 0; }  ///< returns true if a descriptor is owned
  int Get() const { return descriptor_; }           ///< the descriptor, or -1

  /// Closes the descriptor.
  /// @return false if the system reports that data written earlier was lost (close(3p)).
  bool Close();

 private:
  int descriptor_ = -1;
};

/// The two ends of a pipe (pipe(2)).
struct Pipe {
  UniqueFd reader;  ///< the read end
  UniqueFd writer;  ///< the write end
};

/// Creates a pipe with O_NONBLOCK and close-on-exec set at both ends.
/// @param purpose  the pipe's use, for the exception's message
/// @throw std::system_error if the pipe cannot be created
Pipe MakePipe(const char* purpose);

}  // namespace quillet
