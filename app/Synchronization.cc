#include <memory>

#include "app/Destinations.h"
#include "app/SyncController.h"
#include "base/Log.h"
#include "output/TextEncoding.h"

namespace quillet {
namespace {

// A dot for the first record of every so many.
constexpr std::int32_t kRecordsPerDot = 64;

// What a run's records have room for before their buffer has to be moved, which costs as much as
// all else that is done with them: some 80,000 usual ones. Memory that is never written to costs
// nothing.
constexpr std::size_t kRoomForRecords = std::size_t{4} * 1024 * 1024;

std::string* EmptyBuffer() {
  auto buffer = std::make_unique<std::string>();
  buffer->reserve(kRoomForRecords);
  return buffer.release();
}

}  // namespace

void SyncController::synchronizeButton() {
  if (bConnecting || bIsUnderSynchronization) return;
  if (bIsConnected) {
    bIsUnderSynchronization = true;
    DoSynchronization();
  } else {
    DisplayText("Tavo is not connected. Please try after connecting Tavo.", true);
  }
}

void SyncController::DoSynchronization() {
  Log(platform_.log, "-[SyncController DoSynchronization]");
  DisplayText("\r\nSynchronization has started...", true);
  barcodeCount = 0;
  ++runsUnderWay_;
  StartProgress();
  if (lumet->destination == kToFile) {
    delete barcodedata.exchange(EmptyBuffer());
    barcodeindex = 0;
  }
  if (lumet->destination == kToNamedApplication) RunApplication();
  syncfileData.Set("");
  lumet->Synchronize();
}

void SyncController::DisplayBarcode(const std::string& record) {
  Log(platform_.log, "-[SyncController DisplayBarcode:]");
  ++barcodeCount;
  switch (lumet->destination) {
    case kToFile:
      GatherForFile(record);
      break;
    case kToView:
      DisplayText(record, false);
      break;
    case kToNamedApplication:
      Log(platform_.log, "-[SyncController DisplayBarcode:]", "[",
          ForeignText(lumet->appname.Get()), "]");
      RunApplication();
      [[fallthrough]];
    default:
      DeliverToApplication(record);
      break;
  }
}

// A new run may replace the buffer at any moment from the main thread. The buffer is therefore
// taken out while it is worked on, and one that was replaced meanwhile is not put back. Outside a
// run there is none, and a record that comes then is counted only.
void SyncController::GatherForFile(const std::string& record) {
  std::unique_ptr<std::string> buffer(barcodedata.exchange(nullptr));
  // A run that was started for another destination has none yet.
  if (!buffer && runsUnderWay_ > 0) buffer.reset(EmptyBuffer());
  if (buffer) {
    // As many bytes as the record has characters: one outside ASCII costs the record its end.
    buffer->append(record, 0, Utf16Length(record));
    std::string* none = nullptr;
    if (barcodedata.compare_exchange_strong(none, buffer.get())) {
      static_cast<void>(buffer.release());
    }
  }
  if (barcodeindex++ % kRecordsPerDot == 0) DisplayText(".", false);
}

void SyncController::SynchronizeFinished() {
  Log(platform_.log, "-[SyncController SynchronizeFinished]");
  // From the moment the flag is cleared a new run may start on the main thread and reset what this
  // one has gathered.
  const std::int32_t count = barcodeCount;
  const bool toFile = count != 0 && lumet->destination == kToFile;
  const std::unique_ptr<std::string> gathered(toFile ? barcodedata.exchange(nullptr) : nullptr);
  // An end may be reported twice. Where another run is still under way, because it was started
  // before this one ended, which an automatic run does not prevent, it gets a buffer of its own
  // with its next record.
  if (runsUnderWay_ > 0) --runsUnderWay_;
  runShown_ = false;
  bIsUnderSynchronization = false;
  if (count == 0) {
    DisplayText("No data to synchronize...", true);
  } else {
    if (toFile) WriteSyncFile(gathered.get());
    DisplayText(std::to_string(count) + " barcodes synchronized", true);
    if (lumet->bClearMemory) {
      DisplayText("Erased Tavo memory...", true);
      lumet->EraseTavoMemory();
    }
  }
  DisplayText("Synchronization finished. Tavo can be plugged off now", true);
}

// Without anything gathered the run was started for another destination, or its closing answer came
// twice. A file that was written before must not be emptied then.
void SyncController::WriteSyncFile(const std::string* gathered) {
  if (gathered == nullptr || gathered->empty()) {
    Log(platform_.log, "-[SyncController SynchronizeFinished]", ": no records gathered");
    return;
  }
  syncfileName.Set(ResolveSyncFileName(lumet->filename.Get(), [this] {
    return lumetfile->GetSyncFileName(lumet->returnSerialNumber());
  }));
  const std::string& name = syncfileName.Get();
  Log(platform_.log, "-[SyncController SynchronizeFinished]", "[", ForeignText(name), "]");
  // A record that was cut within a character must not cost the file: the broken end is marked.
  lumetfile->WriteDataToFile(name, RepairUtf8(*gathered), false, lumet->bAppendData != 0);
  DisplayText("\nSynchronized to " + name, true);
}

void SyncController::connectionDidReceiveResponse() {
  Log(platform_.log, "-[SyncController connection:didReceiveResponse:]");
}

void SyncController::connectionDidReceiveData(std::string_view data) {
  Log(platform_.log, "-[SyncController connection:didReceiveData:]", ":", ForeignText(data));
}

void SyncController::connectionDidFailWithError() {
  Log(platform_.log, "-[SyncController connection:didFailWithError:]");
}

void SyncController::connectionDidFinishLoading(std::shared_ptr<void> connection) {
  connection.reset();
}

}  // namespace quillet
