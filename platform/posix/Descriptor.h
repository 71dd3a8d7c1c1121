#pragma once

namespace quillet::platform::posix {

/// Owns a file descriptor. Used by one thread at a time.
class Descriptor {
 public:
  /// Takes over a descriptor; -1 is none. Standard descriptors (0 to 2) are traded for a higher
  /// number, close-on-exec; where there is no other number, none is held and errno tells why.
  explicit Descriptor(int number);
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool IsOpen() const { return number_ >= 0; }
  int Number() const { return number_; }

  /// Closes now instead of at destruction.
  /// @return false when the system reports that something written earlier was lost (close(3p)).
  bool Close();

 private:
  int number_;
};

}  // namespace quillet::platform::posix
