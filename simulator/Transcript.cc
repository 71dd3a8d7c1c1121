#include "simulator/Transcript.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace quillet::simulator {
namespace {

char SignOf(Direction direction) {
  switch (direction) {
    case Direction::kReceived:
      return '<';
    case Direction::kSent:
      return '>';
    case Direction::kEvent:
      break;
  }
  return '#';
}

}  // namespace

Transcript::Transcript(std::size_t limit, const std::string& file)
    : limit_(limit), start_(std::chrono::steady_clock::now()) {
  if (file.empty()) return;
  // "e": a program that the owner of this process starts must not inherit it.
  file_.reset(std::fopen(file.c_str(), "we"));
  if (!file_) throw std::system_error(errno, std::generic_category(), file);
  // Whole lines: the file can be read while it grows, and a killed process leaves no half line.
  std::setvbuf(file_.get(), nullptr, _IOLBF, std::size_t{64} * 1024);
}

void Transcript::Add(std::chrono::steady_clock::time_point time, Direction direction, Bytes bytes) {
  if (bytes.empty()) return;
  const std::scoped_lock lock(mutex_);
  TranscriptEntry entry{time, direction, std::move(bytes)};
  if (file_) Write(entry);
  kept_ += entry.bytes.size();
  entries_.push_back(std::move(entry));
  while (kept_ > limit_) {
    kept_ -= entries_.front().bytes.size();
    entries_.pop_front();
  }
}

void Transcript::AddEvent(std::chrono::steady_clock::time_point time, std::string_view text) {
  Add(time, Direction::kEvent, ToBytes(text));
}

std::vector<TranscriptEntry> Transcript::Entries() const {
  const std::scoped_lock lock(mutex_);
  return {entries_.begin(), entries_.end()};
}

Bytes Transcript::All(Direction direction) const {
  const std::scoped_lock lock(mutex_);
  Bytes all;
  for (const TranscriptEntry& entry : entries_) {
    if (entry.direction == direction) Append(all, entry.bytes);
  }
  return all;
}

void Transcript::Write(const TranscriptEntry& entry) {
  const std::string line = FormatLine(entry, start_) + '\n';
  std::fwrite(line.data(), 1, line.size(), file_.get());
}

std::string FormatLine(const TranscriptEntry& entry, std::chrono::steady_clock::time_point start) {
  char seconds[48];
  std::snprintf(seconds, sizeof seconds, "%.6f",
                std::chrono::duration<double>(entry.time - start).count());
  std::string line = seconds;
  line += ' ';
  line += SignOf(entry.direction);
  line += ' ';
  if (entry.direction != Direction::kEvent) line += ToHex(entry.bytes) + "  ";
  line += ToReadable(entry.bytes);
  return line;
}

}  // namespace quillet::simulator
