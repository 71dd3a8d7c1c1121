#include "app/Run.h"

#include "app/Destinations.h"
#include "base/Log.h"
#include "output/TextEncoding.h"

namespace quillet {
namespace {

constexpr std::int32_t kRecordsPerDot = 64;

// Room for some 80,000 usual records. Moving the text to a larger buffer would cost as much as
// everything else that is done with them. Memory that is never written to costs nothing.
constexpr std::size_t kRoomForRecords = std::size_t{4} * 1024 * 1024;

}  // namespace

Run::Records::Records() {
  text.reserve(kRoomForRecords);
}

void Run::Begin(std::int32_t destination) {
  barcodeCount = 0;
  ++runsUnderWay_;
  isShown_ = true;
  if (destination == kToFile) {
    delete gathered_.exchange(new Records);
    barcodeindex = 0;
  }
  syncfileData.Set("");
}

void Run::Add(const std::string& record, std::int32_t destination) {
  ++barcodeCount;
  if (destination != kToFile) return;
  Gather(record);
  if (barcodeindex++ % kRecordsPerDot == 0) show_(".", false);
}

// The main thread may begin a run at any moment and replace the records. They are therefore taken
// out while one is added, and are not put back if they have been replaced in the meantime.
void Run::Gather(const std::string& record) {
  std::unique_ptr<Records> records(gathered_.exchange(nullptr));
  if (!records) {
    if (runsUnderWay_ == 0) return;
    // The run began with another destination, or the end of an older run took the records.
    records = std::make_unique<Records>();
  }
  // As many bytes as the record has characters: one outside ASCII costs the record its end.
  records->text.append(record, 0, Utf16Length(record));
  ++records->count;
  Records* none = nullptr;
  if (gathered_.compare_exchange_strong(none, records.get())) {
    static_cast<void>(records.release());
  }
}

bool Run::End(const Settings& settings, const SerialNumberField& serial, LumetFile& file) {
  // As soon as the flag is cleared, the main thread may begin a run, which resets the fields.
  const std::int32_t count = barcodeCount;
  const bool toFile = count != 0 && settings.destination == kToFile;
  const std::unique_ptr<Records> records(toFile ? gathered_.exchange(nullptr) : nullptr);
  if (runsUnderWay_ > 0) --runsUnderWay_;
  isShown_ = false;
  bIsUnderSynchronization = false;
  if (count == 0) {
    show_("No data to synchronize...", true);
    return false;
  }
  if (toFile) Write(records.get(), settings, serial, file);
  show_(std::to_string(count) + " barcodes synchronized", true);
  return true;
}

// Without a gathered record the run had another destination, or its end was reported twice. A file
// that was written before must not be emptied then.
void Run::Write(const Records* records, const Settings& settings, const SerialNumberField& serial,
                LumetFile& file) {
  if (records == nullptr || records->count == 0) {
    Log(log_, "-[SyncController SynchronizeFinished]", ": no records gathered");
    return;
  }
  syncfileName.Set(
      ResolveSyncFileName(settings.filename.Get(), [&] { return file.GetSyncFileName(serial); }));
  const std::string& name = syncfileName.Get();
  Log(log_, "-[SyncController SynchronizeFinished]", "[", ForeignText(name), "]");
  // A record that was cut within a character must not cost the file: the broken end is marked.
  file.WriteDataToFile(name, RepairUtf8(records->text), false, settings.bAppendData != 0);
  show_("\nSynchronized to " + name, true);
}

const std::string* Run::barcodedata() const {
  const Records* records = gathered_;
  return records == nullptr ? nullptr : &records->text;
}

}  // namespace quillet
