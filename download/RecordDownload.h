#pragma once

#include <string>
#include <string_view>

#include "device/Lumet.h"
#include "download/RecordComposer.h"

namespace quillet {

/// The record download of a session: queues and serves its commands, and turns received records
/// into lines for the session's owner. Never destroyed, as the session is not.
class RecordDownload final : public Download {
 public:
  /// Becomes the download of the session.
  RecordDownload(SystemLog& log, Lumet& session);

  void Synchronize() override;
  void SynchronizeRecord() override;
  void SynchronizeBurst() override;
  void SynchronizeOneRecord() override;
  void SynchronizeBurstData() override;
  void SynchronizeData() override;

  /// The bytes of the line composed last. Read thread.
  std::string_view BarcodeBuffer() const { return composer_.BarcodeBuffer(); }

 private:
  void Deliver(std::int32_t offset);
  void RequestRecord(std::int32_t index);

  SystemLog& log_;
  Lumet& session_;
  RecordComposer composer_;  // read thread
  std::string line_;         // read thread
};

}  // namespace quillet
