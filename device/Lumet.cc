#include "device/Lumet.h"

#include "base/Log.h"
#include "device/ReceiveState.h"

namespace quillet {

using namespace std::chrono_literals;

Lumet::Lumet(SystemLog& log, platform::Clock& clock, platform::SerialLine& line)
    : RecordComposer(log), serial(log, clock, line), clock_(clock) {
  Log(log_, "-[Lumet init]");
  serial.setDelegate(this);
}

std::uint8_t Lumet::connectTavo(const char* path) {
  Log(log_, "-[Lumet connectTavo:]");
  const std::uint8_t opened = serial.openConnections(path);
  if (opened) {
    bConnected = 1;
    Log(log_, "[", ForeignText(path), "]:Open succeeded !!!");
    InitTavo();
  } else {
    Log(log_, "[", ForeignText(path), "]:Open failed !!!");
  }
  return opened;
}

void Lumet::InitTavo() {
  Log(log_, "-[Lumet InitTavo]");
  state = kPlainAnswer;
  writePtr = 0;
  cmdArray.Reset();
  // A thread that is still there from the connection before serves this one too.
  if (commandThread.Claim() && !commandThread.Start([this] { CommandThread(); })) {
    Log(log_, "-[Lumet InitTavo]", ": no thread to send with");
  }
  WakeupTavo(false);
  GetSerialNumber();
  GetFWVersion();
  SetWedgeMode(true);
  clock_.Sleep(1s);
}

void Lumet::disconnectTavo() {
  serial.closeConnections();
  SerialNo.Put(0, 0);
  FWVersion.Put(0, 0);
  bConnected = 0;
}

}  // namespace quillet
