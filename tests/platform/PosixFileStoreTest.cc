#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <random>
#include <thread>
#include <tuple>

#ifdef __linux__
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

#include "base/UniqueFd.h"
#include "platform/posix/PathWalk.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/platform/Child.h"
#include "tests/platform/RunProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::platform::posix {
namespace {

namespace fs = std::filesystem;
using test::Child;
using Names = std::vector<std::string>;

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

constexpr uid_t kNobody = 65534;

/// Runs `work` in a child process that is subject to file permissions. If the test runs as root,
/// the child becomes the user nobody. In containers that do not permit this, the child stays root,
/// but root has no capabilities there, so file permissions apply to it.
bool AsOrdinaryUser(const std::function<bool()>& work) {
  constexpr int kNotPossible = 2;
  const int result =
      Child([&] {
        if (geteuid() == 0 &&
            (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) &&
            errno != EPERM) {
          return kNotPossible;
        }
        return work() ? 0 : 1;
      }).Wait();
  EXPECT_NE(result, kNotPossible);
  return result == 0;
}

/// Makes the user of AsOrdinaryUser the owner of a file or folder. @return false if not permitted
bool GiveToOrdinaryUser(const std::string& path) {
  return geteuid() != 0 || chown(path.c_str(), kNobody, kNobody) == 0;
}

/// Runs `work` as another user in a child process. Needs root privileges.
/// @return the result of `work`
int AsUser(uid_t user, const std::function<int()>& work) {
  return Child([&] {
           if (setgroups(0, nullptr) != 0 || setuid(user) != 0) return -1;
           return work();
         })
      .Wait();
}

#ifdef __linux__
/// Makes two system calls fail with `error` in this process. @return true on success
bool Refuse(long call, long otherCall, int error) {
  const auto refusal = SECCOMP_RET_ERRNO | static_cast<unsigned>(error);
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(otherCall), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, refusal),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{std::size(rules), rules};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}
#endif

class PosixFileStoreTest : public testing::Test {
 protected:
  std::string Put(const std::string& name, const std::string& contents, mode_t mode) const {
    const std::string path = folder_.Put(name, contents);
    chmod(path.c_str(), mode);
    return path;
  }

