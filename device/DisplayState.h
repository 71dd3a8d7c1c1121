#pragma once

#include <cstdint>

namespace quillet {

/// The progress of a download, packed into one word. One thread at a time writes it; any thread may
/// read it.
class DisplayState {
 public:
  /// The step of the download.
  enum class Phase : std::uint8_t {
    kPreparing,   ///< no record has been requested yet
    kRecords,     ///< records arrive one by one
    kBurst,       ///< all records arrive in one transfer
    kDelivering,  ///< the transfer is complete; its records are being delivered
    kClosing,     ///< all records have been delivered
    kGivenUp,     ///< the scanner did not answer the wake-up; the download does not continue
  };

  /// @param phase      current step of the download
  /// @param bytes      number of received bytes of a burst, 0 to 2^24
  /// @param announced  length of a burst in bytes, 0 to 2^24; 0 if not known yet
  constexpr DisplayState(Phase phase = Phase::kPreparing, std::int32_t bytes = 0,
                         std::int32_t announced = 0)
      : word_(static_cast<std::uint64_t>(phase) | static_cast<std::uint64_t>(bytes) << 8 |
              static_cast<std::uint64_t>(announced) << 36) {}

  /// The current step of the download.
  Phase phase() const { return static_cast<Phase>(word_ & 0xFF); }
  /// Number of received bytes of a burst.
  std::int32_t bytes() const { return static_cast<std::int32_t>(word_ >> 8 & 0xFFFFFFF); }
  /// Length of a burst in bytes; 0 if not known yet.
  std::int32_t announced() const { return static_cast<std::int32_t>(word_ >> 36); }

 private:
  std::uint64_t word_;
};

}  // namespace quillet
