#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "app/RunProgress.h"
#include "app/SettingsEditor.h"
#include "base/SharedText.h"
#include "base/SystemLog.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "device/Lumet.h"
#include "output/KeyTables.h"
#include "output/LumetFile.h"
#include "output/SettingsImage.h"
#include "platform/Applications.h"
#include "platform/Clock.h"
#include "platform/Controls.h"
#include "platform/FileStore.h"
#include "platform/KeyEvents.h"
#include "platform/MainQueue.h"
#include "platform/Panels.h"
#include "platform/Pasteboard.h"
#include "platform/SerialLine.h"
#include "platform/SerialRegistry.h"
#include "platform/SettingsForm.h"
#include "platform/Ticker.h"
#include "platform/Workspace.h"

namespace quillet {

class QuilletAppDelegate;

/// What the program needs of the system and the toolkit. Everything outlives the controller.
struct Platform {
  ///@{ One each, of the system's or the toolkit's own.
  SystemLog& log;
  platform::Clock& clock;
  platform::SerialLine& line;
  platform::FileStore& files;
  platform::MainQueue& mainQueue;
  platform::SerialRegistry& registry;
  platform::Workspace& workspace;
  platform::Panels& panels;
  platform::Ticker& ticker;
  platform::KeyEvents& keyEvents;
  platform::Pasteboard& pasteboard;
  platform::Applications& applications;
  ///@}
};

/// The controls in the main window that are the controller's. Main thread.
struct MainWindowControls {
  ///@{ Named for what it shows or does.
  platform::TextView& barcodeView;
  platform::PopUpList& portList;
  platform::ToolbarItem& connectTavo;
  platform::ToolbarItem& settings;
  platform::ToolbarItem& synchronize;
  platform::ToolbarItem& clearview;
  platform::ProgressDisplay& progress;
  ///@}
};

/// The hub of the program: owns the scanner session and the file object, watches the serial ports,
/// connects, runs synchronizations, delivers records, and shows everything in the main window.
///
/// Its operations stand in several files, by subject: app/SyncController.cc (start-up),
/// app/ConnectionManager.cc, app/PortDiscovery.cc, app/Synchronization.cc, app/Progress.cc,
/// app/Delivery.cc and app/MainView.cc. Those for the settings are in app/SettingsEditor.h.
///
/// Threads: user actions and hot-plug news come on the main thread; an attempt to connect runs on
/// its own thread; the session calls back on its read thread. Every change of a control is queued
/// onto the main thread in call order, from every thread, the main one included, so the order on
/// the screen is the order of the calls. One exception are the controls of the settings window and
/// the progress display: no other thread ever changes them, so the main thread changes and reads
/// them directly, and what an operation reads of them is what was last set. (Queued, a change could
/// wait behind a long run's texts while the user already looks at the window.) The other is Clear,
/// which leaves what is still queued alone.
///
/// A controller is made once and never destroyed, since the session's read thread and a waiting
/// connection thread may outlive the window.
class SyncController final : public LumetDelegate, public MainWindowControls {
 public:
  static constexpr std::int32_t kMaximumPorts = 32;  ///< ports that are looked at

  /// @param platform    what it needs of the system; the parts outlive it
  /// @param controls    of the main window
  /// @param form        the settings window; outlives it
  /// @param dataFolder  absolute path of the folder for settings and output files
  SyncController(const Platform& platform, const MainWindowControls& controls,
                 platform::SettingsForm& form, std::string dataFolder = kDataFolder);
  SyncController(const SyncController&) = delete;
  SyncController& operator=(const SyncController&) = delete;

  // --- Start-up (app/SyncController.cc); main thread --------------------------------------------

  /// The application object, which shows the window's title; not owned.
  QuilletAppDelegate* delegate() const { return delegate_; }
  /// Sets the application object. Before Initialize.
  void setDelegate(QuilletAppDelegate* application) { delegate_ = application; }

  /// A text that is stored as a copy. Any thread.
  const std::string& string() const { return string_.Get(); }
  /// Stores a copy of the text. Any thread.
  void setString(std::string_view text) { string_.Set(text); }

  /// Brings the controller up; called once. Afterwards an automatic attempt to connect is running.
  void Initialize();

