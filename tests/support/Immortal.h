#pragma once

#include <utility>
#include <vector>

namespace quillet::test {

/// Makes an object that is never destroyed, as the program's own: threads that never end go on
/// using it. The pointer is kept, so that a leak checker sees that it is meant.
template <class T, class... Arguments>
T& Immortal(Arguments&&... arguments) {
  static std::vector<T*>& kept = *new std::vector<T*>;
  kept.push_back(new T(std::forward<Arguments>(arguments)...));
  return *kept.back();
}

}  // namespace quillet::test
