#include "device/CommandQueue.h"

#include <algorithm>
#include <thread>

namespace quillet {

// The four numbers that change together, packed into one word. `claimed` runs ahead of `cmdWrite`
// while entries are being copied in, and the buffer is not started anew during that time, since
// the bytes would then land in somebody else's entry. `generation` changes with every rewind and
// reset, so that nobody takes an index of before for one of after.
struct CommandQueue::Indices {
  std::uint16_t cmdRead = 0;
  std::uint16_t cmdWrite = 0;
  std::uint16_t claimed = 0;
  std::uint16_t generation = 0;

  static Indices From(std::uint64_t word) {
    return {static_cast<std::uint16_t>(word), static_cast<std::uint16_t>(word >> 16),
            static_cast<std::uint16_t>(word >> 32), static_cast<std::uint16_t>(word >> 48)};
  }

  std::uint64_t ToWord() const {
    return static_cast<std::uint64_t>(cmdRead) | static_cast<std::uint64_t>(cmdWrite) << 16 |
           static_cast<std::uint64_t>(claimed) << 32 | static_cast<std::uint64_t>(generation) << 48;
  }

  Indices Restarted() const { return {0, 0, 0, static_cast<std::uint16_t>(generation + 1)}; }
};

bool CommandQueue::Replace(Indices& expected, Indices desired) {
  std::uint64_t word = expected.ToWord();
  if (indices_.compare_exchange_strong(word, desired.ToWord())) return true;
  expected = Indices::From(word);
  return false;
}

bool CommandQueue::Append(std::span<const std::uint8_t> entry) {
  Indices now = Indices::From(indices_.load());
  Indices claim;
  do {
    if (now.claimed + entry.size() > kSize) return false;
    claim = now;
    claim.claimed = static_cast<std::uint16_t>(now.claimed + entry.size());
  } while (!Replace(now, claim));

  const std::uint16_t start = now.claimed;
  for (std::size_t i = 0; i < entry.size(); ++i) cmdArray_[start + i].store(entry[i]);

  for (now = claim;;) {
    Indices published = now;
    published.cmdWrite = claim.claimed;
    if (now.cmdWrite == start && Replace(now, published)) return true;
    if (now.cmdWrite == start) continue;
    std::this_thread::yield();  // an earlier writer is still copying
    now = Indices::From(indices_.load());
  }
}

std::optional<CommandQueue::Entry> CommandQueue::Head() const {
  for (std::uint64_t word = indices_.load();;) {
    const Indices seen = Indices::From(word);
    if (seen.cmdWrite - seen.cmdRead < 2) return std::nullopt;
    Entry entry = EntryAt(seen.cmdRead, seen.cmdWrite);
    entry.indices = word;
    // Bytes that were read while the queue was reset may be of two entries.
    word = indices_.load();
    if (Indices::From(word).generation == seen.generation) return entry;
  }
}

CommandQueue::Entry CommandQueue::EntryAt(std::size_t start, std::size_t end) const {
  Entry entry;
  entry.first = cmdArray_[start].load();
  entry.type = cmdArray_[start + 1].load();
  // A wake-up has no length: its first byte is an argument that nobody reads.
  const std::size_t length = entry.type == 'W' ? 1 : entry.first;
  entry.commandLength = std::min(length, end - start - 1);
  for (std::size_t i = 0; i < entry.commandLength; ++i) {
    entry.command[i] = cmdArray_[start + 1 + i].load();
  }
  return entry;
}

bool CommandQueue::Consume(const Entry& entry) {
  const Indices seen = Indices::From(entry.indices);
  Indices now = Indices::From(indices_.load());
  while (now.generation == seen.generation) {
    Indices consumed = now;
    consumed.cmdRead = static_cast<std::uint16_t>(seen.cmdRead + 1 + entry.commandLength);
    if (Replace(now, consumed)) return true;
  }
  return false;
}

void CommandQueue::RewindIfEmpty() {
  Indices now = Indices::From(indices_.load(std::memory_order_acquire));
  while (now.cmdRead == now.cmdWrite && now.claimed == now.cmdWrite && now.cmdWrite != 0) {
    if (Replace(now, now.Restarted())) return;
  }
}

void CommandQueue::Reset() {
  Indices now = Indices::From(indices_.load());
  for (;;) {
    if (now.claimed == now.cmdWrite) {
      if (Replace(now, now.Restarted())) return;
    } else {
      std::this_thread::yield();
      now = Indices::From(indices_.load());
    }
  }
}

std::int32_t CommandQueue::cmdRead() const {
  return Indices::From(indices_.load()).cmdRead;
}
std::int32_t CommandQueue::cmdWrite() const {
  return Indices::From(indices_.load()).cmdWrite;
}

}  // namespace quillet
