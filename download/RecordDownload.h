#pragma once

#include <string>
#include <string_view>

#include "device/Lumet.h"
#include "download/RecordComposer.h"

namespace quillet {

/// The record download of a session: queues and runs its commands, composes a line from each
/// received record and passes it to the session's delegate. Never destroyed, like the session.
class RecordDownload final : public Download {
 public:
  /// Registers this object as the Download of `session`.
  RecordDownload(SystemLog& log, Lumet& session);

  void Synchronize() override;
  void SynchronizeRecord() override;
  void SynchronizeBurst() override;
  void SynchronizeOneRecord() override;
  void SynchronizeBurstData() override;
  void SynchronizeData() override;
  /// Called for a frame that arrived in response to a command other than "p" or "P".
  void KeepMisplacedRecord() override;

  /// The most recently composed line, before its conversion to UTF-8. Read thread.
  std::string_view BarcodeBuffer() const { return composer_.BarcodeBuffer(); }

 private:
  void KeepFrame(std::int32_t length);
  void Deliver(std::int32_t offset);
  void RequestRecord(std::int32_t index);

  SystemLog& log_;
  Lumet& session_;
  RecordComposer composer_;  // read thread only
  std::string line_;         // read thread only
};

}  // namespace quillet