  // --- Connection (app/ConnectionManager.cc) ----------------------------------------------------

  /// Connects to the selected port, or disconnects. Only logs while an attempt to connect or a
  /// synchronization is running. Main thread.
  void connectButton();

  /// Starts an attempt to connect, unless one runs already. Main thread.
  /// @param tryAll  try every port, else the selected one only
  void StartConnectionThread(bool tryAll);

  void ConnectThread();     ///< the body of the connection thread
  void TryToConnectTavo();  ///< every port, in order. Connection thread.
  void StartTavo();         ///< the selected port. Connection thread.

  /// Waits up to five seconds for the session to report. Connection thread.
  bool IsTavoConnected();

  /// Shows the connection and, if the settings say so, starts a synchronization. Read thread.
  void TavoInitializationDone(bool connected) override;

  /// Shows whether the scanner is connected. Any thread.
  /// @param index  the port; one outside the port arrays shows no name
  void DisplayConnectionMessage(std::int32_t index);

  /// Disconnects, whether or not a scanner is connected. Main thread.
  void Terminate();

  // --- Serial ports (app/PortDiscovery.cc); main thread -----------------------------------------

  /// Fills `stream` and `path` with the ports on which a scanner may be.
  /// @return how many, 0 to kMaximumPorts.
  std::int32_t findSerialPorts();

  /// Finds the ports and brings the list up to date.
  /// @param flag  remove the old port entries first
  void updatePortList(bool flag);

  /// Begins to hear of ports that come and go. Where the system has no news to give, nothing
  /// changes.
  void startNotification();

  /// Hears of no more ports. May be called without having started.
  void stopNotification();

  /// What the registry calls. Without a context the iterator is emptied, which arms it and starts
  /// nothing.
  /// @param context   the controller or nothing
  /// @param iterator  the iterator that has news
  void deviceAdded(void* context, platform::SerialRegistry::Handle iterator);
  /// The same, for ports that have gone.
  void deviceRemoved(void* context, platform::SerialRegistry::Handle iterator);

  /// Lists the ports anew; an arrival starts an attempt to connect, a removal may disconnect.
  /// @param added     something has come, else gone
  /// @param iterator  is emptied
  void PortChanged(bool added, platform::SerialRegistry::Handle iterator);

  // --- Synchronization (app/Synchronization.cc) -------------------------------------------------

  /// Starts a run, if a scanner is connected and none is running. Main thread.
  void synchronizeButton();

  /// Starts a run. Main thread, or read thread when a connection starts it.
  void DoSynchronization();

  /// Delivers a record to the destination that is set at this moment. Read thread.
  void DisplayBarcode(const std::string& record) override;

  /// Ends a run: writes the file, shows the count, erases the scanner if that is set. Read thread.
  void SynchronizeFinished() override;

  ///@{ An answer to a URL loading. Nothing starts one; they only log.
  void connectionDidReceiveResponse();
  void connectionDidReceiveData(std::string_view data);
  void connectionDidFailWithError();
  void connectionDidFinishLoading(std::shared_ptr<void> connection);
  ///@}

  // --- Delivery into other applications (app/Delivery.cc) ---------------------------------------
  // Read thread; RunApplication also on the thread that starts a run.

  /// The key that types a UTF-16 character, kNoKey when none does.
  static KeyValue ConvertFromCharToKeyCode(char16_t character) {
    return KeyForCharacter(character);
  }

  /// Presses and releases a key, with Shift if its bit is set.
  void SendKeyCode(KeyValue key);

  /// Presses the key for pasting: V with Command, which is Control where there is no Command.
  void SendCommandAndV();

  /// Whether the application last handed to RunApplication is among those that run.
  bool IsApplicationRunning();

  /// Starts the application `appname`, or brings it to the front.
  /// @return whether it was seen running.
  bool RunApplication();

  // --- Main view (app/MainView.cc) --------------------------------------------------------------

  /// Appends a text to the main view, in call order. Any thread; returns at once.
  /// @param text     UTF-8; a carriage return, a line feed or both together end a line
  /// @param newline  end the text with a line end
  void DisplayText(std::string_view text, bool newline);

