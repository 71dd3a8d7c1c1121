#pragma once

#include <cerrno>

namespace quillet {

/// Repeats a system call while signals interrupt it (errno EINTR).
/// @param call  makes the system call and returns its result; negative means failure
/// @return the result of the last call.
template <class Call>
auto RetryOnSignal(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

}  // namespace quillet
