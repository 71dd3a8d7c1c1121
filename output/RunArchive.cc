#include "output/RunArchive.h"

#include <algorithm>

#include "base/CalendarTime.h"
#include "base/Utf8.h"
#include "download/RecordComposer.h"
#include "download/StoredRecords.h"
#include "output/LumetFile.h"
#include "output/RecordsFile.h"
#include "output/SettingsImage.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::FileStore;

// Time-out for a flush. A flush usually takes milliseconds, or seconds on a slow, busy disk.
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
  // An interrupted run does not overlap the next run. The erase commands of the interrupted run are
  // dropped when a new connection begins, or sent before the next run learns the number of records.
  overlaps_ = runsInProgress_ > 0 && !interrupted_;
  if (!overlaps_) {
    startsRun_ = true;
    runName_.Set("");
    // Reads the number of lines first. Otherwise, a unit that arrives between the two calls could
    // be counted without its line.
    linesAtBegin_ = lines_.load();
    units_.RunBegan();
    runsInProgress_ = 0;
  }
  interrupted_ = false;
  ++runsInProgress_;
}

// Opens the files before the first record arrives, so that an interrupted run is always listed.
void RunArchive::DownloadStarted(std::int32_t records, bool erasePending) {
  if (runsInProgress_ == 0) runsInProgress_ = 1;  // an interrupted run ended after Begin
  if (overlaps_) return;
  if (!erasePending) ForgetEarlierRuns();
  if (records > 0 && startsRun_) Current().AppendUnit(Header(), "", 0);
}

// Begin cannot call this function, because an earlier run may send its erase command after Begin.
void RunArchive::ForgetEarlierRuns() {
  units_.StartRun();
  copied_ = -1;
  linesBefore_ = linesAtBegin_;
  if (units_.Count() == 0) lineIsDue_ = false;
  const bool dropsDay = day_.IsOpen() && !day_.IsUsable() && !units_.IsSet(inDay_);
  if (dropsDay) {
    dayFailed_ = true;
    day_ = {};
  }
  flushList_.Clear(startsRun_, dropsDay);
}

void RunArchive::KeepRecord(std::span<const std::uint8_t> record) {
  if (std::exchange(lineIsDue_, true)) units_.Set(lacksData_);
  units_.Arrived();
  // If the length is wrong, the line may lack some of the data.
  const std::int32_t length = RecordLength(record, 0, scanner_.bTavo300 != 0);
  if (length != static_cast<std::int32_t>(record.size())) units_.Set(lacksData_);
  KeepUnit("record", record);
}

void RunArchive::KeepBurst(std::span<const std::uint8_t> records) {
  if (std::exchange(lineIsDue_, false)) units_.Set(lacksData_);
  units_.Arrived();
  KeepUnit("burst", records);
  inBurst_ = true;
  isBurstCut_ = interrupted_;
}

void RunArchive::KeepUnit(std::string_view kind, std::span<const std::uint8_t> bytes) {
  entry_.assign(kind).append(" ").append(std::to_string(bytes.size())).append("\n");
  entry_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size()).append("\n");
  if (!AppendUnit()) {
    units_.Set(unsafe_);
    if (!AppendUnit()) Failed();  // the second attempt writes to new files
  } else if (runsInProgress_ == 0 && failed_ > lastOfRun_) {
    failed_ = 0;
  }
  units_.Written();
  // The unit belongs to a run that has just begun, but is in the files of the previous run.
  if (latest_ == &run_ && startsRun_) units_.Set(unsafe_);
}

// Appends entry_. Passes a new header each time, because the scanner or the settings may have
// changed since the last unit.
bool RunArchive::AppendUnit() {
  latest_ = &Current();
  return latest_->AppendUnit(Header(), entry_, units_.arrived());
}

// A line in the output file lacks data if Run::Gather or the composer truncates the line, or if the
// order of the fields is invalid.
std::int64_t RunArchive::KeepLine(std::string_view line) {
  lineIsDue_ = false;
  if (!IsAscii(line) || line.size() + 1 >= RecordComposer::kBarcodeBufferSize ||
      !RecordComposer::IncludesData(settings_.dataorder)) {
    units_.Set(lacksData_);
  }
  if (pendingLines_.empty()) linesPending_ = true;
  pendingLines_.append(line);
  if (!inBurst_ || writesEachLine_ || pendingLines_.size() >= kBytesPerWrite) AppendLines();
  return lines_++;
}

void RunArchive::AppendLines() {
  if (latest_ && !latest_->AppendLines(pendingLines_)) Failed();
  pendingLines_.clear();
  linesPending_ = false;
}

