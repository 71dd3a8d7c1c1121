#pragma once

#include "base/Word.h"
#include "device/ByteField.h"

namespace quillet {

/// What the scanner says about itself. The read thread writes it; other threads show it.
struct ScannerIdentity {
  SerialNumberField SerialNo{"0000000000"};  ///< the whole serial number
  ByteField<11> FWVersion{"0.00.00000"};     ///< firmware version
  ByteField<33> AssetNumber;                 ///< empty until it has been requested
  Word<std::uint8_t> bTavo300 = 0;           ///< the scanner uses the 300-series record layout
};

}  // namespace quillet
