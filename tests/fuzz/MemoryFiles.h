#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/FileStore.h"

namespace quillet::fuzz {

/// A file store in memory.
class MemoryFiles final : public platform::FileStore {
 public:
  bool CreateFolder(const std::string& path) override {
    if (files_.contains(path) || (!path.empty() && !CreateFolder(FolderOf(path)))) return false;
    folders_.insert(path);
    return true;
  }
  std::optional<std::string> Read(const std::string& path, std::size_t limit) override {
    const auto found = files_.find(path);
    if (found == files_.end()) return std::nullopt;
    return found->second.substr(0, limit);
  }
  bool Replace(const std::string& path, std::string_view contents) override {
    if (folders_.contains(path) || !folders_.contains(FolderOf(path))) return false;
    files_[path] = contents;
    return true;
  }

 private:
  static std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

  std::map<std::string, std::string> files_;
  std::set<std::string> folders_{""};  // without trailing slash
};

}  // namespace quillet::fuzz