// Waits for the read thread, which writes the pending lines when it archives the next line or at
// the end of the burst.
void RunArchive::WriteLines() {
  writesEachLine_ = true;
  for (int poll = 0; poll < kLineWritePolls && linesPending_; ++poll) clock_.Sleep(kPollPause);
}

void RunArchive::BurstDelivered(bool complete) {
  inBurst_ = false;
  AppendLines();
  if (!complete) units_.Set(cutOff_);
}

void RunArchive::OutputFileWritten(const std::string& path, LineRange lines) {
  const bool holdsAll = lines.first <= linesBefore_ && lines.end == lines_;
  if (holdsAll && !lineIsDue_ && !units_.IsSet(lacksData_)) {
    outputFile_.Set(path);
    units_.Set(copied_);
  } else {
    copied_ = -1;  // the new output file may have replaced the file that held all units
  }
  if (run_.IsOpen()) CheckedAppend("file " + EscapedText(path) + "\n");
}

void RunArchive::End(bool complete) {
  units_.Set(lastOfRun_);
  if (runsInProgress_ > 0) --runsInProgress_;
  if (runsInProgress_ == 0) overlaps_ = false;
  // If this run has no records, the open files belong to an earlier, interrupted run.
  const bool isWhole = complete && !startsRun_ && !isBurstCut_ && !cutOff() && !failed();
  CloseRun(isWhole ? "complete" : "incomplete");
  if (runsInProgress_ > 0) startsRun_ = true;
}

void RunArchive::CloseRun(std::string_view status) {
  if (!std::exchange(isMarked_, false)) return;
  CheckedAppend(EndEntry(status));
  folder_.Unmark(run_.Name());
  folder_.DropOld();  // only now, because listing the files during a run would delay records
}

// If the entry cannot be written, the list of runs shows the run as not erased. This does not count
// as an archive error.
void RunArchive::Erased() {
  const bool isErased = run_.firstUnit() > 0 && run_.firstUnit() <= permitted_;
  if (isErased) run_.Append("erased " + Timestamp() + "\n");
  if (onErased_) onErased_();
}

std::optional<ErasePermit> RunArchive::AwaitCopy() {
  permitted_ = 0;
  if (cutOff()) return Withheld(Problem::kCutOff);
  if (const auto permit = ErasePermit::ForEmptyRun(units_.Count())) return permit;
  if (!units_.IsLast(flushed_) && !FilesSynchronized() && !AwaitOutputFile()) {
    return Withheld(Problem::kEraseWithheld);
  }
  permitted_ = std::max(flushed_.load(), copied_.load());
  return ErasePermit();
}

// In a record-by-record download, the erase is queued before the output file is written. This
// function therefore waits for the file.
bool RunArchive::AwaitOutputFile() {
  for (int poll = 0; poll < kOutputFilePolls && !units_.IsLast(copied_); ++poll) {
    if (settings_.destination != kToFile || runsInProgress_ == 0) break;
    clock_.Sleep(kPollPause);
  }
  return OutputFileIsACopy();
}

// The contents of the output file have already been flushed. This function flushes the entries of
// its folders, which may be new, and checks that the file still exists.
bool RunArchive::OutputFileIsACopy() {
  const std::int64_t copied = copied_;
  const std::string path = outputFile_.Get();
  return units_.IsLast(copied_) && files_.SynchronizeEntries(path, kLongestSynchronization) &&
         files_.Exists(path) && copied == copied_ && units_.IsLast(copied_);
}

std::nullopt_t RunArchive::Withheld(Problem reason) {
  Report(reason);
  return std::nullopt;
}

// Sets dayDeleted_ after removing the files, so that the read thread never reopens a file that is
// about to be removed. A unit that arrives between these steps may be written to a removed file.
bool RunArchive::Delete(const std::string& name) {
  if (files_.Exists(folder_.PathOf(name, ArchiveFolder::kOpenEnding))) return false;
  const FlushList::Found found = flushList_.Find(name);
  // A file that this process has open may belong to the run in progress.
  if (found.isHeld && runsInProgress_ > 0) return false;
  if (!found.isHeld && !found.isDay && folder_.IsInUse(name)) return false;
  if (found.isHeld) CopyDeleted();
  flushList_.Remove(name);
  folder_.Remove(name);
  if (found.isDay) {
    dayDeleted_ = true;
    if (units_.IsSet(inDay_)) CopyDeleted();
  }
  return true;
}

void RunArchive::CopyDeleted() {
  units_.Set(unsafe_);
  flushed_ = -1;
}

