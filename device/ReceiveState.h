#pragma once

#include <cstdint>

namespace quillet {

/// What the receive path is in the middle of.
enum ReceiveState : std::int32_t {
  kPlainAnswer = 0,      ///< a plain answer, or nothing at all
  kFrameLength = 10,     ///< the length behind a frame's 0x03
  kFrameBody = 11,       ///< the frame itself
  kUnsolicitedEnd = 12,  ///< a frame nobody asked for is whole but for its '@'
  kBurstLength = 30,     ///< the length of a burst, which has no 0x03 in front
  kBurstBody = 31,       ///< the burst itself
};

/// Bytes of a frame's or burst's length, which counts itself; the first record stands behind them.
inline constexpr std::int32_t kLengthBytes = 3;

}  // namespace quillet
