#pragma once

#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

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
  platform::Checked ReadChecked(const std::string& path, std::size_t limit) override {
    auto contents = Read(path, limit);
    if (!contents) return {.error = folders_.contains(path) ? EISDIR : ENOENT};
    return {
        .contents = std::move(contents), .custody = platform::Custody::kTrusted, .ownFile = true};
  }
  platform::Replaced Replace(const std::string& path, std::string_view contents) override {
    if (folders_.contains(path)) return {.error = EISDIR};
    if (files_.contains(FolderOf(path))) return {.error = ENOTDIR};
    if (!folders_.contains(FolderOf(path))) return {.error = ENOENT};
    files_[path] = contents;
    return {.synchronized = true};
  }
  platform::Replaced ReplaceChecked(const std::string& path, std::string_view contents) override {
    return Replace(path, contents);
  }
  platform::Replaced Update(const std::string& path, const Change& change) override {
    return Replace(path, change(Read(path, std::string::npos).value_or("")));
  }
  bool SynchronizeEntries(const std::string& path, std::chrono::milliseconds) override {
    return folders_.contains(FolderOf(path));
  }
  Created CreateNew(const std::string& path, std::string_view contents) override {
    if (Exists(path)) return Created::kExists;
    return Replace(path, contents) ? Created::kYes : Created::kFailed;
  }
  std::string Owner(const std::string&) override { return {}; }
  bool CreatePrivateFolder(const std::string& path) override { return CreateFolder(path); }
  std::shared_ptr<platform::GrowingFile> OpenGrowing(const std::string& path, bool fresh) override {
    if (folders_.contains(path) || files_.contains(path) == fresh ||
        !folders_.contains(FolderOf(path))) {
      return nullptr;
    }
    files_[path];
    return std::make_shared<File>(files_, path);
  }
  platform::Replaced ReplacePrivate(const std::string& path, std::string_view contents) override {
    return Replace(path, contents);
  }
  bool MayReplace(const std::string& path) override { return folders_.contains(FolderOf(path)); }
  std::vector<Entry> List(const std::string& folder) override {
    std::vector<Entry> entries;
    for (const auto& [path, contents] : files_) {
      if (FolderOf(path) == folder) {
        entries.push_back({path.substr(folder.size() + 1), contents.size()});
      }
    }
    return entries;
  }
  bool Exists(const std::string& path) override {
    return files_.contains(path) || folders_.contains(path);
  }
  bool Remove(const std::string& path) override { return files_.erase(path) != 0; }
  std::size_t RemoveUnfinished(const std::string&) override { return 0; }
  bool IsSameFile(const std::string& path, const std::string& other) override {
    return std::filesystem::path(path).lexically_normal() ==
           std::filesystem::path(other).lexically_normal();
  }

 private:
  class File final : public platform::GrowingFile {
   public:
    File(std::map<std::string, std::string>& files, std::string path)
        : files_(files), path_(std::move(path)) {}
    bool Append(std::string_view bytes) override {
      const auto file = files_.find(path_);
      if (file != files_.end()) file->second.append(bytes);
      return true;
    }
    bool Synchronize(std::chrono::milliseconds) override { return files_.contains(path_); }

   private:
    std::map<std::string, std::string>& files_;
    const std::string path_;
  };

  static std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

  std::map<std::string, std::string> files_;
  std::set<std::string> folders_{""};  // without trailing slash
};

}  // namespace quillet::fuzz
