#include "output/RunArchive.h"

#include <cstdio>

#include "base/Utf8.h"
#include "download/RecordComposer.h"
#include "download/StoredRecords.h"
#include "output/ArchivedRun.h"
#include "output/LumetFile.h"
#include "output/SettingsImage.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::FileStore;

// Flushing a run's files usually takes milliseconds, but it can take seconds on a slow, busy disk.
constexpr auto kLongestSynchronization = 30s;
constexpr auto kPollPause = 50ms;
constexpr int kFlushAttempts = 10;
constexpr int kMaximumDayFiles = 1000;
constexpr int kOutputFilePolls = 30s / kPollPause;
constexpr int kLineWritePolls = 500ms / kPollPause;

constexpr std::size_t kBytesPerWrite = std::size_t{64} * 1024;

}  // namespace

RunArchive::RunArchive(platform::Clock& clock, FileStore& files, const Settings& settings,
                       const ScannerIdentity& scanner, std::string folder)
    : clock_(clock),
      files_(files),
      settings_(settings),
      scanner_(scanner),
      folder_(files, std::move(folder)) {}

void RunArchive::Begin() {
  // An interrupted run does not overlap the next one: its erase commands are dropped by the new
  // connection, or sent before the scanner reports its number of records to the next run.
  overlaps_ = runsInProgress_ > 0 && !interrupted_;
  if (runsInProgress_ == 0 || interrupted_) {
    startsRun_ = true;
    runName_.Set("");
  }
  if (interrupted_) runsInProgress_ = 0;
  interrupted_ = false;
  ++runsInProgress_;
}

// Forgets the records of earlier runs here, not in Begin: an earlier run may send its erase command
// after Begin.
void RunArchive::DownloadStarted(bool erasePending) {
  if (overlaps_ || erasePending) return;
  unitsBefore_ = unitsBegun_.load();
  unitsCopied_ = -1;
  linesBefore_ = lines_;
  lineIsDue_ = false;
  linesLackData_ = false;
  failed_ = false;
  cutOff_ = false;
  const bool dropsDay = day_.records && !IsUsable(day_);
  if (dropsDay) {
    dayFailed_ = true;
    day_ = {};
  }
  flushList_.Clear(startsRun_, dropsDay);
}

void RunArchive::KeepRecord(std::span<const std::uint8_t> record) {
  // If the length is wrong, the line may not contain all data.
  const std::int32_t length = RecordLength(record, 0, scanner_.bTavo300 != 0);
  if (lineIsDue_ || length != static_cast<std::int32_t>(record.size())) linesLackData_ = true;
  lineIsDue_ = true;
  KeepUnit("record", record);
}

void RunArchive::KeepBurst(std::span<const std::uint8_t> records) {
  if (std::exchange(lineIsDue_, false)) linesLackData_ = true;
  KeepUnit("burst", records);
  inBurst_ = true;
}

void RunArchive::KeepUnit(std::string_view kind, std::span<const std::uint8_t> bytes) {
  ++unitsBegun_;
  entry_.assign(kind).append(" ").append(std::to_string(bytes.size())).append("\n");
  entry_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size()).append("\n");
  if (!AppendUnit()) {
    Failed();
    AppendUnit();  // retries with new files
  }
  ++unitsKept_;
}

// Appends entry_.
bool RunArchive::AppendUnit() {
  Volume& volume = Current();
  latest_ = &volume;
  // The scanner or the settings may have changed since the file was opened.
  std::string header = Header();
  if (header != volume.header) {
    if (!AppendEntry(volume, header)) return false;
    volume.header = std::move(header);
  }
  return AppendEntry(volume, entry_);
}

// The output file does not contain all data of the line if Run::Gather or the composer cuts it, or
// if the order of the fields is invalid.
std::int64_t RunArchive::KeepLine(std::string_view line) {
  lineIsDue_ = false;
  if (!IsAscii(line) || line.size() + 1 >= RecordComposer::kBarcodeBufferSize ||
      !RecordComposer::IncludesData(settings_.dataorder)) {
    linesLackData_ = true;
  }
  if (pendingLines_.empty()) linesPending_ = true;
  pendingLines_.append(line);
  if (!inBurst_ || writesEachLine_ || pendingLines_.size() >= kBytesPerWrite) AppendLines();
  return lines_++;
}

void RunArchive::AppendLines() {
  if (!latest_ || !latest_->lines || !latest_->lines->Append(pendingLines_)) Failed();
  if (latest_) latest_->size += pendingLines_.size();
  pendingLines_.clear();
  linesPending_ = false;
}

// The read thread writes the lines when it archives the next line, or at the end of the burst.
void RunArchive::WriteLines() {
  writesEachLine_ = true;
  for (int poll = 0; poll < kLineWritePolls && linesPending_; ++poll) clock_.Sleep(kPollPause);
}

