#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/RunProgress.h"
#include "base/SystemLog.h"
#include "platform/Controls.h"
#include "platform/MainQueue.h"

namespace quillet {

/// The reasons for a message in the status strip, in order of rank, highest first. The strip shows
/// the message with the highest rank.
enum class Notice {
  kDisconnectedInRun,  ///< the connection ended during a run
  kHungUp,             ///< the connected scanner's serial line has stopped working
  kRunStuck,           ///< the run has made no progress for a minute

  kNoThread,       ///< the system could not start a thread for the connection
  kPortDenied,     ///< no permission to open the port
  kPortBusy,       ///< another program uses the port
  kScannerSilent,  ///< the port was opened, but no scanner answered

  kPressIgnored,  ///< the button that the user pressed currently has no effect

  kTypingImpossible,   ///< the system does not allow Quillet to type
  kPastingImpossible,  ///< a record could not be put on the clipboard
  kTargetMissing,      ///< the application that receives the records does not exist
  kTypedAtQuillet,     ///< records were typed or pasted into a window of Quillet
  kRecordNotTyped,     ///< an earlier record was delivered only in part or not at all
  kInputMethodOn,      ///< an input method may change typed records

  kProgress,  ///< the progress of a run; see StatusStrip::ShowProgress

  kNotErased,           ///< the scanner was not erased, because its records are not on the disk
  kFileNotWritten,      ///< the output file of a run could not be written
  kSettingsFileAsFile,  ///< the path of the output file resolves to the settings file
  kArchiveNotWritten,   ///< records could not be saved in the archive
  kRecordsMissing,      ///< a run did not receive all records
  kDelivery,            ///< progress and result of a repeated delivery; see Redelivery

  kSettingsToReview,  ///< settings from another user await confirmation
  kSettingsNotSaved,  ///< the settings file could not be written
  kPathRefused,       ///< the settings file was chosen as the output file

  kScanDelivered,      ///< a scan was delivered to a program for the first time
  kInterrupted,        ///< an earlier process left a run or a file incomplete
  kArchiveIsOnlyCopy,  ///< erasing leaves only the archive's copy of the records
  kPathTooLong,        ///< a chosen path will not be restored at the next start
  kFileReplaced,       ///< each run replaces the chosen file
  kLinesDropped,       ///< the view dropped its oldest lines

  kConnecting,        ///< an attempt to connect is in progress
  kRunFinished,       ///< the result of the last run
  kSettingsDeclined,  ///< the user has declined another user's settings for now
  kNoScanner,         ///< no scanner is connected
};

/// A button next to a message.
using platform::StripAction;

/// The line below the main view. Shows one message at a time; see Notice.
class StatusStrip {
 public:
  /// All references must outlive this object.
  /// @param display    shows the strip
  /// @param mainQueue  runs the changes that other threads request
  /// @param log        receives messages about problems
  StatusStrip(platform::StatusDisplay& display, platform::MainQueue& mainQueue, SystemLog& log)
      : display_(display), mainQueue_(mainQueue), log_(log) {}
  StatusStrip(const StatusStrip&) = delete;
  StatusStrip& operator=(const StatusStrip&) = delete;

  /// Shows the progress of a run until EndProgress, unless a message outranks Notice::kProgress.
  /// Main thread.
  void ShowProgress(const RunProgress::Shown& shown);
  void EndProgress() { Remove(Notice::kProgress); }  ///< removes the progress text; main thread

  /// Queues a message, which is shown until it is withdrawn. A message of higher rank hides it.
  /// Replaces an earlier message with the same notice. Any thread; returns immediately.
  /// @param notice   reason for the message
  /// @param text     one line of UTF-8: what happened, then what to do
  /// @param actions  buttons, at most StatusDisplay::kMaximumActions. Their functions are called on
  ///                 the main thread.
  void Raise(Notice notice, std::string text, std::vector<StripAction> actions = {});

  /// Queues the removal of the message with this notice, if any. Any thread; returns immediately.
  void Withdraw(Notice notice);

 private:
  struct Message {
    std::string text;
    std::optional<double> fraction = {};
    std::vector<StripAction> actions = {};
  };

  void Put(Notice notice, Message message);
  void Remove(Notice notice);
  void ShowHighest();

  platform::StatusDisplay& display_;
  platform::MainQueue& mainQueue_;
  SystemLog& log_;
  std::map<Notice, Message> messages_;  // main thread only
};

}  // namespace quillet
