#include <cerrno>
#include <chrono>
#include <optional>

#include "platform/FileStore.h"
#include "tests/contract/Contract.h"
#include "tests/fuzz/MemoryFiles.h"
#include "tests/support/HookedFileStore.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::test {
namespace {

class FileStoreHarness {
 public:
  virtual ~FileStoreHarness() = default;
  virtual platform::FileStore& Store() = 0;

  const TemporaryFolder folder;
};

template <class Backend>
struct OnDisk final : FileStoreHarness {
  static constexpr const char* kName =
      std::is_same_v<Backend, HookedFileStore> ? "Hooked" : "Posix";
  platform::FileStore& Store() override { return store; }

  Backend store;
};

struct InMemory final : FileStoreHarness {
  static constexpr char kName[] = "Memory";
  InMemory() { EXPECT_TRUE(files.CreateFolder(folder.path())); }
  platform::FileStore& Store() override { return files; }

  fuzz::MemoryFiles files;
};

class FileStoreContract : public Contract<FileStoreHarness> {
 protected:
  static constexpr std::size_t kAll = std::size_t{1} << 30;

  platform::FileStore& store_ = harness_->Store();
  const std::string path_ = harness_->folder / "file.txt";
};

TEST_P(FileStoreContract, ReadReturnsNothingForAMissingFile) {
  EXPECT_EQ(store_.Read(path_, kAll), std::nullopt);
  EXPECT_EQ(store_.Read(path_, 0), std::nullopt);
}

TEST_P(FileStoreContract, ReplaceCreatesOrOverwritesAFile) {
  const std::string large(3'000'000, 'y');
  for (const std::string& contents : {std::string("a\0\xFF\r\n", 5), large, std::string()}) {
    const auto replaced = store_.Replace(path_, contents);
    EXPECT_EQ(replaced.error, 0);
    EXPECT_TRUE(replaced.synchronized);
    EXPECT_EQ(store_.Read(path_, kAll), contents);
  }
}

TEST_P(FileStoreContract, UpdatePassesTheExistingContentsToTheCallback) {
  const auto add = [](std::string_view old) { return std::string(old) + "+"; };
  for (const char* expected : {"+", "++"}) {
    EXPECT_TRUE(store_.Update(path_, add));
    EXPECT_EQ(store_.Read(path_, kAll), expected);
  }
  EXPECT_EQ(store_.Update(path_ + "/file", add).error, ENOTDIR);
  EXPECT_EQ(store_.Update(harness_->folder.path(), add).error, EISDIR);
}

TEST_P(FileStoreContract, ReplaceCheckedCreatesOrOverwritesAFile) {
  for (const char* contents : {"first", "second"}) {
    EXPECT_TRUE(store_.ReplaceChecked(path_, contents));
    EXPECT_EQ(store_.Read(path_, kAll), contents);
  }
}

TEST_P(FileStoreContract, ReplacePrivateCreatesOrOverwritesAFile) {
  const std::string folder = path_ + "/a";
  const std::string path = folder + "/private";
  EXPECT_EQ(store_.ReplacePrivate(path, "").error, ENOENT) << "no folder";
  ASSERT_TRUE(store_.CreatePrivateFolder(folder));
  ASSERT_TRUE(store_.Replace(folder + "/other", "other"));
  for (const std::string& contents : {std::string("a\0\xFF\r\n", 5), std::string(70'000, 'y'),
                                      std::string(), std::string("shorter")}) {
    const auto replaced = store_.ReplacePrivate(path, contents);
    EXPECT_EQ(replaced.error, 0);
    EXPECT_TRUE(replaced.synchronized);
    EXPECT_EQ(store_.Read(path, kAll), contents);
    EXPECT_EQ(store_.List(folder).size(), 2U) << "no temporary file";
  }
  const platform::Checked checked = store_.ReadChecked(path, kAll);
  EXPECT_EQ(checked.contents, "shorter");
  EXPECT_TRUE(checked.ownFile);
  EXPECT_EQ(store_.Read(folder + "/other", kAll), "other");
  EXPECT_EQ(store_.ReplacePrivate(folder, "new").error, EISDIR);
  EXPECT_EQ(store_.ReplacePrivate(path + "/file", "new").error, ENOTDIR);
  EXPECT_EQ(store_.Read(path, kAll), "shorter");
}

TEST_P(FileStoreContract, ReplacePrivateAndReplaceWorkOnTheSameFile) {
  ASSERT_TRUE(store_.Replace(path_, "public"));
  EXPECT_TRUE(store_.ReplacePrivate(path_, "private"));
  EXPECT_EQ(store_.Read(path_, kAll), "private");
  EXPECT_TRUE(store_.Replace(path_, "public"));
  EXPECT_EQ(store_.Read(path_, kAll), "public");
  EXPECT_TRUE(store_.Remove(path_));
  EXPECT_TRUE(store_.ReplacePrivate(path_, "private"));
  EXPECT_TRUE(store_.Remove(path_));
  EXPECT_FALSE(store_.Exists(path_));
}

TEST_P(FileStoreContract, MayReplaceIsTrueForFilesInTheUsersFolder) {
  EXPECT_TRUE(store_.MayReplace(path_)) << "no file";
  ASSERT_TRUE(store_.ReplacePrivate(path_, "private"));
  EXPECT_TRUE(store_.MayReplace(path_));
  EXPECT_FALSE(store_.MayReplace(path_ + "/file")) << "not a folder";
  EXPECT_FALSE(store_.MayReplace(harness_->folder / "missing/file"));
}

TEST_P(FileStoreContract, CreateNewNeverReplacesAFile) {
  using Created = platform::FileStore::Created;
  EXPECT_EQ(store_.CreateNew(path_, "first"), Created::kYes);
  EXPECT_EQ(store_.CreateNew(path_, "second"), Created::kExists);
  EXPECT_EQ(store_.Read(path_, kAll), "first");
  EXPECT_EQ(store_.CreateNew(harness_->folder.path(), ""), Created::kExists);
  EXPECT_EQ(store_.CreateNew(harness_->folder / "missing/file", ""), Created::kFailed);
  EXPECT_EQ(store_.List(harness_->folder.path()).size(), 1U) << "no temporary file";
}

TEST_P(FileStoreContract, ExistsIsTrueForFilesAndFolders) {
  EXPECT_FALSE(store_.Exists(path_));
  EXPECT_TRUE(store_.Exists(harness_->folder.path()));
  ASSERT_TRUE(store_.Replace(path_, ""));
  EXPECT_TRUE(store_.Exists(path_));
  ASSERT_TRUE(store_.Remove(path_));
  EXPECT_FALSE(store_.Exists(path_));
}

TEST_P(FileStoreContract, NeverReadsMoreThanTheLimit) {
  ASSERT_TRUE(store_.Replace(path_, "0123456789"));
  EXPECT_EQ(store_.Read(path_, 0), "");
  EXPECT_EQ(store_.Read(path_, 9), "012345678");
  EXPECT_EQ(store_.Read(path_, 10), "0123456789");
}

TEST_P(FileStoreContract, ReadCheckedTrustsTheUsersOwnFile) {
  EXPECT_EQ(store_.ReadChecked(path_, kAll).error, ENOENT);
  ASSERT_TRUE(store_.Replace(path_, "0123456789"));
  const platform::Checked checked = store_.ReadChecked(path_, 9);
  EXPECT_EQ(checked.contents, "012345678");
  EXPECT_EQ(checked.custody, platform::Custody::kTrusted);
  EXPECT_EQ(checked.error, 0);
  const platform::Checked folder = store_.ReadChecked(harness_->folder.path(), kAll);
  EXPECT_EQ(folder.contents, std::nullopt);
  EXPECT_EQ(folder.error, EISDIR);
}

TEST_P(FileStoreContract, CreatesAFolderAndItsParents) {
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(store_.CreateFolder(path_ + "/a/b"));
  EXPECT_TRUE(store_.Replace(path_ + "/a/b/file", "inside"));
  EXPECT_EQ(store_.Read(path_ + "/a/b/file", kAll), "inside");
  EXPECT_TRUE(store_.SynchronizeEntries(path_ + "/a/b/file", std::chrono::seconds(30)));
  EXPECT_EQ(store_.Read(path_ + "/a", kAll), std::nullopt) << "a folder";
  EXPECT_FALSE(store_.Replace(path_ + "/a", "new")) << "a folder";
}

TEST_P(FileStoreContract, CreateFolderFailsIfAFileIsInTheWay) {
  ASSERT_TRUE(store_.Replace(path_, "contents"));
  EXPECT_FALSE(store_.CreateFolder(path_));
  EXPECT_FALSE(store_.CreateFolder(path_ + "/below"));
  EXPECT_EQ(store_.Read(path_, kAll), "contents");
}

TEST_P(FileStoreContract, ReplaceFailsIfTheFolderIsMissing) {
  EXPECT_EQ(store_.Replace(path_ + "/file", "new").error, ENOENT);
  EXPECT_FALSE(store_.SynchronizeEntries(path_ + "/file", std::chrono::seconds(30)));
  EXPECT_EQ(store_.Read(path_ + "/file", kAll), std::nullopt);
}

TEST_P(FileStoreContract, ReplaceLeavesOtherFilesUnchanged) {
  ASSERT_TRUE(store_.Replace(path_, "one"));
  ASSERT_TRUE(store_.Replace(path_ + "2", "two"));
  EXPECT_EQ(store_.Read(path_, kAll), "one");
}

TEST_P(FileStoreContract, GrowingFilesKeepAllAppendedBytes) {
  const std::string folder = path_ + "/a";
  EXPECT_EQ(store_.OpenGrowing(folder + "/log", true), nullptr) << "no folder";
  ASSERT_TRUE(store_.CreatePrivateFolder(folder));
  EXPECT_TRUE(store_.CreatePrivateFolder(folder)) << "exists";
  EXPECT_EQ(store_.OpenGrowing(folder + "/log", false), nullptr) << "no file";
  for (const bool fresh : {true, false}) {
    const auto file = store_.OpenGrowing(folder + "/log", fresh);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->Append(std::string("a\0b", 3)));
    EXPECT_TRUE(file->Append(""));
    EXPECT_TRUE(file->Synchronize(std::chrono::seconds(30)));
    EXPECT_TRUE(file->Append("c"));
  }
  EXPECT_EQ(store_.Read(folder + "/log", kAll), std::string("a\0bca\0bc", 8));
  EXPECT_EQ(store_.OpenGrowing(folder + "/log", true), nullptr) << "exists";
}

TEST_P(FileStoreContract, FlushingAGrowingFileFailsAfterItIsRemoved) {
  const auto file = (store_.CreateFolder(path_), store_.OpenGrowing(path_ + "/log", true));
  ASSERT_NE(file, nullptr);
  ASSERT_TRUE(store_.Remove(path_ + "/log"));
  EXPECT_TRUE(file->Append("a"));
  EXPECT_FALSE(file->Synchronize(std::chrono::seconds(30)));
}

TEST_P(FileStoreContract, ListsAndRemovesFiles) {
  const std::string folder = path_ + "/a";
  EXPECT_TRUE(store_.List(folder).empty()) << "no folder";
  ASSERT_TRUE(store_.CreatePrivateFolder(folder));
  ASSERT_TRUE(store_.CreateFolder(folder + "/inner"));
  EXPECT_TRUE(store_.List(folder).empty());
  ASSERT_TRUE(store_.Replace(folder + "/two", "22") && store_.Replace(folder + "/one", "1"));
  const auto files = store_.List(folder);
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[0].name, "one");
  EXPECT_EQ(files[1].name, "two");
  EXPECT_EQ(files[1].bytes, 2U);
  EXPECT_TRUE(store_.Remove(folder + "/one"));
  EXPECT_FALSE(store_.Remove(folder + "/one"));
  EXPECT_EQ(store_.List(folder).size(), 1U);
}