  test::TemporaryFolder folder_;
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

TEST_F(PosixFileStoreTest, OnlyTheUserCanWriteToNewFoldersAndFiles) {
  for (const auto& [umask, folder, file] :
       {std::tuple(0U, 0755U, 0644U), {002U, 0755U, 0644U}, {077U, 0700U, 0600U}}) {
    const CreationMask mask(umask);
    const std::string parent = folder_ / std::to_string(umask);
    EXPECT_TRUE(store_.CreateFolder(parent + "/inner"));
    EXPECT_TRUE(store_.Replace(parent + "/inner/file", "new"));
    EXPECT_EQ(ModeOf(parent), folder) << umask;
    EXPECT_EQ(ModeOf(parent + "/inner"), folder) << umask;
    EXPECT_EQ(ModeOf(parent + "/inner/file"), file) << umask;
  }
}

TEST_F(PosixFileStoreTest, CreateFolderFollowsOnlyLinksToFolders) {
  fs::create_directory(folder_ / "real");
  fs::create_symlink("real", folder_ / "link");
  fs::create_symlink("nowhere", folder_ / "dangling");
  EXPECT_TRUE(store_.CreateFolder(folder_ / "link"));
  EXPECT_TRUE(store_.CreateFolder(folder_ / "link/below"));
  EXPECT_TRUE(fs::is_directory(folder_ / "real/below"));
  for (const std::string& path :
       {folder_ / "dangling", folder_ / "dangling/below", std::string()}) {
    EXPECT_FALSE(store_.CreateFolder(path)) << path;
  }
  EXPECT_FALSE(fs::exists(folder_ / "nowhere"));
}

TEST_F(PosixFileStoreTest, ReadsAFileOfUnknownSize) {
  const auto status = store_.Read("/proc/self/status", kAll);
  ASSERT_TRUE(status.has_value());
  EXPECT_NE(status->find("\nUmask:"), std::string::npos);
}

TEST_F(PosixFileStoreTest, DoesNotReadPipesDevicesOrBrokenLinks) {
  fs::create_symlink("nowhere", folder_ / "dangling");
  mkfifo((folder_ / "fifo").c_str(), 0666);
  for (const std::string& path : {folder_ / "dangling", folder_ / "fifo", std::string("/dev/zero"),
                                  std::string("/dev/ptmx"), std::string()}) {
    EXPECT_EQ(store_.Read(path, kAll), std::nullopt) << path;
  }
}

TEST_F(PosixFileStoreTest, TrustsOnlyFilesThatOtherUsersCannotWriteTo) {
  constexpr uid_t kUser = 1;
  constexpr uid_t kOther = 2;
  const struct {
    const char* path;  // file or folder whose owner and mode are changed
    mode_t mode;
    uid_t owner;
    Custody custody;
  } cases[] = {
      {"parent/folder/file", 0644, kUser, Custody::kTrusted},
      {"parent/folder/file", 0646, kUser, Custody::kForeign},
      {"parent/folder/file", 0664, kUser, Custody::kForeign},
      {"parent/folder/file", 0644, kOther, Custody::kForeign},
      {"parent/folder/file", 0644, 0, Custody::kTrusted},
      {"parent/folder", 0775, kUser, Custody::kTrusted},  // ReadChecked changes the mode to 0755
      {"parent/folder", 0777, kUser, Custody::kForeign},  // any user may have created the file
      {"parent/folder", 01777, kUser, Custody::kForeign},
      {"parent/folder", 0755, kOther, Custody::kForeign},
      {"parent/folder", 0755, 0, Custody::kTrusted},
      {"parent", 0777, kUser, Custody::kForeign},
      {"parent", 01777, kUser, Custody::kTrusted},
      {"parent", 0755, kOther, Custody::kForeign},  // the owner may rename "folder"
      {"parent", 01777, kOther, Custody::kForeign},
      {"parent", 01777, 0, Custody::kTrusted},
      {"parent", 0755, 65534, Custody::kTrusted},  // in a container, root may appear as this user
  };
  for (const auto& each : cases) {
    fs::create_directories(folder_ / "parent/folder");
    const std::string file = folder_.Put("parent/folder/file", "contents");
    for (const char* path : {"parent", "parent/folder", "parent/folder/file"}) {
      const uid_t owner = path == std::string_view(each.path) ? each.owner : kUser;
      if (chown((folder_ / path).c_str(), owner, kOther) != 0) GTEST_SKIP() << "not permitted";
    }
    chmod((folder_ / each.path).c_str(), each.mode);
    const bool isNamed = each.owner == kOther && each.path != std::string_view("parent");
    const int custody = AsUser(kUser, [&] {
      const Checked checked = store_.ReadChecked(file, kAll);
      const bool named = checked.owner == (isNamed ? UserName(kOther) : "");
      return named && checked.contents == "contents" ? static_cast<int>(checked.custody) : -1;
    });
    EXPECT_EQ(custody, static_cast<int>(each.custody))
        << each.path << " " << std::oct << each.mode << " " << each.owner;
    fs::remove_all(folder_ / "parent");
  }
}

TEST_F(PosixFileStoreTest, TrustsAGroupThatContainsOnlyThisUser) {
  constexpr uid_t kUser = 1;  // on Debian, user 1's primary group has the same name and ID
  constexpr gid_t kOtherGroup = 2;
  const std::string file = Put("file", "contents", 0664);
  for (const gid_t group : {gid_t{kUser}, kOtherGroup}) {
    if (chown(file.c_str(), kUser, group) != 0) GTEST_SKIP() << "not permitted";
    const int custody =
        AsUser(kUser, [&] { return static_cast<int>(store_.ReadChecked(file, kAll).custody); });
    EXPECT_EQ(custody, static_cast<int>(group == kUser ? Custody::kTrusted : Custody::kForeign));
  }
}

#ifdef __linux__
TEST_F(PosixFileStoreTest, RecognizesTheUserPrivateGroupByItsMembers) {
  constexpr uid_t kUser = 1;
  constexpr uid_t kNameless = 123456;
  constexpr int kNotPossible = 2;
  const std::string file = Put("file", "contents", 0664);
  const std::string name = UserName(kUser);
  const struct {
    uid_t user;
    std::string groups;  // contents of /etc/group
    Custody custody;
  } cases[] = {
      {kUser, name + ":x:1:", Custody::kTrusted},
      {kUser, name + ":x:1:" + name, Custody::kTrusted},
      {kUser, name + ":x:1:" + name + ",root", Custody::kForeign},
      {kUser, name + ":x:1:root", Custody::kForeign},
      {kUser, "staff:x:1:", Custody::kForeign},
      {kUser, "", Custody::kForeign},
      {kNameless, "", Custody::kTrusted},
      {kNameless, "staff:x:123456:", Custody::kForeign},
      {kNameless, "staff:x:123456:" + name, Custody::kForeign},
  };
  for (const auto& each : cases) {
    const std::string groups = Put("groups", each.groups + "\n", 0644);
    if (chown(file.c_str(), each.user, each.user) != 0) GTEST_SKIP() << "not permitted";
    const int custody =
        Child([&] {
          if (unshare(CLONE_NEWNS) != 0 ||
              mount(nullptr, "/", nullptr, MS_PRIVATE | MS_REC, nullptr) != 0 ||
              mount(groups.c_str(), "/etc/group", nullptr, MS_BIND, nullptr) != 0 ||
              setgroups(0, nullptr) != 0 || setgid(each.user) != 0 || setuid(each.user) != 0) {
            return kNotPossible;
          }
          return static_cast<int>(store_.ReadChecked(file, kAll).custody);
        }).Wait();
    if (custody == kNotPossible) GTEST_SKIP() << "no mount namespace";
    EXPECT_EQ(custody, static_cast<int>(each.custody)) << each.user << " " << each.groups;
  }
}
#endif

TEST_F(PosixFileStoreTest, ReadCheckedRevokesWritePermissionOfOthers) {
  if (!GiveToOrdinaryUser(folder_.path())) GTEST_SKIP() << "not permitted";
  for (const mode_t mode : {0775U, 02777U, 0700U}) {
    chmod(folder_.path().c_str(), mode);
    AsOrdinaryUser([&] { return store_.ReadChecked(folder_ / "missing", kAll).error == ENOENT; });
    EXPECT_EQ(ModeOf(folder_.path()), mode & ~022U);
  }
}

TEST_F(PosixFileStoreTest, ReadCheckedKeepsTheModeOfSharedFolders) {
  const std::string file = Put("file", "contents", 0644);
  for (const mode_t mode : {01777U, 0775U, 0777U, 02775U}) {
    // If root does not own the folder, ReadChecked changes modes other than 01777.
    if (mode != 01777 && geteuid() != 0) continue;
    chmod(folder_.path().c_str(), mode);
    const Custody custody = store_.ReadChecked(file, kAll).custody;
    EXPECT_EQ(ModeOf(folder_.path()), mode);
    EXPECT_TRUE(custody == Custody::kForeign || !(mode & S_IWOTH)) << mode;
  }
}

TEST_F(PosixFileStoreTest, TrustsAFolderAfterRevokingOthersWritePermission) {
  const std::string file = Put("file", "contents", 0644);
  if (!GiveToOrdinaryUser(folder_.path())) GTEST_SKIP() << "not permitted";
  chmod(folder_.path().c_str(), 0777);
  const auto isTrusted = [&] {
    return store_.ReadChecked(file, kAll).custody == Custody::kTrusted;
  };
  EXPECT_FALSE(AsOrdinaryUser(isTrusted));
  EXPECT_EQ(ModeOf(folder_.path()), 0755U);
  EXPECT_TRUE(AsOrdinaryUser(isTrusted));
}

TEST_F(PosixFileStoreTest, ReadCheckedRefusesLinksAndSpecialFiles) {
  folder_.Put("file", "contents");
  fs::create_symlink("file", folder_ / "link");
  fs::create_symlink("nowhere", folder_ / "dangling");
  mkfifo((folder_ / "fifo").c_str(), 0666);
  for (const auto& [path, error] : {std::pair(folder_ / "link", ELOOP),
                                    {folder_ / "dangling", ELOOP},
                                    {folder_ / "fifo", kNotRegular},
                                    {std::string("/dev/null"), kNotRegular}}) {
    const Checked checked = store_.ReadChecked(path, kAll);
    EXPECT_EQ(checked.contents, std::nullopt) << path;
    EXPECT_EQ(checked.error, error) << path;
  }
}

TEST_F(PosixFileStoreTest, RefusesLinksOwnedByOthersInStickyFolders) {
  fs::create_directories(folder_ / "open/real");
  folder_.Put("open/real/file", "contents");
  fs::create_symlink("real", folder_ / "open/folder");
  fs::create_symlink("real/file", folder_ / "open/file");
  for (const mode_t mode : {0755U, 01777U}) {
    chmod((folder_ / "open").c_str(), mode);
    for (const uid_t owner : {geteuid(), uid_t{1}}) {
      for (const char* link : {"open/folder", "open/file"}) {
        if (lchown((folder_ / link).c_str(), owner, owner) != 0) GTEST_SKIP() << "not permitted";
      }
      const bool follows = owner != 1 || mode == 0755;
      for (const char* path : {"open/folder/file", "open/file"}) {
        EXPECT_EQ(store_.Read(folder_ / path, kAll).has_value(), follows) << path << mode << owner;
      }
    }
  }
}

TEST_F(PosixFileStoreTest, FollowsLinksOwnedByRootInAnyFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  fs::create_directory(folder_ / "open");
  Put("file", "contents", 0644);
  fs::create_symlink("../file", folder_ / "open/link");
  chmod((folder_ / "open").c_str(), 01777);
  for (const uid_t owner : {uid_t{0}, uid_t{1}}) {
    if (lchown((folder_ / "open/link").c_str(), owner, owner) != 0) GTEST_SKIP() << "not permitted";
    EXPECT_EQ(AsOrdinaryUser([&] { return store_.Read(folder_ / "open/link", kAll).has_value(); }),
              owner == 0);
  }
}

TEST_F(PosixFileStoreTest, FollowsAtMostFortyLinks) {
  folder_.Put("0", "contents");
  for (int i = 1; i <= 41; ++i) {
    fs::create_symlink(std::to_string(i - 1), folder_ / std::to_string(i));
  }
  fs::create_symlink("loop/loop", folder_ / "loop");
  EXPECT_EQ(store_.Read(folder_ / "40", kAll), "contents");
  EXPECT_EQ(store_.Read(folder_ / "41", kAll), std::nullopt);
  EXPECT_EQ(store_.Read(folder_ / "loop", kAll), std::nullopt);
}

TEST_F(PosixFileStoreTest, ReplaceCheckedRefusesLinksAndSpecialFiles) {
  folder_.Put("file", "contents");
  fs::create_symlink("file", folder_ / "link");
  fs::create_symlink("nowhere", folder_ / "dangling");
  fs::create_directory(folder_ / "folder");
  mkfifo((folder_ / "fifo").c_str(), 0666);
  for (const auto& [name, error] :
       {std::pair("link", ELOOP), {"dangling", ELOOP}, {"folder", EISDIR}, {"fifo", kNotRegular}}) {
    EXPECT_EQ(store_.ReplaceChecked(folder_ / name, "new").error, error) << name;
  }
  EXPECT_EQ(store_.Read(folder_ / "file", kAll), "contents");
  EXPECT_EQ(folder_.Names().size(), 5U);
  EXPECT_EQ(store_.ReplaceChecked(folder_ / "file", "new").error, 0);
  EXPECT_EQ(store_.ReplaceChecked(folder_ / "another", "new").error, 0);
}

TEST_F(PosixFileStoreTest, UpdateLeavesUnreadableFilesUnchanged) {
  fs::create_directory(folder_ / "folder");
  mkfifo((folder_ / "fifo").c_str(), 0666);
  Put("secret", "contents", 0);
  chmod(folder_.path().c_str(), 0777);
  for (const auto& [name, error] :
       {std::pair("folder", EISDIR), {"fifo", kNotRegular}, {"secret", EACCES}}) {
    EXPECT_TRUE(AsOrdinaryUser([&, name = name, error = error] {
      return store_.Update(folder_ / name, [](auto) { return "new"; }).error == error;
    })) << name;
  }
  chmod((folder_ / "secret").c_str(), 0600);
  EXPECT_EQ(store_.Read(folder_ / "secret", kAll), "contents");
}

TEST_F(PosixFileStoreTest, UpdateReplacesALinkOwnedByTheUser) {
  Put("target", "old", 0600);
  fs::create_symlink("target", folder_ / "link");
  fs::create_symlink("nowhere", folder_ / "dangling");
  const auto add = [](std::string_view old) { return std::string(old) + " new"; };
  EXPECT_TRUE(store_.Update(folder_ / "link", add));
  EXPECT_TRUE(store_.Update(folder_ / "dangling", add));
  EXPECT_EQ(store_.Read(folder_ / "link", kAll), "old new");
  EXPECT_EQ(store_.Read(folder_ / "dangling", kAll), " new");
  EXPECT_EQ(store_.Read(folder_ / "target", kAll), "old");
  EXPECT_EQ(ModeOf(folder_ / "link"), 0600U);
}

TEST_F(PosixFileStoreTest, ReplaceKeepsPermissions) {
  const CreationMask mask(027);
  const std::string path = folder_ / "file";
  EXPECT_TRUE(store_.Replace(path, "first"));
  EXPECT_EQ(ModeOf(path), 0640U);
  for (const mode_t mode : {0600U, 0666U, 0444U, 04755U}) {
    chmod(path.c_str(), mode);
    EXPECT_TRUE(store_.Replace(path, "new"));
    EXPECT_EQ(ModeOf(path), mode & 0777U);
  }
}

TEST_F(PosixFileStoreTest, ReplaceKeepsTheGroupButNotTheOwner) {
  constexpr uid_t kOther = 12345;
  constexpr uid_t kUnchanged = static_cast<uid_t>(-1);
  const std::string path = Put("file", "old", 0640);
  if (chown(path.c_str(), kUnchanged, kOther) != 0) GTEST_SKIP() << "not permitted";
  EXPECT_TRUE(store_.Replace(path, "new"));
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, kOther);
  EXPECT_EQ(ModeOf(path), 0640U);

