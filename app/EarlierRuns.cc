#include "app/EarlierRuns.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "app/LineEnds.h"
#include "base/Log.h"
#include "base/Utf8.h"
#include "device/ByteField.h"
#include "output/Choices.h"
#include "output/CsvExport.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::FileStore;

constexpr std::string_view kRecordsEnding = ".records";
constexpr std::string_view kLinesEnding = ".txt";
constexpr std::string_view kOpenEnding = ".open";
constexpr std::string_view kLiveName = "_live";

// Limits memory use. Far larger than any file in the archive.
constexpr std::size_t kLargestFile = 100'000'000;
constexpr std::size_t kPreviewSize = std::size_t{64} * 1024;

// Limits how long reading files blocks the main thread. A single large file may take longer.
constexpr auto kTurn = 20ms;

constexpr auto kLongestWait = 60s;
constexpr auto kWindowPoll = 100ms;
constexpr auto kAnswerPoll = 1ms;
constexpr int kAnswerPolls = 2000;
// While the focus moves between windows, no window has it for a moment. The user may also need
// time to click a field in the other window.
constexpr auto kSettlingTime = 1s;

constexpr int kMaximumNumber = 10'000;

std::string Folded(std::string_view text) {
  std::string folded(text);
  std::ranges::transform(folded, folded.begin(), [](unsigned char character) {
    return static_cast<char>(character < 0x80 ? std::tolower(character) : character);
  });
  return folded;
}

// Returns true if `text` contains every word in `words`.
bool ContainsAll(std::string_view text, std::string_view words) {
  while (!words.empty()) {
    const std::size_t end = std::min(words.find(' '), words.size());
    if (text.find(words.substr(0, end)) == text.npos) return false;
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return true;
}

std::string Counted(std::int64_t records) {
  return std::to_string(records) + (records == 1 ? " record" : " records");
}

}  // namespace

EarlierRuns::EarlierRuns(const Parts& parts)
    : parts_(parts), platform_(parts.platform), window_(parts.window) {
  window_.SetActions({.search = [this](const std::string& text) { Search(text); },
                      .select = [this] { ShowSelected(); },
                      .activate = [this] { Refresh(); },
                      .saveAs = [this] { SaveAs(); },
                      .copy = [this] { Copy(); },
                      .deliver = [this] { DeliverAgain(); },
                      .exportCsv = [this] { ExportCsv(); },
                      .showInFolder = [this] { ShowInFolder(); },
                      .remove = [this] { Remove(); }});
}

void EarlierRuns::Open() {
  opened_ = true;
  window_.ShowMessage("");
  Refresh();
  window_.runsWindow().MakeKeyAndOrderFront();
}

void EarlierRuns::RunEnded() {
  platform_.mainQueue.Async([this] {
    if (opened_) Refresh();
  });
}

// Updates the list. Reads only files that are new or have changed.
void EarlierRuns::Refresh() {
  const std::vector<FileStore::Entry> entries = platform_.files.List(parts_.archive.folder());
  std::vector<Listed> before = std::exchange(runs_, {});
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    if (!entry->name.ends_with(kRecordsEnding)) continue;
    const std::string name = entry->name.substr(0, entry->name.size() - kRecordsEnding.size());
    const bool inProgress = std::ranges::any_of(
        entries,
        [open = name + std::string(kOpenEnding)](const auto& other) { return other.name == open; });
    const auto known = std::ranges::find_if(before, [&](const Listed& listed) {
      return listed.name == name && listed.bytes == entry->bytes;
    });
    Listed listed{.name = name, .bytes = entry->bytes, .inProgress = inProgress};
    if (known != before.end()) {
      listed.run = std::move(known->run);
      listed.wasRead = known->wasRead;
    }
    runs_.push_back(std::move(listed));
  }
  ReadSome();
}

void EarlierRuns::ReadSome() {
  const auto end = platform_.clock.Now() + kTurn;
  for (Listed& listed : runs_) {
    if (listed.wasRead) continue;
    if (platform_.clock.Now() > end) {
      platform_.mainQueue.Async([this] { ReadSome(); });
      break;
    }
    const auto contents = Records(listed.name);
    listed.run = contents ? ReadArchivedRun(*contents) : std::nullopt;
    listed.wasRead = true;
    if (!listed.run) Log(platform_.log, "Quillet: unreadable file: ", ForeignText(listed.name));
  }
  ShowRows();
}

