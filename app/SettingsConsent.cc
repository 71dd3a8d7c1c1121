#include "app/SettingsConsent.h"

#include <string_view>
#include <utility>

#include "base/ShownText.h"
#include "output/LumetFile.h"
#include "output/RecordsFile.h"

namespace quillet {
namespace {

constexpr std::size_t kLongestAnswers = 1 << 16;  // bytes; far more than kMostAnswers answers need
constexpr std::string_view kAnswerEnd = "\n\n";

// Returns true if runs with the output path `path` write to `folder` itself. Subfolders do not
// count, because another user could replace them with links.
bool IsInFolder(const std::string& path, const std::string& folder) {
  const std::string file = ResolveSyncFileName(path, [] { return std::string("name"); });
  return file.starts_with(folder + "/") && file.find('/', folder.size() + 1) == file.npos;
}

// Formats `actions` as an entry of the file of confirmed actions. The newest entry comes first.
// Each entry ends with an empty line. Returns an empty string if there are no actions.
std::string Stored(const SensitiveActions& actions) {
  std::string text;
  if (!actions.application.empty()) {
    text += "application " + EscapedText(actions.application) + "\n";
  }
  if (!actions.file.empty()) {
    text += (actions.appends ? "append " : "file ") + EscapedText(actions.file) + "\n";
  }
  if (actions.synchronizes) text += actions.types ? "synchronize and type\n" : "synchronize\n";
  if (actions.erases) text += "erase\n";
  if (!text.empty()) text += "\n";
  return text;
}

}  // namespace

SensitiveActions ActionsOf(const Settings& settings, const std::string& dataFolder) {
  SensitiveActions actions{.synchronizes = settings.bAutoSync != 0,
                           .erases = settings.bClearMemory != 0};
  const std::string& file = settings.filename.Get();
  const bool toNamed =
      settings.destination == kToNamedApplication && !settings.appname.Get().empty();
  actions.types = actions.synchronizes && settings.destination != kToFile &&
                  settings.destination != kToView && !toNamed;
  if (settings.destination == kToNamedApplication) actions.application = settings.appname.Get();
  if (settings.destination == kToFile && !file.empty() && file != dataFolder + kPlaceholder &&
      !IsInFolder(file, dataFolder)) {
    actions.file = file;
    actions.appends = settings.bAppendData != 0;
  }
  return actions;
}

std::vector<std::string> Described(const SensitiveActions& actions) {
  std::vector<std::string> sentences;
  const auto add = [&](const std::string& what, const std::string& path = {}) {
    sentences.push_back(what + ShownText(path));
  };
  if (!actions.application.empty()) {
    add("Open this application and deliver the records to it: ", actions.application);
  }
  const std::string file = ResolveSyncFileName(actions.file, [] { return std::string("….txt"); });
  if (file != actions.file) {
    add("Write the records of each synchronization to a new file: ", file);
  } else if (!file.empty()) {
    add(actions.appends
            ? "Add the records to this file: "
            : "Replace the contents of this file with the records of each synchronization: ",
        file);
  }
  if (actions.synchronizes) add("Synchronize as soon as the scanner is connected");
  if (actions.types) add("Type the records into the active application");
  if (actions.erases) add("Erase the scanner after each synchronization");
  return sentences;
}

void SettingsConsent::HoldBack(const std::string& owner) {
  isForeign_ = true;
  owner_ = owner;
  held_ = ActionsOf(parts_.settings, parts_.dataFolder);
  if (IsConfirmed(held_)) {
    held_ = {};
    return;
  }
  UseSubstitutes();
  Show(Notice::kSettingsToReview);
}

bool SettingsConsent::IsConfirmed(const SensitiveActions& actions) const {
  const std::string answer = Stored(actions);
  if (answer.empty()) return true;
  const std::string answers = Answers();
  return answers.starts_with(answer) ||
         answers.find(std::string(kAnswerEnd) + answer) != answers.npos;
}

// Uses harmless values in place of the unconfirmed settings.
void SettingsConsent::UseSubstitutes() {
  Settings& settings = parts_.settings;
  settings.bAutoSync = 0;
  settings.bClearMemory = 0;
  if (!held_.application.empty()) settings.destination = kToView;
  if (!held_.file.empty()) settings.filename.Set(parts_.dataFolder + kPlaceholder);
}

void SettingsConsent::Show(Notice notice) {
  const std::string origin = owner_.empty() ? "that other users can change" : "from " + owner_;
  parts_.strip.Raise(
      notice,
      "Some settings " + origin + " have not been applied yet. Press Review to see what they do.",
      {{"Review…", [this] { Ask(); }}});
}

void SettingsConsent::Ask() {
  // The settings of a run must not change while it is in progress.
  if (!parts_.mayReview()) return;
  const std::string origin = owner_.empty() ? "Other users can change these settings."
                                            : "These settings come from " + ShownText(owner_) + ".";
  const bool yes =
      parts_.panels.ConfirmSettings(origin + " Do you want to use them?", Described(held_));
  parts_.strip.Withdraw(Notice::kSettingsToReview);
  if (yes) return PutInForce();
  Show(Notice::kSettingsDeclined);
}

void SettingsConsent::PutInForce() {
  parts_.strip.Withdraw(Notice::kSettingsDeclined);
  const SensitiveActions actions = std::exchange(held_, {});
  Store(Stored(actions) + Answers());
  Settings& settings = parts_.settings;
  if (!actions.file.empty()) settings.filename.Set(actions.file);
  if (!actions.application.empty()) {
    settings.appname.Set(actions.application);
    settings.destination = kToNamedApplication;
  }
  if (actions.erases) settings.bClearMemory = 1;
  if (actions.synchronizes) settings.bAutoSync = 1;
  parts_.onConfirm();
}

void SettingsConsent::Chosen() {
  if (!isForeign_) return;
  held_ = {};
  parts_.strip.Withdraw(Notice::kSettingsToReview);
  parts_.strip.Withdraw(Notice::kSettingsDeclined);
  // If the new answer cannot be stored, deletes the previous answers, which must not stay in
  // effect. A file can be deleted even if the disk is full.
  if (!Store(Stored(ActionsOf(parts_.settings, parts_.dataFolder)))) {
    parts_.files.Remove(parts_.confirmed);
  }
}

// Returns the stored answers, or an empty string if they must be ignored.
std::string SettingsConsent::Answers() const {
  const platform::Checked file = parts_.files.ReadChecked(parts_.confirmed, kLongestAnswers);
  // Checks the owner, because root may run the program with another user's home folder.
  if (!file.contents || !file.ownFile || !parts_.files.MayReplace(parts_.confirmed)) return {};
  return *file.contents;
}

// Stores the first kMostAnswers answers. If this fails, the user is asked again at the next start.
bool SettingsConsent::Store(const std::string& answers) const {
  const std::string& path = parts_.confirmed;
  if (path.empty()) return false;
  std::size_t size = 0;
  for (int i = 0; i < kMostAnswers && size < answers.size(); ++i) {
    const std::size_t end = answers.find(kAnswerEnd, size);
    if (end == answers.npos) break;
    size = end + kAnswerEnd.size();
  }
  parts_.files.CreatePrivateFolder(path.substr(0, path.rfind('/')));
  return parts_.files.ReplacePrivate(path, answers.substr(0, size)).error == 0;
}

}  // namespace quillet
