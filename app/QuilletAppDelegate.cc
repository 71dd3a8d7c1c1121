#include "app/QuilletAppDelegate.h"

#include "app/SyncController.h"
#include "base/Log.h"
#include "base/ShownText.h"

namespace quillet {

void QuilletAppDelegate::applicationDidFinishLaunching() {
  window_->OnClose([this] { windowWillClose(); });
  syncController_->setDelegate(this);
  syncController_->Initialize();
}

void QuilletAppDelegate::windowWillClose() {
  Log(log_, "-[QuilletAppDelegate windowWillClose:]");
  syncController_->stopNotification();
  syncController_->Terminate();
  syncController_->WriteArchive();
}

void QuilletAppDelegate::Restart() {
  windowWillClose();
  if (restart_) restart_();
}

void QuilletAppDelegate::changeWindowTitle(std::string_view title) {
  Log(log_, "-[QuilletAppDelegate changeWindowTitle:]");
  mainQueue_.Async([this, text = ShownText(title)] { window_->SetTitle(text); });
}

}  // namespace quillet