void EarlierRuns::ShowRows() {
  std::vector<platform::RunRow> rows;
  const std::vector<std::string> before = std::exchange(shown_, {});
  for (const Listed& listed : runs_) {
    if (!listed.run) continue;
    platform::RunRow row = RowOf(listed);
    const std::string text = Folded(row.date + "\n" + row.scanner + "\n" + listed.run->serial +
                                    "\n" + row.records + "\n" + row.destination + "\n" + row.state);
    if (!ContainsAll(text, Folded(search_))) continue;
    rows.push_back(std::move(row));
    shown_.push_back(listed.name);
  }
  if (std::ranges::find(shown_, selected_) == shown_.end()) {
    // The selected row has disappeared. Selects the row that is now at its position.
    const auto old = std::ranges::find(before, selected_);
    const auto place = old == before.end() ? 0 : static_cast<std::size_t>(old - before.begin());
    selected_ = shown_.empty() ? "" : shown_[std::min(place, shown_.size() - 1)];
  }
  const auto selected = std::ranges::find(shown_, selected_);
  window_.ShowEmptyText(
      search_.empty()
          ? "No synchronizations yet.\nQuillet keeps the records of every synchronization here."
          : "No synchronization matches the search.");
  window_.ShowRows(
      rows, selected == shown_.end() ? -1 : static_cast<std::int32_t>(selected - shown_.begin()));
  ShowSelected();
}

void EarlierRuns::ShowSelected() {
  const std::int32_t row = window_.SelectedRow();
  selected_ = row < 0 ? "" : shown_[static_cast<std::size_t>(row)];
  const Listed* const listed = Selected();
  window_.EnableActions(listed != nullptr, listed != nullptr && !listed->inProgress);
  // Setting the same text again would scroll the preview to its beginning.
  const std::string previewed =
      listed == nullptr ? "" : listed->name + " " + std::to_string(listed->bytes);
  if (std::exchange(previewed_, previewed) == previewed) return;
  std::string text;
  if (listed != nullptr && HasAllLines(*listed)) {
    text = platform_.files.Read(PathOf(*listed, kLinesEnding), kPreviewSize + 1).value_or("");
  } else if (listed != nullptr) {
    text = Lines(*listed).value_or("");
  }
  if (text.size() > kPreviewSize) {
    text = Utf8Prefix(text, kPreviewSize);
    text.resize(std::min(text.rfind('\n'), text.size() - 1) + 1);
    text += "… To see all records, save or copy them.";
  }
  window_.preview().SetText(FoldLineEnds(text));
}

const EarlierRuns::Listed* EarlierRuns::Selected() const {
  const auto found = std::ranges::find(runs_, selected_, &Listed::name);
  return found == runs_.end() ? nullptr : &*found;
}

std::string EarlierRuns::PathOf(const Listed& listed, std::string_view ending) const {
  return parts_.archive.folder() + "/" + listed.name + std::string(ending);
}

bool EarlierRuns::IsLive(const Listed& listed) const {
  return listed.name.find(kLiveName) != std::string::npos;
}

platform::RunRow EarlierRuns::RowOf(const Listed& listed) const {
  const ArchivedRun& run = *listed.run;
  const bool live = IsLive(listed);
  platform::RunRow row;
  row.date = live ? run.time.substr(0, run.time.find(' ')) : run.time;
  row.scanner = run.serial.substr(std::min(kHiddenSerialCharacters, run.serial.size()));
  row.records = std::to_string(run.records);
  const auto titles = std::span(kDestinationTitles);
  const auto destination = static_cast<std::size_t>(run.destination);
  row.destination = titles[destination < titles.size() ? destination : kToActiveApplication];
  if (run.destination == kToFile) row.destination = run.file.empty() ? run.target : run.file;
  if (run.destination == kToNamedApplication) row.destination = run.target;
  row.state = live                ? "Live scans"
              : listed.inProgress ? "In progress"
              : run.complete      ? "Complete"
                                  : "Incomplete";
  if (!live) row.erased = run.erased ? "Yes" : "No";
  return row;
}

// An interrupted run may contain records whose lines were not written.
bool EarlierRuns::HasAllLines(const Listed& listed) const {
  return IsLive(listed) || listed.run->complete;
}

std::optional<std::string> EarlierRuns::Records(const std::string& name) const {
  return platform_.files.Read(parts_.archive.folder() + "/" + name + std::string(kRecordsEnding),
                              kLargestFile);
}