void RunArchive::BurstDelivered(bool complete) {
  inBurst_ = false;
  AppendLines();
  if (!complete) cutOff_ = true;
}

void RunArchive::OutputFileWritten(const std::string& path, LineRange lines) {
  const bool holdsAll = lines.first <= linesBefore_ && lines.end == lines_;
  if (holdsAll && !lineIsDue_ && !linesLackData_) {
    outputFile_.Set(path);
    unitsCopied_ = unitsBegun_.load();
  } else {
    unitsCopied_ = -1;  // this output file may have replaced the one with the copy
  }
  if (run_.records) CheckedAppend(run_, "file " + EscapedText(path) + "\n");
}

void RunArchive::End(bool complete) {
  if (runsInProgress_ > 0) --runsInProgress_;
  if (runsInProgress_ == 0) overlaps_ = false;
  // If this run has no records, the open files belong to an interrupted run.
  CloseRun(complete && !startsRun_ && !cutOff_ && !failed_ ? "complete" : "incomplete");
  if (runsInProgress_ > 0) startsRun_ = true;
}

void RunArchive::CloseRun(std::string_view status) {
  if (!std::exchange(run_.open, false)) return;
  CheckedAppend(run_, "end " + std::string(status) + " " + Timestamp() + "\n");
  folder_.Unmark(run_.name);
  folder_.DropOld();  // after the run, since listing the files would delay its records
}

void RunArchive::Erased() {
  if (run_.records && !startsRun_) CheckedAppend(run_, "erased " + Timestamp() + "\n");
  if (onErased_) onErased_();
}

std::optional<ErasePermit> RunArchive::AwaitCopy() {
  if (cutOff_) return Withheld(Problem::kCutOff);
  if (const auto permit = ErasePermit::ForEmptyRun(unitsBegun_ - unitsBefore_)) return permit;
  if (FilesSynchronized() || AwaitOutputFile()) return ErasePermit();
  return Withheld(Problem::kEraseWithheld);
}

// In a record-by-record download, the erase is queued before the output file is written.
bool RunArchive::AwaitOutputFile() {
  for (int poll = 0; poll < kOutputFilePolls && unitsCopied_ != unitsBegun_; ++poll) {
    if (settings_.destination != kToFile || runsInProgress_ == 0) break;
    clock_.Sleep(kPollPause);
  }
  return OutputFileIsACopy();
}

// The file itself has been flushed, but its folders may be new.
bool RunArchive::OutputFileIsACopy() {
  const std::string path = outputFile_.Get();
  const std::int64_t copied = unitsCopied_;
  return copied == unitsBegun_ && files_.SynchronizeEntries(path, kLongestSynchronization) &&
         copied == unitsBegun_ && copied == unitsCopied_;
}

std::nullopt_t RunArchive::Withheld(Problem reason) {
  Report(reason);
  return std::nullopt;
}

// Removes the files before it sets dayDeleted_, so the read thread never reopens a file that is
// about to be removed.
bool RunArchive::Delete(const std::string& name) {
  if (files_.Exists(folder_.PathOf(name, ArchiveFolder::kOpenEnding))) return false;
  const auto [isDay, isHeld] = flushList_.Find(name);
  // A file that this process has open may belong to the run in progress.
  if (isHeld && runsInProgress_ > 0) return false;
  if (!isHeld && !isDay && folder_.IsInUse(name)) return false;
  if (isHeld || isDay) failed_ = true;
  folder_.Remove(name);
  if (isDay) dayDeleted_ = true;
  return true;
}

// Repeats the flush if a record arrived during it: the record may be in a file that had already
// been flushed, or in a new file.
bool RunArchive::FilesSynchronized() {
  for (int attempt = 0; attempt < kFlushAttempts && !failed_; ++attempt) {
    const std::int64_t kept = unitsKept_;
    if (!FlushFiles()) return false;
    if (unitsBegun_ == kept) return !failed_;
    clock_.Sleep(kPollPause);
  }
  return false;
}

bool RunArchive::FlushFiles() {
  if (flushList_.Synchronize(kLongestSynchronization)) return true;
  Failed();
  return false;
}

void RunArchive::Failed() {
  if (failed_) return;
  failed_ = true;
  Report(Problem::kNotWritten);
}

void RunArchive::Report(Problem problem) const {
  if (onProblem_) onProblem_(problem);
}

std::string RunArchive::Timestamp() const {
  const platform::CalendarTime now = clock_.LocalTime();
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", now.year, now.month, now.day,
                now.hour, now.minute, now.second);
  return text;
}

RunArchive::Volume& RunArchive::Current() {
  if (runsInProgress_ == 0) {
    OpenDay();
    return day_;
  }
  if (startsRun_) {
    CloseRun("incomplete");  // closes an interrupted run
    startsRun_ = false;
    run_ = {};
  }
  if (!IsUsable(run_) || run_.size >= kFileSize) OpenRun();
  return run_;
}

