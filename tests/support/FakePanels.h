#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Panels.h"

namespace quillet::test {

/// Panels that return `answer` at once.
class FakePanels final : public platform::Panels {
 public:
  std::optional<std::string> RunSavePanel(const std::string& folder, const std::string& name,
                                          const std::string& omitted) override {
    runs.push_back("save|" + folder + "|" + name + "|" + omitted);
    return answer;
  }
  std::optional<std::string> RunOpenPanel(const std::string& folder,
                                          const std::string& name) override {
    runs.push_back("open|" + folder + "|" + name);
    return answer;
  }

  std::optional<std::string> RunExportPanel(const std::string& title, const std::string& folder,
                                            const std::string& name) override {
    runs.push_back(title + "|" + folder + "|" + name);
    return answer;
  }

  bool ConfirmSettings(const std::string& question,
                       const std::vector<std::string>& effects) override {
    std::string& run = runs.emplace_back(question);
    for (const std::string& effect : effects) run += "|" + effect;
    return confirms;
  }

  /// The panels in the order shown:
  ///   save panel       "save|folder|name|omitted file"
  ///   open panel       "open|folder|name"
  ///   export panel     "title|folder|name"
  ///   ConfirmSettings  "question|first effect|second effect" and so on
  std::vector<std::string> runs;
  std::optional<std::string> answer;
  bool confirms = false;  ///< the answer to ConfirmSettings
};

}  // namespace quillet::test
