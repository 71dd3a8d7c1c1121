#include "app/EarlierRuns.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "app/LineEnds.h"
#include "app/SettingsEditor.h"
#include "base/ShownText.h"
#include "base/Utf8.h"
#include "device/ByteField.h"
#include "device/Settings.h"
#include "output/Choices.h"
#include "output/CsvExport.h"

namespace quillet {
namespace {

constexpr std::size_t kPreviewSize = std::size_t{64} * 1024;

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

// Truncates `lines` at a line end if it is longer than kPreviewSize bytes.
std::string Shortened(std::string lines) {
  if (lines.size() <= kPreviewSize) return lines;
  lines.resize(Utf8Prefix(lines, kPreviewSize).size());
  lines.resize(std::min(lines.rfind('\n'), lines.size() - 1) + 1);
  return lines +
         "… Only the first records are shown. To see all of them, save or copy the records.";
}

}  // namespace

EarlierRuns::EarlierRuns(const Parts& parts)
    : parts_(parts),
      platform_(parts.platform),
      window_(parts.window),
      reader_(platform_.log, platform_.files, parts.archive.folder()),
      work_(platform_.mainQueue, [this](bool busy) { window_.ShowBusy(busy); }) {
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

void EarlierRuns::Open(const std::string& run) {
  opened_ = true;
  window_.ShowMessage("");
  if (!run.empty()) {
    wanted_ = run;
    search_.clear();
    window_.ClearSearch();
  }
  Refresh();
  window_.runsWindow().MakeKeyAndOrderFront();
}

void EarlierRuns::Save(const std::string& run,
                       const std::function<void(const std::string& path)>& saved) {
  Open(run);
  const auto contents = [this, run]() -> std::optional<std::string> {
    const std::vector<StoredRun> runs = reader_.List();
    const auto found = std::ranges::find_if(
        runs, [&](const StoredRun& stored) { return stored.names.front() == run; });
    return found == runs.end() ? std::nullopt : reader_.Lines(*found);
  };
  SaveFile("Save records", run + ".txt", contents, saved);
}

void EarlierRuns::RunEnded() {
  platform_.mainQueue.Async([this] {
    if (opened_) Refresh();
  });
}

// Updates the list. If the list is being read, updates it again afterwards.
void EarlierRuns::Refresh() {
  listAgain_ = std::exchange(listing_, true);
  if (!wasListed_) window_.ShowMessage("Reading the archive…");
  if (listAgain_) return;
  work_.Add([this] {
    return [this, runs = reader_.List()] {
      runs_ = runs;
      if (!std::exchange(wasListed_, true)) window_.ShowMessage("");
      listing_ = false;
      ShowRows();
      if (listAgain_) Refresh();
    };
  });
}

void EarlierRuns::ShowRows() {
  std::vector<platform::RunRow> rows;
  const std::vector<std::string> before = std::exchange(shown_, {});
  for (const StoredRun& run : runs_) {
    platform::RunRow row = RowOf(run);
    const std::string text = Folded(row.date + "\n" + row.scanner + "\n" + run.head.serial + "\n" +
                                    row.records + "\n" + row.destination + "\n" + row.state);
    if (!ContainsAll(text, Folded(search_))) continue;
    rows.push_back(std::move(row));
    shown_.push_back(run.names.front());
  }
  if (!wanted_.empty() && std::ranges::find(shown_, wanted_) != shown_.end()) {
    selected_ = std::exchange(wanted_, "");
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
          : "No synchronizations match the search.");
  window_.ShowRows(
      rows, selected == shown_.end() ? -1 : static_cast<std::int32_t>(selected - shown_.begin()));
  ShowSelected();
}

void EarlierRuns::ShowSelected() {
  const std::int32_t row = window_.SelectedRow();
  selected_ = row < 0 ? "" : shown_[static_cast<std::size_t>(row)];
  const StoredRun* const run = Selected();
  window_.EnableActions(run != nullptr, run != nullptr && !run->inProgress);
  ShowPreview();
}

// Reads one preview at a time. Skips rows while the user moves quickly through the list.
void EarlierRuns::ShowPreview() {
  if (previewing_) return;
  const StoredRun* const run = Selected();
  // Setting the same text again would scroll the preview to its beginning.
  const std::string previewed =
      run == nullptr ? "" : run->names.front() + " " + std::to_string(run->bytes);
  if (std::exchange(previewed_, previewed) == previewed) return;
  if (run == nullptr) return window_.preview().SetText("");
  previewing_ = true;
  work_.Add([this, run = *run] {
    const std::string lines = Shortened(reader_.Lines(run, kPreviewSize + 1).value_or(""));
    return [this, text = FoldLineEnds(lines)] {
      previewing_ = false;
      window_.preview().SetText(text);
      ShowPreview();
    };
  });
}

const StoredRun* EarlierRuns::Selected() const {
  const auto found = std::ranges::find_if(
      runs_, [this](const StoredRun& run) { return run.names.front() == selected_; });
  return found == runs_.end() ? nullptr : &*found;
}

platform::RunRow EarlierRuns::RowOf(const StoredRun& run) const {
  const RecordsFileHead& head = run.head;
  platform::RunRow row;
  row.date = ShownText(run.live ? head.time.substr(0, head.time.find(' ')) : head.time);
  row.scanner =
      ShownText(head.serial.substr(std::min(kHiddenSerialCharacters, head.serial.size())));
  row.records = std::to_string(head.records);
  const auto titles = std::span(kDestinationTitles);
  const auto destination = static_cast<std::size_t>(head.destination);
  row.destination = titles[destination < titles.size() ? destination : kToActiveApplication];
  if (head.destination == kToFile) row.destination = head.file.empty() ? head.target : head.file;
  if (head.destination == kToNamedApplication) row.destination = head.target;
  row.destination = ShownText(row.destination);
  row.state = run.live         ? "Live scans"
              : run.inProgress ? "In progress"
              : head.complete  ? "Complete"
                               : "Incomplete";
  if (!run.live) row.erased = head.erased ? "Yes" : "No";
  return row;
}

void EarlierRuns::Search(const std::string& text) {
  search_ = text;
  if (wasListed_) ShowRows();
}

void EarlierRuns::SaveAs() {
  const StoredRun* const run = Selected();
  if (run == nullptr) return;
  SaveFile("Save records", run->names.front() + ".txt",
           [this, run = *run] { return reader_.Lines(run); });
}

void EarlierRuns::ExportCsv() {
  const StoredRun* const selected = Selected();
  if (selected == nullptr) return;
  const StoredRun run = *selected;
  const auto choice = window_.ChooseCsv();
  if (!choice) return;
  SaveFile("Export as CSV", run.names.front() + ".csv",
           [this, run, choice]() -> std::optional<std::string> {
             CsvExport csv(choice->rowPerBarcode, choice->apostrophes);
             const auto records = reader_.ForEachRecord(
                 run, [&](const ScannerIdentity& scanner, const Settings&,
                          std::span<const std::uint8_t> record) { csv.Add(scanner, record); });
             return records ? std::optional(csv.Contents()) : std::nullopt;
           });
}

void EarlierRuns::SaveFile(const std::string& title, const std::string& name,
                           std::function<std::optional<std::string>()> contents,
                           const std::function<void(const std::string& path)>& saved) {
  const auto path = platform_.panels.RunExportPanel(title, folder_, name);
  if (!path) return;
  folder_ = path->substr(0, path->rfind('/'));
  window_.ShowMessage("");
  work_.Add([this, path = *path, contents = std::move(contents), saved] {
    return [this, path, problem = WriteFile(path, contents), saved] {
      window_.ShowMessage(problem.empty() ? "Saved: " + ShownText(path) : problem);
      if (problem.empty()) saved(path);
    };
  });
}

// Writes a file. Returns an error message, or an empty string on success.
std::string EarlierRuns::WriteFile(
    const std::string& path, const std::function<std::optional<std::string>()>& contents) const {
  if (parts_.file.IsSettingsFile(path)) {
    return std::string(SettingsEditor::kSettingsFileMessage);
  }
  const auto written = contents();
  if (!written) return std::string(Redelivery::kUnreadable);
  const auto replaced = platform_.files.Replace(path, *written);
  if (replaced) return {};
  return ShownText(path) + " could not be written. Choose another folder.";
}

void EarlierRuns::Copy() {
  const StoredRun* const run = Selected();
  if (run == nullptr) return;
  work_.Add([this, run = *run] {
    return [this, lines = reader_.Lines(run), records = run.head.records] {
      const bool copied = lines && platform_.pasteboard.SetString(*lines);
      window_.ShowMessage(copied ? Counted(records) + " copied to the clipboard."
                                 : "The records could not be copied. Save them to a file instead.");
    };
  });
}

void EarlierRuns::ShowInFolder() {
  const StoredRun* const run = Selected();
  if (run != nullptr) platform_.workspace.ShowInFolder(reader_.LinesPath(*run));
}

void EarlierRuns::Remove() {
  const StoredRun* const selected = Selected();
  if (selected == nullptr || selected->inProgress) return;
  const StoredRun run = *selected;
  const std::string date = RowOf(run).date;
  if (!window_.ConfirmDeletion(
          run.live ? "Delete the live scans from " + date + "?"
                   : "Delete the synchronization from " + date + "?",
          "This permanently deletes " + Counted(run.head.records) +
              " from the archive. Copies saved or delivered elsewhere are not affected.")) {
    return;
  }
  const bool deleted = std::ranges::all_of(
      run.names, [this](const std::string& name) { return parts_.archive.Delete(name); });
  window_.ShowMessage(
      deleted ? ""
              : "A synchronization is in progress. You can delete the records when it has "
                "finished.");
  Refresh();
}

void EarlierRuns::DeliverAgain() {
  if (parts_.redelivery.IsRunning()) return parts_.redelivery.Stop();
  if (const StoredRun* const run = Selected()) parts_.redelivery.Start(*run);
}

}  // namespace quillet
