#include <algorithm>

#include "base/Log.h"
#include "device/Lumet.h"
#include "device/ReceiveState.h"

namespace quillet {
void Lumet::HandleCommandData(const std::uint8_t* data, std::int32_t length) {
  const auto held = static_cast<std::size_t>(std::clamp(length, 0, kRxBufferSize));
  Log(log_, "-[Lumet HandleCommandData::]", "[", ForeignText(data, held), ":", length, ":",
      static_cast<std::int32_t>(writePtr), ":", Hex{static_cast<std::uint32_t>(commandType)}, "]");
  BarcodeBuffer[0] = 0;

  switch (commandType) {
    case '2':
      CopyStringData(data, AssetNumber, length);
      break;
    case 'C':
      if (LumetDelegate* owner = delegate()) owner->TavoInitializationDone(true);
      break;
    case 'M':
      CopyStringData(data, SerialNo, length);
      TruncateSerialNumber(length);
      break;
    case 'N':
      SyncEndIndex = static_cast<std::int32_t>(MakeOneNumber(data));
      break;
    case 'P':
      SynchronizeBurstData();
      break;
    case 'V':
      CopyStringData(data, FWVersion, length);
      InitialSetting();
      break;
    case 'p':
      BufferOffset = kLengthBytes;
      SynchronizeData();
      break;
    case 'w':
      SyncTavoClock();
      break;
    default:
      break;
  }

  // The type is read before the answer is reported: from then on the command thread may set the
  // type of the next command.
  const std::int32_t answered = commandType;
  state = kPlainAnswer;
  writePtr = 0;
  bCommandDone = 1;
  if (answered == '1') {
    if (LumetDelegate* owner = delegate()) owner->SynchronizeFinished();
  }
}

}  // namespace quillet
