#pragma once

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "platform/posix/PosixFileStore.h"

namespace quillet::test {

/// A FileStore with real files. Tests can run code before a file is written.
class HookedFileStore : public platform::FileStore {
 public:
  bool CreateFolder(const std::string& path) override { return files_.CreateFolder(path); }
  std::optional<std::string> Read(const std::string& path, std::size_t limit) override {
    return files_.Read(path, limit);
  }
  platform::Checked ReadChecked(const std::string& path, std::size_t limit) override {
    platform::Checked checked = files_.ReadChecked(path, limit);
    if (otherUser) {
      checked.custody = platform::Custody::kForeign;
      checked.owner = *otherUser;
      checked.ownFile = false;
    }
    return checked;
  }
  platform::Replaced Replace(const std::string& path, std::string_view contents) override {
    if (const auto hook = std::exchange(whileReplacing, nullptr)) hook();
    return files_.Replace(path, contents);
  }
  platform::Replaced ReplaceChecked(const std::string& path, std::string_view contents) override {
    if (const auto hook = std::exchange(whileReplacing, nullptr)) hook();
    return files_.ReplaceChecked(path, contents);
  }
  platform::Replaced Update(const std::string& path, const Change& change) override {
    if (const auto hook = std::exchange(whileReplacing, nullptr)) hook();
    return files_.Update(path, change);
  }
  bool SynchronizeEntries(const std::string& path, std::chrono::milliseconds limit) override {
    return files_.SynchronizeEntries(path, limit);
  }
  Created CreateNew(const std::string& path, std::string_view contents) override {
    if (const auto hook = std::exchange(whileReplacing, nullptr)) hook();
    return files_.CreateNew(path, contents);
  }
  bool CreatePrivateFolder(const std::string& path) override {
    return files_.CreatePrivateFolder(path);
  }
  std::shared_ptr<platform::GrowingFile> OpenGrowing(const std::string& path, bool fresh) override {
    if (!hasLocks) return nullptr;
    auto file = files_.OpenGrowing(path, fresh);
    if (!file || flushes) return file;
    return std::make_shared<UnflushedFile>(std::move(file));
  }
  platform::Replaced ReplacePrivate(const std::string& path, std::string_view contents) override {
    if (isReadOnly) return {.error = EROFS};
    return files_.ReplacePrivate(path, contents);
  }
  bool MayReplace(const std::string& path) override {
    return !isReadOnly && files_.MayReplace(path);
  }
  std::vector<Entry> List(const std::string& folder) override { return files_.List(folder); }
  bool Exists(const std::string& path) override { return files_.Exists(path); }
  bool Remove(const std::string& path) override { return !isReadOnly && files_.Remove(path); }
  std::size_t RemoveUnfinished(const std::string& folder) override {
    return files_.RemoveUnfinished(folder);
  }
  bool IsSameFile(const std::string& path, const std::string& other) override {
    return files_.IsSameFile(path, other);
  }
  std::string Owner(const std::string& path) override { return files_.Owner(path); }

  std::optional<std::string> otherUser;  ///< if set, the owner that ReadChecked reports
  bool hasLocks = true;                  ///< false: OpenGrowing fails
  bool isReadOnly = false;  ///< true: private files can be neither replaced nor deleted
  bool flushes = true;      ///< whether newly opened files can be flushed to the disk
  std::function<void()> whileReplacing;  ///< called by the next write only

 private:
  /// A file that cannot be flushed to the disk.
  class UnflushedFile final : public platform::GrowingFile {
   public:
    explicit UnflushedFile(std::shared_ptr<platform::GrowingFile> file) : file_(std::move(file)) {}
    bool Append(std::string_view bytes) override { return file_->Append(bytes); }
    bool Synchronize(std::chrono::milliseconds) override { return false; }

   private:
    std::shared_ptr<platform::GrowingFile> file_;
  };

  platform::posix::PosixFileStore files_;
};

}  // namespace quillet::test
