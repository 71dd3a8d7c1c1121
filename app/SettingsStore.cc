#include <utility>

#include "app/Destinations.h"
#include "app/SyncController.h"
#include "base/Log.h"

namespace quillet {
namespace {

// Destinations for which the window can have changed the names. For the others both areas of the
// image keep what they held, so that names chosen earlier survive.
bool WritesNames(std::int32_t destination) {
  return destination == kToFile || destination == kToNamedApplication;
}

}  // namespace

void SyncController::SaveSettings() {
  WriteChoices(*lumet, QuilletRegistry);
  if (WritesNames(lumet->destination)) {
    for (const auto& [position, name] : {std::pair(kApplicationNamePosition, &lumet->appname),
                                         std::pair(kFileNamePosition, &lumet->filename)}) {
      WriteName(QuilletRegistry, position, name->Get());
      Log(platform_.log, "-[SyncController SaveSettings]", "[", ForeignText(name->Get()), "]");
    }
  }
  QuilletRegistry.back() = '\0';
  lumetfile->SaveRegistry(QuilletRegistry);
}

void SyncController::RestoreSettings() {
  if (!lumetfile->ReadRegistry(QuilletRegistry)) {
    lumet->bAttachSerial = 1;
    lumet->bAttachTimestamp = 1;
    lumet->bAttachType = 1;
    lumet->datadelimiter = 3;
    lumet->recorddelimiter = 4;
    lumet->bSyncClock = 1;
    lumet->destination = 0;
    lumet->filename.Set(lumetfile->dataFolder() + kPlaceholder);
    QuilletRegistry.fill('0');
    SaveSettings();
    lumetfile->ReadRegistry(QuilletRegistry);
  }
  Log(platform_.log, "-[SyncController RestoreSettings]", ": Read registry file done...");
  ReadChoices(QuilletRegistry, *lumet);
  lumet->appname.Set(ReadName(QuilletRegistry, kApplicationNamePosition));
  lumet->filename.Set(ReadName(QuilletRegistry, kFileNamePosition));
}

}  // namespace quillet
