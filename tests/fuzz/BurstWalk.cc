// Fuzzes composing lines from the records of a burst.
//
// Input: the settings, a byte whose bit 0 selects the layout, and the records.

#include <array>
#include <memory>

#include "tests/fuzz/FuzzedSession.h"

namespace quillet::fuzz {

void Run(Input& input) {
  const auto session = std::make_unique<FuzzedSession>();
  Lumet& lumet = session->lumet;
  TakeSettings(input, lumet);
  session->SendVersion((input.Byte() & 1U) != 0);
  session->Send('P');
  const auto records = input.Rest();
  const std::size_t length = kLengthBytes + records.size();
  session->Feed(std::array{static_cast<std::uint8_t>(length >> 16U),
                           static_cast<std::uint8_t>(length >> 8U),
                           static_cast<std::uint8_t>(length)});
  session->Feed(records);
  Require(lumet.bCommandDone() == !records.empty(),
          "a burst completes its command if it has records");

  // Functions that append a single field must also accept these bytes.
  StrictLog log;
  const auto composer = std::make_unique<RecordComposer>(log, lumet, lumet);
  composer->GetBarcodeLength(records);
  composer->GetBarcodeType(records);
  composer->GetBarcodeData(records);
  composer->AttachTimestamp(records);
  composer->AttachSerialNumber(records);
}

}  // namespace quillet::fuzz
