#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/platform/Child.h"

namespace quillet::test {

/// An X server without a physical screen (Xvfb). The constructor sets DISPLAY.
class XServer {
 public:
  /// @param options  additional command-line options for Xvfb
  explicit XServer(const std::vector<std::string>& options = {});

  void End() { process_.reset(); }

 private:
  std::optional<Child> process_;
};

}  // namespace quillet::test
