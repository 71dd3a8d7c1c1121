#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "app/ApplicationDelivery.h"
#include "app/Platform.h"
#include "app/PortTable.h"
#include "app/Run.h"
#include "app/RunProgress.h"
#include "app/SettingsEditor.h"
#include "base/SharedText.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "device/Lumet.h"
#include "output/LumetFile.h"
#include "output/SettingsImage.h"
#include "platform/SettingsForm.h"

namespace quillet {

class QuilletAppDelegate;

/// The hub of the program: owns the scanner session, the file object and the parts below, and
/// connects them to the main window. The rules are in the parts: PortTable, Run,
/// ApplicationDelivery and RunProgress.
///
/// Source files: app/SyncController.cc (start-up, ports, connection), app/Synchronization.cc (runs
/// and the main view) and app/Progress.cc.
///
/// Threads: user actions and port events arrive on the main thread; an attempt to connect runs on
/// its own thread; the session calls back on its read thread. Every change of a control is queued
/// onto the main thread in call order, from every thread, the main one included, so the order on
/// the screen is the order of the calls. Exceptions: the settings window and the progress display,
/// which no other thread changes, and Clear, which leaves queued texts alone.
///
/// A controller is created once and never destroyed, since the session's read thread and a waiting
/// connection thread may outlive the window.
class SyncController final : public LumetDelegate {
 public:
  static constexpr std::int32_t kMaximumPorts = PortTable::kMaximumPorts;  ///< see there

  /// @param platform    what it needs of the system; the parts outlive it
  /// @param controls    of the main window
  /// @param form        the settings window; outlives it
  /// @param dataFolder  absolute path of the folder for settings and output files
  SyncController(const Platform& platform, const MainWindowControls& controls,
                 platform::SettingsForm& form, std::string dataFolder = kDataFolder);

  // --- Start-up: main thread --------------------------------------------------------------------

  /// The application object, which shows the window's title; not owned.
  QuilletAppDelegate* delegate() const { return delegate_; }
  /// Sets the application object. Before Initialize.
  void setDelegate(QuilletAppDelegate* application) { delegate_ = application; }
  const std::string& string() const { return string_.Get(); }   ///< the stored text; any thread
  void setString(std::string_view text) { string_.Set(text); }  ///< stores a copy; any thread
  void Initialize();  ///< starts the controller, once, and an attempt to connect

  // --- Serial ports: main thread ----------------------------------------------------------------

  std::int32_t findSerialPorts();  ///< fills `stream` and `path`; returns how many ports it kept
  void updatePortList(bool flag);  ///< searches; `flag`: removes the old port entries first
  void startNotification();        ///< registers for ports that are plugged in and removed
  void stopNotification();         ///< undoes that; may be called without having started
  ///@{ Called by the registry. Without a context the iterator is emptied only, which arms it.
  void deviceAdded(void* context, platform::SerialRegistry::Handle iterator);
  void deviceRemoved(void* context, platform::SerialRegistry::Handle iterator);
  ///@}
  /// Updates the list and empties the iterator. An arrival starts an attempt to connect; a removal
  /// may disconnect.
  void PortChanged(bool added, platform::SerialRegistry::Handle iterator);

  // --- Connection -------------------------------------------------------------------------------

  void connectButton();                     ///< connects to the selected port, or disconnects
  void StartConnectionThread(bool tryAll);  ///< unless one runs; tries all ports or the selected
  void ConnectThread();                     ///< the body of the connection thread
  void TryToConnectTavo();                  ///< tries every port, in order. Connection thread.
  void StartTavo();                         ///< tries the selected port. Connection thread.
  bool IsTavoConnected();                   ///< waits up to five seconds. Connection thread.
  /// Shows the connection and, if the settings say so, starts a run. Read thread.
  void TavoInitializationDone(bool connected) override;
  void DisplayConnectionMessage(std::int32_t index);  ///< shows the connection. Any thread.
  void Terminate();  ///< disconnects, whether or not a scanner is connected. Main thread.

  // --- Synchronization --------------------------------------------------------------------------

