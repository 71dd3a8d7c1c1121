#include "output/FlushList.h"

#include <algorithm>
#include <utility>

namespace quillet {

void FlushList::Add(Use use, Files files) {
  const std::lock_guard lock(mutex_);
  if (Latest(use).records) earlier_.push_back(std::move(Latest(use)));
  Latest(use) = std::move(files);
}

void FlushList::Clear(bool run, bool day) {
  const std::lock_guard lock(mutex_);
  earlier_.clear();
  if (run) Latest(Use::kRun) = {};
  if (day) Latest(Use::kDay) = {};
}

FlushList::Found FlushList::Find(const std::string& name) const {
  const auto hasName = [&](const Files& files) { return files.name == name; };
  const std::lock_guard lock(mutex_);
  return {.isDay = hasName(latest_[1]),
          .isHeld = hasName(latest_[0]) || std::ranges::any_of(earlier_, hasName)};
}

bool FlushList::Synchronize(std::chrono::milliseconds limit) const {
  std::vector<Files> all;
  {
    const std::lock_guard lock(mutex_);
    all = earlier_;
    for (const Files& files : latest_) {
      if (files.records) all.push_back(files);
    }
  }
  return std::ranges::all_of(all, [limit](const Files& files) {
    return files.lines->Synchronize(limit) && files.records->Synchronize(limit);
  });
}

}  // namespace quillet
