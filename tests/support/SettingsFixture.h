#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "app/SettingsEditor.h"
#include "platform/posix/PosixFileStore.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeSettingsForm.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::test {

/// The settings editor with a real file and a fake window.
class SettingsFixture : public testing::Test {
 protected:
  SettingsFixture() { Start(); }

  /// Simulates starting the program: creates settings and restores them from the file.
  void Start() {
    image_ = {};
    settings_ = std::make_unique<Settings>();
    consent_ = std::make_unique<SettingsConsent>(SettingsConsent::Parts{
        files_, *settings_, panels, strip_, dataFolder, "", [] { return true; }, [] {}});
    editor_ = std::make_unique<SettingsEditor>(
        SettingsEditor::Parts{log, file_, image_, *settings_, form, panels, strip_,
                              [this](auto destination, const auto& application) {
                                checked.emplace_back(destination, application);
                              },
                              [this](auto destination) { prepared.push_back(destination); },
                              [] { return true; }, [] {}, *consent_});
    file_.CreateBarcodeDirectory();
    editor_->Restore();
  }

  Settings& settings() { return *settings_; }
  std::string filename() { return settings_->filename.Get(); }
  std::string appname() { return settings_->appname.Get(); }
  SettingsEditor& editor() { return *editor_; }
  void Open() { editor().Open(); }
  bool IsOpen() { return form.settingsWindow().IsShown(); }

  std::string SettingsPath() const { return dataFolder + "/QuilletRegistry.txt"; }
  std::string SavedFile() const { return FileContents(SettingsPath()).value_or("(none)"); }
  std::string DefaultFile() const { return dataFolder + "/sn_timestamp.txt"; }

  TemporaryFolder folder;
  const std::string dataFolder = folder / "QuilletData";
  RecordingLog log;
  FakeSettingsForm form;
  FakePanels panels;
  FakeMainQueue mainQueue;
  FakeStatusDisplay strip;
  std::vector<std::pair<std::int32_t, std::string>> checked;  ///< arguments of checkTarget
  std::vector<std::int32_t> prepared;                         ///< arguments of `prepare`

  /// Returns the message in the status strip.
  std::string Message() {
    mainQueue.RunAll();
    return strip.Message();
  }

 private:
  StatusStrip strip_{strip, mainQueue, log};
  FakeClock clock_;
  platform::posix::PosixFileStore files_;
  LumetFile file_{log, clock_, files_, dataFolder};
  SettingsImage image_{};
  std::unique_ptr<Settings> settings_;
  std::unique_ptr<SettingsConsent> consent_;
  std::unique_ptr<SettingsEditor> editor_;
};

}  // namespace quillet::test