std::optional<std::string> EarlierRuns::Lines(const Listed& listed) const {
  if (HasAllLines(listed)) return platform_.files.Read(PathOf(listed, kLinesEnding), kLargestFile);
  const auto contents = Records(listed.name);
  if (!contents) return std::nullopt;
  std::string lines;
  ReadArchivedLines(*contents, nullptr, [&](const std::string& line) { lines += line; });
  return lines;
}

void EarlierRuns::Search(const std::string& text) {
  search_ = text;
  ShowRows();
}

void EarlierRuns::SaveAs() {
  const Listed* const listed = Selected();
  if (listed == nullptr) return;
  const auto lines = Lines(*listed);
  if (!lines) return window_.ShowMessage("The archived records cannot be read. Check the disk.");
  SaveFile("Save records", listed->name + std::string(kLinesEnding), *lines);
}

void EarlierRuns::ExportCsv() {
  const Listed* const listed = Selected();
  if (listed == nullptr) return;
  const std::string name = listed->name;
  const auto rowPerBarcode = window_.ChooseRowPerBarcode();
  if (!rowPerBarcode) return;
  const auto contents = Records(name);
  if (!contents) return window_.ShowMessage("The archived records cannot be read. Check the disk.");
  CsvExport csv(*rowPerBarcode);
  ReadArchivedRun(*contents,
                  [&](const ScannerIdentity& scanner, const Settings&,
                      std::span<const std::uint8_t> record) { csv.Add(scanner, record); });
  SaveFile("Export as CSV", name + ".csv", csv.Contents());
}

void EarlierRuns::SaveFile(const std::string& title, const std::string& name,
                           std::string_view contents) {
  const auto path = platform_.panels.RunExportPanel(title, folder_, name);
  if (!path) return;
  folder_ = path->substr(0, path->rfind('/'));
  window_.ShowMessage(platform_.files.Replace(*path, contents)
                          ? "Saved: " + *path
                          : "This file cannot be written: " + *path + ". Choose another folder.");
}

void EarlierRuns::Copy() {
  const Listed* const listed = Selected();
  if (listed == nullptr) return;
  const auto lines = Lines(*listed);
  const bool copied = lines && platform_.pasteboard.SetString(*lines);
  window_.ShowMessage(copied ? Counted(listed->run->records) + " copied to the clipboard."
                             : "The records cannot be copied. Save them to a file instead.");
}

void EarlierRuns::ShowInFolder() {
  const Listed* const listed = Selected();
  if (listed != nullptr) platform_.workspace.ShowInFolder(PathOf(*listed, kLinesEnding));
}

void EarlierRuns::Remove() {
  const Listed* const listed = Selected();
  if (listed == nullptr || listed->inProgress) return;
  const std::string name = listed->name;
  const bool live = IsLive(*listed);
  const std::string date = RowOf(*listed).date;
  if (!window_.ConfirmDeletion(
          live ? "Delete the live scans of " + date + "?"
               : "Delete the synchronization of " + date + "?",
          "This permanently deletes " + Counted(listed->run->records) +
              " from the archive. Files saved or delivered elsewhere are kept.")) {
    return;
  }
  window_.ShowMessage(parts_.archive.Delete(name)
                          ? ""
                          : "The records are in use. Delete them after the synchronization.");
  Refresh();
}

void EarlierRuns::DeliverAgain() {
  if (!delivering_.empty()) {
    stopped_ = true;
    return;
  }
  const Listed* const listed = Selected();
  if (listed == nullptr) return;
  if (parts_.isBusy()) {
    return window_.ShowMessage(
        "A synchronization is in progress. Deliver the records when it has finished.");
  }
  stopped_ = false;
  window_.ShowDelivering(true);
  if (delivering_.Start([this, name = listed->name] { DeliverOnThread(name); })) return;
  window_.ShowDelivering(false);
  window_.ShowMessage("The delivery cannot start. Restart Quillet.");
}

void EarlierRuns::DeliverOnThread(const std::string& name) {
  Report(Deliver(name));
  platform_.mainQueue.Async([this] {
    window_.ShowDelivering(false);
    delivering_.Clear();
  });
}

// Delivers the records of a run. Returns the message to show afterwards.
std::string EarlierRuns::Deliver(const std::string& name) {
  const auto contents = Records(name);
  if (!contents) return "The archived records cannot be read. Check the disk.";
  const std::int32_t destination = parts_.settings.destination;
  if (destination == kToFile) return DeliverToFile(*contents);
  if (destination != kToView) return DeliverToApplication(*contents, destination);
  const auto run = ReadArchivedLines(*contents, &parts_.settings, parts_.showLine);
  return Counted(run ? run->records : 0) + " shown in Quillet's window.";
}