  const std::string foreign = Put("foreign", "old", 0666);
  if (chown(foreign.c_str(), kOther, kUnchanged) != 0) GTEST_SKIP() << "not permitted";
  EXPECT_TRUE(store_.Replace(foreign, "new"));
  EXPECT_EQ(ModeOf(foreign), 0664U) << "other users lose write access";
}

TEST_F(PosixFileStoreTest, ReplacesALinkInsteadOfItsTarget) {
  Put("elsewhere", "untouched", 0600);
  const CreationMask mask(022);
  for (const char* target : {"elsewhere", "nowhere"}) {
    const std::string path = folder_ / (std::string("link-to-") + target);
    fs::create_symlink(target, path);
    EXPECT_TRUE(store_.Replace(path, "new"));
    EXPECT_FALSE(fs::is_symlink(path));
    EXPECT_EQ(ModeOf(path), 0600U) << "the link's target may be private";
    EXPECT_EQ(store_.Read(path, kAll), "new");
  }
  EXPECT_EQ(store_.Read(folder_ / "elsewhere", kAll), "untouched");
  EXPECT_FALSE(fs::exists(folder_ / "nowhere"));
}

TEST_F(PosixFileStoreTest, ReplaceKeepsTheOldContentsOfOtherHardLinks) {
  const std::string path = folder_.Put("file", "old");
  fs::create_hard_link(path, folder_ / "other");
  EXPECT_TRUE(store_.Replace(path, "new"));
  EXPECT_EQ(store_.Read(folder_ / "other", kAll), "old");
  EXPECT_EQ(folder_.Names().size(), 2U);
}

