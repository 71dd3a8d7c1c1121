#include "base/Log.h"
#include "device/Lumet.h"

namespace quillet {

void Lumet::GetSerialNumber() {
  Queue({0x01, 'M'});
}

void Lumet::GetFWVersion() {
  Queue({0x01, 'V'});
}

void Lumet::GetAssetNumber() {
  Queue({0x04, '2', 'Z', 'S', 'G'});
}

void Lumet::SetWedgeMode(bool on) {
  Queue({0x03, 'w', static_cast<std::uint8_t>('0' | static_cast<int>(on)), '#'});
}

void Lumet::SyncTavoClock() {
  if (!bSyncClock) {
    if (LumetDelegate* owner = delegate()) owner->TavoInitializationDone(true);
    return;
  }
  // The date and the time of day are two readings of the clock.
  const platform::CalendarTime date = clock_.LocalTime();
  const platform::CalendarTime time = clock_.LocalTime();
  Queue({0x07, 'C', static_cast<std::uint8_t>(date.year - 2000),
         static_cast<std::uint8_t>(date.month), static_cast<std::uint8_t>(date.day),
         static_cast<std::uint8_t>(time.hour), static_cast<std::uint8_t>(time.minute),
         static_cast<std::uint8_t>(time.second)});
}

void Lumet::EraseTavoMemory() {
  Queue({0x01, 'E'});
}

void Lumet::InitialSetting() {
  Log(log_, "-[Lumet InitialSetting]");
  bTavo300 = 0;
  const std::uint8_t family = FWVersion[5];
  const std::uint8_t variant = FWVersion[6];
  // The last test looks at character 2, not 6.
  if ((family == '4' && (variant == '2' || variant == '5')) ||
      (family == '3' && (variant == '0' || FWVersion[2] == '2'))) {
    bTavo300 = 1;
  }
}

}  // namespace quillet
