#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <random>
#include <thread>

#include "base/UniqueFd.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/platform/RunProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::platform::posix {
namespace {

using test::PutFile;
using test::TemporaryFolder;
namespace fs = std::filesystem;

constexpr std::size_t kAll = std::size_t{1} << 30;

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

/// Sets the file mode creation mask for one test.
class CreationMask {
 public:
  explicit CreationMask(mode_t mask) : before_(umask(mask)) {}
  ~CreationMask() { umask(before_); }
  CreationMask(const CreationMask&) = delete;
  CreationMask& operator=(const CreationMask&) = delete;

 private:
  mode_t before_;
};

/// Does something in a process of its own and gives its result, an exit status.
int InOwnProcess(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// Does something as a user to whom permissions apply. Root becomes nobody for it; root without the
/// capability to do so has none to bypass permissions either, and stays root.
bool AsOrdinaryUser(const std::function<bool()>& work) {
  constexpr id_t kNobody = 65534;
  constexpr int kNotPossible = 2;
  const int result = InOwnProcess([&] {
    if (geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) &&
        errno != EPERM) {
      return kNotPossible;
    }
    return work() ? 0 : 1;
  });
  EXPECT_NE(result, kNotPossible);
  return result == 0;
}

class PosixFileStoreTest : public testing::Test {
 protected:
  TemporaryFolder folder_;
  PosixFileStore store_;
};

TEST_F(PosixFileStoreTest, CreatesFoldersWithDefaultPermissions) {
  const CreationMask mask(027);
  EXPECT_TRUE(store_.CreateFolder(folder_ / "a/b/c"));
  EXPECT_EQ(ModeOf(folder_ / "a"), 0750U);
  EXPECT_EQ(ModeOf(folder_ / "a/b/c"), 0750U);
  for (const std::string& path : {folder_.path() + "/", std::string("/"), std::string("/dev")}) {
    EXPECT_TRUE(store_.CreateFolder(path)) << path;
  }
}

TEST_F(PosixFileStoreTest, ALinkToAFolderCountsAsAFolder) {
  fs::create_directory(folder_ / "real");
  fs::create_symlink("real", folder_ / "link");
  EXPECT_TRUE(store_.CreateFolder(folder_ / "link"));
  EXPECT_TRUE(store_.CreateFolder(folder_ / "link/below"));
  EXPECT_TRUE(fs::is_directory(folder_ / "real/below"));
}

TEST_F(PosixFileStoreTest, WhatIsNotAFolderStaysAndIsAFailure) {
  PutFile(folder_ / "file", "contents");
  fs::create_symlink("nowhere", folder_ / "dangling");
  EXPECT_FALSE(store_.CreateFolder(folder_ / "file"));
  EXPECT_FALSE(store_.CreateFolder(folder_ / "file/below"));
  EXPECT_FALSE(store_.CreateFolder(folder_ / "dangling"));
  EXPECT_FALSE(store_.CreateFolder(folder_ / "dangling/below"));
  EXPECT_FALSE(store_.CreateFolder(""));
  EXPECT_EQ(store_.Read(folder_ / "file", kAll), "contents");
  EXPECT_FALSE(fs::exists(folder_ / "nowhere"));
}

TEST_F(PosixFileStoreTest, AFolderThatMayNotBeMadeIsAFailure) {
  chmod(folder_.path().c_str(), 0555);
  EXPECT_FALSE(AsOrdinaryUser([&] { return store_.CreateFolder(folder_ / "new"); }));
}

TEST_F(PosixFileStoreTest, ReadsAFileWhoseSizeTheSystemDoesNotSay) {
  const auto status = store_.Read("/proc/self/status", kAll);
  ASSERT_TRUE(status.has_value());
  EXPECT_NE(status->find("\nUmask:"), std::string::npos);
}

TEST_F(PosixFileStoreTest, ReadsNothingThatIsNotAFileAndWaitsForNothing) {
  fs::create_directory(folder_ / "folder");
  fs::create_symlink("nowhere", folder_ / "dangling");
  mkfifo((folder_ / "fifo").c_str(), 0666);
  for (const std::string& path :
       {folder_ / "missing", folder_ / "folder", folder_ / "dangling", folder_ / "fifo",
        std::string("/dev/zero"), std::string("/dev/ptmx"), std::string()}) {
    EXPECT_EQ(store_.Read(path, kAll), std::nullopt) << path;
  }
}

TEST_F(PosixFileStoreTest, AFileThatMayNotBeReadGivesNothing) {
  PutFile(folder_ / "file", "secret");
  chmod((folder_ / "file").c_str(), 0);
  EXPECT_FALSE(AsOrdinaryUser([&] { return store_.Read(folder_ / "file", kAll).has_value(); }));
}

TEST_F(PosixFileStoreTest, ANewFileHasDefaultPermissions) {
  const CreationMask mask(027);
  EXPECT_TRUE(store_.Replace(folder_ / "file", "x"));
  EXPECT_EQ(ModeOf(folder_ / "file"), 0640U);
}

TEST_F(PosixFileStoreTest, AReplacedFileHandsItsPermissionsOn) {
  const std::string path = folder_ / "file";
  PutFile(path, "old");
  for (const mode_t mode : {0600U, 0666U, 0444U, 04755U}) {
    chmod(path.c_str(), mode);
    EXPECT_TRUE(store_.Replace(path, "new"));
    EXPECT_EQ(ModeOf(path), mode & 0777U);
  }
}

TEST_F(PosixFileStoreTest, AReplacedFileHandsItsGroupOnOrThePermissionsOfNone) {
  const std::string path = folder_ / "file";
  PutFile(path, "old");
  chmod(path.c_str(), 0640);
  constexpr gid_t kOther = 12345;
  if (chown(path.c_str(), static_cast<uid_t>(-1), kOther) != 0) GTEST_SKIP() << "not permitted";
  EXPECT_TRUE(store_.Replace(path, "new"));
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, kOther);
  EXPECT_EQ(ModeOf(path), 0640U);
}