TEST_F(PosixFileStoreTest, ReplaceRefusesFoldersAndRelativePaths) {
  fs::create_directory(folder_ / "target");
  for (const std::string& path : {folder_ / "target", folder_ / "target/", folder_ / "target/.",
                                  folder_ / "target/..", std::string("file"), std::string()}) {
    EXPECT_FALSE(store_.Replace(path, "new")) << path;
  }
  EXPECT_TRUE(fs::is_empty(folder_ / "target"));
  EXPECT_EQ(folder_.Names(), Names{"target"});
}

TEST_F(PosixFileStoreTest, ReplaceAcceptsNamesUpToTheLengthLimit) {
  const auto longest = static_cast<std::size_t>(pathconf(folder_.path().c_str(), _PC_NAME_MAX));
  for (const std::size_t length : {longest, longest - 1, longest - 22, longest - 23}) {
    EXPECT_TRUE(store_.Replace(folder_ / std::string(length, 'n'), "x")) << length;
  }
  for (const std::size_t length : {longest + 1, std::size_t{100'000}}) {
    EXPECT_FALSE(store_.Replace(folder_ / std::string(length, 'n'), "x")) << length;
  }
  EXPECT_EQ(folder_.Names().size(), 4U);
}

TEST_F(PosixFileStoreTest, ReadCreateAndReplaceFailWithoutPermission) {
  const std::string secret = Put("secret", "old", 0);
  const std::string file = Put("file", "old", 0666);
  EXPECT_FALSE(AsOrdinaryUser([&] { return store_.Read(secret, kAll).has_value(); }));
  chmod(folder_.path().c_str(), 0555);
  EXPECT_FALSE(AsOrdinaryUser([&] { return store_.CreateFolder(folder_ / "new"); }));
  EXPECT_TRUE(AsOrdinaryUser([&] { return store_.Replace(file, "new").error == EACCES; }));
  EXPECT_EQ(store_.Read(file, kAll), "old");
}

TEST_F(PosixFileStoreTest, ReturnsTheOwnerOfTheFileOrItsFolder) {
  const std::string file = Put("file", "", 0600);
  EXPECT_EQ(store_.Owner(file), store_.Owner(folder_ / "missing"));
  EXPECT_EQ(store_.Owner("/proc/1/status"), "root");
  EXPECT_EQ(store_.Owner("/missing/folder"), "");
}

TEST_F(PosixFileStoreTest, ReturnsTheForeignOwnerOfALinkOrFolder) {
  constexpr uid_t kOther = 1;
  constexpr uid_t kTarget = 2;
  fs::create_directory(folder_ / "theirs");
  folder_.Put("theirs/file", "");
  folder_.Put("target", "");
  fs::create_symlink("target", folder_ / "link");
  for (const auto& [path, owner] :
       {std::pair("theirs", kOther), {"target", kTarget}, {"link", kOther}}) {
    if (lchown((folder_ / path).c_str(), owner, owner) != 0) GTEST_SKIP() << "not permitted";
  }
  EXPECT_EQ(store_.Owner(folder_ / "link"), UserName(kOther));
  EXPECT_EQ(store_.Owner(folder_ / "theirs/file"), UserName(kOther));
}

TEST_F(PosixFileStoreTest, ReplaceWorksInAFolderThatCannotBeListed) {
  chmod(folder_.path().c_str(), 0333);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    const auto replaced = store_.Replace(folder_ / "file", "new");
    return replaced.error == 0 && !replaced.synchronized;
  }));
  EXPECT_FALSE(AsOrdinaryUser(
      [&] { return store_.SynchronizeEntries(folder_ / "file", std::chrono::seconds(30)); }));
  chmod(folder_.path().c_str(), 0755);
  EXPECT_EQ(store_.Read(folder_ / "file", kAll), "new");
  EXPECT_EQ(folder_.Names(), Names{"file"});
}

