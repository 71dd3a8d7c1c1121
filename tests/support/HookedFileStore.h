#pragma once

#include <functional>
#include <utility>

#include "platform/posix/PosixFileStore.h"

namespace quillet::test {

/// The real files, and a chance to do something while one is being replaced.
class HookedFileStore final : public platform::FileStore {
 public:
  bool CreateFolder(const std::string& path) override { return files_.CreateFolder(path); }
  std::optional<std::string> Read(const std::string& path, std::size_t limit) override {
    return files_.Read(path, limit);
  }
  bool Replace(const std::string& path, std::string_view contents) override {
    if (const auto hook = std::exchange(whileReplacing, nullptr)) hook();
    return files_.Replace(path, contents);
  }

  std::function<void()> whileReplacing;  ///< called once

 private:
  platform::posix::PosixFileStore files_;
};

}  // namespace quillet::test
