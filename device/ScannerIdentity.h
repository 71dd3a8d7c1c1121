#pragma once

#include "base/Word.h"
#include "device/ByteField.h"

namespace quillet {

/// The scanner's identity. Written by the read thread, read by any thread.
struct ScannerIdentity {
  SerialNumberField SerialNo{"0000000000"};  ///< serial number
  ByteField<11> FWVersion{"0.00.00000"};     ///< firmware version
  ByteField<33> AssetNumber{};               ///< asset number; empty until it is requested
  Word<std::uint8_t> bTavo300 = 0;           ///< 1 if the scanner has the 300-series record layout
};

}  // namespace quillet
