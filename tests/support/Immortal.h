#pragma once

#include <utility>
#include <vector>

namespace quillet::test {

/// Creates an object that is never destroyed, because it is used by threads that never end. A
/// static list refers to the object, so LeakSanitizer does not report it.
template <class T, class... Arguments>
T& Immortal(Arguments&&... arguments) {
  static std::vector<T*>& kept = *new std::vector<T*>;
  kept.push_back(new T(std::forward<Arguments>(arguments)...));
  return *kept.back();
}

}  // namespace quillet::test