  void synchronizeButton();  ///< starts a run, unless one from the button is under way
  void DoSynchronization();  ///< starts a run. Main thread, or read thread after a connection.
  void DisplayBarcode(const std::string& record) override;  ///< delivers a record. Read thread.
  void SynchronizeFinished() override;                      ///< ends a run. Read thread.
  ///@{ Callbacks of a URL loading, which nothing starts. They only log.
  void connectionDidReceiveResponse();
  void connectionDidReceiveData(std::string_view data);
  void connectionDidFailWithError();
  void connectionDidFinishLoading(std::shared_ptr<void> connection) { connection.reset(); }
  ///@}
  ///@{ See ApplicationDelivery.
  static KeyValue ConvertFromCharToKeyCode(char16_t character) {
    return KeyForCharacter(character);
  }
  void SendKeyCode(KeyValue key) { delivery_.SendKeyCode(key); }
  void SendCommandAndV() { delivery_.SendCommandAndV(); }
  bool IsApplicationRunning() { return delivery_.IsRunning(); }
  bool RunApplication() { return delivery_.Run(lumet->appname.Get()); }
  ///@}

  // --- Main window ------------------------------------------------------------------------------

  /// Appends a text to the main view, in call order. Any thread; returns at once.
  /// @param text     UTF-8; a carriage return, a line feed or both together end a line
  /// @param newline  end the text with a line end
  void DisplayText(std::string_view text, bool newline);
  void clearviewButton();  ///< empties the main view. Main thread.
  void ShowProgress();     ///< shows the progress of the run, or hides it. Main thread.

  // --- Settings: main thread, after Initialize --------------------------------------------------

  ///@{ See SettingsEditor.
  void SaveSettings() { settingsEditor_->Save(); }
  void RestoreSettings() { settingsEditor_->Restore(); }
  void settingsButton() { settingsEditor_->Open(bConnecting || bIsUnderSynchronization); }
  void destinationChanged() { settingsEditor_->DestinationChanged(); }
  void ChangeDestinationInformation() { settingsEditor_->ChangeDestinationInformation(); }
  void newfileButtonChanged() { settingsEditor_->Browse(); }
  void saveButton() { settingsEditor_->SaveAndClose(); }
  void cancelButton() { settingsEditor_->Cancel(); }
  ///@}

  // --- Fields -----------------------------------------------------------------------------------

  platform::SerialRegistry::NotifyPort notifyPort = 0;  ///< 0 while not registered; main thread
  platform::SerialRegistry::Handle addIterator = 0;     ///< of arrivals; main thread
  platform::SerialRegistry::Handle removeIterator = 0;  ///< of removals; main thread
  platform::SettingsForm& settingsForm;                 ///< the settings window
  void* newfile = nullptr;                              ///< part of the window's layout; not used
  Lumet* lumet = nullptr;                               ///< created by Initialize, never destroyed
  LumetFile* lumetfile = nullptr;                       ///< created by Initialize, never destroyed
  SettingsImage QuilletRegistry{};  ///< the text of the settings file; main thread
  ThreadHandle connectThread;       ///< the thread of the last attempt
  Word<bool> bIsConnected = false;  ///< a scanner has answered
  Word<bool> bConnecting = false;   ///< an attempt to connect is running
  Word<bool> bAutoConnect = false;  ///< it tries every port

 private:
  void OnMainThread(std::function<void()> change);
  void ChangePortList(PortTable::ListChange change);
  void Drain(platform::SerialRegistry::Handle iterator);
  std::string ShownSerialNumber() const;
  bool TryPort();
  void StartProgress();
  RunState PresentRunState() const;

  const Platform platform_;
  const MainWindowControls controls_;
  const std::string dataFolder_;
  QuilletAppDelegate* delegate_ = nullptr;
  SharedText string_;
  PortTable ports_{platform_.log};
  Run run_{platform_.log, [this](auto text, bool newline) { DisplayText(text, newline); }};
  ApplicationDelivery delivery_{platform_};
  RunProgress runProgress_;                   // main thread
  SettingsEditor* settingsEditor_ = nullptr;  // created by Initialize, never destroyed

 public:
  ///@{ Fields of the parts.
  Word<std::int32_t>& numPorts = ports_.numPorts;
  std::array<SharedText, kMaximumPorts>& stream = ports_.stream;
  std::array<SharedText, kMaximumPorts>& path = ports_.path;
  SharedText& connectedPortString = ports_.connectedPortString;
  Word<std::int32_t>& portIndex = ports_.portIndex;
  Word<bool>& bIsUnderSynchronization = run_.bIsUnderSynchronization;
  std::atomic<std::int32_t>& barcodeCount = run_.barcodeCount;
  std::atomic<std::int32_t>& barcodeindex = run_.barcodeindex;
  SharedText& syncfileName = run_.syncfileName;
  SharedText& syncfileData = run_.syncfileData;
  SharedText& applicationPath = delivery_.applicationPath;
  const std::string* barcodedata() const { return run_.barcodedata(); }
  ///@}
};

}  // namespace quillet