  /// Empties the main view. Main thread.
  void clearviewButton();

  // --- Settings (app/SettingsEditor.h); main thread ---------------------------------------------

  ///@{ See SettingsEditor. After Initialize.
  void SaveSettings() { settingsEditor_->Save(); }
  void RestoreSettings() { settingsEditor_->Restore(); }
  void settingsButton() { settingsEditor_->Open(bConnecting || bIsUnderSynchronization); }
  void destinationChanged() { settingsEditor_->DestinationChanged(); }
  void ChangeDestinationInformation() { settingsEditor_->ChangeDestinationInformation(); }
  void newfileButtonChanged() { settingsEditor_->Browse(); }
  void saveButton() { settingsEditor_->SaveAndClose(); }
  void cancelButton() { settingsEditor_->Cancel(); }
  ///@}

  // --- Progress (app/Progress.cc); main thread --------------------------------------------------

  /// Shows how far the run has come; hides that once there is none or the scanner has gone.
  void ShowProgress();

  // --- Fields -----------------------------------------------------------------------------------

  platform::SerialRegistry::NotifyPort notifyPort = 0;  ///< 0 while nothing is heard; main thread
  platform::SerialRegistry::Handle addIterator = 0;     ///< of arrivals; main thread
  platform::SerialRegistry::Handle removeIterator = 0;  ///< of removals; main thread

  platform::SettingsForm& settingsForm;  ///< the settings window, with its controls' values
  void* newfile = nullptr;               ///< part of the window's layout; not used

  Lumet* lumet = nullptr;          ///< made by Initialize, never destroyed
  LumetFile* lumetfile = nullptr;  ///< made by Initialize, never destroyed

  Word<std::int32_t> numPorts = 0;               ///< ports on which a scanner may be
  std::array<SharedText, kMaximumPorts> stream;  ///< device names; from numPorts on they are stale
  std::array<SharedText, kMaximumPorts> path;    ///< device paths; from numPorts on they are stale
  SharedText connectedPortString;                ///< name of the connected port
  Word<bool> bIsConnected = false;               ///< a scanner has answered
  Word<bool> bIsUnderSynchronization = false;    ///< a run has started and not ended
  SharedText syncfileData;                       ///< part of the controller's layout
  SharedText syncfileName;  ///< one value is kept per different name, so per run
  std::atomic<std::string*> barcodedata{nullptr};  ///< records for the file; see GatherForFile
  std::atomic<std::int32_t> barcodeindex{0};       ///< records of the run, for the dots
  SettingsImage QuilletRegistry{};                 ///< the settings file as it stands; main thread
  ThreadHandle connectThread;                      ///< the thread of the last attempt

  SharedText applicationPath;  ///< last handed to RunApplication

  Word<bool> bConnecting = false;             ///< an attempt to connect is running
  Word<bool> bAutoConnect = false;            ///< it tries every port
  Word<std::int32_t> portIndex = 0;           ///< the port that it tries
  std::atomic<std::int32_t> barcodeCount{0};  ///< records of the run that have been delivered

 private:
  void OnMainThread(std::function<void()> change);
  void ChangePortList(std::function<void(platform::PopUpList&)> change);
  void Drain(platform::SerialRegistry::Handle iterator);
  std::string ShownSerialNumber() const;
  std::string PathOfPort(std::int32_t index) const;
  bool TryPort(std::int32_t index);
  void DeliverToApplication(const std::string& record);
  void GatherForFile(const std::string& record);
  void WriteSyncFile(const std::string* gathered);
  void StartProgress();
  RunState PresentRunState() const;

  Platform platform_;
  const std::string dataFolder_;
  QuilletAppDelegate* delegate_ = nullptr;
  SharedText string_;
  std::atomic<std::int32_t> runsUnderWay_{0};  // a run that never ends stays counted
  Word<std::int32_t> selectedPort_ = 0;        // mirrors the list's selection for other threads
  Word<bool> runShown_ = false;                // a run has started and not ended
  RunProgress runProgress_;                    // main thread
  SettingsEditor* settingsEditor_ = nullptr;   // created by Initialize, never destroyed
};

}  // namespace quillet
