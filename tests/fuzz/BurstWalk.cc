// The records of one whole transfer, walked and composed, in both layouts and with all settings.

#include <array>

#include "tests/fuzz/FuzzedSession.h"

namespace quillet::fuzz {

void Run(Input& input) {
  FuzzedSession& session = FuzzedSession::AsNew();
  TakeSettings(input, session.lumet);
  session.lumet.bTavo300 = (input.Byte() & 1U) != 0;
  session.Await('P');
  const auto records = input.Rest();
  const std::size_t length = kLengthBytes + records.size();
  session.Feed(std::array{static_cast<std::uint8_t>(length >> 16U),
                          static_cast<std::uint8_t>(length >> 8U),
                          static_cast<std::uint8_t>(length)});
  session.Feed(records);
  // Without a record there is not a byte behind the length, and so nothing that ends the transfer.
  Require((session.lumet.bCommandDone != 0) == !records.empty(), "a whole transfer is an answer");

  // The first record once more, field by field, by the operations that a line is not made with.
  Lumet& lumet = session.lumet;
  lumet.BufferOffset = kLengthBytes;
  lumet.BarcodeBufferOffset = 0;
  lumet.GetBarcodeLength(lumet.RxBuffer);
  lumet.GetBarcodeType(lumet.RxBuffer);
  lumet.GetBarcodeData(lumet.RxBuffer);
  lumet.AttachTimestamp(lumet.RxBuffer);
  lumet.AttachSerialNumber(lumet.RxBuffer);
}

}  // namespace quillet::fuzz
