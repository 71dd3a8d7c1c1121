#include "app/Run.h"

#include <cerrno>

#include "base/Log.h"
#include "output/TextEncoding.h"
#include "platform/CheckedFiles.h"

namespace quillet {
namespace {

constexpr std::int32_t kRecordsPerDot = 64;

// Initial capacity in bytes, enough for about 80,000 records. With a small capacity, growing the
// buffer takes as long as all other work on the records. The kernel allocates pages only when they
// are written.
constexpr std::size_t kRoomForRecords = std::size_t{4} * 1024 * 1024;

// Returns true if a write can fail with this error because another user's file has the same name.
bool MeansNameIsTaken(int error) {
  return error == EPERM || error == EACCES || error == EEXIST || error == EISDIR ||
         error == ELOOP || error == platform::kNotRegular;
}

}  // namespace

Run::Records::Records() {
  text.reserve(kRoomForRecords);
}

void Run::Begin(std::int32_t destination) {
  barcodeCount = 0;
  automaticRunIsDue = false;
  ++runsUnderWay_;
  isShown_ = true;
  if (destination == kToFile) {
    delete gathered_.exchange(new Records);
    barcodeindex = 0;
  }
  syncfileData.Set("");
}

void Run::Add(const std::string& record, std::int32_t destination, std::int64_t line) {
  ++barcodeCount;
  if (destination != kToFile) return;
  Gather(record, line);
  if (barcodeindex++ % kRecordsPerDot == 0) show_(".", false);
}

// The main thread may begin a run and replace the records at any time. Gather therefore takes the
// records out of gathered_, and puts them back only if gathered_ is still null.
void Run::Gather(const std::string& record, std::int64_t line) {
  std::unique_ptr<Records> records(gathered_.exchange(nullptr));
  if (!records) {
    if (runsUnderWay_ == 0) return;
    // gathered_ was null: the run began with another destination, or End has already written the
    // records gathered so far.
    records = std::make_unique<Records>();
  }
  // Intentional: appends as many bytes as the record has UTF-16 units. This cuts off the end of
  // records with non-ASCII characters.
  records->text.append(record, 0, Utf16Length(record));
  ++records->count;
  if (records->lines.end != line) records->lines.first = line;
  records->lines.end = line + 1;
  Records* none = nullptr;
  if (gathered_.compare_exchange_strong(none, records.get())) {
    static_cast<void>(records.release());
  }
}

Run::Result Run::End(const Settings& settings, const SerialNumberField& serial, LumetFile& file) {
  // Read these fields first: after bIsUnderSynchronization is cleared, the main thread may begin a
  // run and reset them.
  Result result{.records = barcodeCount};
  const std::int32_t count = result.records;
  const bool toFile = count != 0 && settings.destination == kToFile;
  const std::unique_ptr<Records> records(toFile ? gathered_.exchange(nullptr) : nullptr);
  if (runsUnderWay_ > 0) --runsUnderWay_;
  isShown_ = false;
  bIsUnderSynchronization = false;
  if (count == 0) {
    show_("No data to synchronize...", true);
    return result;
  }
  if (toFile) Write(records.get(), settings, serial, file, result);
  show_(std::to_string(count) + " barcodes synchronized", true);
  return result;
}

// `records` is null if the run's destination was not a file or if End has already been called. In
// both cases, an existing file must not be overwritten.
void Run::Write(const Records* records, const Settings& settings, const SerialNumberField& serial,
                LumetFile& file, Result& result) {
  if (records == nullptr || records->count == 0) {
    Log(log_, "-[SyncController SynchronizeFinished]", ": no records to write");
    return;
  }
  syncfileName.Set(file.OutputPath(settings.filename.Get(), serial));
  const std::string& name = syncfileName.Get();
  Log(log_, "-[SyncController SynchronizeFinished]", "[", ForeignText(name), "]");
  result.file = name;
  result.refusedSettingsFile = file.IsSettingsFile(name);
  // Gather may cut a record in the middle of a character. RepairUtf8 replaces the broken character.
  const std::string text = RepairUtf8(records->text);
  platform::Replaced written;
  if (!result.refusedSettingsFile) {
    written = file.WriteDataToFile(name, text, false, settings.bAppendData != 0);
  }
  // In a folder with the sticky bit, another user can create files, or links to the settings file,
  // under the names that runs will use in the next few minutes.
  const bool isTaken =
      result.refusedSettingsFile || (MeansNameIsTaken(written.error) && file.Exists(name));
  if (isTaken && name != settings.filename.Get()) {
    result.refusedSettingsFile = false;
    result.file = file.AlternativePath(name);
    syncfileName.Set(result.file);
    written = file.WriteDataToFile(result.file, text, false, false);
  }
  if (!result.refusedSettingsFile) {
    result.fileError = written.error;
    if (written) result.recordsInFile = records->count;
    if (written.synchronized) result.linesOnDisk = records->lines;
  }
  show_("\nSynchronized to " + result.file, true);
}

const std::string* Run::barcodedata() const {
  const Records* records = gathered_;
  return records == nullptr ? nullptr : &records->text;
}

}  // namespace quillet
