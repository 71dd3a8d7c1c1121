#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <string>

#include "app/Platform.h"
#include "app/StatusStrip.h"
#include "base/SharedText.h"
#include "output/KeyTables.h"

namespace quillet {

/// Delivers records to other applications: types or pastes them, and starts applications. Its log
/// lines name SyncController functions. Shows in the status strip why a delivery fails.
///
/// Deliver: any thread; records are never interleaved. Run: any thread. All others: read thread,
/// unless stated otherwise.
class ApplicationDelivery {
 public:
  /// Actions of the buttons next to the messages. Main thread, unless stated otherwise.
  struct Actions {
    std::function<void()> chooseApplication;  ///< lets the user choose the application
    std::function<void()> showRuns;           ///< shows the records in the archive
    std::function<bool()> isArchived;         ///< whether the records are archived; any thread
    std::function<bool()> isReceiving;        ///< whether a run is receiving records; any thread
    std::string guide;                        ///< path of the user guide; may be empty
  };

  /// The result of a delivery.
  enum class Outcome {
    kDelivered,    ///< keys were sent; characters without a key were left out
    kNoKeys,       ///< no character of the record has a key
    kRefused,      ///< this record cannot be typed; nothing was typed
    kNoTyping,     ///< the desktop did not accept all keys; see TypingMessage
    kNoClipboard,  ///< the record could not be put on the clipboard
  };

  /// @param platform  provides the clock, key events, pasteboard, applications and desktop
  /// @param strip     shows the messages; outlives this object
  /// @param actions   see Actions
  ApplicationDelivery(const Platform& platform, StatusStrip& strip, Actions actions);

  /// Pastes or types a record. Records with non-ASCII characters are not typed. If a record is not
  /// delivered, a message says so until the next run begins.
  Outcome Deliver(const std::string& record, bool paste);

  /// Returns the message that explains the last Outcome::kNoTyping. Any thread.
  std::string TypingMessage() const;

  void SendKeyCode(KeyValue key);  ///< types a key, with Shift if `key` has the Shift bit
  void SendCommandAndV();          ///< types Command-V (Control-V on Linux)

  /// Stores the path in `applicationPath` and starts that application or brings it to the front.
  /// @return true if it is running afterwards
  bool Run(const std::string& application);

  bool IsRunning();  ///< returns true if the application at `applicationPath` is running

  /// Prepares for typing if the destination is a program. While a run receives records, waits for
  /// EndOfRun, because the desktop's permission dialog would take the focus from the program that
  /// receives the records. Any thread.
  /// @param destination  see Settings
  void Prepare(std::int32_t destination);

  /// Prepares for typing if Prepare was called during the run. Call it after `isReceiving` becomes
  /// false. Any thread.
  void EndOfRun();

  /// Shows a message if the destination's application does not exist. Otherwise removes the
  /// message. Any thread.
  /// @param destination  see Settings
  /// @param application  the path in the settings
  void CheckTarget(std::int32_t destination, const std::string& application);

  /// If the destination is a program, waits until it is known whether records can be typed. Any
  /// thread.
  /// @param destination  see Settings
  void AwaitReadiness(std::int32_t destination);

  /// Removes the messages about earlier records and sets Delivered() to 0. Any thread.
  void RunBegan();

  /// Number of records that were typed or pasted since the run began. Excludes records that are
  /// known to have been ignored by Quillet's windows (see KeyIgnored). Any thread.
  std::int32_t Delivered() const;

  /// Called when a window of this program has ignored a key of a record. Main thread.
  void KeyIgnored();

  SharedText applicationPath;  ///< path last passed to Run; initially empty

 private:
  using Time = std::chrono::nanoseconds;

  Outcome Type(const std::string& record);
  bool IsRefused(const std::string& untypable);
  void RaiseNotTyped(const std::string& reason);
  Outcome Paste(const std::string& record);
  bool ShowProblem();
  void ShowInputMethod();
  void ShowReadiness(const std::string& problem);
  void WithdrawWarning();
  void RaiseTypingImpossible(const std::string& problem);
  void RaiseIncomplete(const std::string& problem);
  void RaiseUndelivered(Notice notice, const std::string& problem, const std::string& archived,
                        const std::string& lost);
  void ForgetOwnWindow();
  void ShowTarget(const std::string& application, const char* problem);

  const Platform platform_;
  StatusStrip& strip_;
  const Actions actions_;

  // Held while a record is typed or pasted. Guards lastRecord_ and lastCheck_.
  std::mutex delivering_;
  Time lastRecord_{};
  Time lastCheck_{};  // time of the last check of the input method

  SharedText typingProblem_;                 // text of the message kTypingImpossible
  std::atomic<bool> isWarned_ = false;       // ShowReadiness has raised kTypingImpossible
  SharedText inputMethod_;                   // input method named in the message kInputMethodOn
  std::atomic<bool> mustCheck_ = true;       // check the input method before the next record
  std::atomic<bool> pastingFailed_ = false;  // kPastingImpossible is raised

  // Destination passed to Prepare during a run, or kNothingToPrepare.
  static constexpr auto kNothingToPrepare = std::numeric_limits<std::int32_t>::min();
  std::atomic<std::int32_t> toPrepare_ = kNothingToPrepare;

  std::mutex checking_;        // guards targetMessage_
  std::string targetMessage_;  // text of the message kTargetMissing

  std::atomic<std::int32_t> posted_ = 0;        // records typed or pasted since the run began
  std::atomic<bool> nonAsciiSaid_ = false;      // a message about non-ASCII characters was raised
  std::atomic<bool> isAtOwnWindow_ = false;     // kTypedAtQuillet is raised
  std::atomic<std::int32_t> firstMissed_ = 0;   // value of posted_ when kTypedAtQuillet was raised
  std::atomic<std::int32_t> lastMissed_ = 0;    // value of posted_ when a key was last ignored
  std::atomic<std::int32_t> missedBefore_ = 0;  // records missed before kTypedAtQuillet was raised
  std::atomic<Time> lastIgnored_ = Time::min();
};

}  // namespace quillet
