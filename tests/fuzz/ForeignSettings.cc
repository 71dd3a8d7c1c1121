// Fuzzes the rules that determine which of another user's settings take effect.
//
// Input: steps. In the first byte of a step, bits 0-1 are the type:
//   0  a user writes the settings file; see Computer::Store for the following bytes
//   1  Quillet's user starts the program
//   2  Quillet's user starts the program and agrees to the settings
//   3  Quillet's user starts the program and saves from the settings window. If bit 2 is set, the
//      user declines the settings first. If bit 3 is set, bits 4-5 are the destination to select.
//
// Only root can create files owned by another user. Without root privileges, the test does nothing.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <optional>

#include "app/SettingsEditor.h"
#include "base/ShownText.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeSettingsForm.h"
#include "tests/support/NoClock.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kSettingsAuthor = 1;
constexpr std::string_view kRunName = "005771_20261116_140709.txt";

// The effects of settings that require the consent of Quillet's user.
struct Effects {
  std::string starts = {};  // the program that a run starts
  std::string writes = {};  // output file; empty if it is the default file or in the data folder
  bool appends = false;
  bool synchronizes = false;
  bool types = false;
  bool erases = false;
  bool operator==(const Effects&) const = default;
};

// A computer with two users. The settings file is in the folder shared/data. Quillet runs as the
// user who owns the folder "own".
class Computer {
 public:
  Computer() {
    fs::create_directories(folder_ / "shared/data");
    fs::create_directory(folder_ / "own");
    folder_.Put("own/profile", "private");
    isPossible_ = Give("shared", 0, 01777) && Give("shared/data", kSettingsAuthor, 0755);
  }

  bool IsPossible() const { return isPossible_; }
  std::string Data() const { return folder_ / "shared/data"; }
  std::string SettingsFile() const { return folder_ / "shared/data/QuilletRegistry.txt"; }
  std::string Answer() const { return folder_ / "state/confirmed-settings"; }

  /// Writes the settings file. The input contains, in this order, the owners and modes of the file
  /// and of two folders, the first 14 characters of the file, and two names. Each name is preceded
  /// by its length. In a name, "~" is the temporary folder.
  void Store(Input& input) const;

  /// Returns true if only Quillet's user could have written the settings.
  bool IsTrusted() const {
    return IsSafe("shared", true) && IsSafe("shared/data", false) &&
           IsSafe("shared/data/QuilletRegistry.txt", false);
  }

  /// Returns the effects of a run with these settings.
  Effects EffectsOf(const Settings& settings) const;

  bool IsUntouched() const {
    return test::FileContents(folder_ / "own/profile") == "private" &&
           std::distance(fs::directory_iterator(folder_ / "own"), {}) == 1;
  }

 private:
  bool Give(const std::string& path, uid_t owner, mode_t mode) const {
    return chown((folder_ / path).c_str(), owner, kSettingsAuthor) == 0 &&
           chmod((folder_ / path).c_str(), mode) == 0;
  }

  bool IsSafe(const std::string& path, bool isParent) const {
    struct stat status {};
    if (lstat((folder_ / path).c_str(), &status) != 0 || status.st_uid != 0) return false;
    return !(status.st_mode & (S_IWGRP | S_IWOTH)) || (isParent && (status.st_mode & S_ISVTX));
  }

  std::string Name(Input& input) const {
    std::string name;
    const std::size_t length = input.Byte() % (kLongestName + 1);
    for (const std::uint8_t byte : input.Bytes(length)) {
      name += byte == '~' ? folder_.path() : std::string(1, static_cast<char>(byte));
    }
    return name;
  }

  test::TemporaryFolder folder_;
  bool isPossible_ = false;
};

void Computer::Store(Input& input) const {
  constexpr mode_t kFileModes[] = {0644, 0664, 0646, 0600};
  constexpr mode_t kFolderModes[] = {0755, 0775, 0777, 01777};
  const unsigned owners = input.Byte();
  const unsigned modes = input.Byte();
  const auto owner = [&](unsigned bit) { return owners & bit ? kSettingsAuthor : 0; };
  SettingsImage image;
  image.fill('0');
  std::ranges::copy(input.Bytes(14), image.begin());
  image.back() = '\0';
  for (const std::size_t position : {kApplicationNamePosition, kFileNamePosition}) {
    WriteName(image, position, Name(input));
  }
  fs::remove(SettingsFile());
  test::PutFile(SettingsFile(), {image.data(), image.size() - 1});
  const bool given = Give("shared/data/QuilletRegistry.txt", owner(1), kFileModes[modes & 3U]) &&
                     Give("shared/data", owner(2), kFolderModes[modes >> 2 & 3U]) &&
                     Give("shared", owner(4), kFolderModes[modes >> 4 & 3U]);
  Require(given, "root can change owners and modes");
}

Effects Computer::EffectsOf(const Settings& settings) const {
  Effects effects{.synchronizes = settings.bAutoSync != 0, .erases = settings.bClearMemory != 0};
  if (settings.destination == kToNamedApplication) effects.starts = settings.appname.Get();
  if (settings.destination == kToFile) {
    const std::string file =
        ResolveSyncFileName(settings.filename.Get(), [] { return std::string(kRunName); });
    const bool isDefault = file == Data() + std::string(kRunName);
    if (!file.empty() && !isDefault && fs::path(file).parent_path() != Data()) {
      effects.writes = settings.filename.Get();
      effects.appends = settings.bAppendData != 0;
    }
  } else if (settings.destination != kToView && effects.starts.empty()) {
    effects.types = effects.synchronizes;
  }
  return effects;
}

