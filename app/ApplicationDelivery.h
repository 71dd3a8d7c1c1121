#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <string>

#include "app/DeliveredCount.h"
#include "app/Platform.h"
#include "app/StatusStrip.h"
#include "base/SharedText.h"
#include "output/KeyTables.h"

namespace quillet {

/// The result of ApplicationDelivery::Deliver.
enum class DeliveryOutcome {
  kDelivered,    ///< keys were sent; characters without a key were left out
  kNoKeys,       ///< no character of the record has a key
  kRefused,      ///< this record cannot be typed; nothing was typed
  kNoTyping,     ///< the desktop did not accept all keys; see TypingMessage
  kNoClipboard,  ///< the record could not be put on the clipboard
};

/// Types or pastes records into other applications. Shows in the status strip why a delivery fails.
/// The log lines name SyncController functions.
///
/// Any thread may call Deliver; records are never interleaved. All other functions: read thread,
/// unless stated otherwise.
class ApplicationDelivery {
 public:
  /// Callbacks and data that this class uses. Main thread, unless stated otherwise.
  struct Actions {
    std::function<void()> showRuns;     ///< opens the window that lists earlier runs
    std::function<bool()> isArchived;   ///< whether the records are archived; any thread
    std::function<bool()> isReceiving;  ///< whether a run is receiving records; any thread
    std::string guide;                  ///< path of the user guide; may be empty
  };

  /// @param platform  provides the clock, key events, pasteboard and desktop
  /// @param strip     shows the messages; must outlive this object
  /// @param actions   see Actions
  ApplicationDelivery(const Platform& platform, StatusStrip& strip, Actions actions);

  /// Pastes or types a record. Records with non-ASCII characters are not typed. If a record is not
  /// delivered, a message is shown until the next run begins.
  DeliveryOutcome Deliver(const std::string& record, bool paste);

  /// Returns the message that explains the last DeliveryOutcome::kNoTyping. Any thread.
  std::string TypingMessage() const;

  void SendKeyCode(KeyValue key);  ///< types a key, with Shift if `key` has the Shift bit
  void SendCommandAndV();          ///< types Command-V (Control-V on Linux)

  /// Prepares for typing if the destination is a program. While a run receives records, postpones
  /// the preparation until EndOfRun, because the desktop's permission dialog would take the focus
  /// from the program that receives the records. Any thread.
  /// @param destination  see Settings
  void Prepare(std::int32_t destination);

  /// Prepares for typing if Prepare was called during the run. Call it after `isReceiving` becomes
  /// false. Any thread.
  void EndOfRun();

  /// If the destination is a program, waits until it is known whether records can be typed. Any
  /// thread.
  /// @param destination  see Settings
  void AwaitReadiness(std::int32_t destination);

  void RunBegan();  ///< removes messages about earlier records, resets Delivered(); any thread

  /// Number of records typed or pasted since the run began; see DeliveredCount. Any thread.
  std::int32_t Delivered() const { return count_.Get(); }

  void KeyIgnored();  ///< called when a window of Quillet has ignored a key; main thread

 private:
  DeliveryOutcome Type(const std::string& record);
  bool IsRefused(const std::string& untypable);
  void RaiseNotTyped(const std::string& reason);
  DeliveryOutcome Paste(const std::string& record);
  bool ShowProblem();
  void ShowInputMethod();
  void ShowReadiness(const std::string& problem);
  void WithdrawWarning();
  void RaiseTypingImpossible(const std::string& problem);
  void RaiseIncomplete(const std::string& problem);
  void RaiseUndelivered(Notice notice, const std::string& problem, const std::string& archived,
                        const std::string& lost);

  const Platform platform_;
  StatusStrip& strip_;
  const Actions actions_;

  std::mutex delivering_;  // held while a record is typed or pasted; guards lastCheck_
  std::chrono::nanoseconds lastCheck_{};  // time of the last check of the input method

  SharedText typingProblem_;                 // text of the message kTypingImpossible
  std::atomic<bool> isWarned_ = false;       // ShowReadiness has raised kTypingImpossible
  SharedText inputMethod_;                   // input method named in the message kInputMethodOn
  std::atomic<bool> mustCheck_ = true;       // the next record requires an input method check
  std::atomic<bool> pastingFailed_ = false;  // the message kPastingImpossible is shown

  static constexpr auto kNothingToPrepare = std::numeric_limits<std::int32_t>::min();
  std::atomic<std::int32_t> toPrepare_ = kNothingToPrepare;  // destination of a deferred Prepare

  DeliveredCount count_;
  std::atomic<bool> nonAsciiSaid_ = false;  // a message about non-ASCII characters was shown
};

}  // namespace quillet
