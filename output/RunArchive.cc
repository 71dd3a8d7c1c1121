#include "output/RunArchive.h"

#include <algorithm>
#include <cstdio>

#include "output/ArchivedRun.h"
#include "output/LumetFile.h"
#include "output/SettingsImage.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::FileStore;

constexpr std::string_view kRecordsEnding = ".records";
constexpr std::string_view kLinesEnding = ".txt";
constexpr std::string_view kOpenEnding = ".open";

// Flushing a run's files to the disk takes milliseconds, but seconds if a slow disk is busy.
constexpr auto kLongestSynchronization = 30s;
constexpr auto kPollPause = 50ms;
constexpr int kFlushAttempts = 10;
constexpr int kOutputFilePolls = 30s / kPollPause;

constexpr std::size_t kLinesPerWrite = std::size_t{64} * 1024;  // bytes
constexpr int kMaximumNumber = 1000;

}  // namespace

RunArchive::RunArchive(platform::Clock& clock, FileStore& files, const Settings& settings,
                       const ScannerIdentity& scanner, std::string folder)
    : clock_(clock),
      files_(files),
      settings_(settings),
      scanner_(scanner),
      folder_(std::move(folder)) {}

std::string RunArchive::PathOf(std::string_view name, std::string_view ending) const {
  return folder_ + "/" + std::string(name) + std::string(ending);
}

std::vector<std::string> RunArchive::TakeInterruptedRuns() {
  std::vector<std::string> names;
  for (const FileStore::Entry& entry : files_.List(folder_)) {
    if (!entry.name.ends_with(kOpenEnding)) continue;
    std::string name = entry.name.substr(0, entry.name.size() - kOpenEnding.size());
    // The file cannot be opened while another process is writing the run.
    if (!files_.OpenGrowing(PathOf(name, kRecordsEnding), false)) continue;
    files_.Remove(PathOf(name, kOpenEnding));
    names.push_back(std::move(name));
  }
  return names;
}

void RunArchive::Begin() {
  const bool ownFiles = runsInProgress_ == 0 || interrupted_;
  // An interrupted run may still receive records and send its erase command.
  overlaps_ = runsInProgress_ > 0;
  if (interrupted_) runsInProgress_ = 0;
  if (ownFiles) startsRun_ = true;
  interrupted_ = false;
  ++runsInProgress_;
}

// Resets the counts here, not in Begin: an earlier run may send its erase command after Begin.
void RunArchive::DownloadStarted() {
  if (overlaps_ || eraseExpected_) return;
  received_ = 0;
  inOutputFile_ = 0;
  failed_ = false;
  cutOff_ = false;
  const std::lock_guard lock(mutex_);
  closed_.clear();
  if (startsRun_) current_[0] = {};  // of the previous run
}

void RunArchive::KeepRecord(std::span<const std::uint8_t> record) {
  KeepUnit("record", record);
}

void RunArchive::KeepBurst(std::span<const std::uint8_t> records) {
  KeepUnit("burst", records);
  inBurst_ = true;
}

void RunArchive::KeepUnit(std::string_view kind, std::span<const std::uint8_t> bytes) {
  Volume& volume = Current();
  // The scanner or the settings may have changed since the file was opened.
  std::string header = Header();
  if (header != volume.header) {
    AppendEntry(volume, header);
    volume.header = std::move(header);
  }
  ++unitsBegun_;
  entry_.assign(kind).append(" ").append(std::to_string(bytes.size())).append("\n");
  entry_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size()).append("\n");
  AppendEntry(volume, entry_);
  ++unitsKept_;
}

void RunArchive::KeepLine(std::string_view line) {
  ++received_;
  pendingLines_.append(line);
  if (!inBurst_ || pendingLines_.size() >= kLinesPerWrite) AppendLines();
}

void RunArchive::AppendLines() {
  Volume& volume = runsInProgress_ > 0 ? run_ : day_;
  if (!volume.lines || !volume.lines->Append(pendingLines_)) Failed();
  volume.size += pendingLines_.size();
  pendingLines_.clear();
}

