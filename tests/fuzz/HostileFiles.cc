// Fuzzes reading and writing the settings file and an output file in folders owned by another user.
//
// The input is a sequence of steps. In the first byte of a step, bits 0-1 are the type and bits 2-4
// select a path:
//   0, 1  the other user creates a file, link, hard link, pipe or folder, depending on bits 5-7;
//         the next byte is the mode of the new file
//   2     the program reads the settings, then saves them
//   3     the program writes to an output file; appends if bit 5 is set
//
// Only root can create files owned by another user. Without root privileges, the test does nothing.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "output/LumetFile.h"
#include "output/SettingsImage.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/NoClock.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kOther = 1;
constexpr std::string_view kSecret = "secret";

// The files of two users. The user who runs the test owns a private file and a folder. The other
// user owns a shared folder.
class Computer {
 public:
  Computer() {
    fs::create_directories(folder_ / "shared/data");
    fs::create_directory(folder_ / "own");
    folder_.Put("own/file", "own");
    test::PutFile(private_, std::string(600, 'x') + std::string(kSecret) + std::string(600, 'x'));
    chmod(private_.c_str(), 0600);
    for (const char* path : {"shared", "shared/data"}) {
      chmod((folder_ / path).c_str(), 0777);
      isPossible_ = isPossible_ && chown((folder_ / path).c_str(), kOther, kOther) == 0;
    }
    before_ = Own();
  }

  bool IsPossible() const { return isPossible_; }

  std::string Path(unsigned number) const {
    constexpr const char* kPaths[] = {"data/QuilletRegistry.txt",
                                      "data",
                                      "out.txt",
                                      "team",
                                      "team/out.txt",
                                      "data/out.txt",
                                      "team/inner",
                                      "next"};
    return folder_ / (std::string("shared/") + kPaths[number % 8]);
  }

  /// Replaces `path` as the other user.
  /// @param kind  type of the new file
  /// @param mode  mode of the new file. If `kind` is a link to another path: index of that path.
  void Create(const std::string& path, unsigned kind, mode_t mode) const;

  /// Checks that the program has not changed or disclosed the user's own files.
  void Check() const;

 private:
  // Returns the names, modes and contents of the files that the program must not change.
  std::string Own() const {
    std::string all;
    for (const auto& entry : fs::recursive_directory_iterator(folder_ / "own")) {
      struct stat status {};
      lstat(entry.path().c_str(), &status);
      all += entry.path().string() + std::to_string(status.st_mode) +
             test::FileContents(entry.path()).value_or("");
    }
    return all;
  }

  test::TemporaryFolder folder_;
  const std::string private_ = folder_ / "own/private";
  bool isPossible_ = true;
  std::string before_;
};

void Computer::Create(const std::string& path, unsigned kind, mode_t mode) const {
  std::error_code error;
  fs::remove_all(path, error);
  if (error || !fs::is_directory(fs::symlink_status(fs::path(path).parent_path()))) return;
  switch (kind % 8) {
    case 0:
    case 1:
      test::PutFile(path, std::string(1023, kind == 0 ? '1' : '0'));
      break;
    case 2:
      fs::create_symlink(private_, path, error);
      break;
    case 3:
      fs::create_symlink(folder_ / "own", path, error);
      break;
    case 4:
      fs::create_symlink(Path(mode), path, error);
      break;
    case 5:  // some systems allow hard links to another user's file
      fs::create_hard_link(private_, path, error);
      return;
    case 6:
      mkfifo(path.c_str(), 0666);
      break;
    default:
      fs::create_directory(path, error);
  }
  if (lchown(path.c_str(), kOther, kOther) != 0) std::abort();
  if (!fs::is_symlink(path)) chmod(path.c_str(), (mode & 0777U) | 0600U);
}

void Computer::Check() const {
  Require(Own() == before_, "the user's files outside the shared folder are unchanged");
  for (const auto& entry : fs::recursive_directory_iterator(folder_ / "shared")) {
    if (!fs::is_regular_file(entry.symlink_status())) continue;
    struct stat status {};
    stat(entry.path().c_str(), &status);
    if (!(status.st_mode & (S_IRGRP | S_IROTH))) continue;
    Require(test::FileContents(entry.path())->find(kSecret) == std::string::npos,
            "no other user can read the private text");
  }
}

// Saves settings in the same way as SettingsEditor. Another user may have written them.
void SaveAgain(const SettingsImage& read, LumetFile& files) {
  Settings settings;
  ReadChoices(read, settings);
  SettingsImage image;
  image.fill('0');
  image.back() = '\0';
  WriteChoices(settings, image);
  for (const std::size_t position : {kApplicationNamePosition, kFileNamePosition}) {
    WriteName(image, position, ReadName(read, position));
  }
  files.SaveRegistry(image);
}

}  // namespace

void Run(Input& input) {
  Computer computer;
  if (!computer.IsPossible()) return;
  StrictLog log;
  test::NoClock clock;
  platform::posix::PosixFileStore store;
  LumetFile files(log, clock, store, computer.Path(1));
  while (!input.IsEmpty()) {
    const unsigned step = input.Byte();
    const std::string path = computer.Path(step / 4);
    if (step % 4 < 2) {
      computer.Create(path, step / 32, input.Byte());
    } else if (step % 4 == 2) {
      SettingsImage image{};
      const auto read = files.ReadRegistry(image);
      Require(!read || read.custody == platform::Custody::kForeign,
              "settings in another user's folder are not trusted");
      SaveAgain(image, files);
    } else {
      files.CreateBarcodeDirectory();
      files.RemoveUnfinished(path);
      files.WriteDataToFile(path, "records", false, step & 32U);
    }
    computer.Check();
  }
}

}  // namespace quillet::fuzz
