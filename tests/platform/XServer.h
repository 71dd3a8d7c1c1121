#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace quillet::test {

/// An X server of the test's own, to which DISPLAY leads. It ends when the test says so.
class XServer {
 public:
  /// @param options  for Xvfb, besides the usual ones
  explicit XServer(const std::vector<std::string>& options = {});
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;
  ~XServer() { End(); }

  void End();

 private:
  pid_t process_ = 0;
};

}  // namespace quillet::test
