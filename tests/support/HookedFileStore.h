#pragma once

#include <functional>
#include <utility>

#include "platform/posix/PosixFileStore.h"

namespace quillet::test {

/// The system's files, with a hook that runs before a file is replaced.
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

  std::function<void()> whileReplacing;  ///< called by the next Replace only

 private:
  platform::posix::PosixFileStore files_;
};

}  // namespace quillet::test
