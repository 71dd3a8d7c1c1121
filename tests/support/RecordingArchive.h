#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "device/RecordArchive.h"

namespace quillet::test {

/// A RecordArchive that records its calls. By default, it permits erasing.
class RecordingArchive final : public RecordArchive {
 public:
  void DownloadStarted(std::int32_t, bool erasePending) override {
    kept.push_back(erasePending ? "download, erase pending" : "download");
  }
  void KeepRecord(std::span<const std::uint8_t> record) override { Keep("record ", record); }
  void KeepBurst(std::span<const std::uint8_t> records) override { Keep("burst ", records); }
  void BurstDelivered(bool complete) override { kept.push_back(complete ? "complete" : "cut off"); }
  std::optional<ErasePermit> AwaitCopy() override {
    if (onAwait) onAwait();
    return ErasePermit::ForEmptyRun(permits ? 0 : 1);
  }
  void Erased() override { kept.push_back("erased"); }
  void EraseDropped() override { kept.push_back("erase dropped"); }

  bool permits = true;
  std::function<void()> onAwait;  ///< called by AwaitCopy
  std::vector<std::string> kept;  ///< all calls except AwaitCopy, with the bytes passed

 private:
  void Keep(std::string kind, std::span<const std::uint8_t> bytes) {
    kept.push_back(kind.append(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
};

}  // namespace quillet::test
