#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "base/SystemLog.h"
#include "base/UniqueFd.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"
#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"
#include "platform/linux/LayoutNote.h"
#include "platform/linux/Pace.h"
#include "platform/linux/PermissionFile.h"
#include "platform/linux/SentKeys.h"

namespace quillet::platform::linux_desktop {

class RemoteDesktop;
class EisKeyboard;
class PortalTypist;
class SessionLayout;

/// Posts key events through the remote desktop portal. Used in GNOME and KDE Plasma sessions on
/// Wayland. The desktop asks the user for permission. The permission is stored in a file.
///
/// Characters are typed with the keymap of the desktop, through libei. If the portal or the system
/// does not support libei, the desktop chooses the keys; see KeysymTypist.
///
/// All calls to the desktop are made on a thread that this object owns.
class PortalKeyEvents final : public KeyEvents {
 public:
  /// @param log       receives one line if keys cannot be typed; must outlive this object
  /// @param clock     used for pauses; must outlive this object
  /// @param files     reads and replaces the file with the permission; must outlive this object
  /// @param sent      notified of the strokes that are sent; must outlive this object
  /// @param tokenFile path of the PermissionFile. If empty, the user is asked at each start.
  ///                  LayoutNote uses the file "typing-layout" in the same folder.
  /// @param patience  how long to wait for a missing portal after Prepare
  /// @param layout    used without libei, to find the characters that the desktop would drop; null
  ///                  if unknown; must outlive this object
  PortalKeyEvents(SystemLog& log, Clock& clock, FileStore& files, SentKeys& sent,
                  std::string tokenFile, std::chrono::seconds patience,
                  SessionLayout* layout = nullptr);
  ~PortalKeyEvents() override;

  /// Asks for permission, unless it has been granted or an answer is pending.
  void Prepare() override;

  /// Returns true if the desktop has no remote desktop portal. If this is not known yet, waits at
  /// most as long as Post would. Any thread.
  bool IsMissing();

  /// Never requests permission. After Prepare, waits for permission: up to 3 s if the user has to
  /// answer, or up to `patience` if the portal is missing or the user has agreed earlier. Stops at
  /// the first key that cannot be pressed, or when the layout or the modifiers change.
  void Post(std::span<const KeyEvent> events) override;
  std::string Untypable(std::string_view text) override;
  std::string Problem() override;
  void OnReadiness(const std::function<void(const std::string& problem)>& changed) override;

  /// Selects the user's layout again if an earlier process was killed before it could do so. See
  /// LayoutNote.
  void Recover() override { note_.Undo(); }

  /// Waits until the current part of a record has been typed, for at most 1 s.
  void End() override;

 private:
  enum class State { kIdle, kAsking, kReady, kNotReady, kDenied, kEnded, kMissing, kFailed };
  using Job = std::function<void(PortalTypist&)>;

  static const char* ProblemOf(State state);
  void Serve();
  void ServeSession(RemoteDesktop& desktop, PortalTypist& typist);
  bool HasEnded(const RemoteDesktop& desktop) const;
  void RunJob(RemoteDesktop& desktop, PortalTypist& typist);
  bool IsInState(State state);
  bool AwaitKeyboard();
  void SetState(State state);
  void LimitAnswer(std::chrono::seconds limit);
  State AwaitAnswer();
  const char* Do(const Job& job);
  bool Send(std::span<const KeyEvent> presses, bool isFirst);
  void Wake();

  SystemLog& log_;
  Clock& clock_;
  SentKeys& sent_;
  const std::chrono::seconds patience_;
  SessionLayout* const layout_;
  const LayoutNote note_;
  const PermissionFile permission_;
  Pace pace_;
  std::function<void(const std::string&)> onReadiness_;  // used only by thread_
  EisKeyboard* keyboard_ = nullptr;  // null without libei; used only by thread_, like knownDevices_
  unsigned knownDevices_ = 0;  // EisKeyboard::devices() when typing last paused for a new keyboard
  const UniqueFd wake_;        // eventfd(2); readable if a job is waiting or the thread must end
  std::atomic<bool> isStopping_ = false;
  std::atomic<bool> isEnding_ = false;  // End has been called

  std::mutex mutex_;  // guards the members below
  std::condition_variable changed_;
  State state_ = State::kIdle;
  TypingFailure failure_;     // why the last Post in state kReady failed; empty if it succeeded
  std::string dropReason_;    // why the last Post dropped events; empty if it dropped none
  const Job* job_ = nullptr;  // the job to run; null when it is done
  std::chrono::steady_clock::time_point answerLimit_{};
  std::thread thread_;
};

}  // namespace quillet::platform::linux_desktop