// Repeats the flush if a record arrived during it: the record may be in a file that had already
// been flushed, or in a new file.
bool RunArchive::FilesSynchronized() {
  for (int attempt = 0; attempt < kFlushAttempts && !units_.IsSet(unsafe_); ++attempt) {
    const std::int64_t written = units_.written();
    if (!FlushFiles()) return false;
    if (units_.arrived() == written) {
      flushed_ = written;
      if (units_.IsSet(unsafe_)) flushed_ = -1;  // a file was deleted during the flush
      return units_.IsLast(flushed_);
    }
    clock_.Sleep(kPollPause);
  }
  return false;
}

bool RunArchive::FlushFiles() {
  if (flushList_.Synchronize(kLongestSynchronization, units_.IsSet(inDay_))) return true;
  Failed();
  return false;
}

// Reports only the first error of a run.
void RunArchive::Failed() {
  units_.Set(unsafe_);
  if (failed()) return;
  units_.Set(failed_);
  Report(Problem::kNotWritten);
}

void RunArchive::Report(Problem problem) const {
  if (onProblem_) onProblem_(problem);
}

std::string RunArchive::Timestamp() const {
  return DateAndTime(clock_.LocalTime());
}

ArchiveVolume& RunArchive::Current() {
  if (runsInProgress_ == 0) {
    units_.Set(inDay_);  // must precede OpenDay, which reads dayDeleted_; see Delete
    OpenDay();
    return day_;
  }
  if (startsRun_) {
    CloseRun("incomplete");  // closes an interrupted run
    startsRun_ = false;
    run_ = {};
    firstName_.clear();
    isBurstCut_ = false;
  }
  if (!run_.IsUsable() || run_.size() >= kFileSize) OpenRun();
  return run_;
}

// Opens the first or the next files of the run. The earlier files stay marked until the new ones
// are marked, so that a mark remains if the process is killed in between. AwaitCopy flushes the new
// directory entries to the disk. Flushing them here would delay the run.
void RunArchive::OpenRun() {
  std::string first = firstName_;
  if (first.empty()) {
    // A line feed in a name would break the list that ArchiveFolder::NoteCreation writes.
    first = folder_.UnusedName(TimeStamp(clock_.LocalTime()) + "_" +
                               FileNamePart(EscapedText(scanner_.SerialNo.TextFrom(0))));
  }
  const std::string name = folder_.UnusedName(first, ArchiveFolder::kVolumeMark);
  const std::string marked = isMarked_ ? run_.Name() : "";
  if (isMarked_) run_.Append(EndEntry("continued"));
  isMarked_ = OpenVolume(FlushList::Use::kRun, name);
  if (isMarked_) {
    if (firstName_.empty()) folder_.NoteCreation(name);
    folder_.Mark(name);
    runName_.Set(first);
    firstName_ = std::move(first);
  }
  if (!marked.empty()) folder_.Unmark(marked);
}

void RunArchive::OpenDay() {
  const std::string name = DateStamp(clock_.LocalTime()) + "_live";
  const bool deleted = dayDeleted_;
  if (deleted) dayDeleted_ = false;
  if (day_.IsOpen() && !day_.IsUsable()) dayFailed_ = true;
  const bool isCurrent = day_.size() < kFileSize && day_.Name().starts_with(name);
  if (!deleted && isCurrent && day_.IsUsable()) return;
  for (int number = 1; number < kMaximumDayFiles && !dayFailed_; ++number) {
    const std::string numbered = number == 1 ? name : name + ('_' + std::to_string(number));
    const auto existing =
        files_.Read(folder_.PathOf(numbered, ArchiveFolder::kRecordsEnding), kFileSize);
    if (!existing) break;
    // Skips full files, files whose last entry is incomplete, and files in use by another process.
    const auto run = ReadRecordsFile(*existing);
    if (run && run->whole && OpenVolume(FlushList::Use::kDay, numbered, existing->size())) return;
  }
  const std::string unused = folder_.UnusedName(name);
  if (!OpenVolume(FlushList::Use::kDay, unused)) return;
  folder_.NoteCreation(unused);
  folder_.DropOld();
}

bool RunArchive::OpenVolume(FlushList::Use use, const std::string& name, std::uint64_t size) {
  ArchiveVolume& volume = use == FlushList::Use::kRun ? run_ : day_;
  if (!volume.Open(files_, folder_, name, size, Timestamp())) return false;
  flushList_.Add(use, volume.files());
  return true;
}

void RunArchive::CheckedAppend(std::string_view entry) {
  if (!run_.Append(entry)) Failed();
}

std::string RunArchive::EndEntry(std::string_view status) const {
  return "end " + std::string(status) + " " + Timestamp() + "\n";
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
