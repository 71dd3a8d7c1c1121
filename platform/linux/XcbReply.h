#pragma once

#include <cstdlib>
#include <memory>

namespace quillet::platform::linux_desktop {

struct FreeReply {
  void operator()(void* memory) const { std::free(memory); }
};

/// A reply, event or error of XCB's, which belongs to whoever has asked for it. Null when none
/// came.
template <class T>
using XcbReply = std::unique_ptr<T, FreeReply>;

}  // namespace quillet::platform::linux_desktop
