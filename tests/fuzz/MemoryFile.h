#pragma once

#include <optional>
#include <string>

#include "platform/FileStore.h"

namespace quillet::fuzz {

/// A disk with one file, whatever its path.
class MemoryFile final : public platform::FileStore {
 public:
  explicit MemoryFile(std::optional<std::string> contents) : contents_(std::move(contents)) {}

  bool CreateFolder(const std::string&) override { return true; }
  std::optional<std::string> Read(const std::string&, std::size_t limit) override {
    if (!contents_) return contents_;
    return contents_->substr(0, limit);
  }
  bool Replace(const std::string&, std::string_view contents) override {
    contents_ = contents;
    return true;
  }

  const std::optional<std::string>& contents() const { return contents_; }

 private:
  std::optional<std::string> contents_;
};

}  // namespace quillet::fuzz