TEST_F(PosixFileStoreTest, FlushesAGrowingFileOnlyIfItsFolderIsReadable) {
  chmod(folder_.path().c_str(), 0777);
  for (const mode_t mode : {0700U, 0300U}) {
    EXPECT_EQ(AsOrdinaryUser([&] {
                const std::string folder = folder_ / std::to_string(mode);
                const bool created = store_.CreatePrivateFolder(folder);
                chmod(folder.c_str(), mode);
                const auto file = store_.OpenGrowing(folder + "/file", true);
                return created && file && file->Append("a") &&
                       file->Synchronize(std::chrono::seconds(30));
              }),
              mode == 0700U);
  }
}

TEST_F(PosixFileStoreTest, FlushesAFileWhoseParentsCannotBeFlushed) {
  // For /proc/self, fsync() fails with EINVAL. For an unreadable folder, open() fails with EACCES.
  const std::string path = "/proc/self/root" + folder_.path() + "/private/inner/file";
  chmod(folder_.path().c_str(), 0755);
  fs::create_directories(folder_ / "private/inner");
  chmod((folder_ / "private/inner").c_str(), 0777);
  chmod((folder_ / "private").c_str(), 0711);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    const auto file = store_.OpenGrowing(path, true);
    return file && file->Append("a") && file->Synchronize(std::chrono::seconds(30)) &&
           store_.SynchronizeEntries(path, std::chrono::seconds(30));
  }));
  // Now the user can write to "private" and may have created "inner", so "private" must be flushed.
  chmod((folder_ / "private").c_str(), 0333);
  EXPECT_FALSE(
      AsOrdinaryUser([&] { return store_.SynchronizeEntries(path, std::chrono::seconds(30)); }));
}

