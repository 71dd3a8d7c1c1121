#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "app/ApplicationDelivery.h"
#include "app/EarlierRuns.h"
#include "app/MainView.h"
#include "app/Platform.h"
#include "app/PortMessages.h"
#include "app/PortTable.h"
#include "app/Run.h"
#include "app/RunMessages.h"
#include "app/SettingsEditor.h"
#include "app/StatusStrip.h"
#include "app/TargetApplication.h"
#include "base/SharedText.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "device/Lumet.h"
#include "output/LumetFile.h"
#include "output/RunArchive.h"

namespace quillet {

class QuilletAppDelegate;

/// The hub of the program: connects the scanner session and the parts of app/ to the main window.
///
/// Threads: user actions and port events arrive on the main thread. Each connection attempt runs on
/// a separate thread. The session calls back on its read thread. Changes to controls are queued and
/// appear in call order. Exceptions: the settings window, the progress of a run, and Clear.
/// Never destroyed: the read thread and a waiting connection thread may outlive the window.
class SyncController final : public LumetDelegate {
 public:
  static constexpr std::int32_t kMaximumPorts = PortTable::kMaximumPorts;  ///< see PortTable

  /// @param platform  interfaces to the system; must outlive this object, as must the controls
  /// @param controls  controls of the main window
  /// @param form      settings window
  /// @param runs      window with the earlier synchronizations
  /// @param paths     paths of the program's files
  SyncController(const Platform& platform, const MainWindowControls& controls,
                 platform::SettingsForm& form, platform::RunsWindow& runs, Paths paths);

  // --- Start-up: main thread --------------------------------------------------------------------
  QuilletAppDelegate* delegate() const { return delegate_; }  ///< the application; not owned
  /// Sets the application object. Call before Initialize.
  void setDelegate(QuilletAppDelegate* application) { delegate_ = application; }
  const std::string& string() const { return string_.Get(); }   ///< text from setString; any thread
  void setString(std::string_view text) { string_.Set(text); }  ///< stores a copy; any thread
  void Initialize();  ///< starts the controller and a connection attempt; call once

  // --- Serial ports: main thread ----------------------------------------------------------------
  std::int32_t findSerialPorts();  ///< fills `stream` and `path`; returns the number of ports
  void updatePortList(bool flag);  ///< updates the port list; if `flag`, removes old items first
  void startNotification();        ///< registers for notifications about ports
  void stopNotification();         ///< cancels the registrations, if any
  ///@{ Registry callbacks. If `context` is null, they only empty the iterator, which arms it.
  void deviceAdded(void* context, platform::SerialRegistry::Handle iterator);
  void deviceRemoved(void* context, platform::SerialRegistry::Handle iterator);
  ///@}
  /// Updates the port list and empties the iterator. If a port was added, starts an attempt to
  /// connect. If a port was removed and EndsConnection() is true, disconnects.
  void PortChanged(bool added, platform::SerialRegistry::Handle iterator);

  // --- Connection -------------------------------------------------------------------------------
  void connectButton();  ///< connects to the selected port, or disconnects. Main thread.
  /// Starts an attempt to connect, unless an attempt is in progress.
  /// @param tryAll  true to try all ports, false to try only the selected port
  void StartConnectionThread(bool tryAll);
  void ConnectThread();     ///< body of the connection thread
  void TryToConnectTavo();  ///< tries all ports in order. Connection thread.
  void StartTavo();         ///< tries the selected port. Connection thread.
  bool IsTavoConnected();   ///< waits up to 5 s for the scanner to answer. Connection thread.
  /// Shows the connected scanner. Starts a run if `bAutoSync` is set. Read thread.
  void TavoInitializationDone(bool connected) override;
  void DeviceHungUp() override;  ///< says that the connection to the scanner was lost; read thread
  void DisplayConnectionMessage(std::int32_t index);  ///< shows an attempt's result. Any thread.
  void Terminate();  ///< disconnects; may be called while no scanner is connected. Main thread.
  void WriteArchive() { archive_->WriteLines(); }  ///< see RunArchive. Main thread.