void RunArchive::BurstDelivered(bool complete) {
  inBurst_ = false;
  AppendLines();
  if (!complete) cutOff_ = true;
}

void RunArchive::OutputFileWritten(const std::string& path, std::int64_t records) {
  inOutputFile_ += records;
  if (run_.records) AppendEntry(run_, "file " + EscapedText(path) + "\n");
}

void RunArchive::End(bool complete) {
  if (runsInProgress_ > 0) --runsInProgress_;
  if (runsInProgress_ == 0) overlaps_ = false;
  CloseRun(complete && !cutOff_ && !failed_ ? "complete" : "incomplete");
  if (runsInProgress_ > 0) startsRun_ = true;
  if (received_ > 0 && settings_.bClearMemory) eraseExpected_ = true;
}

void RunArchive::CloseRun(std::string_view status) {
  if (!std::exchange(run_.open, false)) return;
  AppendEntry(run_, "end " + std::string(status) + " " + Timestamp() + "\n");
  files_.Remove(PathOf(run_.name, kOpenEnding));
  DropOldRuns();  // after the run, since listing the files would delay its records
}

void RunArchive::Erased() {
  eraseExpected_ = false;
  if (run_.records && !startsRun_) AppendEntry(run_, "erased " + Timestamp() + "\n");
}

std::optional<ErasePermit> RunArchive::AwaitCopy() {
  if (cutOff_) return Withheld(Problem::kCutOff);
  if (const auto permit = ErasePermit::ForEmptyRun(received_)) return permit;
  if (FilesSynchronized()) return ErasePermit();
  // In a record-by-record download, the erase is queued before the output file is written.
  for (int poll = 0; poll < kOutputFilePolls; ++poll) {
    if (OutputFileIsACopy()) return ErasePermit();
    if (settings_.destination != kToFile || runsInProgress_ == 0) break;
    clock_.Sleep(kPollPause);
  }
  if (OutputFileIsACopy()) return ErasePermit();
  return Withheld(Problem::kEraseWithheld);
}

std::nullopt_t RunArchive::Withheld(Problem reason) {
  eraseExpected_ = false;
  Report(reason);
  return std::nullopt;
}

// Removes the files before it sets dayDeleted_, so the read thread never reopens a file that is
// about to be removed.
bool RunArchive::Delete(const std::string& name) {
  if (files_.Exists(PathOf(name, kOpenEnding))) return false;
  bool isDay = false;
  bool isHeld = false;
  {
    const std::lock_guard lock(mutex_);
    isDay = current_[1].name == name;
    isHeld = current_[0].name == name ||
             std::ranges::any_of(closed_, [&](const Held& held) { return held.name == name; });
  }
  // A file that this process has open may belong to the run in progress.
  if (isHeld && runsInProgress_ > 0) return false;
  const std::string records = PathOf(name, kRecordsEnding);
  if (!isHeld && !isDay && files_.Exists(records) && !files_.OpenGrowing(records, false)) {
    return false;
  }
  if (isHeld || isDay) failed_ = true;
  for (const auto ending : {kLinesEnding, kRecordsEnding}) files_.Remove(PathOf(name, ending));
  if (isDay) dayDeleted_ = true;
  return true;
}

bool RunArchive::OutputFileIsACopy() const {
  return inOutputFile_ >= received_;
}

// A record may arrive during the flush. It may be in a file that has been flushed already, or in a
// new one.
bool RunArchive::FilesSynchronized() {
  for (int attempt = 0; attempt < kFlushAttempts && !failed_; ++attempt) {
    const std::int64_t kept = unitsKept_;
    if (!FlushFiles()) return false;
    if (unitsBegun_ == kept) return !failed_;
  }
  return false;
}

bool RunArchive::FlushFiles() {
  std::vector<Held> files;
  {
    const std::lock_guard lock(mutex_);
    files = closed_;
    for (const Held& held : current_) {
      if (held.file) files.push_back(held);
    }
  }
  for (const Held& held : files) {
    if (held.file->Synchronize(kLongestSynchronization)) continue;
    Failed();
    return false;
  }
  return true;
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
  if (startsRun_ || run_.size >= kFileSize) {
    if (startsRun_) CloseRun("incomplete");  // an interrupted run
    startsRun_ = false;
    OpenRun();
  }
  return run_;
}

