#include "device/CommandQueue.h"

#include <algorithm>
#include <thread>

namespace quillet {
namespace {

using Indices = CommandQueue::Indices;

constexpr std::uint64_t kIndexMask = (1 << 10) - 1;
constexpr std::uint64_t kCountMask = (1 << 17) - 1;

Indices Restarted(const Indices& now, std::uint64_t connection) {
  Indices restarted{};
  restarted.generation = (now.generation + 1) & kCountMask;
  restarted.connection = connection & kCountMask;
  return restarted;
}

}  // namespace

bool CommandQueue::Append(std::span<const std::uint8_t> entry) {
  Indices now = indices_.load();
  Indices claim{};
  do {
    if (now.claimed + entry.size() > kSize) return false;
    claim = now;
    claim.claimed = (now.claimed + entry.size()) & kIndexMask;
  } while (!indices_.compare_exchange_strong(now, claim));

  const std::size_t start = now.claimed;
  for (std::size_t i = 0; i < entry.size(); ++i) cmdArray_[start + i].store(entry[i]);

  for (now = claim;;) {
    Indices published = now;
    published.cmdWrite = claim.claimed;
    if (now.cmdWrite == start) {
      if (indices_.compare_exchange_strong(now, published)) return true;
    } else {
      std::this_thread::yield();  // an earlier writer is still copying
      now = indices_.load();
    }
  }
}

std::optional<CommandQueue::Entry> CommandQueue::Head() const {
  for (;;) {
    Entry entry;
    entry.indices = indices_.load();
    const std::size_t start = entry.indices.cmdRead;
    const std::size_t end = entry.indices.cmdWrite;
    if (start + 2 > end) return std::nullopt;
    entry.first = cmdArray_[start].load();
    entry.type = cmdArray_[start + 1].load();
    // The first byte of a wake-up is an argument, not a length.
    const std::size_t length = entry.type == 'W' ? 1 : entry.first;
    entry.commandLength = std::min(length, end - start - 1);
    for (std::size_t i = 0; i < entry.commandLength; ++i) {
      entry.command[i] = cmdArray_[start + 1 + i].load();
    }
    // If the buffer was reset during the copy, the bytes may belong to two different entries.
    const Indices now = indices_.load();
    if (now.generation == entry.indices.generation) return entry;
  }
}

bool CommandQueue::Holds(std::uint8_t type) const {
  for (;;) {
    const Indices begun = indices_.load();
    bool found = false;
    for (std::size_t start = begun.cmdRead; !found && start + 2 <= begun.cmdWrite;) {
      const std::uint8_t entry = cmdArray_[start + 1].load();
      found = entry == type;
      start += 1 + (entry == 'W' ? 1 : std::size_t{cmdArray_[start].load()});
    }
    // If the buffer was reset during the search, search again.
    if (indices_.load().generation == begun.generation) return found;
  }
}

bool CommandQueue::Consume(const Entry& entry) {
  Indices now = indices_.load();
  while (now.generation == entry.indices.generation) {
    Indices consumed = now;
    consumed.cmdRead = (entry.indices.cmdRead + 1 + entry.commandLength) & kIndexMask;
    if (indices_.compare_exchange_strong(now, consumed)) return true;
  }
  return false;
}

void CommandQueue::RewindIfEmpty() {
  Indices now = indices_.load(std::memory_order_acquire);
  while (now.cmdRead == now.cmdWrite && now.claimed == now.cmdWrite && now.cmdWrite != 0) {
    if (indices_.compare_exchange_strong(now, Restarted(now, now.connection))) return;
  }
}

// Drops all entries and adds `newConnections` to the connection number. Does nothing and returns
// false if `only` is given and differs from the connection number.
bool CommandQueue::Restart(std::optional<std::uint64_t> only, std::uint32_t newConnections) {
  Indices now = indices_.load();
  while (!only || *only == now.connection) {
    if (now.claimed == now.cmdWrite) {
      const Indices restarted = Restarted(now, now.connection + newConnections);
      if (indices_.compare_exchange_strong(now, restarted)) return true;
    } else {
      std::this_thread::yield();  // a writer is still copying
      now = indices_.load();
    }
  }
  return false;
}

}  // namespace quillet