  // --- Synchronization --------------------------------------------------------------------------
  void synchronizeButton();  ///< starts a run unless a run started with Synchronize is in progress
  void DoSynchronization();  ///< starts a run. Main thread or read thread.
  void AwaitDelivery() override { delivery_.AwaitReadiness(lumet->destination); }
  void DisplayBarcode(const std::string& record) override;  ///< delivers a record. Read thread.
  void SynchronizeFinished() override;                      ///< ends a run. Read thread.
  ///@{ URL loading callbacks. Quillet never calls them; they only log.
  void connectionDidReceiveResponse();
  void connectionDidReceiveData(std::string_view data);
  void connectionDidFailWithError();
  void connectionDidFinishLoading(std::shared_ptr<void> connection) { connection.reset(); }
  ///@}
  ///@{ See ApplicationDelivery and TargetApplication.
  static KeyValue ConvertFromCharToKeyCode(char16_t unit) { return KeyForCharacter(unit); }
  void SendKeyCode(KeyValue key) { delivery_.SendKeyCode(key); }
  void SendCommandAndV() { delivery_.SendCommandAndV(); }
  bool IsApplicationRunning() { return target_.IsRunning(); }
  bool RunApplication() { return target_.Run(lumet->appname.Get()); }
  void KeyIgnored() { delivery_.KeyIgnored(); }
  ///@}

  // --- Main window ------------------------------------------------------------------------------
  /// Queues UTF-8 text with any line endings. If `newline`, appends a line ending. Any thread.
  void DisplayText(std::string_view text, bool newline);
  void DisplayRecord(std::string_view record);  ///< queues a record for the view. Any thread.
  void clearviewButton();                       ///< clears the main view. Main thread.

  // --- Settings: main thread, after Initialize --------------------------------------------------
  ///@{ See SettingsEditor.
  void SaveSettings() { settingsEditor_->Save(); }
  void RestoreSettings() { settingsEditor_->Restore(); }
  void settingsButton() { settingsEditor_->Open(); }
  void destinationChanged() { settingsEditor_->DestinationChanged(); }
  void ChangeDestinationInformation() { settingsEditor_->ChangeDestinationInformation(); }
  void newfileButtonChanged() { settingsEditor_->Browse(); }
  void saveButton() { settingsEditor_->SaveAndClose(); }
  void cancelButton() { settingsEditor_->Cancel(); }
  ///@}

  // --- Fields -----------------------------------------------------------------------------------
  platform::SerialRegistry::NotifyPort notifyPort = 0;  ///< 0 while not registered; main thread
  platform::SerialRegistry::Handle addIterator = 0;     ///< ports that were added; main thread
  platform::SerialRegistry::Handle removeIterator = 0;  ///< ports that were removed; main thread
  platform::SettingsForm& settingsForm;                 ///< settings window
  void* newfile = nullptr;                              ///< unused
  Lumet* lumet = nullptr;                               ///< created by Initialize, never destroyed
  LumetFile* lumetfile = nullptr;                       ///< created by Initialize, never destroyed
  SettingsImage QuilletRegistry{};  ///< contents of the settings file; main thread
  ThreadHandle connectThread;       ///< handle of the connection thread
  Word<bool> bIsConnected = false;  ///< a scanner is connected
  Word<bool> bConnecting = false;   ///< a connection attempt is in progress
  Word<bool> bAutoConnect = false;  ///< the connection attempt tries all ports

 private:
  void OnMainThread(std::function<void()> change);
  void ChangePortList(PortListChange change);
  bool TryPort();
  void TryAgain();
  ApplicationDelivery::Actions DeliveryActions();
  void OpenArchive();
  void OpenSettings();
  void RunAutomatically();
  bool IgnoresPress(const std::string& button);
  void ShowConnectionState();

  const Platform platform_;
  const MainWindowControls controls_;
  platform::RunsWindow& runsWindow_;
  const Paths paths_;
  QuilletAppDelegate* delegate_ = nullptr;
  SharedText string_;
  MainView mainView_{platform_.mainQueue, controls_.barcodeView};
  PortTable ports_{platform_.log};
  Run run_{platform_.log, [this](auto text, bool newline) { DisplayText(text, newline); }};
  TargetApplication target_{platform_, strip_, [this] { settingsEditor_->ChooseApplication(); }};
  ApplicationDelivery delivery_{platform_, strip_, DeliveryActions()};
  bool isPortListChanging_ = false;       // main thread only
  Word<bool> isAttemptStarting_ = false;  // connection thread started, bConnecting not yet set
  StatusStrip strip_{controls_.status, platform_.mainQueue, platform_.log};
  PortMessages portMessages_{platform_, ports_, strip_, [this] { TryAgain(); }};
  RunArchive* archive_ = nullptr;  // Initialize creates this and the next three; never destroyed
  SettingsEditor* settingsEditor_ = nullptr;
  EarlierRuns* earlierRuns_ = nullptr;
  RunMessages* messages_ = nullptr;

 public:
  ///@{ See PortTable, Run and TargetApplication.
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
  SharedText& applicationPath = target_.applicationPath;
  const std::string* barcodedata() const { return run_.barcodedata(); }
  ///@}
};

}  // namespace quillet
