#include "base/TextBacklog.h"

#include <algorithm>
#include <utility>

namespace quillet {
namespace {

constexpr std::size_t kFullChunk = 8192;  // size in bytes at which a chunk is complete

}  // namespace

void TextBacklog::Add(std::string_view text, TextKind kind) {
  if (text.empty()) return;
  if (chunks_.empty() || chunks_.back().kind != kind || chunks_.back().text.size() >= kFullChunk) {
    chunks_.push_back({.kind = kind});
  }
  chunks_.back().text += text;
  if (kind == TextKind::kMessage) return;
  recordText_ += text.size();
  while (recordText_ > kMostRecordText + chunks_.back().text.size()) DropOldestRecords();
}

void TextBacklog::DropOldestRecords() {
  const auto oldest = std::ranges::find(chunks_, TextKind::kRecord, &Chunk::kind);
  recordText_ -= oldest->text.size();
  chunks_.erase(oldest);
  hasDropped_ = true;
}

TextBacklog::Chunk TextBacklog::TakeFirst() {
  Chunk first = std::move(chunks_.front());
  chunks_.pop_front();
  if (first.kind == TextKind::kRecord) recordText_ -= first.text.size();
  return first;
}

void TextBacklog::Clear() {
  *this = {};
}

}  // namespace quillet