TEST_P(FileStoreContract, IsSameFileComparesResolvedPaths) {
  for (const bool exists : {false, true}) {
    if (exists) {
      ASSERT_TRUE(store_.Replace(path_, "one"));
      ASSERT_TRUE(store_.Replace(path_ + "2", "two"));
    }
    const std::string folder = path_.substr(0, path_.rfind('/'));
    for (const char* same : {"/file.txt", "//file.txt", "/./file.txt", "/../"}) {
      std::string path = folder + same;
      if (path.ends_with("../")) path += folder.substr(folder.rfind('/') + 1) + "/file.txt";
      EXPECT_TRUE(store_.IsSameFile(path, path_)) << path;
      EXPECT_TRUE(store_.IsSameFile(path_, path)) << path;
    }
    EXPECT_FALSE(store_.IsSameFile(path_ + "2", path_));
    EXPECT_FALSE(store_.IsSameFile(folder, path_));
  }
}

TEST_P(FileStoreContract, RemoveUnfinishedKeepsOtherFiles) {
  ASSERT_TRUE(store_.Replace(path_, "contents"));
  const std::string folder = path_.substr(0, path_.rfind('/'));
  EXPECT_EQ(store_.RemoveUnfinished(folder), 0U);
  EXPECT_EQ(store_.RemoveUnfinished(folder + "/missing"), 0U);
  EXPECT_EQ(store_.Read(path_, kAll), "contents");
}

INSTANTIATE_TEST_SUITE_P(Files, FileStoreContract,
                         (Implementations<FileStoreHarness, OnDisk<HookedFileStore>,
                                          OnDisk<platform::posix::PosixFileStore>, InMemory>()),
                         kNameOf);

}  // namespace
}  // namespace quillet::test