// Appending an empty text fails if an earlier operation on the file has failed.
bool RunArchive::IsUsable(const Volume& volume) {
  return volume.records && volume.records->Append("") && volume.lines->Append("");
}

// Opens the first or the next files of the run.
void RunArchive::OpenRun() {
  CloseRun("continued");
  std::string first = run_.first;
  if (first.empty()) {
    const platform::CalendarTime now = clock_.LocalTime();
    char stamp[64];
    std::snprintf(stamp, sizeof stamp, "%04d%02d%02d_%02d%02d%02d_", now.year, now.month, now.day,
                  now.hour, now.minute, now.second);
    // A line feed in a name would break the list that ArchiveFolder::NoteCreation writes.
    first = folder_.UnusedName(stamp + FileNamePart(EscapedText(scanner_.SerialNo.TextFrom(0))));
  }
  const std::string name = folder_.UnusedName(first, ArchiveFolder::kVolumeMark);
  if (!OpenVolume(run_, name, true)) return;
  if (run_.first.empty()) folder_.NoteCreation(name);
  run_.first = std::move(first);
  runName_.Set(run_.first);
  run_.open = true;
  // AwaitCopy flushes the new directory entry to the disk. Flushing it here would delay the run.
  folder_.Mark(name);
}

void RunArchive::OpenDay() {
  const platform::CalendarTime now = clock_.LocalTime();
  char name[64];
  std::snprintf(name, sizeof name, "%04d%02d%02d_live", now.year, now.month, now.day);
  const bool deleted = dayDeleted_;
  if (deleted) dayDeleted_ = false;
  if (day_.records && !IsUsable(day_)) dayFailed_ = true;
  if (!deleted && IsUsable(day_) && day_.size < kFileSize && day_.name.starts_with(name)) return;
  for (int number = 1; number < kMaximumDayFiles && !dayFailed_; ++number) {
    const std::string numbered = number == 1 ? name : name + ("_" + std::to_string(number));
    const auto existing =
        files_.Read(folder_.PathOf(numbered, ArchiveFolder::kRecordsEnding), kFileSize);
    if (!existing) break;
    // Skips full files, files whose last entry is incomplete, and files that another process uses.
    const auto run = ReadArchivedRun(*existing);
    if (run && run->whole && OpenVolume(day_, numbered, false)) {
      day_.size = existing->size();
      return;
    }
  }
  const std::string unused = folder_.UnusedName(name);
  if (OpenVolume(day_, unused, true)) folder_.NoteCreation(unused);
}

// Replaces the volume. After an error, the volume is empty.
bool RunArchive::OpenVolume(Volume& volume, const std::string& name, bool fresh) {
  const std::string first = std::move(volume.first);
  volume = {};
  volume.first = first;
  if (name.empty() || !folder_.Create()) return false;
  File records = files_.OpenGrowing(folder_.PathOf(name, ArchiveFolder::kRecordsEnding), fresh);
  File lines = records
                   ? files_.OpenGrowing(folder_.PathOf(name, ArchiveFolder::kLinesEnding), fresh)
                   : nullptr;
  const std::string header = std::string(kArchiveHeader) + "\ntime " + Timestamp() + "\n";
  if (!lines || !records->Append(header)) {
    if (records && fresh) files_.Remove(folder_.PathOf(name, ArchiveFolder::kRecordsEnding));
    if (lines && fresh) files_.Remove(folder_.PathOf(name, ArchiveFolder::kLinesEnding));
    return false;
  }
  volume.name = name;
  volume.records = std::move(records);
  volume.lines = std::move(lines);
  volume.size = header.size();
  flushList_.Add(&volume == &run_ ? FlushList::Use::kRun : FlushList::Use::kDay,
                 {name, volume.records, volume.lines});
  return true;
}

bool RunArchive::AppendEntry(Volume& volume, std::string_view entry) {
  if (!volume.records || !volume.records->Append(entry)) return false;
  volume.size += entry.size();
  return true;
}

void RunArchive::CheckedAppend(Volume& volume, std::string_view entry) {
  if (!AppendEntry(volume, entry)) Failed();
}

std::string RunArchive::Header() const {
  const std::int32_t destination = settings_.destination;
  std::string target;
  if (destination == kToFile) target = settings_.filename.Get();
  if (destination == kToNamedApplication) target = settings_.appname.Get();
  SettingsImage image;
  WriteChoices(settings_, image);
  std::string choices(image.data(), kApplicationNamePosition);
  choices.erase(choices.find_last_not_of('0') + 1);
  return "scanner " + EscapedText(scanner_.SerialNo.TextFrom(0)) + "\nfirmware " +
         EscapedText(scanner_.FWVersion.TextFrom(0)) + "\nlayout " +
         (scanner_.bTavo300 ? "300" : "older") + "\nsettings " + EscapedText(choices) +
         "\ndestination " + std::to_string(destination) + " " + EscapedText(target) + "\n";
}

}  // namespace quillet