TEST_F(PosixFileStoreTest, SomebodyElsesFileDoesNotLetOthersWrite) {
  const std::string path = folder_ / "file";
  PutFile(path, "old");
  chmod(path.c_str(), 0666);
  constexpr uid_t kOther = 12345;
  if (chown(path.c_str(), kOther, static_cast<gid_t>(-1)) != 0) GTEST_SKIP() << "not permitted";
  EXPECT_TRUE(store_.Replace(path, "new"));
  EXPECT_EQ(ModeOf(path), 0664U);
}

TEST_F(PosixFileStoreTest, ALinkIsItselfReplaced) {
  PutFile(folder_ / "elsewhere", "untouched");
  chmod((folder_ / "elsewhere").c_str(), 0600);
  const CreationMask mask(022);
  for (const char* target : {"elsewhere", "nowhere"}) {
    const std::string path = folder_ / (std::string("link-to-") + target);
    fs::create_symlink(target, path);
    EXPECT_TRUE(store_.Replace(path, "new"));
    EXPECT_FALSE(fs::is_symlink(path));
    EXPECT_EQ(ModeOf(path), 0600U) << "what the link led to may be private";
    EXPECT_EQ(store_.Read(path, kAll), "new");
  }
  EXPECT_EQ(store_.Read(folder_ / "elsewhere", kAll), "untouched");
  EXPECT_FALSE(fs::exists(folder_ / "nowhere"));
}

TEST_F(PosixFileStoreTest, AHardLinkKeepsTheOldContents) {
  PutFile(folder_ / "file", "old");
  fs::create_hard_link(folder_ / "file", folder_ / "other");
  EXPECT_TRUE(store_.Replace(folder_ / "file", "new"));
  EXPECT_EQ(store_.Read(folder_ / "other", kAll), "old");
  EXPECT_EQ(folder_.Names().size(), 2U);
}

TEST_F(PosixFileStoreTest, AFolderIsNotReplaced) {
  fs::create_directory(folder_ / "target");
  EXPECT_FALSE(store_.Replace(folder_ / "target", "new"));
  EXPECT_FALSE(store_.Replace(folder_ / "target/", "new"));
  EXPECT_FALSE(store_.Replace(folder_ / "target/.", "new"));
  EXPECT_FALSE(store_.Replace(folder_ / "target/..", "new"));
  EXPECT_TRUE(fs::is_empty(folder_ / "target"));
  EXPECT_EQ(folder_.Names(), std::vector<std::string>{"target"});
}

TEST_F(PosixFileStoreTest, WithoutAFolderNothingIsWritten) {
  for (const std::string& path : {folder_ / "missing/file", std::string("file"), std::string()}) {
    EXPECT_FALSE(store_.Replace(path, "new")) << path;
  }
  EXPECT_TRUE(folder_.Names().empty());
}

TEST_F(PosixFileStoreTest, TheLongestNameThatTheFolderTakesCanBeWritten) {
  const auto longest = static_cast<std::size_t>(pathconf(folder_.path().c_str(), _PC_NAME_MAX));
  for (const std::size_t length : {longest, longest - 1, longest - 22, longest - 23}) {
    EXPECT_TRUE(store_.Replace(folder_ / std::string(length, 'n'), "x")) << length;
  }
  EXPECT_EQ(folder_.Names().size(), 4U);
}

