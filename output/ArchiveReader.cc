#include "output/ArchiveReader.h"

#include <algorithm>
#include <utility>

#include "base/Log.h"

namespace quillet {
namespace {

using platform::FileStore;

// Limits memory use. Far larger than any file in the archive.
constexpr std::size_t kLargestFile = 100'000'000;

// Adds the metadata of the run's next file to `run`.
void Add(RecordsFileHead& run, const RecordsFileHead& next) {
  RecordsFileHead sum = next;
  sum.time = run.time;
  sum.records += run.records;
  sum.erased = sum.erased || run.erased;
  if (sum.file.empty()) sum.file = run.file;
  run = std::move(sum);
}

}  // namespace

std::vector<StoredRun> ArchiveReader::List() {
  const std::vector<FileStore::Entry> entries = files_.List(folder_.path());
  const std::vector<File> before = std::exchange(known_, {});
  std::vector<StoredRun> runs;
  for (const FileStore::Entry& entry : entries) {
    if (!entry.name.ends_with(ArchiveFolder::kRecordsEnding)) continue;
    const std::string name =
        entry.name.substr(0, entry.name.size() - ArchiveFolder::kRecordsEnding.size());
    const auto known = std::ranges::lower_bound(before, name, {}, &File::name);
    const bool isKnown =
        known != before.end() && known->name == name && known->bytes == entry.bytes;
    known_.push_back(isKnown ? *known : ReadHead(name, entry.bytes));
    const File& file = known_.back();
    if (!file.head) continue;
    auto run = std::ranges::find_if(runs, [&](const StoredRun& earlier) {
      return ArchiveFolder::GroupOf(earlier.names.front()) == ArchiveFolder::GroupOf(name);
    });
    if (run == runs.end()) {
      runs.push_back({.names = {}, .live = ArchiveFolder::IsLive(name), .head = *file.head});
      run = runs.end() - 1;
    } else {
      Add(run->head, *file.head);
    }
    run->names.push_back(name);
    run->bytes += entry.bytes;
    run->inProgress = std::ranges::binary_search(
        entries, name + std::string(ArchiveFolder::kOpenEnding), {}, &FileStore::Entry::name);
  }
  std::ranges::reverse(runs);
  return runs;
}

ArchiveReader::File ArchiveReader::ReadHead(const std::string& name, std::uint64_t bytes) const {
  const auto contents =
      files_.Read(folder_.PathOf(name, ArchiveFolder::kRecordsEnding), kLargestFile);
  File file{.name = name, .bytes = bytes};
  if (contents) file.head = ReadRecordsFile(*contents);
  if (!file.head) Log(log_, "Quillet: unreadable file: ", ForeignText(name));
  return file;
}

std::optional<std::int64_t> ArchiveReader::ForEachRecord(const StoredRun& run,
                                                         const ArchivedRecord& record) const {
  std::int64_t records = 0;
  for (const std::string& name : run.names) {
    const auto contents =
        files_.Read(folder_.PathOf(name, ArchiveFolder::kRecordsEnding), kLargestFile);
    const auto head = contents ? ReadRecordsFile(*contents, record) : std::nullopt;
    if (!head) return std::nullopt;
    records += head->records;
  }
  return records;
}

std::optional<std::int64_t> ArchiveReader::ForEachLine(
    const StoredRun& run, const Settings* settings,
    const std::function<void(const std::string& line)>& line) const {
  std::int64_t records = 0;
  for (const std::string& name : run.names) {
    const auto contents =
        files_.Read(folder_.PathOf(name, ArchiveFolder::kRecordsEnding), kLargestFile);
    const auto head = contents ? ReadRecordsFileLines(*contents, settings, line) : std::nullopt;
    if (!head) return std::nullopt;
    records += head->records;
  }
  return records;
}

std::optional<std::string> ArchiveReader::Lines(const StoredRun& run, std::size_t limit) const {
  std::string lines;
  // An interrupted run may contain records whose lines were not written.
  if (!run.live && !run.head.complete) {
    const auto records = ForEachLine(run, nullptr, [&](const std::string& line) { lines += line; });
    return records ? std::optional(lines) : std::nullopt;
  }
  for (const std::string& name : run.names) {
    const auto contents = files_.Read(folder_.PathOf(name, ArchiveFolder::kLinesEnding),
                                      std::min(limit, kLargestFile));
    if (!contents) return std::nullopt;
    lines += *contents;
    if (lines.size() >= limit) break;
  }
  return lines;
}

std::string ArchiveReader::LinesPath(const StoredRun& run) const {
  return folder_.PathOf(run.names.front(), ArchiveFolder::kLinesEnding);
}

}  // namespace quillet