std::string EarlierRuns::DeliverToFile(std::string_view contents) {
  std::string lines;
  const auto run = ReadArchivedLines(contents, &parts_.settings,
                                     [&](const std::string& line) { lines += line; });
  if (!run) return "The archived records cannot be read. Check the disk.";
  SerialNumberField serial;
  serial.Assign(reinterpret_cast<const std::uint8_t*>(run->serial.data()), run->serial.size());
  const std::string path = FreePath(ResolveSyncFileName(
      parts_.settings.filename.Get(), [&] { return parts_.file.GetSyncFileName(serial); }));
  if (!parts_.file.WriteDataToFile(path, lines, false, false)) {
    return "This file cannot be written: " + path + ". Check its folder in the settings.";
  }
  return Counted(run->records) + " delivered to " + path;
}

// Returns `path`, with a number added to the file name if the file exists.
std::string EarlierRuns::FreePath(const std::string& path) const {
  const std::size_t slash = path.rfind('/');
  std::size_t dot = path.rfind('.');
  if (dot == path.npos || (slash != path.npos && dot < slash + 2)) dot = path.size();
  std::string free = path;
  for (int number = 2; platform_.files.Exists(free) && number < kMaximumNumber; ++number) {
    free = path.substr(0, dot) + "_" + std::to_string(number) + path.substr(dot);
  }
  return free;
}

std::string EarlierRuns::DeliverToApplication(std::string_view contents, std::int32_t destination) {
  const bool paste = parts_.settings.bNonEnglish != 0;
  const std::string application =
      destination == kToNamedApplication ? parts_.settings.appname.Get() : "";
  std::int64_t delivered = 0;
  std::int64_t skipped = 0;
  std::string problem;
  otherWindowIsActive_ = false;
  const auto run = ReadArchivedLines(contents, &parts_.settings, [&](const std::string& line) {
    if (!problem.empty()) return;
    if (!application.empty()) parts_.delivery.Run(application);
    const bool ready = AwaitOtherWindow();
    if (stopped_) {
      problem = "Delivery stopped";
    } else if (parts_.isBusy()) {
      problem = "A synchronization has started. Delivery stopped";
    } else if (!ready) {
      problem = "No other window received the focus within 60 seconds. Delivery stopped";
    } else {
      parts_.delivery.Deliver(line, paste);
      ++delivered;
      if (!paste && !IsAscii(line)) ++skipped;
    }
  });
  const std::int64_t records = run ? run->records : 0;
  if (!problem.empty()) {
    return problem + " after " + std::to_string(delivered) + " of " + Counted(records) + ".";
  }
  if (skipped == 0) return Counted(records) + " delivered.";
  return Counted(delivered - skipped) + " delivered, " + std::to_string(skipped) +
         " could not be typed. Turn on \"Paste text instead of typing it\".";
}

// Waits until another application's window has the focus. Returns false after a time-out or if the
// delivery must stop.
bool EarlierRuns::AwaitOtherWindow() {
  if (!IsActive() && otherWindowIsActive_) return true;
  otherWindowIsActive_ = false;
  const auto start = platform_.clock.Now();
  auto inactiveSince = start;
  bool told = false;
  while (!stopped_ && !parts_.isBusy()) {
    const auto now = platform_.clock.Now();
    if (IsActive()) {
      inactiveSince = platform_.clock.Now();
      if (now - start > kLongestWait) return false;
      if (!std::exchange(told, true)) {
        Report("Waiting to deliver: click the window that should receive the records.");
      }
    } else if (now - inactiveSince >= kSettlingTime) {
      if (told) Report("Delivering records…");
      return otherWindowIsActive_ = true;
    }
    platform_.clock.Sleep(kWindowPoll);
  }
  return false;
}

// Asks the main thread whether a Quillet window has the focus. Returns true if the main thread does
// not answer.
bool EarlierRuns::IsActive() {
  answered_ = false;
  platform_.mainQueue.Async([this] {
    isActive_ = platform_.workspace.IsActive();
    answered_ = true;
  });
  for (int poll = 0; poll < kAnswerPolls && !answered_; ++poll) {
    platform_.clock.Sleep(kAnswerPoll);
  }
  return !answered_ || isActive_;
}

void EarlierRuns::Report(const std::string& text) {
  parts_.strip.Raise(Notice::kDelivery, text);
  platform_.mainQueue.Async([this, text] { window_.ShowMessage(text); });
}

}  // namespace quillet