TEST_F(PosixFileStoreTest, ANameThatIsTooLongIsAFailure) {
  const auto longest = static_cast<std::size_t>(pathconf(folder_.path().c_str(), _PC_NAME_MAX));
  EXPECT_FALSE(store_.Replace(folder_ / std::string(longest + 1, 'n'), "x"));
  EXPECT_FALSE(store_.Replace(folder_ / std::string(100'000, 'n'), "x"));
  EXPECT_TRUE(folder_.Names().empty());
}

TEST_F(PosixFileStoreTest, AFolderThatMayNotBeWrittenKeepsItsFile) {
  PutFile(folder_ / "file", "old");
  chmod((folder_ / "file").c_str(), 0666);
  chmod(folder_.path().c_str(), 0555);
  EXPECT_FALSE(AsOrdinaryUser([&] { return store_.Replace(folder_ / "file", "new"); }));
  EXPECT_EQ(store_.Read(folder_ / "file", kAll), "old");
}

TEST_F(PosixFileStoreTest, AFolderThatMayBeWrittenAndNotListedWillDo) {
  chmod(folder_.path().c_str(), 0333);
  EXPECT_TRUE(AsOrdinaryUser([&] { return store_.Replace(folder_ / "file", "new"); }));
  chmod(folder_.path().c_str(), 0755);
  EXPECT_EQ(store_.Read(folder_ / "file", kAll), "new");
  EXPECT_EQ(folder_.Names(), std::vector<std::string>{"file"});
}

TEST_F(PosixFileStoreTest, AWriteThatFailsHalfWayChangesNothing) {
  PutFile(folder_ / "file", "old");
  EXPECT_EQ(InOwnProcess([&] {
              // The limit lets a first write end short and fails the next one.
              const rlimit limit{100'000, 100'000};
              setrlimit(RLIMIT_FSIZE, &limit);
              std::signal(SIGXFSZ, SIG_IGN);
              return store_.Replace(folder_ / "file", std::string(100'001, 'n')) ? 1 : 0;
            }),
            0);
  EXPECT_EQ(store_.Read(folder_ / "file", kAll), "old");
  EXPECT_EQ(folder_.Names(), std::vector<std::string>{"file"});
}

TEST_F(PosixFileStoreTest, AFullDeviceChangesNothing) {
  if (!test::OwnNamespaceWorks()) GTEST_SKIP() << "no small file system can be mounted here";
  const std::string mount = folder_ / "small";
  fs::create_directory(mount);
  // A file system of 256 KiB: the first file fits, the second does not fit beside it.
  const auto replace = [&](const std::string& bytes) {
    return std::string(PLATFORM_HELPER) + " replace " + mount + "/file " + bytes;
  };
  const test::ProgramResult result = test::RunProgram(
      test::InOwnNamespace({"--size", "262144", "--tmpfs", mount},
                           {"sh", "-c",
                            replace("150000") + "; echo $?; " + replace("150001") +
                                "; echo $?; wc -c <" + mount + "/file; ls -A " + mount}));
  EXPECT_EQ(result.output, "0\n1\n150000\nfile\n") << result.errors;
}

TEST_F(PosixFileStoreTest, AProcessKilledAtAnyInstantLeavesTheOldFileOrTheNew) {
  const std::string path = folder_ / "file";
  const std::string oldContents(200'000, 'o');
  const std::string newContents(350'000, 'n');
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(store_.Replace(path, newContents));
  ASSERT_TRUE(store_.Replace(path, oldContents));
  const auto both =
      std::chrono::ceil<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
  std::minstd_rand random(20260305);
  std::uniform_int_distribution<std::int64_t> instant(0, 2 * both.count());
  int seenOld = 0;
  int seenNew = 0;
  for (int round = 0; round < 200; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      while (true) {
        store_.Replace(path, newContents);
        store_.Replace(path, oldContents);
      }
    }
    std::this_thread::sleep_for(std::chrono::microseconds(instant(random)));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const auto contents = store_.Read(path, kAll);
    ASSERT_TRUE(contents.has_value());
    ASSERT_TRUE(*contents == oldContents || *contents == newContents)
        << contents->size() << " bytes in round " << round;
    ++(*contents == oldContents ? seenOld : seenNew);
  }
  EXPECT_GT(seenOld, 0);
  EXPECT_GT(seenNew, 0);
  for (const std::string& name : folder_.Names()) {
    EXPECT_TRUE(name == "file" || name.starts_with(".file.quillet-")) << name;
  }
}

TEST_F(PosixFileStoreTest, AReaderNeverSeesAPartWhileTwoThreadsReplace) {
  const std::string path = folder_ / "file";
  const std::string contents[] = {std::string(100'000, 'a'), std::string(120'000, 'b')};
  ASSERT_TRUE(store_.Replace(path, contents[0]));
  std::atomic<int> failures = 0;
  std::atomic<int> running = 2;
  const auto write = [&](const std::string& own) {
    for (int i = 0; i < 50; ++i) failures += store_.Replace(path, own) ? 0 : 1;
    --running;
  };
  std::thread first(write, contents[0]);
  std::thread second(write, contents[1]);
  while (running > 0) {
    const auto seen = store_.Read(path, kAll);
    EXPECT_TRUE(seen == contents[0] || seen == contents[1]);
  }
  first.join();
  second.join();
  EXPECT_EQ(failures.load(), 0);
}

TEST_F(PosixFileStoreTest, DescriptorZeroIsNeverUsed) {
  EXPECT_EQ(InOwnProcess([&] {
              close(STDIN_FILENO);
              const UniqueFd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
              if (!file.IsOpen() || file.Get() <= STDERR_FILENO) return 1;
              if (!(fcntl(file.Get(), F_GETFD) & FD_CLOEXEC)) return 2;
              return fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 3;
            }),
            0);
}

}  // namespace
}  // namespace quillet::platform::posix
