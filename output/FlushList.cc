#include "output/FlushList.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace quillet {

void FlushList::Add(Use use, Files files) {
  const std::lock_guard lock(mutex_);
  std::deque<Files>& list = files_[static_cast<std::size_t>(use)];
  list.push_back(std::move(files));
  if (use == Use::kDay && list.size() > kMaximumDays) list.pop_front();
}

void FlushList::Clear(bool run, bool day) {
  const std::lock_guard lock(mutex_);
  for (const auto& [list, all] : {std::pair{&files_[0], run}, std::pair{&files_[1], day}}) {
    while (!list->empty() && (all || list->size() > 1)) list->pop_front();
  }
}

void FlushList::Remove(const std::string& name) {
  const std::lock_guard lock(mutex_);
  for (auto& list : files_) {
    std::erase_if(list, [&](const Files& files) { return files.name == name; });
  }
}

FlushList::Found FlushList::Find(const std::string& name) const {
  const auto hasName = [&](const Files& files) { return files.name == name; };
  const std::lock_guard lock(mutex_);
  const auto& [runs, days] = files_;
  const bool isDay = !days.empty() && hasName(days.back());
  const bool isEarlierDay = !isDay && std::ranges::any_of(days, hasName);
  return {.isDay = isDay, .isHeld = isEarlierDay || std::ranges::any_of(runs, hasName)};
}

bool FlushList::Synchronize(std::chrono::milliseconds limit, bool days) const {
  std::vector<Files> all;
  {
    const std::lock_guard lock(mutex_);
    std::ranges::copy(files_[0], std::back_inserter(all));
    if (days) std::ranges::copy(files_[1], std::back_inserter(all));
  }
  return std::ranges::all_of(all, [limit](const Files& files) {
    return files.lines->Synchronize(limit) && files.records->Synchronize(limit);
  });
}

}  // namespace quillet