// One execution of the program.
class Session {
 public:
  Session(const Computer& computer, platform::FileStore& store)
      : computer_(computer), files_(log_, clock_, store, computer.Data()), store_(store) {
    if (files_.ReadRegistry(image_)) {
      Settings stored;
      ReadChoices(image_, stored);
      stored.appname.Set(ReadName(image_, kApplicationNamePosition));
      stored.filename.Set(ReadName(image_, kFileNamePosition));
      wanted_ = computer.EffectsOf(stored);
    }
    editor_.Restore();
    mainQueue_.RunAll();
    SettingsImage restored{};
    const auto read = files_.ReadRegistry(restored);
    isTrusted_ = !read || read.custody == platform::Custody::kTrusted;
    Require(!read || !isTrusted_ || computer.IsTrusted(), "only safe settings are trusted");
  }

  /// Presses Review and answers the question. @return false if there is no Review button
  bool Review(bool answer) {
    const auto buttons = strip_.Buttons();
    const auto review = std::ranges::find(buttons, "Review…");
    if (review == buttons.end()) return false;
    panels_.confirms = answer;
    strip_.Press(static_cast<std::size_t>(review - buttons.begin()));
    mainQueue_.RunAll();
    Require(panels_.runs.size() == 1, "there is one question");
    return true;
  }

  void Save(std::optional<std::int32_t> destination) {
    editor_.Open();
    if (destination) form_.Set(&platform::SettingsValues::destination, *destination);
    const std::int32_t selected = form_.Values().destination;
    if (selected == kToFile || selected == kToNamedApplication) {
      const SharedText& path = selected == kToFile ? settings_.filename : settings_.appname;
      Require(form_.path() == ShownText(path.Get()), "the window shows the path that it saves");
    }
    form_.Save();
    mainQueue_.RunAll();
  }

  /// Writes an output file if the destination is a file and the settings have no effect that
  /// requires consent.
  void Run() {
    if (settings_.destination != kToFile || effects() != Effects()) return;
    const std::string path =
        ResolveSyncFileName(settings_.filename.Get(), [] { return std::string(kRunName); });
    if (files_.IsSettingsFile(path)) return;
    files_.WriteDataToFile(path, "records", false, settings_.bAppendData != 0);
    Require(computer_.IsUntouched(), "this user's files are unchanged");
  }

  Effects effects() const { return computer_.EffectsOf(settings_); }
  const Effects& wanted() const { return wanted_; }  ///< the effects of the settings file
  bool isTrusted() const { return isTrusted_; }

 private:
  const Computer& computer_;
  StrictLog log_;
  test::NoClock clock_;
  LumetFile files_;
  platform::FileStore& store_;
  test::FakeMainQueue mainQueue_;
  test::FakeStatusDisplay strip_;
  test::FakePanels panels_;
  test::FakeSettingsForm form_;
  StatusStrip messages_{strip_, mainQueue_, log_};
  SettingsImage image_{};
  Settings settings_;
  SettingsConsent consent_{{store_, settings_, panels_, messages_, computer_.Data(),
                            computer_.Answer(), [] { return true; }, [] {}}};
  SettingsEditor editor_{{log_, files_, image_, settings_, form_, panels_, messages_,
                          [](auto, const auto&) {}, [](auto) {}, [] { return true; }, [] {},
                          consent_}};
  bool isTrusted_ = false;
  Effects wanted_;
};

}  // namespace

void Run(Input& input) {
  const Computer computer;
  if (!computer.IsPossible()) return;
  platform::posix::PosixFileStore store;
  std::deque<Effects> confirmed;  // the effects to which the user has agreed, newest first
  while (!input.IsEmpty()) {
    const unsigned step = input.Byte();
    if (step % 4 == 0) {
      computer.Store(input);
      continue;
    }
    Session session(computer, store);
    const bool applies = session.isTrusted() || session.wanted() == Effects() ||
                         std::ranges::find(confirmed, session.wanted()) != confirmed.end();
    Require(session.effects() == (applies ? session.wanted() : Effects()),
            "only trusted or confirmed settings take effect");
    session.Run();
    if (step % 4 == 2 && session.Review(true)) {
      confirmed.push_front(session.wanted());
      if (confirmed.size() > SettingsConsent::kMostAnswers) confirmed.pop_back();
      Require(session.effects() == session.wanted(), "confirmed settings take effect");
    } else if (step % 4 == 3) {
      if (step & 4U) session.Review(false);
      Require(session.effects() == (applies ? session.wanted() : Effects()),
              "declined settings have no effect");
      session.Save(step & 8U ? std::optional(static_cast<std::int32_t>(step / 16 % 4))
                             : std::nullopt);
      if (!session.isTrusted()) confirmed = {session.effects()};
    }
    session.Run();
  }
}

}  // namespace quillet::fuzz