void RunArchive::OpenRun() {
  CloseRun("continued");
  const platform::CalendarTime now = clock_.LocalTime();
  char stamp[64];
  std::snprintf(stamp, sizeof stamp, "%04d%02d%02d_%02d%02d%02d_", now.year, now.month, now.day,
                now.hour, now.minute, now.second);
  const std::string name = stamp + FileNamePart(scanner_.SerialNo.TextFrom(0));
  std::string numbered = name;
  for (int number = 2; !OpenVolume(run_, numbered, true) && number < kMaximumNumber; ++number) {
    if (!files_.Read(PathOf(numbered, kRecordsEnding), 0)) return Failed();  // not a name conflict
    numbered = name + "_" + std::to_string(number);
  }
  run_.open = true;
  // AwaitCopy flushes the new directory entry to the disk. Flushing it here would delay the run.
  files_.OpenGrowing(PathOf(run_.name, kOpenEnding), true);
}

void RunArchive::OpenDay() {
  const platform::CalendarTime now = clock_.LocalTime();
  char name[64];
  std::snprintf(name, sizeof name, "%04d%02d%02d_live", now.year, now.month, now.day);
  const bool deleted = dayDeleted_;
  if (deleted) dayDeleted_ = false;
  if (!deleted && day_.records && day_.size < kFileSize && day_.name.starts_with(name)) return;
  std::string numbered = name;
  for (int number = 2; number < kMaximumNumber; ++number) {
    const auto existing = files_.Read(PathOf(numbered, kRecordsEnding), kFileSize);
    if (!existing) {
      if (!OpenVolume(day_, numbered, true)) Failed();
      return;
    }
    // Skips full files, files whose last entry is incomplete, and files that another process uses.
    const auto run = ReadArchivedRun(*existing);
    if (run && run->whole && OpenVolume(day_, numbered, false)) {
      day_.size = existing->size();
      return;
    }
    numbered = std::string(name) + "_" + std::to_string(number);
  }
}

// Replaces the volume. After an error, the volume is empty.
bool RunArchive::OpenVolume(Volume& volume, const std::string& name, bool fresh) {
  volume = {};
  if (!files_.CreatePrivateFolder(folder_)) return false;
  File records = files_.OpenGrowing(PathOf(name, kRecordsEnding), fresh);
  File lines = records ? files_.OpenGrowing(PathOf(name, kLinesEnding), fresh) : nullptr;
  if (!lines) return false;
  volume = {.records = records, .lines = std::move(lines), .name = name};
  AppendEntry(volume, std::string(kArchiveHeader) + "\ntime " + Timestamp() + "\n");
  const std::lock_guard lock(mutex_);
  Held& current = current_[&volume == &run_ ? 0 : 1];
  if (current.file) closed_.push_back(std::move(current));
  current = {name, std::move(records)};
  return true;
}

void RunArchive::AppendEntry(Volume& volume, std::string_view entry) {
  if (!volume.records || !volume.records->Append(entry)) return Failed();
  volume.size += entry.size();
}

// Deletes the oldest runs. Names begin with the date, so they sort by age. The files of the current
// run cannot be opened again, so they are kept.
void RunArchive::DropOldRuns() {
  std::vector<FileStore::Entry> entries = files_.List(folder_);
  std::size_t runs = 0;
  std::uint64_t bytes = 0;
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    bytes += entry->bytes;
    if (entry->name.ends_with(kRecordsEnding)) ++runs;
    if (runs <= kRuns && bytes <= kArchiveSize) continue;
    const std::string name = entry->name.substr(0, entry->name.rfind('.'));
    if (name == day_.name || !files_.OpenGrowing(PathOf(name, kRecordsEnding), false)) continue;
    for (const auto ending : {kLinesEnding, kRecordsEnding}) files_.Remove(PathOf(name, ending));
  }
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
