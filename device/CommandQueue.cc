#include "device/CommandQueue.h"

#include <algorithm>
#include <bit>
#include <thread>

namespace quillet {

// The numbers that change together, packed into one word. `claimed` is ahead of `cmdWrite` while
// entries are being copied in. The buffer is not restarted in that time, since their bytes would
// overwrite another entry. `generation` changes with every restart, so that an index from before a
// restart is not used after it. `connection` changes with every new connection.
struct CommandQueue::Indices {
  std::uint64_t cmdRead : 10 = 0;
  std::uint64_t cmdWrite : 10 = 0;
  std::uint64_t claimed : 10 = 0;
  std::uint64_t generation : 17 = 0;
  std::uint64_t connection : 17 = 0;

  static Indices From(std::uint64_t word) { return std::bit_cast<Indices>(word); }
  std::uint64_t ToWord() const { return std::bit_cast<std::uint64_t>(*this); }

  Indices Restarted(std::uint64_t ofConnection) const {
    Indices restarted;
    restarted.generation = (generation + 1) & kGenerationMask;
    restarted.connection = ofConnection & kGenerationMask;
    return restarted;
  }

  static constexpr std::uint64_t kGenerationMask = (1 << 17) - 1;
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
    claim.claimed = (now.claimed + entry.size()) & 0x3FF;
  } while (!Replace(now, claim));

  const std::size_t start = now.claimed;
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
    consumed.cmdRead = (seen.cmdRead + 1 + entry.commandLength) & 0x3FF;
    if (Replace(now, consumed)) return true;
  }
  return false;
}

void CommandQueue::RewindIfEmpty() {
  Indices now = Indices::From(indices_.load(std::memory_order_acquire));
  while (now.cmdRead == now.cmdWrite && now.claimed == now.cmdWrite && now.cmdWrite != 0) {
    if (Replace(now, now.Restarted(now.connection))) return;
  }
}

void CommandQueue::Reset() {
  Restart(std::nullopt, 0);
}

void CommandQueue::StartConnection() {
  Restart(std::nullopt, 1);
}

bool CommandQueue::ResetConnectionOf(const Entry& entry) {
  return Restart(std::uint64_t{Indices::From(entry.indices).connection}, 0);
}

// Drops every entry, if the present connection is `only`.
bool CommandQueue::Restart(std::optional<std::uint64_t> only, std::uint32_t newConnections) {
  Indices now = Indices::From(indices_.load());
  while (!only || *only == now.connection) {
    if (now.claimed == now.cmdWrite) {
      if (Replace(now, now.Restarted(now.connection + newConnections))) return true;
    } else {
      std::this_thread::yield();  // a writer is still copying
      now = Indices::From(indices_.load());
    }
  }
  return false;
}

std::int32_t CommandQueue::cmdRead() const {
  return static_cast<std::int32_t>(Indices::From(indices_.load()).cmdRead);
}
std::int32_t CommandQueue::cmdWrite() const {
  return static_cast<std::int32_t>(Indices::From(indices_.load()).cmdWrite);
}

}  // namespace quillet