TEST_F(PosixFileStoreTest, FlushesAFileReachedThroughAnotherUsersLink) {
  constexpr uid_t kOther = 1;  // for example, the owner of a home folder on a file server
  fs::create_directories(folder_ / "home/real");
  folder_.Put("home/real/file", "contents");
  fs::create_symlink("real", folder_ / "home/link");
  for (const char* path : {"home", "home/link"}) {
    if (lchown((folder_ / path).c_str(), kOther, kOther) != 0) GTEST_SKIP() << "not permitted";
  }
  EXPECT_TRUE(store_.SynchronizeEntries(folder_ / "home/link/file", std::chrono::seconds(30)));
}

TEST_F(PosixFileStoreTest, FailedWriteChangesNothing) {
  const std::string path = folder_.Put("file", "old");
  EXPECT_EQ(Child([&] {
              // The write that reaches the limit is incomplete. The next write fails.
              const rlimit limit{100'000, 100'000};
              setrlimit(RLIMIT_FSIZE, &limit);
              std::signal(SIGXFSZ, SIG_IGN);
              return store_.Replace(path, std::string(100'001, 'n')).error == EFBIG ? 0 : 1;
            }).Wait(),
            0);
  EXPECT_EQ(store_.Read(path, kAll), "old");
  EXPECT_EQ(folder_.Names(), Names{"file"});
}

TEST_F(PosixFileStoreTest, ReplaceOnAFullDeviceChangesNothing) {
  if (!test::OwnNamespaceWorks()) GTEST_SKIP() << "no small file system can be mounted here";
  const std::string mount = folder_ / "small";
  fs::create_directory(mount);
  // A file system of 256 KiB has room for the old file or the new one, but not for both.
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

TEST_F(PosixFileStoreTest, KilledProcessLeavesTheOldOrTheNewFile) {
  const std::string path = folder_ / "file";
  const std::string oldContents(200'000, 'o');
  const std::string newContents(350'000, 'n');
  const auto replaceBoth = [&] {
    return store_.Replace(path, newContents) && store_.Replace(path, oldContents);
  };
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(replaceBoth());
  const auto both =
      std::chrono::ceil<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
  std::minstd_rand random(20260305);
  std::uniform_int_distribution<std::int64_t> instant(0, 2 * both.count());
  int seenOld = 0;
  int seenNew = 0;
  for (int round = 0; round < 200; ++round) {
    Child child([&] {
      while (replaceBoth()) continue;
      return 1;
    });
    std::this_thread::sleep_for(std::chrono::microseconds(instant(random)));
    child.Kill();
    const auto contents = store_.Read(path, kAll);
    ASSERT_TRUE(contents == oldContents || contents == newContents) << "in round " << round;
    ++(contents == oldContents ? seenOld : seenNew);
  }
  EXPECT_GT(seenOld, 0);
  EXPECT_GT(seenNew, 0);
  for (const std::string& name : folder_.Names()) {
    EXPECT_TRUE(name == "file" || name.starts_with(".file.quillet-")) << name;
  }
  const std::size_t unfinished = folder_.Names().size() - 1;
  EXPECT_EQ(store_.RemoveUnfinished(folder_.path()), unfinished);
  EXPECT_EQ(folder_.Names(), Names{"file"});
}

// Repeatedly replaces `path`, alternating between a link to `target` and a world-readable file.
void Flip(const std::string& path, const std::string& target) {
  const std::string next = path + ".next";
  for (;;) {
    fs::create_symlink(target, next);
    fs::rename(next, path);
    test::PutFile(next, "public");
    fs::rename(next, path);
  }
}

TEST_F(PosixFileStoreTest, UpdateNeverMakesAPrivateFilePublic) {
  constexpr uid_t kUser = 1;
  constexpr uid_t kAttacker = 2;
  // /dev/shm is in memory, which makes fsync(2) fast.
  const std::string folder = "/dev/shm/quillet-test-" + std::to_string(getpid());
  if (geteuid() != 0 || !fs::create_directory(folder)) GTEST_SKIP() << "needs root and /dev/shm";
  const std::string path = folder + "/file";
  const std::string secret = folder + "/secret";
  test::PutFile(secret, "private");
  chmod(secret.c_str(), 0600);
  if (chown(secret.c_str(), kUser, kUser) != 0) GTEST_SKIP() << "not permitted";
  chmod(folder.c_str(), 0777);
  Child attacker([&] {
    if (setgroups(0, nullptr) != 0 || setuid(kAttacker) != 0) return 1;
    Flip(path, secret);
    return 0;
  });
  const int failure = Child([&] {
                        if (setgroups(0, nullptr) != 0 || setuid(kUser) != 0) return 2;
                        for (int i = 0; i < 10'000; ++i) {
                          store_.Update(path, [](auto old) { return std::string(old); });
                          struct stat status {};
                          const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW));
                          std::array<char, 16> text{};
                          if (!file.IsOpen() || fstat(file.Get(), &status) != 0 ||
                              read(file.Get(), text.data(), text.size()) < 0) {
                            continue;
                          }
                          if (std::string_view(text.data()) == "private" &&
                              (status.st_mode & (S_IRGRP | S_IROTH))) {
                            return 1;
                          }
                        }
                        return 0;
                      }).Wait();
  attacker.Kill();
  fs::remove_all(folder);
  EXPECT_EQ(failure, 0);
}

TEST_F(PosixFileStoreTest, RemovesOnlyUnfinishedFilesOwnedByTheUser) {
  const Names unfinished = {".a.quillet-abcdefghijkl", ".n.quillet-x.quillet-234567mnopqr"};
  for (const std::string& name : unfinished) Put(name, "", name.starts_with(".a") ? 0444 : 0600);
  const Names others = {".a.quillet-abcdefghijk", ".a.quillet-abcdefghijk1",
                        ".quillet-abcdefghijkl", "a.quillet-abcdefghijkl"};
  for (const std::string& name : others) folder_.Put(name, "");
  fs::create_symlink("a.quillet-abcdefghijkl", folder_ / ".a.quillet-linklinklink");
  fs::create_directory(folder_ / ".a.quillet-folderfolder");
  mkfifo((folder_ / ".a.quillet-fifofifofifo").c_str(), 0666);
  std::size_t kept = others.size() + 3;
  const std::string foreign = Put(".a.quillet-foreignfilee", "", 0666);
  if (chown(foreign.c_str(), 12345, static_cast<gid_t>(-1)) == 0) {
    ++kept;
  } else {
    fs::remove(foreign);
  }
  EXPECT_EQ(store_.RemoveUnfinished(folder_.path()), unfinished.size());
  EXPECT_EQ(folder_.Names().size(), kept);
}

TEST_F(PosixFileStoreTest, KeepsTheFileThatAnotherProcessIsWriting) {
  const std::string path = folder_ / "file";
  Child writer([&] {
    while (store_.Replace(path, std::string(100'000, 'n'))) continue;
    return 1;
  });
  for (int i = 0; i < 2000; ++i) store_.RemoveUnfinished(folder_.path());
  EXPECT_EQ(waitpid(writer.pid(), nullptr, WNOHANG), 0) << "Replace failed";
}

TEST_F(PosixFileStoreTest, DetectsLinksToTheSameFile) {
  const std::string path = folder_.Put("file", "contents");
  folder_.Put("copy", "contents");
  fs::create_symlink("file", folder_ / "link");
  fs::create_symlink("link", folder_ / "second");
  fs::create_hard_link(path, folder_ / "hard");
  fs::create_directory_symlink(".", folder_ / "folder");
  for (const char* same : {"link", "second", "hard", "folder/file", "folder/folder/hard"}) {
    EXPECT_TRUE(store_.IsSameFile(folder_ / same, path)) << same;
  }
  EXPECT_FALSE(store_.IsSameFile(folder_ / "copy", path));
  EXPECT_TRUE(store_.IsSameFile(folder_ / "folder/new", folder_ / "new"));
  EXPECT_FALSE(store_.IsSameFile("", path));
}

TEST_F(PosixFileStoreTest, ReplacePrivateMakesAPublicFilePrivate) {
  const CreationMask mask(0);
  const std::string path = Put("file", "old", 0666);
  for (const std::string& file : {path, folder_ / "new"}) {
    EXPECT_TRUE(store_.ReplacePrivate(file, "contents"));
    EXPECT_EQ(ModeOf(file), 0600U);
    EXPECT_EQ(store_.Read(file, kAll), "contents");
  }
  EXPECT_EQ(store_.ReplacePrivate(folder_.path(), "").error, EISDIR);
  EXPECT_EQ(store_.ReplacePrivate(folder_ / "missing/file", "").error, ENOENT);
}

TEST_F(PosixFileStoreTest, ReplacePrivateReplacesALinkNotItsTarget) {
  const std::string target = Put("target", "old", 0666);
  fs::create_symlink("target", folder_ / "link");
  EXPECT_TRUE(store_.ReplacePrivate(folder_ / "link", "private"));
  EXPECT_EQ(store_.Read(target, kAll), "old");
  EXPECT_EQ(ModeOf(target), 0666U);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(folder_ / "link")));
  EXPECT_EQ(ModeOf(folder_ / "link"), 0600U);
}

TEST_F(PosixFileStoreTest, MayReplaceIsTrueOnlyIfTheFolderIsWritable) {
  const std::string file = Put("file", "contents", 0666);
  for (const mode_t mode : {0777U, 0333U, 0555U, 0666U}) {
    chmod(folder_.path().c_str(), mode);
    const bool mayReplace = mode == 0777 || mode == 0333;
    EXPECT_EQ(AsOrdinaryUser([&] { return store_.MayReplace(file); }), mayReplace) << mode;
    EXPECT_EQ(AsOrdinaryUser([&] { return bool(store_.ReplacePrivate(file, "new")); }), mayReplace)
        << mode;
  }
}

#ifdef __linux__
TEST_F(PosixFileStoreTest, WritesPrivateFilesOnAFileSystemWithoutLocks) {
  const std::string path = folder_ / "file";
  const std::string growing = Put("growing", "", 0600);
  for (const int error : {ENOLCK, EOPNOTSUPP}) {
    EXPECT_EQ(Child([&] {
                const bool refuses = Refuse(SYS_flock, SYS_flock, error);
                return refuses && store_.ReplacePrivate(path, std::to_string(error)) &&
                               store_.OpenGrowing(growing, false)
                           ? 0
                           : 1;
              }).Wait(),
              0);
    EXPECT_EQ(store_.Read(path, kAll), std::to_string(error));
  }
}

TEST_F(PosixFileStoreTest, ReplaceWorksEvenIfModesCannotBeSet) {
  for (const int error : {EPERM, EOPNOTSUPP, EINVAL, ENOSYS}) {
    for (const mode_t mode : {0600U, 0644U}) {
      const std::string path = Put("file", "old", mode);
      EXPECT_EQ(Child([&] {
                  const bool refuses = Refuse(SYS_fchmod, SYS_fchown, error);
                  return refuses && store_.Replace(path, "new") ? 0 : 1;
                }).Wait(),
                0);
      EXPECT_EQ(store_.Read(path, kAll), "new");
      EXPECT_EQ(ModeOf(path), 0600U);
    }
  }
  EXPECT_EQ(folder_.Names(), Names{"file"});
}

TEST_F(PosixFileStoreTest, CreatesAFileOnAFileSystemWithoutHardLinks) {
  using Created = FileStore::Created;
  for (const auto& [name, expected] :
       {std::pair("new", Created::kYes), {"new", Created::kExists}}) {
    EXPECT_EQ(Child([&, path = folder_ / name, wanted = expected] {
                const bool refuses = Refuse(SYS_linkat, SYS_linkat, EPERM);
                return refuses && store_.CreateNew(path, "contents") == wanted ? 0 : 1;
              }).Wait(),
              0);
  }
  EXPECT_EQ(store_.Read(folder_ / "new", kAll), "contents");
  EXPECT_EQ(folder_.Names(), Names{"new"});
}
#endif

TEST_F(PosixFileStoreTest, OnlyOneOfTwoConcurrentCreatesSucceeds) {
  for (int round = 0; round < 50; ++round) {
    const std::string path = folder_ / "file";
    std::atomic<int> created = 0;
    std::atomic<int> ready = 0;
    const auto create = [&](const char* contents) {
      ++ready;
      while (ready < 2) {
      }
      if (store_.CreateNew(path, contents) == FileStore::Created::kYes) ++created;
    };
    std::thread first(create, "1");
    std::thread second(create, "2");
    first.join();
    second.join();
    EXPECT_EQ(created.load(), 1);
    EXPECT_EQ(folder_.Names(), Names{"file"});
    ASSERT_TRUE(store_.Remove(path));
  }
}

TEST_F(PosixFileStoreTest, ReadersSeeWholeFilesDuringReplacement) {
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

TEST(UniqueFdTest, MovesAStandardDescriptorToAHigherNumber) {
  EXPECT_EQ(Child([&] {
              close(STDIN_FILENO);
              const UniqueFd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
              if (!file.IsOpen() || file.Get() <= STDERR_FILENO) return 1;
              if (!(fcntl(file.Get(), F_GETFD) & FD_CLOEXEC)) return 2;
              return fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 3;
            }).Wait(),
            0);
}

}  // namespace
}  // namespace quillet::platform::posix
