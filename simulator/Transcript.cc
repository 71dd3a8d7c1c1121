#include "simulator/Transcript.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace quillet::simulator {

Transcript::Transcript(bool keep, const std::string& file)
    : keep_(keep), start_(std::chrono::steady_clock::now()) {
  if (file.empty()) return;
  // "e": close-on-exec.
  file_.reset(std::fopen(file.c_str(), "we"));
  if (!file_) throw std::system_error(errno, std::generic_category(), file);
  // Whole lines: the file can be read while it grows, and a killed process leaves no half line.
  std::setvbuf(file_.get(), nullptr, _IOLBF, std::size_t{64} * 1024);
}

void Transcript::Add(std::chrono::steady_clock::time_point time, Direction direction, Bytes bytes) {
  if (bytes.empty()) return;
  const std::scoped_lock lock(mutex_);
  TranscriptEntry entry{time, direction, std::move(bytes)};
  if (file_) {
    const std::string line = FormatLine(entry, start_) + '\n';
    std::fwrite(line.data(), 1, line.size(), file_.get());
  }
  if (keep_) entries_.push_back(std::move(entry));
}

void Transcript::AddEvent(std::chrono::steady_clock::time_point time, std::string_view text) {
  Add(time, Direction::kEvent, ToBytes(text));
}

std::vector<TranscriptEntry> Transcript::Entries() const {
  const std::scoped_lock lock(mutex_);
  return entries_;
}

std::string FormatLine(const TranscriptEntry& entry, std::chrono::steady_clock::time_point start) {
  const bool event = entry.direction == Direction::kEvent;
  const char sign = event ? '#' : entry.direction == Direction::kSent ? '>' : '<';
  char line[48];
  std::snprintf(line, sizeof line, "%.6f %c ",
                std::chrono::duration<double>(entry.time - start).count(), sign);
  return line + (event ? "" : ToHex(entry.bytes) + "  ") + ToReadable(entry.bytes);
}

}  // namespace quillet::simulator
