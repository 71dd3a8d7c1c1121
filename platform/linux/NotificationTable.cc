#include "platform/linux/NotificationTable.h"

#include <utility>
#include <vector>

namespace quillet::platform::linux_desktop {

NotificationTable::NotifyPort NotificationTable::AddPort() {
  ports_.insert(++last_port_);
  return last_port_;
}

void NotificationTable::RemovePort(NotifyPort port) {
  ports_.erase(port);
  std::erase_if(iterators_, [port](const auto& entry) { return entry.second.port == port; });
}

NotificationTable::Handle NotificationTable::AddIterator(NotifyPort port, Event event,
                                                         Callback callback, void* context,
                                                         std::size_t present) {
  if (!ports_.contains(port) || callback == nullptr) return 0;
  const Handle handle = NewHandle();
  iterators_.emplace(handle, Iterator{.port = port,
                                      .event = event,
                                      .callback = callback,
                                      .context = context,
                                      .waiting = present,
                                      .armed = false});
  return handle;
}

NotificationTable::Handle NotificationTable::Next(Handle iterator) {
  const auto found = iterators_.find(iterator);
  if (found == iterators_.end()) return 0;
  Iterator& entry = found->second;
  const bool holds_one = entry.waiting > 0;
  if (holds_one) --entry.waiting;
  entry.armed = entry.waiting == 0;
  return holds_one ? NewHandle() : 0;
}

void NotificationTable::Release(Handle handle) {
  iterators_.erase(handle);
}

void NotificationTable::Post(Event event) {
  std::vector<Handle> to_call;
  for (auto& [handle, entry] : iterators_) {
    if (entry.event != event) continue;
    ++entry.waiting;
    if (std::exchange(entry.armed, false)) to_call.push_back(handle);
  }
  for (const Handle handle : to_call) {
    const auto found = iterators_.find(handle);
    if (found == iterators_.end()) continue;  // an earlier callback released it
    const auto [callback, context] = std::pair(found->second.callback, found->second.context);
    callback(context, handle);
  }
}

NotificationTable::Handle NotificationTable::NewHandle() {
  do {
    ++last_handle_;
  } while (last_handle_ == 0 || iterators_.contains(last_handle_));
  return last_handle_;
}

}  // namespace quillet::platform::linux_desktop
