#pragma once

#include <string>
#include <utility>

#include "output/Choices.h"
#include "platform/SettingsForm.h"
#include "tests/support/FakePlatform.h"

namespace quillet::test {

/// A SettingsForm without controls. Only stores its contents and state.
class FakeSettingsForm final : public platform::SettingsForm {
 public:
  void SetActions(platform::SettingsActions actions) override { actions_ = std::move(actions); }
  void Show(const platform::SettingsValues& values) override {
    values_ = values;
    for (const auto& [choice, titles] : kChoices) {
      if (static_cast<std::size_t>(values_.*choice) >= titles.size()) values_.*choice = -1;
    }
  }
  platform::SettingsValues Values() const override { return values_; }
  void SetPath(std::string_view path) override { path_ = path; }
  void SetPathEnabled(bool enabled) override { pathEnabled_ = enabled; }
  void ShowSamples(std::string_view older, std::string_view series300) override {
    older_ = older;
    series300_ = series300;
  }
  FakeWindow& settingsWindow() override { return window_; }

  ///@{ User actions.
  void Set(bool platform::SettingsValues::*box, bool on) {
    if (std::exchange(values_.*box, on) != on) actions_.changed();
  }
  void Set(std::int32_t platform::SettingsValues::*list, std::int32_t item) {
    if (std::exchange(values_.*list, item) == item) return;
    (list == &platform::SettingsValues::destination ? actions_.destinationChanged
                                                    : actions_.changed)();
  }
  void Type(std::string_view path) { path_ = path; }
  void Browse() {
    if (pathEnabled_) actions_.browse();
  }
  void Save() { actions_.save(); }
  void Cancel() { actions_.cancel(); }
  ///@}

  ///@{ Contents and state of the window's controls.
  const std::string& path() const { return path_; }
  bool pathEnabled() const { return pathEnabled_; }
  const std::string& older() const { return older_; }
  const std::string& series300() const { return series300_; }
  ///@}

 private:
  platform::SettingsActions actions_;
  platform::SettingsValues values_;
  std::string path_, older_, series300_;
  bool pathEnabled_ = true;
  FakeWindow window_;
};

}  // namespace quillet::test
